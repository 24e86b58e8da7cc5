// Queries while another process writes as fast as it can, and after it was killed.
#include <sys/prctl.h>
#include <sys/wait.h>

#include <chrono>
#include <random>

#include "sql_fixture.h"

class BesideWriter : public SqlTest {
 protected:
  void SetUp() override {
    SqlTest::SetUp();
    writer_ = fork();
    if (writer_ == 0) write();
  }
  void TearDown() override {
    kill();
    SqlTest::TearDown();
  }
  void kill() {
    if (writer_ > 0 && ::kill(writer_, SIGKILL) == 0) waitpid(writer_, nullptr, 0);
    writer_ = -1;
  }

 private:
  // In every record all fields tell the same number, and the texts grow, so that records move. The memo is stored by
  // itself before its record, so that it may tell another number, but always a whole one.
  static void fill(int n) {
    const std::string grown(static_cast<std::size_t>(n % 60), static_cast<char>('a' + n % 26));
    for (const char* field : {"A", "D"}) set(field, number(n));
    for (const char* field : {"B", "C"}) set(field, grown);
    set("NOTE", std::string(static_cast<std::size_t>(1 + n % 300), static_cast<char>('a' + n % 26)));
    __Commit();
  }
  [[noreturn]] static void write() {
    std::mt19937 random(1);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    EndGuard::disarm();
    make("T", "{{'A','N',12,0},{'B','C',60,0},{'NOTE','M',4,0},{'C','C',60,0},{'D','N',12,0}}", {"B+A", "A"});
    // Enough for some seconds; a reader that is slower than the writer must not meet a table without end.
    for (int n = 0; n < kWrites; ++n) {
      if (n < 500 || random() % 4 == 0) {
        __DBAPPEND();
        fill(n);
        continue;
      }
      __TBL_GoTo(nullptr, number(1 + random() % static_cast<unsigned>(__TBL_RecCount()->objData.mdbl)));
      if (random() % 3 == 0)
        __TBL_Delete(), __Commit();
      else
        fill(n);
      if (n % 1500 == 0) __dbPack();
      if (n % 2000 == 0) __Seek(nullptr, text("abc"));
    }
    for (;;) pause();
  }

  static constexpr int kWrites = 1000000;
  pid_t writer_ = -1;
};

TEST_F(BesideWriter, SeesNoRecordInHalves) {
  const auto after = [](int seconds) { return std::chrono::steady_clock::now() + std::chrono::seconds(seconds); };
  Sql sql;
  for (const auto end = after(20); !sql.use("T").empty() && std::chrono::steady_clock::now() < end;) usleep(10000);
  const char* const torn =
      "count(*) > 0, sum(a <> d OR b <> c OR length(b) <> a % 60 OR trim(b, char(97 + a % 26)) <> '' OR "
      "trim(note, substr(note, 1, 1)) <> '') FROM t ";
  const char* const ways[] = {"", "WHERE b >= 'm'", "WHERE recno = 17", "WHERE a = 30 OR _deleted",
                              "WHERE b > '' ORDER BY b, a"};
  const std::string before = sql("SELECT max(a) FROM t")[0];
  int rounds = 0, rows = 0;
  for (const auto end = after(4); std::chrono::steady_clock::now() < end; ++rounds) {
    for (const char* way : ways) {
      const Answer answer = sql(std::string("SELECT ") + torn + way);
      ASSERT_EQ(answer.size(), 1u);
      ASSERT_TRUE(answer[0] == "1|0" || answer[0] == "0|-") << answer[0] << " " << way;
      rows += answer[0] == "1|0";
    }
  }
  std::cout << rounds << " rounds, " << rows << " answers, " << sql("SELECT count(*), max(a) FROM t")[0] << "\n";
  EXPECT_GT(rows, 0);
  EXPECT_NE(sql("SELECT max(a) FROM t")[0], before) << "the writer stood still";
  kill();
  // Whatever it was in the middle of, there is an answer, or what to do for one.
  const std::string answer = sql(std::string("SELECT ") + torn)[0];
  EXPECT_TRUE(answer == "1|0" || answer.starts_with("error: a change was interrupted in ./DB; run ")) << answer;
  use("T");
  closeAll();
  EXPECT_EQ(sql(std::string("SELECT ") + torn)[0], "1|0");
}
