// The builtin functions of the script language: texts, numbers, dates, types, Base64 and parameter encoding.
// They stand on the runtime alone and raise errors with __RuntimeError.
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

// ------------------------------------------------------------------------------------------------------- dates

// A date is the number of days since 30 December 1899; 0 is the empty date. Two settings steer dates as text: number 4,
// the date format, and number 5, the epoch.

/// 1 for a leap year of the Gregorian rule, else 0.
short __IsLeapYear(unsigned year);
/// The parts of the day that `value` falls on; all 0 for the empty date, NaN and days before year 1.
void __DecodeDate(datetime value, unsigned* year, unsigned* month, unsigned* day);
/// `*value` becomes the date `extraDays` days after that day; 1 when done. A year below 100 is widened to the first one
/// from the epoch on that ends in it; an epoch below 1900 is raised to 1900 for good. 0 as year, month and day is the
/// empty date. A day before 30 December 1899 wraps as 32 bits do: the value is 4294967296 more. For parts that are no
/// day of the years up to 9999, `*value` becomes 0 and so is the result; `extraDays` may lead beyond that year.
short __DoEncodeDate(unsigned year, unsigned month, unsigned day, datetime* value, int extraDays);
/// The same date without extra days, 0 when the parts are invalid.
datetime __EncodeDate(unsigned year, unsigned month, unsigned day);

/// Today by the local clock.
Obj_Node* __Date();
/// The local time of day, "hh:mm:ss".
Obj_Node* __Time();
/// The same: the time of day as text, not a number of seconds.
Obj_Node* __Seconds();
/// `end` minus `start` as "hh:mm:ss", with "-" in front when `end` is earlier. The numbers are read from characters
/// 1-2, 4-5 and 7-8; missing digits are 0.
Obj_Node* __ElapTime(Obj_Node* start, Obj_Node* end);
/// A time stamp of the day `d` at the local time of day: (year - 2000) * 100000000 + seconds since that year began, in
/// capital hexadecimal digits; 64-bit two's complement for days before 2000.
Obj_Node* __GenTMS(Obj_Node* d);

/// Parts of a date as numbers, 0 for the empty date.
Obj_Node* __Year(Obj_Node* d);
Obj_Node* __Month(Obj_Node* d);
Obj_Node* __Day(Obj_Node* d);
/// 1 (Sunday) to 7 (Saturday); 7 for the empty date, 0 for anything that is no date.
Obj_Node* __Dow(Obj_Node* d);
/// English names in small letters; the empty date is a "saturday" of no month (""). October is "octuber".
Obj_Node* __CDow(Obj_Node* d);
Obj_Node* __CMonth(Obj_Node* d);
/// "yyyymmdd", "00000000" for the empty date.
Obj_Node* __Dtos(Obj_Node* d);
/// year + 10000 x (day + (month - 1) x length of that month), as a number: not a count of days.
Obj_Node* __JulianDate(Obj_Node* d);

/// The date `d` as text, blanks in place of its digits when it is empty. In `format` (default: setting 4) each letter
/// d, m and y stands for a digit, in either case: a part is written where its letter is first met, zero-padded to as
/// many digits as the letter occurs (at most 20), and left out when it does not occur. More than three y give the whole
/// year, fewer its last two digits. Between the parts stands the last character of the format that is no such letter.
Obj_Node* __Dtoc(Obj_Node* d, Obj_Node* format = nullptr);
/// The date that `text` holds at the places where `format` (default: setting 4) has its letters, by the rules of
/// __DoEncodeDate. The empty date for a text below 8 characters, a month outside 1 to 12 or a day outside 1 to 31; null
/// for a day that its month does not have and a year above 9999.
Obj_Node* __Ctod(Obj_Node* text, Obj_Node* format = nullptr);
/// Stores the text `format` as setting 4 as it stands, whatever the century setting (__Set would fit it); a temporary
/// loses its text. Null changes nothing.
void __Set_DateFormat(Obj_Node* format);

// ----------------------------------------------------------------------------------------------------- numbers

/// `n` rounded to `d` decimals (see dblRound).
Obj_Node* __Round(Obj_Node* n, Obj_Node* d);
/// `n` cut to `d` decimals (0 to 100), as __GetStringFromDouble writes it without rounding; from about 20 decimals on
/// its digits are not exact. Changes ObjsGlobals::mTmp.
Obj_Node* NOROUND(Obj_Node* n, Obj_Node* d);
/// The integer part of `n` rounded to one decimal: 3 for 2.96, 2 for 2.94, -3 for -2.96.
Obj_Node* __Int(Obj_Node* n);
Obj_Node* __Abs(Obj_Node* n);
/// The remainder of a / b, with the sign of `a`; error 0 for a zero `b`.
Obj_Node* __FMOD(Obj_Node* a, Obj_Node* b);
/// The argument, itself and not a copy, that is smaller (greater), `b` when they are equal. Two numbers or two dates.
Obj_Node* __Min(Obj_Node* a, Obj_Node* b);
Obj_Node* __Max(Obj_Node* a, Obj_Node* b);
/// The number `n` as a new value. Its type is not looked at: of other values the first eight bytes are taken for a
/// number. Error 0 for null.
Obj_Node* __Bin2I(Obj_Node* n);
Obj_Node* __Bin2L(Obj_Node* n);
Obj_Node* __Bin2W(Obj_Node* n);
Obj_Node* __I2Bin(Obj_Node* n);
Obj_Node* __L2Bin(Obj_Node* n);
Obj_Node* __W2Bin(Obj_Node* n);

// ------------------------------------------------------------------------------------------- types, validation

/// `a` when `cond` is not 0, else `b`; both must be of one type.
Obj_Node* __If(short cond, Obj_Node* a, Obj_Node* b);
/// True for an array without elements, a text of nothing but blanks, the number 0, the empty date, false, and every
/// value of another type, NIL among them. An element that holds an array counts as one of another type. Error 0 for
/// null.
Obj_Node* __Empty(Obj_Node* v);
/// Number of an array's elements, or of a text's bytes before the first zero byte; -1 for null. Error 0 for other types
/// and for the shared values.
Obj_Node* __Len(Obj_Node* v);
/// "C" text, "A" array, "D" date, "N" number, "L" logical, "U" anything else. Error 0 for null.
Obj_Node* __Type(Obj_Node* v);
/// Classes of the bytes of ISO-8859-1, by byte value 0 to 255, and 0 for -1: the sum of 1 capital letter, 2 small
/// letter, 4 letter without case, 8 digit.
extern const unsigned char* const _sctype;
/// True when the first byte of `s` is of that class.
Obj_Node* __IsAlpha(Obj_Node* s);
Obj_Node* __IsDigit(Obj_Node* s);
Obj_Node* __IsUpper(Obj_Node* s);
Obj_Node* __IsLower(Obj_Node* s);
/// Stops the process for `n` microseconds (not milliseconds), at once back for null and n < 1. Returns null.
Obj_Node* SLEEP(Obj_Node* n);
/// 1 when `text` is a valid CPF (11 digits, persons) or CGC (14 digits, companies; today's CNPJ), else 0, by the check
/// digits that the Receita Federal defines. Other characters than digits are not refused, and neither are numbers of
/// one repeated digit; punctuation makes a number too long. Null is invalid.
short __ValidaCPF(const char* text);
short __ValidaCGC(const char* text);
/// The same for a text value, as a logical.
Obj_Node* __ValidCPF(Obj_Node* s);
Obj_Node* __ValidCGC(Obj_Node* s);

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
