// Memory runs out at each allocation of each native in turn, of the process and of the Java heap.
#include <cerrno>
#include <cstring>

#include "robustness/fault_sites.h"
#include "robustness/robustness_fixture.h"

namespace {

class OutOfMemoryTest : public RobustnessTest {
 protected:
  // What the native may answer when an allocation has failed: its usual answer, when it was a log
  // line that lost its memory; else its neutral value with the exception of ENOMEM, or with the
  // usual one, whose message may have lost the path.
  static bool isExpected(const NativeCall& call, const Outcome& usual, const Outcome& outcome) {
    if (outcome == usual) return true;
    if (!outcome.error) return answersOtherwise(call, outcome);
    if (outcome.text != call.neutral) return false;
    const JavaError& error = *outcome.error;
    if (usual.error && error.className == usual.error->className &&
        usual.error->message.starts_with(error.message)) {
      return true;
    }
    const std::string text = std::strerror(ENOMEM);
    return error.className == "java.lang.RuntimeException" &&
           (error.message == text || error.message.starts_with(text + ": "));
  }

  // Shortage that a native is known not to report.
  static bool answersOtherwise(const NativeCall& call, const Outcome& outcome) {
    return call.native == "setFsUid__Ljava_lang_String_2" && outcome.text == "a handle";
  }

  // What stays allocated on the Java side's behalf.
  static bool mayKeep(const NativeCall& call, const Attempt& attempt) {
    if (call.native == "setFsUid__Ljava_lang_String_2") {
      return attempt.kept == (attempt.outcome.text == "a handle" ? 1 : 0);
    }
    if (call.native == "setFsUid__J") return attempt.kept == -1;
    // A failed call keeps its buffer.
    if (call.native == "setExtendedAttribute" && attempt.outcome.error) return attempt.kept <= 1;
    return attempt.kept == 0;
  }

  static void expectUndamaged(const NativeCall& call, const Attempt& attempt) {
    EXPECT_EQ(attempt.damage, "");
    EXPECT_TRUE(mayKeep(call, attempt)) << attempt.kept << " allocations kept";
  }

  // Lets each allocation of `call` fail, after `inject`; returns how many there were.
  static int failEachAllocation(const NativeCall& call, const Outcome& usual,
                                const std::function<void(Hooks&)>& inject) {
    for (int n = 1; n < 5000; ++n) {
      SCOPED_TRACE(call.name() + ", allocation " + std::to_string(n));
      bool failed = false;
      const Attempt attempt = all->attempt(
          call,
          [&](Hooks& hooks) {
            inject(hooks);
            hooks.fail("any allocation", ENOMEM, n);
          },
          [&](Hooks& hooks) { failed = !hooks.awaits("any allocation"); });
      expectUndamaged(call, attempt);
      if (!failed) {
        EXPECT_EQ(attempt.outcome, usual);
        return n - 1;
      }
      EXPECT_TRUE(isExpected(call, usual, attempt.outcome)) << attempt.outcome;
    }
    ADD_FAILURE() << call.name() << " never ends";
    return 0;
  }

  static void failEachAllocation(std::int32_t level) {
    int failures = 0;
    for (const NativeCall& call : all->calls()) {
      logger2::currentLevel = level;
      const Outcome usual = undisturbed(call).outcome;
      failures += failEachAllocation(call, usual, [](Hooks&) {});
      EXPECT_EQ(all->attempt(call).outcome, usual) << call.name() << " afterwards";
    }
    std::cout << failures << " failed allocations\n";
  }

  static void failEachJavaAllocation(std::int32_t level) {
    int failures = 0;
    for (const NativeCall& call : all->calls()) {
      logger2::currentLevel = level;
      const Outcome usual = undisturbed(call).outcome;
      bool failed = true;
      for (int n = 1; failed; ++n) {
        SCOPED_TRACE(call.name() + ", Java allocation " + std::to_string(n));
        ASSERT_LT(n, 5000);
        const Attempt attempt = all->attempt(
            call, [&](Hooks&) { all->jni().failAllocation(n); },
            [&](Hooks&) {
              failed = !all->jni().awaits();
              all->jni().failAllocation(0);
            });
        if (failed) {
          ++failures;
          expectJavaError(call, usual, attempt.outcome);
        } else {
          EXPECT_EQ(attempt.outcome, usual);
        }
        expectUndamaged(call, attempt);
      }
      EXPECT_EQ(all->attempt(call).outcome, usual) << call.name() << " afterwards";
    }
    std::cout << failures << " failed Java allocations\n";
  }

  // Never silent: the virtual machine's error, the usual exception where that came first, or what
  // a native makes of a path without characters.
  static void expectJavaError(const NativeCall& call, const Outcome& usual,
                              const Outcome& outcome) {
    ASSERT_TRUE(outcome.error) << outcome;
    const bool ofString = *outcome.error == errorFor(ENOMEM, "");
    EXPECT_TRUE(*outcome.error == javaHeapExhausted() || outcome.error == usual.error || ofString)
        << outcome;
    if (ofString && call.native == "getINum") {
      EXPECT_EQ(outcome.text, "0");  // of a path that can't be had
    } else if (ofString) {
      EXPECT_EQ(outcome.text, call.neutral);
    }
  }
};

TEST_F(OutOfMemoryTest, TableHasEveryNative) {
  std::vector<std::string> natives;
  for (const NativeCall& call : all->calls()) {
    if (natives.empty() || natives.back() != call.native) natives.push_back(call.native);
  }
  EXPECT_EQ(natives.size(), 31u);
}

TEST_F(OutOfMemoryTest, NativeAnswersWhicheverAllocationFailsWhileNothingIsLogged) {
  failEachAllocation(LOG_OFF);
}

TEST_F(OutOfMemoryTest, NativeAnswersWhicheverAllocationFailsWhileAllIsLogged) {
  failEachAllocation(LOG_TRACE);
}

TEST_F(OutOfMemoryTest, FailingNativeAnswersWhicheverAllocationFails) {
  int failures = 0;
  for (const NativeCall& call : all->calls()) {
    for (const FaultSite& site : faultSites(all->acl())) {
      bool failed = false;
      const auto fail = [&](Hooks& hooks) {
        site.reset();
        site.fail(hooks, EIO, 1);
      };
      const Attempt failing =
          all->attempt(call, fail, [&](Hooks& hooks) { failed = site.calls(hooks) > 0; });
      SCOPED_TRACE(site.name() + " fails");
      if (failed) failures += failEachAllocation(call, failing.outcome, fail);
      site.reset();
    }
  }
  std::cout << failures << " failed allocations\n";
}

TEST_F(OutOfMemoryTest, NativeAnswersWhicheverJavaAllocationFailsWhileNothingIsLogged) {
  failEachJavaAllocation(LOG_OFF);
}

TEST_F(OutOfMemoryTest, NativeAnswersWhicheverJavaAllocationFailsWhileAllIsLogged) {
  failEachJavaAllocation(LOG_TRACE);
}

}  // namespace
