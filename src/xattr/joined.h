// Text of the attribute functions' log lines.
#pragma once

#include <string>

#include "base/logger.h"

// The pieces with a comma between them, also after one that ends in a blank: readers of the log
// match on "flags is ,4".
template <class... Pieces>
std::string joined(const Pieces&... pieces) {
  Fmt text(",");
  (text << ... << pieces);
  return text.str();
}
