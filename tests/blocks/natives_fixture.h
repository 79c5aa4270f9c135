// What the tests of the block natives share: real files, the thread's identity, the log.
#pragma once

#include <jni.h>
#include <sys/stat.h>

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "blocks/records.h"
#include "support/jvm.h"
#include "support/patched_jni.h"
#include "support/scripted_client.h"

// Gives the calling thread another fsuid and fsgid for its life. Needs root.
class ActingAs {
 public:
  explicit ActingAs(unsigned id);
  ~ActingAs();
  ActingAs(const ActingAs&) = delete;
  ActingAs& operator=(const ActingAs&) = delete;

 private:
  unsigned uid_;
  unsigned gid_;
};

// Runs `hook(text)` ahead of every line's delivery to the Java logger on this thread, and once more
// with an empty text after it.
class LineHook {
 public:
  explicit LineHook(std::function<void(const std::string& text)> hook);
  ~LineHook();
  LineHook(const LineHook&) = delete;
  LineHook& operator=(const LineHook&) = delete;

 private:
  PatchedJni jni_;
};

// A directory of its own, the settings kept, and no trace left by a case: the thread's identity is
// what it was and no file of the directory is open.
class BlockNativesTest : public JvmTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  // A path in the directory.
  std::string at(const std::string& name) const { return directory_ + "/" + name; }
  // Makes a regular file, sparse beyond `content`, and returns its path.
  std::string file(const std::string& name, std::uint64_t size, unsigned mode = 0644,
                   const std::string& content = "");

  // The lines of the block code and of raised errors since the last call; those of the identity,
  // the status and the diagnosis of paths are left out.
  static std::vector<std::string> ownLines();
  // A whole line of a native.
  static std::string line(const std::string& level, const std::string& native,
                          const std::string& text);

  KeptSettings kept;
  ScriptedClient client;

 private:
  std::string directory_;
  ThreadIdentity identity_;
};

#define NEEDS_ROOT() \
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to act as another user"
