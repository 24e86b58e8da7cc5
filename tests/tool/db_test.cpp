// `tellira db` with the finished tool, on a directory whose files are made by hand.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "run_tool.h"
#include "support/file_images.h"

using nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;

class Db : public ToolTest {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(directory / "DB");
    const images::Bytes sales = images::dataFile('V', "info", {"abc", "defgh", "i"});
    store("SALES", sales);
    store("SALES_OS", images::offsetsFile(sales));
    store("Caf\xE9", images::dataFile('X', "", {"one", "two"}));
    store("catalog.plm", images::catalog({{"SALES", "DATA"}, {"Caf\xE9", "CONF"}}));
  }
  void store(const std::string& name, const std::string& bytes) const { writeFile(directory / "DB" / name, bytes); }
  std::string stored(const std::string& name) const { return readFile(path(name)); }

  // The second record's header is gone.
  void damage() const {
    images::Bytes sales = stored("SALES");
    store("SALES", sales.replace(images::places(sales)[1], 8, 8, '\0'));
  }
};

TEST_F(Db, ListsAndDescribes) {
  EXPECT_EQ(json::parse(run({"db", "list", "--json"}).out),
            json::parse(R"([{"name":"SALES","type":"DATA","records":3,"indexes":0,"bytes":30720},
                            {"name":"Café","type":"CONF","records":2,"indexes":0,"bytes":15360}])"));
  EXPECT_THAT(run({"db", "--dir", directory, "list"}).out, HasSubstr("Café   CONF  2        0        15.4 kB\n"));
  EXPECT_THAT(run({"db", "--dir", "nowhere", "list", "--dir", directory}).out, HasSubstr("Café   CONF  2 "));
  const json schema = json::parse(run({"db", "schema", "sales", "--json"}).out);
  EXPECT_EQ(schema["table"], "SALES");
  EXPECT_EQ(schema["recordBytes"], json::parse(R"({"least":1,"most":5,"all":9})"));
  EXPECT_EQ(schema["created"], "2026-03-15 00:00:00");
  const std::string text = run({"db", "schema", "Café"}).out;
  for (const char* words :
       {"X, records of one length\n", "3 to 3 bytes, 3 on average\n", "creator                  TLLR\n"})
    EXPECT_THAT(text, HasSubstr(words));
}

TEST_F(Db, ChecksAndRepairs) {
  const Ran sound = run({"db", "check"});
  EXPECT_EQ(sound.status, 0);
  EXPECT_EQ(sound.out, "SALES: sound, 3 records\nCafé: sound, 2 records\n2 databases, 5 records, 46.1 kB: sound\n");
  damage();
  store("notes.txt", "buy paper");
  const Ran checked = run({"db", "check"});
  EXPECT_EQ(checked.status, 1);
  EXPECT_THAT(checked.out, HasSubstr("SALES, record 2: its header is empty; nothing can be read from the 13 bytes"));
  EXPECT_THAT(checked.out, HasSubstr("note: notes.txt: it belongs to no database\n"));
  EXPECT_THAT(checked.out, EndsWith("2 databases, 4 records, 46.1 kB: 1 problem, 1 record is lost\n"));
  EXPECT_THAT(checked.err, HasSubstr("next: end the program and run `tellira db check --repair`"));

  const std::string before = stored("SALES");
  EXPECT_EQ(run({"db", "check", "--repair"}).status, 2);
  EXPECT_EQ(stored("SALES"), before);
  const Ran repaired = run({"db", "check", "--repair", "--yes", "--json"});
  EXPECT_EQ(repaired.status, 1) << "a record was lost";
  const json report = json::parse(repaired.out);
  EXPECT_EQ(report["sound"], true);
  EXPECT_EQ(report["lost"], 1);
  EXPECT_EQ(report["problems"],
            json::parse(R"([{"file":"SALES","record":2,"problem":"its header is empty; nothing can be )"
                        R"(read from the 13 bytes up to the next sound record","repaired":true}])"));
  EXPECT_EQ(report["notes"][0]["record"], nullptr);
  EXPECT_EQ(readFile(report["copies"].get<std::string>() + "/SALES"), before);
  EXPECT_EQ(images::records(stored("SALES")), (std::vector<std::string>{"abc", "i"}));
  EXPECT_EQ(run({"db", "check", "--repair", "--yes"}).status, 0);
}

TEST_F(Db, AsksOnATerminal) {
  damage();
  const std::string before = stored("SALES");
  for (const char* answer : {"n\n", "\n", "yup\n"})
    EXPECT_THAT(seenOnTerminal({"db", "check", "--repair"}, answer), EndsWith("Nothing was changed.\r\n 1"));
  EXPECT_EQ(stored("SALES"), before);
  EXPECT_THAT(seenOnTerminal({"db", "check", "--repair"}, "Yes\n"), HasSubstr("Go on? [y/N]"));
  EXPECT_NE(stored("SALES"), before);
}
