// Requests as bytes: what is refused, where the refusal points, and that nothing else is touched.
#include <endian.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "client.h"

namespace {

constexpr std::uint32_t untouched = 0xDEADBEEF;

template <typename Buffer>
std::string bytesOf(const Buffer& buffer) {
  return {reinterpret_cast<const char*>(&buffer), sizeof buffer};
}

void put32(std::string& request, std::size_t offset, std::uint32_t value) {
  std::memcpy(request.data() + offset, &value, sizeof value);
}

struct Outcome {
  int result;
  int err;
  std::uint32_t errorOffset;
  bool restChanged;

  friend bool operator==(const Outcome&, const Outcome&) = default;
  friend void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << outcome.result << " errno " << outcome.err << " at " << outcome.errorOffset
         << (outcome.restChanged ? " changed" : "");
  }
};

Outcome refusal(int err, std::uint32_t offset) {
  return {-1, err, offset, false};
}

class Requests : public testing::Test {
 protected:
  Outcome send(std::string request, bool restripes = false, int flags = 0) {
    if (request.size() >= 12) put32(request, 8, untouched);
    unsigned char* buffer = bytes_.last(request.size());
    std::memcpy(buffer, request.data(), request.size());
    errno = 0;
    const int result = restripes ? client().restripe(file_.fd(), buffer, flags)
                                 : client().fcntl(file_.fd(), buffer);
    const int err = errno;
    std::string after(reinterpret_cast<const char*>(buffer), request.size());
    std::uint32_t errorOffset = untouched;
    if (request.size() >= 12) {
      std::memcpy(&errorOffset, after.data() + 8, 4);
      put32(after, 8, untouched);
    }
    return {result, err, errorOffset, after != request};
  }

  // Every shorter request, its totalLength telling the truth, with nothing readable behind it.
  void cutEverywhere(const std::string& whole, bool restripes, std::uint32_t secondRecord) {
    for (std::size_t length = 4; length < whole.size(); ++length) {
      std::string cut = whole.substr(0, length);
      put32(cut, 0, static_cast<std::uint32_t>(length));
      const std::uint32_t where = length < 16             ? untouched
                                  : length < secondRecord ? 16
                                                          : secondRecord;
      // Cut between the records, it is a whole request of one record.
      if (length == secondRecord) continue;
      ASSERT_EQ(refusal(EINVAL, where), send(cut, restripes)) << length;
    }
  }

  TempFile file_{40 << 20};
  GuardedBytes bytes_{sizeof(zorfBlockLocations_t)};
  static constexpr std::uint32_t onlyOne = ~0U;
};

TEST_F(Requests, CutAtAnyByteIsRefused) {
  cutEverywhere(bytesOf(blockInfoRequest()), false, 48);
  cutEverywhere(bytesOf(replicationRequest(3)), false, onlyOne);
  cutEverywhere(bytesOf(factorRequest(3)), false, onlyOne);
  cutEverywhere(bytesOf(restripeRequest()), true, onlyOne);
  EXPECT_EQ("", file_.attribute("user.zorf.replication"));
  EXPECT_EQ("", file_.attribute("user.BGF"));
  EXPECT_EQ("", file_.attribute("user.zorf.layout"));
}

TEST_F(Requests, LocationsCutAtAnyByteAreRefused) {
  std::string head = bytesOf(locationsRequest(0, 0, 1)).substr(0, 72);
  for (std::uint32_t length = 72; length < sizeof(zorfBlockLocations_t); ++length) {
    put32(head, 0, length);
    unsigned char* buffer = bytes_.last(length);
    std::memcpy(buffer, head.data(), head.size());
    errno = 0;
    ASSERT_EQ(-1, client().fcntl(file_.fd(), buffer)) << length;
    ASSERT_EQ(EINVAL, errno) << length;
    ASSERT_EQ(0, std::memcmp(buffer + 12, head.data() + 12, head.size() - 12)) << length;
  }
  cutEverywhere(head, false, onlyOne);
}

TEST_F(Requests, WholeOnesAreTakenAtAnyAlignment) {
  for (std::size_t shift = 0; shift < 8; ++shift) {
    const zorfBlockInfo_t request = blockInfoRequest();
    unsigned char* buffer = bytes_.last(sizeof request + shift);
    std::memcpy(buffer, &request, sizeof request);
    EXPECT_EQ(0, client().fcntl(file_.fd(), buffer));
  }
  EXPECT_EQ((Outcome{0, 0, untouched, true}), send(bytesOf(blockInfoRequest())));
  EXPECT_EQ((Outcome{0, 0, untouched, true}), send(bytesOf(locationsRequest(0, 0, 1))));
}

TEST_F(Requests, NothingBehindTheirLengthIsUsed) {
  // The replication query alone, although an attribute query follows in memory.
  std::string request = bytesOf(blockInfoRequest());
  put32(request, 0, 48);
  std::string expected = request;
  put32(expected, 32, 2);
  ASSERT_EQ(0, client().fcntl(file_.fd(), request.data()));
  EXPECT_EQ(expected, request);
}

TEST_F(Requests, HeadersAreChecked) {
  std::string request = bytesOf(blockInfoRequest());
  put32(request, 4, 2);
  EXPECT_EQ(refusal(EINVAL, 0), send(request));
  request = bytesOf(blockInfoRequest());
  put32(request, 12, 1);
  EXPECT_EQ(refusal(EINVAL, 0), send(request));
  request = bytesOf(blockInfoRequest()).substr(0, 16);
  put32(request, 0, 16);
  EXPECT_EQ(refusal(EINVAL, 16), send(request));
}

TEST_F(Requests, LengthBeyondTheRecordsIsRefused) {
  std::string request = bytesOf(replicationRequest(3)) + std::string(7, '\0');
  for (std::uint32_t extra = 1; extra <= 7; ++extra) {
    put32(request, 0, 56 + extra);
    EXPECT_EQ(refusal(EINVAL, 56), send(request));
  }
  EXPECT_EQ("", file_.attribute("user.zorf.replication"));
}

TEST_F(Requests, RecordLengthMustBeThatOfItsType) {
  for (const std::uint32_t length : {0U, 8U, 31U, 33U, 56U, 88U, ~0U, 1U << 31}) {
    std::string request = bytesOf(blockInfoRequest());
    put32(request, 16, length);
    EXPECT_EQ(refusal(EINVAL, 16), send(request)) << length;
  }
  for (const std::uint32_t length : {0U, 55U, 57U, ~0U - 47}) {
    std::string request = bytesOf(blockInfoRequest());
    put32(request, 48, length);
    EXPECT_EQ(refusal(EINVAL, 48), send(request)) << length;
  }
}

TEST_F(Requests, UnknownTypesAreRefused) {
  for (const std::uint32_t type : {0U, 1U, 2008U, 3000U, 3002U, ~0U}) {
    std::string request = bytesOf(blockInfoRequest());
    put32(request, 20, type);
    EXPECT_EQ(refusal(EINVAL, 16), send(request)) << type;
  }
  std::string request = bytesOf(restripeRequest());
  EXPECT_EQ(refusal(EINVAL, 16), send(request));
  request = bytesOf(replicationRequest(3));
  EXPECT_EQ(refusal(EINVAL, 16), send(request, true));
}

TEST_F(Requests, FieldsAreChecked) {
  const auto refuses = [&](std::string request, std::size_t offset, std::uint32_t value,
                           std::uint32_t where, bool restripes = false) {
    put32(request, offset, value);
    EXPECT_EQ(refusal(EINVAL, where), send(request, restripes)) << offset << '=' << value;
  };
  const std::string info = bytesOf(blockInfoRequest());
  for (const std::uint32_t length : {0U, 7U, 9U, ~0U}) refuses(info, 56, length, 48);
  for (const std::uint32_t room : {0U, 3U, 25U, ~0U}) refuses(info, 60, room, 48);
  refuses(info, 64, 0, 48);
  refuses(info, 72, 0x72657375, 48);  // the name "user.BGF"
  const std::string factor = bytesOf(factorRequest(3));
  for (const std::uint32_t length : {0U, 3U, 5U, 24U}) refuses(factor, 28, length, 16);
  refuses(factor, 24, 7, 16);
  refuses(factor, 32, 1, 16);
  refuses(factor, 48, 0, 16);
  refuses(factor, 48, htobe32(0x80000000U), 16);
  const std::string replication = bytesOf(replicationRequest(3));
  for (const std::uint32_t count : {0U, 17U, ~0U, 0x8000U}) refuses(replication, 32, count, 16);
  for (const std::size_t offset : {24U, 28U, 36U, 40U, 44U, 48U, 52U})
    refuses(replication, offset, 1, 16);
  const std::string places = bytesOf(locationsRequest(0, 0, 1));
  refuses(places, 48, 1, 16);
  for (const std::uint32_t skip : {1U, 512U, 4095U, 4194303U}) refuses(places, 32, skip, 16);
  const std::string restriping = bytesOf(restripeRequest());
  for (const std::uint32_t option : {0U, 1U, 3U}) refuses(restriping, 24, option, 16, true);
  for (std::size_t offset = 28; offset < 64; offset += 4) refuses(restriping, offset, 1, 16, true);
  EXPECT_EQ(refusal(EINVAL, untouched), send(restriping, true, 1));
}

TEST_F(Requests, NothingIsCarriedOutUnlessAllIsWellFormed) {
  std::string both = bytesOf(replicationRequest(3)) + bytesOf(factorRequest(0)).substr(16);
  put32(both, 0, static_cast<std::uint32_t>(both.size()));
  EXPECT_EQ(refusal(EINVAL, 56), send(both));
  EXPECT_EQ("", file_.attribute("user.zorf.replication"));
  both = bytesOf(replicationRequest(3)) + bytesOf(factorRequest(5)).substr(16);
  put32(both, 0, static_cast<std::uint32_t>(both.size()));
  EXPECT_EQ(0, send(both).result);
  EXPECT_EQ(3, blockInfo(file_.fd()).replicas);
  EXPECT_EQ(5, blockInfo(file_.fd()).factor);
}

TEST_F(Requests, OnlyAnswersAreWritten) {
  auto request = locationsRequest(0, 0, 12 << 20);
  request.query.untouched = untouched;
  std::memset(request.query.data, 0x55, sizeof request.query.data);
  std::string expected = bytesOf(request);
  ASSERT_EQ(0, client().fcntl(file_.fd(), &request));
  const std::string after = bytesOf(request);
  EXPECT_EQ(expected.substr(0, 56), after.substr(0, 56));
  EXPECT_EQ(expected.substr(72 + 3 * 16), after.substr(72 + 3 * 16));
}

TEST(Descriptors, BadOnesAreReported) {
  auto info = blockInfoRequest();
  auto restriping = restripeRequest();
  for (const int fd : {-1, 1 << 20}) {
    errno = 0;
    EXPECT_EQ(-1, client().fcntl(fd, &info));
    EXPECT_EQ(EBADF, errno);
    errno = 0;
    EXPECT_EQ(-1, client().restripe(fd, &restriping, 0));
    EXPECT_EQ(EBADF, errno);
  }
  const TempFile file;
  EXPECT_EQ(-1, client().fcntl(file.fd(), nullptr));
  EXPECT_EQ(EINVAL, errno);
}

}  // namespace
