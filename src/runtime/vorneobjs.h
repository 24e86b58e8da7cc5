// The VORNE runtime core: script values, contexts, the value stack, the constant pool, settings, operators, arrays,
// runtime errors and their messages. It stands on nothing: what it needs of the floors above it calls through hooks.h.
// Failures are raised with __RuntimeError, which ends the process.
//
// Conventions that hold for every function here:
//  - A value is an Obj_Node. Constructors return temporaries in a ring of slots; a temporary stays valid until the ring
//    comes round unless it is locked (__LockStack) or assigned to a variable (__SET_OBJECT).
//  - Optional arguments are null pointers. Variadic lists end with __INIT_NUL() or a null pointer.
//  - A failure is raised with __RuntimeError(code, aux), which ends the process; "error 0" below means such a call with
//    that code and auxiliary number -1. Error 0 is a wrong argument, 1 an index out of bounds, 5 no memory, 15 a full
//    value stack.
//  - Texts are ISO-8859-1 bytes. A text may hold zero bytes; objLength says how many bytes it has, the terminating zero
//    included. Its buffer always has room for its content and one zero byte behind it, whatever objLength says.
//  - One thread at a time. Everything needs __BeginGlobal first, unless said otherwise.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>

#include "runtime/to_int.h"

// ---------------------------------------------------------------------------------------------------------- values

typedef unsigned short Boolean;  // 0 false, anything else true
typedef double datetime;

/// Type of the value that a node holds. The numbers are stored in files and must not change; "reserved" ones are never
/// made by the runtime and cannot be assigned.
enum varTypes : std::int32_t {
  varUnkown = 0,
  varChar = 1,          // reserved
  varCharPtr = 2,       // reserved
  varConstCharPtr = 3,  // reserved
  varInt = 4,           // reserved
  varLong = 5,          // 32-bit integer in mlong
  varDouble = 6,        // reserved
  varIntPtr = 7,        // reserved
  varLongPtr = 8,       // reserved
  varDoublePtr = 9,     // reserved
  varString = 10,       // bytes in mbuff, size in objLength
  varArray = 11,        // mArray
  varDate = 12,         // mdt
  varNumber = 13,       // mdbl; the only numeric type that operators take
  varObject = 14,       // reserved
  varBool = 15,         // mbool
  varField = 16,        // reserved
  varFile = 17,         // reserved
  varTable = 18,        // reserved
  varIndex = 19,        // reserved
  varForm = 20,         // reserved
  varNil = 21,          // no value
  varNul = 22,          // ends variadic lists; a string without a buffer
  varVoidPtr = 23,      // opaque pointer, in the same word as mbuff
  varGarbage = 24,      // reserved
};

/// Storage class of a node: who owns it and how it may be reused. The numbers are fixed.
enum ObjType : std::int32_t {
  vArray = 0,        // an array node, in the array pool
  vVariable = 1,     // a named variable, in the variable pool
  vElArray = 2,      // an array's element, in its array's chain
  vObjCDND_Obj = 3,  // reserved
  vConst = 4,        // a constant; assignment to it is ignored
  vRegister = 5,     // a slot of the value stack (a temporary)
  vRetval = 6,       // one of the shared read-only values
};

enum Language : std::int32_t { Portuguese = 0, English = 1, Spanish = 2, French = 3, Italian = 4 };

struct Obj_Node;

/// An array's header: a singly linked chain of elements.
struct Arrays {
  std::int16_t amntItens;  // number of elements, at most 32767
  Obj_Node* pFirst;
  Obj_Node* pLast;
};

union ObjData {
  double mdbl;
  Boolean mbool;
  char* mbuff;  // owned by the node, except in constants
  std::int32_t mlong;
  datetime mdt;
  Arrays* mArray;       // of an array node
  Obj_Node* mSubArray;  // of an element that holds an array: the sub-array's node
};

/// The universal value.
struct Obj_Node {
  Obj_Node* objpNext;  // next in the list that owns this node
  ObjType objType;
  varTypes objVarType;
  std::int32_t objLength;  // strings: size with the terminating zero, 0 once the buffer was taken away; others: -1
  ObjData objData;
  std::int16_t objRefCount;  // variables, arrays: holders beside the owner; slots: locking context, 0 free
  std::int16_t objContext;   // context that owns the node; -1 for constants, shared values and slots
};

/// One pool of live nodes, by storage class.
struct ObjCDND {
  std::int32_t objType;
  std::int32_t objsize;  // 28, the stored size of a node in dumps; never the size to allocate
  Obj_Node* (*funcCT)(int objType);
  Obj_Node* pFirst;
  Obj_Node* pLast;
  std::int32_t Amount;
};

struct StackInfo {  // one trace record
  StackInfo* next;
  const char* function;  // not copied
  int line;
  int context;
};

struct StaticVar {  // one registered static variable
  StaticVar* next;
  void* var;
  int context;
};

typedef Obj_Node* (*BlockFunction)(Obj_Node* param);

struct execblockinfo {  // a named native block
  char sBlockName[16];
  Boolean lSave;
  Boolean lSets;
  Boolean lLocale;
  Obj_Node* aParam;
  BlockFunction func;
  execblockinfo* next;
};

/// The one process-wide record that carries all runtime state.
struct ObjsGlobals {
  ObjCDND* cdnptr;  // 4 pools, by ObjType
  void* TheForm;
  void* UI_OBJ;
  Boolean bHasScan;
  std::int16_t UI_ID;
  std::int16_t UI_AmntOBJs;  // open windows; when not 0, ending a context also closes those it opened
  std::uint16_t UI_AlertID;
  std::int16_t UI_TamDraw;
  std::int16_t LastContext;  // call depth; 1 after start
  int MonthDays[2][12];
  float FMSecsPerDay;
  long LMSecsPerDay;
  Language lang;
  std::int16_t TBL_this;           // current work area, -1 none
  std::int16_t TBL_lasttable;      // above the highest area that has been in use
  std::int16_t TBL_amnt_open_dbs;  // work areas
  std::int16_t StackPos;           // next slot to try
  std::int16_t AmountmConst;
  std::int16_t LastConst;    // -1: none yet
  Obj_Node** Internal_Sets;  // 14 settings, number n at n - 1
  char* mTmp;                // 1025 bytes of scratch text
  Obj_Node** mNode;          // the value stack
  Obj_Node** mConst;         // the constant pool
  Obj_Node** mRetVal;        // 16 shared values, the last one unused
  Boolean Used;
  void* UI_MyRscDB;
  void* UI_DrawDB;
  void* rdd;  // work areas: VORNE_RDD*[TBL_amnt_open_dbs], null for a free one
  const char* SF;
  std::int16_t SL;
  StackInfo* LastCallStack;
  StackInfo* FirstCallStack;
  Boolean bRestart;
  Obj_Node* vConstAlias;
  execblockinfo* ExecBlock;
  StaticVar* StaticStack;
};

/// Number of the setting that hides deleted records of tables.
inline constexpr int kHideDeletedSetting = 11;
/// Work areas, and so tables that can be open at a time.
inline constexpr std::int16_t kWorkAreas = 250;

/// Size of ObjsGlobals::mTmp, the terminating zero included.
inline constexpr int kScratchSize = 1025;

extern ObjsGlobals* S_GLOB;    // null before __BeginGlobal and after __EndGlobal
extern int iMaxStackElements;  // slots of the value stack
extern int limitstack;         // the highest slot's index
extern int lckstack;           // slots locked through __LockStack
extern StaticVar* globstatic;
extern int iSyncLang;          // message language: 1 Portuguese, 2 English, any other Spanish
extern Boolean bCheckBuffer;   // copies and concatenations go by length, so that texts keep zero bytes
extern Boolean bUseEncode64;   // texts cross the host boundary as Base64
extern void (*pExit)();        // called before a fatal error ends the process
extern Obj_Node* pDumpArrays;  // pairs {name, array} that a fatal error saves

// ------------------------------------------------------------------------------------- constructors, assignment

/// The shared NIL.
Obj_Node* __INIT_NIL();
/// The shared end-of-list marker.
Obj_Node* __INIT_NUL();
/// The shared true for any `v` but 0, else the shared false.
Obj_Node* __INIT_BOOL(short v);
/// Temporaries holding `v`.
Obj_Node* __INIT_LONG(long v);
Obj_Node* __INIT_DOUBLE(double v);
Obj_Node* __INIT_DATE(double v);
Obj_Node* __INIT_VOIDPTR(void* p);
/// A temporary with a private copy of the zero-terminated `s`; null counts as empty. The length field is at least 2,
/// also for the empty text, which is why an empty text compares as one byte long. Error 5.
Obj_Node* __INIT_CHARPTR(const char* s);
/// A temporary text of `n` zero bytes and a terminator, length field n + 1. Error 5, also for a negative `n`.
Obj_Node* __ALLOC_CHARPTR(int n);
/// The one static constant, now pointing at `s` (not copied). The next call changes it: use the result at once.
Obj_Node* __INIT_CHARCONST(const char* s);

/// Assignment. `dest` is an Obj_Node* or null, `src` null counts as NIL. Returns the node that now holds the value,
/// which the caller stores back into its variable: scalars are copied (text is moved out of an unlocked temporary),
/// arrays are shared, an array assigned over an array moves its elements. Constants stay as they are. Error 0 for a
/// value of a reserved type, 5.
Obj_Node* __SET_OBJECT(void* dest, Obj_Node* src);
/// The node in `*slot`, made as a NIL variable first when there is none; it lives until the run ends, as the slot may
/// be of any age. Error 0 for a null `slot`.
Obj_Node* __ByRef(Obj_Node** slot);
/// A new heap node of storage class `objType`, owned by the current context. Error 5.
Obj_Node* __fcpObj_CT(int objType);
/// Drops one holder of a variable node, or frees it when there is none left; returns the node after it in the pool.
Obj_Node* __fcObj_DT(Obj_Node* n);
/// Prepares a caller-owned node: no successor, data, count and context 0, class vVariable, length -1, type `varType`.
void __InitObjNode(void* n, int varType);
/// Gives the text variable `str` room for `n` characters (a number from 1 to 32767 that is not smaller than its length
/// field; any other value changes nothing, nor does a constant). The length field becomes n + 1. Error 0, 5.
void SETBUFFSIZE(Obj_Node* str, Obj_Node* n);
/// The ELF hash of the `len` bytes at `s`, capital letters A to Z taken as small ones; 0 for null or len < 1.
std::uint32_t ELFHash(const unsigned char* s, int len);

extern "C" {
/// Switches exported for the host. `on` 0 is off.
void SetCheckBuffer(short on);
void SetEncode(short on);
}
/// The same from script code; the argument is a logical (error 0) and is returned.
Obj_Node* __SetCheckBuffer(Obj_Node* lgc);
Obj_Node* __SetEncode(Obj_Node* lgc);

// ---------------------------------------------------------------- contexts, value stack, constants, settings

/// Creates the global record and everything in it; 1 when done. Error 5.
short __BeginGlobal();
/// Destroys it; nothing that a script made survives. Harmless without a record.
void __EndGlobal();
/// With `create` not 0 makes a new record and stores it in S_GLOB (error 5); returns S_GLOB.
ObjsGlobals* __RetGlob(short create);
/// Slots of the value stack, 16 to 32000; ignored otherwise, and between __BeginGlobal and __EndGlobal.
void __SetMaxStackElements(int n);
/// Opens a context.
void __begin_context();
/// Closes it: frees what it owns, unlocks its temporaries, returns `ret` kept alive for the caller (null allowed).
Obj_Node* __end_context(Obj_Node* ret);
/// Frees the variables and arrays of the current context; returns its number.
short __KillContext();
/// Locks the listed temporaries for the current context; always 0.
int __LockStack(Obj_Node* first, ...);
/// The same for code that may hold null pointers in the middle of its list.
int LockStack(std::initializer_list<Obj_Node*> nodes);
/// The next free slot, its old text freed. Error 15 when all are locked.
Obj_Node* __CheckStack();
/// Unlocks the slots of ended contexts.
void __ReleaseStack();
/// Frees the texts of all unlocked slots.
void __ReleaseStack2();

/// Makes a pool of `n` constants. Error 5.
void __const_set_amount(int n);
/// Appends `v`, taking its buffer over; returns its index. Fill the pool from __INIT_CHARCONST for texts: the pool
/// never frees a text. Error 0 for null or past the end.
int __const_add_el(Obj_Node* v);
/// Lends the runtime a pool of prepared constants (class vConst, texts pointing at literals) for this run; they stay
/// the program's own and are not copied. Error 0 for more than 32767.
void SetConstants(std::span<Obj_Node*> constants);
/// The constant at index `i`; error 0 outside the pool.
Obj_Node* __const_get_el(int i);

/// Registers a static variable's storage (an Obj_Node**).
void __AddStaticStack(void* var);
/// Forgets all static variables and sets each to null; their storage is the program's own.
void __CleanStaticStack();

/// Fills the settings: 3 decimals 2, 4 date format "mm/dd/yy", 5 epoch 1940, 9 and 11 false, 12 century false.
void __InitSets();
/// Reads setting `n` (1 to 12, error 0), first storing `value` when given. NIL for an empty one.
Obj_Node* __Set(Obj_Node* n, Obj_Node* value = nullptr);
/// Reads the century setting, first storing the logical `lgc` (error 0) when given, with the date format that fits.
Obj_Node* __SetCentury(Obj_Node* lgc = nullptr);

/// Trace: function entered, line reached. `function` is not copied.
void __SF(const char* function);
void __SL(int line);

/// Registers a native block under a name of 1 to 12 characters; 1 when done, else 0.
short RegisterBlock(const char* name, BlockFunction func);
/// Runs the block of that name ("U_" is put in front unless `lNoPrefix` is true) and returns its result, or false.
Obj_Node* ExecBlock(Obj_Node* name, Obj_Node* a2, Obj_Node* a3, Obj_Node* param, Obj_Node* lNoPrefix);
/// True if such a block is registered. Names of 12 characters are never found. Error 0.
Obj_Node* ExistBlock(Obj_Node* name);
/// Asks for a restart; returns null.
Obj_Node* SHUTDOWN();
/// Build date and time of the runtime, as a text.
Obj_Node* __GetRTVer();
/// How many values are alive, as "malloc-free=0", "pObj=" variables, "Arrays=" arrays, "vElArray=" elements that belong
/// to no array and "Locked Stack=" locked temporaries, a line each; all 0 without a global record. In a buffer that the
/// next call overwrites.
const char* __MemoryReport();

// -------------------------------------------------------------------------------------------------- operators

// A missing (null) operand counts as 1 in arithmetic and ordering, as NIL in __EQ and __EEQ, as true in __AND and __OR.
// Types that an operator does not take are error 0. The result is a new temporary or a shared logical.

/// Number + number, text + text, date + days; any other left type gives null.
Obj_Node* __SUM(Obj_Node* a, Obj_Node* b);
/// Number - number; date - days or date - date.
Obj_Node* __SUB(Obj_Node* a, Obj_Node* b);
Obj_Node* __MUL(Obj_Node* a, Obj_Node* b);
/// Division; by zero gives 0.
Obj_Node* __DIV(Obj_Node* a, Obj_Node* b);
/// "=": texts are compared on the shorter length, and an empty one never matches. NIL = 5 is error 0, 5 = NIL false.
Obj_Node* __EQ(Obj_Node* a, Obj_Node* b);
/// "==": the same, but texts must be equal as a whole.
Obj_Node* __EEQ(Obj_Node* a, Obj_Node* b);
Obj_Node* __LS(Obj_Node* a, Obj_Node* b);
Obj_Node* __LSE(Obj_Node* a, Obj_Node* b);
Obj_Node* __GT(Obj_Node* a, Obj_Node* b);
Obj_Node* __GTE(Obj_Node* a, Obj_Node* b);
Obj_Node* __AND(Obj_Node* a, Obj_Node* b);
Obj_Node* __OR(Obj_Node* a, Obj_Node* b);
/// Not a logical, the negative of a number, true for NIL. Error 0 for null.
Obj_Node* __INV(Obj_Node* a);
/// ++a and --a: the node itself after the change; a++ and a--: a temporary with the old value. Constants and shared
/// values do not change.
Obj_Node* __PREINCREMENT(Obj_Node* a);
Obj_Node* __PREDECREMENT(Obj_Node* a);
Obj_Node* __POSTINCREMENT(Obj_Node* a);
Obj_Node* __POSTDECREMENT(Obj_Node* a);
/// `v` rounded half away from zero to `decimals` decimals, with a tolerance of 1e-14 below one half.
double dblRound(double v, int decimals);

/// The date `days` (a number, truncated) days after `date`. A sum before 30 December 1899 wraps to a date in a distant
/// future (see __DoEncodeDate). Error 0 for the empty date, a date beyond the year 9999 and a sum of 30 December 1899.
Obj_Node* __AddTod(Obj_Node* date, Obj_Node* days);
/// The number of the day that a date value falls on, 1 January of year 1 being day 1; 0 for the empty date and NaN.
std::int64_t __DateTimeToTimeStamp(datetime value);
/// The number of days from date `b` to date `a`, or the date `b` days before `a`. Error 0.
Obj_Node* __SubTod(Obj_Node* a, Obj_Node* b);

/// Bytes of a text's content. With bCheckBuffer on, all before its length field's end, or those before the first zero
/// byte when nothing but zero bytes follows it; otherwise those before the first zero byte. 0 for any other value.
int ContentLength(const Obj_Node* text);

// ----------------------------------------------------------------------------------------------------- arrays

// Script positions count from 1. Every operation that needs an array raises error 0 for anything else.
// An array that its last element lets go of lives on until the context that owns it ends, for variables that name it.

/// A new array of the listed values. Error 0 for a null in the list's place of a first value.
Obj_Node* __CreateArray(Obj_Node* first, ...);
/// A new array of dim1 elements, each an array of dim2 elements and so on; leaves are NIL.
Obj_Node* __Array(Obj_Node* dim1, ...);
/// Appends `v` (a copy of a scalar, a share of an array); returns `a`. Error 1 beyond 32767 elements, or shares of one
/// array.
Obj_Node* __AAdd(Obj_Node* a, Obj_Node* v);
/// The same, but returns the new element. Error 0 for a null `v`.
Obj_Node* __NewArrayElement(Obj_Node* a, Obj_Node* v);
/// Cuts or extends `a` to `n` elements; an empty array stays empty. Returns `a`.
Obj_Node* __ASize(Obj_Node* a, Obj_Node* n);
/// Removes element `n` and appends a NIL (an empty array in place of an array). Returns `a`.
Obj_Node* __ADel(Obj_Node* a, Obj_Node* n);
/// Inserts a NIL at `n`; the last element goes. Returns `a`.
Obj_Node* __AIns(Obj_Node* a, Obj_Node* n);
/// Sets elements from `start` (default 1) on to `v`, while the index stays below an end that shrinks as the index
/// grows: about half of `count`, which is the length when below 1 or NIL. Error 0 for a null `count`. Returns `a`.
Obj_Node* __AFill(Obj_Node* a, Obj_Node* v, Obj_Node* start, Obj_Node* count);
/// Copies from position `start` up to end position `count` into `dst` behind position `target`; the last element of
/// `dst` is never written. Missing arguments count as 1. Returns `dst`.
Obj_Node* __ACopy(Obj_Node* src, Obj_Node* dst, Obj_Node* start = nullptr, Obj_Node* count = nullptr,
                  Obj_Node* target = nullptr);
/// Position of the first element (of a row: its `column`) from `start` up to end position `count` that equals `v`,
/// else 0. Error 0 at an element of another type.
Obj_Node* __AScan(Obj_Node* a, Obj_Node* v, Obj_Node* start = nullptr, Obj_Node* count = nullptr,
                  Obj_Node* column = nullptr);
/// Sorts the positions `start` to `count` in place, rows by their `column`. Only values move, not types or length
/// fields. Returns `a`.
Obj_Node* __ASORT(Obj_Node* a, Obj_Node* start = nullptr, Obj_Node* count = nullptr, Obj_Node* ascending = nullptr,
                  Obj_Node* column = nullptr);
/// The last element, null when empty.
Obj_Node* __ATail(Obj_Node* a);
/// A deep copy; null for an empty array or anything else. Error 1 for arrays nested deeper than 64.
Obj_Node* __AClone(Obj_Node* a);
/// The element at a[idx1][idx2]... Error 1 outside.
Obj_Node* __ARRAY_EL(Obj_Node* a, Obj_Node* idx1, ...);
/// Element `i`, counted from 0; for a sub-array its node. Error 1 outside.
Obj_Node* __GET_ARRAY_EL(Obj_Node* a, int i);
/// The element node itself.
Obj_Node* __GET_OBJ_ARRAY_EL(Obj_Node* a, int i);
/// Sets element `i`, counted from 0, to `v`; always 1. Error 0 for a null `v`, 1.
short __SET_ARRAY_EL(Obj_Node* a, Obj_Node* v, int i);
/// Number of elements, -1 without a header.
int __Array_Get_Amnt_Itens(Obj_Node* a);
/// Element `n`, counted from 1.
Obj_Node* __Array_Get_Item(Obj_Node* a, Obj_Node* n);
/// A new array with the same elements; nested arrays are shared.
Obj_Node* __CopyArray(Obj_Node* a);
/// Removes element `n` (from 1); with `addNil` appends one so that the count stays. Returns `a`.
Obj_Node* __DelEl(Obj_Node* a, int n, short addNil);
/// Moves a node, and what it holds, to an older context.
void SetArrayContext(Obj_Node* node, int ctx);
/// 0 equal, 1 greater or unequal, -1 smaller or a null operand. Error 0 for types that do not compare.
int __Comp(Obj_Node* a, Obj_Node* b);
/// Exchanges the values of two elements, not their types or length fields.
void __SwapElements(Obj_Node* a, Obj_Node* b);
/// Releases an array node that nobody holds any more; returns the node after it in the array pool.
Obj_Node* __KillArray(Obj_Node* a);
/// Releases those elements of a chain that belong to the current context or a later one; 1 when none is left. The
/// header itself stays.
short __KillArrayEl(Arrays* header);

// --------------------------------------------------------------------------------------- errors and messages

/// The texts of the codes, and the auxiliary messages in the three languages.
extern const std::array<const char*, 16> stringErros;
inline constexpr int kMessageCount = 141;
using MessageTable = std::array<const char*, kMessageCount>;
extern const MessageTable stringMsgErros, stringMsgErrosEng, stringMsgErrosSpa;
/// The last auxiliary message, zero-terminated; empty for none.
extern char error_aux[1024];

/// Saves the registered arrays, builds the trace, closes the work areas, prints "RunTimeError = <aux>" and ends the
/// process with status 0. A step that fails in turn is given up, the next ones are still taken, and the number printed
/// is that of the first error. Without a global record it only prints and ends.
[[noreturn]] void __RuntimeError(int code, int aux);
/// "Msg(<aux>)-<text>" in the message language, in a buffer that the next call overwrites; an unknown number has no
/// text.
const char* __GetAuxError(int aux);
/// `buf` (at least 2048 bytes) becomes the text of error `code`, then a line break and the last auxiliary message, if
/// any, which is forgotten.
void GetError(char* buf, int code);
/// Where the program was at its fatal error: "function(line)" a line, the last one the current position or "No debug
/// info". For functions registered with __RegisterExit.
const char* __GetErrorTrace();
/// Message language; a number above 3 means 1. Error 0. Always true.
Obj_Node* __SetErrorLang(Obj_Node* n);
/// Stores a function to call before a fatal error ends the process, the address of a void (*)() (null is ignored).
/// Always false.
Obj_Node* __RegisterExit(void* fn);
/// Has a fatal error save `arr` under `name`; false if that name is taken or something is missing. Error 0.
Obj_Node* __RegisterArray(Obj_Node* name, Obj_Node* arr);
/// Saves every registered array; one that cannot be saved is skipped, with a line in the diagnostic log.
void __DumpArray();
/// Saves one array under `name`; true when written.
Obj_Node* ExecDumpArray(Obj_Node* name, Obj_Node* arr);
/// The array saved under `name`, whose copy on disk goes; NIL when there is none.
Obj_Node* __RestoreArray(Obj_Node* name);
