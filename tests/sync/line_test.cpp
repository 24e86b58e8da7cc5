// The line: what goes out byte for byte, what each failure leaves behind, and that no frame reaches past its end.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <string>

#include "sync/line_fixture.h"

namespace {

class Line : public LineTest {
 protected:
  int connect(const char* name = "host") { return Connect(name, 7000, &socket_, &comm_, "GROUP", "", "DEV", 0); }

  int socket_ = 0;
  long comm_ = 0;
};

std::string farewell() {
  return std::string("B\3\0\1\0\2", 6);
}

TEST_F(Line, LogsInAndSaysFarewell) {
  host->reply(
      std::string("\x0D"
                  "6.0.0\0d\xFA",
                  9));
  ASSERT_EQ(connect(), 0);
  EXPECT_EQ(netglb->bServerTp, 1);
  EXPECT_EQ(netglb->bPackDB, 1);
  const std::string body = host->sent.substr(3);
  EXPECT_EQ(host->sent.substr(0, 3),
            std::string("B") + static_cast<char>(body.size() & 0xFF) + static_cast<char>(body.size() >> 8));
  EXPECT_EQ(body.substr(0, 24), std::string("\1\0\1B\0"
                                            "33\0DEV\0GROUP\0\0T6.0.0\0",
                                            24));
  EXPECT_NE(body.find(std::string("\0ZLIBON\0SETBUFFER\0\0RPC_OFF\0", 27)), std::string::npos);
  host->sent.clear();
  EXPECT_EQ(Disconnect(comm_, &socket_), 0);
  EXPECT_EQ(host->sent, farewell());
  EXPECT_EQ(socket_, 0);
  EXPECT_EQ(host->closed, 1);
}

struct Refusal {
  const char* name;
  int code;
  void (*prepare)(ScriptedHost& host);
  const char* address = "host";
};
constexpr Refusal kRefusals[] = {
    {"unknown name", 1125, [](ScriptedHost&) {}, "nowhere"},
    {"no socket", 1135, [](ScriptedHost& host) { host.hasSockets = false; }},
    {"refused", 1108, [](ScriptedHost& host) { host.refuses = true; }},
    {"never answered", 1108, [](ScriptedHost& host) { host.room = 0; }},
    {"not read", 1109, [](ScriptedHost& host) { host.room = 9; }},
    {"not sent", 1109, [](ScriptedHost& host) { host.sendsUntilBroken = 0; }},
    {"closed", 1110, [](ScriptedHost&) {}},
    {"half a frame", 1110, [](ScriptedHost& host) { host.script = std::string("\0\x0A\0\0\x0D", 5); }},
    {"too large", 1110, [](ScriptedHost& host) { host.script = "\x2E\xE1"; }},
    {"negative", 1110, [](ScriptedHost& host) { host.script = "\xFF\xFF"; }},
    {"silent", 1111, [](ScriptedHost& host) { host.atEnd = ScriptedHost::AtEnd::kSilent; }},
    {"not welcome", 1111,
     [](ScriptedHost& host) {
       host.reply(
           "\x05"
           "away with \x1B[2Jyou all");
     }},
    {"empty frame", 1111, [](ScriptedHost& host) { host.script = std::string(2, '\0'); }},
    {"other version", 1113, [](ScriptedHost& host) { host.welcome("6.0.1"); }},
    {"longer version", 1113, [](ScriptedHost& host) { host.welcome("6.0.0b"); }},
};

TEST_F(Line, TellsWhyItCouldNotLogIn) {
  for (const Refusal& refusal : kRefusals) {
    SCOPED_TRACE(refusal.name);
    host.reset();
    host.emplace();
    refusal.prepare(*host);
    netglb->errStatus = 0;
    EXPECT_EQ(connect(refusal.address), 1);
    EXPECT_EQ(netglb->errStatus, refusal.code);
    EXPECT_EQ(socket_, 0);
    EXPECT_LE(host->waited, 30);
    EXPECT_EQ(printed().find('\x1B'), std::string::npos);
    EXPECT_EQ(host->sent.find(farewell()), std::string::npos);
  }
}

TEST_F(Line, ClosesNoSocketThatItHasNotOpened) {
  socket_ = 5, comm_ = 11;
  EXPECT_EQ(connect(), 1);
  EXPECT_EQ(netglb->errStatus, 1107);
  EXPECT_EQ(host->closed, 0);
}

TEST_F(Line, WaitsInRoundsOfThirtySeconds) {
  host->atEnd = ScriptedHost::AtEnd::kSilent;
  for (const auto& [timeout, seconds] : {std::pair{0, 30}, {20, 30}, {60, 90}, {120, 150}}) {
    host->waited = 0;
    netglb->m_timeout = timeout;
    EXPECT_EQ(ReadSock(netglb->m_buffer, 5), 1);
    EXPECT_EQ(host->waited, seconds);
    std::uint8_t status = 9;
    ReadByte(&status);
    EXPECT_EQ(status, 0);
    host->room = 2000;
    EXPECT_EQ(WriteExact(5, netglb->m_compact, 9000, 0), 0);
    EXPECT_EQ(host->waited, 2 * seconds);
  }
}

TEST_F(Line, SendsInPiecesAndOnceMore) {
  const std::string body(5000, 'x');
  host->piece = 7;
  EXPECT_EQ(WriteExact(5, body.data(), 5000, 0), 1);
  EXPECT_EQ(host->sent, body);
  // The header goes as a whole, so a host that takes two bytes of it gets it again, three times at most.
  host->piece = 2;
  EXPECT_EQ(WriteExact(5, body.data(), 0, 1), 0);
  host->piece = 1024;
  host->failingSends = 1;
  EXPECT_EQ(WriteExact(5, body.data(), 100, 1), 1);
  host->failingSends = 2;
  EXPECT_EQ(WriteExact(5, body.data(), 100, 0), 0);
  EXPECT_EQ(netglb->bFalhaSendReceive, 1);
}

TEST_F(Line, WhatDoesNotFitIsNotSent) {
  Reset();
  WriteString(std::string(11990, 'x').c_str());
  WriteInt(1);
  EXPECT_EQ(netglb->bIndex, 11995);
  WriteBuffer("123456", 6);
  EXPECT_EQ(WriteExact(5, netglb->m_buffer, netglb->bIndex, 1), 0);
  EXPECT_EQ(host->sent, "");
  Reset();
  WriteByte(1);
  EXPECT_EQ(WriteExact(5, netglb->m_buffer, netglb->bIndex, 1), 1);
}

TEST_F(Line, ReadsNothingBehindTheFrame) {
  host->reply("ab");
  ASSERT_EQ(ReadSock(netglb->m_buffer, 5), 1);
  netglb->m_buffer[4] = 'c';
  char text[2] = "z";
  ReadString(text);
  EXPECT_STREQ(text, "a");
  EXPECT_EQ(ReadInt(), 0);
  EXPECT_EQ(ReadShort(), 0);
  host->reply(
      std::string("\x34\x12\x78\x56\x34\x12"
                  "long\0x",
                  12));
  ASSERT_EQ(ReadSock(netglb->m_buffer, 5), 1);
  EXPECT_EQ(ReadShort(), 0x1234);
  EXPECT_EQ(ReadInt(), 0x12345678);
  char two[3];
  ReadString(two);
  EXPECT_STREQ(two, "lo");
  std::uint8_t next = 0;
  ReadByte(&next);
  EXPECT_EQ(next, 'x');
  EXPECT_EQ(__GetShort("\x12\x34"), 0x1234);
  EXPECT_EQ(__GetLong("\x12\x34\x56\x78"), 0x12345678u);
  EXPECT_EQ(Crc16("abc", 3), 0);
}

// Held back, each request would wait 40 ms.
TEST(RealLine, HoldsNoBytesBack) {
  const int socket = vorne::kNetworkSystem.socket();
  int on = 0;
  socklen_t size = sizeof on;
  EXPECT_EQ(::getsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, &size), 0);
  EXPECT_EQ(on, 1);
  EXPECT_NE(::fcntl(socket, F_GETFL) & O_NONBLOCK, 0);
  vorne::kNetworkSystem.close(socket);
}

}  // namespace
