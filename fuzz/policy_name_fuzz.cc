// Policy names against the counted string comparison of the C library.
#include <cassert>
#include <cstring>
#include <string>

#include "blocks/policy.h"
#include "fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string name = Input(data, size).rest();
  int expected = -1;
  int policy = 0;
  for (const char* known : {"local", "shared", "rackaware", "rackaware-sort"}) {
    const std::size_t compared = std::min(name.size(), std::strlen(known) + 1);
    if (expected < 0 && std::strncmp(name.data(), known, compared) == 0) expected = policy;
    ++policy;
  }
  assert(policyNamed(name) == expected);
  // No more than the longest name with its zero is ever looked at.
  assert(policyNamed(std::string_view(name).substr(0, LONGEST_POLICY_NAME + 1)) == expected);
  return 0;
}
