// Big results must not use up Java's local references. The virtual machine only says so on its
// output, under -Xcheck:jni: the tests named Checked do the work, and each is run once more in a
// child process that is checked, and its output read.
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/java_values.h"
#include "xattr/xattr_test.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

Attributes many(int count) {
  Attributes attributes;
  for (int i = 0; i < count; ++i) {
    attributes["user.name" + std::to_string(i)] = "value" + std::to_string(i);
  }
  return attributes;
}

class CheckedReferences : public XattrTest {
 protected:
  void SetUp() override {
    XattrTest::SetUp();
    logger2::currentLevel = LOG_OFF;
  }
};

TEST_F(CheckedReferences, MapOf5000Attributes) {
  const Attributes attributes = many(5000);
  Hooks hooks;
  serve(hooks, attributes);
  EXPECT_EQ(attributesOf(dumpXAttrs(env, path)), attributes);
}

TEST_F(CheckedReferences, MapOf5000AttributesWithEveryLine) {
  const Attributes attributes = many(5000);
  logger2::currentLevel = LOG_TRACE;
  Hooks hooks;
  serve(hooks, attributes);
  EXPECT_EQ(attributesOf(dumpXAttrs(env, path)), attributes);
  EXPECT_GT(takeLog().size(), 25000u);
}

TEST_F(CheckedReferences, ArrayOf50000NamesToGet) {
  const Attributes attributes = many(50000);
  std::vector<std::string> names;
  for (const auto& [name, value] : attributes) names.push_back(name);
  Hooks hooks;
  serve(hooks, attributes);
  EXPECT_EQ(attributesOf(getXAttrs(env, path, names)), attributes);
}

TEST_F(CheckedReferences, ArrayOf50000NamesListed) {
  const Attributes attributes = many(50000);
  Hooks hooks;
  serve(hooks, attributes);
  const auto names = namesOf([&] {
    jobjectArray array = listXAttrs(env, path);
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
  EXPECT_EQ(setExtendedAttribute(env, path, "user.a", "2"), 1);
  EXPECT_EQ(setExtendedAttribute(env, path, "user.a", "2", 1), 0);
  EXPECT_TRUE(takeJavaError());
  EXPECT_EQ(attributesOf(getXAttrs(env, path, {"user.a"})), (Attributes{{"user.a", "2"}}));
  EXPECT_EQ(getXAttrs(env, path, {"user.b"}), nullptr);
  EXPECT_TRUE(takeJavaError());
  EXPECT_EQ(dumpXAttrs(env, path + "-missing"), nullptr);
  EXPECT_TRUE(takeJavaError());
  listXAttrs(env, path);
  EXPECT_TRUE(takeJavaError());
  EXPECT_EQ(removeXAttr(env, path, "user.b"), 0);
  EXPECT_TRUE(takeJavaError());
  EXPECT_EQ(removeXAttr(env, path, "user.a"), 1);
}

// The defect that the checks must see.
TEST_F(CheckedReferences, DISABLED_ReferencesThatAreKept) {
  jobjectArray names = javaNames({"user.a"});
  for (int i = 0; i < 1000; ++i) env->GetObjectArrayElement(names, 0);
}

// All that a child running the tests of `filter` under -Xcheck:jni prints.
std::string checkedOutput(const std::string& filter) {
  const std::string command =
      "ZORF_TEST_JVM_OPTION=-Xcheck:jni exec /proc/" + std::to_string(::getpid()) +
      "/exe --gtest_also_run_disabled_tests --gtest_filter='" + filter + "' 2>&1";
  FILE* pipe = ::popen(command.c_str(), "r");
  std::string output;
  std::array<char, 4096> part;
  while (const std::size_t n = std::fread(part.data(), 1, part.size(), pipe)) {
    output.append(part.data(), n);
  }
  EXPECT_EQ(::pclose(pipe), 0) << output;
  return output;
}

TEST(XattrReferences, CheckedRunSeesReferencesThatAreKept) {
  EXPECT_THAT(checkedOutput("CheckedReferences.DISABLED_ReferencesThatAreKept"),
              HasSubstr("exceeds capacity"));
}

TEST(XattrReferences, CheckedRunIsSilent) {
  const std::string output = checkedOutput("CheckedReferences.*-*DISABLED_*");
  EXPECT_THAT(output, AllOf(HasSubstr("[  PASSED  ] 5 tests."), Not(HasSubstr("WARNING")),
                            Not(HasSubstr("exceeds capacity")), Not(HasSubstr("FATAL ERROR"))));
}

}  // namespace
