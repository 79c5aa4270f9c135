// The order in which many entries are added to an ACL.
#pragma once

#include <algorithm>
#include <functional>
#include <vector>

#include "acl/acl.h"

// Sorts elements, each with the `key` of an entry to be made, from the last to the first: libacl
// looks for the place of a new entry from its first one on. Equal ones keep their order, which is
// the order libacl will have them in. Nothing is moved where an id is ACL_UNDEFINED_ID: libacl
// leaves such an entry where it was made.
template <class Element>
void sortForAdding(std::vector<Element>& elements) {
  const auto hasNoId = [](const ACL::Entry::Key& key) {
    return isNamed(key.first) && key.second == ACL_UNDEFINED_ID;
  };
  if (std::ranges::any_of(elements, hasNoId, &Element::key)) return;
  std::ranges::stable_sort(elements, std::ranges::greater(), &Element::key);
}
