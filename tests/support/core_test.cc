#include "support/core_test.h"

std::vector<std::string> takeLogWithoutLines() {
  std::vector<std::string> lines = takeLog();
  for (std::string& line : lines) {
    // "<level> @<function>:<number> <text>"
    const std::size_t at = line.find(' ') + 1;
    const std::size_t colon = line.find_first_of(": ", at);
    if (line[at] != '@' || colon == std::string::npos || line[colon] != ':') continue;
    const std::size_t end = line.find_first_not_of("0123456789", colon + 1);
    if (end == colon + 1 || end == std::string::npos || line[end] != ' ') continue;
    line.replace(colon + 1, end - colon - 1, "#");
  }
  return lines;
}

void CoreTest::SetUp() {
  logger2::currentLevel = LOG_TRACE;
  takeLog();
}

void CoreTest::TearDown() {
  logger2::currentLevel = LOG_TRACE;
}
