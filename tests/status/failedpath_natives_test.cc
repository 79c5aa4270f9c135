// The native that diagnoses a path; what the diagnosis finds is tested without Java.
#include <cerrno>

#include "status/failedpath.h"
#include "status/status_fixture.h"
#include "support/interpose.h"

namespace {

using ::testing::IsEmpty;

class FailedPathNative : public InJvm<FilesTest> {
 protected:
  jbyteArray native(const std::string& path, bool resolveLink = false) {
    return ZORF_CALL(getFailedPathNative)(env, nullptr, javaString(path),
                                          resolveLink ? JNI_TRUE : JNI_FALSE);
  }
};

TEST_F(FailedPathNative, LinkIsFollowedOnlyWhenWanted) {
  const std::string link = makeLink("link", "missing");
  EXPECT_EQ(bytesOf(native(link, false)), link);
  EXPECT_EQ(bytesOf(native(link, true)), at(""));
}

TEST_F(FailedPathNative, LinesGoToJava) {
  const std::string directory = makeDirectory("directory");
  EXPECT_EQ(bytesOf(native(directory)), directory);
  const std::vector<std::string> inJava = takeLines();
  struct stat st {};
  EXPECT_EQ(getFailedPath(directory.c_str(), false, st), directory);
  EXPECT_FALSE(inJava.empty());
  EXPECT_EQ(inJava, takeLines());
}

TEST_F(FailedPathNative, EveryPathComesToAnEnd) {
  for (const bool always : {false, true}) {
    for (const std::string& name :
         std::vector<std::string>{"", ".", "..", "/", "//", "//zorf-missing", "a", "./zorf-missing",
                                  "../zorf-missing/", "/zorf-missing///x//"}) {
      jstring text = javaString(name);
      jbyteArray array = nullptr;
      {
        Hooks hooks;
        if (always) {
          hooks.lstat = [](const char*, struct stat*) {
            errno = EACCES;
            return -1;
          };
        }
        array = ZORF_CALL(getFailedPathNative)(env, nullptr, text, JNI_TRUE);
        EXPECT_LE(hooks.calls("lstat"), 8) << name;
      }
      ASSERT_NE(array, nullptr) << name;
      if (name.starts_with("/zorf") || name == "/") {
        EXPECT_EQ(bytesOf(array), "/");
      }
      takeLines();
    }
  }
}

TEST_F(FailedPathNative, AboveDebugNothingIsDone) {
  const std::string missing = at("missing");
  jstring name = javaString(missing);
  for (const int level : {LOG_INFO, LOG_WARN, LOG_ERROR, LOG_FATAL, LOG_OFF}) {
    logger2::currentLevel = level;
    jbyteArray array = nullptr;
    {
      Hooks hooks;
      array = ZORF_CALL(getFailedPathNative)(env, nullptr, name, JNI_TRUE);
      EXPECT_EQ(hooks.calls(), 0);
    }
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(env->GetArrayLength(array), 0);
  }
  EXPECT_THAT(takeLines(), IsEmpty());
}

TEST_F(FailedPathNative, ResultIsTheBytesOfThePath) {
  const std::string file = makeFile("\xC3\xA4\xED\xA0\xBD\xED\xB8\x80");
  EXPECT_EQ(bytesOf(native(file)), file);
}

}  // namespace
