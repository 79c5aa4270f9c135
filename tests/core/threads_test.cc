// Everything that many threads may call, from eight at once, with every line logged; and failures,
// for what they keep.
#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <list>
#include <memory>
#include <thread>
#include <vector>

#include "acl/exchange.h"
#include "base/ioexception.h"
#include "base/logger.h"
#include "blocks/directives.h"
#include "blocks/fileobj.h"
#include "blocks/policy.h"
#include "blocks/query.h"
#include "identity/fsaccount.h"
#include "identity/names.h"
#include "status/failedpath.h"
#include "status/linktarget.h"
#include "status/mounts.h"
#include "status/stat.h"
#include "support/core_test.h"
#include "support/entries.h"
#include "support/thread_identity.h"
#include "xattr/bulk.h"
#include "xattr/primitives.h"

namespace {

constexpr int THREADS = 8;
constexpr int ROUNDS = 200;
constexpr std::uint64_t MiB = 1 << 20;

class Threads : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    ASSERT_TRUE(ACLUtil::init());
    std::string name = (std::filesystem::temp_directory_path() / "zorf_helpers.XXXXXX").string();
    dir = mkdtemp(name.data());
    file = dir + "/file";
    std::ofstream(file) << "content";
    std::filesystem::resize_file(file, 1024 * MiB);
    ASSERT_EQ(symlink("file", (dir + "/link").c_str()), 0);
    ASSERT_EQ(setxattr(file.c_str(), "user.a", "1", 1, 0), 0);
    ASSERT_EQ(setxattr(file.c_str(), "user.b", "\0x", 2, 0), 0);
    defaultDFSBlockSize = 64 * MiB;
  }
  void TearDown() override {
    std::filesystem::remove_all(dir);
    CoreTest::TearDown();
  }

  // Runs `body` ROUNDS times on each of THREADS threads; it tells whether all was well.
  void fromAllThreads(const std::function<bool(int thread)>& body) {
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < ROUNDS; ++i) {
          if (!body(t)) ++wrong;
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
  }

  std::string locations(GetBlkCmd policy) const {
    struct stat st = {};
    getStat(file.c_str(), true, st);
    const fileObj open(file.c_str(), O_RDONLY);
    location loc = {};
    loc.length = static_cast<std::uint64_t>(st.st_size);
    Entries out;
    return getBlkLocationInt(open.fd(), policy, st, loc, out) == 0 ? out.bytes : "";
  }

  std::string dir;
  std::string file;
};

TEST_F(Threads, StatusAndLinks) {
  fromAllThreads([&](int) {
    struct stat st = {};
    return getStat(file.c_str(), true, st) == 0 && st.st_size == 1024 * MiB &&
           getStat((dir + "/none").c_str(), true, st) == ENOENT &&
           getLinkTarget((dir + "/link").c_str(), 4) == "file" &&
           getLinkTarget((dir + "/link").c_str(), 3).empty() &&
           getPermissionFromMode(file, st.st_mode, true) == 0 &&
           getFailedPath((dir + "/none").c_str(), true, st) == dir;
  });
}

TEST_F(Threads, Mounts) {
  fromAllThreads([](int) { return zorfDeviceAt("/nowhere") == std::nullopt; });
}

TEST_F(Threads, LinesArriveWhole) {
  fromAllThreads([](int thread) {
    ZORF_LOG(LOG_INFO, "of thread " << thread);
    return true;
  });
  const std::vector<std::string> lines = takeLogWithoutLines();
  for (int thread = 0; thread < THREADS; ++thread) {
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         "info @operator():# of thread " + std::to_string(thread)),
              ROUNDS);
  }
}

TEST_F(Threads, Names) {
  fromAllThreads([](int) {
    std::string user;
    std::string group;
    unsigned uid = 1;
    unsigned gid = 1;
    uidgid_to_name(0, 0, user, group);
    const bool root = user == "root" && group == "root";
    uidgid_to_name(4242, 4243, user, group);
    return root && user == "4242" && group == "4243" && username_to_uidgid("root", uid, gid) == 0 &&
           uid == 0 && grpname_to_gid("no-such-group", gid) == EINVAL;
  });
}

TEST_F(Threads, Identities) {
  const auto ownUid = static_cast<unsigned>(geteuid());
  const auto ownGid = static_cast<unsigned>(getegid());
  fromAllThreads([&](int thread) {
    bool acted = false;
    const auto as = ownUid == 0 ? 70000u + static_cast<unsigned>(thread) : ownUid;
    {
      const FSAccount account(as, ownGid);
      acted = static_cast<unsigned>(setfsuid(static_cast<uid_t>(-1))) == as;
      const FSAccount root(ownUid, ownGid);
      acted = acted && static_cast<unsigned>(setfsuid(static_cast<uid_t>(-1))) == ownUid;
    }
    return acted && static_cast<unsigned>(setfsuid(static_cast<uid_t>(-1))) == ownUid &&
           static_cast<unsigned>(setfsgid(static_cast<gid_t>(-1))) == ownGid;
  });
}

// Groups are a thread's own as the ids are: the main thread keeps its.
TEST_F(Threads, IdentitiesByName) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to act as others";
  const ThreadIdentity before = threadIdentity();
  fromAllThreads([](int thread) {
    const bool nobody = thread % 2 == 0;
    const FSAccount account(nobody ? "nobody" : "root");
    return threadIdentity().fsuid == (nobody ? 65534u : 0u) && dump_gid("dump") == 0;
  });
  EXPECT_EQ(threadIdentity(), before);
}

TEST_F(Threads, LocationsUnderEveryPolicy) {
  const int policies = 4;
  std::string expected[policies];
  for (int p = 0; p < policies; ++p) expected[p] = locations(static_cast<GetBlkCmd>(p));
  EXPECT_EQ(expected[GET_BLK_LOCAL].size(), sizeof(location) + 256 * 2 * 8);
  EXPECT_EQ(expected[GET_BLK_SHARED].size(), sizeof(location));
  EXPECT_EQ(expected[GET_BLK_RACKAWARE].size(), sizeof(location) + 16 * 2 * 8);
  EXPECT_GT(expected[GET_BLK_RACKAWARE_SORT].size(), sizeof(location));
  fromAllThreads([&](int thread) {
    const int policy = thread % policies;
    globalBlkCmd = static_cast<GetBlkCmd>(policy);  // set at start-up, read by all: never torn
    return locations(static_cast<GetBlkCmd>(policy)) == expected[policy];
  });
  globalBlkCmd = GET_BLK_LOCAL;
}

TEST_F(Threads, Directives) {
  fromAllThreads([&](int thread) {
    const std::string own = file + std::to_string(thread);
    std::ofstream(own) << "x";
    const fileObj open(own.c_str(), O_RDWR);
    return open.fd() >= 0 && setReplication(open.fd(), 3) == 0 && restripeFile(open.fd()) == 0 &&
           setBGF(open.fd(), 2) == 0 && setBGF(-1, 2) == -1;
  });
}

TEST_F(Threads, Attributes) {
  fromAllThreads([&](int thread) {
    const std::string name = "user.t" + std::to_string(thread);
    char* buffer = nullptr;
    int length = 0;
    if (zorf_setxattr(file.c_str(), name.c_str(), 3, "abc", 0) != 0) return false;
    std::list<std::string> names{"user.b", "user.a", "user.b"};
    if (zorf_getxattrs(file.c_str(), names, &buffer, &length) != 0) return false;
    const std::unique_ptr<char[]> records(buffer);
    const bool both = length == (6 + 1 + 6) + (6 + 2 + 6);
    std::list<std::string> missing{"user.a", "user.none"};
    const bool refused =
        zorf_getxattrs(file.c_str(), missing, &buffer, &length) == ENODATA && buffer == nullptr;
    const std::unique_ptr<char[]> none(buffer);
    const bool got = zorf_getxattr(file.c_str(), name.c_str(), &buffer) == 3;
    const std::unique_ptr<char[]> value(buffer);
    const bool removed = zorf_removexattr(file.c_str(), name.c_str()) == 0;
    return both && refused && got && removed;
  });
}

TEST_F(Threads, AttributesOfFilesOfTheirOwn) {
  fromAllThreads([&](int thread) {
    const std::string own = file + ".xattr" + std::to_string(thread);
    std::ofstream(own) << "x";
    if (zorf_setxattr(own.c_str(), "user.a", 3, "abc", 0) != 0) return false;
    char* buffer = nullptr;
    int length = 0;
    const bool dumped = zorf_dumpxattrs(own.c_str(), &buffer, &length) == 0;
    const std::unique_ptr<char[]> records(buffer);
    const bool listed = zorf_listxattrs(own.c_str(), &buffer) >= 7;
    const std::unique_ptr<char[]> names(buffer);
    return dumped && length >= 6 + 3 + 6 && listed;
  });
}

TEST_F(Threads, AclsOfFilesOfTheirOwn) {
  fromAllThreads([&](int thread) {
    const std::string own = file + ".acl" + std::to_string(thread);
    std::ofstream(own) << "x";
    const std::int32_t spec[] = {1, ACL_TYPE_ACCESS, ACL_USER, 1000 + thread, 5};
    std::string bytes(reinterpret_cast<const char*>(spec), sizeof spec);
    std::istringstream in(bytes);
    ACLList changes;
    convert(in, changes);
    ACL current(own, ACL_TYPE_ACCESS);
    (current + *changes.at(0)).set_file(own, true);
    ACL written(own, ACL_TYPE_ACCESS);
    const bool merged = written.size() == 5;
    ACLList reported;
    reported.push_back(std::make_unique<ACL>(own, ACL_TYPE_ACCESS));
    std::ostringstream report;
    convert(reported, report);
    const bool whole = report.str().size() == 5 * 12 + 4;
    written.clear();
    return merged && whole && ACL(own, ACL_TYPE_ACCESS).size() == 3;
  });
}

// Every failure below throws; nothing may be kept by what was under construction.
TEST_F(Threads, FailuresKeepNothing) {
  EXPECT_THROW(ACL(7), IOException);
  EXPECT_THROW(ACL(dir + "/none", ACL_TYPE_ACCESS), IOException);
  EXPECT_THROW(ACL("\x07\0\0\0u::rwx"), IOException);
  EXPECT_THROW(ACL("\0\x80\0\0not an acl"), IOException);
  ACL incomplete(ACL_TYPE_ACCESS);
  ACL::Entry entry(incomplete);
  entry.set_tag(ACL_MASK);
  EXPECT_THROW(incomplete.make_valid(""), IOException);
  EXPECT_THROW(incomplete.set_file(file, false), IOException);
  std::istringstream unknownTag(std::string("\x01\0\0\0\0\x80\0\0\x03\0\0\0", 12));
  ACLList acls;
  EXPECT_THROW(convert(unknownTag, acls), IOException);
  EXPECT_EQ(acls.size(), 1u);
}

}  // namespace
