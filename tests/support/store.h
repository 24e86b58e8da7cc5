// A test with a store in a directory of its own.
#pragma once

#include "support/records.h"
#include "support/runtime_fixture.h"
#include "support/scratch_directory.h"

class StoreTest : public RuntimeTest {
 protected:
  void TearDown() override {
    CloseCatalog();
    bBatchOper = 0;
    RuntimeTest::TearDown();
  }
  std::filesystem::path file(const std::string& name) const { return directory_.path() / "DB" / name; }

  ScratchDirectory directory_;
};
