// What a user may have put where the natives open a file: a FIFO, a terminal, a lease, a link to
// them.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "blocks/fileobj.h"
#include "blocks/natives_fixture.h"
#include "blocks/policy.h"
#include "support/commands.h"
#include "support/interpose.h"
#include "support/java_values.h"
#include "zorf_native.h"

#define NATIVE(method) Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_##method

namespace {

using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::SizeIs;

class Opening : public BlockNativesTest {
 protected:
  void SetUp() override {
    BlockNativesTest::SetUp();
    globalBlkCmd = GET_BLK_SHARED;
    client.answerWith([this](unsigned char*) {
      // What the client library is given, among the descriptors that are open.
      for (int fd = 3; fd < 256; ++fd) {
        struct stat st;
        if (fstat(fd, &st) == 0 && st.st_ino == inode_) {
          nonBlocking_.push_back((fcntl(fd, F_GETFL) & O_NONBLOCK) != 0);
        }
      }
      return 0;
    });
  }

  // Every native that opens, on `path`; with the status of a regular file where one can be given,
  // as if the path had become something else since.
  void callAll(const std::string& path) {
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    inode_ = st.st_ino;
    jstring name = javaString(path);
    const struct stat regular = statusOf(1000, 4096);
    jbyteArray record = javaBytes(bytesOfStatus(regular));
    NATIVE(getBlockLocationsNative)(env, nullptr, name, 0, 1000, record);
    NATIVE(getBlockSizeNative)(env, nullptr, name, record);
    NATIVE(setReplication)(env, nullptr, name, 2, JNI_TRUE);
    NATIVE(setBGF)(env, nullptr, name, 2);
    Hooks hooks;
    hooks.lstat = [&](const char*, struct stat* out) {
      *out = regular;
      return 0;
    };
    NATIVE(getLocatedFileStatusNative)(env, nullptr, name, JNI_TRUE, JNI_FALSE, JNI_FALSE);
    EXPECT_EQ(takeJavaError(), std::nullopt);
  }

  std::vector<bool> nonBlocking_;
  ino_t inode_ = 0;
};

TEST_F(Opening, AFifoIsNotWaitedFor) {
  const std::string fifo = at("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0666), 0);
  ASSERT_EQ(symlink(fifo.c_str(), at("link").c_str()), 0);
  for (const std::string& path : {fifo, at("link")}) {
    callAll(path);
    // Two in getBlkInfoInternal of the queries, three in the directives, one more in the last
    // query.
    EXPECT_THAT(nonBlocking_, SizeIs(6));
    EXPECT_THAT(nonBlocking_, Each(false));
    nonBlocking_.clear();
  }
}

TEST_F(Opening, AFifoGivesTheRecordOfAFileThatIsNotRegular) {
  const std::string fifo = at("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0666), 0);
  jbyteArray stream =
      NATIVE(getBlockLocationsNative)(env, nullptr, javaString(fifo), 5, 7, nullptr);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(bytesOf(stream), locationBytes(0, 0, 0, 0, 0));
  EXPECT_EQ(NATIVE(getBlockSizeNative)(env, nullptr, javaString(fifo), nullptr), 0);
}

TEST_F(Opening, AnInterruptedOpenIsRepeated) {
  const std::string path = file("data", 10);
  Hooks hooks;
  hooks.open = [times = 3](const char* name, int flags, mode_t mode) mutable {
    if (times-- == 0) return ::open(name, flags, mode);
    errno = EINTR;
    return -1;
  };
  const fileObj opened(path.c_str(), O_RDONLY);
  EXPECT_GE(opened.fd(), 0);
}

// Another process that holds a lease on a file, and gives it up 300 ms after it is asked to.
class Lease {
 public:
  explicit Lease(const std::string& path) {
    std::array<int, 2> ready;
    if (pipe(ready.data()) != 0) std::abort();
    child_ = fork();
    if (child_ == 0) {
      hold(path.c_str(), ready[1]);
    }
    close(ready[1]);
    char granted = 0;
    granted_ = read(ready[0], &granted, 1) == 1 && granted == 'y';
    close(ready[0]);
  }
  ~Lease() {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }
  Lease(const Lease&) = delete;
  Lease& operator=(const Lease&) = delete;

  bool granted() const { return granted_; }

 private:
  [[noreturn]] static void hold(const char* path, int ready) {
    sigset_t io;
    sigemptyset(&io);
    sigaddset(&io, SIGIO);
    sigprocmask(SIG_BLOCK, &io, nullptr);
    const int fd = ::open(path, O_RDWR);
    const bool granted = fcntl(fd, F_SETLEASE, F_WRLCK) == 0;
    if (write(ready, granted ? "y" : "n", 1) != 1) _exit(1);
    siginfo_t info;
    sigwaitinfo(&io, &info);
    usleep(300'000);
    fcntl(fd, F_SETLEASE, F_UNLCK);
    pause();
    _exit(0);
  }

  pid_t child_;
  bool granted_ = false;
};

TEST_F(Opening, ALeaseIsWaitedFor) {
  const std::string path = file("data", 10);
  const Lease lease(path);
  if (!lease.granted()) GTEST_SKIP() << "this file system has no leases";
  const auto start = std::chrono::steady_clock::now();
  callAll(path);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(250));
  EXPECT_THAT(nonBlocking_, Each(false));
}

// Its first open finds a lease; what the path names at the second is a FIFO.
TEST_F(Opening, AFifoInThePlaceOfALeasedFileIsNotWaitedForEither) {
  const std::string path = at("swapped");
  ASSERT_EQ(mkfifo(path.c_str(), 0666), 0);
  Hooks hooks;
  hooks.open = [first = true](const char* name, int flags, mode_t mode) mutable {
    if (!std::exchange(first, false)) return ::open(name, flags, mode);
    errno = EAGAIN;
    return -1;
  };
  const fileObj opened(path.c_str(), O_RDONLY);
  EXPECT_EQ(opened.fd(), -EAGAIN);
}

// A session of its own without a terminal, as a NameNode under systemd has it: this program once
// more, with the one test of OpeningWithoutTerminal in it.
TEST_F(Opening, ATerminalBehindALinkIsNotTakenAsOnesOwn) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (terminal < 0) GTEST_SKIP() << "there are no terminals without /dev/pts";
  close(terminal);
  const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
  const std::string output =
      outputOf({"setsid", "--wait", self, "--gtest_filter=OpeningWithoutTerminal.*",
                "--gtest_also_run_disabled_tests"});
  EXPECT_THAT(output, HasSubstr("[  PASSED  ] 1 test.")) << output;
}

class OpeningWithoutTerminal : public Opening {};

TEST_F(OpeningWithoutTerminal, DISABLED_ATerminalStaysTheUsers) {
  ASSERT_EQ(::open("/dev/tty", O_RDWR | O_CLOEXEC), -1) << "there is a terminal already";
  const int user = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(user, 0);
  ASSERT_EQ(grantpt(user), 0);
  ASSERT_EQ(unlockpt(user), 0);
  ASSERT_EQ(symlink(ptsname(user), at("link").c_str()), 0);
  callAll(at("link"));
  EXPECT_EQ(::open("/dev/tty", O_RDWR | O_CLOEXEC), -1) << "the user's terminal is the process's";
  close(user);  // would end the process by SIGHUP
}

}  // namespace
