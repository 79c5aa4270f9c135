#include "jni/convert.h"

#include <cerrno>
#include <new>
#include <stdexcept>

#include "base/ioexception.h"
#include "support/java_values.h"
#include "support/jvm.h"
#include "support/patched_jni.h"

namespace {

using ConvertTest = JvmTest;

int released = 0;

TEST_F(ConvertTest, StringArrivesInModifiedUtf8) {
  std::string out = "before";
  EXPECT_EQ(getString(env, javaString("/a/\xC3\xA4"), out), 0);
  EXPECT_EQ(out, "/a/\xC3\xA4");
}

TEST_F(ConvertTest, SupplementaryCharacterIsASurrogatePairOfThreeBytesEach) {
  const jchar pair[] = {0xD83D, 0xDE00};
  std::string out;
  EXPECT_EQ(getString(env, env->NewString(pair, 2), out), 0);
  EXPECT_EQ(out, "\xED\xA0\xBD\xED\xB8\x80");
}

TEST_F(ConvertTest, ZeroCharacterArrivesAsTwoBytes) {
  const jchar text[] = {'a', 0, 'b'};
  std::string out;
  EXPECT_EQ(getString(env, env->NewString(text, 3), out), 0);
  EXPECT_EQ(out,
            "a\xC0\x80"
            "b");
}

TEST_F(ConvertTest, EmptyStringIsEmpty) {
  std::string out = "before";
  EXPECT_EQ(getString(env, javaString(""), out), 0);
  EXPECT_EQ(out, "");
}

TEST_F(ConvertTest, NullStringIsEinval) {
  std::string out = "before";
  EXPECT_EQ(getString(env, nullptr, out), -1);
  EXPECT_EQ(out, "before");
  EXPECT_EQ(takeJavaError(), errorFor(EINVAL, "null argument"));
}

TEST_F(ConvertTest, CharactersThatCannotBeHadAreEnomem) {
  jstring s = javaString(longSpelling("x"));
  std::string out = "before";
  int result = 0;
  {
    PatchedJni jni;
    jni.table.GetStringUTFChars = [](JNIEnv*, jstring, jboolean*) -> const char* {
      return nullptr;
    };
    result = getString(env, s, out);
  }
  EXPECT_EQ(result, -1);
  EXPECT_EQ(out, "before");
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.RuntimeException", "Cannot allocate memory: "}));
}

// Around the longest string that is copied onto the stack, in characters of one, two and three
// bytes.
TEST_F(ConvertTest, StringsOfEveryLengthArriveWhole) {
  for (const std::string character : {"x", "\xC3\xA4", "\xE2\x82\xAC"}) {
    for (const int length : {1, 2, 1363, 1364, 1365, 1366, 4095, 4096, 4097, 100000}) {
      std::string text;
      for (int i = 0; i < length; ++i) text += character;
      std::string out;
      EXPECT_EQ(getString(env, javaString(text), out), 0);
      EXPECT_TRUE(out == text) << length << " of " << character;
    }
  }
}

TEST_F(ConvertTest, ShortStringsAskForNoMemory) {
  jstring s = javaString("/a/path/of/usual/length");
  PatchedJni jni;
  jni.table.GetStringUTFChars = [](JNIEnv*, jstring, jboolean*) -> const char* { return nullptr; };
  EXPECT_STREQ(RequiredChars(env, s).get(), "/a/path/of/usual/length");
}

TEST_F(ConvertTest, CharactersAreReleasedOnceUnlessLeaked) {
  jstring s = javaString("x");
  PatchedJni jni;
  static JNINativeInterface_ real;
  real = jni.real;
  released = 0;
  jni.table.ReleaseStringUTFChars = [](JNIEnv* e, jstring string, const char* chars) {
    ++released;
    real.ReleaseStringUTFChars(e, string, chars);
  };
  { const UtfChars chars(env, s); }
  EXPECT_EQ(released, 1);
  UtfChars kept(env, s);
  const char* leaked = kept.leak();
  EXPECT_STREQ(leaked, "x");
  EXPECT_EQ(kept.get(), nullptr);
  real.ReleaseStringUTFChars(env, s, leaked);
  EXPECT_EQ(released, 1);
}

TEST_F(ConvertTest, BytesArriveWithTheirZeros) {
  EXPECT_EQ(bytesOf(convertChar2byteArray(env, 4, "a\0b\0")), std::string("a\0b\0", 4));
}

TEST_F(ConvertTest, ArrayThatCannotBeMadeIsNullWithTheVmsError) {
  jbyteArray array = javaBytes("x");
  {
    PatchedJni jni;
    jni.table.NewByteArray = [](JNIEnv* e, jsize) -> jbyteArray {
      e->ThrowNew(e->FindClass("java/lang/OutOfMemoryError"), "Java heap space");
      return nullptr;
    };
    array = convertChar2byteArray(env, 1, "x");
  }
  EXPECT_EQ(array, nullptr);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.OutOfMemoryError", "Java heap space"}));
}

TEST_F(ConvertTest, NoValueIsMadeOnceTheLoggerThrew) {
  const std::int32_t numbers[] = {1, 2};
  EXPECT_EQ(stringOf(newString(env, "x")), "x");
  letLoggerThrow("disk full", 1);
  logger2::log("line", LOG_FATAL);
  EXPECT_EQ(newIntArray(env, numbers), nullptr);
  EXPECT_EQ(newString(env, "x"), nullptr);
  EXPECT_EQ(convertChar2byteArray(env, 1, "x"), nullptr);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.RuntimeException", "disk full"}));
  EXPECT_EQ(stringOf(newString(env, "x")), "x");
}

TEST_F(ConvertTest, EmptyStreamIsAnEmptyArray) {
  std::ostringstream stream;
  jbyteArray array = nullptr;
  ostringstreamToByteArray(env, stream, array);
  ASSERT_NE(array, nullptr);
  EXPECT_EQ(env->GetArrayLength(array), 0);
}

TEST_F(ConvertTest, StreamArrivesWithItsZeros) {
  std::ostringstream stream;
  stream.write("\0\0a\0", 4);
  jbyteArray array = nullptr;
  ostringstreamToByteArray(env, stream, array);
  EXPECT_EQ(bytesOf(array), std::string("\0\0a\0", 4));
}

TEST_F(ConvertTest, StreamEndsAtItsPutPosition) {
  std::ostringstream stream;
  stream << "abcdef";
  stream.seekp(2);
  jbyteArray array = nullptr;
  ostringstreamToByteArray(env, stream, array);
  EXPECT_EQ(bytesOf(array), "ab");
}

TEST_F(ConvertTest, FailedStreamIsOutOfMemory) {
  std::ostringstream stream;
  stream.setstate(std::ios::badbit);
  jbyteArray array = nullptr;
  EXPECT_THROW(ostringstreamToByteArray(env, stream, array), std::bad_alloc);
}

jint thrower(JNIEnv* env, void (*body)()) try {
  body();
  return 1;
} catch (...) {
  return atJavaEdge(env, jint{-7});
}

TEST_F(ConvertTest, NoCppExceptionCrossesTheEdge) {
  EXPECT_EQ(thrower(env, [] { throw std::bad_alloc(); }), -7);
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, ""));
  EXPECT_EQ(thrower(env, [] { throw std::runtime_error("x"); }), -7);
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, ""));
  EXPECT_EQ(thrower(env, [] { throw 5; }), -7);
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, ""));
}

TEST_F(ConvertTest, NativeIOExceptionCrossesAsItsErrno) {
  EXPECT_EQ(thrower(env, [] { throw IOException("/p", ENOENT); }), -7);
  EXPECT_EQ(takeJavaError(), errorFor(ENOENT, "/p"));
}

}  // namespace
