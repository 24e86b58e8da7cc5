// The runtime ends its process where it cannot go on. Here a hook turns that end into a Failure, with what the runtime
// had printed before it as the reason.
#include "db/table_session.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "db/words.h"
#include "edge/console.h"
#include "edge/failure_report.h"
#include "runtime/process.h"
#include "storage/disk_layout.h"
#include "storage/files/kept_copies.h"
#include "storage/format/names.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr int kEnglish = 2;

/// What the runtime has printed, kept until it is known whether it ends the process with it. It ends no line: every
/// sentence arrives by itself.
std::vector<std::string> printed;
constexpr std::size_t kMostSentences = 100;

ssize_t keepSentence(void*, const char* bytes, std::size_t size) {
  const std::string sentence(trimmed({bytes, size}));
  const bool isNew = std::find(printed.begin(), printed.end(), sentence) == printed.end();
  if (isNew && !sentence.empty() && printed.size() < kMostSentences) printed.push_back(sentence);
  return static_cast<ssize_t>(size);
}

std::string takePrinted() {
  std::string words;
  for (const std::string& sentence : std::exchange(printed, {})) words += (words.empty() ? "" : "\n  ") + sentence;
  return utf8FromLatin1(words);
}

/// What the runtime printed before "RunTimeError = 53", and the text that belongs to that number. Number -1 belongs to
/// what was printed.
std::string explained(const std::string& words) {
  constexpr std::string_view kHead = "RunTimeError = ";
  const std::size_t at = words.rfind(kHead);
  int number = -1;
  if (at != std::string::npos) std::from_chars(words.data() + at + kHead.size(), words.data() + words.size(), number);
  // The memory report behind a message is in "saida.txt", for who mends the program.
  if (number < 0) return std::string(trimmed(words.substr(0, std::min(at, words.find("malloc-free=")))));
  std::string text = utf8FromLatin1(__GetAuxError(number));
  for (char& c : text)
    if (c == '\n') c = ' ';
  return words + " (" + text + ")";
}

/// Of an error that ends the process without a word of its own.
std::string errorText() {
  const auto code = static_cast<std::size_t>(vorne::endingCode);
  return code < stringErros.size() ? stringErros[code] : "error " + std::to_string(vorne::endingCode);
}

[[noreturn]] void failWithWords(int) {
  const std::string words = takePrinted(), told = explained(words);
  constexpr int kLowMemory = 5;
  if (told.empty() && vorne::endingCode == kLowMemory) throw memoryFailure();
  const auto tells = [&words](int error) { return words.find(std::strerror(error)) != std::string::npos; };
  const bool isFull = tells(ENOSPC) || tells(EDQUOT);
  // What removes something needs a journal first, and where not even that has space it is refused as well.
  const bool hasNoJournal = words.find("journal") != std::string::npos;
  const std::string next =
      isFull && hasNoJournal ? "make room on that disk and try again; until then records can be read."
      : isFull
          ? "make room on that disk and try again; until then records can be read, deleted and packed, and an index "
            "dropped."
      : tells(ENOMEM) ? "end other programs, or allow this one more memory, and try again."
                      : "look into saida.txt of the working directory, whether the disk is full and the files may be "
                        "written; `tellira db check` tells whether the databases are sound.";
  throw Failure(kEnded, "the runtime stopped: " + (told.empty() ? errorText() : told) + ".\n  next: " + next);
}

}  // namespace

/// Standard output while it is the runtime's.
class TableSession::RuntimeOutput {
 public:
  RuntimeOutput() : stream_(::fopencookie(nullptr, "w", {nullptr, keepSentence, nullptr, nullptr})) {
    if (stream_ == nullptr) throw std::bad_alloc();
    std::setvbuf(stream_, nullptr, _IONBF, 0);
    stdout = stream_;
  }
  ~RuntimeOutput() {
    stdout = own_;
    std::fclose(stream_);
  }
  RuntimeOutput(const RuntimeOutput&) = delete;
  RuntimeOutput& operator=(const RuntimeOutput&) = delete;

 private:
  FILE* const own_ = stdout;
  FILE* const stream_;
};

TableSession::TableSession(const std::string& directory, Databases databases)
    : directory_(directory), data_(directory + vorne::kDataDirectory) {
  if (::chdir(directory.c_str()) != 0)
    throw Failure(kUsage, directory + " cannot be entered: " + std::strerror(errno) +
                              ".\n  next: name the working directory of the program with --dir.");
  output_ = std::make_unique<RuntimeOutput>();
  vorne::endProcessHook = failWithWords;
  if (databases == Databases::kOpen) {
    std::error_code error;
    std::filesystem::create_directory(data_, error);
    if (error)
      throw Failure(kUsage, data_ + " cannot be made: " + error.message() + ".\n  next: look at the rights of " +
                                directory + ".");
    lock_.emplace(directory);
  }
  __BeginGlobal();
  running_ = true;
  // The tool speaks English; the log stays Portuguese, as for every program.
  iSyncLang = kEnglish;
  // The system is not asked to write after every record: the files are shared memory until they are closed.
  bBatchOper = 1;
}

TableSession::~TableSession() {
  if (running_) {
    try {
      end();
    } catch (const std::exception&) {
      // A failure is on its way already; this one follows from it.
    }
  }
  output_.reset();
  // The runtime tells it in its log alone.
  if (!vorne::CopiesDirectory().empty())
    note("Files as they were before are in " + vorne::CopiesDirectory() + "; saida.txt tells why.");
  vorne::endProcessHook = nullptr;
}

void TableSession::end() {
  if (!running_) return;
  running_ = false;
  __dbCloseAll();
  __EndGlobal();
  output_.reset();
}

void TableSession::close() {
  end();
  const std::string words = takePrinted();
  if (!words.empty()) note(words);
}

int TableSession::open(const std::string& table) {
  if (DmFindDatabase(0, table.c_str()) == 0)
    throw Failure(kNo, "the table " + shown(table) + " is gone.\n  next: `tellira db list` shows all of them.");
  __DBUSEAREA(__INIT_BOOL(1), nullptr, __INIT_CHARPTR(table.c_str()));
  return __GetAliasID(nullptr);
}

}  // namespace tool
