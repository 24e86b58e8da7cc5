#include "storage/vornerdd.h"
#include "stores.h"

namespace {

constexpr char kName[] = "Records";

class Ours : public Store {
 public:
  explicit Ours(bool flushing) : batch_(flushing ? 0 : 1) {}

  void empty() override {
    Want(DmDeleteDatabase(0, find()) == errNone || DmFindDatabase(0, kName) == 0, "delete");
    Want(DmCreateDatabase(0, kName, 0, vorne::kTypeData, 0) == errNone, "create");
    CloseCatalog();
  }

  void open() override {
    bBatchOper = batch_;
    db_ = DmOpenDatabase(0, find(), 0);
    Want(db_ != nullptr, "open");
    if (DmNumRecords(db_) != 0) read(0);
  }

  void close() override {
    CloseCatalog();
    db_ = nullptr;
  }

  void append() override {
    for (std::uint32_t i = 0; i < kRecords; ++i) {
      UInt32 index = kAppend;
      const MemHandle handle = DmNewRecord(db_, &index, kRecordSize);
      write(handle, i, 0);
    }
  }

  std::uint64_t readInOrder() override {
    std::uint64_t sum = 0;
    for (std::uint32_t i = 0; i < kRecords; ++i) sum += read(i);
    return sum;
  }

  std::uint64_t readShuffled() override {
    std::uint64_t sum = 0;
    for (const std::uint32_t index : Shuffled()) sum += read(index);
    return sum;
  }

  void update(std::uint32_t updates) override {
    for (std::uint32_t i = 0; i < kRecords; ++i) write(DmGetRecord(db_, i), i, updates);
  }

 private:
  static LocalID find() { return DmFindDatabase(0, kName); }

  std::uint64_t read(std::uint32_t index) const {
    const MemHandle handle = DmQueryRecord(db_, index);
    const void* data = MemHandleLock(handle);
    Want(MemHandleSize(handle) == kRecordSize, "read");
    return SumOf(data);
  }

  void write(MemHandle handle, std::uint32_t index, std::uint32_t updates) const {
    const Record content = ContentOf(index, updates);
    const Err written = DmWrite(MemHandleLock(handle), 0, content.data(), kRecordSize);
    Want(written == errNone && DmReleaseRecord(db_, index, 1) == errNone, "write");
  }

  Boolean batch_;
  DmOpenRef db_ = nullptr;
};

}  // namespace

std::unique_ptr<Store> OurStore(bool flushing) {
  return std::make_unique<Ours>(flushing);
}
