// The finished host with devices on real lines: killed, flooded, ended, and with a fleet, on both kinds of store.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <mutex>
#include <random>

#include "synchost/open_sql.h"
#include "synchost/real_device.h"
#include "synchost/running_host.h"
#include "synchost/store_rows.h"
#include "synchost/temporary_postgres.h"

using namespace synchost;
using namespace std::chrono;
using testing::HasSubstr;

namespace {

// SYNCHOST_FLEET=1000 tries the size that a chain of shops has, SYNCHOST_KILLS=200 more kills than there is time for.
int fromEnvironment(const char* name, int usual) {
  const char* text = std::getenv(name);
  return text == nullptr ? usual : std::atoi(text);
}

class ServerTest : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    if (std::string(GetParam()) == "sqlite") {
      name = (scratch.path() / "store.db").string();
    } else {
      postgres = std::make_unique<TemporaryPostgres>();
      name = postgres->address();
      if (name.empty() && std::getenv("TELLIRA_NO_SKIP") == nullptr)
        GTEST_SKIP() << "not tested: a store in PostgreSQL, which is not there";
    }
    ASSERT_FALSE(name.empty());
    store = std::make_unique<Store>(OpenSql(name));
    create("GOODS", "BYCODE:CODE");
    create("SALES", "");
  }

  void create(const char* called, const char* index, Direction direction = Direction::kBoth) {
    Table table = MakeTable(called, "CODE:C:12 NAME:C:30", index, "");
    table.direction = direction;
    store->createTable(table);
    store->commit();
  }
  void fill(int rows) {
    ScriptedDevice::Rows goods;
    for (int i = 0; i < rows; ++i) goods.emplace("g" + std::to_string(i), "goods of number " + std::to_string(i));
    putRows(*store, "GOODS", goods);
    store->commit();
  }
  std::vector<std::unique_ptr<ScriptedDevice>> devices(int count) {
    std::vector<std::unique_ptr<ScriptedDevice>> all;
    for (int i = 0; i < count; ++i) {
      all.push_back(std::make_unique<ScriptedDevice>("d" + std::to_string(i), std::set<std::string>{"GOODS"}));
      store->putDevice({all.back()->id, "G", true});
    }
    store->commit();
    return all;
  }
  ScriptedDevice::Rows kept(const char* table) { return rowsIn(*store, table); }
  bool isSqlite() const { return postgres == nullptr; }

  ScratchDirectory scratch;
  std::unique_ptr<TemporaryPostgres> postgres;
  std::string name;
  std::unique_ptr<Store> store;
};

TEST_P(ServerTest, LosesAndDoublesNothingWhenItIsKilled) {
  const int kills = fromEnvironment("SYNCHOST_KILLS", kSlow ? 5 : 15);
  fill(300);
  auto fleet = devices(4);
  std::vector<ScriptedDevice::Rows> sold(fleet.size());
  RunningHost first(name);
  std::atomic<int> port = first.port.load();
  std::atomic<bool> isOver = false;
  std::atomic<int> sessions = 0, cuts = 0;
  std::vector<std::thread> threads;
  for (std::size_t d = 0; d < fleet.size(); ++d) {
    threads.emplace_back([&, d] {
      ScriptedDevice& device = *fleet[d];
      for (int i = 0; !isOver; ++i) {
        const std::string code = device.id + "-" + std::to_string(i);
        for (int n = 0; n < 5 && device.tables["SALES"].unsent.size() < 30; ++n) {
          device.write("SALES", code, "sale " + std::to_string(n / 2));
          sold[d].emplace(code, "sale " + std::to_string(n / 2));
        }
        device.write("GOODS", code, "of " + std::to_string(i));
        try {
          EXPECT_TRUE(device.synchronise(socketLine(port)));
          ++sessions;
        } catch (const LineCut&) {
          ++cuts;
          std::this_thread::sleep_for(milliseconds(10));
        }
      }
    });
  }
  std::mt19937 random(7);
  std::unique_ptr<RunningHost> host;
  for (int i = 0; i < kills; ++i) {
    std::this_thread::sleep_for(milliseconds(20 + random() % 200));
    (host ? *host : first).end(SIGKILL);
    host = std::make_unique<RunningHost>(name);
    port = host->port.load();
  }
  isOver = true;
  for (std::thread& thread : threads) thread.join();
  ScriptedDevice::Rows all;
  for (int round = 0; round < 2; ++round)
    for (const auto& device : fleet) EXPECT_TRUE(device->synchronise(socketLine(port)));
  for (const auto& rows : sold) all.insert(rows.begin(), rows.end());
  EXPECT_EQ(kept("SALES").size(), all.size());
  const auto sorted = [](const ScriptedDevice::Rows& rows) {
    std::vector<std::pair<std::string, std::string>> list(rows.begin(), rows.end());
    std::sort(list.begin(), list.end());
    return list;
  };
  EXPECT_TRUE(sorted(kept("SALES")) == sorted(all)) << "sales were lost or doubled";
  for (const auto& device : fleet) {
    EXPECT_TRUE(device->tables["GOODS"].rows == kept("GOODS")) << device->id;
    EXPECT_TRUE(sorted(device->tables["SALES"].rows) == sorted(all)) << device->id;
  }
  std::printf("%d kills, %d sessions, %d of them cut\n", kills, sessions + cuts, cuts.load());
  EXPECT_EQ(host->end(SIGTERM), 0);
}

TEST_P(ServerTest, ServesAFleetOfRealDevices) {
  const int count = fromEnvironment("SYNCHOST_FLEET", kSlow ? 20 : 60), atOnce = std::min(200, count);
  const int rows = count >= 1000 ? 10'000 : 1'000, sent = 100;
  fill(rows);
  create("ORDERS", "BYORDER:CODE", Direction::kUp);
  const auto fleet = devices(count);
  std::vector<std::unique_ptr<RunningHost>> hosts;
  for (int i = 0; i < (isSqlite() ? 1 : 2); ++i) hosts.push_back(std::make_unique<RunningHost>(name));
  const auto work = [&](const std::string& id, int port) {
    return workAsDevice(id, [&] {
      make("ORDERS", "{{'CODE','C',12,0},{'NAME','C',30,0}}");
      makeIndex("BYORDER", "CODE");
      for (int n = 0; n < sent; ++n) addRow("ORDERS", id + "." + std::to_string(n), "order");
      closeAll();
      // The first session brings the catalogue, which names what the second one sends.
      bool succeeded = synchronise(id, port) && synchronise(id, port);
      use("GOODS");
      succeeded = succeeded && vorne::RecordCount(*vorne::AreaAt(0)) == rows;
      return succeeded ? 0 : 1;
    });
  };
  std::map<pid_t, steady_clock::time_point> running;
  std::vector<double> seconds;
  int failures = 0;
  const auto began = steady_clock::now();
  const auto await = [&] {
    int status = 0;
    const pid_t ended = waitpid(-1, &status, 0);
    const auto started = running.extract(ended);
    if (started.empty()) return;
    failures += status != 0;
    seconds.push_back(duration<double>(steady_clock::now() - started.mapped()).count());
  };
  for (int i = 0; i < count; ++i) {
    while (running.size() == static_cast<std::size_t>(atOnce)) await();
    const std::string id = fleet[static_cast<std::size_t>(i)]->id;
    makeDevice(id);
    const int port = hosts[static_cast<std::size_t>(i) % hosts.size()]->port;
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
      if (std::freopen("told", "w", stdout) == nullptr) _exit(97);
      work(id, port);
    }
    running.emplace(child, steady_clock::now());
  }
  while (!running.empty()) await();
  const double took = duration<double>(steady_clock::now() - began).count();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(store->countLive(store->tables()[2]), count * sent);
  std::sort(seconds.begin(), seconds.end());
  long memory = 0;
  for (const auto& host : hosts) memory = std::max(memory, host->memory("VmHWM:"));
  std::printf("%d devices, %d at once, on %s: %.0f rows a second, 99th percentile of a session %.2f s, %ld MiB\n",
              count, atOnce, GetParam(), count * (rows + sent) / took, seconds[seconds.size() * 99 / 100],
              memory / 1024);
  for (const auto& host : hosts) EXPECT_EQ(host->end(SIGTERM), 0);
}

TEST_P(ServerTest, StaysItselfAmongHostileDevices) {
  fill(30'000);
  auto fleet = devices(2);
  RunningHost host(name, {"--max-connections", "300", "--idle", "8", "--login", "30"});
  EXPECT_TRUE(fleet[0]->synchronise(socketLine(host.port)));
  const long before = host.memory();
  // Connections that say nothing, or half a login; more than there is room for.
  std::vector<std::unique_ptr<Socket>> silent;
  for (int i = 0; i < 1000; ++i) {
    silent.push_back(std::make_unique<Socket>(host.port));
    if (i % 2 == 0) silent.back()->send(fleet[0]->login().substr(0, static_cast<std::size_t>(i % 40)));
  }
  // Devices that ask for a large table and do not read it.
  std::vector<std::unique_ptr<Socket>> slow;
  for (int i = 0; i < 50; ++i) {
    slow.push_back(std::make_unique<Socket>(host.port));
    std::string answer;
    std::vector<std::string> requests{ScriptedDevice("d0", {}).login(), ScriptedDevice::request(7)};
    for (int task = 1; task <= 6; ++task) requests.push_back(ScriptedDevice::request(8, std::to_string(task) + '\0'));
    for (const std::string& request : requests) slow.back()->send(request), slow.back()->receive(answer);
    slow.back()->send(ScriptedDevice::request(11));
  }
  std::mt19937 random(3);
  for (int i = 0; i < 200; ++i) {
    std::string noise = i % 3 == 0 ? fleet[0]->login() : "";
    for (int n = 0; n < 3000; ++n) noise += static_cast<char>(random());
    if (i % 2 == 0 && noise.size() > 3000) noise.replace(noise.size() - 3000, 3, std::string("B\xB5\x0B", 3));
    Socket(host.port).send(noise);
  }
  EXPECT_NO_THROW(EXPECT_TRUE(fleet[1]->synchronise(socketLine(host.port))))
      << "kept out by the others: " << readFile("sessions.jsonl").substr(0, 3000) << host.told();
  EXPECT_EQ(fleet[1]->tables["GOODS"].rows.size(), 30'000U);
  // A sanitizer keeps what was freed for a while.
  EXPECT_LT(host.memory() - before, (kSlow ? 500 : 40) * 1024) << "KiB";
  const auto deadline = steady_clock::now() + seconds(30);
  while (host.page().find("open_connections 0\n") == std::string::npos && steady_clock::now() < deadline)
    std::this_thread::sleep_for(milliseconds(200));
  EXPECT_THAT(host.page(), HasSubstr("synchost_open_connections 0\n"));
  EXPECT_THAT(readFile("sessions.jsonl"), HasSubstr("\"result\":\"idle for too long\""));
  EXPECT_THAT(host.page("/"), HasSubstr("404"));
  EXPECT_EQ(host.end(SIGTERM), 0);
}

TEST_P(ServerTest, LetsSessionsEndBeforeItDoes) {
  fill(10);
  auto fleet = devices(2);
  RunningHost host(name, {"--grace", "30"});
  const ScriptedDevice::Line line = socketLine(host.port);
  bool asked = false;
  EXPECT_TRUE(fleet[0]->synchronise([&](const std::string& bytes) {
    if (bytes[5] == 11 && !std::exchange(asked, true)) {
      host.askToEnd();
      std::this_thread::sleep_for(milliseconds(100));
      EXPECT_THROW(fleet[1]->synchronise(socketLine(host.port)), LineCut);
    }
    return line(bytes);
  }));
  EXPECT_EQ(fleet[0]->tables["GOODS"].rows, kept("GOODS"));
  EXPECT_EQ(host.end(0), 0);
  EXPECT_THAT(readFile("sessions.jsonl"), HasSubstr("\"result\":\"done\""));
}

INSTANTIATE_TEST_SUITE_P(On, ServerTest, testing::Values("sqlite", "postgres"),
                         [](const auto& one) { return std::string(one.param); });

}  // namespace
