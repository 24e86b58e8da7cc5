// A simulated vendor library loaded from a directory of its own, and short ways to call it.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/scratch_directory.h"

/// An environment variable for the length of a scope.
class Environment {
 public:
  Environment(const char* name, const std::string& value) : name_(name) { setenv(name, value.c_str(), 1); }
  ~Environment() { unsetenv(name_); }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

 private:
  const char* name_;
};

inline constexpr char kSunday[] = "20260315142530";
inline constexpr char kMonday[] = "20260316080000";

class Device {
 public:
  /// Copies NAME (for example "libconvecf.so" or "faulty/libconvecf.so") into a fresh directory and loads it there.
  explicit Device(const std::string& name = "libconvecf.so");
  ~Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  std::string path(const std::string& file) const { return directory_ + "/" + file; }
  std::string file(const std::string& name) const { return readFile(path(name)); }
  void* symbol(const std::string& function) const;

  /// Calls with native arguments; constant texts are handed over as writable copies.
  template <class... Values>
  int call(const std::string& function, Values... values) {
    texts_.clear();
    texts_.reserve(sizeof...(values));
    return reinterpret_cast<int (*)(decltype(native(values))...)>(symbol(function))(native(values)...);
  }
  /// Calls a function of texts alone, at most nine, which it may change in place.
  int callTexts(const std::string& function, std::vector<std::string>& texts);
  int callTexts(const std::string& function, std::vector<std::string>&& texts = {}) {
    return callTexts(function, texts);
  }
  /// What the function writes into its first text; `given` is what stands there before.
  std::string read(const std::string& function, std::size_t texts = 1, const std::string& given = "");

  /// Runs calls "Function text|text -> result", divided by lines or "; "; the first result that differs fails the test.
  void run(const std::string& script);

 private:
  template <class Value>
  auto native(Value value) {
    if constexpr (std::is_same_v<Value, const char*>) {
      // Reserved room: the copies stay where they are while the call lasts.
      return texts_.emplace_back(value).data();
    } else {
      return value;
    }
  }

  std::string directory_;
  void* handle_ = nullptr;
  std::vector<std::string> texts_;
};
