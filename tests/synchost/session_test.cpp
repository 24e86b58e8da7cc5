// Sessions without a socket: a scripted device on one side, a store in memory behind the other.
#include "synchost/session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "synchost/store_rows.h"
#include "synchost/transactions.h"

using namespace synchost;
using testing::TestWithParam;

namespace {

const std::set<std::string> kKeyed = {"GOODS", "WHOLE", "PRICES"};

class SessionTest : public testing::Test {
 protected:
  SessionTest() {
    create("GOODS", "BYCODE:CODE", 'P');
    create("WHOLE", "BYCODE2:CODE", 'T');
    create("SALES", "", 'P');
    for (const char* id : {"one", "two"}) store.putDevice({id, "G", true});
    store.commit();
  }

  void create(const char* name, const char* index, char type, Direction direction = Direction::kBoth) {
    Table table = MakeTable(name, "CODE:C:8 NAME:C:20", index, "");
    table.type = type;
    table.direction = direction;
    store.createTable(table);
  }
  Table table(const std::string& name) { return tableIn(store, name); }
  void import(const std::string& name, const ScriptedDevice::Rows& rows, bool deleted = false) {
    putRows(store, name, rows, deleted);
    store.commit();
  }
  ScriptedDevice::Rows kept(const std::string& name) { return rowsIn(store, name); }

  /// A line to a session of its own. After `exchanges` of them it is cut: what the device sends is lost, or the answer
  /// is.
  ScriptedDevice::Line line(int exchanges = INT_MAX, bool answerIsLost = false) {
    auto session = std::make_shared<Session>(store);
    return [this, session, exchanges, answerIsLost](const std::string& bytes) mutable {
      const bool last = exchanges-- <= 0;
      if (last && !answerIsLost) throw LineCut();
      session->receive(bytes);
      std::string answer;
      for (;;) {
        store.commit();
        const std::vector<char> out = session->takeOutput();
        answer.append(out.begin(), out.end());
        EXPECT_LT(out.size(), kMuchOutput + 2 * kLargestFrame);
        if (!session->hasMore()) break;
        session->send();
      }
      session->answered();
      lastResult = session->result();
      passedOver = session->totals().rowsPassedOver;
      if (last) throw LineCut();
      return answer;
    };
  }
  bool cut(ScriptedDevice& device, int exchanges, bool answerIsLost) {
    try {
      device.synchronise(line(exchanges, answerIsLost));
      return false;
    } catch (const LineCut&) {
      return true;
    }
  }
  void clean(ScriptedDevice& device) {
    device.tasks.clear();
    ASSERT_TRUE(device.synchronise(line())) << lastResult;
  }

  Store store{OpenSqlite(":memory:")};
  ScriptedDevice one{"one", kKeyed}, two{"two", kKeyed};
  std::string lastResult;
  std::int64_t passedOver = 0;
};

TEST_F(SessionTest, BringsDevicesIntoAgreement) {
  import("GOODS", {{"1", "Arroz"}, { "2", "Caf\xE9" }});
  import("WHOLE", {{ "9", "Nove" }});
  one.write("SALES", "1", "venda");
  two.compresses = false;
  two.group = "g ";
  for (ScriptedDevice* device : {&one, &two}) clean(*device);
  EXPECT_EQ(one.tasks, (std::vector<std::string>{"1 VRN_TBL T", "1 VRN_COLS T", "1 VRN_IND T", "2 GOODS", "2 WHOLE",
                                                 "2 SALES", "1 GOODS T", "1 WHOLE T", "1 SALES T"}));
  EXPECT_EQ(one.tables["GOODS"].rows, kept("GOODS"));
  EXPECT_EQ(two.tables["SALES"].rows, kept("SALES"));
  EXPECT_EQ(two.tables["GOODS"].rows, (ScriptedDevice::Rows{{"1", "Arroz"}, {"2", "Caf\xE9"}}));

  // What one changes goes to the other alone, as a part; a whole table that nobody changed stays at home.
  two.write("GOODS", "2", "Caf\xE9 500 g");
  clean(two);
  clean(one);
  EXPECT_THAT(one.tasks, testing::Contains("1 GOODS P"));
  EXPECT_EQ(one.tables["GOODS"].rows, two.tables["GOODS"].rows);
  one.tables["GOODS"].rows.clear();
  clean(one);
  EXPECT_TRUE(one.tables["GOODS"].rows.empty()) << "sent again without a change";
  one.tables.clear();  // a device that was set up anew
  clean(one);
  EXPECT_EQ(one.tables["GOODS"].rows, kept("GOODS"));
}

TEST_F(SessionTest, SetsRightWhatADeviceChangesInATableThatOnlyGoesDown) {
  create("PRICES", "BYPRICED:CODE", 'P', Direction::kDown);
  import("PRICES", {{"1", "Arroz"}, { "2", "Soro" }});
  clean(one);
  for (int exchanges = 0; !HasFailure(); ++exchanges) {
    one.write("PRICES", "1", "changed");
    one.write("PRICES", "7", "its own");
    const bool wasCut = cut(one, exchanges, exchanges % 2 != 0);
    if (!wasCut) {
      EXPECT_EQ(passedOver, 2);
      break;
    }
    clean(one);
    ASSERT_EQ(one.tables["PRICES"].rows, kept("PRICES")) << "cut after " << exchanges;
  }
  EXPECT_EQ(one.tables["PRICES"].rows, (ScriptedDevice::Rows{{"1", "Arroz"}, {"2", "Soro"}}));
  const auto received = one.received["PRICES"];
  clean(one);
  EXPECT_EQ(one.received["PRICES"], received) << "sent again";
}

TEST_F(SessionTest, SendsTheCatalogueThatCameBesideASession) {
  int exchanges = 0;
  one.synchronise([this, first = line(), &exchanges](const std::string& bytes) {
    if (exchanges++ == 1) create("LATER", "", 'P');
    return first(bytes);
  });
  clean(one);
  EXPECT_THAT(one.tasks, testing::Contains("1 VRN_TBL T"));
}

TEST_F(SessionTest, EmptiesOnDevicesWhatTheHostEmptied) {
  const ScriptedDevice::Rows rows{{"1", "Arroz"}};
  for (const char* name : {"GOODS", "SALES"}) import(name, rows);
  clean(one);
  store.clear(table("SALES"));
  import("GOODS", rows, true);
  store.removeDevice("one");  // what it has is forgotten, but it has it
  store.putDevice({"one", "G", true});
  for (int round = 0; round < 2; ++round) {
    clean(one);
    for (const char* name : {"GOODS", "SALES"}) EXPECT_TRUE(one.tables[name].rows.empty()) << name << round;
  }
  EXPECT_THAT(one.tasks, testing::Not(testing::Contains("3 SALES"))) << "emptied again and again";
  import("SALES", rows);
  clean(one);
  EXPECT_EQ(one.tables["SALES"].rows, rows);
}

TEST_F(SessionTest, DoesWhatIsQueuedOnce) {
  import("GOODS", {{ "1", "Arroz" }});
  clean(one);
  store.putImage("logo.bmp", Blob(11'000, 'x'));
  for (int i = 0; i < 7; ++i) store.putImage("p" + std::to_string(i), Blob(1, 'y'));
  store.addTask("one", TaskKind::kDelete, "GOODS");
  store.addTask("one", TaskKind::kImages, "logo.bmp");
  for (int i = 0; i < 7; ++i) store.addTask("one", TaskKind::kImages, "p" + std::to_string(i));
  store.addTask("one", TaskKind::kInstall, "app.prc");
  store.commit();
  clean(one);
  EXPECT_EQ(one.tasks, (std::vector<std::string>{"2 GOODS", "2 WHOLE", "2 SALES", "3 GOODS", "10 app.prc", "1 GOODS T",
                                                 "1 WHOLE T", "1 SALES T", "40 logo.bmp", "40 p4"}));
  EXPECT_EQ(one.images.size(), 8U);
  EXPECT_EQ(one.images["logo.bmp"], std::string(11'000, 'x'));
  EXPECT_EQ(one.tables["GOODS"].rows, kept("GOODS")) << "what was deleted there comes again";
  clean(one);
  EXPECT_EQ(one.tasks.size(), 6U);
}

// Many rows, so that a table takes several packets and more than one portion of them.
TEST_F(SessionTest, SendsLargeTablesInFramesThatDevicesTake) {
  ScriptedDevice::Rows many;
  std::mt19937 random(1);
  for (int i = 0; i < 20'000; ++i) many.emplace(std::to_string(i), std::to_string(random()) + std::to_string(random()));
  import("GOODS", many);
  two.compresses = false;
  for (ScriptedDevice* device : {&one, &two}) {
    clean(*device);
    EXPECT_EQ(device->tables["GOODS"].rows, many);
    EXPECT_LE(device->largestFrame, kLargestFrame);
  }
}

/// The course of one device: rows come from both sides, a session is cut, then others end well.
TEST_F(SessionTest, LosesAndDoublesNothingWhereverTheLineIsCut) {
  import("GOODS", {{"1", "Arroz"}, { "2", "Feij\xE3o" }});
  import("WHOLE", {{ "9", "Nove" }});
  clean(one);
  clean(two);
  int serial = 0;
  for (const bool answerIsLost : {false, true}) {
    bool wasCut = true;
    for (int exchanges = 0; wasCut; ++exchanges) {
      const std::string now = std::to_string(++serial);
      import("GOODS", {{"1", "Arroz " + now}, { "h" + now, "new" }});
      for (int i = 0; i < 5; ++i) one.write("SALES", now, "sale " + std::to_string(i));
      one.write("SALES", now, "sale 0");  // two that look alike
      one.write("GOODS", "d" + now, "of one");
      two.write("GOODS", "2", "of two " + now);
      wasCut = cut(one, exchanges, answerIsLost);
      if (serial % 2 == 0) wasCut = cut(one, exchanges / 2, !answerIsLost) && wasCut;
      one.write("SALES", now, "after the cut");
      clean(one);
      clean(two);
      clean(one);
      for (const char* name : {"GOODS", "WHOLE", "SALES"}) {
        ASSERT_EQ(one.tables[name].rows, kept(name)) << name << " cut after " << exchanges << " " << answerIsLost;
        ASSERT_EQ(two.tables[name].rows, kept(name)) << name;
      }
      ASSERT_EQ(kept("SALES").size(), 7U * static_cast<unsigned>(serial)) << "cut after " << exchanges;
    }
  }
  EXPECT_GT(serial, 20);
}

// Of a table without a key: did the device see the answer to its last packet? Only what it sends later tells.
TEST_F(SessionTest, TakesAnUploadForTheSameOneOnlyWhenAllOfItComesAgain) {
  using Uploads = std::vector<std::vector<std::pair<std::string, std::string>>>;
  struct Case {
    const char* why;
    Uploads cut;  // sent in sessions whose line is cut behind the last answer
    Uploads::value_type later;
    ScriptedDevice::Rows expected;
  };
  const std::pair<std::string, std::string> a{"a", "1"}, b{"b", "2"}, c{"c", "3"}, d{"d", "4"}, b1{"b", "changed"};
  const Case cases[] = {
      {"all of it", {{a, a, b}}, {a, a, b}, {a, a, b}},
      {"in another order, with more", {{a, a, b}}, {c, b, a, a}, {a, a, b, c}},
      {"one of two that look alike", {{a, a, b}}, {a, b}, {a, a, b, a, b}},
      {"nothing", {{a, a, b}}, {}, {a, a, b}},
      {"all of it by one that was cut itself", {{a}, {a, b}}, {c}, {a, b, c}},
      {"a shorter one in between", {{a, b}, {a}}, {a, b, c}, {a, b, c}},
      {"one of them changed meanwhile", {{a, a, b}}, {a, a, c, b1}, {a, a, b, c, b1}},
      {"others, one of which looks alike", {{a, b, c}}, {d, b1, a}, {a, b, c, d, b1, a}},
  };
  for (const Case& row : cases) {
    store.clear(table("SALES"));
    for (const auto& records : row.cut) {
      Session session(store);
      const auto say = [&session](const std::string& bytes) {
        session.receive(bytes);
        session.answered();
      };
      say(one.login());
      say(ScriptedDevice::request(7));
      say(ScriptedDevice::request(8, one.blank() ? std::string("6\0", 2) : std::string("3\0", 2)));
      say(ScriptedDevice::packet(records));
      EXPECT_EQ(session.totals().rowsReceived, records.size()) << session.result();
      EXPECT_TRUE(kept("SALES").empty()) << row.why;
    }
    one.tables["SALES"].unsent = row.later;
    clean(one);
    EXPECT_EQ(kept("SALES"), row.expected) << row.why;
    EXPECT_EQ(store.countHeld("one"), 0);
  }
  // Whoever is forgotten leaves what was taken.
  const Table sales = table("SALES");
  store.clear(sales);
  store.hold(sales, "one", store.beginUpload(), {{{}, RecordBuffer(sales).kept({})->content, false}});
  store.removeDevice("one");
  EXPECT_EQ(store.countLive(sales), 1);
}

TEST_F(SessionTest, EndsSessionsOfWhoeverDoesNotKeepToTheProtocol) {
  const auto text = [](std::string body) { return ScriptedDevice::framed(std::string("\1\0", 2) + body); };
  const std::string login = one.login(), count = ScriptedDevice::request(7);
  const auto task = [](int n) { return ScriptedDevice::request(8, std::to_string(n) + '\0'); };
  const std::string upToSales = login + count + task(6);
  ScriptedDevice stranger("three", {}), other("one", {}), old("one", {});
  other.group = "H";
  old.protocol = "32";
  std::string endless(20'000, 'x');
  const std::string good = ScriptedDevice::packet({{"a", "1"}}), raw = ScriptedDevice::packet({{"a", "1"}}, false);
  const auto damaged = [](std::string packet, std::size_t at, char by) {
    packet[at] = by;
    return packet;
  };
  struct Case {
    const char* why;
    std::string bytes;
    const char* result;
  };
  const Case cases[] = {
      {"no marker", "GET / HTTP/1.1\r\n\r\n", "no frame of a device"},
      {"too large", std::string("B\xFF\xFF") + endless, "no frame of a device"},
      {"too small", std::string("B\0\0", 3), "no frame of a device"},
      {"no login", count, "no login"},
      {"short login", text("\1onlythis"), "a login that ends too early"},
      {"login without an end", text("\1" + std::string(9'000, 'x')), "a login that ends too early"},
      {"stranger", stranger.login(), "refused \"three\": Dispositivo não cadastrado no servidor."},
      {"other group", other.login(), "refused \"one\": Dispositivo não pertence a este grupo."},
      {"old protocol", old.login(), "refused \"one\": Versão incompatível com a do servidor, que é 6.0.0."},
      {"second login", login + login, "an unknown request"},
      {"unknown request", login + ScriptedDevice::request(99), "an unknown request"},
      {"task before they are counted", login + task(1), "a task that does not exist"},
      {"task 0", login + count + task(0), "a task that does not exist"},
      {"task beyond", login + count + task(70000), "a task that does not exist"},
      {"table without a task", login + count + ScriptedDevice::request(11),
       "a request for a table that was not announced"},
      {"table twice", login + count + task(1) + ScriptedDevice::request(11) + ScriptedDevice::request(11),
       "a request before the last one was answered"},
      {"packet in the middle of a table", login + count + task(1) + ScriptedDevice::request(11) + good,
       "a request before the last one was answered"},
      {"images without a task", login + count + ScriptedDevice::request(32),
       "a request for images that were not announced"},
      {"packet without a task", login + count + good, "a request for a table that was not announced"},
      {"damaged stream", upToSales + damaged(good, 18, 'x'), "a packet of SALES that is none"},
      {"wrong size", upToSales + damaged(good, 11, 1), "a packet of SALES that is none"},
      {"huge size", upToSales + damaged(good, 10, '\xFF'), "a packet of SALES that is none"},
      {"wrong count", upToSales + damaged(raw, 13, 2), "a packet of SALES that is none"},
      {"no records", upToSales + damaged(raw, 13, 0), "a packet of SALES that is none"},
      {"record longer than its packet", upToSales + damaged(raw, 14, 1), "a packet of SALES that is none"},
      {"record of another table", upToSales + ScriptedDevice::packet({{"a", "1"}, {"a", std::string(21, 'x')}}),
       "a record of SALES that does not fit the table's fields"},
      {"record without its end mark", upToSales + damaged(raw, raw.size() - 2, 'x'),
       "a record of SALES that does not fit the table's fields"},
  };
  for (const Case& row : cases) {
    for (const bool byByte : {false, true}) {
      Session session(store);
      vorne::Bytes left = row.bytes;
      while (!left.empty()) {
        const auto at = [&](std::size_t i) { return static_cast<unsigned char>(i < left.size() ? left[i] : 0); };
        const std::size_t size = byByte ? 1 : std::min<std::size_t>(left.size(), 3U + at(1) + 256U * at(2));
        session.receive(left.first(size));
        left = left.subspan(size);
        EXPECT_LT(session.takeOutput().size(), kMuchOutput);
        session.answered();
      }
      EXPECT_EQ(session.result(), row.result) << row.why;
      EXPECT_FALSE(session.succeeded());
    }
  }
  Session session(store);
  session.receive(login + count + count);
  EXPECT_EQ(session.result(), "a request before the last one was answered");
  EXPECT_TRUE(kept("SALES").empty());
}

/// A database that somebody else holds at first, telling what it is asked for.
struct HeldSql : Sql {
  explicit HeldSql(std::string& into) : told(into) {}
  const Dialect& dialect() const override {
    static constexpr Dialect kNone = {"begin", "", ""};
    return kNone;
  }
  std::vector<SqlRow> run(const char* statement, std::span<const Value>) override {
    told += statement;
    return {};
  }
  void runMany(const char*, std::span<const Values>) override {}
  void script(const std::string& text) override {
    told += text + " ";
    if (std::exchange(isHeld, false)) throw StoreFailure("held");
  }
  std::string& told;
  bool isHeld = true;
};

TEST(Transactions, WriteNothingOutsideOfOne) {
  std::string told;
  Transactions transactions(std::make_unique<HeldSql>(told));
  EXPECT_THROW(transactions.write("write ", {}), StoreFailure);
  transactions.rollback();
  transactions.write("write ", {});
  transactions.commit();
  EXPECT_EQ(told, "begin ROLLBACK begin write COMMIT ");
}

}  // namespace
