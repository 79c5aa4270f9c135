#include "blocks/locationcounts.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <span>

namespace {

// Counts the runs of equal identifiers.
void appendRuns(std::span<const std::int32_t> sorted, std::vector<LocationCount>& pairs) {
  for (std::size_t next = 0; next < sorted.size();) {
    const std::size_t start = next;
    while (next < sorted.size() && sorted[next] == sorted[start]) ++next;
    pairs.emplace_back(sorted[start], static_cast<int>(next - start));
  }
}

}  // namespace

void LocationCounts::take(std::vector<LocationCount>& pairs) {
  pairs.clear();
  std::sort(others_.begin(), others_.end());
  const auto positive = std::lower_bound(others_.begin(), others_.end(), 0);
  appendRuns({others_.begin(), positive}, pairs);
  for (; usedWords_ != 0; usedWords_ &= usedWords_ - 1) {
    const auto word = static_cast<std::size_t>(std::countr_zero(usedWords_));
    for (std::uint64_t& bits = used_[word]; bits != 0; bits &= bits - 1) {
      const std::size_t id = 64 * word + static_cast<std::size_t>(std::countr_zero(bits));
      pairs.emplace_back(static_cast<int>(id), static_cast<int>(counts_[id]));
      counts_[id] = 0;
    }
  }
  appendRuns({positive, others_.end()}, pairs);
  others_.clear();
}
