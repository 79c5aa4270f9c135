// The selection against the properties that its callers rely on: the same pairs come out, and those
// before the nth position are not below it. Its exact order is the business of the tests' model.
#include <algorithm>
#include <cassert>
#include <vector>

#include "blocks/nthelement.h"
#include "core/blocks/model.h"
#include "fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const auto wanted = input.number<std::uint8_t>();
  std::vector<LocationCount> pairs;
  while (!input.empty() && pairs.size() < 300) {
    const int count = input.number<std::int8_t>();
    pairs.emplace_back(static_cast<int>(pairs.size()), count);
  }
  if (pairs.empty()) return 0;
  const std::size_t nth = wanted % pairs.size();
  std::vector<model::Counted> expected(pairs.begin(), pairs.end());
  nthElement(pairs.data(), pairs.data() + nth, pairs.data() + pairs.size());
  model::rank(expected, nth);
  assert(std::equal(pairs.begin(), pairs.end(), expected.begin()));
  for (std::size_t i = 0; i < nth; ++i) assert(pairs[i].second >= pairs[nth].second);
  return 0;
}
