// Packets into a table, whatever stands in them. The first byte tells the kind of transfer and of table; the rest is
// cut into packets: two bytes of length, of which the highest bit asks for the packet to be made of the content that
// follows (a byte for its number of records, then the content), so that most inputs get past zlib. An error that ends
// the process is a fault, and so is an index that does not have an entry for every record.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>

#include "runtime/process.h"
#include "scratch_directory.h"
#include "storage/format/record_bytes.h"
#include "sync/host_tables.h"
#include "sync/session_globals.h"
#include "sync/table_areas.h"
#include "sync/vornesync.h"

namespace {

constexpr char kFields[] = "CODE:C:8 PRICE:N:9:2 VIP:L:1 BORN:D:8 NOTE:M:4";

host::Row row(const std::string& code, const std::string& note) {
  return {host::live(host::text(code) + host::number(1) + '\1' + host::number(40179) + host::kNoMemo), {note}};
}

std::vector<std::string> packetsOf(std::string_view input) {
  std::vector<std::string> packets;
  while (input.size() > 3) {
    const bool makes = (input[1] & 0x80) != 0;
    const auto length = static_cast<std::size_t>(static_cast<unsigned char>(input[0]) | (input[1] & 0x2F) << 8);
    const std::string bytes(input.substr(2, length));
    input.remove_prefix(std::min(input.size(), 2 + length));
    if (!makes || bytes.empty()) {
      packets.push_back(bytes + ' ');
      continue;
    }
    const auto body =
        vorne::MakeReceived({0, static_cast<unsigned char>(bytes[0]), static_cast<std::uint16_t>(bytes.size() - 1),
                             vorne::Deflate({bytes.data() + 1, bytes.size() - 1})});
    packets.emplace_back(body.begin(), body.end());
  }
  return packets;
}

void demand(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  enterScratchDirectory();
  vorne::endProcessHook = [](int) { std::abort(); };
  __BeginGlobal();
  __VerifyNgGlb();
  VerifyBuffers();
  host::receiveCatalogue({{"KEYED", kFields, "K1=CODE K2=PRICE+VIP+BORN"}, {"PLAIN", kFields}});
  demand(ReadFromHH() == 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const char* name = (data[0] & 1) != 0 ? "KEYED" : "PLAIN";
  std::vector<host::Row> rows;
  if ((data[0] & 4) == 0) rows = {row("A", "a note"), row("B", "")};
  host::receive(name, 'T', {host::packet(rows)});
  demand(ReadFromHH() == 1);
  host::receive(name, (data[0] & 2) != 0 ? 'T' : 'P', packetsOf({reinterpret_cast<const char*>(data) + 1, size - 1}));
  ReadFromHH();
  demand(bBatchOper == 0 && !host::waits(name) && HasDirty(name) == 0);
  const vorne::TableArea area(name);
  demand(area.isOpen());
  const UInt32 count = DmNumRecords(area.database());
  for (UInt32 i = 0; i < count; ++i) {
    std::vector<std::uint32_t> memosAt;
    demand(vorne::IsRecordOf(area.fields(), vorne::RecordBytes(area.database(), i), memosAt));
    __TBL_GetLastData(area.number(), static_cast<int>(i));
    ReadMemo(area.number(), static_cast<int>(area.fields().size()) - 1);
  }
  for (int index = 0; vorne::IndexAt(area.rdd(), index) != nullptr; ++index)
    demand(DmNumRecords(vorne::IndexAt(area.rdd(), index)->IDX_dbRef) == count);
  __ReleaseStack();
  return 0;
}
