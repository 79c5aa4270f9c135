// One operation of a client: its token is checked, and its file read or written as the token's
// user.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "files/account.h"
#include "files/keys.h"
#include "files/root.h"
#include "files/token.h"
#include "service/ending.h"
#include "service/metrics.h"
#include "service/shares.h"
#include "service/writers.h"
#include "wire/datatransfer.pb.h"
#include "wire/stream.h"

namespace datanode {

// What every operation needs. Shared by all threads.
struct Service {
  Service(const std::string& directory, const std::string& keyFile)
      : root(directory), keys(keyFile) {}

  Root root;
  Keys keys;
  Accounts accounts;
  Metrics metrics;
  Writers writers;
  Shares users{"operations", 2'048};
  Ending ending;
  std::string pool = "BP-zorf-1";
  // For a packet to come or to go, and for the message of an operation.
  std::chrono::milliseconds packetTime = std::chrono::minutes(8);
  std::chrono::milliseconds messageTime = std::chrono::seconds(15);
};

// An answer that refuses, after which the connection is closed.
struct Refusal : std::runtime_error {
  Refusal(wire::Status why, const std::string& message)
      : std::runtime_error(message), status(why) {}

  wire::Status status;
};

// Receives an operation, answers it and counts it; `peer` is for the log. Whether the connection
// can take another one.
bool serveOperation(Service& service, Stream& stream, const std::string& peer);

// --- for the operations themselves ---

// The token of a header, proved, for its block and with these rights.
BlockToken authorize(Service& service, const wire::BaseHeader& header, std::int32_t rights);
// To read as a user whom the host doesn't know is to read as nobody; to write is refused.
std::shared_ptr<const Account> accountFor(Service& service, const BlockToken& token);
// For as long as the operation lasts.
Shares::Share shareFor(Service& service, const BlockToken& token);
// The token's file and its size, as the calling thread.
struct OpenFile {
  Descriptor descriptor;
  std::int64_t size = 0;
};
OpenFile openFile(Service& service, const BlockToken& token, int flags);
std::int64_t sizeOf(const Descriptor& file, const BlockToken& token);
// Whether the file has the block up to there.
void checkRange(const OpenFile& file, const BlockToken& token, std::int64_t end);

void readBlock(Service& service, Stream& stream);
void writeBlock(Service& service, Stream& stream);
void blockChecksum(Service& service, Stream& stream);

}  // namespace datanode
