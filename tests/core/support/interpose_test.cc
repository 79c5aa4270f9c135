#include "support/interpose.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <thread>

#include "base/ioexception.h"

namespace {

TEST(Interpose, WithoutAHookTheRealFunctionRunsAndIsCounted) {
  Hooks hooks;
  struct stat st {};
  EXPECT_EQ(::stat("/", &st), 0);
  EXPECT_TRUE(S_ISDIR(st.st_mode));
  EXPECT_EQ(hooks.calls("stat"), 1);
  EXPECT_EQ(hooks.calls(), 1);
}

TEST(Interpose, HookReplacesTheFunctionAndReachesTheRealOne) {
  Hooks hooks;
  hooks.lstat = [](const char*, struct stat* st) {
    const int result = ::lstat("/", st);
    st->st_size = 4711;
    return result;
  };
  struct stat st {};
  EXPECT_EQ(::lstat("/nowhere", &st), 0);
  EXPECT_EQ(st.st_size, 4711);
  EXPECT_EQ(hooks.calls("lstat"), 1);
}

TEST(Interpose, NthCallFailsAndOnlyThat) {
  Hooks hooks;
  hooks.fail("chmod", EROFS, 2);
  EXPECT_EQ(::chmod("/nowhere", 0), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_TRUE(hooks.awaits("chmod"));
  EXPECT_EQ(::chmod("/nowhere", 0), -1);
  EXPECT_EQ(errno, EROFS);
  EXPECT_FALSE(hooks.awaits("chmod"));
  EXPECT_EQ(::chmod("/nowhere", 0), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST(Interpose, FailureIsReportedTheWayTheFunctionDoes) {
  Hooks hooks;
  hooks.fail("getpwuid_r", ERANGE);
  passwd entry{};
  passwd* found = &entry;
  char buffer[1024];
  EXPECT_EQ(::getpwuid_r(0, &entry, buffer, sizeof buffer, &found), ERANGE);
  EXPECT_EQ(found, nullptr);
  hooks.fail("setmntent", EMFILE);
  EXPECT_EQ(::setmntent("/etc/mtab", "r"), nullptr);
  const int present = ::setfsuid(static_cast<uid_t>(-1));
  hooks.fail("setfsuid", EPERM);
  EXPECT_EQ(::setfsuid(12345), present);
  EXPECT_EQ(::setfsuid(static_cast<uid_t>(-1)), present);
}

TEST(Interpose, CheckedFormsGoThroughTheSameHook) {
  Hooks hooks;
  hooks.fail("open", EMFILE);
  volatile int flags = O_RDONLY;
  EXPECT_EQ(::open("/", flags), -1);
  EXPECT_EQ(errno, EMFILE);
  char target[64];
  EXPECT_GT(::readlink("/proc/self/exe", target, sizeof target), 0);
  EXPECT_EQ(hooks.calls("readlink"), 1);
}

TEST(Interpose, RawSystemCallIsSeenAndPassedOn) {
  Hooks hooks;
  EXPECT_EQ(::syscall(SYS_getpid), ::getpid());
  hooks.syscall = [](long number, long, long, long) { return number; };
  EXPECT_EQ(::syscall(SYS_setgroups, 0, nullptr), SYS_setgroups);
}

TEST(Interpose, OtherThreadsAreLeftAlone) {
  Hooks hooks;
  hooks.fail("stat", EIO);
  std::thread([] {
    struct stat st {};
    EXPECT_EQ(::stat("/", &st), 0);
  }).join();
  EXPECT_EQ(hooks.calls("stat"), 0);
}

TEST(Interpose, SharedLibrariesAreLeftAlone) {
  Hooks hooks;
  hooks.fail("readlink", EIO);
  EXPECT_NE(std::filesystem::read_symlink("/proc/self/exe"), "");
  EXPECT_EQ(hooks.calls("readlink"), 0);
}

TEST(Interpose, InnerScopeHidesTheOuterUntilItEnds) {
  Hooks outer;
  outer.fail("stat", EIO);
  struct stat st {};
  {
    Hooks inner;
    EXPECT_EQ(::stat("/", &st), 0);
    EXPECT_EQ(inner.calls("stat"), 1);
  }
  EXPECT_EQ(::stat("/", &st), -1);
}

TEST(Interpose, AllocationFailsInItsOwnForm) {
  Hooks hooks;
  hooks.fail("operator new[](nothrow)", ENOMEM, 2);
  const std::unique_ptr<char[]> first(new (std::nothrow) char[10]);
  const std::unique_ptr<char[]> second(new (std::nothrow) char[10]);
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
  hooks.fail("operator new", ENOMEM);
  EXPECT_THROW(std::string(100, 'x'), std::bad_alloc);
}

TEST(Interpose, NthAllocationFailsWhateverItsForm) {
  Hooks hooks;
  hooks.fail("any allocation", ENOMEM, 3);
  auto first = std::make_unique<int>(1);
  const std::unique_ptr<char[]> second(new (std::nothrow) char[10]);
  EXPECT_THROW((void)std::make_unique<char[]>(10), std::bad_alloc);
  EXPECT_NE(std::make_unique<int>(4), nullptr);
  EXPECT_EQ(hooks.calls("any allocation"), 4);
  EXPECT_EQ(hooks.calls("operator new"), 2);
}

TEST(Interpose, FailedCloseHasClosedTheDescriptor) {
  const int fd = ::open("/", O_RDONLY | O_CLOEXEC);
  Hooks hooks;
  hooks.fail("close", EIO);
  EXPECT_EQ(::close(fd), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
}

TEST(Interpose, KeptAllocationsAreSeen) {
  Hooks hooks;
  const long before = hooks.allocations();
  auto kept = std::make_unique<std::string>(100, 'x');
  EXPECT_EQ(hooks.allocations(), before + 2);
  kept = nullptr;
  delete[] new int[7];
  delete[] new (std::nothrow) int[7];
  EXPECT_EQ(hooks.allocations(), before);
}

TEST(Interpose, LibraryObjectsAreReached) {
  Hooks hooks;
  hooks.fail("operator new", ENOMEM);
  EXPECT_THROW(IOException(std::string(100, 'x')).detail(), std::bad_alloc);
}

TEST(Interpose, UnknownFunctionIsRefused) {
  Hooks hooks;
  EXPECT_THROW(hooks.fail("getxatr", EIO), std::invalid_argument);
}

}  // namespace
