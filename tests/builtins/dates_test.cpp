// Dates against another calendar, day by day; dates as text; the clock.
#include <chrono>
#include <cmath>
#include <ctime>

#include "builtins/vornefun.h"
#include "runtime/values.h"
#include "table.h"

namespace {

namespace chrono = std::chrono;

constexpr chrono::sys_days kDayZero = chrono::year(1899) / 12 / 30;
constexpr double kWrap = 4294967296.0;

long valueOf(chrono::year_month_day day) {
  return (chrono::sys_days(day) - kDayZero).count();
}

class Dates : public RuntimeTest {};

/// What is wrong with the day `value` by the judgement of std::chrono; null for nothing.
const char* faultOf(long value) {
  const chrono::year_month_day judge(kDayZero + chrono::days(value));
  const chrono::year_month_day_last last = judge.year() / judge.month() / chrono::last;
  unsigned y, m, d;
  __DecodeDate(static_cast<double>(value) + 0.75, &y, &m, &d);  // a time of day makes no difference
  if (judge != chrono::year(static_cast<int>(y)) / static_cast<int>(m) / static_cast<int>(d)) return "decoded";
  if (__IsLeapYear(y) != judge.year().is_leap()) return "leap year";
  datetime back;
  const bool encodes = y <= 99 || __DoEncodeDate(y, m, d, &back, 0) == 1;  // two-digit years are widened
  if (!encodes || (y > 99 && back != (value < 0 ? value + kWrap : value))) return "encoded";
  if (value < 1) return nullptr;
  const unsigned weekday = chrono::weekday(judge).c_encoding();
  if (__Dow(__INIT_DATE(value))->objData.mdbl != weekday + 1) return "day of week";
  const double julian = y + ((m - 1) * static_cast<unsigned>(last.day()) + d) * 10000.0;
  return __JulianDate(__INIT_DATE(value))->objData.mdbl == julian ? nullptr : "Julian number";
}

TEST_F(Dates, EveryDayOfTheYears1To9999) {
  const long last = valueOf(chrono::year(9999) / 12 / 31);
  for (long value = valueOf(chrono::year(1) / 1 / 1); value <= last; ++value) {
    const char* fault = faultOf(value);
    ASSERT_EQ(fault, nullptr) << fault << " wrong for " << value;
  }
}

/// The encoded date as a number, null when it is refused; `epoch` becomes the setting.
Obj_Node* encode(Obj_Node* epoch, Obj_Node* year, Obj_Node* month, Obj_Node* day, Obj_Node* extra) {
  __Set(number(5), epoch);
  unsigned parts[3], *part = parts;
  for (Obj_Node* n : {year, month, day}) *part++ = static_cast<unsigned>(numberOf(n));
  datetime value = 7;
  const short done = __DoEncodeDate(parts[0], parts[1], parts[2], &value, ToInt(numberOf(extra)));
  EXPECT_TRUE(numberOf(extra) != 0 || __EncodeDate(parts[0], parts[1], parts[2]) == value);
  EXPECT_TRUE(done == 1 || (done == 0 && value == 0));
  EXPECT_GE(numberOf(__Set(number(5))), 1900);
  return done == 1 ? number(value) : nullptr;
}

TEST_F(Dates, Encoding) {
  expectAll(
      encode,
      "1940 2010 1 31 1 40210  1940 2010 1 1 -365 39814  1940 39 1 1 0 50771  1940 40 1 1 0 14611  "
      "1940.9 0 1 1 0 36526  1900 99 1 1 0 36161  2000 99 1 1 0 72686  1e300 50 1 1 0 -  1940 0 0 0 9 0  "
      "1940 2010 0 1 0 -  1940 2010 1 0 0 -  1940 0 1 0 0 -  1940 2010 13 1 0 -  1940 2010 2 29 0 -  "
      "1940 1900 2 29 0 -  1940 2000 2 29 0 36585  1940 10000 1 1 0 -  1940 4294967295 4294967295 4294967295 0 -  "
      "1940 9999 12 31 1 2958466  1940 9999 12 31 2147483647 2150442112  1940 1899 12 30 0 0  "
      "1940 1899 12 30 -1 4294967295  1940 1899 12 29 0 4294967295  1940 1899 12 30 -2147483648 2147483648  "
      "1899.9 30 1 1 0 10959  nan 30 1 1 0 10959  '1950' 30 1 1 0 10959  NIL 30 1 1 0 10959");
}

TEST_F(Dates, Parts) {
  expectAll(__Dtos,
            "d40252 '20100315'  d0 '00000000'  dnan '00000000'  d-693593 '00010101'  d-693594 '00000000'  "
            "d2958466 '100000101'  d-1e300 '00000000'  dinf '58815100710'");
  expectAll(__Year, "d40252.9 2010  d0 0  d-0.5 1899  3 error  - error");
  expectAll(__Month, "d40252 3  d0 0  '3' error");
  expectAll(__Day, "d40252 15  d0 0  NIL error");
  expectAll(__Dow, "d1 1  d7 7  d8.9 1  d0 7  d-1 7  dnan 7  dinf 7  3 0  - 0  NIL 0");
  expectAll(__CDow,
            "d1 'sunday'  d2 'monday'  d3 'tuesday'  d4 'wednesday'  d5 'thursday'  d6 'friday'  d0 'saturday'  "
            "3 error");
  expectAll(
      __CMonth,
      "d1 'december'  d2 'january'  d33 'february'  d61 'march'  d92 'april'  d122 'may'  d153 'june'  d183 'july'  "
      "d214 'august'  d245 'september'  d275 'octuber'  d306 'november'  d0 ''  1 error");
  expectAll(__JulianDate, "d40252 772010  d40193 152010  d0 0  'x' error");
}

TEST_F(Dates, ReadFromText) {
  expectAll(__Ctod,
            "'15/03/10' 'dd/mm/yy' d40252  '15/03/40' 'DD/MM/YY' d14685  '03/15/10' - d40252  '03/15/10' NIL d40252  "
            "'31/02/2010' 'dd/mm/yyyy' -  '31/04/2010' 'dd/mm/yyyy' -  '00/00/0000' 'dd/mm/yyyy' d0  '1/1/10' 'd/m/yy' "
            "d0  '1/01/10' 'd/mm/yy' d0  "
            "'01/13/2010' 'dd/mm/yyyy' d0  '32/01/2010' 'dd/mm/yyyy' d0  'ab/01/2010' 'dd/mm/yyyy' d0  "
            // Letters count wherever they stand, and digits up to the first other character.
            "'15x03x10' 'd-dm-my' d36965  '20100315' 'yyyymmdd' d40252  '1-/3-/10' 'dd/mm/yy' d40238  "
            "'1-/3-/2010' 'dd/mm/yyyy' d40238  '99999/01/01' 'yyyyy/mm/dd' -  '2010/01/01' 'mm/dd' d0  "
            "'01/02/2010' 'dd/mm' d36557  '01/02/2010' 'mm/yyyy' d0  '01/02/2010' '' d0  "
            "'01/02/10' 'dd/mm/____________________yy' d36557  '01/01/1800' 'dd/mm/yyyy' d4294930774  "
            "3 - error  - - error  '15/03/10' 3 error");
  const std::string letters(400, 'y'), zeros(398, '0');
  EXPECT_EQ(describe(__Ctod(text(zeros + "10/3/15"), text(letters + "/m/dd"))), "d40252");
  EXPECT_EQ(__Ctod(text(std::string(400, '9') + "/3/15"), text(letters + "/m/dd")), nullptr);
}

TEST_F(Dates, WrittenAsText) {
  expectAll(__Dtoc,
            "d40252 'dd/mm/yyyy' '15/03/2010'  d40252 - '03/15/10'  d40252 NIL '03/15/10'  d40252 'Y-M-D' '10-3-15'  "
            "d40252 'yyyymmdd' '20100315'  d40252 'yyy.dd' '010.15'  d40252 'dd/mm-yyyyy' '15-03-02010'  "
            "d40252 '[m]' '3'  d40252 'md:dm' '03:15'  d40252 '' ''  d40252 '//' ''  d2958466 'yyyy' '10000'  "
            "3 - error  - - error  d1 3 error");
  EXPECT_EQ(visible(__Dtoc(__INIT_DATE(0), text("d.mm/yyyy"))), " /  /    ");
  EXPECT_EQ(visible(__Dtoc(__INIT_DATE(40252), text(std::string(5000, 'y') + "/d"))), std::string(16, '0') + "2010/15");
  __Set_DateFormat(text("yyyy"));
  __Set_DateFormat(nullptr);
  EXPECT_EQ(visible(__Dtoc(__INIT_DATE(40252))), "2010");  // not fitted to the century setting
}

TEST_F(Dates, Clocks) {
  expectAll(__ElapTime,
            "'08:00:00' '09:30:15' '01:30:15'  '23:59:59' '00:00:00' '-23:59:59'  '00:00:00' '99:99:99' '100:40:39'  "
            "'01x02x03yz' '01' '-00:02:03'  '' '1:' '01:00:00'  '' '01020304' '01:20:04'  '00:00:00' 'a1:5:07' "
            "'00:05:07'  3 '' error  '' - error");
  std::time_t now;
  std::string shown;
  do {  // until all clocks are read within one second
    now = std::time(nullptr);
    shown.clear();
    for (const Obj_Node* n : {__Dtos(__Date()), __Time(), __Seconds(), __GenTMS(__Date())}) shown += visible(n) + ' ';
  } while (std::time(nullptr) != now);
  const std::tm local = *std::localtime(&now);
  const int seconds = ((local.tm_yday * 24 + local.tm_hour) * 60 + local.tm_min) * 60 + local.tm_sec;
  char expected[64];
  const std::size_t size = std::strftime(expected, sizeof expected, "%Y%m%d %H:%M:%S %H:%M:%S ", &local);
  std::snprintf(expected + size, sizeof expected - size, "%llX ", (local.tm_year - 100) * 100000000LL + seconds);
  EXPECT_EQ(shown, expected);
  expectAll(__GenTMS, "3 error  - error");
  const auto start = chrono::steady_clock::now();
  expectAll(SLEEP, "20000 -  -1 -  nan -  0.9 -  - -  'x' error  NIL error");
  const auto slept = (chrono::steady_clock::now() - start) / chrono::milliseconds(1);
  EXPECT_TRUE(slept >= 20 && slept < 15000) << slept;
}

TEST_F(Dates, AnArgumentMayLiveInTheOnlyFreeSlot) {
  Obj_Node* five = variable(number(5));
  __Set(five, number(0));
  while (lckstack < iMaxStackElements - 1) LockStack({number(0)});
  Obj_Node* free = __INIT_DATE(40252);
  EXPECT_EQ(describe(__SubTod(free, five)), "d40247");
  EXPECT_EQ(describe(__AddTod(free, five)), "d40252");
  EXPECT_EQ(describe(__CMonth(free)), "'march'");
}

}  // namespace
