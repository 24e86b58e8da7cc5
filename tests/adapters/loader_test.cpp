// Opening vendor libraries: the list of opened ones, and what is told when one is missing.
#include <string>

#include "adapters/vorneadapters.h"
#include "support/child.h"
#include "support/runtime_fixture.h"

namespace {

class Loader : public RuntimeTest {
 protected:
  void SetUp() override {
    RuntimeTest::SetUp();
    ASSERT_EQ(chdir(VENDOR_DIRECTORY), 0);  // names are relative, as the adapters' are
    ASSERT_EQ(thepLibHandles, nullptr);
  }

  static std::string opened() {
    std::string names;
    for (const LibHandles* entry = thepLibHandles; entry != nullptr; entry = entry->next) {
      names += std::string(entry->DllName) + " ";
      EXPECT_NE(entry->nHdl, nullptr);
    }
    return names;
  }
};

TEST_F(Loader, TheLastLibraryIsOpenedAgain) {
  void* first = nHdlGetDllHandle("./first.so");
  EXPECT_EQ(opened(), "./first.so ");
  EXPECT_EQ(nHdlGetDllHandle("./first.so"), first);
  EXPECT_EQ(opened(), "./first.so ./first.so ");
  EXPECT_EQ(nHdlGetDllHandle("./first.so"), first);  // now it stands before the last
  EXPECT_EQ(opened(), "./first.so ./first.so ");
}

TEST_F(Loader, ThreeLibraries) {
  for (const char* name : {"./first.so", "./second.so", "./third.so"}) nHdlGetDllHandle(name);
  EXPECT_EQ(nHdlGetDllHandle("./first.so"), thepLibHandles->nHdl);
  EXPECT_EQ(nHdlGetDllHandle("./second.so"), thepLibHandles->next->nHdl);
  EXPECT_EQ(opened(), "./first.so ./second.so ./third.so ");
  nHdlGetDllHandle("./third.so");
  nHdlGetDllHandle("././first.so");  // names are compared, not files
  EXPECT_EQ(opened(), "./first.so ./second.so ./third.so ./third.so ././first.so ");
}

TEST_F(Loader, TheEndOfARunEmptiesTheList) {
  std::string name = "./first.so";
  nHdlGetDllHandle(name.c_str());
  name[2] = 'X';
  EXPECT_EQ(opened(), "./first.so ");  // a copy of its own
  __EndGlobal();
  EXPECT_EQ(thepLibHandles, nullptr);
  ASSERT_EQ(__BeginGlobal(), 1);
  nHdlGetDllHandle("./second.so");
  nHdlGetDllHandle("./first.so");
  FreeDllHandles();
  EXPECT_EQ(thepLibHandles, nullptr);
  FreeDllHandles();
}

TEST_F(Loader, FindsFunctions) {
  auto* answer = reinterpret_cast<int (*)()>(VendorFunction("./second.so", "Answer"));
  EXPECT_EQ(answer(), 42);
  Obj_Node* kept = __INIT_NIL();
  __LoadLIB();
  __AddStaticStack(&kept);
  __UnloadLIB();
  EXPECT_EQ(kept, nullptr);
}

// What is told of a missing library or function shows in the tests of calls.
TEST_F(Loader, EndsAsOutOfMemoryAndBearsAnyName) {
  const std::string longName(5000, 'n');
  EXPECT_EQ(runChild([&] { nHdlGetDllHandle(longName.c_str()); }).status, 0);
  EXPECT_RUNTIME_ERROR(nHdlGetDllHandle("./CMakeFiles"), 133);
  for (const long allowed : {0, 1})
    EXPECT_RUNTIME_ERROR((vorne::allocationsLeft = allowed, nHdlGetDllHandle("./first.so")), -1);
}

}  // namespace
