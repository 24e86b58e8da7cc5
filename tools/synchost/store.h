// What the host keeps: devices, tables and their records, what each device has, what waits for it, and its last
// session. Every change of a record has a number of its own, greater than all before it; a device has all changes of a
// table up to the number that it has confirmed.
//
// Changes stand when commit() returns, together with all since the last one; until then nothing may be told to a device
// that relies on them. Functions throw StoreFailure; rollback() is then due.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "synchost/table.h"
#include "synchost/transactions.h"

namespace synchost {

struct Device {
  std::string id;
  std::string group;  ///< empty: whatever the device says
  bool enabled = true;
};

enum class TaskKind { kDelete, kImages, kInstall };

/// What an administrator has queued for a device.
struct QueuedTask {
  std::int64_t number = 0;
  TaskKind kind = TaskKind::kDelete;
  std::string name;         ///< of a table, an image, an install
  std::string fields = {};  ///< of a table that was dropped here
};

struct SessionRecord {
  std::string device, address, began, result;
  std::int64_t milliseconds = 0, rowsSent = 0, rowsReceived = 0, bytesSent = 0, bytesReceived = 0, rowsPassedOver = 0;
};

/// What a device lacks of a table: changes after one and up to another.
struct Lack {
  std::int64_t after = 0, upTo = 0;
  bool whole = true;  ///< it is sent the whole table if there is any such change
  /// Those that the device made itself count, too: it may come to hold records that are older than they are.
  bool ownToo = true;
};

class Store {
 public:
  /// Makes what the database does not have yet.
  explicit Store(std::unique_ptr<Sql> sql);

  void commit();
  void rollback();

  // ----- devices
  std::optional<Device> device(const std::string& id);
  std::vector<Device> devices();
  void putDevice(const Device& device);
  /// What it sent stays, held uploads too.
  bool removeDevice(const std::string& id);
  std::vector<SessionRecord> lastSessions();
  void putSession(const SessionRecord& session);

  // ----- tables
  std::vector<Table> tables();
  /// The change that made the catalogue what it is.
  std::int64_t catalogueChange();
  void createTable(const Table& table);
  void dropTable(const Table& table);

  // ----- what devices have
  std::int64_t lastChange();
  std::int64_t lastChange(const Table& table);
  /// 0: nothing; less: nothing, but it has others.
  std::int64_t confirmed(const std::string& device, std::int64_t table);
  void confirm(const std::string& device, std::int64_t table, std::int64_t change);
  Lack lackOf(const std::string& device, const Table& table);
  /// The device is being sent the table: until it confirms that, it may have any part of it.
  void beginDownload(const std::string& device, std::int64_t table);
  /// The device has records that the host does not: it is to be sent the table whole, even when that is empty.
  void suspect(const std::string& device, std::int64_t table);
  /// The device has lost the table, or all of them.
  void forget(const std::string& device, std::int64_t table);
  void forget(const std::string& device);

  // ----- records
  std::int64_t countLive(const Table& table);
  std::int64_t countChanged(const Table& table, const std::string& device, const Lack& lack);
  std::vector<SentContent> live(const Table& table, const Blob& afterKey, std::int64_t most);
  std::vector<SentContent> changed(const Table& table, const std::string& device, const Lack& lack, std::int64_t most);
  /// Inserts or replaces by key. What is there already, byte for byte, is no change.
  /// @param origin the device that they come from; empty for none
  void put(const Table& table, const std::string& origin, const std::vector<KeptRecord>& records);
  /// Removes all records of a table without a key for good; devices that have some are sent it anew, or delete it.
  void clear(const Table& table);

  // ----- uploads of tables without a key
  // Nothing tells whether a device that lost its line sends the same records once more or others that look alike. So an
  // upload is held until the device's next request shows that it came to its end. An earlier one that did not is then
  // taken for the same if a later one is as long and has at least half of its records (some may have been changed in
  // between): those are kept once. Otherwise it is another one.
  std::int64_t beginUpload();
  void hold(const Table& table, const std::string& device, std::int64_t upload, const std::vector<KeptRecord>& records);
  void conclude(const Table& table, const std::string& device);
  std::int64_t countHeld(const std::string& device);

  // ----- queued tasks
  std::vector<QueuedTask> tasks(const std::string& device);
  void addTask(const std::string& device, TaskKind kind, const std::string& name, const std::string& fields = "");
  void taskDone(std::int64_t number);
  Blob image(const std::string& name);
  void putImage(const std::string& name, const Blob& bytes);

 private:
  /// The first of `count` change numbers that nobody has.
  std::int64_t takeChanges(std::int64_t count);
  struct HeldUpload {
    std::int64_t number, records;
  };
  std::vector<HeldUpload> heldUploads(const Table& table, const std::string& device);
  /// Leaves of an earlier upload what a later one does not have again; false when they are not the same one.
  bool takeAwaySentAgain(const Table& table, const std::string& device, const HeldUpload& earlier,
                         const HeldUpload& later);

  Transactions db_;
};

}  // namespace synchost
