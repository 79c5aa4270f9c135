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

// The virtual machine has no characters to give.
void refuseCharacters(PatchedJni& jni) {
  jni.table.GetStringUTFChars = [](JNIEnv*, jstring, jboolean*) -> const char* { return nullptr; };
}

TEST_F(ConvertTest, StringArrivesInModifiedUtf8) {
  EXPECT_STREQ(Chars(env, javaString("/a/\xC3\xA4")).get(), "/a/\xC3\xA4");
}

TEST_F(ConvertTest, SupplementaryCharacterIsASurrogatePairOfThreeBytesEach) {
  const jchar pair[] = {0xD83D, 0xDE00};
  EXPECT_STREQ(Chars(env, env->NewString(pair, 2)).get(), "\xED\xA0\xBD\xED\xB8\x80");
}

TEST_F(ConvertTest, ZeroCharacterArrivesAsTwoBytes) {
  const jchar text[] = {'a', 0, 'b'};
  EXPECT_STREQ(Chars(env, env->NewString(text, 3)).get(),
               "a\xC0\x80"
               "b");
}

TEST_F(ConvertTest, EmptyStringIsEmpty) {
  const Chars chars(env, javaString(""));
  EXPECT_TRUE(chars);
  EXPECT_STREQ(chars.get(), "");
}

TEST_F(ConvertTest, NullStringIsEinval) {
  for (const auto otherwise : {Chars::AS_USUAL, Chars::VMS_ERROR}) {
    const Chars chars(env, nullptr, otherwise);
    EXPECT_FALSE(chars);
    EXPECT_TRUE(chars.isNull());
    EXPECT_EQ(takeJavaError(), errorFor(EINVAL, "null argument"));
  }
  EXPECT_FALSE(Chars(env, nullptr, Chars::UNREFUSED));
  EXPECT_EQ(takeJavaError(), std::nullopt);
}

TEST_F(ConvertTest, CharactersThatCannotBeHadAreEnomem) {
  jstring s = javaString(longSpelling("x"));
  {
    PatchedJni jni;
    refuseCharacters(jni);
    const Chars chars(env, s);
    EXPECT_FALSE(chars);
    EXPECT_FALSE(chars.isNull());
  }
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.RuntimeException", "Cannot allocate memory: "}));
}

TEST_F(ConvertTest, TheVirtualMachinesOwnRefusalMayStay) {
  jstring s = javaString(longSpelling("x"));
  for (const auto otherwise : {Chars::VMS_ERROR, Chars::UNREFUSED}) {
    {
      PatchedJni jni;
      jni.table.GetStringUTFChars = [](JNIEnv* e, jstring, jboolean*) -> const char* {
        e->ThrowNew(e->FindClass("java/lang/OutOfMemoryError"), "Java heap space");
        return nullptr;
      };
      EXPECT_FALSE(Chars(env, s, otherwise));
    }
    EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.OutOfMemoryError", "Java heap space"}));
  }
}

TEST_F(ConvertTest, NothingIsAskedForWhileAnExceptionIsPendingIfSoWanted) {
  jstring s = javaString("x");
  env->ThrowNew(env->FindClass("java/lang/RuntimeException"), "first");
  EXPECT_FALSE(Chars(env, s, Chars::UNREFUSED));
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.RuntimeException", "first"}));
}

// Around the longest strings that are copied onto the stack, in characters of one, two and three
// bytes.
TEST_F(ConvertTest, StringsOfEveryLengthArriveWhole) {
  for (const std::string character : {"x", "\xC3\xA4", "\xE2\x82\xAC"}) {
    for (const int length : {1, 2, 340, 341, 342, 511, 512, 1023, 1024, 1025, 4096, 100000}) {
      std::string text;
      for (int i = 0; i < length; ++i) text += character;
      for (const auto otherwise : {Chars::AS_USUAL, Chars::UNREFUSED}) {
        EXPECT_TRUE(Chars(env, javaString(text), otherwise).get() == text)
            << length << " of " << character;
      }
    }
  }
}

TEST_F(ConvertTest, ShortStringsAskForNoMemory) {
  for (const std::size_t length : {1u, 100u, 340u}) {
    const std::string text(length, 'x');
    jstring s = javaString(text);
    PatchedJni jni;
    refuseCharacters(jni);
    EXPECT_EQ(Chars(env, s).get(), text);
  }
}

TEST_F(ConvertTest, CharactersAreReleasedOnceUnlessKept) {
  jstring s = javaString("x");
  PatchedJni jni;
  static JNINativeInterface_ real;
  static int released;
  real = jni.real;
  released = 0;
  jni.table.ReleaseStringUTFChars = [](JNIEnv* e, jstring string, const char* chars) {
    ++released;
    real.ReleaseStringUTFChars(e, string, chars);
  };
  { const Chars chars(env, s, Chars::UNREFUSED); }
  EXPECT_EQ(released, 1);
  const char* kept = nullptr;
  {
    Chars chars(env, s, Chars::UNREFUSED);
    chars.keep();
    kept = chars.get();
  }
  EXPECT_STREQ(kept, "x");
  EXPECT_EQ(released, 1);
  real.ReleaseStringUTFChars(env, s, kept);
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
