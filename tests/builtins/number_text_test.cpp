// Numbers to text and text to numbers, under a decimal point and under a decimal comma.
#include <algorithm>
#include <clocale>
#include <cmath>

#include "builtins/vornefun.h"
#include "support/runtime_fixture.h"
#include "table.h"

static char decimalPoint[2] = ".";

// In place of the C library's: the machine that runs the tests need not have a locale with a comma.
extern "C" struct lconv* localeconv() noexcept {
  static struct lconv conventions {};
  conventions.decimal_point = decimalPoint;
  return &conventions;
}

namespace {

class NumberText : public RuntimeTest {};

TEST_F(NumberText, PaddedToAWidth) {
  const struct {
    double value;
    int width, decimals;
    std::string_view str, strZero;
  } rows[] = TABLE({3.14159, 8, 2, "    3.14", "00003.14"}, {-5, 4, 0, "  -5", "00-5"}, {2.5, 3, 0, "  3", "003"},
                   {-2.5, 3, 0, " -3", "0-3"}, {0.005, 5, 2, " 0.01", "00.01"}, {1.999, 5, 2, " 2.00", "02.00"},
                   {-0.3, 4, 0, "  -0", "00-0"}, {123456789, 3, 0, "123456789", "123456789"},
                   // A zero in the third place cuts.
                   {1.5, 8, 4, "  1.5000", "00001.50"}, {1.2345, 8, 4, "  1.2345", "001.2345"},
                   {1.2305, 8, 4, "  1.2305", "00001.23"}, {7, -1, 0, "         7", "0000000007"}, {7, 0, 0, "7", "7"},
                   {7, 4, -1, "7.0000000000", "0007"}, {NAN, 5, 2, " 0.00", "00.00"}, {-INFINITY, 3, 0, "  0", "000"},
                   {1e15, 5, 1, "1000000000000000.0", "1000000000000000.0"},
                   // Within a millionth of an integer that integer stands before the number's own decimals.
                   {0.9999999996, 10, 8, "1.00000000", "0000001.00"});
  for (const auto& r : rows) {
    SCOPED_TRACE(testing::PrintToString(r.value) + " " + testing::PrintToString(r.width));
    EXPECT_EQ(visible(__Str(number(r.value), number(r.width), number(r.decimals))), r.str);
    EXPECT_EQ(visible(__StrZero(number(r.value), number(r.width), number(r.decimals))), r.strZero);
    decimalPoint[0] = ',';
    std::string comma(r.str);
    std::replace(comma.begin(), comma.end(), '.', ',');
    EXPECT_EQ(visible(__Str(number(r.value), number(r.width), number(r.decimals))), comma);
    decimalPoint[0] = '.';
  }
}

TEST_F(NumberText, DefaultsLimitsAndLengthFields) {
  EXPECT_EQ(visible(__Str(number(5), __INIT_NIL(), __INIT_NIL())), "         5");
  EXPECT_EQ(__Str(number(5))->objLength, 1 + 10 + 2);
  EXPECT_EQ(__Str(number(12345), number(2))->objLength, 6);
  EXPECT_EQ(visible(__Str(number(1), number(1e12), number(5000))).size(), 32767U);
  const std::string large = visible(__Str(number(-1e308), number(0), number(5000)));
  EXPECT_EQ(large.size(), 1 + 309 + 1 + 100U);
  EXPECT_EQ(large.find_first_not_of("-0123456789."), std::string::npos);
  decimalPoint[0] = '\0';
  EXPECT_EQ(visible(__Str(number(0.5), number(0), number(1))), "0.5");
  decimalPoint[0] = '.';
}

TEST_F(NumberText, PlainNumbers) {
  const struct {
    double value;
    char separator;
    std::string_view shown;
  } rows[] = TABLE({100, '.', "100"}, {1.25, '.', "1.25"}, {1.25, ',', "1,25"}, {-0.5, '.', "-0.5"}, {1e-9, '.', "0"},
                   {1000.1, ',', "1000,1"}, {NAN, '.', "nan"});
  for (const auto& r : rows) {
    char shown[512];
    printDouble(r.value, shown, r.separator);
    EXPECT_EQ(shown, r.shown);
  }
  char notRounded[StringFromDoubleSize(1)];
  __GetStringFromDouble(notRounded, 1.99, 1, 0);
  EXPECT_STREQ(notRounded, "1.9");
}

TEST_F(NumberText, ReadFromTheEnd) {
  const struct {
    std::string_view text;
    double value;
  } rows[] = TABLE({"1.234,56", 1234.56}, {"1,234.56", 1234.56}, {"12", 12}, {"-12", -12}, {"   7", 7}, {"12a34", 12},
                   {"12 ", 12}, {"+5", 0}, {"5-3", -503}, {"1a2b3", 102}, {"12a3.4", 12}, {".", 0}, {",5", 0.5},
                   {"5.", 5}, {"", 0}, {"   ", 0}, {"-", 0}, {"1.5 ", 105}, {"1.2-3", -10203}, {"1,2-3.4", -10203.4},
                   {"a1", 0}, {"1.000.000", 1000}, {"-0,01", -0.01}, {"99999999999", 99999999999.0});
  for (const auto& r : rows) EXPECT_EQ(numberOf(__Val(text(r.text))), r.value) << r.text;
  EXPECT_EQ(__Val(nullptr), nullptr);
  EXPECT_EQ(numberOf(__Val(number(3))), 0);
  EXPECT_EQ(numberOf(__Val(text(std::string(400, '0') + "5"))), 5);
  EXPECT_TRUE(std::isinf(numberOf(__Val(text(std::string(400, '9'))))));
  EXPECT_NEAR(numberOf(__Val(text("0." + std::string(400, '1')))), 1.0 / 9, 1e-15);
}

}  // namespace
