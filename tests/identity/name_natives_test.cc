// The natives that turn ids into names and names into ids.
#include <cerrno>
#include <string>

#include "identity/identity_fixture.h"
#include "support/java_values.h"
#include "zorf_native.h"

namespace {

using NameNatives = JvmTest;

constexpr unsigned UNKNOWN_ID = 4242;

jstring getUser(JNIEnv* env, jint uid) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getUser(env, nullptr, uid);
}
jstring getGroup(JNIEnv* env, jint gid) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getGroup(env, nullptr, gid);
}
jint getUid(JNIEnv* env, jstring name) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getUid(env, nullptr, name);
}
jint getGid(JNIEnv* env, jstring name) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getGid(env, nullptr, name);
}

TEST_F(NameNatives, AnswerForRoot) {
  EXPECT_EQ(stringOf(getUser(env, 0)), "root");
  EXPECT_EQ(stringOf(getGroup(env, 0)), "root");
  EXPECT_EQ(getUid(env, javaString("root")), 0);
  EXPECT_EQ(getGid(env, javaString("root")), 0);
}

TEST_F(NameNatives, UnassignedIdsRaiseEinvalWithAnEmptyText) {
  EXPECT_EQ(getUser(env, UNKNOWN_ID), nullptr);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.io.IOException", "Invalid argument: "}));
  EXPECT_EQ(getGroup(env, UNKNOWN_ID), nullptr);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.io.IOException", "Invalid argument: "}));
}

TEST_F(NameNatives, UnknownNamesRaiseEinvalWithTheName) {
  EXPECT_EQ(getUid(env, javaString("no-such-user")), -1);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.io.IOException", "Invalid argument: no-such-user"}));
  EXPECT_EQ(getGid(env, javaString("no-such-group")), -1);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.io.IOException", "Invalid argument: no-such-group"}));
}

TEST_F(NameNatives, NoMemoryForTheBufferRaisesARuntimeException) {
  jstring root = javaString("root");
  Hooks hooks;
  const auto withoutMemory = [&](const auto& native) {
    hooks.fail("operator new[](nothrow)", ENOMEM);
    return native();
  };
  EXPECT_EQ(withoutMemory([&] { return getUser(env, 0); }), nullptr);
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, ""));
  EXPECT_EQ(withoutMemory([&] { return getGroup(env, 0); }), nullptr);
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, ""));
  EXPECT_EQ(withoutMemory([&] { return getUid(env, root); }), -1);
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, "root"));
  EXPECT_EQ(withoutMemory([&] { return getGid(env, root); }), -1);
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, "root"));
}

TEST_F(NameNatives, NullNamesRaiseEinval) {
  EXPECT_EQ(getUid(env, nullptr), -1);
  EXPECT_EQ(takeJavaError(), errorFor(EINVAL, "null argument"));
  EXPECT_EQ(getGid(env, nullptr), -1);
  EXPECT_EQ(takeJavaError(), errorFor(EINVAL, "null argument"));
}

TEST_F(NameNatives, EmptyAndHugeAndZeroNamesAreUnknown) {
  for (const std::string& bad :
       {std::string(), std::string(100000, 'x'), std::string("\xC0\x80")}) {
    EXPECT_EQ(getUid(env, javaString(bad)), -1);
    EXPECT_EQ(takeJavaError(), errorFor(EINVAL, bad));
    EXPECT_EQ(getGid(env, javaString(bad)), -1);
    EXPECT_EQ(takeJavaError(), errorFor(EINVAL, bad));
  }
}

TEST_F(NameNatives, IdsAbove2To31ArriveNegative) {
  REQUIRE_SCRATCH_USERS();
  const auto uidAsInt = static_cast<jint>(ABOVE_2_31.uid);
  const auto gidAsInt = static_cast<jint>(ABOVE_2_31.gid);
  EXPECT_LT(uidAsInt, 0);
  EXPECT_EQ(getUid(env, javaString(ABOVE_2_31.name)), uidAsInt);
  EXPECT_EQ(getGid(env, javaString(ABOVE_2_31.name)), gidAsInt);
  EXPECT_EQ(stringOf(getUser(env, uidAsInt)), ABOVE_2_31.name);
  EXPECT_EQ(stringOf(getGroup(env, gidAsInt)), ABOVE_2_31.name);
}

TEST_F(NameNatives, LoggersExceptionIsWhatJavaSees) {
  letLoggerThrow("disk full");
  EXPECT_EQ(getUser(env, UNKNOWN_ID), nullptr);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.RuntimeException", "disk full"}));
}

}  // namespace
