// What is refused, to whom, and what everybody else notices of it: nothing.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "test_service.h"
#include "wire/bigendian.h"

namespace datanode {
namespace {

class RefusalTest : public ServiceTest {
 protected:
  std::string readWith(const wire::BaseHeader& header) {
    TestClient client(port());
    client.ask(READ_BLOCK, readRequest(header, 0, 4));
    const wire::OperationResponse response = client.response();
    return response.status() == wire::SUCCESS ? client.readPackets(response) : told(response);
  }
  BlockToken token() const { return tokenFor("/file", BlockToken::READ); }
  std::uint64_t ended(Operation operation, Outcome outcome) {
    return service()
        .metrics.operations[static_cast<std::size_t>(operation)][static_cast<std::size_t>(outcome)];
  }
  // That of an operation that the service doesn't have.
  std::string unsupported(std::uint8_t code) {
    TestClient client(port());
    client.ask(code, headerFor(token()));
    return told(client.response());
  }

  const std::string file_ = scratch_.write("file", "text", 0644);
};

TEST_F(RefusalTest, TokenIsNeeded) {
  wire::BaseHeader header = headerFor(token());
  header.clear_token();
  EXPECT_EQ(readWith(header), "ERROR_ACCESS_TOKEN block token refused: there is none");
}

TEST_F(RefusalTest, EveryBitOfATokenIsSigned) {
  const wire::BaseHeader good = headerFor(token());
  const std::string identifier = good.token().identifier();
  for (std::size_t bit = 0; bit < identifier.size() * 8; bit += 5) {
    std::string forged = identifier;
    forged[bit / 8] = static_cast<char>(forged[bit / 8] ^ (1 << bit % 8));
    wire::BaseHeader header = good;
    header.mutable_token()->set_identifier(forged);
    EXPECT_EQ(readWith(header).substr(0, 18), "ERROR_ACCESS_TOKEN") << bit;
  }
  EXPECT_EQ(readWith(good), "text");
}

TEST_F(RefusalTest, ForgedSignatureIsTold) {
  wire::BaseHeader header = headerFor(token());
  header.mutable_token()->set_password(std::string(32, 'x'));
  EXPECT_EQ(readWith(header), "ERROR_ACCESS_TOKEN block token refused: its signature is wrong");
  EXPECT_EQ(ended(Operation::READ, Outcome::TOKEN_REFUSED), 1U);
}

TEST_F(RefusalTest, UnknownKeyIsTold) {
  BlockToken other = token();
  other.keyId = 6;
  EXPECT_EQ(readWith(headerFor(other)),
            "ERROR_ACCESS_TOKEN block token refused: key 6 is not known");
}

TEST_F(RefusalTest, ExpiredTokenIsTold) {
  BlockToken other = token();
  other.expiry = 1'700'000'000'000;
  EXPECT_EQ(readWith(headerFor(other)), "ERROR_ACCESS_TOKEN block token refused: it expired");
}

TEST_F(RefusalTest, TokenOfAnotherBlockIsTold) {
  wire::BaseHeader header = headerFor(token());
  header.mutable_block()->set_block_id(78);
  EXPECT_EQ(readWith(header),
            "ERROR_ACCESS_TOKEN block token refused: it is for block 77 and not for 78");
}

TEST_F(RefusalTest, TokenForReadingDoesNotWriteNorTheOtherWayRound) {
  TestClient client(port());
  EXPECT_EQ(beginWrite(client, writeRequest(headerFor(token()))),
            "ERROR_ACCESS_TOKEN block token refused: it does not allow writing");
  EXPECT_EQ(readWith(headerFor(tokenFor("/file", BlockToken::WRITE))),
            "ERROR_ACCESS_TOKEN block token refused: it does not allow reading");
}

TEST_F(RefusalTest, TokenOfAReplacedFileIsTold) {
  const wire::BaseHeader header = headerFor(token());
  scratch_.write("file", "else", 0644);
  EXPECT_EQ(readWith(header),
            "ERROR_ACCESS_TOKEN block token refused: it is for another file, which was replaced");
}

TEST_F(RefusalTest, MissingFileIsTold) {
  const wire::BaseHeader header = headerFor(token());
  ASSERT_EQ(unlink(file_.c_str()), 0);
  EXPECT_EQ(readWith(header), "ERROR /file: No such file or directory");
}

TEST_F(RefusalTest, OtherPoolIsTold) {
  wire::BaseHeader header = headerFor(token());
  header.mutable_block()->set_pool_id("BP-1");
  EXPECT_EQ(readWith(header), "ERROR_INVALID block pool BP-1 is not BP-zorf-1");
}

TEST_F(RefusalTest, TokensUserIsWhoReads) {
  if (!canActAsOthers()) GTEST_SKIP() << "may not switch users";
  ASSERT_EQ(chmod(file_.c_str(), 0600), 0);
  BlockToken other = token();
  EXPECT_EQ(readWith(headerFor(other)), "text");
  other.user = "nobody";
  EXPECT_EQ(readWith(headerFor(other)), "ERROR /file: Permission denied");
  ASSERT_EQ(chown(file_.c_str(), 65534, 65534), 0);
  EXPECT_EQ(readWith(headerFor(other)), "text");
}

TEST_F(RefusalTest, TokensUserIsWhoWrites) {
  if (!canActAsOthers()) GTEST_SKIP() << "may not switch users";
  BlockToken other = tokenFor("/file", BlockToken::WRITE);
  other.user = "nobody";
  TestClient client(port());
  EXPECT_EQ(beginWrite(client, writeRequest(headerFor(other))), "ERROR /file: Permission denied");
  ASSERT_EQ(chown(file_.c_str(), 65534, 65534), 0);
  TestClient again(port());
  EXPECT_EQ(beginWrite(again, writeRequest(headerFor(other))), "SUCCESS ");
}

TEST_F(RefusalTest, FileThatNobodyMayWriteIsWrittenByItsOwnerAlone) {
  if (!canActAsOthers()) GTEST_SKIP() << "may not switch users";
  BlockToken other = tokenFor("/file", BlockToken::WRITE);
  other.user = "nobody";
  ASSERT_EQ(chmod(file_.c_str(), 0444), 0);
  TestClient client(port());
  EXPECT_EQ(beginWrite(client, writeRequest(headerFor(other))), "ERROR /file: Permission denied");
  ASSERT_EQ(chown(file_.c_str(), 65534, 65534), 0);
  TestClient again(port());
  EXPECT_EQ(beginWrite(again, writeRequest(headerFor(other))), "SUCCESS ");
  again.sendPacket({0, 0, "", true}, Checksum(wire::CHECKSUM_CRC32C));
  EXPECT_EQ(again.acknowledgement(), "0 SUCCESS");
  // The directory is another matter.
  ASSERT_EQ(chmod(scratch_.path().c_str(), 0700), 0);
  TestClient third(port());
  EXPECT_EQ(beginWrite(third, writeRequest(headerFor(other))), "ERROR /file: Permission denied");
  ASSERT_EQ(chmod(scratch_.path().c_str(), 0755), 0);
  struct stat st = {};
  ASSERT_EQ(stat(file_.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777U, 0444U);
}

TEST_F(RefusalTest, UnknownUserReadsAsNobodyAndDoesNotWrite) {
  BlockToken other = token();
  other.user = "no such user";
  if (canActAsOthers()) {
    EXPECT_EQ(readWith(headerFor(other)), "text");
    ASSERT_EQ(chmod(file_.c_str(), 0640), 0);
    EXPECT_EQ(readWith(headerFor(other)), "ERROR /file: Permission denied");
  }
  other = tokenFor("/file", BlockToken::WRITE);
  other.user = "no such user";
  TestClient client(port());
  EXPECT_EQ(beginWrite(client, writeRequest(headerFor(other))),
            "ERROR user no such user is unknown on this host");
}

TEST_F(RefusalTest, WithoutPrivilegesOtherUsersAreRefused) {
  if (canActAsOthers()) GTEST_SKIP() << "may switch users";
  BlockToken other = token();
  other.user = "root";
  EXPECT_EQ(readWith(headerFor(other)), "ERROR this service acts as its own user alone");
}

TEST_F(RefusalTest, OperationsBetweenDataNodesAndShortCircuitAreRefusedByName) {
  const char* const suffix = " is not supported on zorf";
  EXPECT_EQ(unsupported(82), std::string("ERROR_UNSUPPORTED READ_METADATA") + suffix);
  EXPECT_EQ(unsupported(83), std::string("ERROR_UNSUPPORTED REPLACE_BLOCK") + suffix);
  EXPECT_EQ(unsupported(84), std::string("ERROR_UNSUPPORTED COPY_BLOCK") + suffix);
  EXPECT_EQ(unsupported(86), std::string("ERROR_UNSUPPORTED TRANSFER_BLOCK") + suffix);
  EXPECT_EQ(unsupported(87), std::string("ERROR_UNSUPPORTED REQUEST_SHORT_CIRCUIT_FDS") + suffix);
  EXPECT_EQ(unsupported(88), std::string("ERROR_UNSUPPORTED RELEASE_SHORT_CIRCUIT_FDS") + suffix);
  EXPECT_EQ(unsupported(89), std::string("ERROR_UNSUPPORTED REQUEST_SHORT_CIRCUIT_SHM") + suffix);
  EXPECT_EQ(unsupported(90), std::string("ERROR_UNSUPPORTED BLOCK_GROUP_CHECKSUM") + suffix);
  EXPECT_EQ(ended(Operation::OTHER, Outcome::REFUSED), 8U);
}

TEST_F(RefusalTest, GarbageIsClosedAndCounted) {
  for (const std::string& bytes :
       {std::string("GET / HTTP/1.1\r\n\r\n"), std::string("\xde\xad\xbe\xef"),
        std::string("\0\x1b\x51", 3), std::string("\0\x1c\x4f", 3), std::string("\0\x1c\x5b", 3),
        std::string("hrpc\x09\0\0", 7)}) {
    TestClient client(port());
    client.say(bytes);
    EXPECT_TRUE(client.ended());
  }
  EXPECT_EQ(service().metrics.garbage, 6U);
  EXPECT_EQ(readWith(headerFor(token())), "text");
}

TEST_F(RefusalTest, HalfAMessageIsWaitedForInVain) {
  service().messageTime = std::chrono::milliseconds(100);
  TestClient client(port());
  client.say(
      std::string("\0\x1c\x51\x7f"
                  "half",
                  8));
  EXPECT_TRUE(client.ended());
  EXPECT_EQ(ended(Operation::READ, Outcome::BROKEN), 1U);
}

TEST_F(RefusalTest, ReaderThatStopsReadingIsLetGo) {
  service().packetTime = std::chrono::milliseconds(100);
  const std::string large = scratch_.write("large", "", 0644);
  ASSERT_EQ(truncate(large.c_str(), 1 << 30), 0);
  TestClient client(port());
  client.ask(READ_BLOCK, readRequest(headerFor(tokenFor("/large", BlockToken::READ)), 0, 1 << 30));
  while (ended(Operation::READ, Outcome::BROKEN) == 0) usleep(1000);
  EXPECT_EQ(readWith(headerFor(token())), "text");
}

TEST_F(RefusalTest, WriterThatStopsWritingIsLetGo) {
  service().packetTime = std::chrono::milliseconds(100);
  TestClient client(port());
  ASSERT_EQ(beginWrite(client, writeRequest(headerFor(tokenFor("/file", BlockToken::WRITE)))),
            "SUCCESS ");
  EXPECT_TRUE(client.ended());
  EXPECT_EQ(ended(Operation::WRITE, Outcome::BROKEN), 1U);
}

TEST_F(RefusalTest, ConnectionsBeyondTheLimitAreClosed) {
  limits().connections = 2;
  TestClient first(port());
  first.ask(READ_BLOCK, readRequest(headerFor(token()), 0, 4));
  EXPECT_EQ(first.readPackets(first.response()), "text");
  TestClient second(port());
  second.ask(READ_BLOCK, readRequest(headerFor(token()), 0, 4));
  EXPECT_EQ(second.readPackets(second.response()), "text");
  TestClient third(port());
  EXPECT_TRUE(third.ended());
  EXPECT_EQ(service().metrics.connectionsRefused, 1U);
  first.ask(READ_BLOCK, readRequest(headerFor(token()), 0, 4));
  EXPECT_EQ(first.readPackets(first.response()), "text");
}

TEST_F(RefusalTest, ConnectionsOfAnAddressBeyondItsShareAreClosed) {
  limits().connectionsOfAddress = 1;
  const auto first = std::make_unique<TestClient>(port());
  while (service().metrics.connections < 1) usleep(1000);
  TestClient second(port());
  EXPECT_TRUE(second.ended());
  TestClient third(port());
  EXPECT_TRUE(third.ended());
  EXPECT_EQ(service().metrics.connectionsRefused, 2U);
  EXPECT_EQ(service().metrics.addressRefusals, 2U);
  shutdown(first->socket(), SHUT_RDWR);
  while (service().metrics.connections > 0) usleep(1000);
  EXPECT_EQ(readWith(headerFor(token())), "text");
}

TEST_F(RefusalTest, OperationsOfAUserBeyondTheShareAreRefused) {
  service().users.limit(1);
  scratch_.write("other", "", 0644);
  TestClient writer(port());
  ASSERT_EQ(beginWrite(writer, writeRequest(headerFor(tokenFor("/other", BlockToken::WRITE)))),
            "SUCCESS ");
  EXPECT_EQ(readWith(headerFor(token())),
            "ERROR user " + ownUser() + " has too many operations at a time");
  EXPECT_EQ(service().metrics.userRefusals, 1U);
  if (canActAsOthers()) {
    BlockToken other = token();
    other.user = "nobody";
    EXPECT_EQ(readWith(headerFor(other)), "text");
  }
  writer.sendPacket({0, 0, "", true}, Checksum(wire::CHECKSUM_CRC32C));
  EXPECT_EQ(writer.acknowledgement(), "0 SUCCESS");
  while (service().metrics.running > 0) usleep(1000);
  EXPECT_EQ(readWith(headerFor(token())), "text");
}

TEST_F(RefusalTest, IdleConnectionsAreClosed) {
  limits().idle = std::chrono::seconds(0);
  TestClient client(port());
  EXPECT_TRUE(client.ended());
}

TEST_F(RefusalTest, OperationsBeyondTheThreadsWaitTheirTurn) {
  limits().threads = 2;
  TestClient writers[2] = {TestClient(port()), TestClient(port())};
  for (TestClient& writer : writers) {
    const std::string path = &writer == writers ? "/a" : "/b";
    scratch_.write(path.substr(1), "", 0644);
    ASSERT_EQ(beginWrite(writer, writeRequest(headerFor(tokenFor(path, BlockToken::WRITE)))),
              "SUCCESS ");
  }
  TestClient reader(port());
  reader.ask(READ_BLOCK, readRequest(headerFor(token()), 0, 4));
  usleep(50'000);
  EXPECT_EQ(service().metrics.running, 2U);
  writers[0].sendPacket({0, 0, "", true}, Checksum(wire::CHECKSUM_CRC32C));
  EXPECT_EQ(writers[0].acknowledgement(), "0 SUCCESS");
  EXPECT_EQ(reader.readPackets(reader.response()), "text");
}

TEST_F(RefusalTest, StopWaitsForReadersAndForNobodyElse) {
  TestClient idle(port());
  TestClient reader(port());
  reader.ask(READ_BLOCK, readRequest(headerFor(token()), 0, 4));
  const wire::OperationResponse response = reader.response();
  stopAccepting();
  std::thread stopping([&] { EXPECT_TRUE(server().stop(std::chrono::seconds(30))); });
  EXPECT_TRUE(idle.ended());
  EXPECT_EQ(reader.readPackets(response), "text");
  stopping.join();
  EXPECT_TRUE(reader.ended());
}

TEST_F(RefusalTest, StopSendsWritersAwayToComeAgain) {
  TestClient writer(port());
  ASSERT_EQ(beginWrite(writer, writeRequest(headerFor(tokenFor("/file", BlockToken::WRITE)))),
            "SUCCESS ");
  writer.sendPacket({0, 0, "more"}, Checksum(wire::CHECKSUM_CRC32C));
  EXPECT_EQ(writer.acknowledgement(), "0 SUCCESS");
  stopAccepting();
  std::thread stopping([&] { EXPECT_TRUE(server().stop(std::chrono::seconds(30))); });
  EXPECT_EQ(writer.acknowledgement(), "-2 OOB_RESTART");
  EXPECT_EQ(writer.acknowledgement(), "end");
  shutdown(writer.socket(), SHUT_RDWR);
  stopping.join();
  EXPECT_EQ(contentOf(file_), "more");
}

TEST_F(RefusalTest, StopTakesAPacketThatHasBegunToCome) {
  TestClient writer(port());
  wire::WriteBlock request = writeRequest(headerFor(tokenFor("/file", BlockToken::WRITE)));
  request.mutable_requested_checksum()->set_type(wire::CHECKSUM_NULL);
  ASSERT_EQ(beginWrite(writer, request), "SUCCESS ");
  std::uint8_t start[PACKET_START_SIZE];
  writePacketStart({0, 0, 4, 0, false, false}, start);
  writer.say({reinterpret_cast<const char*>(start), sizeof start});
  writer.say("mo");
  usleep(20'000);
  stopAccepting();
  std::thread stopping([&] { EXPECT_TRUE(server().stop(std::chrono::seconds(30))); });
  usleep(20'000);
  writer.say("re");
  EXPECT_EQ(writer.acknowledgement(), "0 SUCCESS");
  EXPECT_EQ(writer.acknowledgement(), "-2 OOB_RESTART");
  shutdown(writer.socket(), SHUT_RDWR);
  stopping.join();
  EXPECT_EQ(contentOf(file_), "more");
}

TEST_F(RefusalTest, StopCutsOffWhatTakesTooLong) {
  const std::string large = scratch_.write("large", "", 0644);
  ASSERT_EQ(truncate(large.c_str(), 1 << 30), 0);
  TestClient reader(port());
  reader.ask(READ_BLOCK, readRequest(headerFor(tokenFor("/large", BlockToken::READ)), 0, 1 << 30));
  EXPECT_EQ(reader.response().status(), wire::SUCCESS);
  stopAccepting();
  EXPECT_TRUE(server().stop(std::chrono::milliseconds(50)));
  EXPECT_TRUE(reader.ended());
}

}  // namespace
}  // namespace datanode
