// The calls that keep their Win32 names where they are not what their names promise, and what a host must not suffer
// from them: waiting, signals, messages in the wrong file.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/resource.h>

#include <csignal>

#include "storage/files/diagnostic_log.h"
#include "storage/files/system.h"
#include "support/child.h"
#include "support/store.h"

namespace {

using testing::UnorderedElementsAre;

class FileCalls : public StoreTest {};

HANDLE openFile(const char* name, UInt32 disposition = OPEN_EXISTING, UInt32 access = 0) {
  return CreateFile(name, access, 0, nullptr, disposition);
}

TEST_F(FileCalls, CreateFileMakesWhatIsMissingAndEmptiesByOneBit) {
  for (const UInt32 disposition : {0u, CREATE_NEW, CREATE_ALWAYS, OPEN_EXISTING, OPEN_ALWAYS, TRUNCATE_EXISTING, 8u}) {
    writeFile("there", "old");
    CloseHandle(openFile("there", disposition));
    EXPECT_EQ(readFile("there"), (disposition & 4) != 0 ? "" : "old") << disposition;
    CloseHandle(openFile("made", disposition));
    EXPECT_EQ(DeleteFile("made"), 1) << disposition;
  }
  EXPECT_EQ(DeleteFile("made"), 0);
  mkfifo("pipe", 0600);
  for (const char* name : {"", "nowhere/file", ".", "pipe"})
    EXPECT_EQ(openFile(name, OPEN_EXISTING, GENERIC_WRITE), -1) << name << ": fails at once";
}

TEST_F(FileCalls, AccessPositionAndSize) {
  char byte = 'x';
  int count = 7;
  const UInt32 both = GENERIC_READ | GENERIC_WRITE;
  for (const auto& [access, reads, writes] :
       {std::tuple{0u, 1, 1}, {both, 1, 1}, {GENERIC_READ, 1, -1}, {GENERIC_WRITE, -1, 1}}) {
    writeFile("f", "0123456789");
    const HANDLE f = openFile("f", OPEN_EXISTING, access);
    EXPECT_EQ(ReadFile(f, &byte, 1, &count), reads);
    EXPECT_EQ(count, reads);
    EXPECT_EQ(WriteFile(f, &byte, 1, nullptr), writes);
    CloseHandle(f);
  }
  const HANDLE f = openFile("f");
  EXPECT_EQ(SetEndOfFile(f), 0);
  EXPECT_EQ(GetFileSize(f), 10) << "at position 0 nothing is cut";
  EXPECT_EQ(SetFilePointer(f, -5, nullptr, FILE_END), 5);
  EXPECT_EQ(GetFileSize(f), 10);
  EXPECT_EQ(SetEndOfFile(f), 0);
  EXPECT_EQ(ReadFile(f, &byte, 1, &count), 0) << "asking for the size did not move it: this is the end now";
  CloseHandle(f);
}

std::pair<std::uintptr_t, std::size_t> lastFlush;

TEST_F(FileCalls, MappingsAreWholePagesToTheSystem) {
  writeFile("f", std::string(20000, '.'));
  const HANDLE f = openFile("f");
  EXPECT_EQ(CreateFileMapping(0, nullptr, PAGE_READWRITE, 0, 20000), 0);
  EXPECT_EQ(CreateFileMapping(f, nullptr, PAGE_READWRITE, 0, 0), -1);
  auto* view = static_cast<char*>(MapViewOfFile(CreateFileMapping(f, nullptr, PAGE_READWRITE, 0, 20000)));
  view[4097] = '!';
  vorne::fileSystem.msync = [](void* address, std::size_t length, int flags) {
    lastFlush = {reinterpret_cast<std::uintptr_t>(address), length};
    return flags == MS_ASYNC ? 0 : -1;
  };
  FlushViewOfFile(view + 4097, 10);
  FlushViewOfFile(nullptr, 7);
  EXPECT_EQ(lastFlush, std::pair(reinterpret_cast<std::uintptr_t>(view) + 4096, std::size_t{11}));
  vorne::fileSystem = vorne::kSystem;
  munmap(view, 20000);
  CloseHandle(f);
  EXPECT_EQ(readFile("f").substr(4096, 3), ".!.");
}

TEST_F(FileCalls, MappedFilesHaveTheSizesThatFilesInTheFieldHave) {
  std::filesystem::create_directory("DB");
  std::snprintf(wcDir, sizeof wcDir, "DB");
  const struct {
    long added;
    std::int32_t used, offset, allocated;
  } kRows[] = {{100, 100, 0, 15360}, {15358, 15358, 0, 15360}, {15359, 15360, 1, 30720}, {40000, 40001, 1, 64642}};
  for (const auto& row : kRows) {
    std::filesystem::remove("DB/F");
    const pmymap map = mapeararquivo("F");
    ASSERT_EQ(map->szmap, 1);
    EXPECT_EQ(increasefilesz(map, row.added), 1);
    EXPECT_EQ(std::tie(map->szmap, map->offset), std::tie(row.used, row.offset)) << row.added;
    EXPECT_EQ(map->szallocated, row.allocated) << row.added;
    EXPECT_EQ(GetFileSize(map->hFile), row.allocated);
    // A file may be cut below what it uses, never below its header.
    EXPECT_EQ(setfilesz(map, 50), 1);
    EXPECT_EQ(setfilesz(map, 19), 0);
    EXPECT_EQ(GetFileSize(map->hFile), 50);
    liberarmap(map);
    EXPECT_EQ(readFile("DB/F").size(), 50u);
  }
  EXPECT_EXIT((::dup2(2, 1), increasefilesz(nullptr, 1)), testing::ExitedWithCode(0), "Falha de increase !mp");
}

void passTheSizeLimit(int signalMask) {
  const rlimit limit{4096, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &limit);
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGXFSZ);
  sigprocmask(signalMask, &set, nullptr);
  const int f = static_cast<int>(openFile("f"));
  const std::string data(5000, 'x');
  const auto tell = [](int result) { std::printf("%d%s ", result, result < 0 && errno == EFBIG ? " too big" : ""); };
  tell(WriteFile(f, data.data(), 5000, nullptr));
  tell(WriteFile(f, "x", 1, nullptr));
  tell(vorne::fileSystem.ftruncate(f, 5000));
  tell(vorne::fileSystem.fallocate(f, 0, 5000));
  sigprocmask(SIG_UNBLOCK, &set, nullptr);
  std::fflush(stdout);
  raise(SIGXFSZ);
}

TEST_F(FileCalls, PastTheSizeLimitCallsFailAndNobodyIsKilled) {
  for (const int signalMask : {SIG_UNBLOCK, SIG_BLOCK}) {
    const ChildResult child = runChild([&] { passTheSizeLimit(signalMask); });
    EXPECT_EQ(child.output, "4096 -1 too big -1 too big -1 too big ");
    EXPECT_EQ(child.status, 1000 + SIGXFSZ) << "the host's own signal still comes through";
  }
}

TEST_F(FileCalls, NoFileGetsTheNumberOfAStandardStream) {
  const ChildResult child = runChild([] {
    const int out = dup(STDOUT_FILENO);
    for (const int stream : {0, 1, 2}) close(stream);
    const HANDLE f = openFile("f");
    std::puts("a message");
    std::fflush(stdout);
    dprintf(out, "%d %ld %d", f > 2, GetFileSize(f), fcntl(0, F_GETFD));
  });
  EXPECT_EQ(child.output, "1 0 -1");
}

std::vector<std::string> found(const std::string& pattern) {
  std::vector<std::string> names;
  FindEntry entry;
  const HANDLE search = _findfirst(pattern.c_str(), &entry);
  for (int more = search == -1 ? -1 : 0; more == 0; more = _findnext(search, &entry)) names.push_back(entry.d_name);
  _findclose(search);
  return names;
}

TEST_F(FileCalls, SearchesMatchNamesThatOccurInThePattern) {
  CreateDirectory("dir");
  const std::string longest(255, 'n');
  for (const std::string& name : {std::string("abc.plm"), std::string("abc"), std::string("*"), longest})
    writeFile("dir/" + name, "");
  EXPECT_THAT(found("dir/abc.plm"), UnorderedElementsAre("abc.plm", "abc", "."));
  EXPECT_THAT(found("dir/*.plm"), UnorderedElementsAre("*", ".")) << "no wildcard";
  EXPECT_THAT(found("dir/" + longest), UnorderedElementsAre(longest));
  EXPECT_THAT(found("subdir"), UnorderedElementsAre("dir")) << "the working directory";
  for (const char* nothing : {"dir/none", "dir/", "nowhere/abc", ""}) EXPECT_TRUE(found(nothing).empty()) << nothing;
  EXPECT_EQ(FileExists("dir/abc") + FileExists("dir/no.ne"), 2) << "the directory itself occurs in a name with a dot";
  EXPECT_EQ(FileExists("dir/none") + FileExists("nowhere/a.b") + FindFileInDefaultDir("none"), 0);
  writeFile(file("none"), "");
  EXPECT_EQ(FindFileInDefaultDir("none"), 1);
}

TEST_F(FileCalls, TextsAndPlace) {
  writeFile("from", "moved");
  EXPECT_EQ(MoveFile("from", "to") + MoveFile("none", "to"), 2);
  EXPECT_EQ(readFile("to"), "moved");
  const std::tuple<std::string, int, std::string> rows[] = {
      {"abz{\xe3", 0, "ABZ{\xe3"}, {"abcd", 1, "ABcd"}, {"ab", 9, "AB"}, {"ab", -2, "ab"}};
  for (auto [text, length, upper] : rows) EXPECT_EQ(strupr(text.data(), length), upper);
  char dest[] = "#####";
  EXPECT_STREQ(lstrcpyn(dest, "abc", 3), "abc##") << "no terminator";
  EXPECT_EQ(std::string(lstrcpyn(dest, "x", 4), 5), std::string("x\0\0\0#", 5));
  char place[PATH_MAX];
  EXPECT_EQ(__GetAPPDir(place), 1);
  EXPECT_EQ(place, std::filesystem::read_symlink("/proc/self/exe").parent_path().string() + "/");
}

TEST_F(FileCalls, TheLogIsWrittenAtOnceAndIsNeverInTheWay) {
  Logar("one");
  EXPECT_RUNTIME_ERROR(vorne::StorageFailure("disk %s"), -1);
  EXPECT_EQ(readFile("saida.txt"), "one\ndisk %s\n");
  vorne::CloseDiagnosticLog();
  DeleteFile("saida.txt");
  CreateDirectory("saida.txt");
  Logar("dropped");
}

}  // namespace
