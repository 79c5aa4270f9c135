// kill_test PROGRAM [TIMES]: a writer whose service is killed at any moment, again and again, and
// what the file has of all that it was told is safe. Prints what it saw; ends with 1 where a byte
// is missing.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <random>
#include <thread>

#include "test_service.h"

namespace datanode {
namespace {

constexpr std::size_t PACKET = 5'000;

// The program as a process of its own, on a free port.
class Process {
 public:
  Process(const std::string& program, const Scratch& scratch) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    std::string arguments[] = {program, "--root=" + scratch.path(), "--key=" + scratch / "keys",
                               "--port=0"};
    char* vector[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(),
                      arguments[3].data(), nullptr};
    EXPECT_EQ(posix_spawn(&process_, program.c_str(), &actions, nullptr, vector, environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    FILE* const lines = fdopen(ends[0], "r");
    char line[1024];
    while (port_ == 0 && fgets(line, sizeof line, lines) != nullptr) {
      const std::string text = line;
      const auto found = text.find("listens at 127.0.0.1:");
      if (found != std::string::npos) port_ = std::stoi(text.substr(found + 21));
    }
    // Its later lines have nowhere to go, which it bears.
    fclose(lines);
  }
  ~Process() { kill(); }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  std::uint16_t port() const { return static_cast<std::uint16_t>(port_); }
  void kill() {
    if (process_ > 0) {
      ::kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
    process_ = -1;
  }

 private:
  pid_t process_ = -1;
  int port_ = 0;
};

class Writer : public ServiceTest {
 public:
  void TestBody() override {}

  // Writes until the service is gone; the bytes of the block that were acknowledged. Tells `first`
  // of the first acknowledgement.
  std::size_t write(std::uint16_t port, std::size_t has, std::promise<void> first) {
    BlockToken token = tokenFor("/file", BlockToken::WRITE);
    token.length = INT64_MAX;
    const Checksum checksum(wire::CHECKSUM_CRC32C);
    const auto stage =
        has == 0 ? wire::WriteBlock::SETUP_CREATE : wire::WriteBlock::SETUP_STREAMING_RECOVERY;
    try {
      TestClient client(port);
      auto request = writeRequest(headerFor(token), stage);
      request.set_min_bytes_received(has);
      const std::string answer = beginWrite(client, request);
      if (answer != "SUCCESS ") {
        std::printf("%s\n", answer.c_str());
        std::exit(1);
      }
      for (std::int64_t seqno = 0;; ++seqno) {
        // Some of them hflush, some hsync: a killed process loses neither.
        const bool sync = seqno % 32 == 31;
        client.sendPacket({seqno, static_cast<std::int64_t>(has), part(has), false, sync},
                          checksum);
        if (client.acknowledgement() != std::to_string(seqno) + " SUCCESS") return has;
        has += PACKET;
        if (seqno == 0) first.set_value();
      }
    } catch (const ConnectionEnd&) {
      return has;
    }
  }

  std::string part(std::size_t at) const { return bytes_.substr(at % PERIOD, PACKET); }
  bool isComplete(std::size_t from, std::size_t to) const {
    std::ifstream file(scratch_ / "file", std::ios::binary);
    file.seekg(static_cast<std::streamoff>(from));
    std::string read(PACKET, '\0');
    for (std::size_t at = from; at < to; at += PACKET) {
      if (!file.read(read.data(), PACKET) || read != part(at)) return false;
    }
    return true;
  }
  const Scratch& scratch() const { return scratch_; }

 private:
  static constexpr std::size_t PERIOD = 97 * PACKET;
  const std::string bytes_ = someBytes(PERIOD);
  const std::string file_ = scratch_.write("file", "", 0644);
};

int run(const std::string& program, int times) {
  std::mt19937 random(std::random_device{}());
  std::uniform_int_distribution<int> delay(0, 50'000);
  Writer writer;
  std::size_t acknowledged = 0;
  for (int i = 0; i < times; ++i) {
    Process process(program, writer.scratch());
    std::promise<void> first;
    std::thread killer([&, isAcknowledged = first.get_future()] {
      // Every second one dies amid its packets, however slow the machine; the others at any moment.
      if (i % 2 == 1) isAcknowledged.wait();
      usleep(static_cast<useconds_t>(delay(random)));
      process.kill();
    });
    const std::size_t before = acknowledged;
    acknowledged = writer.write(process.port(), acknowledged, std::move(first));
    killer.join();
    // What was there before is looked at once more at the end.
    if (!writer.isComplete(i == times - 1 ? 0 : before, acknowledged)) {
      std::printf("bytes are missing after %d kills: %zu were acknowledged\n", i + 1, acknowledged);
      return 1;
    }
  }
  std::printf("killed %d times, all of %zu acknowledged bytes are there\n", times, acknowledged);
  return acknowledged < PACKET * static_cast<std::size_t>(times / 2) ? 1 : 0;
}

}  // namespace
}  // namespace datanode

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  return datanode::run(argv[1], argc > 2 ? std::atoi(argv[2]) : 200);
}
