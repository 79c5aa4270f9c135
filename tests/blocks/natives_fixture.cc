#include "blocks/natives_fixture.h"

#include <fcntl.h>
#include <sys/fsuid.h>
#include <unistd.h>

#include <cstdarg>
#include <filesystem>
#include <fstream>

#include "support/java_values.h"
#include "support/open_files.h"

namespace {

const std::string jniPrefix = "Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_";

std::function<void(const std::string&)> aroundLine;
void(JNICALL* realCall)(JNIEnv*, jobject, jmethodID, va_list) = nullptr;

void JNICALL callHooked(JNIEnv* env, jobject object, jmethodID method, va_list args) {
  va_list copy;
  va_copy(copy, args);
  const std::string text = stringOf(va_arg(copy, jstring));
  va_end(copy);
  aroundLine(text);
  realCall(env, object, method, args);
  aroundLine("");
}

}  // namespace

ActingAs::ActingAs(unsigned id) : uid_(threadIdentity().fsuid), gid_(threadIdentity().fsgid) {
  setfsgid(id);
  setfsuid(id);
}

ActingAs::~ActingAs() {
  setfsuid(uid_);
  setfsgid(gid_);
}

LineHook::LineHook(std::function<void(const std::string& text)> hook) {
  aroundLine = std::move(hook);
  realCall = jni_.real.CallVoidMethodV;
  jni_.table.CallVoidMethodV = callHooked;
}

LineHook::~LineHook() {
  aroundLine = nullptr;
}

void BlockNativesTest::SetUp() {
  JvmTest::SetUp();
  directory_ = (std::filesystem::temp_directory_path() / "zorf-blocks-XXXXXX").string();
  ASSERT_NE(mkdtemp(directory_.data()), nullptr);
  ASSERT_EQ(chmod(directory_.c_str(), 0755), 0);
  identity_ = threadIdentity();
}

void BlockNativesTest::TearDown() {
  EXPECT_EQ(threadIdentity(), identity_) << "the native left another identity";
  EXPECT_THAT(openFilesBelow(directory_), ::testing::IsEmpty())
      << "the native left a descriptor open";
  if (!directory_.empty()) std::filesystem::remove_all(directory_);
  JvmTest::TearDown();
}

std::string BlockNativesTest::file(const std::string& name, std::uint64_t size, unsigned mode,
                                   const std::string& content) {
  const std::string path = at(name);
  std::ofstream(path) << content;
  EXPECT_EQ(truncate(path.c_str(), static_cast<off_t>(size)), 0);
  EXPECT_EQ(chmod(path.c_str(), mode), 0);
  return path;
}

std::vector<std::string> BlockNativesTest::ownLines() {
  std::vector<std::string> own;
  for (const std::string& text : takeLogWithoutLines()) {
    const std::string from = text.substr(text.find(' ') + 1);
    for (const std::string& function :
         {"@" + jniPrefix, std::string("@handle_error:"), std::string("@getBlk")}) {
      if (from.starts_with(function)) own.push_back(text);
    }
  }
  return own;
}

std::string BlockNativesTest::line(const std::string& level, const std::string& native,
                                   const std::string& text) {
  return level + " @" + jniPrefix + native + ":# " + text;
}
