// System calls and allocations of the code under test, under the control of a test.
//
// A program that links zorf_test_interpose defines the C library's wrappers listed below itself.
// The library's objects, linked into the same program, call these definitions, which pass the call
// on unless the calling thread is inside a Hooks scope. Shared libraries (the JVM, libacl) keep
// calling the C library.
//
//   Hooks hooks;
//   hooks.getxattr = [](const char* path, const char* name, void* value, std::size_t size) {
//     return value == nullptr ? 100 : ::getxattr(path, name, value, size);  // the real one
//   };
//   hooks.fail("listxattr", EIO);              // the next call
//   hooks.fail("operator new", ENOMEM, 3);     // the third allocation from here on
//   ...
//   EXPECT_EQ(hooks.calls("getxattr"), 2);
#pragma once

#include <fcntl.h>
#include <grp.h>
#include <mntent.h>
#include <pwd.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <functional>
#include <string_view>

// X(name, result, parameters, arguments, what a failure with `err` returns)
// Calls that report through their result get `err` there; a failed setfsuid changes nothing and
// returns the present id, as the kernel does; a failed close has closed the descriptor, likewise.
#define ZORF_INTERPOSED_CALLS(X)                                                                  \
  X(getxattr, ssize_t, (const char* path, const char* name, void* value, std::size_t size),       \
    (path, name, value, size), -1)                                                                \
  X(lgetxattr, ssize_t, (const char* path, const char* name, void* value, std::size_t size),      \
    (path, name, value, size), -1)                                                                \
  X(setxattr, int,                                                                                \
    (const char* path, const char* name, const void* value, std::size_t size, int flags),         \
    (path, name, value, size, flags), -1)                                                         \
  X(listxattr, ssize_t, (const char* path, char* list, std::size_t size), (path, list, size), -1) \
  X(removexattr, int, (const char* path, const char* name), (path, name), -1)                     \
  X(stat, int, (const char* path, struct ::stat* st), (path, st), -1)                             \
  X(lstat, int, (const char* path, struct ::stat* st), (path, st), -1)                            \
  X(chmod, int, (const char* path, mode_t mode), (path, mode), -1)                                \
  X(umask, mode_t, (mode_t mask), (mask), static_cast<mode_t>(-1))                                \
  X(setfsuid, int, (uid_t uid), (uid), real(static_cast<uid_t>(-1)))                              \
  X(setfsgid, int, (gid_t gid), (gid), real(static_cast<gid_t>(-1)))                              \
  X(getgrouplist, int, (const char* user, gid_t group, gid_t* groups, int* count),                \
    (user, group, groups, count), -1)                                                             \
  X(getpwuid_r, int, (uid_t uid, passwd * entry, char* buffer, std::size_t size, passwd** found), \
    (uid, entry, buffer, size, found), (*found = nullptr, err))                                   \
  X(getpwnam_r, int,                                                                              \
    (const char* name, passwd* entry, char* buffer, std::size_t size, passwd** found),            \
    (name, entry, buffer, size, found), (*found = nullptr, err))                                  \
  X(getgrgid_r, int, (gid_t gid, group * entry, char* buffer, std::size_t size, group** found),   \
    (gid, entry, buffer, size, found), (*found = nullptr, err))                                   \
  X(getgrnam_r, int,                                                                              \
    (const char* name, group* entry, char* buffer, std::size_t size, group** found),              \
    (name, entry, buffer, size, found), (*found = nullptr, err))                                  \
  X(sysconf, long, (int name), (name), -1)                                                        \
  X(setmntent, FILE*, (const char* file, const char* mode), (file, mode), nullptr)                \
  X(getmntent_r, mntent*, (FILE * table, mntent * entry, char* buffer, int size),                 \
    (table, entry, buffer, size), nullptr)                                                        \
  X(getdelim, ssize_t, (char** line, std::size_t* room, int end, FILE* file),                     \
    (line, room, end, file), -1)                                                                  \
  X(close, int, (int fd), (fd), (real(fd), -1))

// The same for calls whose definitions are written out: variadic ones and those with a checking
// twin that fortified code calls.
#define ZORF_INTERPOSED_BY_HAND(X)                                                               \
  X(open, int, (const char* path, int flags, mode_t mode), (path, flags, mode), -1)              \
  X(readlink, ssize_t, (const char* path, char* buffer, std::size_t size), (path, buffer, size), \
    -1)                                                                                          \
  X(getgroups, int, (int size, gid_t* list), (size, list), -1)                                   \
  X(syscall, long, (long number, long a, long b, long c), (number, a, b, c), -1)

class Hooks {
 public:
  // Applies to the calling thread until the end of the scope; the innermost scope counts.
  Hooks();
  ~Hooks();
  Hooks(const Hooks&) = delete;
  Hooks& operator=(const Hooks&) = delete;

  // Each, when set, is called in place of the function of its name. Inside a hook every call is
  // the real one and none is counted. A syscall hook sees three arguments.
#define ZORF_HOOK(name, result, parameters, ...) std::function<result parameters> name;
  ZORF_INTERPOSED_CALLS(ZORF_HOOK)
  ZORF_INTERPOSED_BY_HAND(ZORF_HOOK)
#undef ZORF_HOOK

  // The `nth` call of `function` from now on (1 is the next) fails with errno `err`, hook or not;
  // the calls after it don't. Functions are named as above, or "operator new", "operator new[]",
  // "operator new(nothrow)" and "operator new[](nothrow)"; "any allocation" is these four together.
  void fail(std::string_view function, int err, int nth = 1);

  // Whether a failure asked for with fail() has yet to happen.
  bool awaits(std::string_view function) const;

  // How often this thread has called `function` since the scope began; failed calls count.
  int calls(std::string_view function) const;
  // The same for all functions together, allocations apart.
  int calls() const;
  // Allocations with operator new less those freed, in any form: what a call keeps or leaks is
  // the difference before and after it.
  long allocations() const {
    return allocations_;
  }

  struct Fault {
    int calls = 0;
    int countdown = 0;  // 1: the next call fails, 0: none does
    int err = 0;
  };
  // For the definitions: counts a call of function `index`; the errno that it must fail with, or 0.
  int enter(std::size_t index);
  void allocated(long change) {
    allocations_ += change;
  }

 private:
  static constexpr std::size_t capacity = 32;
  std::array<Fault, capacity> faults_{};
  long allocations_ = 0;
  Hooks* outer_;
};
