// What the tests of the block natives share: real files, the thread's identity, the log.
#pragma once

#include <jni.h>

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/blocks/records.h"
#include "support/files.h"
#include "support/jvm.h"
#include "support/patched_jni.h"
#include "support/scripted_client.h"

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

// The settings are kept.
class BlockNativesTest : public InJvm<FilesTest> {
 protected:
  // Makes a regular file, sparse beyond `content`, and returns its path.
  std::string file(const std::string& name, std::uint64_t size, mode_t mode = 0644,
                   const std::string& content = "") const;

  // The lines of the block code and of raised errors since the last call; those of the identity,
  // the status and the diagnosis of paths are left out.
  static std::vector<std::string> ownLines();
  // A whole line of a native.
  static std::string line(const std::string& level, const std::string& native,
                          const std::string& text);

  // Whether a native raised something, as its result must say; then it is in `lastError`.
  bool raised(bool neutral) {
    const auto error = takeJavaError();
    EXPECT_EQ(neutral, error.has_value());
    if (error) lastError = *error;
    return neutral;
  }

  KeptSettings kept;
  ScriptedClient client;
  JavaError lastError;
};
