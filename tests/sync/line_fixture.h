// A runtime, a directory and a scripted host: what tests of a session's parts stand on.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "support/runtime_fixture.h"
#include "support/scratch_directory.h"
#include "sync/scripted_host.h"
#include "sync/session_globals.h"
#include "sync/vornesync.h"

class LineTest : public RuntimeTest {
 protected:
  void SetUp() override {
    RuntimeTest::SetUp();
    VerifyBuffers();
    host.emplace();
    testing::internal::CaptureStdout();
  }
  void TearDown() override {
    const std::string text = testing::internal::GetCapturedStdout();
    if (HasFailure()) std::printf("%s", text.c_str());
    vorne::FreeNetGlobals();
    host.reset();
    RuntimeTest::TearDown();
    CloseCatalog();
  }

  /// What was printed since the last time.
  std::string printed() {
    std::string text = testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    return text;
  }

  /// The lines of the text log.
  std::string log() {
    if (netglb->mlogfile != nullptr) std::fflush(netglb->mlogfile);
    std::string text;
    for (const auto& entry : std::filesystem::directory_iterator(directory.path()))
      if (entry.path().filename().string().starts_with("msglog")) text += readFile(entry.path());
    return text;
  }

  static constexpr int kSocket = 5;
  ScratchDirectory directory;
  std::optional<ScriptedHost> host;
};
