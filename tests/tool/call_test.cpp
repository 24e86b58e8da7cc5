// `call`, `commands` and the command line itself, with the finished tool against a library that does what it is told.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "run_tool.h"

using testing::HasSubstr;
using testing::Not;

using Call = ToolTest;

TEST_F(Call, AnswersAsTextAndAsJson) {
  const Ran text = fake("call", {"ECF_NumeroCupom", "não"});
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_EQ(text.out, "result   1\nfield 2  não\n");
  const Ran json = fake("call", {"--json", "ECF_NumeroCupom", "não"});
  EXPECT_EQ(nlohmann::json::parse(json.out),
            nlohmann::json(
                {{"command", "ECF_NumeroCupom"}, {"returned", 1}, {"fields", {"1", "não"}}, {"output", "MQFu428A"}}));
  EXPECT_EQ(fake("call", {"--cmd", "999"}).out, "3.4.1.3\n");
  EXPECT_THAT(fake("call", {"--plain", "--json", "ECF_NumeroCupom", "a"}).out, HasSubstr("\"1\\u0001a\""));
}

TEST_F(Call, PassesFieldsAsTheyWereTyped) {
  for (const std::string field : {"[a,b]", "-5", "sale", "", "a b", "{}", "\"q\""}) {
    const Ran ran = fake("call", {"ECF_Registry_Path", field});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(calls(), testing::EndsWith("ECF_Registry_Path|" + field + "\n"));
  }
  const std::vector<std::string> right[] = {
      {" ecf_numerocupom ", ""}, {"ECF_AbreConnectC", "-5", ""}, {"ECF_AbreConnectC", " 1,5 ", ""}};
  for (const auto& arguments : right) EXPECT_EQ(fake("call", arguments).status, 0) << arguments[0] << arguments[1];
}

TEST_F(Call, RefusesWrongUsageBeforeCalling) {
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"ECF_LeituraY"}, "near to it: ECF_LeituraX"},
      {{"ECF_VendeItem", "1"}, "field 3 (text) is missing"},
      {{"ECF_NumeroCupom"}, "field 2 (text, filled in by the device) is missing"},
      {{"ContinuaFuncaoSiTefInterativo", "0", "0", "0", "0", "", "x"}, "field 8 (number) is missing"},
      {{"ContinuaFuncaoSiTefInterativo", "0", "0", "0", "0", ""}, "field 7 (not used) is missing"},
      {{"ContinuaFuncaoSiTefInterativo", "0", "0", "40000", "0", "", "x", "0"}, "is outside -32768 to 32767"},
      {{"ECF_AbreConnectC", "x", "y"}, "\"x\", is not a number"},
      {{"ECF_AbreConnectC", "", ""}, "is empty where a number must stand"},
      {{"ECF_AbreConnectC", "1e3", ""}, "is not a number"},
      {{"ECF_AbreConnectC", "nan", ""}, "is not a number"},
      {{"ECF_AbreConnectC", "5-3", ""}, "is not a number"},
      {{"ECF_AbreConnectC", "99999999999", ""}, "is outside"},
      {{"ECF_Registry_Path", "a€"}, "'€' does not exist in ISO-8859-1"},
      {{"ECF_Registry_Path", "a\xFF"}, "is not UTF-8"},
      {{"ECF_Registry_Path", "a\x01"}, "0x01"},
      {{}, "no command was named"},
      {{"--out", "16777217", "ECF_LeituraX"}, "--out"},
      {{"--out", "-1", "ECF_LeituraX"}, "--out"},
      {{"--timeout", "0", "ECF_LeituraX"}, "--timeout"},
      {{"--wrong", "ECF_LeituraX"}, "no option \"--wrong\".\n  A word that begins with a dash"},
      {{"--timeot=3", "ECF_LeituraX"}, "no option \"--timeot\".\n  near to it: --timeout\n"},
  };
  for (const auto& [arguments, words] : cases) {
    const Ran ran = fake("call", arguments);
    EXPECT_EQ(ran.status, 2) << words;
    EXPECT_EQ(ran.out, "");
    EXPECT_THAT(ran.err, HasSubstr(words));
  }
  EXPECT_EQ(calls(), "");
}

TEST_F(Call, ExplainsHowTheProcessEnded) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"!dll",
       {"| DLL ./libconvecf.so não encontrada", "| RunTimeError = 133", "/libconvecf.so does not exist", "--cwd"}},
      {"!function", {"Function <ECF_Registry_Path> not found", "/libconvecf.so has no function ECF_Registry_Path"}},
      {"!argument", {"RunTimeError = -1", "an argument it could not use"}},
      {"!catch", {"SAIU PELO CATCH", "exception"}},
      {"!exit7", {"exit status 7", "without saying why"}},
      {"!silent", {"exit status 0", "without saying why"}},
      {"!crash", {"signal 11"}},
      {"!stop", {"Library TELLIRA", "exit status 1", "there is no command"}},
  };
  for (const auto& [what, words] : cases) {
    const Ran ran = fake("call", {"--json", "ECF_Registry_Path", what});
    EXPECT_EQ(ran.status, 3) << what;
    EXPECT_TRUE(nlohmann::json::parse(ran.out)["error"]["next"].is_string()) << what;
    for (const std::string& word : words) EXPECT_THAT(ran.err, HasSubstr(word)) << what;
  }
  const Ran missing = fake("call", {"--unchecked", "ECF_VendeItem", "!argument"});
  EXPECT_THAT(missing.err, HasSubstr("field 3 (text) is missing"));
}

TEST_F(Call, StopsWaitingAndSaysForWhat) {
  const Ran ran = fake("call", {"--timeout", "1", "ECF_Registry_Path", "!hang"});
  EXPECT_EQ(ran.status, 3);
  EXPECT_THAT(ran.err, HasSubstr("ECF_Registry_Path: no answer within 1 second from " FAKE_LIBRARY));
  EXPECT_THAT(ran.err, HasSubstr("the command may have been carried out all the same"));
}

TEST_F(Call, SaysWhyALibraryCannotBeLoaded) {
  writeFile(directory / "text.so", "this is a text, no library at all");
  // The head of a library alone, of the other word size, and of another processor.
  const std::string head = readFile(FAKE_LIBRARY).substr(0, 64);
  std::string other = head, foreign = head;
  other[4] ^= 3;
  foreign[18] = 8;
  writeFile(directory / "cut.so", head);
  writeFile(directory / "other.so", other);
  writeFile(directory / "foreign.so", foreign);
  const std::pair<const char*, const char*> cases[] = {{"nowhere.so", "/nowhere.so does not exist"},
                                                       {"text.so", "is not a shared library"},
                                                       {"other.so", "same word size"},
                                                       {"foreign.so", "another processor (ELF machine 8)"},
                                                       {"cut.so", "cut.so"},
                                                       {".", "is not a file"}};
  for (const auto& [file, words] : cases) {
    const Ran ran = run({"call", "--lib", file, "ECF_LeituraX"});
    EXPECT_EQ(ran.status, 3) << file;
    EXPECT_THAT(ran.err, HasSubstr(words)) << file;
  }
  EXPECT_THAT(run({"call", "ECF_LeituraX", "--cwd", "nowhere", "--lib", FAKE_LIBRARY}).err,
              HasSubstr("nowhere cannot be entered"));
}

TEST_F(Call, BoundsWhatTheLibrarySays) {
  const Ran flood = fake("call", {"ECF_Registry_Path", "!flood"});
  EXPECT_EQ(flood.status, 0);
  EXPECT_THAT(flood.err, HasSubstr("word 0\n"));
  EXPECT_LT(flood.err.size(), 200000U);
  const Ran cut = fake("call", {"--out", "100", "ECF_Registry_Path", "!long"});
  EXPECT_EQ(cut.status, 0);
  EXPECT_THAT(cut.err, HasSubstr("filled all 100 bytes"));
  EXPECT_EQ(fake("call", {"--out", "16777216", "ECF_Registry_Path", "!long"}).out.size(),
            200001 + strlen("result  \n"));
  EXPECT_EQ(fake("call", {"--out", "0", "ECF_LeituraX"}).status, 0);
}

TEST_F(Call, MasksCardNumbersInEverything) {
  const std::string card = "4000000000000010";
  for (const std::string& arguments :
       {"ECF_Registry_Path " + card, "--json ECF_Registry_Path " + card, "--plain --json ECF_Registry_Path " + card,
        card, "ECF_AbreConnectC " + card + "  ", std::string("ECF_Registry_Path !print"),
        "--cwd " + card + " ECF_LeituraX", "--unchecked " + card}) {
    const Ran ran = fake("call", split(arguments, ' '));
    EXPECT_THAT(ran.out + ran.err, Not(HasSubstr(card))) << arguments;
    EXPECT_THAT(ran.out + ran.err, Not(HasSubstr("4000 0000 0000 0010"))) << arguments;
    EXPECT_THAT(ran.out, Not(HasSubstr("NDAwMDAwMDAwMDAwMDAxM"))) << "encoded " << arguments;
  }
}

TEST_F(Call, ListsCommands) {
  const auto all = nlohmann::json::parse(run({"commands", "--json"}).out);
  ASSERT_EQ(all.size(), 344U);
  EXPECT_EQ(all[0]["name"], "ConfiguraIntSiTefInterativo");
  EXPECT_EQ(all[4]["function"], "EnviaRecebeSiTefDireto");
  const Ran one = run({"commands", "numerocupom"});
  EXPECT_EQ(one.status, 0);
  EXPECT_THAT(one.out, HasSubstr("ECF_NumeroCupom"));
  EXPECT_EQ(std::count(one.out.begin(), one.out.end(), '\n'), 3);
  const Ran exact = run({"commands", "ecf_cancelacupom"});
  EXPECT_THAT(exact.out, testing::StartsWith("ECF_CancelaCupom\n"));
  EXPECT_THAT(exact.out, Not(HasSubstr("ECF_CancelaCupomMFD")));
  EXPECT_THAT(run({"commands", "ECF_EfetuaFormaPagamento"}).out, HasSubstr("Field 3          amount: text\n"));
  EXPECT_EQ(nlohmann::json::parse(run({"commands", "--json", "ECF_COO"}).out)[0]["arguments"][0]["name"],
            "first coupon of the day");
  const Ran none = run({"commands", "--json", "nothing"});
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.out, "[]\n");
}

TEST_F(Call, ExplainsItselfOnEveryLevel) {
  EXPECT_THAT(run({"--version"}).out, testing::MatchesRegex("tellira [0-9.]+\n"));
  for (const char* arguments : {"--help", "call --help", "commands --help", "sale --help"}) {
    const Ran ran = run(split(arguments, ' '));
    EXPECT_TRUE(ran.status == 0 && ran.out.find("Examples") != std::string::npos) << arguments << ran.out;
  }
  EXPECT_EQ(run({"help", "db", "list"}).out, run({"db", "list", "--help"}).out);
  EXPECT_EQ(run({"help"}).out, run({"--help"}).out);
  EXPECT_EQ(run({"-V"}).out, run({"--version"}).out);
  EXPECT_EQ(run({"help", "sell"}).status, 2);
  const Ran wrong = run({"sell", "--json"});
  EXPECT_EQ(wrong.status, 2);
  EXPECT_THAT(wrong.err,
              HasSubstr("there is no verb \"sell\"; the verbs are call, commands, sale, db, sync, synchost, help.\n"));
  EXPECT_EQ(nlohmann::json::parse(wrong.out)["error"]["cause"], "near to it: call, sale");
  EXPECT_EQ(run({}).status, 2);
  EXPECT_THAT(run({"--jsn", "commands"}).err, HasSubstr("near to it: --json\n  next: `tellira commands --help`"));
  EXPECT_THAT(run({"db", "--json", "list"}).err, HasSubstr("tellira db list has it, behind the verb"));
}

TEST_F(Call, WritesToATerminalWhatFitsOnIt) {
  const auto seen = [&](const char* kind, const char* noColour, const std::vector<std::string>& arguments) {
    setenv("TERM", kind, 1);
    setenv("NO_COLOR", noColour, 1);
    return seenOnTerminal(arguments, "", 30);
  };
  EXPECT_THAT(seen("xterm", "", {"commands", "ECF_LeituraX"}), HasSubstr("\033[1m"));
  EXPECT_THAT(seen("xterm", "1", {"commands", "ECF_LeituraX"}), Not(HasSubstr("\033")));
  EXPECT_EQ(seen("dumb", "", {"commands", "MFDTEF"}),
            "No   Command                 …\r\n127  ECF_UsaRelatorioGerencia…\r\n 0");
  const std::string waited =
      seen("dumb", "", {"call", "--lib", FAKE_LIBRARY, "--timeout", "2", "ECF_Registry_Path", "!hang"});
  EXPECT_THAT(waited, HasSubstr("\r1 s, waiting for ECF_Registr…\r"));
  EXPECT_THAT(waited, Not(HasSubstr("\033")));
  EXPECT_THAT(run({"commands", "ECF_LeituraX"}).out, Not(HasSubstr("\033")));
}
