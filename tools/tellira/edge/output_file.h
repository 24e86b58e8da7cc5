// Where an export or a page goes: standard output, or a file that is there only when it is complete.
#pragma once

#include <cstdint>
#include <string>

namespace tool {

class OutputFile {
 public:
  /// @param name of the file, "-" for standard output; a symbolic link stands for the file that it names
  /// @param data a directory in which it must not lie, like any other that holds databases or bears their name
  /// @throws Failure (kUsage) when the file cannot be made, or would lie among databases
  explicit OutputFile(const std::string& name, const std::string& data = {});
  /// Without finish() the file is not made; what had its name before stays.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// What is to be written is added here.
  std::string& text() { return text_; }
  /// Writes it when it has become much.
  void flushMuch() {
    if (text_.size() >= kMuch) flush();
  }
  /// Writes all of it; the file gets its name.
  void finish();
  std::uint64_t bytes() const { return written_ + text_.size(); }

 private:
  static constexpr std::size_t kMuch = 1 << 18;

  void open(const std::string& path, int flags);
  void flush();
  [[noreturn]] void fail(int status) const;

  std::string name_, path_, unfinished_;
  int file_ = -1;
  std::string text_;
  std::uint64_t written_ = 0;
};

}  // namespace tool
