// A device as the host sees one: a few tables of a CODE and a NAME in memory, changes that wait, and the course of a
// session.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "runtime/cursor.h"
#include "sync/compression.h"
#include "sync/wire.h"

/// The line of a session is cut.
struct LineCut : std::runtime_error {
  LineCut() : std::runtime_error("cut") {}
};

class ScriptedDevice {
 public:
  /// Sends bytes, returns what came back; throws LineCut.
  using Line = std::function<std::string(const std::string&)>;
  using Rows = std::multimap<std::string, std::string>;  // NAME by CODE
  struct Table {
    Rows rows;
    std::vector<std::pair<std::string, std::string>> unsent;
  };

  ScriptedDevice(std::string deviceId, std::set<std::string> keyedTables)
      : id(std::move(deviceId)), keyed_(std::move(keyedTables)) {}

  /// A change of its own; in a table with a key it replaces.
  void write(const std::string& table, const std::string& code, const std::string& name) {
    if (keyed_.contains(table)) tables[table].rows.erase(code);
    tables[table].rows.emplace(code, name);
    tables[table].unsent.emplace_back(code, name);
  }

  /// A whole session; false when the host refuses it.
  bool synchronise(const Line& line) {
    const std::string reply = exchange(line, login());
    if (reply.size() < 5 || reply[4] != 13) return false;
    const int count = std::stoi(exchange(line, request(7)).substr(5));
    for (int i = 1; i <= count; ++i) doTask(line, exchange(line, request(8, std::to_string(i) + '\0')));
    exchange(line, request(2));
    return true;
  }

  bool blank() const { return !tables.contains("VRN_TBL"); }
  std::string login() const {
    std::string body("\1\0\1", 3);
    for (const std::string& text : {std::string("B"), protocol, id, group}) body += text + '\0';
    body += '\0';
    body += blank() ? 'T' : 'P';
    for (const char* text : {"6.0.0", "memory", compresses ? "ZLIBON" : "ZLIBOFF", "SETBUFFER", "", "RPC_OFF"})
      body += text + std::string(1, '\0');
    return framed(body);
  }
  static std::string framed(const std::string& body) {
    return std::string{'B', static_cast<char>(body.size() & 0xFF), static_cast<char>(body.size() >> 8)} + body;
  }
  static std::string request(char code, const std::string& operands = "") {
    return framed(std::string("\1\0", 2) + code + operands);
  }
  /// A packet of records; `memos` texts behind each.
  static std::string packet(const std::vector<std::pair<std::string, std::string>>& records, bool compressed = true) {
    std::vector<char> content;
    for (const auto& [code, name] : records) {
      const std::string bytes = code + '\0' + name + '\0' + "!" + '\0';
      vorne::AppendToContent({bytes, {}}, content);
    }
    const std::vector<char> data = compressed ? vorne::Deflate(content) : content;
    const auto body = vorne::MakeSent(
        {compressed, static_cast<std::uint16_t>(content.size()), static_cast<std::uint16_t>(records.size()), data});
    return framed({body.begin(), body.end()});
  }

  std::string id, group = "G", protocol = "33";
  bool compresses = true;
  std::map<std::string, Table> tables;
  std::map<std::string, std::string> images;
  std::map<std::string, std::size_t> received;  // records, by table
  std::vector<std::string> tasks;               // of the last session, as "1 GOODS T"
  std::size_t largestFrame = 0, packetRows = 2;

 private:
  std::string exchange(const Line& line, const std::string& bytes) { return line(bytes); }

  static std::string textAt(const std::string& bytes, std::size_t at) { return bytes.c_str() + at; }

  void doTask(const Line& line, const std::string& reply) {
    if (reply.size() < 8 || reply[4] != 13) throw std::runtime_error("task refused");
    const std::string name = textAt(reply, 7);
    const char type = reply[5] == 1 ? reply.back() : ' ';
    tasks.push_back(std::to_string(reply[5]) + " " + name + (type == ' ' ? "" : std::string(" ") + type));
    if (reply[5] == 1 && reply.substr(reply.size() - 5, 4) != std::string(4, '\0'))
      receive(name, type, exchange(line, request(11)));
    if (reply[5] == 2) send(line, tables[name]);
    if (reply[5] == 3) tables.erase(name);
    if (reply[5] == 40) receiveImages(exchange(line, request(32)));
  }

  void send(const Line& line, Table& table) {
    for (std::size_t i = 0; i < table.unsent.size(); i += packetRows) {
      const auto end = table.unsent.begin() + static_cast<long>(std::min(i + packetRows, table.unsent.size()));
      const std::string reply = exchange(line, packet({table.unsent.begin() + static_cast<long>(i), end}, compresses));
      if (reply.size() != 5 || reply[4] != 13) throw std::runtime_error("packet refused");
    }
    table.unsent.clear();
  }

  void receive(const std::string& name, char type, const std::string& bytes) {
    Table& table = tables[name];
    if (type == 'T') table.rows.clear();
    vorne::ByteReader from(bytes);
    bool isOver = false;
    while (!from.atEnd()) {
      const vorne::Bytes body = from.take(from.number<std::uint16_t>(std::endian::big));
      largestFrame = std::max(largestFrame, body.size());
      isOver = body.size() >= 4 && body[2] == 11 && body[3] == 17;
      if (!isOver) apply(name, table, body);
    }
    if (!isOver || from.failed()) throw std::runtime_error("no end of " + name);
  }

  void apply(const std::string& name, Table& table, vorne::Bytes body) {
    const auto packet = vorne::ParseReceived(body);
    if (!packet) throw std::runtime_error("no packet");
    received[name] += packet->records;
    std::vector<char> content(12288);
    content.resize(vorne::Inflate(packet->data, content));
    if (content.empty()) content.assign(packet->data.begin(), packet->data.end());
    const auto records = vorne::ParseContent(content, packet->records, 0);
    if (!records) throw std::runtime_error("no content");
    for (const vorne::SentRecord& record : *records) {
      vorne::ByteReader fields(record.record);
      const std::string code(fields.text()), value(fields.text());
      if (keyed_.contains(name)) table.rows.erase(code);
      const bool deleted = record.record[record.record.size() - 2] == '*';
      if (!deleted || !keyed_.contains(name)) table.rows.emplace(code, value);
    }
  }

  void receiveImages(const std::string& bytes) {
    vorne::ByteReader from(bytes);
    while (!from.atEnd()) {
      vorne::ByteReader body(from.take(from.number<std::uint16_t>(std::endian::big)));
      if (body.take(4)[3] == 17) return;
      const std::string name(body.text());
      const vorne::Bytes image = body.take(body.number<std::uint16_t>(std::endian::little));
      images[name] = std::string(image.begin(), image.end());
    }
    throw std::runtime_error("no end of the images");
  }

  std::set<std::string> keyed_;
};
