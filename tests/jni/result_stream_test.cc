#include <new>
#include <random>

#include "jni/resultstream.h"
#include "support/java_values.h"
#include "support/jvm.h"
#include "support/patched_jni.h"

namespace {

std::string pattern(std::size_t size) {
  std::string text(size, '\0');
  for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 7 + i / 256);
  return text;
}

class ResultStreamTest : public JvmTest {
 protected:
  static void write(EntryStream& out, const std::string& text) {
    out.write(text.data(), text.size());
  }

  // Writes a head, announces and writes the body in pieces, then rewrites the head.
  std::string written(std::size_t announced, const std::string& body, std::size_t piece) {
    ResultStream out(env);
    write(out, "head");
    if (announced != 0) out.expect(announced, 1);
    for (std::size_t at = 0; at < body.size(); at += piece) write(out, body.substr(at, piece));
    out.rewrite(0, "HEAD", 4);
    EXPECT_EQ(out.size(), 4 + body.size());
    return bytesOf(out.take());
  }
};

TEST_F(ResultStreamTest, NothingWrittenIsAnEmptyArray) {
  ResultStream out(env);
  EXPECT_EQ(out.size(), 0u);
  EXPECT_EQ(bytesOf(out.take()), "");
}

TEST_F(ResultStreamTest, EverySizeArrivesHowEverItWasAnnounced) {
  for (const std::size_t size : {1u, 100u, 8187u, 8188u, 8189u, 8192u, 20000u, 300000u}) {
    const std::string body = pattern(size);
    for (const std::size_t announced :
         {std::size_t{0}, size, size - 1, size / 2, size + 1, size * 3}) {
      for (const std::size_t piece : {24u, 5000u, 64512u}) {
        ASSERT_EQ(written(announced, body, piece), "HEAD" + body)
            << size << " announced as " << announced << " in pieces of " << piece;
      }
    }
  }
}

TEST_F(ResultStreamTest, AnAnnouncedResultIsWrittenIntoTheArrayThatIsReturned) {
  PatchedJni jni;
  static int arrays;
  static jbyteArray (*newByteArray)(JNIEnv*, jsize);
  arrays = 0;
  newByteArray = jni.real.NewByteArray;
  jni.table.NewByteArray = [](JNIEnv* e, jsize length) {
    ++arrays;
    return newByteArray(e, length);
  };
  const std::string body = pattern(100000);
  ResultStream out(env);
  out.expect(body.size() / 4, 4);
  write(out, body);
  EXPECT_EQ(arrays, 1);
  EXPECT_EQ(bytesOf(out.take()), body);
  EXPECT_EQ(arrays, 1);
}

TEST_F(ResultStreamTest, RandomWritesGiveWhatAStringGives) {
  const unsigned seed = std::random_device{}();
  RecordProperty("seed", static_cast<int>(seed));
  std::mt19937 random(seed);
  const auto below = [&](std::size_t limit) { return random() % limit; };
  for (int round = 0; round < 300; ++round) {
    ResultStream out(env);
    std::string model;
    for (int step = 0; step < 40; ++step) {
      const std::string text = pattern(below(2) == 0 ? below(100) : below(20000));
      switch (below(8)) {
        case 0:
        case 1: {
          const std::size_t at = below(model.size() + 1);
          const std::size_t count = std::min(text.size(), model.size() - at);
          out.rewrite(at, text.data(), count);
          model.replace(at, count, text, 0, count);
          break;
        }
        case 2:
          out.expect(below(40000), 1 + below(3));
          break;
        default:
          write(out, text);
          model += text;
      }
      ASSERT_EQ(out.size(), model.size()) << "seed " << seed << " round " << round;
    }
    jbyteArray array = out.take();
    ASSERT_EQ(bytesOf(array), model) << "seed " << seed << " round " << round;
    env->DeleteLocalRef(array);
  }
}

TEST_F(ResultStreamTest, MoreThanAnArrayHoldsIsNoMemory) {
  ResultStream out(env);
  write(out, "abc");
  const std::string text(16, 'x');
  // Nothing of the text is read beyond what fits: the refusal comes first.
  EXPECT_THROW(out.write(text.data(), std::size_t{1} << 31), std::bad_alloc);
}

TEST_F(ResultStreamTest, AnAnnouncementThatNoArrayCanHoldIsNoMemory) {
  ResultStream out(env);
  write(out, pattern(32));
  EXPECT_THROW(out.expect(~std::uint64_t{0}, 8), std::bad_alloc);
  EXPECT_THROW(out.expect(1, ~std::uint64_t{0}), std::bad_alloc);
  EXPECT_THROW(out.expect(INT32_MAX - 31, 1), std::bad_alloc);
  EXPECT_NO_THROW(out.expect(INT32_MAX - 32, 1));
  EXPECT_NO_THROW(out.expect(~std::uint64_t{0}, 0));
  EXPECT_EQ(bytesOf(out.take()), pattern(32));
}

// The longest array that Java was asked for on this thread.
jsize longestAsked = 0;

TEST_F(ResultStreamTest, JavaIsAskedFor32MebibytesAtMostBeforeTheyAreThere) {
  PatchedJni jni;
  static jbyteArray (*newByteArray)(JNIEnv*, jsize);
  newByteArray = jni.real.NewByteArray;
  jni.table.NewByteArray = [](JNIEnv* e, jsize length) {
    longestAsked = std::max(longestAsked, length);
    return newByteArray(e, length);
  };
  constexpr jsize most = 32 << 20;
  for (const auto& [announced, asked] : {std::pair{most, most}, std::pair{most + 1, 9000}}) {
    longestAsked = 0;
    ResultStream out(env);
    out.expect(static_cast<std::uint64_t>(announced), 1);
    write(out, pattern(9000));
    EXPECT_EQ(bytesOf(out.take()), pattern(9000));
    EXPECT_EQ(longestAsked, asked);
  }
}

TEST_F(ResultStreamTest, AnArrayThatCantBeHadEarlyIsAskedForAgain) {
  PatchedJni jni;
  static int refusals;
  static jbyteArray (*newByteArray)(JNIEnv*, jsize);
  refusals = 1;
  newByteArray = jni.real.NewByteArray;
  jni.table.NewByteArray = [](JNIEnv* e, jsize length) -> jbyteArray {
    if (refusals-- > 0) {
      e->ThrowNew(e->FindClass("java/lang/OutOfMemoryError"), "Java heap space");
      return nullptr;
    }
    return newByteArray(e, length);
  };
  ResultStream out(env);
  out.expect(9000, 1);
  EXPECT_FALSE(env->ExceptionCheck());
  write(out, pattern(9000));
  EXPECT_EQ(bytesOf(out.take()), pattern(9000));
}

TEST_F(ResultStreamTest, APendingExceptionGivesNoResultAndStays) {
  for (const std::size_t size : {10u, 100000u}) {
    ResultStream out(env);
    out.expect(size, 1);
    write(out, "before");
    letLoggerThrow("from the logger", 1);
    logger2::log("line", LOG_DEBUG);
    write(out, pattern(size));
    EXPECT_EQ(out.take(), nullptr);
    const auto error = takeJavaError();
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->message, "from the logger");
  }
}

}  // namespace
