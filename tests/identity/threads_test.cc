// That an identity is a matter of one thread, and stays so under load.
#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <latch>
#include <random>

#include "identity/identity_fixture.h"
#include "support/java_values.h"
#include "zorf_native.h"

namespace {

using ::testing::ElementsAre;

using ThreadsTest = IdentityInJvm;

jlong switchTo(const std::string& user) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setFsUid__Ljava_lang_String_2(
      jniEnv(), nullptr, javaString(user));
}

void giveBack(jlong handle) {
  Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setFsUid__J(jniEnv(), nullptr, handle);
}

TEST_F(ThreadsTest, OtherThreadsKeepTheirGroupsWhileOneSwitches) {
  REQUIRE_SCRATCH_USERS();
  std::latch switched(1);
  std::latch looked(1);
  ThreadIdentity before;
  ThreadIdentity during;
  std::latch started(1);
  std::thread bystander([&] {
    const AttachedThread attached;
    before = threadIdentity();
    started.count_down();
    switched.wait();
    during = threadIdentity();
    looked.count_down();
  });
  started.wait();
  const ThreadIdentity mainBefore = threadIdentity();
  onOwnThread([&] {
    const jlong handle = switchTo(MANY_GROUPS.name);
    EXPECT_EQ(threadIdentity().groups.size(), MANY_GROUPS_COUNT + 1);
    switched.count_down();
    looked.wait();
    giveBack(handle);
  });
  bystander.join();
  EXPECT_EQ(before, during);
  EXPECT_EQ(threadIdentity(), mainBefore);
}

// A directory with one file for each plain user, readable by its owner alone.
class PrivateFiles {
 public:
  PrivateFiles() {
    std::string name = (std::filesystem::temp_directory_path() / "zorf_threads.XXXXXX").string();
    path_ = mkdtemp(name.data());
    chmod(path_.c_str(), 0755);
    for (unsigned i = 1; i <= PLAIN_USERS; ++i) {
      const std::string file = of(i);
      close(::open(file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0400));
      EXPECT_EQ(chown(file.c_str(), plainUid(i), plainUid(i)), 0);
    }
  }
  ~PrivateFiles() { std::filesystem::remove_all(path_); }

  std::string of(unsigned user) const { return path_ + "/" + plainUser(user); }
  bool opens(unsigned user) const {
    const int fd = ::open(of(user).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0) close(fd);
    return fd >= 0;
  }

 private:
  std::string path_;
};

TEST_F(ThreadsTest, SixteenThreadsAmongEightUsersNeverMeetAnothersIdentity) {
  REQUIRE_SCRATCH_USERS();
  logger2::currentLevel = LOG_WARN;
  constexpr int THREADS = 16;
  const PrivateFiles files;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  std::atomic<int> switches = 0;
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < THREADS; ++t) {
    threads.emplace_back([&, t] {
      const AttachedThread attached;
      std::minstd_rand random(static_cast<unsigned>(t) + 1);
      while (std::chrono::steady_clock::now() < deadline) {
        const unsigned user = random() % PLAIN_USERS + 1;
        const unsigned other = user % PLAIN_USERS + 1;
        jniEnv()->PushLocalFrame(4);
        const jlong handle = switchTo(plainUser(user));
        const ThreadIdentity during = threadIdentity();
        const bool mine =
            during.fsuid == plainUid(user) && during.fsgid == plainUid(user) &&
            during.groups ==
                std::vector<unsigned>{plainUid(user), plainGroup(user, 0), plainGroup(user, 1)} &&
            files.opens(user) && !files.opens(other);
        giveBack(handle);
        const ThreadIdentity after = threadIdentity();
        if (!mine || after.fsuid != 0 || after.fsgid != 0) ++wrong;
        ++switches;
        jniEnv()->PopLocalFrame(nullptr);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_GT(switches, 1000);
  RecordProperty("switches", switches);
  std::printf("%d switches by %d threads\n", switches.load(), THREADS);
}

}  // namespace
