// Tables through the finished tool, from `db create` to `db drop`: what goes in comes out the same, and what is refused
// leaves everything as it was.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/file.h>

#include <nlohmann/json.hpp>

#include "run_tool.h"

using nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;

constexpr bool kHasSql = HAS_SQL;  // 32-bit builds have none

class Tables : public ToolTest {
 protected:
  void SetUp() override {
    ok({"create", "GOODS", "CODE:C:6", "NAME:C:20", "PRICE:N:8:2", "SINCE:D", "SOLD:L", "NOTES:M"});
  }
  void import(const std::string& csv, Words options = {}) const {
    options.insert(options.begin(), {"import", "goods", "-"});
    ok(options, csv);
  }
  std::string exported(Words options = {}) const {
    options.insert(options.begin(), {"export", "GOODS"});
    return ok(options);
  }
  // The records and their numbers by an index, as seek tells them.
  json sought(const Words& words, int status) const {
    Words all{"seek", "GOODS"};
    all.insert(all.end(), words.begin(), words.end());
    all.push_back("--json");
    const Ran ran = db(all);
    EXPECT_EQ(ran.status, status) << words.back() << ran.err;
    return json::parse(ran.out);
  }
  // All that is told of the table, its indexes and its memo texts.
  std::string files() const {
    std::string all;
    for (const char* name : {"GOODS", "GOODS_M", "BYCODE", "BYPRICE"}) all += ok({"schema", name, "--json"});
    return all + exported({"--deleted", "--order", "BYCODE"}) + exported({"--deleted", "--order", "BYPRICE"});
  }

  static constexpr const char* kHead = "CODE,NAME,PRICE,SINCE,SOLD,NOTES\n";
};

TEST_F(Tables, ExportGivesBackWhatWasImported) {
  const std::string rows = std::string(kHead) +
                           "A,\"quoted, \"\"twice\"\"\",1.50,2004-03-17,true,\"two\nlines\"\n"
                           "B,  leading,-0.07,1850-12-31,false,\"\r\"\n"
                           ",,0.00,,false,\n"
                           "Ação,ÿ,12345.67,9999-12-31,true,a;b\n"
                           "C,\x01\t,99999.99,0001-01-01,false," +
                           std::string(60000, 'm') + "\n";
  import(rows);
  EXPECT_EQ(exported(), rows);
  EXPECT_EQ(ok({"check"}).substr(0, 6), "GOODS:");
  ok({"delete", "GOODS", "2"});
  EXPECT_THAT(exported(), Not(HasSubstr("leading")));
  const std::string all = exported({"--deleted"});
  EXPECT_THAT(all, HasSubstr(",NOTES,_deleted\nA,"));
  ok({"zap", "GOODS", "--yes"});
  import(all);
  EXPECT_EQ(exported({"--deleted"}), all);
  ok({"recall", "GOODS", "2"});
  EXPECT_EQ(exported(), rows);
  ok({"export", "GOODS", "semicolons.csv", "--separator", ";"});
  ok({"zap", "GOODS", "--yes"});
  ok({"import", "GOODS", "semicolons.csv"});
  EXPECT_EQ(exported(), rows);
}

TEST_F(Tables, ReadsFilesAsTheyAreMetInTheWild) {
  const std::string first = "A,x y,1.50,2004-03-17,true,n\n", second = "B,,0.00,,false,\n";
  const std::tuple<const char*, std::string, Words> cases[] = {
      {"order and letters", "since, Code ,notes,price,NAME,sold\n2004-03-17,A,n,1.5,x y,TRUE\n,B,,,,\n", {}},
      {"byte order mark", "\xEF\xBB\xBF" + (kHead + first) + second, {}},
      {"CRLF", "CODE,NAME,PRICE,SINCE,SOLD,NOTES\r\nA,x y,1.5,2004-03-17,true,n\r\nB,,,,,\r\n", {}},
      {"CR, no last end", "CODE,NAME,PRICE,SINCE,SOLD,NOTES\rA,x y,+1.5,2004-03-17,true,n\rB,,,,,", {}},
      {"blank lines", kHead + first + "\n\r\n" + second + "\n\n", {}},
      {"semicolons", "CODE;NAME;PRICE;SINCE;SOLD;NOTES\nA;x y;1.5;2004-03-17;true;n\nB;;;;;\n", {}},
      {"tabs, quotes",
       "\"CODE\"\tNAME\tPRICE\tSINCE\tSOLD\tNOTES\nA\t\"x y\"\t\"1.5\"\t2004-03-17\ttrue\tn\nB\t\t\t\t\t",
       {}},
      {"one column", "CODE|NAME|PRICE|SINCE|SOLD|NOTES\nA|x y|15e-1|2004-03-17|true|n\nB|||||\n", {"--separator", "|"}},
      {"blanks behind",
       kHead + std::string("A ,x y                                 , 1.5 ,2004-03-17,true,n\n") + second,
       {}},
  };
  for (const auto& [what, csv, options] : cases) {
    import(csv, options);
    EXPECT_EQ(exported(), kHead + first + second) << what;
    ok({"zap", "GOODS", "--yes"});
  }
  for (const char* encoding : {"latin1", "cp1252"}) import("CODE,NAME\n\xC7,\xE3\n", {"--encoding", encoding});
  import("CODE,PRICE\n1234567,123456789012\n\"\",1\n", {"--truncate"});
  EXPECT_EQ(exported(), std::string(kHead) +
                            "Ç,ã,0.00,,false,\nÇ,ã,0.00,,false,\n123456,,123456789012.00,,false,\n,,1.00,,false,\n");
  // Halves as they are written; what computing leaves behind the decimals is no decimal.
  ok({"zap", "GOODS", "--yes"});
  const Ran rounded = db({"import", "GOODS", "-", "--round"},
                         "PRICE,_deleted\n1.005,\n-1.005,\n-0.004,\n0.30000000000000004,\n99999.991,\n");
  EXPECT_THAT(rounded.err, HasSubstr("5 rows imported into GOODS; 4 numbers rounded; fields left empty: CODE, "));
  EXPECT_EQ(exported(), std::string(kHead) +
                            ",,1.01,,false,\n,,-1.01,,false,\n,,0.00,,false,\n"
                            ",,0.30000000000000004,,false,\n,,99999.99,,false,\n");
  // Rows as large as what is read at once, and larger: every place of a row meets the end of the buffer.
  std::string large = kHead;
  for (int i = 0; i < 900; ++i)
    large += "R" + std::to_string(i) + ",n,1.00,,true,\"" + std::string(i, 'x') + "\r\n\"\n";
  ok({"zap", "GOODS", "--yes"});
  import(large);
  EXPECT_EQ(exported(), large);
}

TEST_F(Tables, AFailedImportLeavesTheTableAsItWas) {
  ok({"index", "create", "GOODS", "BYCODE", "CODE,NAME"});
  ok({"index", "create", "GOODS", "BYPRICE", "PRICE"});
  import(std::string(kHead) + "A,x,1,2004-03-17,true,memo\nB,y,2,,false,\n");
  const std::string before = files();
  const std::string good = "A1,z,-5,,true,\"a memo\nof two lines\"\n";
  const std::pair<std::string, const char*> cases[] = {
      {"A,n,1,5,,true\n", "line 4, column 4 (SINCE): \"5\" is not a date"},
      {"A,n,\"1,5\",,true,\n", "line 4, column 3 (PRICE): \"1,5\" is not a number: decimals stand behind a point"},
      {"A,n,1.005,,true,\n", "column 3 (PRICE): \"1.005\" has more decimals than the field, which is N:8:2"},
      {"A,n,1x,,true,\n", "column 3 (PRICE): \"1x\" is not a number.\n  next: write it like 1234.50"},
      {"A,n,inf,,true,\n", "\"inf\" is not a number"},
      {"A,n,123456.00,,,\n", "\"123456.00\" does not fit the field, which is N:8:2"},
      {"A,n,-99999.99,,,\n", "does not fit"},
      {"A,n,,2004-02-30,,\n", "\"2004-02-30\" is not a date"},
      {"A,n,,1899-12-30,,\n", "stands for the empty date"},
      {"A,n,,,sim,\n", "column 5 (SOLD): \"sim\" is no logical.\n  next: write true or false"},
      {"1234567,n,,,,\n", "column 1 (CODE): \"1234567\" has 7 characters, the field has room for 6"},
      {"A,€,,,,\n", "column 2 (NAME): \"€\" cannot be stored: the character '€' does not exist in ISO-8859-1"},
      {"A,\xE3,,,,\n", "\"ã\" cannot be stored: the byte at position 1 is not UTF-8.\n  next: import with --encoding"},
      {std::string("A,a\0b,,,,\n", 10), "\"a?b\" holds a zero byte"},
      {"A,n,1\n", "line 4, there are too few columns: 3, where the first line names 6"},
      {"A,n,1,,,,\n", "too many columns: 7"},
      {"A,\"n\"x,1,,,\n", "line 4: there is text behind the closing quote of cell 2"},
      {"A,n,1,,,\"\nx\n", "line 4: the quote of cell 6 is never closed"},
      {"A,n,1,,," + std::string(65535, 'm') + "\n", "column 6 (NOTES): \"mmm"},
  };
  for (const auto& [row, words] : cases) {
    const Ran ran = db({"import", "GOODS", "-"}, kHead + good + row);
    EXPECT_EQ(ran.status, 2) << words;
    EXPECT_THAT(ran.err, HasSubstr(words));
    EXPECT_THAT(ran.err, EndsWith("Nothing was imported; GOODS is as it was.\n"));
  }
  for (const auto& [encoding, words] : {std::pair("latin1", "0x93 is no character of ISO-8859-1, in cp1252 it is '“'"),
                                        std::pair("cp1252", "the character '“' does not exist in ISO-8859-1")})
    EXPECT_THAT(db({"import", "GOODS", "-", "--encoding", encoding}, "CODE\n\x93\n").err, HasSubstr(words));
  EXPECT_EQ(files(), before);
  const std::pair<std::string, const char*> heads[] = {
      {"", "standard input is empty"},
      {"CODE,NAMES\n", "standard input, line 1: there is no field \"NAMES\" in GOODS.\n  near to it: NAME, "},
      {"CODE,code\n", "the field code is named twice"},
      {"CODE|NAME\n", "--separator '|'"},
      {"\xFF\xFE\x43", "UTF-16"},
  };
  for (const auto& [head, words] : heads) {
    const Ran ran = db({"import", "GOODS", "-"}, head);
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.err, HasSubstr(words));
  }
  EXPECT_EQ(files(), before);
  // More rows than wait to be merged into an index: some of them are there already.
  std::string many = kHead;
  for (int i = 0; i < 70000; ++i) many += std::to_string(i) + ",,,,,\n";
  EXPECT_THAT(db({"import", "GOODS", "-"}, many + "A,n,1x,,true,\n").err, HasSubstr("line 70002, column 3 (PRICE)"));
  EXPECT_EQ(exported({"--order", "BYCODE"}), std::string(kHead) + "A,x,1.00,2004-03-17,true,memo\nB,y,2.00,,false,\n");
  EXPECT_EQ(json::parse(ok({"schema", "BYCODE", "--json"}))["records"], 2);
  EXPECT_EQ(db({"check"}).status, 0);
}

// A pipe that stays open until the import was interrupted, or killed.
TEST_F(Tables, AnImportThatIsStoppedLeavesASoundTable) {
  ok({"index", "create", "GOODS", "BYCODE", "CODE"});
  import(std::string(kHead) + "OLD,,,,,kept\n");
  for (const int number : {SIGHUP, SIGINT, SIGKILL}) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
      dup2(ends[0], 0);
      close(ends[1]);
      if (number == SIGHUP) signal(SIGHUP, SIG_IGN);
      if (chdir(directory.c_str()) == 0 && freopen("stderr", "w", stderr) != nullptr)
        execl(TOOL, TOOL, "db", "import", "GOODS", "-", nullptr);
      _exit(99);
    }
    close(ends[0]);
    std::string text = kHead;
    for (int i = 0; i < 20000; ++i) text += "N" + std::to_string(i) + ",n,1,,,memo\n";
    EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    usleep(300000);
    kill(child, number);
    int status = 0;
    if (number == SIGHUP) close(ends[1]);  // or it would go on for ever
    waitpid(child, &status, 0);
    if (number == SIGHUP) {
      EXPECT_EQ(WEXITSTATUS(status), 0) << "as under nohup";
      ok({"zap", "GOODS", "--yes"});
      import(std::string(kHead) + "OLD,,,,,kept\n");
      continue;
    }
    close(ends[1]);
    if (number == SIGKILL) break;
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_THAT(readFile(directory / "stderr"), HasSubstr("Nothing was imported; GOODS is as it was."));
    EXPECT_EQ(db({"check"}).status, 0);
    EXPECT_EQ(exported(), std::string(kHead) + "OLD,,0.00,,false,kept\n");
  }
  EXPECT_THAT(exported(), HasSubstr("OLD,,0.00,,false,kept\nN0,n,1.00,,false,memo\nN1,"));
  ok({"delete", "GOODS", "1"});  // opening notices what the index lacks
  EXPECT_EQ(sought({"BYCODE", "N100"}, 0)["recno"], 102);
  EXPECT_EQ(db({"check"}).status, 0);
}

TEST_F(Tables, SeeksByTextNumberDateAndLogical) {
  import(std::string(kHead) +
         "B,Bia,12.5,2004-03-17,true,\nA,Ana,-3,1999-01-01,false,\nC,Caio,7,,true,\nAB,Ana,100,2026-01-31,false,\n");
  for (const char* index : {"BYNAME NAME,CODE", "BYPRICE PRICE", "BYDATE since", "BYSOLD SOLD"}) {
    const std::string text = index;
    const auto blank = text.find(' ');
    ok({"index", "create", "goods", text.substr(0, blank), text.substr(blank + 1)});
  }
  ok({"delete", "GOODS", "3"});
  // Index, key, soft, the record found (negative: landed on), 0 nothing.
  const std::tuple<const char*, const char*, bool, int> cases[] = {
      {"BYNAME", "Ana", false, 2},        {"BYNAME", "Ana                 AB", false, 4},
      {"byname", "An", false, 2},         {"BYNAME", "", false, 2},
      {"BYNAME", "Anb", true, -1},        {"BYNAME", "Caio", false, 0},
      {"BYNAME", "Caio", true, 0},        {"BYPRICE", "12.5", false, 1},
      {"BYPRICE", "   12.50", false, 1},  {"BYPRICE", "99", true, -4},
      {"BYDATE", "2004-03-17", false, 1}, {"BYDATE", "2004", false, 1},
      {"BYDATE", "2004-03-18", true, -4}, {"BYSOLD", "true", false, 1},
      {"BYSOLD", "false", false, 2},      {"BYNAME", "Z", true, 0},
      {"BYPRICE", "-3", false, 2},
  };
  for (const auto& [index, key, soft, record] : cases) {
    const json answer = sought(soft ? Words{index, key, "--soft"} : Words{index, key}, record > 0 ? 0 : 1);
    EXPECT_EQ(answer["found"], record > 0) << index << key;
    EXPECT_EQ(answer.value("recno", 0), std::abs(record)) << index << key;
  }
  EXPECT_EQ(sought({"BYDATE", "2004-03-17"}, 0)["record"],
            json::parse(R"({"CODE":"B","NAME":"Bia","PRICE":12.5,"SINCE":"2004-03-17","SOLD":true,"NOTES":""})"));
  EXPECT_EQ(sought({"BYNAME", "Caio", "--deleted"}, 0)["record"]["_deleted"], true);
  EXPECT_THAT(ok({"seek", "GOODS", "BYNAME", "Bia"}), testing::StartsWith("record 1\n  CODE   B\n  NAME   Bia\n"));
  EXPECT_EQ(exported({"--order", "BYPRICE", "--format", "jsonl"}).substr(0, 20), "{\"CODE\":\"A\",\"NAME\":\"");
  EXPECT_EQ(json::parse(exported({"--format", "json", "--order", "byname"}))[2]["CODE"], "B");
  EXPECT_EQ(json::parse(exported({"--format", "json"})).size(), 3U);
  ok({"pack", "GOODS", "--yes"});
  EXPECT_EQ(sought({"BYNAME", "Ana                 AB"}, 0)["recno"], 3);
  ok({"zap", "GOODS", "--yes"});
  EXPECT_EQ(exported({"--format", "json"}), "[]\n");
  EXPECT_EQ(exported({"--format", "jsonl"}), "");
}

// The records are found one behind the other where a dying process left no offsets file.
TEST_F(Tables, AreReadWithoutTheirOffsetsFiles) {
  const std::string rows = std::string(kHead) + "A,Ana,1.50,,false,text of A\nBB,B,2.00,,true,\n";
  import(rows);
  ok({"index", "create", "GOODS", "BYCODE", "CODE"});
  for (const char* name : {"GOODS_OS", "GOODS_M_OS"}) std::filesystem::remove(path(name));
  EXPECT_EQ(exported() + exported({"--order", "BYCODE"}), rows + rows);
  EXPECT_EQ(sought({"BYCODE", "BB"}, 0)["record"]["NAME"], "B");
  if (kHasSql) {
    EXPECT_EQ(ok({"sql", "--format", "csv", "SELECT code, notes FROM goods"}), "CODE,NOTES\nA,text of A\nBB,\n");
  }
  EXPECT_THAT(ok({"list"}) + ok({"schema", "GOODS"}), HasSubstr("records                  2"));
  // Of such a file's header nothing but the sizes means anything.
  ok({"recall", "GOODS", "1"});
  std::fstream(path("GOODS_OS"), std::ios::in | std::ios::out | std::ios::binary).write("\1\1", 2);
  ok({"delete", "GOODS", "1"});
}

TEST_F(Tables, SchemaTellsTheCommandsThatWouldMakeTheTable) {
  ok({"index", "create", "GOODS", "BYNAME", "NAME,CODE"});
  const std::string text = ok({"schema", "GOODS"});
  const auto commands = text.find("tellira db create");
  ASSERT_NE(commands, std::string::npos);
  EXPECT_EQ(text.substr(commands),
            "tellira db create GOODS CODE:C:6 NAME:C:20 PRICE:N:8:2 SINCE:D SOLD:L NOTES:M\n"
            "tellira db index create GOODS BYNAME NAME,CODE\n");
  const json schema = json::parse(ok({"schema", "goods", "--json"}));
  EXPECT_EQ(schema["fields"][2], json::parse(R"({"name":"PRICE","type":"N","length":8,"decimals":2})"));
  EXPECT_EQ(schema["fields"].size(), 6U);
  EXPECT_EQ(schema["indexes"], json::parse(R"([{"name":"BYNAME","fields":["NAME","CODE"]}])"));
  EXPECT_EQ(json::parse(ok({"list", "--json"}))[0]["indexes"], 1);
  ok({"reindex", "GOODS"});
  ok({"index", "drop", "GOODS", "byname"});
  EXPECT_EQ(json::parse(ok({"list", "--json"}))[0]["indexes"], 0);
  ok({"drop", "goods", "--yes"});
  EXPECT_EQ(ok({"list", "--json"}), "[]\n");
}

TEST_F(Tables, RefusesWithTheReasonAndTheNextStep) {
  import("CODE\nA\n");
  for (const auto& [index, field] : {std::pair("BYCODE", "CODE"), std::pair("BYKEY", "PRICE"),
                                     std::pair("BYDATE", "SINCE"), std::pair("BYSOLD", "SOLD")})
    ok({"index", "create", "GOODS", index, field});
  ok({"create", "SALE_OS", "A:C:3"});
  const std::tuple<Words, int, const char*> cases[] = {
      {{}, 2, "a verb is missing; the verbs are list, schema, create, drop, import, export, index, reindex, seek,"},
      {{"lits"}, 2, "there is no verb \"lits\"; the verbs are list, "},
      {{"check", "--wrong"}, 2, "next: `tellira db check --help`"},
      {{"schema"}, 2, "NAME is required"},
      {{"schema", "NONE"}, 1, "there is no database \"NONE\""},
      {{"schema", "a€"}, 2, "'€' does not exist"},
      {{"--dir", "DB", "list"}, 2, "/DB has no subdirectory DB with databases.\n  next: name the directory"},
      {{"create", "GOODS", "A:C:3"}, 2, "there is a database \"GOODS\" already"},
      {{"create", "GOODS_m", "A:C:3"}, 2, "there is a database \"GOODS_M\" already"},
      {{"create", "goods_os", "A:C:3"}, 2, "GOODS_OS clashes with the database \"GOODS\": the two would have a file"},
      {{"create", "SALE", "A:C:3"}, 2, "the name SALE clashes with the database \"SALE_OS\""},
      {{"index", "create", "GOODS", "SALE", "NAME"}, 2, "SALE clashes with the database \"SALE_OS\""},
      {{"index", "create", "GOODS", "BYCODE_OS", "NAME"}, 2, "clashes with the database \"BYCODE\""},
      {{"create", "A/B", "A:C:3"}, 2, "\"A/B\" cannot be the name of a table"},
      {{"create", "T", "A:X:3"}, 2, "has no type that can be stored"},
      {{"create", "T", "A:B:3"}, 2, "has no type that can be stored"},
      {{"create", "T", "A:C"}, 2, "has no length.\n  next: write one, as in A:C:10"},
      {{"create", "T", "A:N:5:4"}, 2, "write a number from 0 to 3"},
      {{"create", "T", "A:C:5:1"}, 2, "says more than a field of type C has"},
      {{"create", "T", "A:C:5", "a:D"}, 2, "two fields A"},
      {{"create", "T", "A:C:32767", "B:C:32767"}, 2, "longer than the longest, 65535"},
      {{"export", "GOOD"}, 1, "there is no table \"GOOD\" in "},
      {{"sql", "SELECT * FROM good"}, 1, "there is no table \"good\""},
      {{"export", "GOODS", "--order", "CODE"}, 1, "no index \"CODE\" in GOODS.\n  near to it: BYCODE"},
      {{"export", "GOODS", "--format", "xml"}, 2, "--format"},
      {{"export", "GOODS", "no/such/place.csv"}, 2, "cannot be written: No such file"},
      {{"import", "GOODS", "none.csv"}, 2, "none.csv cannot be read: No such file"},
      {{"import", "BYCODE", "-"}, 2, "BYCODE is no table that can be opened: its type is INDX"},
      {{"index", "create", "GOODS", "BYCODE", "NAME"}, 2, "there is a database \"BYCODE\" already"},
      {{"index", "create", "GOODS", "X", "NAMEN"}, 2, "no field \"NAMEN\" in GOODS.\n  near to it: NAME"},
      {{"index", "create", "GOODS", "X", "NOTES"}, 2, "NOTES cannot be part of a key"},
      {{"index", "drop", "GOODS", "X"}, 1, "there is no index \"X\""},
      {{"seek", "GOODS", "BYCODE", "€"}, 2, "no key can be \"€\""},
      {{"seek", "GOODS", "BYCODE", "--", "-x"}, 1, "no record of GOODS has the key \"-x\""},
      {{"seek", "GOODS", "BYKEY", "1,5"}, 2, "\"1,5\" is no number for the key field PRICE, which is N:8:2"},
      {{"seek", "GOODS", "BYKEY", "1.505"}, 2, "has more decimals than the key field PRICE"},
      {{"seek", "GOODS", "BYKEY", "100000"}, 2, "does not fit the key field PRICE"},
      {{"seek", "GOODS", "BYDATE", "2004-02-30"}, 2, "is no date for the key field SINCE"},
      {{"seek", "GOODS", "BYSOLD", "yes"}, 2, "is no logical for the key field SOLD"},
      {{"seek", "GOODS", "BYCODE", "-x"}, 2, "A word that begins with a dash and is no option stands behind --"},
      {{"delete", "GOODS", "2"}, 1, "there is no record 2 of GOODS, which has 1 record"},
      {{"recall", "GOODS", "0"}, 1, "there is no record 0"},
      {{"pack", "GOODS"}, 2, "add --yes"},
      {{"zap", "GOODS"}, 2, "add --yes"},
      {{"drop", "GOODS"}, 2, "add --yes"},
  };
  for (const auto& [words, status, text] : cases) {
    if (words == Words{"sql", "SELECT * FROM good"} && !kHasSql) continue;
    const Ran ran = db(words);
    EXPECT_EQ(ran.status, status) << text;
    EXPECT_EQ(ran.out, "") << text;
    EXPECT_THAT(ran.err, HasSubstr(text));
  }
  EXPECT_EQ(json::parse(ok({"list", "--json"})).size(), 7U);
}

// Without the right to read or to write a file: every verb that needs it names it and changes nothing.
TEST_F(Tables, NamesTheFileThatMayNotBeUsed) {
  constexpr unsigned kNobody = 65534;
  import("CODE\nA\n");
  ok({"index", "create", "GOODS", "BYCODE", "CODE"});
  (void)!chown(directory.c_str(), kNobody, kNobody);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory))
    (void)!chown(entry.path().c_str(), kNobody, kNobody);
  const bool isRoot = geteuid() == 0;
  const auto become = [&](unsigned id) { return !isRoot || setresuid(id, id, 0) == 0; };
  const bool drops = become(kNobody);
  const bool reaches = access(TOOL, X_OK) == 0;
  ASSERT_TRUE(become(0));
  if (!drops || !reaches) GTEST_SKIP() << "root's rights cannot be given up, or the tool is out of reach without them";
  std::vector<Words> reading = verbs("list|schema GOODS|export GOODS|seek GOODS BYCODE A|check");
  reading.push_back({"sql", "SELECT * FROM goods"});
  const std::vector<Words> writing = verbs(
      "import GOODS -|delete GOODS 1|pack GOODS --yes|zap GOODS --yes|drop GOODS --yes|index create GOODS X NAME|"
      "index drop GOODS BYCODE|reindex GOODS|describe GOODS CODE:C:6");
  const auto bytes = [&] {
    std::string all;
    for (const char* name : {"catalog.plm", "GOODS", "GOODS_OS", "GOODS_M", "GOODS_M_OS", "BYCODE"})
      all += readFile(path(name));
    return all;
  };
  const auto refused = [&](const std::string& file, mode_t mode, const std::vector<Words>& verbs, const char* cause) {
    const std::filesystem::path path = directory / "DB" / file;
    const auto rights = std::filesystem::status(path).permissions();
    const std::string before = bytes();
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    ASSERT_TRUE(become(kNobody));
    for (const Words& words : verbs) {
      if (words[0] == "sql" && !kHasSql) continue;
      const Ran ran = db(words, "CODE\nB\n");
      EXPECT_TRUE(ran.status == 2 || ran.status == 3) << file << " " << words[0] << ran.status << ran.out << ran.err;
      EXPECT_THAT(ran.err + ran.out, HasSubstr(cause)) << file << " " << words[0];
      EXPECT_EQ((ran.err + ran.out).find("--repair"), std::string::npos) << ran.err;
      EXPECT_THAT(ran.err + ran.out, HasSubstr(file)) << words[0];
    }
    ASSERT_TRUE(become(0));
    std::filesystem::permissions(path, rights);
    EXPECT_TRUE(bytes() == before) << file;
  };
  for (const char* file : {"", "catalog.plm", "GOODS"}) refused(file, 0, reading, "cannot be read: Permission denied");
  for (const char* file : {"GOODS", "GOODS_OS", "GOODS_M", "GOODS_M_OS", "BYCODE"}) {
    refused(file, 0, verbs("export GOODS|seek GOODS BYCODE A|check"), "cannot be read: Permission denied");
    refused(file, 0, writing, "cannot be read: Permission denied");
    refused(file, 0444, writing, "cannot be written: Permission denied");
  }
  refused("", 0555, writing, "cannot be written: Permission denied");
  std::string index = readFile(path("BYCODE"));
  index[index.rfind('A')] = 'B';
  writeFile(path("BYCODE"), index);
  refused("BYCODE", 0444, {{"check", "--repair", "--yes"}}, "cannot be written: Permission denied");
  // A lost catalogue does not tell which files are missed.
  for (const char* file : {"catalog.plm", "catalog.bck"}) std::filesystem::remove(path(file));
  for (const char* file : {"GOODS", "GOODS_M", "BYCODE"})
    refused(file, 0, verbs("check"), (file + std::string(": it cannot be read: Permission denied")).c_str());
}

TEST_F(Tables, AnExportReplacesNoDatabaseAndNoLink) {
  import("CODE\nA\n");
  const std::string before = readFile(path("GOODS"));
  const std::string other = directory / "other.csv";
  for (const auto& [to, link] : {std::pair("DB", "data"), std::pair("DB/GOODS", "goods.csv"),
                                 std::pair("other.csv", "linked.csv"), std::pair("missing.csv", "dangling.csv")})
    std::filesystem::create_symlink(to, directory / link);
  writeFile(other, "old");
  std::filesystem::create_directories(directory / "empty" / "DB");
  std::filesystem::permissions(other, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  std::filesystem::create_hard_link(path("GOODS"), directory / "other.csv.part");
  for (const char* name :
       {"DB/GOODS", "DB/new.csv", "./DB/../data/GOODS", "goods.csv", "DB/new/new.csv", "empty/DB/x"}) {
    const Ran ran = db({"export", "GOODS", name});
    EXPECT_EQ(ran.status, 2) << name;
    EXPECT_THAT(ran.err, HasSubstr(std::string(name) + " lies in a directory of databases"));
  }
  const std::string csv = exported();
  for (const char* name : {"linked.csv", "dangling.csv"}) {
    ok({"export", "GOODS", name});
    EXPECT_TRUE(std::filesystem::is_symlink(directory / name));
    EXPECT_EQ(readFile(directory / name), csv);
  }
  EXPECT_EQ(std::filesystem::status(other).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  EXPECT_EQ(ok({"export", "GOODS", "/dev/stdout"}), csv);
  EXPECT_EQ(readFile(path("GOODS")), before);
}

// A name that looks like a card number is masked where it is shown and nowhere else.
TEST_F(Tables, ATableMayBeNamedLikeACard) {
  const std::string name = "T4000000000000010", index = "I4000000000000010";
  ok({"create", name, "A:C:3", "M:M"});
  ok({"import", name, "-"}, "A,M\nx,m\ny,\n");
  ok({"index", "create", name, index, "A"});
  ok({"delete", name, "2"});
  EXPECT_EQ(json::parse(ok({"schema", name, "--json"}))["fields"].size(), 2U);
  if (kHasSql) {
    EXPECT_EQ(ok({"sql", "SELECT a FROM " + name, "--json"}), "[{\"A\":\"x\"}]\n");
  }
  EXPECT_EQ(json::parse(ok({"seek", name, index, "x", "--json"}))["recno"], 1);
  for (const Words& words : verbs("reindex " + name + "|pack " + name + " --yes|index drop " + name + " " + index +
                                  "|zap " + name + " --yes|drop " + name + " --yes")) {
    const Ran ran = db(words);
    EXPECT_EQ(ran.status, 0) << words[0];
    EXPECT_THAT(ran.out + ran.err, testing::Not(HasSubstr("4000000000000010"))) << words[0];
  }
}

TEST_F(Tables, PackingAfterZappingGivesTheSpaceBack) {
  const auto bytes = [this] {
    std::uintmax_t sum = 0;
    for (const auto& file : std::filesystem::directory_iterator(directory / "DB")) sum += file.file_size();
    return sum;
  };
  ok({"index", "create", "GOODS", "BYCODE", "CODE"});
  const std::uintmax_t empty = bytes();
  std::string csv = "CODE,NOTES\n";
  for (int i = 0; i < 5000; ++i) csv += std::to_string(i) + ",a memo\n";
  for (int round = 0; round < 2; ++round) {
    import(csv);
    ok({"zap", "GOODS", "--yes"});
    ok({"pack", "GOODS", "--yes"});
    EXPECT_EQ(bytes(), empty);
    EXPECT_EQ(db({"check"}).status, 0);
  }
}

TEST_F(Tables, AnswersInSqlAreCutToTheTerminalOnly) {
  if (!kHasSql) GTEST_SKIP() << "a build without SQLite";
  import("CODE,NAME,NOTES\nA,João,ção" + std::string(100, 'n') + "\n");
  const std::string statement = "SELECT code, name, notes, 1 FROM GOODS";
  const std::string seen = seenOnTerminal({"db", "sql", statement});
  EXPECT_THAT(seen, HasSubstr("\r\nA     João  ção" + std::string(64, 'n') + "…\r\n"));
  EXPECT_THAT(ok({"sql", statement}), HasSubstr(std::string(100, 'n') + "  1\n"));
  EXPECT_THAT(seenOnTerminal({"db", "check"}, "", 20), HasSubstr("GOODS: sound, 1\r\n  record\r\n"));
}

// A program that has the databases open holds a lock on the catalogue.
TEST_F(Tables, KeepsAwayFromWhatAProgramHasOpen) {
  import("CODE\nA\n");
  const int held = open(path("catalog.plm").c_str(), O_RDONLY);
  ASSERT_EQ(flock(held, LOCK_SH), 0);
  const std::string self = "process " + std::to_string(getpid()) + " (tool_tests)";
  for (const Words& words :
       verbs("create T A:D|import GOODS -|delete GOODS 1|reindex GOODS|zap GOODS --yes|drop GOODS --yes|"
             "describe GOODS A:D|check --repair --yes")) {
    const Ran ran = db(words, "CODE\nB\n");
    EXPECT_EQ(ran.status, 2) << words[0];
    EXPECT_THAT(ran.err, HasSubstr(self + " has the databases of "));
  }
  EXPECT_EQ(exported(), std::string(kHead) + "A,,0.00,,false,\n");
  close(held);
  EXPECT_EQ(db({"delete", "GOODS", "1"}).status, 0);
  // Another tool is waited for.
  const int other = open((directory / "DB").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(other, LOCK_EX), 0);
  std::filesystem::remove(directory / "stderr");
  const pid_t waiting = start({"db", "recall", "GOODS", "1"});
  while (readFile(directory / "stderr").find(')') == std::string::npos) usleep(10000);
  close(other);
  const Ran waited = ended(waiting);
  EXPECT_EQ(waited.status, 0);
  EXPECT_THAT(waited.err, HasSubstr("waiting for " + self + ", "));
}
