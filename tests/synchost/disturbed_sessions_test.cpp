// The product's own client against the finished host, one device in round after round: it sells, the host's tables
// change, a session is disturbed at one place, and a clean one follows. Behind each round both sides must hold the
// same, every sale once.
//   DISTURBED_SESSIONS=N tries N places of each way to disturb instead of a few; 0: every place there is.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <set>

#include "support/failing_system.h"
#include "support/store_load.h"
#include "sync/system.h"
#include "synchost/open_sql.h"
#include "synchost/real_device.h"
#include "synchost/running_host.h"
#include "synchost/store_rows.h"

using namespace synchost;

namespace {

/// What the device's process tells of its line and its files, and where they fail. Outlives it.
struct Disturbed {
  unsigned bytes, calls, microseconds;
  unsigned cutAt, failAt;
  bool killsAtCall;
  failing::Plan files;
  pid_t host;
};
Disturbed& now = shared<Disturbed>();

void clear() {
  now = {};
  now.cutAt = now.failAt = ~0u;
}

bool fails() {
  if (now.calls++ != now.failAt) return false;
  if (now.killsAtCall) kill(getpid(), SIGKILL);
  errno = ECONNRESET;
  return true;
}
template <class Bytes, class Call>
ssize_t carry(Call call, int socket, Bytes bytes, std::size_t n) {
  const std::size_t room = now.cutAt - now.bytes;
  if (fails() || room == 0) return errno = ECONNRESET, -1;
  const ssize_t carried = call(socket, bytes, std::min(n, room));
  if (carried > 0) now.bytes += static_cast<unsigned>(carried);
  return carried;
}
/// The calls of a line that may be cut, counted.
void disturbLine() {
  using vorne::kNetworkSystem;
  vorne::networkSystem = {
      [](const char* host, std::uint32_t* address) { return !fails() && kNetworkSystem.resolve(host, address); },
      [] { return fails() ? -1 : kNetworkSystem.socket(); },
      [](int socket, std::uint32_t address, std::uint16_t port) {
        return fails() ? -1 : kNetworkSystem.connect(socket, address, port);
      },
      [](int socket) { return fails() ? -1 : kNetworkSystem.connected(socket); },
      [](int socket, const void* bytes, std::size_t n) { return carry(kNetworkSystem.send, socket, bytes, n); },
      [](int socket, void* bytes, std::size_t n) { return carry(kNetworkSystem.recv, socket, bytes, n); },
      [](int socket, bool toWrite, int seconds) {
        return fails() ? -1 : now.bytes == now.cutAt ? 1 : kNetworkSystem.wait(socket, toWrite, seconds);
      },
      [](int socket) { return fails() ? -1 : kNetworkSystem.shutdown(socket); },
      [](int socket) { return kNetworkSystem.close(socket) + (fails() ? -1 : 0); },
      [](unsigned microseconds) {
        if (!fails()) kNetworkSystem.pause(microseconds);
      }};
}

struct Way {
  const char* name;
  unsigned (*places)();  ///< as many as an undisturbed session has
  void (*disturb)(unsigned place);
  bool endsByItself = true;
};
void PrintTo(const Way& way, std::ostream* out) {
  *out << way.name;
}
unsigned filesCalled() {
  return now.files.calls;
}
unsigned callsMade() {
  return now.calls;
}
unsigned timePassed() {
  return now.microseconds;
}
const Way kWays[] = {
    {"cut", [] { return now.bytes; }, [](unsigned place) { now.cutAt = place; }},
    {"failing call", callsMade, [](unsigned place) { now.failAt = place; }},
    {"kill at a call to the line", callsMade,
     [](unsigned place) {
       now.failAt = place;
       now.killsAtCall = true;
     },
     false},
    {"kill at a call to the files", filesCalled,
     [](unsigned place) {
       now.files = {place, place % 2 == 0};
       failing::install("kill", now.files);
     },
     false},
    {"kill at any time", timePassed, [](unsigned place) { load::endIn(std::chrono::microseconds(place + 1)); }, false},
    {"full disk", filesCalled,
     [](unsigned place) {
       now.files = {place, true};
       for (const char* call : {"write", "ftruncate", "fallocate", "mkdir"}) failing::install(call, now.files);
     }},
    {"kill of the host", timePassed,
     [](unsigned place) {
       if (fork() != 0) return;
       usleep(place);
       kill(now.host, SIGKILL);
       _exit(0);
     }},
};

class DisturbedSessions : public testing::TestWithParam<Way> {
 protected:
  using Rows = std::multiset<std::string>;
  static constexpr const char* kTables[] = {"GOODS", "PRICES", "STOCK", "SHELF", "SALES", "OLD"};
  static constexpr std::size_t kAlike = 4;  ///< so many of them are the same on both sides

  void SetUp() override {
    create("GOODS", "BYCODE:CODE", 'P', Direction::kDown);
    create("PRICES", "BYPRICED:CODE", 'T', Direction::kDown);
    create("SALES", "", 'P', Direction::kUp);
    create("STOCK", "BYSTOCK:CODE", 'P', Direction::kBoth);
    create("SHELF", "BYSHELF:CODE", 'T', Direction::kBoth);
    store_.putDevice({"desk", "", true});
    store_.putImage("logo.bmp", Blob(700, 'x'));
    put("SHELF", "host", "before");
    store_.commit();
    makeDevice("desk");
    start();
    // A table that both have filled before they meet.
    ASSERT_EQ(atDesk([] {
                if (!make("SHELF", "{{'CODE','C',12,0},{'NAME','C',30,0}}")) return 1;
                addRow("SHELF", "desk", "before");
                closeAll();
                return 0;
              }).status,
              0);
  }
  void create(const char* name, const char* index, char type, Direction direction) {
    Table table = MakeTable(name, "CODE:C:12 NAME:C:30", index, "");
    table.type = type;
    table.direction = direction;
    store_.createTable(table);
  }
  void start() { host_ = std::make_unique<RunningHost>((scratch_.path() / "store.db").string()); }

  void put(const char* name, const std::string& code, const std::string& value, bool deleted = false) {
    putRows(store_, name, {{code, value}}, deleted);
  }
  Rows hosts(const char* name) {
    Rows rows;
    for (const auto& [code, value] : rowsIn(store_, name)) rows.insert(code + "," + value);
    return rows;
  }

  ChildResult atDesk(const std::function<int()>& body) {
    return runChild([&] { workAsDevice("desk", body); });
  }
  ChildResult session(const std::function<void()>& disturb) {
    now.host = host_->process();
    return atDesk([&] {
      disturbLine();
      disturb();
      const auto start = std::chrono::steady_clock::now();
      const bool succeeded = synchronise("desk", host_->port);
      now.microseconds =
          static_cast<unsigned>((std::chrono::steady_clock::now() - start) / std::chrono::microseconds(1));
      return succeeded ? 0 : 1;
    });
  }
  void cleanSession() {
    clear();
    const ChildResult ended = session([] {});
    ASSERT_EQ(ended.status, 0) << ended.output;
  }

  void sell(int sales) {
    const int from = sold_;
    sold_ += sales;
    ASSERT_EQ(atDesk([&] {
                for (int sale = from; sale < sold_; ++sale) addRow("SALES", std::to_string(sale), "a sale");
                closeAll();
                return 0;
              }).status,
              0);
  }
  // As many bytes in each round, so that the places of one are those of all.
  void prepare() {
    const std::string number = std::to_string(10'000 + ++round_);
    put("GOODS", "1", "changed " + number);
    put("GOODS", number, "new");
    put("GOODS", std::to_string(10'000 + round_ - 1), "gone", true);
    for (const char* code : {"1", "2", "3"}) put("PRICES", code, number);
    for (const char* code : {"1", "2"}) put("STOCK", code, number);
    put("SHELF", "host", number);
    store_.addTask("desk", TaskKind::kImages, "logo.bmp");
    store_.addTask("desk", TaskKind::kDelete, "OLD");
    store_.commit();
    std::filesystem::remove("desk/logo.bmp");
    ASSERT_EQ(atDesk([] { return make("OLD", "{{'A','C',5,0}}") ? (closeAll(), 0) : 1; }).status, 0);
    sell(3);
  }
  // Both sides change the same record: the host before a disturbed session, the desk behind it.
  void takeFromStock() {
    ASSERT_EQ(atDesk([&] {
                for (const char* name : {"STOCK", "SHELF"}) {
                  use(name);
                  if (__TBL_RecCount()->objData.mdbl == 0) continue;
                  go(1);
                  __SetField(nullptr, text("NAME"), text(("taken " + std::to_string(10'000 + round_)).c_str()));
                  __Commit();
                }
                closeAll();
                return 0;
              }).status,
              0);
  }
  void judge() {
    const ChildResult found = atDesk([] {
      std::printf("\n");
      for (const char* name : kTables) std::printf("%s\n", contents(name).c_str());
      closeAll();
      return vorne::CheckDirectory(".").sound ? 0 : 1;
    });
    EXPECT_EQ(found.status, 0) << "the directory is damaged";
    const std::vector<std::string> lines = split(found.output, '\n');
    ASSERT_EQ(lines.size(), 1 + std::size(kTables)) << found.output;
    for (std::size_t i = 0; i < kAlike; ++i) {
      Rows rows;
      for (const std::string& row : split(lines[i + 1]))
        if (row[0] != '*') rows.insert(row);
      EXPECT_EQ(rows, hosts(kTables[i])) << kTables[i];
    }
    EXPECT_EQ(lines[kAlike + 1].find('?'), std::string::npos) << "sales that the host is to get again";
    EXPECT_EQ(lines[kAlike + 2], "(none)") << "the table that was to be deleted";
    EXPECT_EQ(readFile("desk/logo.bmp"), std::string(700, 'x'));
    const Rows sales = hosts("SALES");
    std::string wrong;
    for (int sale = 0; sale < sold_; ++sale)
      if (const auto times = sales.count(std::to_string(sale) + ",a sale"); times != 1)
        wrong += std::to_string(sale) + ": " + std::to_string(times) + " times, ";
    EXPECT_EQ(wrong, "") << "sales are lost or doubled";
    EXPECT_EQ(sales.size(), static_cast<std::size_t>(sold_));
    EXPECT_EQ(store_.countHeld("desk"), 0);
  }

  ScratchDirectory scratch_;
  Store store_{OpenSqlite((scratch_.path() / "store.db").string())};
  std::unique_ptr<RunningHost> host_;
  int round_ = 0, sold_ = 0;
};

TEST_P(DisturbedSessions, AreMadeGoodByTheNextOne) {
  const Way& way = GetParam();
  cleanSession();
  ASSERT_NO_FATAL_FAILURE(prepare());
  clear();
  // Counted by letting none of its calls fail.
  ASSERT_EQ(session([&] {
              if (way.places != timePassed) way.disturb(~0u / 2);
            }).status,
            0);
  const unsigned places = way.places();
  ASSERT_GT(places, 0U);
  judge();
  const char* wanted = std::getenv("DISTURBED_SESSIONS");
  unsigned rounds = wanted != nullptr ? static_cast<unsigned>(std::atoi(wanted)) : kSlow ? 6 : 20;
  if (rounds == 0) rounds = places;
  std::mt19937 random(1);
  unsigned succeeded = 0;
  for (unsigned i = 0; i < rounds && !HasFailure(); ++i) {
    const unsigned from = static_cast<unsigned>(std::uint64_t{places} * i / rounds),
                   to = static_cast<unsigned>(std::uint64_t{places} * (i + 1) / rounds);
    const unsigned place = from + (to > from ? static_cast<unsigned>(random() % (to - from)) : 0);
    SCOPED_TRACE(std::string(way.name) + " " + std::to_string(place) + " of " + std::to_string(places));
    ASSERT_NO_FATAL_FAILURE(prepare());
    clear();
    const ChildResult disturbed = session([&] { way.disturb(place); });
    succeeded += disturbed.status == 0;
    EXPECT_TRUE(disturbed.status < 2 || !way.endsByItself) << disturbed.output;
    sell(1);
    ASSERT_NO_FATAL_FAILURE(takeFromStock());
    if (way.name == std::string_view("kill of the host")) host_.reset(), start();
    ASSERT_NO_FATAL_FAILURE(cleanSession());
    judge();
    if (HasFailure()) std::printf("the disturbed session:\n%s\n", disturbed.output.c_str());
  }
  std::printf("%u of %u places, %u of the sessions succeeded\n", rounds, places, succeeded);
  EXPECT_LT(succeeded, rounds) << "nothing was disturbed";
  EXPECT_EQ(host_->end(SIGTERM), 0);
}

INSTANTIATE_TEST_SUITE_P(By, DisturbedSessions, testing::ValuesIn(kWays), [](const auto& one) {
  std::string name = one.param.name;
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
});

}  // namespace
