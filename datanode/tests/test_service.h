// The service in the test's own process, on a scratch directory.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "files/token.h"
#include "scratch.h"
#include "service/operations.h"
#include "service/server.h"
#include "test_client.h"

namespace datanode {

// So many bytes that no two ranges of them look alike.
std::string someBytes(std::size_t size);

// The name of the user that runs the tests.
std::string ownUser();

class ServiceTest : public testing::Test {
 protected:
  ServiceTest();
  // Of another service's directory.
  explicit ServiceTest(const Scratch& served);
  ~ServiceTest() override;

  // The service starts with what was set in service() and limits() by then.
  std::uint16_t port();
  Service& service() { return service_; }
  Server::Limits& limits() { return limits_; }
  Server& server() { return *server_; }
  void stopAccepting();

  // A good token for the whole of a file, of its only block.
  BlockToken tokenFor(const std::string& path, std::int32_t rights) const;
  // A header with that token, signed.
  wire::BaseHeader headerFor(const BlockToken& token) const;

  static wire::ReadBlock readRequest(const wire::BaseHeader& header, std::uint64_t offset,
                                     std::uint64_t length);
  static wire::WriteBlock writeRequest(
      const wire::BaseHeader& header,
      wire::WriteBlock::Stage stage = wire::WriteBlock::SETUP_CREATE);

  // What a read of a block is answered: the data, or "STATUS message".
  std::string read(const BlockToken& token, std::uint64_t offset, std::uint64_t length);
  // The answer to the first message of a write: "SUCCESS ", or "STATUS message".
  std::string beginWrite(TestClient& client, const wire::WriteBlock& request);

  static std::string told(const wire::OperationResponse& response);

  Scratch scratch_;

 private:
  Service service_;
  Server::Limits limits_;
  Descriptor listener_;
  std::unique_ptr<Server> server_;
  std::atomic<bool> accepting_{true};
  std::thread acceptor_;
};

}  // namespace datanode
