// A host in a temporary directory of its own that holds vendor libraries and calls the host entry.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "bridge/host_entry.h"
#include "builtins/vornefun.h"
#include "mock_vendor.h"
#include "runtime/memory.h"
#include "support/base64.h"
#include "support/scratch_directory.h"

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
      mocks_.push_back(reinterpret_cast<MockFunction*>(dlsym(library, "mock"))());
    }
    resetMocks();
  }
  void resetMocks() {
    for (Mock* mock : mocks_) *mock = {};
  }
  /// Calls recorded by all libraries.
  std::string record() {
    std::string all;
    for (const Mock* mock : mocks_) all += mock->record;
    return all;
  }
  void plan(int result, const std::map<int, MockAnswer>& answers) {
    for (Mock* mock : mocks_) {
      mock->result = result;
      mock->answers = answers;
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
  std::vector<Mock*> mocks_;
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

using namespace std::string_literals;
using namespace std::string_view_literals;
