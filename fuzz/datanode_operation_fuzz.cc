// Whole operations with tokens that are good: what a user who is let in may say. A block of a file
// may change, and nothing beside it.
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cassert>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "files/descriptor.h"
#include "fuzz/input.h"
#include "service/log.h"
#include "service/operations.h"
#include "wire/bigendian.h"
#include "wire/frames.h"

namespace {

using namespace datanode;

constexpr std::int64_t FRONT = 1000;  // of the file, before the block
constexpr std::int64_t BLOCK = 5000;
const std::string HEX(64, 'a');

// A directory with a key and a file, and the service on it.
class Fixture {
 public:
  Fixture() {
    directory_ = (std::filesystem::temp_directory_path() / "datanode-fuzz-XXXXXX").string();
    if (mkdtemp(directory_.data()) == nullptr) std::abort();
    umask(077);
    std::ofstream(directory_ + "/keys") << "1 " << HEX << "\n";
    std::ofstream(directory_ + "/file") << std::string(FRONT + BLOCK, 'f');
    service_ = std::make_unique<Service>(directory_, directory_ + "/keys");
    service_->packetTime = service_->messageTime = std::chrono::seconds(2);
  }
  ~Fixture() { std::filesystem::remove_all(directory_); }

  Service& service() { return *service_; }
  std::string file() const { return directory_ + "/file"; }

 private:
  std::string directory_;
  std::unique_ptr<Service> service_;
};

std::string ownUser() {
  static const passwd* const user = getpwuid(geteuid());
  return user == nullptr ? "root" : user->pw_name;
}

void sign(wire::BaseHeader& header, const std::string& file) {
  struct stat st = {};
  stat(file.c_str(), &st);
  const BlockToken token{1,
                         4'000'000'000'000,
                         static_cast<std::int64_t>(st.st_ino),
                         FRONT,
                         BLOCK,
                         7,
                         1,
                         3,
                         ownUser(),
                         "/file"};
  header.mutable_block()->set_pool_id("BP-zorf-1");
  header.mutable_block()->set_block_id(7);
  header.mutable_block()->set_generation_stamp(1);
  header.mutable_token()->set_identifier(identifierOf(token));
  header.mutable_token()->set_password(
      signature(parseKeys("", "1 " + HEX).byId.at(1), identifierOf(token)));
  header.mutable_token()->set_kind("");
  header.mutable_token()->set_service("");
}

template <class Message>
std::string framed(std::uint8_t code, const Message& message) {
  const std::string body = message.SerializePartialAsString();
  std::string bytes = {0, 28, static_cast<char>(code)};
  std::size_t size = body.size();
  for (; size >= 0x80; size >>= 7) bytes += static_cast<char>(size | 0x80);
  return bytes + static_cast<char>(size) + body;
}

// The first message, of the input's fields under a token of ours.
std::string operation(Input& input, const std::string& file) {
  const auto kind = input.number<std::uint8_t>() % 3;
  const std::string fields = input.bytes(input.number<std::uint8_t>());
  if (kind == 0) {
    wire::ReadBlock request;
    request.ParsePartialFromString(fields);
    sign(*request.mutable_header()->mutable_base_header(), file);
    request.mutable_header()->set_client_name("fuzz");
    return framed(81, request);
  }
  if (kind == 1) {
    wire::WriteBlock request;
    request.ParsePartialFromString(fields);
    sign(*request.mutable_header()->mutable_base_header(), file);
    request.mutable_header()->set_client_name("fuzz");
    return framed(80, request);
  }
  wire::BlockChecksum request;
  request.ParsePartialFromString(fields);
  const auto blockSize = request.header().block().num_bytes();
  sign(*request.mutable_header(), file);
  request.mutable_header()->mutable_block()->set_num_bytes(blockSize);
  return framed(85, request);
}

}  // namespace

// In the place of the service's own: its lines are not what is looked for.
void datanode::logLine(Level, const std::string&) {}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Fixture fixture;
  static Buffer buffer;
  if (size > 20'000) return 0;
  Input input(data, size);
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) != 0) return 0;
  const Descriptor ours(ends[0]);
  const Descriptor theirs(ends[1]);
  const std::string bytes = operation(input, fixture.file()) + input.rest();
  if (send(theirs.get(), bytes.data(), bytes.size(), 0) < 0) return 0;
  shutdown(theirs.get(), SHUT_WR);
  Stream stream(ours.get(), buffer);
  try {
    while (serveOperation(fixture.service(), stream, "fuzz")) {
    }
  } catch (const ConnectionEnd&) {
  }
  struct stat st = {};
  stat(fixture.file().c_str(), &st);
  assert(st.st_size >= FRONT && st.st_size <= FRONT + BLOCK);
  std::ifstream file(fixture.file(), std::ios::binary);
  std::string front(FRONT, '\0');
  file.read(front.data(), FRONT);
  assert(front == std::string(FRONT, 'f'));
  return 0;
}
