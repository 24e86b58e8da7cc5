// A directory on disks of many sizes, for what is left when one is full.
#pragma once

#include <sched.h>
#include <sys/mount.h>

#include "support/child.h"

class SmallDisks {
 public:
  explicit SmallDisks(std::string directory) : directory_(std::move(directory)) {}

  /// Calls `body` in the directory, on a disk of each size. It runs in a child, as its children do.
  void each(const std::function<void()>& body) const {
    const ChildResult result = runChild([&] {
      demand(unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0);
      mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
      for (int kilobytes = 4; kilobytes < 800; kilobytes += kilobytes < 200 ? 12 : 60) {
        SCOPED_TRACE(kilobytes);
        demand(mountAs("size=" + std::to_string(kilobytes) + "k", 0) && chdir(directory_.c_str()) == 0);
        body();
        demand(chdir("/") == 0 && umount(directory_.c_str()) == 0);
      }
      if (testing::Test::HasFailure()) _exit(1);
    });
    if (result.status == kNotPermitted) GTEST_SKIP() << "no disk of its own can be mounted here";
    EXPECT_EQ(result.status, kCameBack) << result.output;
  }
  void makeRoom() const { demand(mountAs("size=64m", MS_REMOUNT)); }

 private:
  static constexpr int kNotPermitted = 3;
  static void demand(bool done) {
    if (!done) _exit(kNotPermitted);
  }
  bool mountAs(const std::string& options, unsigned long flags) const {
    return mount("tmpfs", directory_.c_str(), "tmpfs", flags, options.c_str()) == 0;
  }

  std::string directory_;
};
