// The selection's order among equal counts is seen by Java, so every step of it is pinned: against
// the model on random and built inputs, and by a few results worked out by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

#include "blocks/racksort.h"
#include "core/blocks/model.h"

namespace {

using model::Counted;

std::vector<Counted> selected(std::vector<Counted> v, std::size_t nth) {
  nthElement(v.data(), v.data() + nth, v.data() + v.size());
  return v;
}

std::vector<Counted> modelled(std::vector<Counted> v, std::size_t nth) {
  model::rank(v, nth);
  return v;
}

std::vector<Counted> withCounts(const std::vector<int>& counts) {
  std::vector<Counted> v;
  for (std::size_t i = 0; i < counts.size(); ++i) v.emplace_back(static_cast<int>(i), counts[i]);
  return v;
}

void expectSelected(const std::vector<Counted>& v, std::size_t nth) {
  const std::vector<Counted> result = selected(v, nth);
  if (result == modelled(v, nth)) return;
  std::string counts;
  for (const Counted& pair : v) counts += std::to_string(pair.second) + " ";
  ADD_FAILURE() << "n=" << v.size() << " nth=" << nth << " counts " << counts;
}

TEST(CountGreater, ComparesCountsAsSignedNumbersOnly) {
  EXPECT_TRUE(count_greater({1, 5}, {2, 4}));
  EXPECT_FALSE(count_greater({2, 4}, {1, 5}));
  EXPECT_FALSE(count_greater({1, 5}, {2, 5}));
  EXPECT_FALSE(count_greater({2, 5}, {1, 5}));
  EXPECT_TRUE(count_greater({0, 0}, {0, -1}));
  EXPECT_FALSE(count_greater({0, INT32_MIN}, {0, INT32_MAX}));
}

TEST(NthElement, WorkedByHandOnFive) {
  const std::vector<Counted> v = {{2, 2}, {5, 4}, {7, 3}, {8, 1}, {9, 2}};
  const std::vector<Counted> expected = {{5, 4}, {7, 3}, {9, 2}, {8, 1}, {2, 2}};
  EXPECT_EQ(selected(v, 2), expected);
}

TEST(NthElement, AllEqualFourAreTurnedAround) {
  // One partition about 1: 0<->3, 1<->2, cut 2 is at most nth 3; the two left are in order.
  const std::vector<Counted> expected = {{3, 1}, {2, 1}, {1, 1}, {0, 1}};
  EXPECT_EQ(selected(withCounts({1, 1, 1, 1}), 3), expected);
}

TEST(NthElement, ThreeOrFewerAreSortedStably) {
  const std::vector<Counted> three = {{1, 1}, {2, 2}, {3, 2}};
  const std::vector<Counted> sorted = {{2, 2}, {3, 2}, {1, 1}};
  for (std::size_t nth = 0; nth < 3; ++nth) EXPECT_EQ(selected(three, nth), sorted) << nth;
  EXPECT_EQ(selected({{4, 1}, {5, 1}}, 0), (std::vector<Counted>{{4, 1}, {5, 1}}));
}

TEST(NthElement, PositionAtTheEndChangesNothing) {
  const std::vector<Counted> rising = withCounts({1, 2, 3, 4, 5, 6});
  EXPECT_EQ(selected(rising, rising.size()), rising);
  EXPECT_EQ(selected({}, 0), std::vector<Counted>{});
}

TEST(NthElement, MatchesTheModelOnAllSmallInputs) {
  // Every count pattern over {0, 1, 2} of up to 7 pairs, at every position.
  for (std::size_t n = 0; n <= 7; ++n) {
    const auto patterns = static_cast<std::size_t>(std::pow(3, n));
    for (std::size_t pattern = 0; pattern < patterns; ++pattern) {
      std::vector<int> counts;
      for (std::size_t i = 0, rest = pattern; i < n; ++i, rest /= 3) {
        counts.push_back(static_cast<int>(rest % 3));
      }
      for (std::size_t nth = 0; nth <= n; ++nth) expectSelected(withCounts(counts), nth);
    }
  }
}

TEST(NthElement, MatchesTheModelOnRandomInputsWithTies) {
  std::mt19937 random(20240229);
  for (int round = 0; round < 20000; ++round) {
    const std::size_t n = random() % 61;
    const int distinct = 1 + static_cast<int>(random() % (round % 2 == 0 ? 4 : 80));
    std::vector<int> counts(n);
    for (int& count : counts) count = static_cast<int>(random()) % distinct;
    expectSelected(withCounts(counts), random() % (n + 1));
  }
}

TEST(NthElement, MatchesTheModelOnShapedInputs) {
  for (std::size_t n = 4; n <= 60; ++n) {
    std::vector<std::vector<int>> shapes(5, std::vector<int>(n));
    for (std::size_t i = 0; i < n; ++i) {
      const int at = static_cast<int>(i);
      const int size = static_cast<int>(n);
      shapes[0][i] = at;                            // rising
      shapes[1][i] = size - at;                     // falling
      shapes[2][i] = std::min(at, size - 1 - at);   // rising and falling
      shapes[3][i] = std::max(at, size - 1 - at);   // falling and rising
      shapes[4][i] = at % 2 == 0 ? at : size - at;  // two interleaved
    }
    for (const std::vector<int>& shape : shapes) {
      for (std::size_t nth = 0; nth < n; ++nth) expectSelected(withCounts(shape), nth);
    }
  }
}

TEST(NthElement, HighestCountsComeFirst) {
  std::mt19937 random(5);
  for (int round = 0; round < 2000; ++round) {
    const std::size_t n = 1 + random() % 60;
    std::vector<int> counts(n);
    for (int& count : counts) count = static_cast<int>(random() % 10);
    const std::size_t nth = random() % n;
    const std::vector<Counted> result = selected(withCounts(counts), nth);
    std::sort(counts.rbegin(), counts.rend());
    ASSERT_EQ(result[nth].second, counts[nth]);
    for (std::size_t i = 0; i < nth; ++i) ASSERT_GE(result[i].second, counts[nth]);
    for (std::size_t i = nth; i < n; ++i) ASSERT_LE(result[i].second, counts[nth]);
    std::vector<Counted> sorted = result;
    std::sort(sorted.begin(), sorted.end());
    for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(sorted[i].first, static_cast<int>(i));
  }
}

// --- the heap that selects when partitions don't get anywhere ---

std::vector<Counted> risingAndFalling(std::size_t n) {
  std::vector<int> counts;
  for (std::size_t i = 0; i < n; ++i) counts.push_back(static_cast<int>(std::min(i, n - 1 - i)));
  return withCounts(counts);
}

// How many partitions it would take without a heap.
std::size_t partitionsNeeded(const std::vector<Counted>& input, std::size_t nth) {
  std::vector<int> v;
  for (const Counted& pair : input) v.push_back(pair.second);
  std::size_t first = 0;
  std::size_t last = v.size();
  std::size_t rounds = 0;
  while (last - first > 3) {
    int three[] = {v[first], v[first + (last - first) / 2], v[last - 1]};
    std::sort(three, three + 3);
    std::size_t left = first;
    std::size_t right = last;
    for (;; ++left) {
      while (v[left] > three[1]) ++left;
      while (three[1] > v[--right]) {
      }
      if (left >= right) break;
      std::swap(v[left], v[right]);
    }
    (left <= nth ? first : last) = left;
    ++rounds;
  }
  return rounds;
}

TEST(NthElement, OrdinaryCountsReachTheHeap) {
  // 31 locations, 8 replicas, counts that rise by 2 and fall by 1: the 2 x floor(log2 31) = 8
  // partitions are not enough.
  std::vector<int> counts;
  for (int i = 0; i < 31; ++i) counts.push_back(4 + (i < 9 ? 2 * i : 27 - i));
  EXPECT_GT(partitionsNeeded(withCounts(counts), 7), 8u);
  expectSelected(withCounts(counts), 7);
  // So it is for the ninth of counts that rise and fall by 1.
  EXPECT_GT(partitionsNeeded(risingAndFalling(31), 8), 8u);
  expectSelected(risingAndFalling(31), 8);
}

// Distinct counts in an order that takes many partitions, found by climbing: random exchanges are
// kept unless they make the selection quicker.
std::vector<Counted> adversarial(std::size_t n, std::size_t nth) {
  std::mt19937 random(static_cast<unsigned>(n * 1000 + nth));
  std::vector<Counted> best;
  std::size_t most = 0;
  std::vector<int> counts(n);
  std::iota(counts.begin(), counts.end(), 0);
  std::size_t current = partitionsNeeded(withCounts(counts), nth);
  for (int step = 0; step < 4000; ++step) {
    std::vector<int> next = counts;
    std::swap(next[random() % n], next[random() % n]);
    const std::size_t needed = partitionsNeeded(withCounts(next), nth);
    if (needed >= current) {
      current = needed;
      counts = next;
    }
    if (current > most) {
      most = current;
      best = withCounts(counts);
    }
  }
  return best;
}

TEST(NthElement, AdversarialInputsGoThroughTheHeap) {
  for (const std::size_t n : {16u, 31u, 40u, 60u}) {
    for (const std::size_t nth : {std::size_t{0}, std::size_t{2}, std::size_t{7}, n / 2, n - 1}) {
      const std::vector<Counted> v = adversarial(n, nth);
      ASSERT_FALSE(v.empty());
      std::size_t limit = 0;
      for (std::size_t rest = n; rest > 1; rest /= 2) limit += 2;
      if (nth == 2 || nth == 7) {
        EXPECT_GT(partitionsNeeded(v, nth), limit) << n << " " << nth;
      }
      expectSelected(v, nth);
    }
  }
}

TEST(NthElement, HeapWithTiesMatchesTheModel) {
  std::mt19937 random(11);
  int reached = 0;
  for (int round = 0; round < 20000; ++round) {
    const std::size_t n = 8 + random() % 53;
    std::vector<Counted> v = risingAndFalling(n);
    const int coarse = 1 + static_cast<int>(random() % 3);
    for (Counted& pair : v) pair.second /= coarse;
    for (unsigned swaps = random() % 4; swaps > 0; --swaps) {
      std::swap(v[random() % n].second, v[random() % n].second);
    }
    const std::size_t nth = random() % std::min<std::size_t>(n, 16);
    std::size_t limit = 0;
    for (std::size_t rest = n; rest > 1; rest /= 2) limit += 2;
    if (partitionsNeeded(v, nth) > limit) ++reached;
    expectSelected(v, nth);
  }
  EXPECT_GT(reached, 100);
}

}  // namespace
