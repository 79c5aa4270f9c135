// A mount table of a test's own.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "support/files.h"
#include "support/interpose.h"

// The table is /etc/mtab itself where with_scratch_mtab.sh made it one, otherwise a file that is
// opened in its place.
class MountsTest : public FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    if (std::getenv("ZORF_SCRATCH_MTAB") != nullptr) {
      table_ = "/etc/mtab";
      return;
    }
    table_ = at("mtab");
    hooks_.emplace();
    hooks_->setmntent = [this](const char* file, const char* mode) {
      EXPECT_STREQ(file, "/etc/mtab");
      EXPECT_EQ(*mode, 'r');
      return ::setmntent(table_.c_str(), mode);
    };
  }
  void TearDown() override {
    hooks_.reset();
    std::filesystem::remove_all(table_);
    FilesTest::TearDown();
  }

  void table(const std::string& lines) {
    std::ofstream out(table_, std::ios::trunc);
    out << lines;
    ASSERT_TRUE(out.flush());
  }

  std::string table_;
  std::optional<Hooks> hooks_;
};
