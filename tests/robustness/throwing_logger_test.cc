// Loggers that do what they should not: throw at any line, or call the natives again.
#include <cerrno>

#include "robustness/fault_sites.h"
#include "robustness/robustness_fixture.h"

namespace {

const JavaError byLogger = {"java.lang.RuntimeException", "thrown by the logger"};

class ThrowingLoggerTest : public RobustnessTest {
 protected:
  // The logger's exception or the native's own, never none and never a third one; what the native
  // holds is released.
  static void expectOneOfBoth(const Outcome& undisturbed, const Attempt& attempt) {
    EXPECT_TRUE(attempt.outcome.error) << attempt.outcome;
    EXPECT_TRUE(attempt.outcome.error == byLogger || attempt.outcome.error == undisturbed.error)
        << attempt.outcome;
    EXPECT_EQ(attempt.damage, "");
  }

  static void expectNothingKept(const NativeCall& call, const Attempt& attempt) {
    long kept = 0;
    if (call.native == "setFsUid__J") kept = -1;
    // A failed call keeps its buffer, also when a line of the failure throws.
    if (call.native == "setExtendedAttribute" && attempt.kept == 1) {
      EXPECT_EQ(attempt.outcome.text, call.neutral);
      kept = 1;
    }
    EXPECT_EQ(attempt.kept, kept);
  }

  // RecordingLog.onLine.
  void setOnLine(jobject runnable) const {
    jclass log = env->FindClass("zorf/testing/RecordingLog");
    env->SetStaticObjectField(log, env->GetStaticFieldID(log, "onLine", "Ljava/lang/Runnable;"),
                              runnable);
  }

  void callBackOnEveryLine(bool many) const {
    jclass cls = env->FindClass("zorf/testing/CallBack");
    setOnLine(
        env->NewObject(cls, env->GetMethodID(cls, "<init>", "(Z)V"), many ? JNI_TRUE : JNI_FALSE));
  }

  int callBackCount(const char* field) const {
    jclass cls = env->FindClass("zorf/testing/CallBack");
    return env->GetStaticIntField(cls, env->GetStaticFieldID(cls, field, "I"));
  }

  void TearDown() override {
    setOnLine(nullptr);
    RobustnessTest::TearDown();
  }
};

TEST_F(ThrowingLoggerTest, AtAnyOneLineOfANativeIsSurvived) {
  int lines = 0;
  for (const NativeCall& call : all->calls()) {
    const Attempt usual = undisturbed(call);
    for (int k = 1; k <= static_cast<int>(usual.log.size()); ++k, ++lines) {
      SCOPED_TRACE(call.name() + ", line " + std::to_string(k));
      const Attempt attempt =
          all->attempt(call, [&](Hooks&) { letLoggerThrow(byLogger.message, k); });
      expectOneOfBoth(usual.outcome, attempt);
      expectNothingKept(call, attempt);
    }
    EXPECT_EQ(all->attempt(call).outcome, usual.outcome) << call.name() << " afterwards";
  }
  std::cout << lines << " lines thrown at\n";
}

TEST_F(ThrowingLoggerTest, AtEveryLineOfANativeIsSurvived) {
  for (const NativeCall& call : all->calls()) {
    SCOPED_TRACE(call.name());
    const Attempt usual = undisturbed(call);
    if (usual.log.empty()) continue;
    const Attempt attempt = all->attempt(call, [&](Hooks&) { letLoggerThrow(byLogger.message); });
    expectOneOfBoth(usual.outcome, attempt);
    expectNothingKept(call, attempt);
    EXPECT_EQ(all->attempt(call).outcome, usual.outcome);
  }
}

TEST_F(ThrowingLoggerTest, AtAnyLineOfAFailingNativeIsSurvived) {
  int lines = 0;
  const std::vector<FaultSite> sites = faultSites(all->acl());
  for (const NativeCall& call : all->calls()) {
    for (const FaultSite& site : sites) {
      bool failed = false;
      const auto fail = [&](Hooks& hooks) {
        site.reset();
        site.fail(hooks, EIO, 1);
      };
      const auto look = [&](Hooks& hooks) {
        failed = site.calls(hooks) > 0;
        site.reset();
      };
      const Attempt failing = all->attempt(call, fail, look);
      if (!failed) continue;
      for (int k = 1; k <= static_cast<int>(failing.log.size()); ++k, ++lines) {
        SCOPED_TRACE(call.name() + ", " + site.name() + " fails, line " + std::to_string(k));
        const Attempt attempt = all->attempt(
            call,
            [&](Hooks& hooks) {
              letLoggerThrow(byLogger.message, k);
              fail(hooks);
            },
            look);
        expectOneOfBoth(failing.outcome, attempt);
        expectNothingKept(call, attempt);
      }
    }
  }
  std::cout << lines << " lines thrown at\n";
}

TEST_F(ThrowingLoggerTest, CallingTheNativesChangesNoAnswer) {
  for (const NativeCall& call : all->calls()) {
    SCOPED_TRACE(call.name());
    const Attempt usual = undisturbed(call);
    callBackOnEveryLine(true);
    const Attempt attempt = all->attempt(call);
    setOnLine(nullptr);
    EXPECT_EQ(attempt.outcome, usual.outcome);
    EXPECT_EQ(attempt.damage, "");
  }
  EXPECT_GT(callBackCount("lines"), 100);
  EXPECT_EQ(callBackCount("wrongAnswers"), 0);
}

TEST_F(ThrowingLoggerTest, ChangingErrnoChangesNoAnswerOfAFailingNative) {
  for (const FaultSite& site : faultSites(all->acl())) {
    if (site.name() == "stat") continue;  // is what the logger itself calls
    for (const NativeCall& call : all->calls()) {
      SCOPED_TRACE(call.name() + ", " + site.name() + " fails");
      const auto attempt = [&] {
        return all->attempt(
            call,
            [&](Hooks& hooks) {
              site.reset();
              site.fail(hooks, EIO, 1);
            },
            [&](Hooks&) { site.reset(); });
      };
      const Attempt usual = attempt();
      callBackOnEveryLine(false);
      const Attempt disturbed = attempt();
      setOnLine(nullptr);
      EXPECT_EQ(disturbed.outcome, usual.outcome);
      EXPECT_EQ(disturbed.damage, "");
    }
  }
}

}  // namespace
