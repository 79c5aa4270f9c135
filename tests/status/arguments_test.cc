// What all natives of this folder do with strings that Java can't hand over and with results that
// Java has no room for.
#include <cerrno>
#include <functional>

#include "status/status_fixture.h"
#include "support/patched_jni.h"

namespace {

class ArgumentsTest : public InJvm<FilesTest> {
 protected:
  struct Native {
    const char* name;
    // Calls it and says whether it returned its neutral value.
    std::function<bool(jstring)> isNeutralFor;
  };

  // Those with a path; its neutral value for a bad string is 0 for the inode number.
  std::vector<Native> natives() {
    return {
        {"getFileStatusNative",
         [this](jstring path) {
           return ZORF_CALL(getFileStatusNative)(env, nullptr, path, JNI_TRUE) == nullptr;
         }},
        {"getINum", [this](jstring path) { return ZORF_CALL(getINum)(env, nullptr, path) == 0; }},
        {"getLinkTargetNative",
         [this](jstring path) {
           return ZORF_CALL(getLinkTargetNative)(env, nullptr, path, 10) == nullptr;
         }},
        {"getFailedPathNative",
         [this](jstring path) {
           return ZORF_CALL(getFailedPathNative)(env, nullptr, path, JNI_TRUE) == nullptr;
         }},
        {"getFsName",
         [this](jstring path) { return ZORF_CALL(getFsName)(env, nullptr, path) == nullptr; }},
        {"setPermission",
         [this](jstring path) {
           return ZORF_CALL(setPermission)(env, nullptr, path, 0777) == JNI_FALSE;
         }},
    };
  }

  void expectVmError(const std::function<jobject()>& native) {
    jobject result = nullptr;
    {
      PatchedJni jni;
      jni.table.NewByteArray = [](JNIEnv* e, jsize) -> jbyteArray {
        e->ThrowNew(e->FindClass("java/lang/OutOfMemoryError"), "no heap");
        return nullptr;
      };
      jni.table.NewIntArray = [](JNIEnv* e, jsize) -> jintArray {
        e->ThrowNew(e->FindClass("java/lang/OutOfMemoryError"), "no heap");
        return nullptr;
      };
      result = native();
    }
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.OutOfMemoryError", "no heap"}));
  }
};

TEST_F(ArgumentsTest, NullIsEinval) {
  for (const Native& native : natives()) {
    EXPECT_TRUE(native.isNeutralFor(nullptr)) << native.name;
    EXPECT_EQ(takeJavaError(), errorFor(EINVAL, "null argument")) << native.name;
    EXPECT_THAT(takeLines(), ::testing::ElementsAre(errorLine(EINVAL, "null argument")))
        << native.name;
  }
}

TEST_F(ArgumentsTest, StringThatCannotBeReadIsEnomem) {
  jstring path = javaString(longSpelling("/"));
  for (const Native& native : natives()) {
    bool neutral = false;
    {
      PatchedJni jni;
      jni.table.GetStringUTFChars = [](JNIEnv*, jstring, jboolean*) -> const char* {
        return nullptr;
      };
      neutral = native.isNeutralFor(path);
    }
    EXPECT_TRUE(neutral) << native.name;
    EXPECT_EQ(takeJavaError(),
              (JavaError{"java.lang.RuntimeException", "Cannot allocate memory: "}))
        << native.name;
  }
}

TEST_F(ArgumentsTest, ResultThatCannotBeAllocatedLeavesTheErrorOfTheVm) {
  jstring path = javaString("/");
  jstring link = javaString(makeLink("link", "target"));
  expectVmError([&] { return ZORF_CALL(getFileStatusFormatNative)(env, nullptr); });
  expectVmError([&] { return ZORF_CALL(getFileStatusNative)(env, nullptr, path, JNI_TRUE); });
  expectVmError([&] { return ZORF_CALL(getFailedPathNative)(env, nullptr, path, JNI_TRUE); });
  expectVmError([&] { return ZORF_CALL(getLinkTargetNative)(env, nullptr, link, 10); });
}

}  // namespace
