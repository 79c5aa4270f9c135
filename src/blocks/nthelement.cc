#include "blocks/nthelement.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace {

int medianOf(int a, int b, int c) {
  return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

// Pairs above `pivot` go to the front of the range, those below it to the back: a left cursor
// passes the ones that belong before it, a right cursor the ones that belong behind it, and where
// both are stopped they exchange. The pivot is the median of three counts of the range, which stops
// both cursors within it. Returns where they meet.
LocationCount* partitionAround(int pivot, LocationCount* left, LocationCount* right) {
  for (;;) {
    while (left->second > pivot) ++left;
    --right;
    while (pivot > right->second) --right;
    if (left >= right) return left;
    std::swap(*left, *right);
    ++left;
  }
}

// The same for up to 64 pairs, with a bit for each in two words, and cursors that jump over runs of
// bits. A cursor that looks at one pair after the other stops at random, and the processor
// mispredicts nearly every stop: that would take most of the time.
LocationCount* partitionFewAround(int pivot, LocationCount* first, LocationCount* last) {
  std::uint64_t above = 0;
  std::uint64_t below = 0;
  const auto length = static_cast<int>(last - first);
  for (int i = 0; i < length; ++i) {
    above |= std::uint64_t{first[i].second > pivot} << i;
    below |= std::uint64_t{pivot > first[i].second} << i;
  }
  int left = 0;
  int right = length;
  for (;;) {
    left += std::countr_one(above >> left);
    --right;
    right -= std::countl_one(below << (63 - right));
    if (left >= right) return first + left;
    std::swap(first[left], first[right]);
    above &= ~(std::uint64_t{1} << right);
    below &= ~(std::uint64_t{1} << left);
    ++left;
  }
}

void insertionSort(LocationCount* first, LocationCount* last) {
  if (first == last) return;
  for (LocationCount* next = first + 1; next != last; ++next) {
    const LocationCount value = *next;
    LocationCount* hole = next;
    for (; hole != first && count_greater(value, hole[-1]); --hole) *hole = hole[-1];
    *hole = value;
  }
}

// Fills the hole of a heap of `length` pairs, whose top is the lowest count, with `value`: the hole
// sinks to a leaf along the preferred children, and the value rises from there.
void fillHole(LocationCount* heap, std::ptrdiff_t hole, std::ptrdiff_t length,
              LocationCount value) {
  const std::ptrdiff_t top = hole;
  for (std::ptrdiff_t child = 2 * hole + 2; child <= length; child = 2 * hole + 2) {
    if (child == length || count_greater(heap[child], heap[child - 1])) --child;
    heap[hole] = heap[child];
    hole = child;
  }
  for (std::ptrdiff_t parent = (hole - 1) / 2; hole > top && count_greater(heap[parent], value);
       parent = (hole - 1) / 2) {
    heap[hole] = heap[parent];
    hole = parent;
  }
  heap[hole] = value;
}

// Gathers the highest counts of [first, last) in [first, middle), the lowest of them first.
void heapSelect(LocationCount* first, LocationCount* middle, LocationCount* last) {
  const std::ptrdiff_t length = middle - first;
  for (std::ptrdiff_t parent = length / 2; parent-- > 0;) {
    fillHole(first, parent, length, first[parent]);
  }
  for (LocationCount* next = middle; next != last; ++next) {
    if (!count_greater(*next, *first)) continue;
    const LocationCount value = *next;
    *next = *first;
    fillHole(first, 0, length, value);
  }
}

}  // namespace

void nthElement(LocationCount* first, LocationCount* nth, LocationCount* last) {
  if (nth == last) return;
  auto partitions = 2 * (std::bit_width(static_cast<std::size_t>(last - first)) - 1);
  while (last - first > 3) {
    if (partitions-- == 0) {
      heapSelect(first, nth + 1, last);
      std::swap(*first, *nth);
      return;
    }
    const int pivot = medianOf(first->second, first[(last - first) / 2].second, last[-1].second);
    LocationCount* const cut = last - first > 64 ? partitionAround(pivot, first, last)
                                                 : partitionFewAround(pivot, first, last);
    (cut <= nth ? first : last) = cut;
  }
  insertionSort(first, last);
}
