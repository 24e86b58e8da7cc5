// `sale`: the script language and the payment dialogue, with the finished tool against the fake library, whose answer
// to a field that begins with a dash is that field alone: a result.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "run_tool.h"

using testing::HasSubstr;
using testing::Not;

class Sale : public ToolTest {
 protected:
  /// Runs a script given as text.
  Ran sale(const std::string& script) const { return fake("sale", {"-"}, script); }
};

TEST_F(Sale, RefusesAScriptAsAWholeBeforeTheFirstCommand) {
  // The line, what is said of it, and the column of the line at which the caret stands.
  const std::tuple<const char*, const char*, std::size_t> cases[] = {
      {"ECF_LeituraY", "there is no command \"ECF_LeituraY\"", 0},
      {"\tECF_VendeItem \"ação\" 2", "field 4 (text) is missing", 1},
      {"ECF_Registry_Path \"ação\" 2", "takes 1 field; this is one too many", 25},
      {"ECF_AbreConnectC x y", "is not a number", 17},
      {"ECF_Registry_Path \"abc", "never closed", 18},
      {"ECF_Registry_Path a\"b\"", "middle of a word", 19},
      {"ECF_Registry_Path \"a\"b", "blank is missing", 21},
      {"ECF_Registry_Path \"a\\q\"", "no such escape", 20},
      {"ECF_Registry_Path \"\\x01\"", "separate and close", 19},
      {"ECF_Registry_Path \"\\x4\"", "no such escape", 19},
      {"ECF_Registry_Path ${a", "never closed", 18},
      {"ECF_Registry_Path €", "ISO-8859-1", 18},
      {"ECF_Registry_Path $x", "no earlier line sets $x", 18},
      {"ECF_Registry_Path $today.nsu", "has no part \"nsu\"", 18},
      {"$x ECF_LeituraX", "cannot begin with a variable", 0},
      {"$now = ECF_LeituraX", "cannot be set", 0},
      {"$x = echo a", "no answer to keep", 5},
      {"$x =", "a command is missing", 0},
      {"try", "a command is missing", 0},
      {"if 1 = ECF_LeituraX", "if takes VALUE SIGN VALUE", 0},
      {"if $today > 0", "if takes VALUE SIGN VALUE", 0},
      {"$today = 1", "cannot be set", 0},
      {"tef 0 1", "2 were given", 0},
      {"answer yes", "behind the tef line", 0},
      {"expect", "expect takes one value", 0},
      {"expect 1 2", "expect takes one value", 0},
  };
  for (const auto& [line, words, caret] : cases) {
    const Ran ran = sale(std::string("ECF_LeituraX\n") + line + "\n");
    const std::string indent = line[0] == '\t' ? "\t" : std::string(caret, ' ');
    EXPECT_EQ(ran.status, 2) << line;
    for (const std::string& said : {std::string("standard input:2: "), std::string(words), "\n    " + indent + "^"}) {
      EXPECT_THAT(ran.err, HasSubstr(said)) << line;
    }
  }
  EXPECT_EQ(calls(), "");
  EXPECT_THAT(sale("tef 0 1 2 3 4 5\nanswer colour 1\n").err, HasSubstr("answer takes one of menu"));
  EXPECT_THAT(sale("tef 0 1 2 3 4 5\nanswer yes 1\n").err, HasSubstr("takes no value"));
  EXPECT_THAT(fake("sale", {"nowhere.tlr"}).err, HasSubstr("nowhere.tlr cannot be read"));
  EXPECT_EQ(sale(std::string(1 << 21, '#')).status, 2);
  for (const char* nothing : {"", "# only words\n\n"}) {
    EXPECT_EQ(sale(nothing).status, 2);
    EXPECT_THAT(sale(nothing).err, HasSubstr("holds no command"));
  }
  // A line in error is an error of that line alone: what it would have set or begun is there for the lines behind it.
  const Ran many = sale("$a = ECF_LeituraY\necho $a.1\ntef 0 $b\nanswer yes\nexpect 0\nECF_LeituraX 1\n");
  EXPECT_EQ(std::count(many.err.begin(), many.err.end(), '^'), 3) << many.err;
  for (const char* place : {"input:1: ", "input:3: ", "input:6: "}) EXPECT_THAT(many.err, HasSubstr(place));
}

TEST_F(Sale, KeepsAnswersAndFillsThemIn) {
  const Ran ran = sale(
      "\xEF\xBB\xBF# begin\r\n$a = ECF_NumeroCupom \"x ç\"\r\necho \"<$a> <$a.1>\" ${a.1}y\r\n"
      "ECF_Registry_Path \"$a.1!\" # end\r\n");
  EXPECT_EQ(ran.status, 0) << ran.err;
  EXPECT_THAT(ran.out, HasSubstr("<1> <x ç> x çy\n"));
  EXPECT_EQ(calls(), "ECF_NumeroCupom|x \xE7\nECF_Registry_Path|x \xE7!\n");
  EXPECT_THAT(sale("$a = ECF_LeituraX\necho $a.1\n").err, HasSubstr("standard input:2: $a.1 is not there"));
  EXPECT_EQ(sale("$a = ECF_Registry_Path x\nECF_AbreConnectC $a.1 y\n").status, 2);
}

TEST_F(Sale, StopsAtRefusalsAndUnmetExpectations) {
  const std::pair<const char*, int> cases[] = {
      {"ECF_Registry_Path -1", 1},
      {"try ECF_Registry_Path -1", 0},
      {"try $a = ECF_Registry_Path -1\necho $a", 0},
      {"ECF_Registry_Path -1\nexpect <0", 0},
      {"ECF_Registry_Path -1\nexpect < 0\nexpect -1", 0},
      {"ECF_Registry_Path -1\nexpect >= 0", 1},
      {"ECF_Registry_Path x\nexpect 1", 0},
      {"ECF_Registry_Path x\nexpect 01.0", 0},
      {"ECF_Registry_Path x\nexpect !=1", 1},
      {"ECF_Registry_Path x\nexpect \"x\"", 1},
      {"$a = ECF_Registry_Path x\nECF_LeituraX\nexpect $a", 0},
      {"try ECF_Registry_Path !exit7", 3},
      {"$a = ECF_Registry_Path x\nif $a.1 = y ECF_Registry_Path -1\nexpect 1", 0},
      {"if $today > 0 try ECF_Registry_Path -1\nif 9 < 10 ECF_Registry_Path -1", 1},
      // A text that looks like a negative number is no refusal where no result is answered.
      {"FinalizaTransacaoSiTefInterativo -1 a b c", 0},
  };
  for (const auto& [script, status] : cases) {
    const Ran ran = sale(std::string(script) + "\nECF_LeituraX\n");
    EXPECT_EQ(ran.status, status) << script << "\n" << ran.err;
    EXPECT_EQ(ran.out.find("ECF_LeituraX\n  = 1\n", 10) != std::string::npos, status == 0) << script;
    EXPECT_EQ(ran.err.find("standard input:") != std::string::npos, status != 0) << script;
  }
}

TEST_F(Sale, ShowsNewPaperAndWritesThePage) {
  writeFile(directory / "ecf-tape.txt", "old paper\n");
  writeFile(directory / "print.tlr", "ECF_Registry_Path \"!paper <b>4000000000000010\"\nECF_Registry_Path -3\n");
  const Ran ran = fake("sale", {"--tape", "page.html", "print.tlr"});
  EXPECT_EQ(ran.status, 1);
  EXPECT_THAT(ran.out, HasSubstr("│ Caf\xC3\xA9 & <p\xC3\xA3o> 400000******0010\n"));
  const std::string page = readFile(directory / "page.html");
  EXPECT_THAT(page, HasSubstr("Café &amp; &lt;pão&gt; 400000******0010\n"));
  EXPECT_THAT(page, HasSubstr("print.tlr:2: the device refused"));
  for (const std::string& shown : {ran.out, ran.err, page}) {
    EXPECT_THAT(shown, Not(HasSubstr("4000000000000010")));
    EXPECT_THAT(shown, Not(HasSubstr("old paper")));
  }
  const Ran json = fake("sale", {"--json", "print.tlr"});
  const auto run = nlohmann::json::parse(json.out);
  EXPECT_EQ(run["done"], false);
  EXPECT_EQ(run["steps"][0]["paper"][0], "Café & <pão> 400000******0010");
  EXPECT_EQ(run["steps"][1]["answer"], nlohmann::json({"-3"}));
  EXPECT_EQ(fake("sale", {"--tape", "no/page.html", "print.tlr"}).status, 2);
  const Ran full = fake("sale", {"--tape", "/dev/full", "-"}, "ECF_LeituraX\n");
  EXPECT_EQ(full.status, 3);
  EXPECT_THAT(full.err, HasSubstr("the sale was carried out, but the page /dev/full cannot be written"));
}

class Dialogue : public Sale {
 protected:
  /// Runs a dialogue whose terminal plays `turns`: fields separated by '|', '~' a line end inside one.
  Ran dialogue(const std::string& turns, const std::string& replies) const {
    writeFile(directory / "dialogue.txt", turns);
    std::filesystem::remove(directory / "calls.txt");
    return sale("tef 0 10,00 000123 20260315 120000 ANA\n" + replies + "echo end $tef\n");
  }
};

TEST_F(Dialogue, GivesBackWhatItWasToldWithTheReplies) {
  const Ran ran = dialogue(
      "10000|3|0|0|0|Passe o cart\xE3o\n10000|21|1|1|2|1:A vista;2:Parcelado;\n10000|30|512|13|19|Cartao\n"
      "10000|30|514|1|2|Parcelas\n10000|20|0|0|0|Confirma?\n10000|0|12|0|0|000777\n10000|22|0|0|0|Retire\n"
      "10000|0|10|0|0|LOJA~4000000000000010\n10000|0|99|0|0|more\n0|0|0|0|0|\n",
      " answer menu parcelado\n answer card 4000000000000010\n answer instalments 3\n answer yes\n"
      "ECF_Registry_Path \"$tef.nsu $tef.result $tef.type99 $tef.customer\"\n");
  EXPECT_EQ(ran.status, 0) << ran.err;
  EXPECT_THAT(ran.out, HasSubstr("both: Passe o cartão\n"));
  EXPECT_THAT(ran.out, HasSubstr("end 0\n"));
  EXPECT_THAT(ran.out + ran.err, Not(HasSubstr("4000000000000010")));
  const std::string c = "ContinuaFuncaoSiTefInterativo|";
  for (const std::string& call :
       {c + "0|0|0|0||20000|0\n", c + "21|1|1|2|2|20000|0\n", c + "30|512|13|19|4000000000000010|20000|0\n",
        c + "20|0|0|0|0|20000|0\n", std::string("ECF_Registry_Path|000777 0 more LOJA\n4000000000000010\n")}) {
    EXPECT_THAT(calls(), HasSubstr(call));
  }
}

TEST_F(Dialogue, EndsInAClearWay) {
  // What the terminal plays, the replies, the exit status, and what the tool prints.
  std::string endless;
  for (int i = 0; i < 1100; ++i) endless += "10000|13|0|0|0|\n";
  const std::tuple<std::string, const char*, int, const char*> cases[] = {
      {"10000|30|512|13|19|Cartao:\n", "", 1, "asks for the card number (\"Cartao:\"), and no answer line is left"},
      {"10000|34|515|1|9|Valor\n", "answer card 1\n", 1,
       "asks for an amount (\"Valor\"), but this line answers \"card\""},
      {"10000|30|512|13|19|Cartao\n-2|0|0|0|0|\n", "cancel\nexpect -2\n", 0, "» cancel"},
      {"-5|0|0|0|0|\n", "", 1, "the device refused: it answered -5"},
      {"0|0|0|0|0|\n", "answer yes\n", 0, "line 2 was not used"},
      {"0|0\n", "", 3, "too few fields"},
      {endless, "", 3, "1000 steps"},
  };
  for (const auto& [turns, replies, status, words] : cases) {
    const Ran ran = dialogue(turns, replies);
    EXPECT_EQ(ran.status, status) << turns.substr(0, 99) << ran.err;
    EXPECT_THAT(ran.out + ran.err, HasSubstr(words)) << turns.substr(0, 99);
  }
  EXPECT_THAT(calls(), Not(HasSubstr("ECF")));
}

TEST_F(Dialogue, CancelAndBackAreFlags) {
  dialogue("10000|30|513|4|4|Validade\n10000|30|512|13|19|Cartao\n-2|0|0|0|0|\n", "back\ncancel\nexpect <0\n");
  EXPECT_THAT(calls(), HasSubstr("513|4|4||20000|1\n"));
  EXPECT_THAT(calls(), HasSubstr("19||20000|-1\n"));
}

TEST_F(Dialogue, TellsWhatIsOpenAtAnEarlyEnd) {
  // What follows the approved payment, the signal that comes while it waits, the exit status.
  const std::tuple<const char*, int, int> cases[] = {{"ECF_Registry_Path !hang", SIGINT, 3},
                                                     {"ECF_Registry_Path !hang", SIGTERM, 3},
                                                     {"ECF_Registry_Path !exit7", 0, 3},
                                                     {"ECF_Registry_Path -1", 0, 1}};
  for (const auto& [line, number, status] : cases) {
    writeFile(directory / "dialogue.txt", "10000|0|12|0|0|000777\n0|0|0|0|0|\n");
    writeFile(directory / "page.html", "the page of an earlier sale");
    std::filesystem::remove(directory / "calls.txt");
    const pid_t child = start({"sale", "--lib", FAKE_LIBRARY, "--json", "--tape", "page.html", "-"},
                              std::string("ECF_AbreRelatorioGerencial\nECF_FechaRelatorioGerencial\nECF_AbreCupom x\n"
                                          "tef 0 10,00 000123 20260315 120000 ANA\n") +
                                  line + "\n");
    while (number != 0 && calls().find("!hang") == std::string::npos) usleep(10000);
    if (number != 0) kill(-child, number);                       // as Ctrl-C does: to the library's process as well
    if (number == SIGTERM) usleep(50000), kill(-child, number);  // somebody is impatient
    const Ran ran = ended(child);
    EXPECT_EQ(ran.status, status) << line << ran.err;
    EXPECT_THAT(ran.err, HasSubstr("open: the coupon of line 3; `ECF_CancelaCupom` ends it.\n  open: the payment of "
                                   "line 4, NSU 000777; `FinalizaTransacaoSiTefInterativo 1 000123 20260315 120000` "
                                   "confirms it, `FinalizaTransacaoSiTefInterativo 0 000123"));
    EXPECT_THAT(readFile(directory / "page.html"), HasSubstr("NSU 000777"));
    const auto json = nlohmann::json::parse(ran.out);
    EXPECT_EQ(json["open"].size(), 2U);
    EXPECT_EQ(json["open"][1]["nsu"], "000777");
    EXPECT_EQ(json["error"]["cause"].is_string(), true);
  }
  dialogue("10000|0|12|0|0|000777\n-2|0|0|0|0|\n", "expect -2\nECF_AbreCupom x\nECF_CancelaCupom\n");
  EXPECT_THAT(sale("ECF_AbreCupom -1\n").err, Not(HasSubstr("open:")));
}

TEST_F(Sale, TellsWhatIsOpenWhenItsOutputIsLost) {
  writeFile(directory / "sale.tlr", "ECF_AbreCupom x\n");
  const std::string call = "cd " + directory.string() + "; timeout 20 " TOOL " sale --lib " FAKE_LIBRARY " sale.tlr";
  const int status = std::system((call + " <&- >&- 2>&-").c_str());
  EXPECT_EQ(WEXITSTATUS(status), 3) << "what it prints cannot be written; it must not reach the library's process";
  for (const char* output :
       {"; } >/dev/full", "--json; } >/dev/full", "--tape /dev/full; } >/dev/null", "--tape -; } | :"}) {
    std::ignore =
        std::system(("exec 2>" + (directory / "told").string() + "; { sleep 0.1; " + call + " " + output).c_str());
    EXPECT_THAT(readFile(directory / "told"), HasSubstr("open: the coupon of line 1; `ECF_CancelaCupom` ends it.\n"))
        << output;
  }
}
