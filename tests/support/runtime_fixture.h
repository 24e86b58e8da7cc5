// What tests that need a living runtime share: one per test, with the switches as they are at load, and short ways to
// make texts, to read them back and to expect a fatal error.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "runtime/memory.h"
#include "runtime/vorneobjs.h"

/// A runtime error ends the process with status 0, which would pass for a test that succeeded: while a test runs, the
/// end of its own process (not of its children) is a failure.
class EndGuard {
 public:
  static void arm() {
    if (owner_ == 0) std::atexit(check);
    owner_ = getpid();
    armed_ = true;
  }
  static void disarm() { armed_ = false; }

 private:
  static void check() {
    if (!armed_ || getpid() != owner_) return;
    std::fprintf(stderr, "the runtime ended the test's process\n");
    _exit(98);
  }
  static inline bool armed_ = false;
  static inline pid_t owner_ = 0;
};

class RuntimeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    EndGuard::arm();
    vorne::allocationsLeft = -1;
    SetCheckBuffer(0);
    SetEncode(1);
    ASSERT_EQ(__BeginGlobal(), 1);
  }
  void TearDown() override {
    vorne::allocationsLeft = -1;
    __EndGlobal();
    SetCheckBuffer(0);
    SetEncode(1);
    EndGuard::disarm();
  }
};

/// A text temporary of exactly these bytes, zero bytes included; length field size + 1.
inline Obj_Node* text(std::string_view content) {
  Obj_Node* n = __ALLOC_CHARPTR(static_cast<int>(content.size()));
  if (!content.empty()) std::memcpy(n->objData.mbuff, content.data(), content.size());
  return n;
}

inline Obj_Node* number(double v) {
  return __INIT_DOUBLE(v);
}

/// All bytes of a text before its length field's end; a marker for anything that is no text.
inline std::string bytes(const Obj_Node* n) {
  if (n == nullptr) return "(null pointer)";
  if (n->objVarType != varString || n->objData.mbuff == nullptr) return "(no text)";
  return n->objLength < 2 ? std::string() : std::string(n->objData.mbuff, static_cast<std::size_t>(n->objLength) - 1);
}

/// The bytes of a text before its first zero byte; the same markers.
inline std::string visible(const Obj_Node* n) {
  if (n == nullptr || n->objVarType != varString || n->objData.mbuff == nullptr) return bytes(n);
  return n->objData.mbuff;
}

/// The number that a node holds; a failure of the test for anything else.
inline double numberOf(const Obj_Node* n) {
  if (n == nullptr || n->objVarType != varNumber) {
    ADD_FAILURE() << "not a number";
    return 0;
  }
  return n->objData.mdbl;
}

/// Expects `statement` to end the process as a runtime error with that auxiliary number does: status 0, the line on
/// standard output. It runs in a child process.
#define EXPECT_RUNTIME_ERROR(statement, aux) \
  EXPECT_EXIT(                               \
      {                                      \
        dup2(STDERR_FILENO, STDOUT_FILENO);  \
        statement;                           \
      },                                     \
      ::testing::ExitedWithCode(0), "\nRunTimeError = " #aux "($|[^0-9])")
