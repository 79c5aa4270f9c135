// The selection behind the rack-aware order. Which of several equal counts comes first depends on
// its exact steps, and clients see that order: another selection, such as std::nth_element, would
// change it.
#pragma once

#include <utility>

// A location identifier and how many blocks of the group it holds.
using LocationCount = std::pair<int, int>;

inline bool count_greater(const LocationCount& a, const LocationCount& b) {
  return a.second > b.second;
}

// Moves the pair that belongs at `nth` in descending order of counts there, with no lower one
// before it and no higher one after it. Does nothing when `nth` is `last`.
void nthElement(LocationCount* first, LocationCount* nth, LocationCount* last);
