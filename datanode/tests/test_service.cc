#include "test_service.h"

#include <poll.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>

#include "service/sockets.h"

namespace datanode {

namespace {

constexpr std::int64_t FAR_FUTURE = 4'000'000'000'000;

std::string keyFile(const Scratch& scratch) {
  return scratch.write("keys", "5 " + std::string(64, 'c') + "\n", 0600);
}

}  // namespace

std::string someBytes(std::size_t size) {
  std::string bytes(size, '\0');
  std::uint64_t state = 88172645463325252;
  for (char& byte : bytes) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    byte = static_cast<char>(state);
  }
  return bytes;
}

std::string ownUser() {
  const passwd* const user = getpwuid(geteuid());
  return user == nullptr ? "" : user->pw_name;
}

ServiceTest::ServiceTest() : ServiceTest(scratch_) {}

ServiceTest::ServiceTest(const Scratch& served) : service_(served.path(), keyFile(served)) {}

ServiceTest::~ServiceTest() {
  stopAccepting();
  if (server_ != nullptr) {
    EXPECT_TRUE(server_->stop(std::chrono::seconds(0)));
  }
}

std::uint16_t ServiceTest::port() {
  if (!server_) {
    server_ = std::make_unique<Server>(service_, limits_);
    listener_ = listenAt("127.0.0.1", 0);
    acceptor_ = std::thread([this] {
      while (accepting_) {
        pollfd polled{listener_.get(), POLLIN, 0};
        poll(&polled, 1, 20);
        server_->accept(listener_);
        server_->closeIdle();
      }
    });
  }
  const std::string name = nameOfSocket(listener_);
  return static_cast<std::uint16_t>(std::stoi(name.substr(name.rfind(':') + 1)));
}

void ServiceTest::stopAccepting() {
  accepting_ = false;
  if (acceptor_.joinable()) acceptor_.join();
}

BlockToken ServiceTest::tokenFor(const std::string& path, std::int32_t rights) const {
  struct stat st = {};
  EXPECT_EQ(stat((scratch_.path() + path).c_str(), &st), 0);
  BlockToken token;
  token.keyId = 5;
  token.expiry = FAR_FUTURE;
  token.inode = static_cast<std::int64_t>(st.st_ino);
  token.length = (rights & BlockToken::WRITE) != 0 ? 1 << 20 : st.st_size;
  token.blockId = 77;
  token.generationStamp = 1;
  token.rights = rights;
  token.user = ownUser();
  token.path = path;
  return token;
}

wire::BaseHeader ServiceTest::headerFor(const BlockToken& token) const {
  wire::BaseHeader header;
  header.mutable_block()->set_pool_id("BP-zorf-1");
  header.mutable_block()->set_block_id(static_cast<std::uint64_t>(token.blockId));
  header.mutable_block()->set_generation_stamp(1);
  header.mutable_block()->set_num_bytes(static_cast<std::uint64_t>(token.length));
  const std::string identifier = identifierOf(token);
  header.mutable_token()->set_identifier(identifier);
  Key key{};
  key.fill(0xcc);
  header.mutable_token()->set_password(signature(key, identifier));
  header.mutable_token()->set_kind("HDFS_BLOCK_TOKEN");
  header.mutable_token()->set_service("");
  return header;
}

wire::ReadBlock ServiceTest::readRequest(const wire::BaseHeader& header, std::uint64_t offset,
                                         std::uint64_t length) {
  wire::ReadBlock request;
  *request.mutable_header()->mutable_base_header() = header;
  request.mutable_header()->set_client_name("test");
  request.set_offset(offset);
  request.set_len(length);
  return request;
}

wire::WriteBlock ServiceTest::writeRequest(const wire::BaseHeader& header,
                                           wire::WriteBlock::Stage stage) {
  wire::WriteBlock request;
  *request.mutable_header()->mutable_base_header() = header;
  request.mutable_header()->set_client_name("test");
  request.set_stage(stage);
  request.set_pipeline_size(1);
  request.set_min_bytes_received(0);
  request.set_max_bytes_received(0);
  request.set_latest_generation_stamp(1);
  request.mutable_requested_checksum()->set_type(wire::CHECKSUM_CRC32C);
  request.mutable_requested_checksum()->set_bytes_per_checksum(512);
  return request;
}

std::string ServiceTest::read(const BlockToken& token, std::uint64_t offset, std::uint64_t length) {
  TestClient client(port());
  client.ask(READ_BLOCK, readRequest(headerFor(token), offset, length));
  const wire::OperationResponse response = client.response();
  return response.status() == wire::SUCCESS ? client.readPackets(response) : told(response);
}

std::string ServiceTest::beginWrite(TestClient& client, const wire::WriteBlock& request) {
  client.ask(WRITE_BLOCK, request);
  return told(client.response());
}

std::string ServiceTest::told(const wire::OperationResponse& response) {
  return wire::Status_Name(response.status()) + " " + response.message();
}

}  // namespace datanode
