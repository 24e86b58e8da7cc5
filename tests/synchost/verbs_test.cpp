// The host's verbs as they are typed: what they refuse, and with what advice.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support/scratch_directory.h"
#include "synchost/running_host.h"
#include "synchost/sql.h"

using testing::HasSubstr;

namespace {

/// Runs a line of the shell in which `host` is the program, `db` and `desk` work in a desk's directory, `rows` imports
/// records, and `alike` compares a table on both sides; what it told, and its exit status.
std::string told(const std::string& line) {
  const std::string whole =
      "host() { '" SYNCHOST
      "' --store ${STORE:-store.db} \"$@\"; }\n"
      "db() { dir=$1; shift; '" TELLIRA
      "' db --dir $dir \"$@\"; }\n"
      "desk() { '" TELLIRA
      "' sync --dir $1 --host 127.0.0.1 --port $PORT --device $1 --plain </dev/null; }\n"
      "rows() { (echo \"$1\"; shift 2; printf '%s\\n' \"$@\") >rows.csv; }\n"
      "atHost() { rows \"$@\"; host import $2 rows.csv; }\n"
      "atDesk() { rows \"$@\"; db one import $2 - <rows.csv; }\n"
      "alike() { host export $1 | sort >h.csv; db one export $1 | sort >d.csv; diff h.csv d.csv && wc -l <h.csv; }\n"
      "(" +
      line + ") 2>&1; echo \"rc $?\"";
  std::string text;
  FILE* pipe = popen(whole.c_str(), "r");
  for (int c = 0; (c = std::fgetc(pipe)) != EOF;) text += static_cast<char>(c);
  pclose(pipe);
  return text;
}

struct Line {
  const char *line, *words;
};

TEST(HostVerbs, RefuseWhatDevicesCannotDo) {
  const ScratchDirectory scratch;
  ASSERT_EQ(
      told("host table create GOODS CODE:C:8 NAME:C:4 NOTE:M --index BYCODE:CODE && host device add one --group G"),
      "rc 0\n");
  const Line lines[] = {
      {"host table create VRN_TBL A:C:1", "taken by the catalogue that devices are sent.\n  next: take another one"},
      {"host table create A A:C:1 --index vrn_indx:A", "taken by the catalogue"},
      {"host table create CAD_USER A:C:1", "taken by what devices keep for themselves"},
      {"host table create X_OS A:C:1", "devices take no table or index named \"X_OS\".\n  next: take another name"},
      {"host table create GOODS A:C:1", "taken by the table GOODS"},
      {"host table create GOODS_M A:C:1", "taken by the memo texts of GOODS"},
      {"host table create BYCODE A:C:1", "taken by an index of GOODS"},
      {"host table create A A:C:1 --index A:A", "taken by the table A"},
      {"host table create A A:C:1 N:M --index A_M:A", "taken by the memo texts of A"},
      {"host table create A A:C:1 --index I:A --index I:A", "taken by an index of A"},
      {"host table create A A:C:1 --index catalog.plm:A", "named \"CATALOG.PLM\""},
      {"host table create A A:C:1 $(seq -f '--index I%g:A' 33)", "take no more than 32"},
      {"host table drop GOODS --yes", "the only table"},
      {"host task add delete ../x --all", "named \"../X\""},
      {"host task add delete vrn_cols --all", "VRN_COLS belongs to the catalogue"},
      {"host task add delete CAD_USER --all", "belongs to what devices keep"},
      {"host task add delete BYCODE --all", "belongs to an index of GOODS"},
      {"host task add install '' --all", "no name of a component"},
      {"host task add install $(printf %0300d 1) --all", "take 1 to 255"},
      {"host task add image . --all", "the image . cannot be read.\n  next: name a file"},
      {"echo x >.hidden; host task add image .hidden --all", "next: give it a name of letters and digits"},
      {"echo x >$(printf '\\342\\202\\254'); host task add image $(printf '\\342\\202\\254') --all",
       "next: give it a name"},
      {"host --listen 192.0.2.1:5555", "next: name an address of this machine"},
      {"host table create A A:C:1 --key Z", "has no index Z"},
      {"host device add $(printf %0300d 1)", "a device needs a name of 1 to 255"},
  };
  for (const Line& one : lines) EXPECT_THAT(told(one.line), AllOf(HasSubstr(one.words), HasSubstr("rc 2"))) << one.line;
  EXPECT_EQ(told("host task list | grep -c one"), "0\nrc 1\n");
}

TEST(HostVerbs, DoWhatTheyAdvise) {
  const ScratchDirectory scratch;
  const Line lines[] = {
      {"host table create GOODS CODE:C:8 NAME:C:4 PRICE:N:5:2 --index BYCODE:CODE; host table create SALES CODE:C:8",
       "rc 0"},
      {"printf 'CODE,NAME\\n1,Arroz\\n' | host import GOODS -", "import with --truncate"},
      {"printf 'CODE,NAME\\n1,Arroz\\n' | host import GOODS - --truncate", "1 record imported"},
      {"printf 'CODE,NAME\\n2,\\200\\n' | host import GOODS - --encoding latin1", "--encoding cp1252"},
      {"printf 'CODE,NAME\\n2,\\222\\n' | host import GOODS - --encoding cp1252",
       "next: write it with another character"},
      {"printf 'CODE,PRICE\\n2,1.555\\n' | host import GOODS - --round", "1 record imported"},
      // What is imported in portions stays, and the rest comes when the file is mended; without a key nothing does.
      {"(echo CODE; seq 6000; echo 123456789) >rows; host import GOODS rows --replace", "5000 records before this one"},
      {"host export GOODS | wc -l", "5001"},
      {"sed -i '$d' rows; host import GOODS rows --replace && host export GOODS | wc -l", "6001"},
      {"echo 123456789 >>rows; host import SALES rows; host export SALES | wc -l", "\n1\n"},
      {"host device add one --group G; host device add one; host status", "one     G"},
      {"host device add one --group ''; host status | tail -1 | grep -c G", "0\nrc 1"},
  };
  for (const Line& one : lines) EXPECT_THAT(told(one.line), HasSubstr(one.words)) << one.line;
}

TEST(HostVerbs, GoOnWithTheStoreOfAnEarlierVersion) {
  const ScratchDirectory scratch;
  ASSERT_EQ(told("host device add one"), "rc 0\n");
  synchost::OpenSqlite("store.db")
      ->script(
          "ALTER TABLE tasks DROP COLUMN fields; ALTER TABLE sessions DROP COLUMN rows_passed_over;"
          "UPDATE counters SET value = 1 WHERE name = 'schema'");
  EXPECT_THAT(told("host task add install a --all && host status"), HasSubstr("rc 0"));
}

// The course that docs/sync.md advises, with two real desks: one has sent all of the old table, the other has not.
TEST(HostVerbs, LetTheFieldsOfATableChange) {
  const ScratchDirectory scratch;
  ASSERT_EQ(told("host table create GOODS CODE:C:8 NAME:C:20 --index BYCODE:CODE; host device add one; mkdir one two;"
                 "host table create SALES CODE:C:8 --direction up; host device add two"),
            "rc 0\n");
  const RunningHost host("store.db");
  setenv("PORT", std::to_string(host.port).c_str(), 1);
  const Line lines[] = {
      {"printf 'CODE,NAME\n1,Arroz\n' | host import GOODS -; desk one && desk two", "rc 0"},
      {"printf 'CODE,NAME\n9,unsent\n' | db two import GOODS -; printf 'CODE\ns1\n' | db two import SALES -", "rc 0"},
      {"host export GOODS >goods.csv && host table drop GOODS --yes && "
       "host table create GOODS CODE:C:8 NAME:C:40 PRICE:N:8:2 --index BYCODE:CODE && host import GOODS goods.csv",
       "rc 0"},
      {"desk one && db one export GOODS", "CODE,NAME,PRICE\n1,Arroz,0.00\nrc 0"},
      {"desk two 2>&1 | grep -c 1139; host export SALES", "0\nCODE\ns1\nrc 0"},
      {"desk two", "Tabela recusada"},
      {"db two export GOODS >rows.csv && db two drop GOODS --yes && desk two && desk two && db two export GOODS",
       "CODE,NAME,PRICE\n1,Arroz,0.00\nrc 0"},
      {"db two import GOODS rows.csv && desk two && host export GOODS", "1,Arroz,0.00\n9,unsent,0.00\nrc 0"},
      {"desk one && db one export GOODS", "1,Arroz,0.00\n9,unsent,0.00\nrc 0"},
  };
  for (const Line& one : lines) EXPECT_THAT(told(one.line), HasSubstr(one.words)) << one.line;
}

// Behind the last session of each line both sides have the same rows: so many lines, with the head.
TEST(HostVerbs, AgreeWithADesk) {
  const ScratchDirectory scratch;
  ASSERT_EQ(told("host table create GOODS CODE:C:8 NAME:C:20 PRICE:N:8:2 --index BYCODE:CODE; host device add one;"
                 "host table create DOWN CODE:C:8 --direction down --index BYDOWN:CODE; mkdir one;"
                 "STORE=other.db; host table create ELSE CODE:C:8 --index BYELSE:CODE; host device add one"),
            "rc 0\n");
  const RunningHost host("store.db"), other("other.db");
  setenv("PORT", std::to_string(host.port).c_str(), 1);
  setenv("OTHER", std::to_string(other.port).c_str(), 1);
  const Line lines[] = {
      // Both had filled a table before they met; the host has more of it when the desk's come.
      {"db one create GOODS CODE:C:8 NAME:C:20 PRICE:N:8:2; atHost CODE GOODS 1 2; atDesk CODE GOODS 8 9; desk one; "
       "atHost CODE GOODS 3; desk one && alike GOODS",
       "6\nrc 0"},
      // A table that is gone from the desk comes back whole.
      {"db one drop GOODS --yes; desk one && alike GOODS", "6\nrc 0"},
      // Dropped and made anew while the desk has a row for it, twice; the deletion that waits is over then.
      {"atDesk CODE GOODS 10; host export GOODS >goods.csv; for n in 30 20; do host table drop GOODS --yes; "
       "host table create GOODS CODE:C:8 NAME:C:$n PRICE:N:8:2 --index BYCODE:CODE; host import GOODS goods.csv; "
       "desk one; done; desk one; desk one; desk one && alike GOODS",
       "7\nrc 0"},
      // The desk has called another host meanwhile.
      {"(PORT=$OTHER; desk one); atHost CODE GOODS 4; desk one; desk one && alike GOODS", "8\nrc 0"},
      // The same where only the desk has something new.
      {"host table create UP CODE:C:8 --direction up; desk one; (PORT=$OTHER; desk one); atDesk CODE UP 1; for n in 1 "
       "2 3; do "
       "desk one; done; alike UP",
       "2\nrc 0"},
      // What only goes down gives way to nothing, too.
      {"atDesk CODE DOWN 1; desk one; desk one && alike DOWN", "1\nrc 0"},
      // What waits for a table does not outlive it.
      {"atHost CODE DOWN 1 2; desk one; atDesk CODE DOWN 8; host device remove one; host device add one; "
       "atHost CODE DOWN 3; desk one; echo CODE >none.csv; host import DOWN none.csv --replace; desk one && alike DOWN",
       "1\nrc 0"},
      // Rows of an old layout that would fit: refused, until the table's deletion has come round.
      {"atDesk CODE,PRICE GOODS 11,1; host export GOODS >goods.csv; host table drop GOODS --yes; "
       "host table create GOODS CODE:C:8 PRICE:C:20 NAME:C:30 --index BYCODE:CODE; host import GOODS goods.csv; "
       "host device remove one; host device add one; desk one; host export GOODS | grep -c '^11'",
       "\n0\nrc 1"},
  };
  for (const Line& one : lines) {
    const std::string words = told(one.line);
    EXPECT_TRUE(words.ends_with(one.words + std::string("\n"))) << one.line << "\n" << words;
  }
}

}  // namespace
