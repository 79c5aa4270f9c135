// Many connections at once.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <fstream>

#include "test_service.h"

namespace datanode {
namespace {

// The number in a line of /proc/self/status.
std::size_t statusNumber(const std::string& name) {
  std::ifstream in("/proc/self/status");
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with(name + ":")) return std::stoul(line.substr(name.size() + 1));
  }
  return 0;
}

// Connections of another process, which has descriptors of its own.
class Crowd {
 public:
  explicit Crowd(std::size_t size) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    process_ = fork();
    if (process_ == 0) {
      close(ends[1]);
      std::uint16_t port = 0;
      if (::read(ends[0], &port, sizeof port) == sizeof port) {
        std::deque<Descriptor> idle;
        while (idle.size() < size) idle.push_back(connectTo(port));
        // Until leave().
        static_cast<void>(::read(ends[0], &port, sizeof port) == 0);
      }
      _exit(0);
    }
    close(ends[0]);
    pipe_ = Descriptor(ends[1]);
  }
  ~Crowd() { leave(); }
  Crowd(const Crowd&) = delete;
  Crowd& operator=(const Crowd&) = delete;

  void connect(std::uint16_t port) {
    EXPECT_EQ(::write(pipe_.get(), &port, sizeof port), static_cast<ssize_t>(sizeof port));
  }
  void leave() {
    pipe_ = Descriptor();
    if (process_ > 0) waitpid(process_, nullptr, 0);
    process_ = -1;
  }

 private:
  pid_t process_ = -1;
  Descriptor pipe_;
};

class CrowdTest : public ServiceTest {
 protected:
  // Whether this process may have so many descriptors.
  static bool raiseDescriptors(rlim_t wanted) {
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_max = std::max(limit.rlim_max, wanted);
    limit.rlim_cur = limit.rlim_max;
    return setrlimit(RLIMIT_NOFILE, &limit) == 0;
  }

  const std::string bytes_ = someBytes(100'000);
  const std::string file_ = scratch_.write("file", bytes_, 0644);
};

TEST_F(CrowdTest, TenThousandIdleConnectionsCostNoThreadAndHinderNobody) {
  constexpr std::size_t CROWD = 10'000;
  if (!raiseDescriptors(CROWD + 200)) GTEST_SKIP() << "no descriptors for 10,000 connections";
  limits().connectionsOfAddress = CROWD + 1;
  Crowd crowd(CROWD);  // a process, and so before there are threads
  const std::uint16_t at = port();
  const auto request = readRequest(headerFor(tokenFor("/file", BlockToken::READ)), 0, 100'000);
  const std::size_t threads = statusNumber("Threads");
  crowd.connect(at);
  while (service().metrics.connections < CROWD) usleep(1000);
  EXPECT_LE(statusNumber("Threads"), threads + 8);
  TestClient client(at);
  for (int i = 0; i < 100; ++i) {
    client.ask(READ_BLOCK, request);
    EXPECT_EQ(client.readPackets(client.response()), bytes_);
  }
  crowd.leave();
  while (service().metrics.connections > 1) usleep(1000);
}

TEST_F(CrowdTest, BurstOfReadersIsServedByThreadsThatEndLater) {
  const std::uint16_t at = port();
  const auto request = readRequest(headerFor(tokenFor("/file", BlockToken::READ)), 0, 100'000);
  std::deque<TestClient> clients;
  for (std::size_t i = 0; i < 300; ++i) {
    clients.emplace_back(at);
    clients.back().ask(READ_BLOCK, request);
  }
  // All of them have a thread that waits for their word on what they read.
  for (TestClient& client : clients) EXPECT_EQ(client.readPackets(client.response()), bytes_);
  for (TestClient& client : clients) {
    client.ask(READ_BLOCK, request);
    EXPECT_EQ(client.readPackets(client.response()), bytes_);
  }
  EXPECT_EQ(service().metrics.connectionsAccepted, 300U);
}

TEST_F(CrowdTest, SlowOperationsUpToTheLimitHoldNobodyElseUp) {
  service().messageTime = std::chrono::seconds(60);
  const std::uint16_t at = port();
  std::deque<TestClient> slow;
  for (int i = 0; i < 500; ++i) {
    slow.emplace_back(at);
    slow.back().say(std::string("\0\x1c\x51\x7f", 4));
  }
  EXPECT_EQ(read(tokenFor("/file", BlockToken::READ), 0, 100'000), bytes_);
  slow.clear();
  while (service().metrics.connections > 1) usleep(1000);
}

}  // namespace
}  // namespace datanode
