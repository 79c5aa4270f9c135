#include "service/operations.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "service/log.h"
#include "wire/frames.h"

namespace datanode {

namespace {

constexpr std::uint16_t VERSION = 28;

enum Code : std::uint8_t {
  WRITE_BLOCK = 80,
  READ_BLOCK = 81,
  READ_METADATA = 82,
  REPLACE_BLOCK = 83,
  COPY_BLOCK = 84,
  BLOCK_CHECKSUM = 85,
  TRANSFER_BLOCK = 86,
  REQUEST_SHORT_CIRCUIT_FDS = 87,
  RELEASE_SHORT_CIRCUIT_FDS = 88,
  REQUEST_SHORT_CIRCUIT_SHM = 89,
  BLOCK_GROUP_CHECKSUM = 90,
};

const char* nameOf(std::uint8_t code) {
  static const char* const names[] = {"WRITE_BLOCK",
                                      "READ_BLOCK",
                                      "READ_METADATA",
                                      "REPLACE_BLOCK",
                                      "COPY_BLOCK",
                                      "BLOCK_CHECKSUM",
                                      "TRANSFER_BLOCK",
                                      "REQUEST_SHORT_CIRCUIT_FDS",
                                      "RELEASE_SHORT_CIRCUIT_FDS",
                                      "REQUEST_SHORT_CIRCUIT_SHM",
                                      "BLOCK_GROUP_CHECKSUM"};
  return code >= WRITE_BLOCK && code <= BLOCK_GROUP_CHECKSUM ? names[code - WRITE_BLOCK] : nullptr;
}

Operation kindOf(std::uint8_t code) {
  switch (code) {
    case READ_BLOCK:
      return Operation::READ;
    case WRITE_BLOCK:
      return Operation::WRITE;
    case BLOCK_CHECKSUM:
      return Operation::CHECKSUM;
    default:
      return Operation::OTHER;
  }
}

void run(Service& service, Stream& stream, std::uint8_t code) {
  switch (code) {
    case READ_BLOCK:
      return readBlock(service, stream);
    case WRITE_BLOCK:
      return writeBlock(service, stream);
    case BLOCK_CHECKSUM:
      return blockChecksum(service, stream);
    default: {
      // Taken, so that the answer isn't lost in a connection that is reset.
      wire::WriteBlock::Target ignored;
      readMessage(stream, ignored);
      throw Refusal(wire::ERROR_UNSUPPORTED,
                    std::string(nameOf(code)) + " is not supported on zorf");
    }
  }
}

void refuse(Stream& stream, const Refusal& refusal) {
  wire::OperationResponse response;
  response.set_status(refusal.status);
  response.set_message(refusal.what());
  stream.allow(std::chrono::seconds(5));
  writeMessage(stream, response);
  stream.finish();
}

std::int64_t now() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

[[noreturn]] void refuseToken(const std::string& why) {
  throw Refusal(wire::ERROR_ACCESS_TOKEN, "block token refused: " + why);
}

}  // namespace

bool serveOperation(Service& service, Stream& stream, const std::string& peer) {
  stream.allow(service.messageTime);
  const OperationStart start = readOperationStart(stream);
  const std::uint8_t code = start.code;
  const char* const name = nameOf(code);
  if (start.version != VERSION || name == nullptr) {
    ++service.metrics.garbage;
    throw ConnectionEnd("not version 28 of the data transfer protocol");
  }
  const auto began = std::chrono::steady_clock::now();
  const auto ended = [&](Outcome outcome) {
    service.metrics.ended(kindOf(code), outcome, std::chrono::steady_clock::now() - began);
  };
  try {
    try {
      run(service, stream, code);
    } catch (const std::system_error& e) {
      // Of a file; the text has its path.
      throw Refusal(wire::ERROR, e.what());
    } catch (const IdentityError& e) {
      throw Refusal(wire::ERROR, e.what());
    } catch (const std::bad_alloc&) {
      throw Refusal(wire::ERROR, "no memory");
    }
    ended(Outcome::DONE);
    return true;
  } catch (const Refusal& refusal) {
    ended(refusal.status == wire::ERROR_ACCESS_TOKEN ? Outcome::TOKEN_REFUSED : Outcome::REFUSED);
    logLine(Level::WARN, peer + " " + name + ": " + refusal.what());
    refuse(stream, refusal);
    return false;
  } catch (...) {
    ended(Outcome::BROKEN);
    throw;
  }
}

BlockToken authorize(Service& service, const wire::BaseHeader& header, std::int32_t rights) {
  const auto& block = header.block();
  if (block.pool_id() != service.pool) {
    throw Refusal(wire::ERROR_INVALID, "block pool " + block.pool_id() + " is not " + service.pool);
  }
  if (!header.has_token() || header.token().identifier().empty()) refuseToken("there is none");
  const auto token = parseToken(header.token().identifier());
  if (!token) refuseToken("it is not of this service");
  switch (
      service.keys.verify(token->keyId, header.token().identifier(), header.token().password())) {
    case Keys::Verdict::GOOD:
      break;
    case Keys::Verdict::UNKNOWN_KEY:
      refuseToken("key " + std::to_string(token->keyId) + " is not known");
    case Keys::Verdict::FORGED:
      refuseToken("its signature is wrong");
  }
  if (now() >= token->expiry) refuseToken("it expired");
  if (static_cast<std::uint64_t>(token->blockId) != block.block_id()) {
    refuseToken("it is for block " + std::to_string(token->blockId) + " and not for " +
                std::to_string(block.block_id()));
  }
  if ((token->rights & rights) != rights) {
    refuseToken(rights == BlockToken::WRITE ? "it does not allow writing"
                                            : "it does not allow reading");
  }
  return *token;
}

std::shared_ptr<const Account> accountFor(Service& service, const BlockToken& token) {
  auto account = service.accounts.find(token.user);
  if (account == nullptr && (token.rights & BlockToken::WRITE) == 0) {
    account = service.accounts.find("nobody");
  }
  if (account == nullptr) {
    throw Refusal(wire::ERROR, "user " + token.user + " is unknown on this host");
  }
  return account;
}

Shares::Share shareFor(Service& service, const BlockToken& token) {
  auto share = service.users.take(token.user);
  if (!share) {
    ++service.metrics.userRefusals;
    throw Refusal(wire::ERROR, "user " + token.user + " has too many operations at a time");
  }
  return std::move(*share);
}

std::int64_t sizeOf(const Descriptor& file, const BlockToken& token) {
  struct stat st = {};
  if (fstat(file.get(), &st) != 0) {
    throw std::system_error(errno, std::generic_category(), token.path);
  }
  return st.st_size;
}

OpenFile openFile(Service& service, const BlockToken& token, int flags) {
  OpenFile file;
  try {
    file.descriptor = service.root.open(token, flags);
  } catch (const std::system_error& e) {
    // Another file has the name now, and the NameNode will say which.
    if (e.code().value() == ESTALE) refuseToken("it is for another file, which was replaced");
    throw;
  }
  file.size = sizeOf(file.descriptor, token);
  return file;
}

void checkRange(const OpenFile& file, const BlockToken& token, std::int64_t end) {
  if (end <= file.size - token.offset) return;
  throw Refusal(wire::ERROR, token.path + " has " + std::to_string(file.size) +
                                 " bytes, and the block goes on to " +
                                 std::to_string(token.offset + end));
}

}  // namespace datanode
