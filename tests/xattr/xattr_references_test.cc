// Big results must not use up Java's local references.
//
// Only some virtual machines tell when they do, and only on their output, under -Xcheck:jni. So the
// references are counted here, and the tests named Checked run once more in a child process that is
// checked and whose output is read. What the tests' own code makes the machine say does not count:
// the library's calls are marked in the output.
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <sstream>

#include "support/commands.h"
#include "support/java_values.h"
#include "xattr/xattr_test.h"

namespace {

using ::testing::HasSubstr;

Attributes many(int count) {
  Attributes attributes;
  for (int i = 0; i < count; ++i) {
    attributes["user.name" + std::to_string(i)] = "value" + std::to_string(i);
  }
  return attributes;
}

// Counts the local references that the JNI functions used by the library give out, and those that
// it deletes.
struct {
  const JNINativeInterface_* original = nullptr;
  int live = 0;
  int peak = 0;
} meter;

template <class Reference>
Reference counted(Reference reference) {
  if (reference != nullptr) meter.peak = std::max(meter.peak, ++meter.live);
  return reference;
}

class ReferenceMeter {
 public:
  ReferenceMeter() {
    meter = {&jni_.real, 0, 0};
    JNINativeInterface_& jni = jni_.table;
    jni.NewStringUTF = [](JNIEnv* env, const char* text) {
      return counted(meter.original->NewStringUTF(env, text));
    };
    jni.NewByteArray = [](JNIEnv* env, jsize length) {
      return counted(meter.original->NewByteArray(env, length));
    };
    jni.NewObjectArray = [](JNIEnv* env, jsize length, jclass cls, jobject initial) {
      return counted(meter.original->NewObjectArray(env, length, cls, initial));
    };
    jni.NewObjectA = [](JNIEnv* env, jclass cls, jmethodID method, const jvalue* arguments) {
      return counted(meter.original->NewObjectA(env, cls, method, arguments));
    };
    jni.CallObjectMethodA = [](JNIEnv* env, jobject object, jmethodID method,
                               const jvalue* arguments) {
      return counted(meter.original->CallObjectMethodA(env, object, method, arguments));
    };
    jni.GetObjectArrayElement = [](JNIEnv* env, jobjectArray array, jsize index) {
      return counted(meter.original->GetObjectArrayElement(env, array, index));
    };
    jni.ExceptionOccurred = [](JNIEnv* env) {
      return counted(meter.original->ExceptionOccurred(env));
    };
    jni.DeleteLocalRef = [](JNIEnv* env, jobject reference) {
      if (reference != nullptr) --meter.live;
      meter.original->DeleteLocalRef(env, reference);
    };
  }

 private:
  CountingJni jni_;
};

// What JNI grants to every native without asking.
constexpr int granted = 16;

void say(const char* line) {
  std::puts(line);
  std::fflush(stdout);  // the virtual machine writes to the descriptor itself
}

constexpr char begin[] = "<<< library";
constexpr char end[] = ">>> library";

template <class Call>
auto marked(Call call) {
  const ReferenceMeter counting;
  say(begin);
  const auto result = call();
  say(end);
  EXPECT_LE(meter.peak, granted);
  return result;
}

class CheckedReferences : public XattrInJvm {
 protected:
  void SetUp() override {
    XattrInJvm::SetUp();
    logger2::currentLevel = LOG_OFF;
  }
};

TEST_F(CheckedReferences, MapOf5000Attributes) {
  const Attributes attributes = many(5000);
  Hooks hooks;
  serve(hooks, attributes);
  EXPECT_EQ(attributesOf(marked([&] { return dumpXAttrs(path); })), attributes);
}

TEST_F(CheckedReferences, MapOf5000AttributesWithEveryLine) {
  const Attributes attributes = many(5000);
  logger2::currentLevel = LOG_TRACE;
  Hooks hooks;
  serve(hooks, attributes);
  EXPECT_EQ(attributesOf(marked([&] { return dumpXAttrs(path); })), attributes);
  EXPECT_GT(takeLog().size(), 25000u);
}

TEST_F(CheckedReferences, ArrayOf50000NamesToGet) {
  const Attributes attributes = many(50000);
  std::vector<std::string> names;
  for (const auto& [name, value] : attributes) names.push_back(name);
  Hooks hooks;
  serve(hooks, attributes);
  EXPECT_EQ(attributesOf(marked([&] { return getXAttrs(path, names); })), attributes);
}

TEST_F(CheckedReferences, ArrayOf50000NamesListed) {
  const Attributes attributes = many(50000);
  Hooks hooks;
  serve(hooks, attributes);
  const auto names = namesOf([&] {
    jobjectArray array = marked([&] { return listXAttrs(path); });
    EXPECT_EQ(takeJavaError()->className, "java.lang.ArrayIndexOutOfBoundsException");
    return array;
  }());
  ASSERT_EQ(names.size(), 50000u);
  EXPECT_EQ(names[0], std::nullopt);
  EXPECT_EQ(names[1], attributes.begin()->first);
  EXPECT_EQ(names.back(), std::prev(attributes.end(), 2)->first);
}

TEST_F(CheckedReferences, FailuresAndSmallResults) {
  put(path, "user.a", "1");
  logger2::currentLevel = LOG_TRACE;
  EXPECT_EQ(marked([&] { return setExtendedAttribute(path, "user.a", "2"); }), 1);
  EXPECT_EQ(marked([&] { return setExtendedAttribute(path, "user.a", "2", 1); }), 0);
  EXPECT_TRUE(takeJavaError());
  EXPECT_EQ(attributesOf(marked([&] { return getXAttrs(path, {"user.a"}); })),
            (Attributes{{"user.a", "2"}}));
  EXPECT_EQ(marked([&] { return getXAttrs(path, {"user.b"}); }), nullptr);
  EXPECT_TRUE(takeJavaError());
  EXPECT_EQ(marked([&] { return dumpXAttrs(path + "-missing"); }), nullptr);
  EXPECT_TRUE(takeJavaError());
  marked([&] { return listXAttrs(path); });
  EXPECT_TRUE(takeJavaError());
  EXPECT_EQ(marked([&] { return removeXAttr(path, "user.b"); }), 0);
  EXPECT_TRUE(takeJavaError());
  EXPECT_EQ(marked([&] { return removeXAttr(path, "user.a"); }), 1);
}

// A defect that the machine must see.
TEST_F(CheckedReferences, DISABLED_CallWithAnExceptionPending) {
  marked([&] {
    env->ThrowNew(env->FindClass("java/lang/Exception"), "pending");
    env->NewByteArray(1);
    env->ExceptionClear();
    return 0;
  });
}

TEST_F(CheckedReferences, MeterSeesReferencesThatAreKept) {
  jobjectArray names = javaNames({"user.a"});
  const ReferenceMeter counting;
  for (int i = 0; i < 100; ++i) env->GetObjectArrayElement(names, 0);
  EXPECT_EQ(meter.peak, 100);
}

struct Output {
  std::string whole;
  std::string library;  // between the marks
};

// What a child prints that runs the tests of `filter` under -Xcheck:jni.
Output checkedOutput(const std::string& filter) {
  const CommandResult child = runCommand(
      {"env", "ZORF_TEST_JVM_OPTION=-Xcheck:jni", "/proc/" + std::to_string(::getpid()) + "/exe",
       "--gtest_also_run_disabled_tests", "--gtest_filter=" + filter});
  EXPECT_EQ(child.status, 0) << child.output;
  Output output{child.output, ""};
  bool inside = false;
  std::istringstream lines(output.whole);
  for (std::string line; std::getline(lines, line);) {
    if (line == begin || line == end) {
      inside = line == begin;
    } else if (inside) {
      output.library += line + "\n";
    }
  }
  return output;
}

TEST(XattrReferences, CheckedRunSeesADefect) {
  EXPECT_THAT(checkedOutput("CheckedReferences.DISABLED_CallWithAnExceptionPending").library,
              HasSubstr("exception pending"));
}

TEST(XattrReferences, CheckedRunIsSilent) {
  const Output output = checkedOutput("CheckedReferences.*-*DISABLED_*");
  EXPECT_THAT(output.whole, HasSubstr("[  PASSED  ] 6 tests."));
  EXPECT_EQ(output.library, "");
}

}  // namespace
