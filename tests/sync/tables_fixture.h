// Tables on disk that packets are applied to.
#pragma once

#include "host_tables.h"
#include "storage/format/record_bytes.h"
#include "storage/repair/directory_check.h"
#include "support/tables.h"
#include "sync/catalog_tables.h"
#include "sync/session_globals.h"
#include "sync/session_report.h"
#include "sync/table_areas.h"
#include "sync/vornesync.h"

inline const host::Table kItems{"ITEMS", "CODE:C:8 PRICE:N:9:2 NAME:C:2000 VIP:L:1 BORN:D:8 NOTE:M:4",
                                "BYCODE=CODE BYNAME=NAME+PRICE", "BYCODE"};
inline const host::Table kLogs{"LOGS", "LINE:C:2000 NOTE:M:4"};

inline std::string itemFields(const std::string& code, double price, const std::string& name) {
  return host::text(code) + host::number(price) + host::text(name) + '\1' + host::number(40179) + host::kNoMemo;
}
inline host::Row item(const std::string& code, double price, const std::string& name, const std::string& note = "") {
  return {host::live(itemFields(code, price, name)), {note}};
}
inline host::Row goneItem(const std::string& code) {
  return {host::dead(itemFields(code, 0, "")), {""}};
}
inline host::Row logLine(const std::string& line, const std::string& note = "") {
  return {host::live(host::text(line) + host::kNoMemo), {note}};
}

/// The records with their texts, deleted ones with "*", dirty ones with "?" in front.
inline std::string contents(const char* table) {
  const vorne::TableArea area(table);
  if (!area.isOpen()) return "(none)";
  std::string all;
  for (UInt32 i = 0; i < DmNumRecords(area.database()); ++i) {
    UInt16 attributes = 0;
    DmRecordInfo(area.database(), i, &attributes);
    __TBL_GetLastData(area.number(), static_cast<int>(i));
    all += all.empty() ? "" : "|";
    all += (attributes & vorne::kDirty) != 0 ? "?" : "";
    all += vorne::IsMarkedDeleted(area.fields(), area.rdd().TBL_buff) ? "*" : "";
    for (std::size_t field = 1; field < area.fields().size(); ++field)
      all += (field == 1 ? "" : ",") + visible(__GetFieldContent(number(area.number()), number(double(field))));
  }
  return all;
}

class TablesFromHost : public TableTest {
 protected:
  void SetUp() override {
    TableTest::SetUp();
    writeFile("zlibce.dll", "");
    writeFile("selfinst.exe", "");
    start();
    vorne::ClearSessionReport();
    testing::internal::CaptureStdout();
  }
  void TearDown() override {
    const std::string text = testing::internal::GetCapturedStdout();
    if (HasFailure()) std::printf("%s", text.c_str());
    vorne::FreeNetGlobals();
    TableTest::TearDown();
  }
  void start() {
    SetApplicationDirectory(directory_.path().c_str());
    VerifyBuffers();
    __VerifyNgGlb();
    ng->bHasZlib = 1;
  }

  /// Changes an item as a script does.
  static void setPrice(int record, double price) {
    use("ITEMS");
    go(record);
    __SetField(nullptr, text("PRICE"), number(price));
    __Commit();
    __dbCloseAll();
  }
  /// The lines told since the last time.
  std::string told() {
    if (netglb->mlogfile != nullptr) std::fflush(netglb->mlogfile);
    std::string text, all;
    for (const auto& entry : std::filesystem::directory_iterator(directory_.path()))
      if (entry.path().filename().string().starts_with("msglog")) all += readFile(entry.path());
    text = all.substr(std::min(seen_, all.size()));
    seen_ = all.size();
    return text;
  }
  /// Nothing of the directory is damaged: every index has its entries.
  bool isSound() {
    closeAll();
    return vorne::CheckDirectory(".").sound;
  }

 private:
  std::size_t seen_ = 0;
};
