#include "blocks/natives_fixture.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>

#include "support/java_values.h"

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

LineHook::LineHook(std::function<void(const std::string& text)> hook) {
  aroundLine = std::move(hook);
  realCall = jni_.real.CallVoidMethodV;
  jni_.table.CallVoidMethodV = callHooked;
}

LineHook::~LineHook() {
  aroundLine = nullptr;
}

std::string BlockNativesTest::file(const std::string& name, std::uint64_t size, mode_t mode,
                                   const std::string& content) const {
  const std::string path = makeFile(name, 0600, content);
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
