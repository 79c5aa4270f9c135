// The five natives: what Java gets, and every line on the way.
#include <cerrno>

#include "jni/jniutil.h"
#include "support/java_values.h"
#include "xattr/xattr_test.h"
#include "zorf_native.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class XattrNatives : public XattrInJvm {
 protected:
  // The exception that is pending, which must be an ArrayIndexOutOfBoundsException.
  void expectIndexError() {
    const auto error = takeJavaError();
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->className, "java.lang.ArrayIndexOutOfBoundsException");
  }
};

// setExtendedAttribute

TEST_F(XattrNatives, SetStoresTheWholeValue) {
  EXPECT_EQ(setExtendedAttribute(path, "user.a", "abc"), 1);
  EXPECT_EQ(valueOf(path, "user.a"), "abc");
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @convertbyteArray2Char:# convertbyteArray2Char: jbyteArray len: "
                          ",3",
                          "debug " NATIVE("setExtendedAttribute") + path + ",user.a,abc,0",
                          "trace @zorf_setxattr:# " + path, "debug @zorf_setxattr:# flags is ,0"));
}

TEST_F(XattrNatives, SetKeepsZeroBytes) {
  const std::string value("\0a\0\xff", 4);
  EXPECT_EQ(setExtendedAttribute(path, "user.a", value), 1);
  EXPECT_EQ(valueOf(path, "user.a"), value);
}

TEST_F(XattrNatives, SetOfANullArrayStoresAnEmptyValue) {
  EXPECT_EQ(setExtendedAttribute(path, "user.a", std::nullopt), 1);
  EXPECT_EQ(valueOf(path, "user.a"), "");
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @convertbyteArray2Char:# convertbyteArray2Char: jbyteArray is "
                          "null",
                          "debug " NATIVE("setExtendedAttribute") "value is null",
                          "trace @zorf_setxattr:# " + path, "debug @zorf_setxattr:# flags is ,0"));
}

TEST_F(XattrNatives, SetOfAnEmptyArrayStoresAnEmptyValue) {
  EXPECT_EQ(setExtendedAttribute(path, "user.a", ""), 1);
  EXPECT_EQ(valueOf(path, "user.a"), "");
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @convertbyteArray2Char:# convertbyteArray2Char: jbyteArray len: "
                          ",0",
                          "debug " NATIVE("setExtendedAttribute") "value is null",
                          "trace @zorf_setxattr:# " + path, "debug @zorf_setxattr:# flags is ,0"));
}

TEST_F(XattrNatives, SetWithoutMemoryForTheValueStoresAnEmptyOne) {
  Hooks hooks;
  hooks.fail("operator new[](nothrow)", ENOMEM);
  EXPECT_EQ(setExtendedAttribute(path, "user.a", "abc"), 1);
  EXPECT_EQ(valueOf(path, "user.a"), "");
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @convertbyteArray2Char:# convertbyteArray2Char: jbyteArray len: "
                          ",3",
                          "error @convertbyteArray2Char:# Out of memory",
                          "debug " NATIVE("setExtendedAttribute") "value is null",
                          "trace @zorf_setxattr:# " + path, "debug @zorf_setxattr:# flags is ,0"));
}

TEST_F(XattrNatives, CreateOnlyOfAnExistingAttributeFails) {
  put(path, "user.a", "old");
  EXPECT_EQ(setExtendedAttribute(path, "user.a", "new", 1), 0);
  EXPECT_EQ(takeJavaError(), errorFor(EEXIST, "setxattr failed."));
  EXPECT_EQ(valueOf(path, "user.a"), "old");
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @convertbyteArray2Char:# convertbyteArray2Char: jbyteArray len: "
                          ",3",
                          "debug " NATIVE("setExtendedAttribute") + path + ",user.a,new,1",
                          "trace @zorf_setxattr:# " + path, "debug @zorf_setxattr:# flags is ,1",
                          "error @zorf_setxattr:# new",
                          "debug " NATIVE("setExtendedAttribute") "setxattr: failed to set value "
                                                                  "of EA ,user.a",
                          "debug @handle_error:# File exists: setxattr failed."));
}

TEST_F(XattrNatives, CreateOnlyOfANewAttributeAndReplaceOnlyOfAnOldOneSucceed) {
  EXPECT_EQ(setExtendedAttribute(path, "user.a", "1", 1), 1);
  EXPECT_EQ(setExtendedAttribute(path, "user.a", "2", 2), 1);
  EXPECT_EQ(valueOf(path, "user.a"), "2");
}

TEST_F(XattrNatives, ReplaceOnlyOfAMissingAttributeFails) {
  EXPECT_EQ(setExtendedAttribute(path, "user.a", "new", 2), 0);
  EXPECT_EQ(takeJavaError(), errorFor(ENODATA, "setxattr failed."));
  EXPECT_EQ(valueOf(path, "user.a"), std::nullopt);
}

TEST_F(XattrNatives, FlagsAreSignExtended) {
  Hooks hooks;
  int seen = 0;
  hooks.setxattr = [&](const char*, const char*, const void*, std::size_t, int flags) {
    seen = flags;
    return 0;
  };
  EXPECT_EQ(setExtendedAttribute(path, "user.a", "1", -2), 1);
  EXPECT_EQ(seen, -2);
}

TEST_F(XattrNatives, ExceededQuotaHasItsOwnText) {
  Hooks hooks;
  hooks.fail("setxattr", EDQUOT);
  EXPECT_EQ(setExtendedAttribute(path, "user.a", std::nullopt), 0);
  EXPECT_EQ(takeJavaError(), errorFor(EDQUOT, "setxattr failed for disk quota exceeded"));
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @convertbyteArray2Char:# convertbyteArray2Char: jbyteArray is "
                          "null",
                          "debug " NATIVE("setExtendedAttribute") "value is null",
                          "trace @zorf_setxattr:# " + path, "debug @zorf_setxattr:# flags is ,0",
                          "error @zorf_setxattr:# ",
                          "debug " NATIVE("setExtendedAttribute") "setxattr: failed to set value "
                                                                  "of EA ,user.a",
                          "debug @handle_error:# Disk quota exceeded: setxattr failed for disk "
                          "quota exceeded"));
}

TEST_F(XattrNatives, SetRaisesTheClassOfTheErrno) {
  for (const int err : {EPERM, EACCES, ENOENT, ENOMEM, ENOSPC, ERANGE, EOPNOTSUPP}) {
    Hooks hooks;
    hooks.fail("setxattr", err);
    EXPECT_EQ(setExtendedAttribute(path, "user.a", "1"), 0);
    EXPECT_EQ(takeJavaError(), errorFor(err, "setxattr failed."));
  }
}

// removeXAttr

TEST_F(XattrNatives, RemoveProbesFirst) {
  put(path, "user.a", "1");
  Hooks hooks;
  EXPECT_EQ(removeXAttr(path, "user.a"), 1);
  EXPECT_EQ(valueOf(path, "user.a"), std::nullopt);
  EXPECT_EQ(hooks.calls("removexattr"), 1);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("trace " NATIVE("removeXAttr") + path + ",user.a",
                                                 "trace @zorf_removexattr:# " + path));
}

TEST_F(XattrNatives, RemoveOfAMissingAttributeEndsAtTheProbe) {
  Hooks hooks;
  EXPECT_EQ(removeXAttr(path, "user.a"), 0);
  EXPECT_EQ(takeJavaError(), errorFor(ENODATA, "zorf_removexattrs failed."));
  EXPECT_EQ(hooks.calls("getxattr"), 1);
  EXPECT_EQ(hooks.calls("removexattr"), 0);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace " NATIVE("removeXAttr") + path + ",user.a",
                          "debug " NATIVE("removeXAttr") "removexattr: failed to remove attribute "
                                                         "user.a",
                          "debug @handle_error:# No data available: zorf_removexattrs failed."));
}

TEST_F(XattrNatives, RemoveThatFailsAfterTheProbe) {
  put(path, "user.a", "1");
  Hooks hooks;
  hooks.fail("removexattr", EPERM);
  EXPECT_EQ(removeXAttr(path, "user.a"), 0);
  EXPECT_EQ(takeJavaError(), errorFor(EPERM, "zorf_removexattrs failed."));
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace " NATIVE("removeXAttr") + path + ",user.a",
                          "trace @zorf_removexattr:# " + path,
                          "debug @zorf_removexattr:# removexattr: failed to get length of "
                          "attribute user.a",
                          "debug " NATIVE("removeXAttr") "removexattr: failed to remove attribute "
                                                         "user.a",
                          "debug @handle_error:# Operation not permitted: zorf_removexattrs "
                          "failed."));
}

// listXAttrs

TEST_F(XattrNatives, ListOfAFileWithoutAttributesIsAnEmptyArray) {
  jobjectArray names = listXAttrs(path);
  ASSERT_NE(names, nullptr);
  EXPECT_TRUE(env->IsSameObject(env->GetObjectClass(names), env->FindClass("[Ljava/lang/String;")));
  EXPECT_THAT(namesOf(names), IsEmpty());
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("trace " NATIVE("listXAttrs") + path,
                                                 "trace @zorf_listxattrs:# " + path));
}

TEST_F(XattrNatives, ListStoresOneTooFarAndJavaGetsTheIndexError) {
  put(path, "user.a", "1");
  put(path, "user.b", "2");
  Hooks hooks;
  serve(hooks, {{"user.a", "1"}, {"user.b", "2"}});
  jobjectArray names = listXAttrs(path);
  expectIndexError();
  ASSERT_NE(names, nullptr);
  EXPECT_THAT(namesOf(names), ElementsAre(std::nullopt, "user.a"));
}

TEST_F(XattrNatives, ListOfOneNameHoldsNothing) {
  put(path, "user.a", "1");
  jobjectArray names = listXAttrs(path);
  expectIndexError();
  EXPECT_THAT(namesOf(names), ElementsAre(std::nullopt));
}

TEST_F(XattrNatives, ListOfNothingButEmptyNamesIsAnEmptyArray) {
  Hooks hooks;
  hooks.listxattr = [](const char*, char*, std::size_t) -> ssize_t { return 5; };
  EXPECT_THAT(namesOf(listXAttrs(path)), IsEmpty());
}

TEST_F(XattrNatives, ListOfAMissingFileFails) {
  const std::string missing = path + "-missing";
  EXPECT_EQ(listXAttrs(missing), nullptr);
  EXPECT_EQ(takeJavaError(), errorFor(ENOENT, "zorf_listxattrs failed."));
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre(
          "trace " NATIVE("listXAttrs") + missing, "trace @zorf_listxattrs:# " + missing,
          "debug @zorf_listxattrs:# listxattr: failed to get EA length for " + missing,
          "debug " NATIVE("listXAttrs") "zorf_listxattrs: failed to list values of path" + missing,
          "debug @handle_error:# No such file or directory: zorf_listxattrs failed."));
}

TEST_F(XattrNatives, ListThatCannotMakeItsArrayRaisesNothing) {
  put(path, "user.a", "1");
  CountingJni jni;
  jni.table.NewObjectArray = [](JNIEnv*, jsize, jclass, jobject) -> jobjectArray {
    return nullptr;
  };
  EXPECT_EQ(listXAttrs(path), nullptr);
  EXPECT_EQ(takeJavaError(), std::nullopt);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace " NATIVE("listXAttrs") + path, "trace @zorf_listxattrs:# " + path,
                          "error " NATIVE("listXAttrs") "ObjectArray create failed"));
}

// getXAttrs

TEST_F(XattrNatives, GetReturnsAMapOfWholeValues) {
  const std::string value("\0a\0", 3);
  put(path, "user.a", value);
  put(path, "user.e", "");
  put(path, "user.z", "not asked for");
  EXPECT_EQ(attributesOf(getXAttrs(path, {"user.e", "user.a"})),
            (Attributes{{"user.a", value}, {"user.e", ""}}));
}

TEST_F(XattrNatives, GetOfARepeatedNameHoldsItOnce) {
  put(path, "user.a", "1");
  put(path, "user.b", "2");
  EXPECT_EQ(attributesOf(getXAttrs(path, {"user.b", "user.a", "user.b"})),
            (Attributes{{"user.a", "1"}, {"user.b", "2"}}));
}

TEST_F(XattrNatives, GetOfNoNamesIsAnEmptyMap) {
  EXPECT_EQ(attributesOf(getXAttrs(path, {})), Attributes{});
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace " NATIVE("getXAttrs") + path, "trace @zorf_getxattrs:# " + path,
                          "debug @zorf_getxattrs:# got 0 EA"));
}

TEST_F(XattrNatives, LinesOfAGet) {
  put(path, "user.a", "abc");
  put(path, "user.e", "");
  getXAttrs(path, {"user.e", "user.a"});
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace " NATIVE("getXAttrs") + path, "trace @zorf_getxattrs:# " + path,
                          "trace @zorf_getxattr:# " + path, "trace @zorf_getxattr:# " + path,
                          "debug @zorf_getxattrs:# key: ,user.a, key len: ,6",
                          "debug @zorf_getxattrs:# value: ,abc, value len: ,3",
                          "debug @zorf_getxattrs:# key: ,user.e, key len: ,6",
                          "debug @zorf_getxattrs:# value: , value len: ,0",
                          "debug " NATIVE("getXAttrs") "key: ,user.a, len: ,6",
                          "debug " NATIVE("getXAttrs") "value: ,abc, len: ,3",
                          "debug " NATIVE("getXAttrs") "key: ,user.e, len: ,6",
                          "debug " NATIVE("getXAttrs") "value: , len: ,0"));
}

TEST_F(XattrNatives, GetWithOneMissingNameFailsWhole) {
  put(path, "user.a", "1");
  logger2::currentLevel = LOG_DEBUG;
  EXPECT_EQ(getXAttrs(path, {"user.a", "user.b"}), nullptr);
  EXPECT_EQ(takeJavaError(), errorFor(ENODATA, "zorf_getxattrs failed."));
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre(
          "debug @zorf_getxattrs:# zorf_getxattr failed for key: user.b, ignore it",
          "debug " NATIVE("getXAttrs") "zorf_getxattrs: failed to get values of path" + path,
          "debug @handle_error:# No data available: zorf_getxattrs failed."));
}

TEST_F(XattrNatives, GetWithoutMemoryForTheRecordsRaises12) {
  put(path, "user.a", "1");
  Hooks hooks;
  hooks.fail("operator new[](nothrow)", ENOMEM, 2);
  EXPECT_EQ(getXAttrs(path, {"user.a"}), nullptr);
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, "zorf_getxattrs failed."));
}

TEST_F(XattrNatives, GetThatCannotMakeItsMapRaisesNothing) {
  put(path, "user.a", "1");
  logger2::currentLevel = LOG_INFO;
  CountingJni jni;
  jni.table.NewObjectA = [](JNIEnv*, jclass, jmethodID, const jvalue*) -> jobject {
    return nullptr;
  };
  EXPECT_EQ(getXAttrs(path, {"user.a"}), nullptr);
  EXPECT_EQ(takeJavaError(), std::nullopt);
  EXPECT_EQ(dumpXAttrs(path), nullptr);
  EXPECT_EQ(takeJavaError(), std::nullopt);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("error " NATIVE("getXAttrs") "ObjectArray create failed",
                          "error " NATIVE("dumpXAttrs") "ObjectArray create failed"));
}

// dumpXAttrs

TEST_F(XattrNatives, DumpReturnsEveryAttribute) {
  put(path, "user.a", "1");
  put(path, "user.b", std::string("2\0", 2));
  EXPECT_EQ(attributesOf(dumpXAttrs(path)),
            (Attributes{{"user.a", "1"}, {"user.b", std::string("2\0", 2)}}));
}

TEST_F(XattrNatives, DumpOfAFileWithoutAttributesIsAnEmptyMap) {
  EXPECT_EQ(attributesOf(dumpXAttrs(path)), Attributes{});
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace " NATIVE("dumpXAttrs") + path, "trace @zorf_dumpxattrs:# " + path,
                          "trace @zorf_listxattrs:# " + path));
}

TEST_F(XattrNatives, LinesOfADump) {
  put(path, "user.a", "abc");
  dumpXAttrs(path);
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre("trace " NATIVE("dumpXAttrs") + path, "trace @zorf_dumpxattrs:# " + path,
                  "trace @zorf_listxattrs:# " + path, "debug @zorf_dumpxattrs:# key: user.a",
                  "trace @zorf_getxattrs:# " + path, "trace @zorf_getxattr:# " + path,
                  "debug @zorf_getxattrs:# key: ,user.a, key len: ,6",
                  "debug @zorf_getxattrs:# value: ,abc, value len: ,3",
                  "debug " NATIVE("dumpXAttrs") "key: ,user.a, len: ,6",
                  "debug " NATIVE("dumpXAttrs") "value: ,abc, len: ,3"));
}

TEST_F(XattrNatives, DumpOfAMissingFileFails) {
  const std::string missing = path + "-missing";
  logger2::currentLevel = LOG_DEBUG;
  EXPECT_EQ(dumpXAttrs(missing), nullptr);
  EXPECT_EQ(takeJavaError(), errorFor(ENOENT, "zorf_dumpxattrs failed."));
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre(
          "debug @zorf_listxattrs:# listxattr: failed to get EA length for " + missing,
          "error @zorf_dumpxattrs:# zorf_dumpxattrs: get key list failed for " + missing,
          "debug " NATIVE("dumpXAttrs") "zorf_dumpxattrs: failed to get values of path" + missing,
          "debug @handle_error:# No such file or directory: zorf_dumpxattrs failed."));
}

TEST_F(XattrNatives, DumpFailsWithTheAttributeThatVanishes) {
  put(path, "user.a", "1");
  Hooks hooks;
  hooks.fail("getxattr", ENODATA);
  EXPECT_EQ(dumpXAttrs(path), nullptr);
  EXPECT_EQ(takeJavaError(), errorFor(ENODATA, "zorf_dumpxattrs failed."));
}

// All of them

TEST_F(XattrNatives, SymbolicLinksAreFollowed) {
  const std::string link = makeLink("link", path);
  EXPECT_EQ(setExtendedAttribute(link, "user.a", "1"), 1);
  EXPECT_EQ(valueOf(path, "user.a"), "1");
  EXPECT_EQ(attributesOf(getXAttrs(link, {"user.a"})), (Attributes{{"user.a", "1"}}));
  EXPECT_EQ(attributesOf(dumpXAttrs(link)), (Attributes{{"user.a", "1"}}));
  EXPECT_EQ(removeXAttr(link, "user.a"), 1);
  EXPECT_EQ(valueOf(path, "user.a"), std::nullopt);
  EXPECT_THAT(namesOf(listXAttrs(link)), IsEmpty());
}

TEST_F(XattrNatives, NamesOutsideAsciiCrossAsModifiedUtf8) {
  const std::string name = "user.\xc3\xa9\xe2\x82\xac";
  EXPECT_EQ(setExtendedAttribute(path, name, "1"), 1);
  EXPECT_EQ(valueOf(path, name), "1");
  EXPECT_EQ(attributesOf(dumpXAttrs(path)), (Attributes{{name, "1"}}));
  EXPECT_EQ(attributesOf(getXAttrs(path, {name})), (Attributes{{name, "1"}}));
  EXPECT_EQ(removeXAttr(path, name), 1);
}

}  // namespace
