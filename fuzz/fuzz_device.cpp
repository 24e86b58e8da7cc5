// Whatever a device says to the host, behind a login that is welcome or not: the first byte tells in what pieces it
// comes. A session that fails its store is a fault, and so is output that nobody bounds.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "synchost/open_sql.h"
#include "synchost/scripted_device.h"
#include "synchost/session.h"
#include "synchost/store.h"

using namespace synchost;

namespace {

constexpr std::size_t kMostOutput = 1 << 20;

Store& store() {
  static Store made(OpenSqlite(":memory:"));
  return made;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  for (const auto& [name, index] : {std::pair("GOODS", "BYCODE:CODE"), {"SALES", ""}})
    store().createTable(MakeTable(name, "CODE:C:8 NAME:C:20 NOTE:M", index, ""));
  store().putDevice({"one", "G", true});
  store().putImage("logo.bmp", Blob(500, 'x'));
  store().addTask("one", TaskKind::kImages, "logo.bmp");
  store().commit();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const vorne::Bytes bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::size_t piece = (data[0] & 0x7F) == 0 ? bytes.size() : data[0] & 0x7F;
  {
    Session session(store());
    if ((data[0] & 0x80) != 0) session.receive(ScriptedDevice("one", {}).login());
    for (std::size_t at = 0; at < bytes.size() && !session.ended(); at += piece) {
      session.receive(bytes.subspan(at, std::min(piece, bytes.size() - at)));
      while (session.hasMore()) session.send();
      if (session.takeOutput().size() > kMostOutput) std::abort();
      session.answered();
    }
  }
  store().rollback();
  return 0;
}
