// How paths of Java reach the kernel: in the JVM's modified UTF-8, byte for byte. Up to U+FFFF
// that is what other programs write too. A supplementary character is two surrogates of three
// bytes each, so a file that another program named with one, in plain UTF-8, can't be reached.
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "status/status_fixture.h"

namespace {

class StatPathTest : public InJvm<FilesTest> {
 protected:
  // 0 or the errno whose exception is raised for a status of dir/`name` in UTF-16.
  bool reaches(const std::u16string& name, const std::string& file) {
    const std::string prefix = at("") + "/";
    std::u16string text(prefix.begin(), prefix.end());
    text += name;
    jstring java = env->NewString(reinterpret_cast<const jchar*>(text.data()),
                                  static_cast<jsize>(text.size()));
    jbyteArray record = ZORF_CALL(getFileStatusNative)(env, nullptr, java, JNI_TRUE);
    if (record != nullptr) {
      struct stat st {};
      EXPECT_EQ(::stat(at(file).c_str(), &st), 0);
      EXPECT_EQ(bytesOf(record), std::string(reinterpret_cast<const char*>(&st), sizeof st));
      EXPECT_EQ(ZORF_CALL(getINum)(env, nullptr, java), static_cast<jlong>(st.st_ino));
      return true;
    }
    const auto error = takeJavaError();
    EXPECT_EQ(error->className, "java.nio.file.NoSuchFileException");
    return false;
  }

  // A path of exactly `length` bytes below the scratch directory, none of its parts above 200.
  std::string longPath(std::size_t length) {
    std::string text = at("");
    while (text.size() < length) {
      const std::size_t left = length - text.size() - 1;
      // Never leaves one byte, which would be a "/" alone.
      const std::size_t part = left > 202 ? 200 : (left > 200 ? left / 2 : left);
      text.append("/").append(part, 'p');
    }
    return text;
  }
};

TEST_F(StatPathTest, NonAsciiCharactersAreUtf8) {
  makeFile("\xC3\xA4\xE2\x82\xAC");
  EXPECT_TRUE(reaches(u"\u00E4\u20AC", "\xC3\xA4\xE2\x82\xAC"));
}

TEST_F(StatPathTest, SupplementaryCharacterIsTwoSurrogates) {
  const std::string surrogates = "\xED\xA0\xBD\xED\xB8\x80";
  makeFile("\xF0\x9F\x98\x80");
  EXPECT_FALSE(reaches(u"\U0001F600", surrogates));
  makeFile(surrogates);
  EXPECT_TRUE(reaches(u"\U0001F600", surrogates));
}

TEST_F(StatPathTest, ZeroCharacterDoesNotCutThePath) {
  makeFile("cut");
  const std::u16string name(u"cut\0off", 7);
  EXPECT_FALSE(reaches(name, "cut"));
  makeFile("cut\xC0\x80off");
  EXPECT_TRUE(reaches(name, "cut\xC0\x80off"));
}

TEST_F(StatPathTest, NewlinesAndQuotesAreOrdinary) {
  makeFile("a\nb\" c\\");
  EXPECT_TRUE(reaches(u"a\nb\" c\\", "a\nb\" c\\"));
}

TEST_F(StatPathTest, LongestPathIs4095Bytes) {
  const std::string longest = longPath(4095);
  for (std::size_t slash = at("").size(); slash != std::string::npos;
       slash = longest.find('/', slash + 1)) {
    ::mkdir(longest.substr(0, slash).c_str(), 0755);
  }
  ASSERT_EQ(::mkdir(longest.c_str(), 0755), 0);
  ASSERT_EQ(longest.size(), 4095U);
  jbyteArray record = ZORF_CALL(getFileStatusNative)(env, nullptr, javaString(longest), JNI_TRUE);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(bytesOf(record).size(), 144U);
  EXPECT_GT(ZORF_CALL(getINum)(env, nullptr, javaString(longest)), 0);
}

TEST_F(StatPathTest, LongerPathsAndNamesAreTooLong) {
  for (const std::string& name :
       {longPath(4096), longPath(20000), at(std::string(256, 'n')), std::string(5000, 'n')}) {
    EXPECT_EQ(ZORF_CALL(getFileStatusNative)(env, nullptr, javaString(name), JNI_FALSE), nullptr);
    EXPECT_EQ(takeJavaError(), errorFor(ENAMETOOLONG, name));
    EXPECT_EQ(ZORF_CALL(getINum)(env, nullptr, javaString(name)), -1);
    EXPECT_EQ(takeJavaError(), errorFor(ENAMETOOLONG, "stat failed for " + name));
    takeLines();
  }
}

}  // namespace
