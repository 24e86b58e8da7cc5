// Tables with typed fields in work areas, and the indexes that order them. Part of vornerdd.h, which is what programs
// include.
//
// Conventions that hold for every function here:
//  - A table is a database of type DATA, its memo texts one of type MEMO named after it with "_M", each of its indexes
//    one of type INDX. Their bytes are explained in docs/formats.md, their use in docs/tables.md.
//  - An area is a number from 0 to S_GLOB->TBL_amnt_open_dbs - 1. An `alias` argument is the alias text (in any
//    letters), an area's number, or missing (null or NIL) for the current area. Unless something else is said, an alias
//    that no area has is error 14 with subcode 11, an area number out of range error 3 with a subcode of its own.
//  - Record numbers that scripts see count from 1, positions (int arguments) from 0. Record numbers inside index
//    entries are positions.
//  - "Error c/s" means __RuntimeError(c, s), which ends the process. A failed allocation is error 5.
//  - Setting 11 (see __Set) hides deleted records.
//  - A change is in the files when the function that made it returns. Entries of indexes wait in memory until somebody
//    looks at the index; an index that a dead process left behind its table is made anew when it is opened.
#pragma once

#include <cstddef>
#include <cstdint>

#include "storage/vornerdd.h"

/// True when numbers, dates and memo references stand in records with their bytes swapped; on x86 they always do.
extern Boolean bswapnum;

// ------------------------------------------------------------------------------------------------------ description

enum FType : std::int32_t {
  TBLNUM = 0,
  TBLDATE = 1,
  TBLSTRING = 2,
  TBLBOOL = 3,
  TBLMEMO = 4,
  TBLINTEGER = 5,  // can be described, not stored
  TBLBINARY = 6,   // likewise
};

struct ControlFieldTBL {
  char FieldName[21];
  FType FieldType;
  std::int32_t FieldLen;  // characters; 8 for dates, 4 for memos
  std::int32_t FieldDecLen;
  std::int32_t iFieldName;  // length of the name
  std::int32_t iOffset;     // in the field buffer
};

struct IDX_Indexes {
  std::uint32_t KeyField;  // number of a key field, from 1
};

struct IDX_IndexesNames {
  DmOpenRef IDX_dbRef;  // null while closed
  char IDX_name[31];
  std::int32_t IDX_tam_max_key;  // bytes of a key
  std::int32_t IDX_amntFieldKeys;
  std::int32_t IDX_recID;    // position in the index, -1 none
  Boolean IDX_fieldchanged;  // a key field has been set since the record was loaded
  IDX_Indexes* IDX_ind;      // IDX_amntFieldKeys of them
};

struct myAppInfoType {
  datetime TBL_lastupdate;
  char TBL_name[31];
  DmOpenRef TBL_dbRef;
  std::uint32_t TBL_cardno;
  std::int32_t TBL_type;
  std::uint32_t TBL_openmode;
  std::uint32_t TBL_numFields;  // the deletion mark, which is the last one, included
  std::uint32_t TBL_numIndexes;
  ControlFieldTBL** TBL_ctrlFieldTBL;
  IDX_IndexesNames** TBL_IndexesNames;
};

/// The last field of every table: the deletion mark.
inline constexpr char kDeletionField[] = "D_E_L_E_T_";

// ------------------------------------------------------------------------------------------------------- work areas

enum Operator : std::int32_t { EQ = 0, LESS, GREATER, LESSEQ, GREATEREQ, BETWEEN, LIKE, NOTEQ };
enum RDDKind : std::int32_t { rddLocal = 0, rddRemote = 1 };

union RegTBL {
  std::int32_t mlong;
  double mdbl;
  datetime mdt;
  Boolean mbool;
  char* mbuff;
  const char* mstream;
  void* mbinary;
};
static_assert(sizeof(RegTBL) == 8);

/// Reserved for callers that keep a condition with an area; no function here reads it.
struct Filter {
  RegTBL TBL_srcf;
  Operator TBL_oper;
  RegTBL TBL_cmpd;
  Obj_Node* TBL_data;
};

struct VORNE_RDD {
  Obj_Node* TBL_constAlias;
  std::int32_t TBL_ialias;  // length of the alias
  char TBL_alias[32];
  std::uint32_t TBL_status;
  std::int32_t TBL_lasfield;  // number of the field used last
  Boolean TBL_eof, TBL_bof, TBL_found, TBL_open, TBL_fieldchanged;
  std::int32_t TBL_recposition;  // current record
  std::uint32_t TBL_cod_erro;
  std::int32_t TBL_Index;  // current order: an index's number from 0, -1 none
  Filter* TBL_filter;
  std::int32_t TBL_buffPos;
  char* TBL_buff;  // the field buffer
  std::int32_t TBL_tam_max_buff;
  std::int32_t TBL_idxPos;  // length of the entry in TBL_idxbuff
  std::int32_t TBL_recpos;  // as TBL_recposition, -1 while no record is found
  char* TBL_idxbuff;        // the key buffer
  std::int32_t TBL_regidxPos;
  std::int32_t TBL_sFlush;  // operations since the memo database was flushed
  char* TBL_regidxbuff;     // the second key buffer: what is sought
  std::uint32_t TBL_lastpos;
  Boolean TBL_append;  // the buffer is to become a new record
  RDDKind TBL_rddkind;
  DmOpenRef TBL_memo;  // null without a memo database
  myAppInfoType* TBL_appinfo;
};

/// Makes a table. `structure` is an array of arrays {name, type letter, length, decimals}; the letters are C (text), N
/// (number), D (date), L (logical), M (memo), I and B (which cannot be stored). A table of that name is replaced, with
/// its memo texts and indexes. False when the catalogue still has the name. Errors 0, 3/36, 3/40, 6/37, 6/38, 6/39.
Obj_Node* __DBCREATE(Obj_Node* name, Obj_Node* structure, Obj_Node* driver = nullptr);
/// Opens a table into a free area (unless `newArea` is true, the current one is closed first), which becomes current,
/// without an order, at its first record. An area that has the alias is closed. True. Errors 3/13 (no free area), 3/53,
/// 14/53 (no such table).
Obj_Node* __DBUSEAREA(Obj_Node* newArea, Obj_Node* driver, Obj_Node* name, Obj_Node* alias = nullptr,
                      Obj_Node* shared = nullptr, Obj_Node* readOnly = nullptr);
/// The table's description with its database and indexes open, read from its application-info block; with `description`
/// the database is made and gets it. `type` is a type code. Null when there is no such table. Error 3/55 for a block
/// that cannot be read.
myAppInfoType* __TBL_CreateOrOpen(const char* name, std::uint32_t type, std::uint32_t mode,
                                  myAppInfoType* description = nullptr);
/// Writes the description blocks of the table and of its indexes. 0. Errors 3/33, 3/34, 3/35.
int __TBL_CreateOrChangeMyAppInfo(myAppInfoType* table);
/// Closes an area after writing what is pending. True, false when it is not open.
Obj_Node* __DB_CloseArea(Obj_Node* alias = nullptr);
int __CloseTBL(int area);  ///< the same by number; 1, 0 when it is not open. Error 3/56.
Obj_Node* __dbCloseAll();  ///< closes every area; NIL

/// The number of the area with that alias, or of the current one; -1 when there is none. Errors 3/12, 3/13.
int __GetAliasID(Obj_Node* alias);
Obj_Node* __Select(Obj_Node* alias = nullptr);  ///< the same as a number
Obj_Node* __TBL_Select(Obj_Node* alias);        ///< makes the area current; its number. Errors 3/21, 3/22.
Obj_Node* __Alias(Obj_Node* area = nullptr);    ///< alias of an area, empty for one that is not open
Obj_Node* __Used(Obj_Node* alias = nullptr);    ///< whether the area is open

// ------------------------------------------------------------------------------------------------------- navigation

Obj_Node* __TBL_GoTop(Obj_Node* alias = nullptr);     ///< NIL
Obj_Node* __TBL_GoBottom(Obj_Node* alias = nullptr);  ///< NIL
/// To record `n` (0x0FFFFFFE: the last), deleted or not. Logical. Error 0 for what is no number.
Obj_Node* __TBL_GoTo(Obj_Node* alias, Obj_Node* n);
/// To the n-th entry of the current order, to record `n` without one.
Obj_Node* __TBL_GoToI(Obj_Node* alias, Obj_Node* n);
/// `n` records on (1 when missing). Logical.
Obj_Node* __TBL_Skip(Obj_Node* alias = nullptr, Obj_Node* n = nullptr);
/// Writes what is pending and goes to a position of the table, or of the current order. `direction` (-1, 0, 1) says
/// where to go on from a hidden record. 1 when a record is loaded; beyond the last record both end flags are true.
int __GoTo(int area, int position, Boolean throughIndex, int direction);
/// The same without writing.
int ReadData(int area, Boolean throughIndex, int position, int direction);
/// From a deleted record that a seek met, on through the index to one that is not. `entry` is the one sought, `length`
/// the bytes of its key that count.
void SkipDeleted(int area, int position, int index, const char* entry, int length, Boolean soft);
int __TBL_GetLastData(int area, int position);  ///< loads a record into the buffer as it stands; 1, or 0
void Resync(int area);                          ///< the current order's position becomes the current record's

Obj_Node* __TBL_Bof(Obj_Node* alias = nullptr);
Obj_Node* __TBL_Eof(Obj_Node* alias = nullptr);
Obj_Node* __TBL_Found(Obj_Node* alias = nullptr);
Obj_Node* __TBL_RecNo(Obj_Node* alias = nullptr);     ///< from 1; the count + 1 while appending and beyond the end
Obj_Node* __TBL_RecCount(Obj_Node* alias = nullptr);  ///< deleted records included
Obj_Node* __TBL_Fcount(Obj_Node* alias = nullptr);    ///< fields, without the deletion mark
Obj_Node* __TBL_RecSize(Obj_Node* alias = nullptr);   ///< bytes of the current record's stored form

// ------------------------------------------------------------------------------------------- records and their fields

Obj_Node* __TBL_Delete(Obj_Node* alias = nullptr);   ///< marks the record in the buffer; NIL. Error 3/16.
Obj_Node* __TBL_Recall(Obj_Node* alias = nullptr);   ///< takes the mark away; NIL. Error 3/19.
Obj_Node* __TBL_Deleted(Obj_Node* alias = nullptr);  ///< Error 3/17.
/// Starts a new record: a blank buffer, which becomes a record when it is written. Logical.
Obj_Node* __DBAPPEND(Obj_Node* alias = nullptr);
Obj_Node* __Commit(Obj_Node* alias = nullptr);     ///< writes the buffer if it has changes; logical
Obj_Node* __CommitAll();                           ///< the same in every area
Obj_Node* __AbortEdit(Obj_Node* alias = nullptr);  ///< drops the changes: the record is loaded again
/// Writes the buffer as a record and keeps the indexes up to date. `mode` 'T' makes a new record of it in any case, 'P'
/// is the usual one; `dirty` sets the record's dirty bit, `hostOrder` leaves numbers unswapped. 1, or 0 without a
/// record. Errors 3/8 (a field that cannot be stored), 5.
int __WriteRecord(int area, char mode, Boolean dirty = 1, Boolean hostOrder = 0);
Obj_Node* __dbPack(Obj_Node* alias = nullptr);  ///< removes the deleted records; NIL
Obj_Node* __dbZap(Obj_Node* alias = nullptr);   ///< removes all records and memo texts; NIL
/// Deletes a table with memo texts and indexes, closing areas that have it open. Logical.
Obj_Node* __TBL_DeleteDatabase(Obj_Node* name);

/// Number of a field, from 1; 0 when there is no such field. Errors 3/28, 3/29, 3/30, 3/31.
int __GetFieldPos(int area, const char* name);
/// The values of fields. Texts come without trailing blanks, memos as texts.
Obj_Node* __GetField(Obj_Node* alias, Obj_Node* field);         ///< by name or number. Errors 3/26, 3/27.
Obj_Node* __GetFieldByName(int area, const char* name);         ///< Error 3/27.
Obj_Node* __GetFieldByID(int area, int field);                  ///< Error 3/26.
Obj_Node* __GetFieldContent(Obj_Node* alias, Obj_Node* field);  ///< as __GetField, numbers and dates as texts
/// Sets a field, by name or number, in the buffer. Texts are cut to the field's length. True. Errors 3/23 (no value,
/// or one of another type), 3/26, 3/27.
Obj_Node* __SetField(Obj_Node* alias, Obj_Node* field, Obj_Node* value);
Obj_Node* __FieldType(Obj_Node* alias, Obj_Node* field);  ///< the type letter
Obj_Node* __FieldLen(Obj_Node* alias, Obj_Node* field);
Obj_Node* __FieldDecLen(Obj_Node* alias, Obj_Node* field);
Obj_Node* __GetFieldName(Obj_Node* alias, Obj_Node* field);
/// `attribute` 1 name, 2 type letter, 3 length, 4 decimals; NIL for any other.
Obj_Node* __GetFieldAttribute(Obj_Node* alias, Obj_Node* field, Obj_Node* attribute);
Obj_Node* __DBStruct(Obj_Node* alias = nullptr);  ///< the array that __DBCREATE takes

// Memo texts. A field holds the memo's record number, 0 none.
Obj_Node* ReadMemo(int area, int field);  ///< `field` from 1; empty without a memo
/// `length` bytes of `text`; the field gets the memo's number. 1, 0 without a memo database.
int WriteMemo(int area, int field, const char* text, int length);
int OpenMemoDB(int area);             ///< 1, or 0 when there is none
int CreateMemoDB(const char* table);  ///< 1, or 0
int DeleteMemoDB(const char* table);  ///< 1, or 0

// ---------------------------------------------------------------------------------------------------------- indexes

/// Makes an index of the area's table, fills it and makes it the current order. `expression` joins fields with "+";
/// STR(field) and DTOS(field) stand for the field. True; false for the name INVALID_INDEX. Errors 3/45 (an unknown
/// field) and 3/44 to 3/52, each with the text that names the check.
Obj_Node* __DBCREATEINDEX(Obj_Node* name, Obj_Node* expression, Obj_Node* alias = nullptr);
Obj_Node* __DBDROPINDEX(Obj_Node* name, Obj_Node* alias = nullptr);  ///< logical. Errors 3/41, 3/42, 3/43.
/// The steps of __DBCREATEINDEX with the key fields' numbers (from 1): 1, or 0 when the name is taken.
int __TrataCriaIndice(int area, const char* name, const std::uint32_t* keyFields, int count);
int PopulateIndex(int area, int index);          ///< one entry for each record, in key order; 1, or 0
Obj_Node* __Reindex(Obj_Node* alias = nullptr);  ///< all indexes anew; NIL

/// Opens an index that belongs to the table; one that does not fit the records is made anew, with a line in
/// "saida.txt". 1, or 0. Error 3/16.
int __OpenIDX(int area, int index);
int __CloseIDX(int area, int index);  ///< 1, or 0
int __CloseAllIdx(int area);          ///< how many were open
/// Attaches and opens the index of that name; its number, -1 when the table has none.
int __UseIndex(int area, const char* name);
int __GetFirstOpenIDX(int area);  ///< -1 when none is. Error 3/14.
void __ClearIndex(int area);      ///< no current order

Obj_Node* __IndexKey(Obj_Node* alias, Obj_Node* order = nullptr);  ///< the key fields' names joined with "+"
Obj_Node* __IndexOrd(Obj_Node* alias = nullptr);                   ///< the current order, from 1; 0 none
/// Changes the order to an index's number (from 1; 0 none) or name; the one before, as a name, "INVALID_INDEX" for a
/// missing one. Error 3/32 for an order that does not exist.
Obj_Node* __TBL_SetOrder(Obj_Node* alias, Obj_Node* order);
Obj_Node* __TBL_INDEX_POS(Obj_Node* alias = nullptr);  ///< position in the order, from 1; 0 none
int __GetIdxInd(int area, const char* name);           ///< an index's number from 0, -1 none

/// Seeks a text: a record whose key begins with it, the first of them; with `soft` true, else the first greater one.
/// The value of found. Errors 3/2, 3/3, 9/4.
Obj_Node* __Seek(Obj_Node* alias, Obj_Node* key, Obj_Node* soft = nullptr);

/// The entry for the area's buffer, in the area's key buffer: the record's position (4 bytes) and the key. `swap` says
/// that numbers stand byte-swapped in the buffer. Error 3/19 for a field that cannot be a key.
char* __CreateKeyToWrite(int area, int index, Boolean swap);
/// The longest key of the area's indexes + 4; 0 without indexes.
int __CalMaxIdxTam(int area);
/// -1, 0 or 1: compares `length` key bytes of two entries, as far as the second one has them.
std::int16_t __SCmpFunc(void* a, void* b, std::int16_t length, void* = nullptr, void* = nullptr, MemHandle = nullptr);
/// See DmFindSortPosition, which calls it.
UInt32 __FindBinary(DmOpenRef index, void* key, void* info, DmComparF* compare, std::int16_t length);
/// The position of the first entry that is not smaller than `key`, searched one by one; the count when there is none.
UInt32 __FindSequential(DmOpenRef index, void* key, void* info, DmComparF* compare, std::int16_t length);
/// 1 when `entry` (record and key of `length` bytes) stands in the index, its place in `*position`; else 0.
int FindKeyInIndexFile(DmOpenRef index, const char* entry, int length, UInt32* position);
/// The same by the record's position alone.
int FindRecnoInIndexFile(DmOpenRef index, std::int32_t record, UInt32* position);
int OrdenarIndice(DmOpenRef index);  ///< sorts the entries by key; 1, or 0 for null
