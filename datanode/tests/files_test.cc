// Tokens, key files, and files below a root.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "files/account.h"
#include "files/keys.h"
#include "files/root.h"
#include "files/token.h"
#include "scratch.h"
#include "support/interpose.h"

namespace datanode {
namespace {

const std::string HEX_A(64, 'a');
const std::string HEX_B(64, 'b');

BlockToken someToken() {
  BlockToken token;
  token.keyId = 3;
  token.expiry = 1'700'000'000'000;
  token.inode = 12345;
  token.offset = 1 << 27;
  token.length = 1 << 20;
  token.blockId = 12345LL << 24 | 1;
  token.generationStamp = 1'700'000'000;
  token.rights = BlockToken::READ;
  token.user = "ann";
  token.path = "/a/b";
  return token;
}

template <class Work>
std::string failure(Work work) {
  try {
    work();
    return "";
  } catch (const std::exception& e) {
    return e.what();
  }
}

TEST(TokenTest, IdentifierHasTheAgreedBytes) {
  const std::string expected = std::string("ZBT1") + std::string("\0\0\0\x03", 4) +
                               std::string("\x00\x00\x01\x8b\xcf\xe5\x68\x00", 8) +  // expiry
                               std::string("\0\0\0\0\0\0\x30\x39", 8) +              // inode
                               std::string("\0\0\0\0\x08\0\0\0", 8) +                // offset
                               std::string("\0\0\0\0\0\x10\0\0", 8) +                // length
                               std::string("\0\0\0\x30\x39\0\0\x01", 8) +            // block
                               std::string("\0\0\0\0\x65\x53\xf1\x00", 8) +  // generation stamp
                               std::string("\0\0\0\x01", 4) +                // rights
                               std::string("\0\x03", 2) + "ann" + std::string("\0\x04", 2) + "/a/b";
  EXPECT_EQ(identifierOf(someToken()), expected);
}

TEST(TokenTest, ReadsWhatItWrites) {
  EXPECT_EQ(parseToken(identifierOf(someToken())), someToken());
}

TEST(TokenTest, AnyCutAndAnythingMoreIsRefused) {
  const std::string whole = identifierOf(someToken());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_EQ(parseToken(whole.substr(0, size)), std::nullopt) << size;
  }
  EXPECT_EQ(parseToken(whole + "x"), std::nullopt);
  EXPECT_EQ(parseToken("ZBT2" + whole.substr(4)), std::nullopt);
}

TEST(TokenTest, RangesAndNamesThatAreNoneAreRefused) {
  const auto refused = [](void (*change)(BlockToken&)) {
    BlockToken token = someToken();
    change(token);
    return !parseToken(identifierOf(token)).has_value();
  };
  EXPECT_TRUE(refused([](BlockToken& t) { t.offset = -1; }));
  EXPECT_TRUE(refused([](BlockToken& t) { t.length = -1; }));
  EXPECT_TRUE(refused([](BlockToken& t) { t.offset = t.length = INT64_MAX / 2 + 1; }));
  EXPECT_TRUE(refused([](BlockToken& t) { t.user = ""; }));
  EXPECT_TRUE(refused([](BlockToken& t) { t.user = std::string("an\0n", 4); }));
  EXPECT_TRUE(refused([](BlockToken& t) { t.path = "a"; }));
  EXPECT_TRUE(refused([](BlockToken& t) { t.path = "//"; }));
  EXPECT_TRUE(refused([](BlockToken& t) { t.path = std::string("/a\0b", 4); }));
  EXPECT_FALSE(refused([](BlockToken& t) { t.length = 0; }));
}

TEST(KeysTest, LastKeyIsTheNewestAndCommentsAreLeftOut) {
  const KeySet keys = parseKeys("keys", "# ours\n\n7 " + HEX_A + " # old\n 3\t" + HEX_B + "\r\n");
  EXPECT_EQ(keys.newest, 3);
  ASSERT_EQ(keys.byId.size(), 2U);
  EXPECT_EQ(keys.byId.at(7)[0], 0xaa);
  EXPECT_EQ(keys.byId.at(3)[31], 0xbb);
}

TEST(KeysTest, WrongLinesAreNamed) {
  const std::string wrong = "keys:2: not a positive number and 64 hexadecimal digits";
  const auto of = [](const std::string& line) {
    return failure([&] { parseKeys("keys", "1 " + HEX_A + "\n" + line); });
  };
  EXPECT_EQ(of("0 " + HEX_B), wrong);
  EXPECT_EQ(of("-1 " + HEX_B), wrong);
  EXPECT_EQ(of("2147483648 " + HEX_B), wrong);
  EXPECT_EQ(of("2x " + HEX_B), wrong);
  EXPECT_EQ(of("2"), wrong);
  EXPECT_EQ(of("2 " + HEX_B.substr(1)), wrong);
  EXPECT_EQ(of("2 " + HEX_B + "b"), wrong);
  EXPECT_EQ(of("2 " + HEX_B.substr(1) + "g"), wrong);
  EXPECT_EQ(of("2 -" + HEX_B.substr(1)), wrong);
  EXPECT_EQ(of("2 " + HEX_B + " more"), wrong);
  EXPECT_EQ(of("1 " + HEX_B), "keys:2: a second key of this number");
  EXPECT_EQ(failure([] { parseKeys("keys", "# none\n"); }), "keys: holds no key");
}

TEST(KeysTest, SignatureIsHmacSha256) {
  Key key{};
  key.fill(0x0b);
  // Computed with another program.
  const std::string expected =
      "\x19\x8a\x60\x7e\xb4\x4b\xfb\xc6\x99\x03\xa0\xf1\xcf\x2b\xbd\xc5"
      "\xba\x0a\xa3\xf3\xd9\xae\x3c\x1c\x7a\x3b\x16\x96\xa0\xb6\x8c\xf7";
  EXPECT_EQ(signature(key, "Hi There"), expected);
}

TEST(KeysTest, FileOfOthersOrForOthersIsRefused) {
  const Scratch scratch;
  const std::string file = scratch.write("keys", "1 " + HEX_A + "\n", 0640);
  EXPECT_EQ(failure([&] { Keys{file}; }), file + ": others than its owner have access: chmod 600");
  EXPECT_EQ(failure([&] { Keys(scratch / "none"); }), scratch / "none: No such file or directory");
  EXPECT_EQ(failure([&] { Keys(scratch.path()); }), scratch.path() + ": not a regular file");
  if (geteuid() == 0) {
    ASSERT_EQ(chmod(file.c_str(), 0600), 0);
    ASSERT_EQ(chown(file.c_str(), 65534, 65534), 0);
    EXPECT_EQ(failure([&] { Keys{file}; }), file + ": belongs to another user");
  }
}

TEST(KeysTest, RotationNeedsNoRestart) {
  const Scratch scratch;
  const std::string file = scratch.write("keys", "1 " + HEX_A + "\n", 0600);
  Keys keys(file);
  const KeySet both = parseKeys("", "1 " + HEX_A + "\n2 " + HEX_B);
  const std::string first = signature(both.byId.at(1), "text");
  const std::string second = signature(both.byId.at(2), "text");
  EXPECT_EQ(keys.verify(1, "text", first), Keys::Verdict::GOOD);
  EXPECT_EQ(keys.verify(2, "text", second), Keys::Verdict::UNKNOWN_KEY);
  scratch.write("keys", "1 " + HEX_A + "\n2 " + HEX_B + "\n", 0600);
  EXPECT_EQ(keys.verify(2, "text", second), Keys::Verdict::GOOD);
  EXPECT_EQ(keys.verify(1, "text", first), Keys::Verdict::GOOD);
  EXPECT_EQ(keys.current().newest, 2);
  scratch.write("keys", "2 " + HEX_B + "\n", 0600);
  keys.refresh();
  EXPECT_EQ(keys.verify(1, "text", first), Keys::Verdict::UNKNOWN_KEY);
}

TEST(KeysTest, BadFileLeavesTheKeysAndIsToldOnce) {
  const Scratch scratch;
  const std::string file = scratch.write("keys", "1 " + HEX_A + "\n", 0600);
  Keys keys(file);
  scratch.write("keys", "nonsense\n", 0600);
  testing::internal::CaptureStderr();
  keys.refresh();
  keys.refresh();
  const std::string lines = testing::internal::GetCapturedStderr();
  const std::string expected = "WARN " + file +
                               ":1: not a positive number and 64 hexadecimal digits; the keys stay "
                               "as they were\n";
  EXPECT_EQ(lines.substr(std::min(lines.size(), lines.find("WARN"))), expected);
  EXPECT_EQ(keys.current().newest, 1);
}

TEST(KeysTest, ForgedSignaturesAreTold) {
  const Scratch scratch;
  Keys keys(scratch.write("keys", "1 " + HEX_A + "\n", 0600));
  std::string good = signature(keys.current().byId.at(1), "text");
  EXPECT_EQ(keys.verify(1, "texu", good), Keys::Verdict::FORGED);
  EXPECT_EQ(keys.verify(1, "text", good.substr(1)), Keys::Verdict::FORGED);
  EXPECT_EQ(keys.verify(1, "text", ""), Keys::Verdict::FORGED);
  good[31] = static_cast<char>(good[31] ^ 1);
  EXPECT_EQ(keys.verify(1, "text", good), Keys::Verdict::FORGED);
}

class RootTest : public testing::Test {
 protected:
  int open(const std::string& path, ino_t inode) {
    BlockToken token;
    token.path = path;
    token.inode = static_cast<std::int64_t>(inode);
    try {
      root_.open(token, O_RDONLY);
      return 0;
    } catch (const std::system_error& e) {
      return e.code().value();
    }
  }

  Scratch scratch_;
  Root root_{scratch_.path()};
};

TEST_F(RootTest, FileIsOpenedByPathAndInode) {
  const ino_t inode = inodeOf(scratch_.write("a", "text", 0644));
  EXPECT_EQ(open("/a", inode), 0);
  EXPECT_EQ(open("//a", inode), 0);
  EXPECT_EQ(open("/a", inode + 1), ESTALE);
  EXPECT_EQ(open("/b", inode), ENOENT);
}

TEST_F(RootTest, NothingLeadsOutOfIt) {
  const ino_t inode = inodeOf(scratch_.write("a", "text", 0644));
  ASSERT_EQ(symlink("a", (scratch_ / "link").c_str()), 0);
  ASSERT_EQ(symlink(".", (scratch_ / "here").c_str()), 0);
  ASSERT_EQ(symlink("/", (scratch_ / "away").c_str()), 0);
  EXPECT_EQ(open("/link", inode), ELOOP);
  EXPECT_EQ(open("/here/a", inode), ELOOP);
  EXPECT_EQ(open("/away/etc/passwd", inodeOf("/etc/passwd")), ELOOP);
  EXPECT_EQ(open("/../../../../../../etc/passwd", inodeOf("/etc/passwd")), EXDEV);
}

TEST_F(RootTest, OnlyRegularFilesAreFiles) {
  ASSERT_EQ(mkfifo((scratch_ / "fifo").c_str(), 0644), 0);
  EXPECT_EQ(open("/fifo", inodeOf(scratch_ / "fifo")), EINVAL);
  EXPECT_EQ(open("/.", inodeOf(scratch_.path())), EINVAL);
}

TEST(AccountTest, UnknownUserIsNone) {
  Accounts accounts;
  EXPECT_EQ(accounts.find("no such user"), nullptr);
  ASSERT_NE(accounts.find("nobody"), nullptr);
  EXPECT_EQ(accounts.find("nobody")->uid, 65534U);
}

TEST(AccountTest, UserIsKnownAgainWhenTheNameServiceIsBack) {
  Accounts accounts;
  {
    Hooks hooks;
    hooks.fail("getpwnam_r", EIO);
    EXPECT_EQ(accounts.find("nobody"), nullptr);
  }
  EXPECT_NE(accounts.find("nobody"), nullptr);
  Hooks hooks;
  EXPECT_NE(accounts.find("nobody"), nullptr);
  EXPECT_EQ(hooks.calls("getpwnam_r"), 0) << "what is known is kept";
}

TEST(AccountTest, ThreadActsAsTheUserAndIsItselfAgain) {
  if (!canActAsOthers()) GTEST_SKIP() << "may not switch users";
  Accounts accounts;
  const auto own = statusOfThread();
  const auto nobody = accounts.find("nobody");
  {
    const ActingAs user(*nobody);
    const auto now = statusOfThread();
    EXPECT_EQ(now.uids, "0\t0\t0\t65534");
    EXPECT_EQ(now.gids, "0\t0\t0\t" + std::to_string(nobody->gid));
    EXPECT_EQ(now.groups, std::to_string(nobody->gid) + " ");
  }
  EXPECT_EQ(statusOfThread(), own);
}

TEST(AccountTest, ThreadsActAsManyUsersAtOnce) {
  if (!canActAsOthers()) GTEST_SKIP() << "may not switch users";
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (unsigned int i = 1; i <= 8; ++i) {
    threads.emplace_back([&, i] {
      const auto own = statusOfThread();
      const Account account{"user", 50'000 + i, 60'000 + i, {70'000 + i, 80'000 + i}};
      const std::string uid = std::to_string(account.uid);
      for (int round = 0; round < 200; ++round) {
        {
          const ActingAs user(account);
          const auto now = statusOfThread();
          if (now.uids != "0\t0\t0\t" + uid) ++wrong;
          if (now.groups != std::to_string(70'000 + i) + " " + std::to_string(80'000 + i) + " ")
            ++wrong;
        }
        if (statusOfThread() != own) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST(AccountTest, WithoutPrivilegesItsOwnUserAloneIsServed) {
  if (canActAsOthers()) GTEST_SKIP() << "may switch users";
  EXPECT_EQ(failure([] { ActingAs(Account{"self", geteuid(), getegid(), {}}); }), "");
  EXPECT_EQ(failure([] {
              ActingAs(Account{"other", geteuid() + 1, getegid(), {}});
            }),
            "this service acts as its own user alone");
}

}  // namespace
}  // namespace datanode
