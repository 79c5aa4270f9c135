#include "base/logger.h"

#include <string>

#include "support/core_test.h"

namespace {

using ::testing::ElementsAre;

using LineTest = CoreTest;

TEST_F(LineTest, LineHasFunctionLineNumberAndText) {
  ZORF_LOG(LOG_ERROR, "answer " << 42);
  const int line = __LINE__ - 1;
  EXPECT_THAT(takeLog(), ElementsAre("error @TestBody:" + std::to_string(line) + " answer 42"));
}

TEST_F(LineTest, LineCanNameAnotherFunction) {
  ZORF_LOG_AS(LOG_DEBUG, "convert", "x");
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("debug @convert:# x"));
}

TEST_F(LineTest, BareLineHasNoPrefix) {
  ZORF_LOG_BARE(LOG_TRACE, "x" << 1);
  EXPECT_THAT(takeLog(), ElementsAre("trace x1"));
}

TEST_F(LineTest, DroppedLineBuildsNoText) {
  int evaluated = 0;
  const auto text = [&] {
    ++evaluated;
    return "x";
  };
  logger2::currentLevel = LOG_WARN;
  ZORF_LOG(LOG_DEBUG, text());
  EXPECT_EQ(evaluated, 0);
  ZORF_LOG(LOG_WARN, text());
  EXPECT_EQ(evaluated, 1);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @TestBody:# x"));
}

TEST(Fmt, SeparatorStandsBetweenPiecesButNotAtLineStarts) {
  EXPECT_EQ((Fmt(",") << "a"
                      << "b"
                      << "\n"
                      << "c")
                .str(),
            "a,b\nc");
}

TEST(Fmt, SeparatorComesAlsoAfterATrailingBlank) {
  EXPECT_EQ((Fmt(",") << "flags is " << 4).str(), "flags is ,4");
}

TEST(Fmt, EmptyInsertionBringsNoSeparator) {
  EXPECT_EQ((Fmt(", ") << "/a" << false << "").str(), "/a, 0");
}

TEST(Fmt, PieceThatBeginsWithANewlineHasNoSeparatorBefore) {
  EXPECT_EQ((Fmt(",") << "a"
                      << "\nb")
                .str(),
            "a\nb");
}

TEST(Fmt, EmptySeparatorIsNone) {
  EXPECT_EQ((Fmt("") << "a" << 1 << "b").str(), "a1b");
  EXPECT_EQ((Fmt(nullptr) << "a" << 1 << "b").str(), "a1b");
}

TEST(Fmt, LongSeparatorIsKeptWhole) {
  EXPECT_EQ((Fmt(" - ") << 1 << 2 << 3u).str(), "1 - 2 - 3");
}

TEST(Fmt, EmbeddedNulsAreWritten) {
  const std::string text("a\0b", 3);
  EXPECT_EQ((Fmt() << text << text).str(), text + text);
}

TEST(Fmt, ManipulatorsWork) {
  EXPECT_EQ((Fmt() << std::oct << 8 << std::dec << 8 << std::endl).str(), "108\n");
}

}  // namespace
