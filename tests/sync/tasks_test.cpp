// The host's tasks: what each does, and what each failure leaves in the data directory.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "storage/databases/tempdb.h"
#include "storage/files/mapped_file.h"
#include "storage/files/system.h"
#include "sync/compression.h"
#include "sync/host_tables.h"
#include "sync/line_fixture.h"
#include "sync/missing_records.h"
#include "sync/tasks.h"
#include "sync/wire.h"

namespace {

using namespace std::string_literals;
using vorne::FindTemporary;

class Tasks : public LineTest {
 protected:
  int execute(const std::string& reply) {
    host->reply(reply);
    return TaskExecute(1, kSocket);
  }
  static std::string receiveTask(const std::string& table, int count, char type = 'P') {
    std::string task = "\x0D\x01\0"s + table + '\0';
    for (int i = 0; i < 4; ++i) task += static_cast<char>(count >> 8 * i);
    return task + type;
  }
  static std::string packet(const std::string& content, std::uint16_t records = 1) {
    const std::vector<char> stream = vorne::Deflate(content);
    const auto body = vorne::MakeReceived({0, records, static_cast<std::uint16_t>(content.size()), stream});
    return std::string(body.begin() + 2, body.end());
  }
  static std::vector<std::string> records(const char* owner, char kind) {
    std::vector<std::string> all;
    const DmOpenRef db = FindTemporary(owner, kind);
    if (db == nullptr) return {"none"};
    for (UInt32 i = 0; i < DmNumRecords(db); ++i) {
      const auto bytes = vorne::RecordBytes(db, i);
      all.emplace_back(bytes.begin(), bytes.end());
    }
    DmCloseDatabase(db);
    return all;
  }
  const std::string end = "\x0B\x00"s;
};

TEST_F(Tasks, AreCountedByTheirDigits) {
  for (const auto& [reply, count] : {std::pair{"\x0D"
                                               "12\0"s,
                                               12},
                                     {"7\0"s, 7},
                                     {"x"s, 0},
                                     {""s, 0}}) {
    host->reply(reply);
    EXPECT_EQ(TaskCount(kSocket), count);
    EXPECT_EQ(netglb->errStatus, 0);
  }
  EXPECT_EQ(host->sent.substr(0, 6), "B\3\0\1\0\7"s);
  EXPECT_EQ(TaskCount(kSocket), 0);
  EXPECT_EQ(netglb->errStatus, 1117);
  host->sendsUntilBroken = 0;
  TaskCount(kSocket);
  EXPECT_EQ(netglb->errStatus, 1116);
}

TEST_F(Tasks, FailWithTheirCodes) {
  EXPECT_EQ(execute("\x0D\x1E\0NAME\0"s), 0);
  EXPECT_EQ(execute("\x0D\x0A\0app.prc\0"s), 0);
  EXPECT_EQ(execute("\x0C\x1E\0"s), 1118);
  EXPECT_NE(log().find("\\nTask = 2 OP=c"), std::string::npos);
  EXPECT_EQ(execute("\x0D\x63\0NAME\0"s), 1);
  EXPECT_EQ(netglb->errStatus, 1148);
  EXPECT_EQ(TaskExecute(1, kSocket), 1);
  EXPECT_EQ(netglb->errStatus, 1142);
  host->failingSends = 100;
  EXPECT_EQ(TaskExecute(1, kSocket), 1);
  EXPECT_EQ(netglb->errStatus, 1162);
  host->failingSends = 0;
  bRestart = 1;
  EXPECT_EQ(execute("\x0D\x02\0T\0"s), 9999);
  EXPECT_EQ(execute("\x0D\x1E\0NAME\0"s), 0);
  bRestart = 0;
}

TEST_F(Tasks, ATableIsKeptInPacketsUntilItIsWhole) {
  host->reply(receiveTask("ITEMS", 3)).reply(packet("first", 2)).reply(packet("second")).reply(end);
  EXPECT_EQ(TaskExecute(1, kSocket), 0);
  EXPECT_EQ(host->sent,
            "B\5\0\1\0\x08"
            "1\0B\3\0\1\0\x0B"s);
  std::vector<std::string> kept = records("ITEMS", 'P');
  ASSERT_EQ(kept.size(), 3u);
  EXPECT_EQ(kept[0],
            "P\0"
            "1\0"
            "000003\0"s);
  EXPECT_EQ(kept[1].substr(2), packet("first", 2));
  EXPECT_EQ(records("FromHH", 'L'), std::vector{"ITEMS\0"s});
  EXPECT_NE(log().find("Recebendo ITEMS/00003 reg(s)\nRegistro(s) recebido(s): 3 \n"), std::string::npos);
  // More of it comes behind what is there, the name stays once in the list, and no task asks for nothing.
  host->reply(receiveTask("ITEMS", 1)).reply(packet("third")).reply(end);
  EXPECT_EQ(TaskExecute(1, kSocket), 0);
  EXPECT_EQ(records("ITEMS", 'P').size(), 4u);
  EXPECT_EQ(records("FromHH", 'L').size(), 1u);
  EXPECT_EQ(execute(receiveTask("OTHER", 0)), 0);
  EXPECT_EQ(records("OTHER", 'P'), std::vector{"none"s});
}

TEST_F(Tasks, AWholeTableThatIsCompleteIsNotAskedForAgain) {
  host->reply(receiveTask("T", 1, 'T')).reply(packet("row"));
  EXPECT_EQ(TaskExecute(1, kSocket), 12);
  EXPECT_EQ(netglb->errStatus, 1173);
  EXPECT_EQ(records("T", 'P')[0].substr(0, 3),
            "T\0"
            "0"s);
  host->reply(receiveTask("T", 1, 'T')).reply(packet("new")).reply(end);
  EXPECT_EQ(TaskExecute(1, kSocket), 0);
  EXPECT_EQ(records("T", 'P').size(), 2u);
  host->sent.clear();
  EXPECT_EQ(execute(receiveTask("T", 1, 'T')), 0);
  EXPECT_EQ(host->sent,
            "B\5\0\1\0\x08"
            "1\0"s);
}

TEST_F(Tasks, WhatWasInterruptedDoesNotArriveTwice) {
  host->reply(receiveTask("T", 3)).reply(packet("a")).reply(packet("b"));
  EXPECT_EQ(TaskExecute(1, kSocket), 12);
  host->reply(receiveTask("T", 3)).reply(packet("a")).reply(packet("b")).reply(packet("b")).reply(end);
  EXPECT_EQ(TaskExecute(1, kSocket), 0);
  EXPECT_EQ(records("T", 'P').size(), 4u);
  // What was whole is so no longer while more of it is under way.
  host->reply(receiveTask("T", 1)).reply(packet("c"));
  EXPECT_EQ(TaskExecute(1, kSocket), 12);
  EXPECT_EQ(records("T", 'P')[0].substr(0, 3), "P\0000"s);
  // With a key the one that was sent last is the newest.
  __VerifyNgGlb();
  ::host::receiveCatalogue({{"K", "CODE:C:4", "BYK=CODE"}});
  ReadFromHH();
  for (const char* value : {"a", "b"}) {
    host->reply(receiveTask("K", 1)).reply(packet(value));
    EXPECT_EQ(TaskExecute(1, kSocket), 12);
  }
  host->reply(receiveTask("K", 1)).reply(packet("a")).reply(end);
  EXPECT_EQ(TaskExecute(1, kSocket), 0);
  EXPECT_EQ(records("K", 'P').size(), 4u);
  EXPECT_EQ(records("K", 'P')[1], records("K", 'P')[3]);
}

// Interrupted so often that the packets fill the largest file.
TEST_F(Tasks, AFullFileOfPacketsBeginsAnew) {
  host->reply(receiveTask("T", 3)).reply(packet("old"));
  EXPECT_EQ(TaskExecute(1, kSocket), 12);
  const DmOpenRef db = FindTemporary("T", 'P');
  for (const std::size_t size : {65000u, 9u})
    while (vorne::EnsureRoom(db->hFile, static_cast<long>(size + 8))) vorne::AppendRecord(db, std::string(size, 'x'));
  DmCloseDatabase(db);
  host->reply(receiveTask("T", 3)).reply(packet("old")).reply(packet("new"));
  EXPECT_EQ(TaskExecute(1, kSocket), 1074);
  EXPECT_NE(log().find("Erro gravando registro\n"), std::string::npos);
  EXPECT_NE(log().find("T.tPda: File too large ("), std::string::npos);
  EXPECT_EQ(vorne::MissingTable(), "T");
  host->reply(receiveTask("T", 3)).reply(packet("new")).reply(end);
  EXPECT_EQ(TaskExecute(1, kSocket), 0);
  EXPECT_EQ(records("T", 'P').size(), 2u);
}

TEST_F(Tasks, ReceptionEndsOnWhatItDoesNotKnow) {
  std::string tooLong = packet("x"), tooShort = tooLong, behind = tooLong;
  tooLong[2] = 0x2E, tooLong[3] = static_cast<char>(0xE1);
  tooShort[2] = 0, tooShort[3] = 9;
  behind[3] = static_cast<char>(behind[3] + 1);
  const struct {
    std::string reply;
    int result, status;
  } kCases[] = {{tooLong, 1074, 1074}, {tooShort, 1074, 1074},
                {behind, 1074, 1074},  {"\xFF\0no \x1B[2Jmore\n\xE3\x7F"s, 1074, 1074},
                {"\x0D\x0E"s, 0, 0},   {"\x0C\x0D"s, 0, 0},
                {"\x0C\x11"s, 0, 0},   {"\x0C"s, 12, 1173},
                {""s, 12, 1173}};
  for (const auto& [reply, result, status] : kCases) {
    vorne::DeleteTemporary("T", 'P');
    host->reply(receiveTask("T", 1)).reply(reply);
    EXPECT_EQ(TaskExecute(1, kSocket), result) << reply;
    EXPECT_EQ(netglb->errStatus, status) << reply;
  }
  EXPECT_NE(log().find("Erro de transmiss\xE3o\\ntam_write=12001"), std::string::npos);
  EXPECT_NE(log().find("Erro de transmiss\xE3o\\nno ?[2Jmore?\xE3?\n"), std::string::npos);
  for (const char* name : {"", "../x", "a/b", "catalog.plm", "."}) EXPECT_NE(execute(receiveTask(name, 1)), -1);
  EXPECT_FALSE(std::filesystem::exists("x.tPda"));
}

TEST_F(Tasks, SendingEndsWithTheHostsAcknowledgement) {
  const auto prepare = [](int packets) {
    const DmOpenRef db = vorne::OpenTemporary("T", 'H', vorne::IfExists::Replace);
    const std::string content = "\0\4abc!"s;
    const auto body = vorne::MakeSent({false, 6, 1, content});
    for (int i = 0; i < packets; ++i) vorne::AppendRecord(db, body);
    DmCloseDatabase(db);
  };
  const std::string task = "\x0D\x02\0T\0"s;
  EXPECT_EQ(execute(task), 0);
  prepare(0);
  EXPECT_EQ(execute(task), 0);
  EXPECT_EQ(records("T", 'H'), std::vector{"none"s});
  prepare(2);
  host->reply(task).reply("\x0D").reply("\x0C");
  EXPECT_EQ(TaskExecute(1, kSocket), 6);
  EXPECT_EQ(netglb->errStatus, 1139);
  EXPECT_EQ(execute(task), 12);
  EXPECT_EQ(netglb->errStatus, 1138);
  EXPECT_EQ(records("T", 'H').size(), 2u);
  host->reply(task).reply("\x0D").reply("\x0D");
  EXPECT_EQ(TaskExecute(1, kSocket), 0);
  EXPECT_TRUE(records("T", 'H').empty());
}

TEST_F(Tasks, ImagesStayInTheWorkingDirectory) {
  const auto image = [](const std::string& name, const std::string& data, int more = 0) {
    const auto size = data.size() + static_cast<std::size_t>(more);
    return "\x0D\0"s + name + '\0' + static_cast<char>(size & 0xFF) + static_cast<char>(size >> 8) + data;
  };
  const std::string task = "\x0D\x28\x10P"s;
  host->reply(task).reply("\x0D\x11"s);
  EXPECT_EQ(TaskExecute(1, kSocket), 0);
  EXPECT_NE(log().find("Imagens(s) recebido(s): 0 Tamanho : 0 Kb."), std::string::npos);
  host->reply(task).reply(image("a.bmp", "old picture")).reply(image("a.bmp", std::string(3000, 'p')));
  host->reply(image("../b.bmp", "x")).reply(image("l.so", "x")).reply(image("empty", "")).reply(image("dir", "x"));
  host->reply("\x0D\x11"s);
  std::filesystem::create_directory("dir");
  EXPECT_EQ(TaskExecute(1, kSocket), 0);
  EXPECT_NE(log().find("Imagem ignorada: dir\nImagens(s) recebido(s): 3 "), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(".dir.new"));
  EXPECT_EQ(readFile("a.bmp"), std::string(3000, 'p'));
  EXPECT_EQ(readFile("empty"), "");
  EXPECT_TRUE(std::filesystem::exists("empty"));
  EXPECT_FALSE(std::filesystem::exists("../b.bmp"));
  EXPECT_FALSE(std::filesystem::exists("l.so"));
  // What may work the next time is no image that was received.
  const auto system = vorne::fileSystem;
  vorne::fileSystem.rename = [](const char*, const char*) { return errno = EIO, -1; };
  host->reply(task).reply(image("a.bmp", "new"));
  EXPECT_EQ(TaskExecute(1, kSocket), 1074);
  vorne::fileSystem = system;
  EXPECT_NE(log().find("a.bmp: Input/output error"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(".a.bmp.new"));
  host->reply(task).reply(image("c.bmp", "x", 1));
  EXPECT_EQ(TaskExecute(1, kSocket), 12);
  EXPECT_FALSE(std::filesystem::exists("c.bmp"));
  host->reply(task).reply("\xFF\0no paper"s);
  EXPECT_EQ(TaskExecute(1, kSocket), 1074);
}

TEST_F(Tasks, AnInstallIsStagedBesideItsPlace) {
  const auto frame = [this](const std::string& body) {
    host->reply(body);
    EXPECT_EQ(ReadSock(netglb->m_buffer, kSocket), 1);
  };
  char component[32] = "x\\app.prc", installer[32] = "x\\SelfInst.exe", full[10] = "x\\app.prc";
  frame("5\0"s);
  EXPECT_EQ(DoInstallsStart(component, sizeof component), 5u);
  EXPECT_STREQ(component, "x\\app.prc_");
  const std::vector<char> stream = vorne::Deflate(std::string("bytes"));
  frame(std::to_string(stream.size()) + '\0' + std::string(stream.begin(), stream.end()));
  EXPECT_EQ(DoInstallsStep(), 5u);
  frame("0\0"s);
  EXPECT_EQ(DoInstallsStep(), 1u);
  EXPECT_EQ(DoInstallsFinish(1), 0);
  EXPECT_EQ(readFile("x\\app.prc_"), "bytes");
  frame("9\0"s);
  EXPECT_EQ(DoInstallsStart(installer, sizeof installer), 9u);
  EXPECT_STREQ(installer, "x\\SelfInst.exe");
  frame("4\0zzzz"s);
  EXPECT_EQ(DoInstallsStep(), 0u);
  EXPECT_EQ(DoInstallsFinish(0), 0);
  frame("9\0"s);
  EXPECT_EQ(DoInstallsStart(full, sizeof full), 0u);
}

TEST_F(Tasks, DeletionsWaitForWhatTheHostHasNotGot) {
  const auto make = [](const char* name, bool dirty) {
    DmCreateDatabase(0, name, 0, vorne::kTypeData, 0);
    const DmOpenRef db = DmOpenDatabase(0, DmFindDatabase(0, name), 3);
    vorne::AppendRecord(db, std::string("row"), nullptr, dirty);
    DmCloseDatabase(db);
  };
  EXPECT_EQ(Op_DeleteTbl("NONE"), 0);
  make("A", true);
  make("B", true);
  EXPECT_EQ(HasDirty("A"), 0x40);
  EXPECT_EQ(HasDirty("NONE"), 0);
  EXPECT_EQ(execute("\x0D\x03\0A\0"s), 0);
  EXPECT_EQ(Op_DeleteTbl("A"), 0);
  EXPECT_EQ(Op_DeleteTbl("B"), 0);
  EXPECT_EQ(records("EnqueueDelete", 'L'), (std::vector{"A\0"s, "B\0"s}));
  EXPECT_EQ(Op_DeleteTbl("B"), 0);
  EXPECT_EQ(records("EnqueueDelete", 'L').size(), 3u);
  DeleteEnqueued();
  EXPECT_EQ(records("EnqueueDelete", 'L').size(), 3u);
}

}  // namespace
