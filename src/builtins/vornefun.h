// The builtin functions of the script language: texts, numbers as text, Base64 and parameter encoding.
//
// Arguments are never changed; results are temporaries (see vorneobjs.h for values and errors) and are not locked.
// An optional argument is left out with a null pointer or NIL. A text larger than 0x0FFFFFFF bytes is error 5.
// Positions count from 1, only the space character is blank, and a wrong argument type is error 0 unless said
// otherwise. The length field of a result is that of the buffer it was made in, not always its text's length + 1:
// the prefix comparison __EQ reads it, so the odd ones stated here are kept.
#pragma once

#include "runtime/vorneobjs.h"

// ------------------------------------------------------------------------------------------------------- texts

/// `count` bytes of `s` (default: all) from position `start`. A start past the end, or a count below 1, gives the
/// whole text (length field one less than usual), not an empty one.
Obj_Node* __SubStr(Obj_Node* s, Obj_Node* start, Obj_Node* count = nullptr);
/// The first `n` characters, all of them for n <= 0; length field count + 2.
Obj_Node* __Left(Obj_Node* s, Obj_Node* n);
/// The last `n` characters, all of them for n <= 0; length field that of the whole text.
Obj_Node* __Right(Obj_Node* s, Obj_Node* n);
/// Position of `needle` in `s`, 0 if absent.
Obj_Node* __At(Obj_Node* needle, Obj_Node* s);
/// Position of its last occurrence (overlapping ones count), 0 if absent or for an empty needle.
Obj_Node* __Rat(Obj_Node* needle, Obj_Node* s);
/// Copy with the letters a to z (A to Z) changed; null for null. Bytes of accented letters stay.
Obj_Node* __Upper(Obj_Node* s);
Obj_Node* __Lower(Obj_Node* s);
/// Copies without leading, trailing, both kinds of blanks. __RTrim never looks at the first character, so a text of
/// blanks keeps one.
Obj_Node* __LTrim(Obj_Node* s);
Obj_Node* __RTrim(Obj_Node* s);
Obj_Node* __AllTrim(Obj_Node* s);
/// `s` followed by whole copies of `pad` (default one blank) until at least `width` characters; never cut. A pad of
/// several characters may pass the width; length field width + 1.
Obj_Node* __PadR(Obj_Node* s, Obj_Node* width, Obj_Node* pad = nullptr);
Obj_Node* __Pad(Obj_Node* s, Obj_Node* width, Obj_Node* pad = nullptr);
/// (width - length) copies of `pad`, then `s`; length field length + width + 2.
Obj_Node* __PadL(Obj_Node* s, Obj_Node* width, Obj_Node* pad);
/// `pad` put once into `s` behind its first (width - 1) / 2 characters; length field width + 1.
Obj_Node* __PadC(Obj_Node* s, Obj_Node* width, Obj_Node* pad);
/// `n` blanks; error 5 for a negative n.
Obj_Node* __Space(Obj_Node* n);
/// `s` repeated `n` times; length field n x (length + 1) + 1.
Obj_Node* __Replicate(Obj_Node* s, Obj_Node* n);
/// `s` with every `search` from position `start` on replaced by `repl`; only the first one for a negative `count`,
/// which is no limit otherwise. An empty search gives a copy.
Obj_Node* __StrTran(Obj_Node* s, Obj_Node* search, Obj_Node* repl, Obj_Node* start = nullptr,
                    Obj_Node* count = nullptr);
/// The first `start` characters, `ins`, then what follows the next `del` characters. Null when start or del is not
/// below the length field.
Obj_Node* __Stuff(Obj_Node* s, Obj_Node* start, Obj_Node* del, Obj_Node* ins);
/// Code of the first byte, 0 to 255.
Obj_Node* __Asc(Obj_Node* s);
/// The one-byte text of code `n` modulo 256; __Chr(0) holds a zero byte.
Obj_Node* __Chr(Obj_Node* n);

/// First place in the `hayLen` bytes at `hay` where the `needleLen` bytes at `needle` stand, or null. The very last
/// place is never tried: pass the terminator's byte along.
const char* FindStr(const char* hay, int hayLen, const char* needle, int needleLen);

// ------------------------------------------------------------------------------------------- numbers and text

/// `n` rounded to `decimals` (default 0, at most 100; negative: 10) and padded on the left to `width` (default 10, at
/// most 32767; negative: 10), never cut. The decimal separator is the locale's.
Obj_Node* __Str(Obj_Node* n, Obj_Node* width = nullptr, Obj_Node* decimals = nullptr);
/// The same padded with zeros, also in front of a minus sign; negative decimals are 0, and the text is cut after two
/// decimals when the third one is 0.
Obj_Node* __StrZero(Obj_Node* n, Obj_Node* width = nullptr, Obj_Node* decimals = nullptr);
/// The number that a text stands for, read from its end: the rightmost comma or point is the separator, others are
/// dropped. Null for null, 0 for anything that is not a text.
Obj_Node* __Val(Obj_Node* s);
/// Bytes that __GetStringFromDouble may write for `decimals` decimals, the terminator included.
constexpr int StringFromDoubleSize(int decimals) {
  return 512 + (decimals < 0 ? 0 : decimals > 100 ? 100 : decimals);
}
/// Writes `v` with `decimals` decimals (0 to 100) into `buf`, which has StringFromDoubleSize(decimals) bytes; rounds
/// half away from zero when `round` is not 0. NaN and infinity give zeros.
void __GetStringFromDouble(char* buf, double v, int decimals, short round);
/// Writes `v` as "%f" with the separator `sep`, trailing zeros of the fraction removed, into `buf` of 512 bytes.
void printDouble(double v, char* buf, char sep);

// ----------------------------------------------------------------------------------------------------- Base64

/// The alphabet; every encode and decode goes through this pointer.
extern const char* m_szBase64Table;

/// Encodes the `n` (1 to 3) bytes at `src` into 4 characters at `dst`; missing bytes count as 0.
void EncodeBase64Bytes(const unsigned char* src, char* dst, int n);
/// Index of `c` in the alphabet, 255 when absent.
int FindBase64Val(char c);
/// Decodes 4 characters into the 3 bytes at `dst`; returns how many of them count. Nothing is refused: a character
/// outside the alphabet has the value 255.
int DecodeBase64Bytes(const char* src, unsigned char* dst);
/// A new zero-terminated Base64 text of the `len` bytes at `buffer`, for FreeEncode64; null without memory.
char* Encode64(const void* buffer, int len);
void FreeEncode64(char* text);
/// Bytes that Decode64 may write for a text of `n` characters, the zero behind them included.
constexpr int Decode64Size(int n) {
  return 3 * ((n + 3) / 4) + 1;
}
/// Decodes the zero-terminated `text` into `out`, which has Decode64Size(strlen(text)) bytes, and writes a zero behind;
/// `*count` becomes the number of bytes. Characters past the end count as 255.
void Decode64(const char* text, void* out, int* count);

/// Position, from 1, of the last zero byte among the `len` bytes at `buffer`; 0 for none.
int FindLastZero(const char* buffer, int len);
/// The same over a text value's whole length field.
Obj_Node* __GetLastZero(Obj_Node* s);
/// A text value of exactly the `len` bytes at `buffer`, length field len + 1; NIL for null or length 0.
Obj_Node* __SetBuffer(const char* buffer, int len);
/// Base64 of a text over its whole length field, so that the terminator is covered; a copy when encoding is off. Null
/// without memory.
Obj_Node* __DoEncode(Obj_Node* s);
/// The bytes that an encoded text stands for, NIL for the empty text; a copy when encoding is off. Null without memory.
Obj_Node* __DoDecode(Obj_Node* s);
/// Cuts the 0xFF fill behind what a vendor wrote: when the last of the `*length` bytes at `buffer` is 0xFF, a zero
/// follows the last byte that is not, and `*length` becomes the kept bytes + 1 (1 when there is none). Unchanged
/// otherwise, and for a length below 1.
void __SetObjLength(char* buffer, int* length);
