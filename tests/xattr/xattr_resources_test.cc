// What the natives hold on to, and what they do with what Java or the machine does not give them.
#include <cerrno>
#include <functional>

#include "jni/jniutil.h"
#include "support/java_values.h"
#include "xattr/xattr_test.h"
#include "zorf_native.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class XattrResources : public XattrInJvm {
 protected:
  jint set(jstring p, jstring name) {
    return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setExtendedAttribute(
        env, nullptr, p, name, javaBytes("1"), 0);
  }
  jint remove(jstring p, jstring name) {
    return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_removeXAttr(env, nullptr, p,
                                                                              name);
  }
  jobject get(jstring p, jobjectArray names) {
    return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getXAttrs(env, nullptr, p, names);
  }

  void expectNullArgument() {
    EXPECT_EQ(takeJavaError(), errorFor(EINVAL, "null argument"));
    EXPECT_THAT(takeLogWithoutLines(),
                Contains("debug @handle_error:# Invalid argument: null argument").Times(1));
  }
};

TEST_F(XattrResources, FailedSetKeepsItsStringsAndItsValue) {
  logger2::currentLevel = LOG_OFF;
  CountingJni jni;
  Hooks hooks;
  const std::string name = "user.a";
  const std::optional<std::string> value("abc");
  const long before = hooks.allocations();
  EXPECT_EQ(setExtendedAttribute(path, name, value, 2), 0);
  EXPECT_EQ(hooks.allocations(), before + 1);
  EXPECT_EQ(jni.taken(), 2);
  EXPECT_EQ(jni.released(), 0);
  EXPECT_EQ(takeJavaError(), errorFor(ENODATA, "setxattr failed."));
}

TEST_F(XattrResources, FailedSetWithoutAValueKeepsItsStrings) {
  logger2::currentLevel = LOG_OFF;
  CountingJni jni;
  Hooks hooks;
  const long before = hooks.allocations();
  EXPECT_EQ(setExtendedAttribute(path, "user.a", std::nullopt, 2), 0);
  EXPECT_EQ(hooks.allocations(), before);
  EXPECT_EQ(jni.taken(), 2);
  EXPECT_EQ(jni.released(), 0);
  takeJavaError();
}

TEST_F(XattrResources, EveryOtherPathReleasesWhatItTook) {
  put(path, "user.a", "1");
  const std::string file = longSpelling(path);
  const std::string missing = file + "-missing";
  struct Way {
    const char* name;
    std::function<void()> call;
    std::function<void(Hooks&)> fault = [](Hooks&) {};
  };
  const std::vector<Way> ways = {
      {"set", [&] { setExtendedAttribute(file, "user.a", "1"); }},
      {"set null", [&] { setExtendedAttribute(file, "user.n", std::nullopt); }},
      {"set empty", [&] { setExtendedAttribute(file, "user.n", ""); }},
      {"remove missing", [&] { removeXAttr(file, "user.none"); }},
      {"remove refused", [&] { removeXAttr(file, "user.a"); },
       [](Hooks& hooks) { hooks.fail("removexattr", EPERM); }},
      {"list", [&] { listXAttrs(file); }},
      {"list of nothing", [&] { listXAttrs(missing); }},
      {"get",
       [&] {
         getXAttrs(file, {"user.a", "user.a"});
       }},
      {"get none", [&] { getXAttrs(file, {}); }},
      {"get missing",
       [&] {
         getXAttrs(file, {"user.a", "user.none"});
       }},
      {"get raced", [&] { getXAttrs(file, {"user.a"}); },
       [](Hooks& hooks) { hooks.fail("getxattr", ERANGE, 2); }},
      {"dump", [&] { dumpXAttrs(file); }},
      {"dump of nothing", [&] { dumpXAttrs(missing); }},
      {"dump raced", [&] { dumpXAttrs(file); },
       [](Hooks& hooks) { hooks.fail("listxattr", ERANGE, 2); }},
      {"dump without memory", [&] { dumpXAttrs(file); },
       [](Hooks& hooks) { hooks.fail("operator new[](nothrow)", ENOMEM, 3); }},
      {"remove", [&] { removeXAttr(file, "user.a"); }},
  };
  for (const Way& way : ways) {
    SCOPED_TRACE(way.name);
    CountingJni jni;
    Hooks hooks;
    way.fault(hooks);
    const long before = hooks.allocations();
    way.call();
    EXPECT_EQ(hooks.allocations(), before);
    EXPECT_GT(jni.taken(), 0);
    EXPECT_EQ(jni.taken(), jni.released());
    takeJavaError();
  }
}

TEST_F(XattrResources, StringsThatCannotBeHadAreNotAnError) {
  put(path, "user.a", "1");
  for (const int nth : {1, 2}) {
    SCOPED_TRACE(nth);
    CountingJni jni;
    Hooks hooks;
    const long before = hooks.allocations();
    jni.failCharacters(nth);
    EXPECT_EQ(setExtendedAttribute(path, "user.b", "abc"), 1);
    EXPECT_EQ(jni.taken(), 1);
    EXPECT_EQ(jni.released(), 1);
    jni.failCharacters(nth);
    EXPECT_EQ(removeXAttr(path, "user.a"), 1);
    EXPECT_EQ(jni.taken(), 2);
    EXPECT_EQ(jni.released(), 2);
    jni.failCharacters(nth);
    EXPECT_EQ(getXAttrs(longSpelling(path), {longSpelling("user.a")}), nullptr);
    EXPECT_EQ(jni.taken(), jni.released());
    EXPECT_EQ(hooks.allocations(), before);
    EXPECT_EQ(hooks.calls(), 0);
    EXPECT_EQ(takeJavaError(), std::nullopt);
  }
  CountingJni jni;
  jni.failCharacters(1);
  EXPECT_EQ(listXAttrs(longSpelling(path)), nullptr);
  jni.failCharacters(1);
  EXPECT_EQ(dumpXAttrs(longSpelling(path)), nullptr);
  EXPECT_EQ(takeJavaError(), std::nullopt);
  EXPECT_EQ(valueOf(path, "user.a"), "1");
  EXPECT_EQ(valueOf(path, "user.b"), std::nullopt);
}

TEST_F(XattrResources, NullStringsAreRefusedWithoutASystemCall) {
  put(path, "user.a", "1");
  Hooks hooks;
  jstring p = javaString(path);
  jstring name = javaString("user.a");
  EXPECT_EQ(set(nullptr, name), 1);
  expectNullArgument();
  EXPECT_EQ(set(p, nullptr), 1);
  expectNullArgument();
  EXPECT_EQ(set(nullptr, nullptr), 1);
  EXPECT_EQ(takeJavaError(), errorFor(EINVAL, "null argument"));
  takeLog();
  EXPECT_EQ(remove(nullptr, name), 1);
  expectNullArgument();
  EXPECT_EQ(remove(p, nullptr), 1);
  expectNullArgument();
  EXPECT_EQ(
      Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_listXAttrs(env, nullptr, nullptr),
      nullptr);
  expectNullArgument();
  EXPECT_EQ(
      Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_dumpXAttrs(env, nullptr, nullptr),
      nullptr);
  expectNullArgument();
  EXPECT_EQ(get(nullptr, javaNames({"user.a"})), nullptr);
  expectNullArgument();
  EXPECT_EQ(get(p, nullptr), nullptr);
  expectNullArgument();
  EXPECT_EQ(hooks.calls(), 0);
}

TEST_F(XattrResources, NullElementOfANameArrayIsRefused) {
  put(path, "user.a", "1");
  Hooks hooks;
  jobjectArray names = javaNames({"user.a", "user.a", "user.a"});
  env->SetObjectArrayElement(names, 1, nullptr);
  EXPECT_EQ(get(javaString(path), names), nullptr);
  expectNullArgument();
  EXPECT_EQ(hooks.calls(), 0);
}

TEST_F(XattrResources, NullStringsReleaseTheOther) {
  CountingJni jni;
  jstring p = javaString(path);
  EXPECT_EQ(Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setExtendedAttribute(
                env, nullptr, p, nullptr, nullptr, 0),
            1);
  expectNullArgument();
  EXPECT_EQ(
      Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_removeXAttr(env, nullptr, p, nullptr),
      1);
  expectNullArgument();
  EXPECT_EQ(jni.taken(), jni.released());
}

TEST_F(XattrResources, DisabledLevelsBuildAndSendNothing) {
  put(path, "user.a", "1");
  logger2::currentLevel = LOG_OFF;
  setExtendedAttribute(path, "user.a", "2");
  setExtendedAttribute(path, "user.a", "2", 1);
  takeJavaError();
  getXAttrs(path, {"user.a"});
  dumpXAttrs(path);
  removeXAttr(path, "user.a");
  removeXAttr(path, "user.a");
  takeJavaError();
  listXAttrs(path);
  EXPECT_THAT(takeLog(), IsEmpty());
}

// One allocation after the other fails until none is left to fail.
TEST_F(XattrResources, EveryAllocationMayFail) {
  put(path, "user.a with a long name", "1");
  const std::string name = "user.a with a long name";
  struct Way {
    const char* name;
    std::function<void()> call;
  };
  const std::vector<Way> ways = {
      {"set", [&] { setExtendedAttribute(path, name, "1"); }},
      {"remove missing", [&] { removeXAttr(path, "user.none with a long name"); }},
      {"list", [&] { listXAttrs(path); }},
      {"get",
       [&] {
         getXAttrs(path, {name, name});
       }},
      {"get missing",
       [&] {
         getXAttrs(path, {name, "user.none"});
       }},
      {"dump", [&] { dumpXAttrs(path); }},
  };
  for (const Way& way : ways) {
    for (const char* form : {"operator new", "operator new[](nothrow)", "operator new[]"}) {
      SCOPED_TRACE(std::string(way.name) + ", " + form);
      bool whole = false;
      for (int nth = 1; !whole; ++nth) {
        ASSERT_LT(nth, 500);
        env->PushLocalFrame(64);
        CountingJni jni;
        Hooks hooks;
        hooks.fail(form, ENOMEM, nth);
        bool ours = false;
        const long before = hooks.allocations();
        try {
          way.call();
          ours = true;
        } catch (const std::bad_alloc&) {
          // The test's own arguments met the fault.
        }
        EXPECT_EQ(hooks.allocations(), before);
        EXPECT_EQ(jni.taken(), jni.released());
        whole = ours && hooks.calls(form) < nth;
        env->ExceptionClear();
        env->PopLocalFrame(nullptr);
      }
      takeLog();
    }
  }
  EXPECT_EQ(valueOf(path, name), "1");
}

}  // namespace
