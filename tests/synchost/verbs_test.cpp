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

/// Runs a line of the shell in which `host` is the program, `db` and `desk` work in a desk's directory; what it told,
/// and its exit status.
std::string told(const std::string& line) {
  const std::string whole = "host() { '" SYNCHOST
                            "' --store store.db \"$@\"; }\n"
                            "db() { dir=$1; shift; '" TELLIRA
                            "' db --dir $dir \"$@\"; }\n"
                            "desk() { '" TELLIRA
                            "' sync --dir $1 --host 127.0.0.1 --port $PORT --device $1 --plain </dev/null; }\n"
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
      {"desk two; desk two", "Tabela recusada"},
      {"host export SALES", "s1"},
      {"db two export GOODS >rows.csv && db two drop GOODS --yes && desk two && desk two && db two export GOODS",
       "CODE,NAME,PRICE\n1,Arroz,0.00\nrc 0"},
      {"db two import GOODS rows.csv && desk two && host export GOODS", "1,Arroz,0.00\n9,unsent,0.00\nrc 0"},
      {"desk one && db one export GOODS", "1,Arroz,0.00\n9,unsent,0.00\nrc 0"},
  };
  for (const Line& one : lines) EXPECT_THAT(told(one.line), HasSubstr(one.words)) << one.line;
}

}  // namespace
