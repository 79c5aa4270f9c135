#include "status/stat.h"

#include "support/files.h"
#include "support/interpose.h"

namespace {

using GetStat = FilesTest;

TEST_F(GetStat, TargetIsAskedForOnlyWhenWanted) {
  const std::string file = makeFile("file");
  const std::string link = makeLink("link", "file");
  struct stat st {};
  Hooks hooks;
  getStat(file.c_str(), true, st);
  getStat(link.c_str(), false, st);
  EXPECT_EQ(hooks.calls("lstat"), 2);
  EXPECT_EQ(hooks.calls("stat"), 0);
  getStat(link.c_str(), true, st);
  EXPECT_EQ(hooks.calls("lstat"), 3);
  EXPECT_EQ(hooks.calls("stat"), 1);
}

}  // namespace
