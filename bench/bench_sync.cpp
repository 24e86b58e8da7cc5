// A synchronisation over loopback against its floor: a plain copy of the same bytes out of a socket, their inflation,
// and the same records appended to a database of records, which is the least that anybody must do who receives a
// table. The host is a process that has all frames ready and does nothing but send them.
//
// What is wanted: receiving, and preparing and sending, at 70 % of the floor's rate, applying at 50 %, and 20,000 rows
// a second from end to end; memory that does not depend on the table's size.
//
// Run: bench_sync [--dir DIR] [--rows N] [--rounds N]   (defaults /var/tmp, 500000 and 3)
#include <arpa/inet.h>
#include <malloc.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "builtins/vornefun.h"
#include "runtime/cursor.h"
#include "storage/records/storing.h"
#include "storage/tables/areas.h"
#include "sync/host_tables.h"
#include "sync/session_globals.h"
#include "sync/vornesync.h"
#include "table_stores.h"

namespace {

namespace fs = std::filesystem;
using vorne::Bytes;

struct Options {
  std::string directory = "/var/tmp";
  std::uint32_t rows = 500'000;
  int rounds = 3;
};

// ----- what is sent

constexpr char kFields[] = "CODE:C:12 NAME:C:30 PRICE:N:9:2 BORN:D:8 SOLD:L:1";
const host::Table kPlain{"ITEMS", kFields, "", "", "T"};
const host::Table kIndexed{"ITEMS", kFields, "BYCODE=CODE BYNAME=NAME", "BYCODE", "T"};
// Its index keeps the catalogue of indexes from being empty, which would leave the last one as it was.
const host::Table kOther{"OTHER", "A:C:4", "BYOTHER=A"};
const host::Table kMerged{"ITEMS", kFields, "BYCODE=CODE BYNAME=NAME", "BYCODE", "P"};

std::vector<host::Row> Records(std::uint32_t from, std::uint32_t to, double extra = 0) {
  std::vector<host::Row> rows;
  for (std::uint32_t i = from; i < to; ++i) {
    const TableRow& row = RowOf(i);
    rows.push_back({host::live(host::text(row.code) + host::text(row.name) + host::number(row.price + extra) +
                               host::number(row.day) + (row.flag ? '\1' : '\0'))});
  }
  return rows;
}

std::string Frame(const std::string& body) {
  return std::string{static_cast<char>(body.size() >> 8), static_cast<char>(body.size())} + body;
}
std::string Reply(const std::string& body) {
  return Frame(std::string(2, '\0') + body);
}
// The frames of a table, its end included.
std::string Frames(const std::vector<std::string>& packets) {
  std::string all;
  for (const std::string& packet : packets) all += Frame(packet);
  return all + Reply(std::string{vorne::kEndOfTable, vorne::kNothingMore});
}

// ----- the host

struct Task {
  char code;  // 1 down, 2 up
  std::string name;
  std::uint32_t rows = 0;
  char type = 'T';
  std::string frames = {};
};

bool ReadAll(int socket, char* to, std::size_t n) {
  while (n > 0) {
    const ssize_t got = ::recv(socket, to, n, 0);
    if (got <= 0) return false;
    to += got, n -= static_cast<std::size_t>(got);
  }
  return true;
}
bool SendAll(int socket, const std::string& bytes) {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t sent = ::send(socket, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    done += static_cast<std::size_t>(sent);
  }
  return true;
}

void Serve(int socket, const std::vector<Task>& tasks) {
  const Task* task = nullptr;
  char header[vorne::kRequestHeaderSize], body[1 << 16];
  while (ReadAll(socket, header, sizeof header)) {
    const auto size = vorne::Load<std::uint16_t>(header + 1);
    if (!ReadAll(socket, body, size) || size < 3) return;
    const std::string operands(body + 3, size - 3u);
    switch (static_cast<vorne::Request>(body[2])) {
      case vorne::Request::Login:
        SendAll(socket, Reply("\x0D"
                              "6.0.0" +
                              std::string(1, '\0') + "p\xFA"));
        break;
      case vorne::Request::CountTasks:
        SendAll(socket, Reply("\x0D" + std::to_string(tasks.size()) + '\0'));
        break;
      case vorne::Request::FetchTask: {
        task = &tasks.at(std::stoul(operands) - 1);
        std::string reply = std::string{'\x0D', task->code, '\0'} + task->name + '\0';
        if (task->code == 1) reply.append(reinterpret_cast<const char*>(&task->rows), 4) += task->type;
        SendAll(socket, Reply(reply));
        break;
      }
      case vorne::Request::Table:
        SendAll(socket, task->code == 1 ? task->frames : Reply("\x0D"));
        break;
      default:
        return;
    }
  }
}

/// A process that serves one connection after the other; gone with the object.
class Host {
 public:
  explicit Host(const std::vector<Task>& tasks) {
    const int listening = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    Want(::bind(listening, reinterpret_cast<sockaddr*>(&address), size) == 0 && ::listen(listening, 8) == 0 &&
             ::getsockname(listening, reinterpret_cast<sockaddr*>(&address), &size) == 0,
         "no host");
    port = ntohs(address.sin_port);
    process_ = ::fork();
    if (process_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (;;) {
        const int socket = ::accept(listening, nullptr, nullptr);
        Serve(socket, tasks);
        ::close(socket);
      }
    }
    ::close(listening);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  int port = 0;

 private:
  pid_t process_;
};

int Connected(int port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  Want(::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "no line");
  return socket;
}
std::string Request(vorne::Request what, const std::string& operands = "") {
  const std::string body = std::string{'\1', '\0', static_cast<char>(what)} + operands;
  const auto header = vorne::RequestHeader(static_cast<std::uint16_t>(body.size()));
  return std::string(header.begin(), header.end()) + body;
}

// ----- the floor

// The frames out of the socket, as they are.
double CopyFloor(int port, std::size_t bytes, std::string& copied) {
  const int socket = Connected(port);
  char reply[64];
  SendAll(socket, Request(vorne::Request::FetchTask, std::string("1\0", 2)));
  Want(::recv(socket, reply, sizeof reply, 0) > 0, "no task");
  copied.resize(bytes);
  const double time = Milliseconds([&] {
    SendAll(socket, Request(vorne::Request::Table));
    Want(ReadAll(socket, copied.data(), bytes), "the line broke");
  });
  ::close(socket);
  return time;
}

template <class Each>
void EachPacket(Bytes frames, Each each) {
  vorne::ByteReader from(frames);
  while (!from.atEnd()) {
    const Bytes body = from.take(from.number<std::uint16_t>(std::endian::big));
    if (const auto packet = vorne::ParseReceived(body)) each(*packet);
  }
}

double InflateAndAppendFloor(const std::string& frames) {
  Want(DmCreateDatabase(0, "FLOOR", 0, vorne::kTypeData, 0) == errNone, "no database");
  DmOpenRef db = DmOpenDatabase(0, DmFindDatabase(0, "FLOOR"), 3);
  std::uint32_t records = 0;
  const double time = Milliseconds([&] {
    bBatchOper = 1;
    std::array<char, 12288> room;
    EachPacket(frames, [&](const vorne::ReceivedPacket& packet) {
      const std::size_t size = vorne::Inflate(packet.data, room);
      vorne::ByteReader from(Bytes(room.data(), size));
      while (!from.atEnd()) {
        vorne::AppendRecord(db, from.take(from.number<std::uint16_t>(std::endian::big)));
        ++records;
      }
    });
    bBatchOper = 0;
  });
  Want(records == DmNumRecords(db), "not all records");
  DmCloseDatabase(db);
  DmDeleteDatabase(0, DmFindDatabase(0, "FLOOR"));
  return time;
}

// ----- ours

double Receive(int port) {
  const double time = Milliseconds([&] {
    Want(DoSync("127.0.0.1", port, "G", "", "D", 20, nullptr, nullptr, nullptr, nullptr) == 0, "the session failed");
  });
  return time;
}
double Apply(std::uint32_t rows) {
  const double time = Milliseconds([] { Want(ReadFromHH() == 1, "not applied"); });
  __DBUSEAREA(__INIT_BOOL(1), nullptr, __INIT_CHARPTR("ITEMS"), nullptr);
  Want(__TBL_RecCount()->objData.mdbl == rows, "not the host's rows");
  __dbCloseAll();
  return time;
}
void Drop() {
  __TBL_DeleteDatabase(__INIT_CHARPTR("ITEMS"));
}

long AnonymousKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;)
    if (long size = 0; word == "RssAnon:" && status >> size) return size;
  return 0;
}

struct Row {
  std::string name;
  std::vector<double> ours = {}, floor = {};
};

void PrintRows(const std::vector<Row>& rows, std::uint32_t count) {
  std::printf("\n%-46s %9s %9s %13s %12s\n", "milliseconds", "ours", "floor", "floor : ours", "rows / s");
  for (const Row& row : rows) {
    const double ours = Median(row.ours), floor = Median(row.floor);
    std::printf("%-46s %9.1f %9.1f %12.0f%% %12.0f\n", row.name.c_str(), ours, floor, 100 * floor / ours,
                1000 * count / ours);
  }
}

void Down(const Options& options) {
  const std::vector<std::string> packets = host::packets(Records(0, options.rows), 1'000'000);
  const std::string frames = Frames(packets);
  const Host down({{1, "ITEMS", options.rows, 'T', frames}});
  std::printf("%u rows: %zu packets, %.1f MB on the line\n", options.rows, packets.size(),
              static_cast<double>(frames.size()) / 1e6);
  std::vector<Row> rows{{"receiving, beside a copy alone"},
                        {"receiving, beside all of the floor"},
                        {"applying, into no table"},
                        {"applying, over as many rows"},
                        {"applying, into no table, two indexes"},
                        {"applying, over as many rows, two indexes"},
                        {"receiving and applying"}};
  for (int round = 0; round < options.rounds; ++round) {
    std::string copied;
    const double copy = CopyFloor(down.port, frames.size(), copied), append = InflateAndAppendFloor(copied);
    std::vector<double> applied;
    double received = 0;
    for (const host::Table& table : {kPlain, kIndexed}) {
      for (int again = 0; again < 2; ++again) {
        host::receiveCatalogue({table, kOther});
        received = Receive(down.port);
        applied.push_back(Apply(options.rows));
      }
      Drop();
    }
    const double floors[] = {copy, copy + append, append, append, append, append, copy + append};
    const double ours[] = {received, received, applied[0], applied[1], applied[2], applied[3], received + applied[0]};
    for (std::size_t i = 0; i < rows.size(); ++i) rows[i].ours.push_back(ours[i]), rows[i].floor.push_back(floors[i]);
  }
  PrintRows(rows, options.rows);
}

void Merge(const Options& options) {
  const std::uint32_t merged = options.rows / 5, there = options.rows * 2;
  // Half of them are there, with other prices; half are new.
  const std::vector<std::string> packets = host::packets(Records(there - merged / 2, there + merged / 2, 1), 1'000'000);
  const std::vector<std::string> whole = host::packets(Records(0, there), 1'000'000);
  Row row{"merging " + std::to_string(merged) + " into " + std::to_string(there) + ", two indexes"};
  for (int round = 0; round < options.rounds; ++round) {
    host::receiveCatalogue({kIndexed, kOther});
    host::receive("ITEMS", 'T', whole);
    Apply(there);
    host::receiveCatalogue({kMerged, kOther});
    host::receive("ITEMS", 'P', packets);
    row.floor.push_back(InflateAndAppendFloor(Frames(packets)));
    row.ours.push_back(Apply(there + merged / 2));
    Drop();
  }
  PrintRows({row}, merged);
}

// All rows are changed: they are made packets, and go up.
void Up(const Options& options) {
  const Host up({{2, "ITEMS"}});
  std::vector<Row> rows{{"preparing to send"}, {"sending"}, {"preparing and sending"}};
  const std::vector<host::Row> records = Records(0, options.rows);
  for (int round = 0; round < options.rounds; ++round) {
    host::receiveCatalogue({kPlain, kOther});
    host::receive("ITEMS", 'T', host::packets({}, 1));
    ReadFromHH();
    __DBUSEAREA(__INIT_BOOL(1), nullptr, __INIT_CHARPTR("ITEMS"), nullptr);
    DmOpenRef db = vorne::DatabaseOf(*vorne::AreaAt(0));
    for (const host::Row& record : records) vorne::AppendRecord(db, record.record, nullptr, 1);
    __dbCloseAll();
    // The floor: the records read in order, deflated and sent, each packet answered.
    std::vector<std::string> packets;
    rows[0].floor.push_back(Milliseconds([&] { packets = host::packets(records, 1'000'000); }));
    rows[0].ours.push_back(Milliseconds([] { Want(BatchUpload() == 1, "not prepared"); }));
    const int socket = Connected(up.port);
    char reply[64];
    SendAll(socket, Request(vorne::Request::FetchTask, std::string("1\0", 2)));
    Want(::recv(socket, reply, sizeof reply, 0) > 0, "no task");
    rows[1].floor.push_back(Milliseconds([&] {
      for (const std::string& packet : packets) {
        SendAll(socket, Request(vorne::Request::Table, packet));
        Want(::recv(socket, reply, sizeof reply, 0) > 0, "no answer");
      }
    }));
    ::close(socket);
    rows[1].ours.push_back(Receive(up.port));
    Want(HasDirty("ITEMS") == 0, "rows that were not sent");
    DeleteToHostTables();
    rows[2].floor.push_back(rows[0].floor.back() + rows[1].floor.back());
    rows[2].ours.push_back(rows[0].ours.back() + rows[1].ours.back());
    Drop();
  }
  PrintRows(rows, options.rows);
}

/// The most that `work` had of it at a time, in KiB; looked at every few milliseconds.
template <class Work>
long AnonymousPeak(Work work) {
  ::malloc_trim(0);
  const long before = AnonymousKilobytes();
  std::atomic<long> most = before;
  std::atomic<bool> isOver = false;
  std::thread watcher([&] {
    for (; !isOver; std::this_thread::sleep_for(std::chrono::milliseconds(3)))
      most = std::max(most.load(), AnonymousKilobytes());
  });
  work();
  isOver = true;
  watcher.join();
  return most - before;
}

void Memory(const Options& options) {
  std::printf("\nmost memory of a session:\n");
  for (const std::uint32_t rows : {options.rows / 10, options.rows}) {
    const Host down({{1, "ITEMS", rows, 'T', Frames(host::packets(Records(0, rows), 1'000'000))}});
    for (const host::Table& table : {kPlain, kIndexed}) {
      host::receiveCatalogue({table, kOther});
      const long receiving = AnonymousPeak([&] { Receive(down.port); }), applying = AnonymousPeak([&] { Apply(rows); });
      std::printf("  %7u rows%s: receiving %ld KiB, applying %ld KiB\n", rows,
                  table.indexes.empty() ? "" : ", two indexes", receiving, applying);
      Drop();
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i];
    if (name == "--dir") options.directory = argv[i + 1];
    if (name == "--rows") options.rows = static_cast<std::uint32_t>(std::atoi(argv[i + 1]));
    if (name == "--rounds") options.rounds = std::atoi(argv[i + 1]);
  }
  const fs::path directory = fs::path(options.directory) / ("bench_sync-" + std::to_string(::getpid()));
  fs::create_directories(directory);
  fs::current_path(directory);
  RowOf(3 * options.rows);
  __BeginGlobal();
  VerifyBuffers();
  for (const char* marker : {"zlibce.dll", "selfinst.exe"}) std::ofstream(directory / marker).put(' ');
  SetApplicationDirectory(directory.c_str());
  vorne::UseSynchronisation();
  __VerifyNgGlb();
  ng->bHasZlib = 1;
  Down(options);
  Merge(options);
  Up(options);
  Memory(options);
  __EndGlobal();
  fs::current_path("/");
  fs::remove_all(directory);
}
