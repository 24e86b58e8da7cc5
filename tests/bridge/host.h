// A host in a temporary directory of its own that holds vendor libraries and calls the host entry.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

extern "C" {
#include "mock_vendor.h"
}
#include "bridge/host_entry.h"
#include "builtins/vornefun.h"
#include "runtime/memory.h"
#include "support/scratch_directory.h"

/// Standard Base64, written apart from the code under test.
inline std::string base64(std::string_view bytes) {
  static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  unsigned bits = 0;
  int have = 0;
  for (unsigned char c : bytes) {
    bits = bits << 8 | c;
    for (have += 8; have >= 6; have -= 6) text += kAlphabet[bits >> (have - 6) & 63];
  }
  if (have > 0) text += kAlphabet[bits << (6 - have) & 63];
  while (text.size() % 4 != 0) text += '=';
  return text;
}

struct HostAnswer {
  int returned;
  std::string text;  // up to the first zero byte of the buffer
};

class HostTest : public ::testing::Test {
 protected:
  void SetUp() override {
    vorne::allocationsLeft = -1;
    SetEncode(1);
  }
  void TearDown() override {
    vorne::allocationsLeft = -1;
    SetEncode(1);
  }

  /// Puts the recording vendor libraries into the current directory.
  void useMocks() {
    for (const char* name : {"libconvecf.so", "bemafi32.so", "libclisitef.so"}) {
      std::filesystem::create_symlink(std::string(MOCK_DIR) + "/" + name, name);
      void* library = dlopen((std::string("./") + name).c_str(), RTLD_LAZY);
      ASSERT_NE(library, nullptr) << dlerror();
      mocks_.push_back(library);
    }
    resetMocks();
  }
  template <typename Function>
  static Function* mock(void* library, const char* name) {
    return reinterpret_cast<Function*>(dlsym(library, name));
  }
  void resetMocks() {
    for (void* library : mocks_) mock<MockReset>(library, "mock_reset")();
  }
  /// Calls recorded by all libraries.
  std::string record() {
    std::string all;
    for (void* library : mocks_) all += mock<MockRecord>(library, "mock_record")();
    return all;
  }
  void plan(int result, std::initializer_list<MockAnswer> answers) {
    for (void* library : mocks_) {
      mock<MockResult>(library, "mock_result")(result);
      for (const MockAnswer& answer : answers) mock<MockAnswerWith>(library, "mock_answer")(answer);
    }
  }

  static HostAnswer call(std::string params, int outLen = 65536, int cmd = 0) {
    std::vector<char> out(static_cast<std::size_t>(outLen) + 1, '#');
    const int returned = ExecInClientDLL(cmd, params.data(), out.data(), outLen);
    EXPECT_EQ(out.back(), '#') << "wrote past the host's buffer";
    out.back() = '\0';
    return {returned, out.data()};
  }
  /// Calls a command by its plain bytes.
  static HostAnswer callRaw(std::string_view raw) { return call(base64(raw)); }

 private:
  ScratchDirectory directory_;
  std::vector<void*> mocks_;
};

/// Bytes as tests write them: | is 0x01, ^ 0x02, # 0x03, ~ 0x00 and $ 0xFF.
inline std::string raw(std::string_view text) {
  static constexpr std::string_view kMarks = "|^#~$";
  static constexpr std::string_view kBytes("\1\2\3\0\xFF", 5);
  std::string bytes(text);
  for (char& c : bytes) {
    if (const auto i = kMarks.find(c); i != kMarks.npos) c = kBytes[i];
  }
  return bytes;
}

/// A text answer of exactly these bytes.
inline MockAnswer writes(int argument, std::string_view bytes) {
  return {argument, 0, bytes.size(), bytes.data()};
}
inline MockAnswer sets(int argument, int number) {
  return {argument, number, 0, nullptr};
}

using namespace std::string_literals;
using namespace std::string_view_literals;
