// Every function of the command table against its device: exported, answered, inputs left alone.
#include <algorithm>
#include <cstring>
#include <memory>

#include "device.h"
#include "generated/arguments.h"

namespace {

using generated::Arg;
using generated::ArgList;
using generated::Argument;

constexpr int kInternalError = -98;
constexpr int kNoHandler = -99;

/// Places of one call: a room of its own for every text, all starting as the same text.
struct Rooms {
  explicit Rooms(const char* text) {
    for (auto& room : texts) std::strcpy(room.data(), text);
  }
  std::array<std::array<char, 8192>, generated::kMaxArguments> texts{};
  std::array<int, generated::kMaxArguments> numbers{};
  std::array<short, generated::kMaxArguments> shorts{};
};

template <Arg kArg>
generated::VendorType<kArg> place(Rooms& rooms, std::size_t i) {
  constexpr auto kNative = generated::nativeKind(kArg.kind);
  if constexpr (kNative == generated::Native::kInt) return 1;
  if constexpr (kNative == generated::Native::kIntPtr) return &rooms.numbers[i];
  if constexpr (kNative == generated::Native::kShortPtr) return &rooms.shorts[i];
  if constexpr (kNative == generated::Native::kCharPtr) return rooms.texts[i].data();
}

struct Row {
  const char* library;
  const char* function;
  ArgList arguments;
  int (*call)(void* function, Rooms& rooms);
};

template <ArgList kList>
int callRow(void* function, Rooms& rooms) {
  return [&]<std::size_t... kPlaces>(std::index_sequence<kPlaces...>) {
    return reinterpret_cast<int (*)(generated::VendorType<kList[kPlaces]>...)>(function)(
        place<kList[kPlaces]>(rooms, kPlaces)...);
  }
  (std::make_index_sequence<kList.size()>());
}

namespace rows {
using namespace generated;
using namespace generated::words;
const Row kAll[] = {
#define LIST(...) \
  ArgList {       \
    __VA_ARGS__   \
  }
#define COMMAND(name, library, adapter, function, arguments, output, fields) \
  {library, #function, LIST arguments, callRow<LIST arguments>},
#define ADAPTER_ONLY(library, adapter, function, arguments) \
  {library, #function, LIST arguments, callRow<LIST arguments>},
#include "generated/command_table.def"
#undef LIST
};
}  // namespace rows

/// One device of each library, ready to work.
struct Shop {
  Device printer, second{"bemafi32.so"}, terminal{"libclisitef.so"};
  Device& of(const Row& row) {
    const std::string library = row.library;
    return library == generated::CONVECF ? printer : library == generated::BEMATECH ? second : terminal;
  }
};

/// With the port closed and open, with empty texts and with "1" everywhere: an answer, no internal error, and the
/// texts that are inputs unchanged. The one that answers into a text which is not brought back is left out.
TEST(EveryFunction, IsExportedAnswersAndLeavesItsInputsAlone) {
  const Environment now("TELLIRA_SIM_NOW", kSunday);
  for (const bool ready : {false, true}) {
    Shop shop;
    if (ready) {
      shop.printer.run("ECF_AbrePortaSerial -> 1");
      shop.second.run("Bematech_FI_AbrePortaSerial -> 1");
      ASSERT_EQ(0, shop.terminal.call("ConfiguraIntSiTefInterativo", "host", "00000000", "CAIXA001", 0));
    }
    for (const char* text : {"", "1"}) {
      for (const Row& row : rows::kAll) {
        const auto rooms = std::make_unique<Rooms>(text);
        void* const function = shop.of(row).symbol(row.function);
        ASSERT_NE(nullptr, function) << row.function;
        const int result = row.call(function, *rooms);
        EXPECT_TRUE(result != kInternalError && result != kNoHandler) << row.function << " " << result;
        if (std::string(row.function) == "EnviaRecebeSiTefDireto") continue;
        for (std::size_t i = 0; i < row.arguments.size(); ++i) {
          if (row.arguments[i].kind != Argument::kText) continue;
          EXPECT_STREQ(text, rooms->texts[i].data()) << row.function;
        }
      }
    }
  }
}

/// Readings that have something to say say it once a coupon is closed.
TEST(EveryFunction, ReadingsSpeakAfterASale) {
  const Environment now("TELLIRA_SIM_NOW", kSunday);
  Device printer;
  printer.run(R"(
    ECF_AbrePortaSerial -> 1; ECF_AbreCupom  -> 1; ECF_VendeItem 1|Pao|1800|I|1|2|10,00|$| -> 1
    ECF_FechaCupomResumido Dinheiro|Ate logo -> 1; ECF_ReducaoZ | -> 1)");
  for (const Row& row : rows::kAll) {
    const bool reading = std::string(row.library) == generated::CONVECF && row.arguments.size() > 0 &&
                         row.arguments[0].kind == Argument::kTextRef;
    if (!reading) continue;
    const auto rooms = std::make_unique<Rooms>("1");
    for (auto& room : rooms->texts) std::strcpy(room.data(), "\x01");
    const int result = row.call(printer.symbol(row.function), *rooms);
    const bool looksUp = result == -12 || result == -2 || result == -14;  // wants a name, or there is nothing of it
    EXPECT_TRUE(result == 1 || looksUp) << row.function << " " << result;
    const auto answered = [](const auto& room) { return std::strcmp(room.data(), "\x01") != 0; };
    if (result == 1) {
      EXPECT_TRUE(std::any_of(rooms->texts.begin(), rooms->texts.end(), answered)) << row.function;
    }
  }
}

}  // namespace
