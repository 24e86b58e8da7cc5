// Queries through SQLite's own library and the finished extension.
#include <random>

#include "sql_fixture.h"
#include "storage/files/system.h"
#include "storage/reading/table_reader.h"

namespace {

constexpr char kStructure[] =
    "{{'NAME','C',6,0},{'PRICE','N',7,2},{'BORN','D',8,0},{'VIP','L',1,0},{'NOTE','M',4,0},{'UNITS','N',12,0}}";

class Extension : public SqlTest {
 protected:
  void append(const std::string& name, double price, double born, bool vip, const std::string& note) {
    __DBAPPEND();
    set("NAME", name);
    set("PRICE", number(price));
    set("BORN", __INIT_DATE(born));
    set("VIP", __INIT_BOOL(vip));
    set("UNITS", number(price * 100));
    if (!note.empty()) set("NOTE", note);
    __Commit();
  }
  std::mt19937 random{20040317};
  int below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }
};

}  // namespace

TEST_F(Extension, ShowsValuesAndDeletedRecords) {
  make("CLI", kStructure, {"NAME"});
  append("Jos\xE9  ", 3.5, 38063, true, "said\xE7 so");
  append("gone", -1, 0, false, "");
  append("Ana", 0.25, 38063.75, false, "");
  remove(2);
  make("SALES", "{{'CLI','C',6,0},{'D_E','N',5,0}}");
  for (const char* name : {"Ana", "Ana", "gone"}) {
    __DBAPPEND();
    set("CLI", name);
    set("D_E", number(2));
    __Commit();
  }
  closeAll();
  Sql sql;
  ASSERT_EQ(sql.use("CLI"), Answer{});
  ASSERT_EQ(sql.use("sales"), Answer{});
  const std::pair<const char*, Answer> kCases[] = {
      {"SELECT *, recno, rowid FROM cli", {"José|3.5|2004-03-17|1|saidç so|350|1|1", "Ana|0.25|2004-03-17|0||25|3|3"}},
      {"SELECT name, born FROM cli WHERE _deleted OR name = 'x'", {"gone|-"}},
      {"SELECT name, _deleted FROM cli WHERE _deleted IN (0, 1) ORDER BY name", {"Ana|0", "José|0", "gone|1"}},
      {"SELECT name FROM cli WHERE recno = 3 OR rowid = '1' ORDER BY 1 DESC", {"José", "Ana"}},
      {"SELECT name FROM cli WHERE recno = 2 OR recno = 9 OR recno = 1.5 OR recno = 'x' OR recno IS NULL", {}},
      {"SELECT c.name, sum(s.d_e) FROM cli c LEFT JOIN sales s ON s.cli = c.name GROUP BY 1", {"Ana|4", "José|-"}},
      {"SELECT note FROM sales JOIN cli ON name = cli", {"", ""}},
      {"SELECT upper(name) FROM cli WHERE name = 'José' COLLATE NOCASE", {"JOSé"}},
      {"DELETE FROM cli", {"error: table CLI may not be modified"}},
      {"CREATE VIRTUAL TABLE x USING vornetab('.', 'NONE')",
       {"error: there is no table \"NONE\" in ./DB/; `tellira db list` shows all"}},
      {"CREATE VIRTUAL TABLE x USING vornetab('.')",
       {"error: vornetab needs two arguments: the directory that holds DB, and the table's name"}},
      {"CREATE VIRTUAL TABLE x USING vornetab('/none', \"CLI\")",
       {"error: /none/DB is no directory with databases; name the directory that holds \"DB\""}},
  };
  for (const auto& [query, expected] : kCases) EXPECT_EQ(sql(query), expected) << query;
}

// Random conditions and orders, asked of the table and of SQLite's own copy of it, which has no index.
TEST_F(Extension, IndexesAnswerAsScansDo) {
  make("T", kStructure, {"NAME", "PRICE", "BORN", "VIP", "VIP+BORN+NAME", "UNITS+NAME"});
  const Answer names = split(
      ";A;A B;A\x01;AB;ABCDEF;B\x1F ;\xE9;\xFF"
      "B;b;~",
      ';');
  const double prices[] = {0,     -0.0, 0.004, -0.001, 1,    9.99,   10,    100.5,  -3.25,    -3.254,
                           3.251, 3.25, 99999, 1e6,    -1e6, 123456, 1e300, -1e300, INFINITY, 5e-324};
  const double dates[] = {0, 1, -1, 38063, 38063.5, 38064, -693593, -700000, 2958465, 2958466, 1e9};
  const auto any = [&](const auto& values) { return values[below(static_cast<int>(std::size(values)))]; };
  for (int i = 0; i < 400; ++i) append(any(names), any(prices), any(dates), below(2) != 0, "");
  for (int i = 0; i < 40; ++i) remove(1 + below(400));
  closeAll();
  Sql sql;
  ASSERT_EQ(sql.use("T"), Answer{});
  ASSERT_EQ(sql("CREATE TABLE plain AS SELECT recno, * FROM t"), Answer{});

  const Answer constants = split(
      "'';'A';'A ';'AB';'A' || "
      "char(1);'é';'€';'ABCDEFG';0;-0.0;3.25;-3.254;10;99999.5;1e300;-1e6;'10';'abc';'2004';1;2;"
      "'2004-03-17';'2004-03-1x';'9999-12-31';'1899';NULL;9e999;x'41';5e-324;123456789;'0001-01-01';date('2004-03-18'"
      ")",
      ';');
  const Answer operators = split("=|<|<=|>|>=|IS|=|<>"), fields = split("name|price|born|vip|units|recno");
  const Answer orders =
      split("name|born|vip, born|vip DESC, born DESC, name DESC|name DESC|price|recno|units, name|vip, born DESC");
  int indexed = 0;
  for (int i = 0; i < 800; ++i) {
    std::string where = " WHERE 1";
    for (int n = below(3); n > 0; --n) where += " AND " + any(fields) + " " + any(operators) + " " + any(constants);
    const std::string order = any(orders);
    // Rows that the order leaves equal may come in any.
    std::string shown = order;
    for (std::size_t at; (at = shown.find(" DESC")) != std::string::npos;) shown.erase(at, 5);
    for (const std::string& query : {"SELECT " + shown + " FROM %" + where + " ORDER BY " + order,
                                     "SELECT recno, name, born FROM %" + where + " ORDER BY recno"}) {
      const auto on = [&](const char* table) { return std::string(query).replace(query.find('%'), 1, table); };
      ASSERT_EQ(sql(on("t")), sql(on("plain"))) << on("t") << "\n" << sql.plan(on("t"));
      indexed += sql.plan(on("t")).find("VIRTUAL TABLE INDEX") != std::string::npos;
    }
  }
  EXPECT_GT(indexed, 300);
  const std::pair<const char*, const char*> kPlans[] = {{"WHERE name = 'A'", ":NAME\n"},
                                                        {"WHERE price > 3", ":PRICE\n"},
                                                        {"ORDER BY vip, born", ":VIP+BORN+NAME\n"},
                                                        {"WHERE name > 'A' ORDER BY name", ":NAME\n"}};
  for (const auto& [way, words] : kPlans) {
    const std::string plan = sql.plan(std::string("SELECT * FROM t ") + way);
    EXPECT_TRUE(plan.find(words) != std::string::npos && plan.find("TEMP B-TREE") == std::string::npos) << plan;
  }

  // An entry that is written over with its neighbour.
  std::string index = readFile(file("NAME"));
  const auto begin = 20U + static_cast<unsigned char>(index[4]);
  const std::size_t size = (vorne::Load<UInt32>(index.data() + 16) - begin) / 400;
  const auto answersRightWith = [&](const std::string& bytes) {
    writeFile(file("NAME"), bytes);
    sql("DROP TABLE t");
    sql.use("T");
    EXPECT_EQ(sql("SELECT count(DISTINCT recno) FROM t WHERE name > 'A'"),
              sql("SELECT count(*) FROM plain WHERE name > 'A'"));
  };
  answersRightWith(std::string(index).replace(begin + 200 * size, size, index, begin + 199 * size, size));
  // Two that name each other's records.
  const std::size_t one = begin + 8, other = begin + 399 * size + 8;
  answersRightWith(std::string(index).replace(one, 4, index, other, 4).replace(other, 4, index, one, 4));
}

TEST_F(Extension, SurvivesEveryDamagedByte) {
  make("T", kStructure, {"NAME", "PRICE"});
  for (int i = 0; i < 5; ++i) append("N" + std::to_string(i), i, 38063 + i, false, "memo " + std::to_string(i));
  closeAll();
  int told = 0, answered = 0;
  Sql sql;
  for (const char* name : {"catalog.plm", "T", "T_OS", "T_M", "T_M_OS", "NAME"}) {
    const std::string before = readFile(file(name));
    for (std::size_t at = 0; at < std::min<std::size_t>(before.size(), vorne::Load<UInt32>(before.data() + 16) + 8);
         ++at) {
      std::string after = before;
      after[at] = static_cast<char>(after[at] ^ (at % 2 == 0 ? 0xFF : 0x10));
      writeFile(file(name), after);
      sql("DROP TABLE IF EXISTS t");
      sql.use("T");
      for (const char* query :
           {"SELECT * FROM t", "SELECT note FROM t WHERE name >= 'N1'", "SELECT name FROM t ORDER BY name DESC"}) {
        const Answer answer = sql(query);
        (answer.size() == 1 && answer[0].starts_with("error: ") ? told : answered) += 1;
        // Memo texts that the catalogue does not name are not empty.
        EXPECT_TRUE(name[0] != 'c' || std::count(answer.begin(), answer.end(), "") == 0) << at;
      }
    }
    writeFile(file(name), before);
  }
  EXPECT_GT(told, 100);
  EXPECT_GT(answered, 1000);
}

// What is known of one table's surroundings serves the next: openings of files grow with their number.
TEST_F(Extension, OpensFilesOnce) {
  constexpr int kTables = 12, kFiles = 4 * kTables;
  for (int i = 0; i < kTables; ++i) {
    const std::string name = "T" + std::to_string(i), first = name + "A", second = name + "B";
    make(name.c_str(), "{{'A','C',4,0},{'B','N',4,0}}");
    makeIndex(first.c_str(), "A");
    makeIndex(second.c_str(), "B");
  }
  closeAll();
  static int opened;
  opened = 0;
  vorne::fileSystem.open = [](const char* path, int flags, mode_t mode) {
    ++opened;
    return vorne::kSystem.open(path, flags, mode);
  };
  const auto openings = [](auto work) {
    const int before = opened;
    work();
    return opened - before;
  };
  vorne::Dictionary dictionary(".");
  EXPECT_LE(openings([&] { dictionary.renew(vorne::Dictionary::Heads::kOfAll); }), kFiles);
  EXPECT_EQ(dictionary.indexesOf("t3").size(), 2U);
  EXPECT_LE(openings([&] {
              for (int i = 0; i < kTables; ++i)
                EXPECT_EQ(vorne::TableReader(dictionary, "t" + std::to_string(i)).indexes().size(), 2U);
            }),
            2 * kFiles);
  EXPECT_LE(openings([&] { use("T0"); }), 2 * kTables + 20);
  EXPECT_LE(openings([&] { use("T1"); }), 10);
  // An index's name that another table took meanwhile belongs to it.
  __DBDROPINDEX(text("T1A"));
  __DBCREATEINDEX(text("T1A"), text("A"), text("T0"));
  use("T1");
  EXPECT_EQ(vorne::AreaAt(__GetAliasID(nullptr))->TBL_appinfo->TBL_numIndexes, 1U);
  __dbCloseAll();
  use("T0");
  EXPECT_EQ(vorne::AreaAt(__GetAliasID(nullptr))->TBL_appinfo->TBL_numIndexes, 3U);
  EXPECT_EQ(vorne::TableReader(".", "T0").indexes().size(), 3U);
}

TEST_F(Extension, AnswersInTheTool) {
  make("CLI", kStructure, {"NAME"});
  append("Jos\xE9", 3.5, 38063, true, "two\nlines, \"quoted\"");
  append("Ana", 100, 0, false, "");
  append("gone", 1, 0, false, "");
  remove(3);
  make("BROKEN", "{{'A','C',1,0}}");
  closeAll();
  std::string broken = readFile(file("BROKEN"));
  writeFile(file("BROKEN"), broken.replace(20 + 72, 30, 30, 'x'));
  const auto tool = [](const std::string& arguments) {
    FILE* output = popen((TOOL " db sql " + arguments + " 2>&1; printf %s $?").c_str(), "r");
    std::string all;
    for (int c; (c = fgetc(output)) != EOF;) all += static_cast<char>(c);
    pclose(output);
    return all;
  };
  const std::pair<const char*, const char*> kCases[] = {
      {"'SELECT name, price, born, note AS n FROM cli'",
       "NAME  PRICE  BORN        n\nJosé    3.5  2004-03-17  two lines, \"quoted\"\nAna     100\n0"},
      {"--format csv 'SELECT name, vip, born, note FROM cli'",
       "NAME,VIP,BORN,NOTE\nJosé,1,2004-03-17,\"two\nlines, \"\"quoted\"\"\"\nAna,0,,\n0"},
      {"--format json 'SELECT name, units, born, note, name, 1e300*1e300 AS x FROM cli'",
       R"([{"NAME":"José","UNITS":350,"BORN":"2004-03-17","NOTE":"two\nlines, \"quoted\"","NAME_2":"José","x":null},)"
       "\n {\"NAME\":\"Ana\",\"UNITS\":10000,\"BORN\":null,\"NOTE\":\"\",\"NAME_2\":\"Ana\",\"x\":null}]\n0"},
      {"--format json 'SELECT name FROM cli WHERE 0'", "[]\n0"},
      {"'SELECT name FROM clli'",
       "tellira: there is no table \"clli\".\n  near to it: CLI\n  next: `tellira db list` shows all of them.\n1"},
      {"'SELECT * FROM broken'",
       "tellira: the description of BROKEN cannot be read; `tellira db check` tells more.\n1"},
      {"'SELECT nme FROM cli'",
       "tellira: SQL: no such column: nme, at character 8.\n  next: `tellira db schema TABLE` shows the fields of a "
       "table.\n2"},
      {"'SELECT 1; SELECT 2'", "tellira: there is more than one statement.\n  next: run one at a time.\n2"},
  };
  for (const auto& [arguments, expected] : kCases) EXPECT_EQ(tool(arguments), expected);
  for (const char* statement :
       {"UPDATE sqlite_schema SET sql = 'x'", "ATTACH 'x.db' AS x", "CREATE TABLE x(a)", "DELETE FROM cli",
        "PRAGMA journal_mode = DELETE", "SELECT load_extension('x')", "VACUUM INTO 'x.db'"})
    EXPECT_EQ(tool("\"" + std::string(statement) + "\"").substr(0, 40), "tellira: the statement does more than re")
        << statement;
  EXPECT_FALSE(std::filesystem::exists("x.db"));
}
