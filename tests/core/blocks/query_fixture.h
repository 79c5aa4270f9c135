// What the tests of block queries share: a range to be asked for, the scripted client library that
// is asked, and what came out.
#pragma once

#include <string>
#include <vector>

#include "core/blocks/records.h"
#include "support/core_test.h"
#include "support/entries.h"
#include "support/scripted_client.h"

class QueryTest : public CoreTest {
 protected:
  // The range, with counts that a query must not leave.
  static location rangeOf(std::uint64_t offset, std::uint64_t length, std::uint64_t blocksize) {
    location range{};
    range.offset = offset;
    range.length = length;
    range.blocksize = blocksize;
    range.nblock = 99;
    range.nreplica = 99;
    return range;
  }

  // The block location requests that descriptor 9 got.
  std::vector<std::string> requests() const {
    std::vector<std::string> parts;
    for (const ScriptedCall& call : client.calls()) {
      EXPECT_EQ(call.function, "zorf_fcntl");
      EXPECT_EQ(call.fd, 9);
      EXPECT_EQ(call.request.size(), 64584u);
      parts.push_back(settledBytes(call.request));
    }
    return parts;
  }

  ScriptedClient client;
  location loc{};
  Entries out;
};
