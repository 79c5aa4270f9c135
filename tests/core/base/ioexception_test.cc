#include "base/ioexception.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

TEST(NativeIOException, KeepsMessageAndNumber) {
  const IOException plain("text");
  EXPECT_STREQ(plain.what(), "text");
  EXPECT_EQ(plain.errorNumber, 0);
  IOException numbered("text", ENOENT);
  EXPECT_EQ(numbered.errorNumber, ENOENT);
  numbered.errorNumber = EACCES;
  EXPECT_EQ(numbered.detail(), "text errno:13 Permission denied");
}

TEST(NativeIOException, DetailNamesNumberAndSystemText) {
  EXPECT_EQ(IOException("/p", ENOENT).detail(), "/p errno:2 No such file or directory");
}

}  // namespace
