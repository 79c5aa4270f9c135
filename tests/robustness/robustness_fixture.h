// The natives and their files, made once per program.
#pragma once

#include <memory>

#include "robustness/all_natives.h"

class RobustnessTest : public JvmTest {
 protected:
  static void SetUpTestSuite() { all = std::make_unique<AllNatives>(); }
  static void TearDownTestSuite() { all = nullptr; }

  // The outcome when nothing fails. Not the first call: that one also pays for what is made once.
  static Attempt undisturbed(const NativeCall& call) {
    all->attempt(call);
    return all->attempt(call);
  }

  static inline std::unique_ptr<AllNatives> all;
};
