#include "service/log.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>

namespace datanode {

namespace {

constexpr int MOST_IN_A_SECOND = 20;

// What a client named may hold anything.
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c >= ' ' && c < 127) {
      result += c;
    } else {
      char code[5];
      std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(c));
      result += code;
    }
  }
  return result;
}

void writeLine(std::time_t now, Level level, const std::string& text) {
  static const char* const names[] = {"INFO", "WARN", "ERROR"};
  // The journal has the time itself.
  static const bool inJournal = std::getenv("JOURNAL_STREAM") != nullptr;
  std::string line;
  if (!inJournal) {
    char time[32];
    std::tm parts = {};
    gmtime_r(&now, &parts);
    std::strftime(time, sizeof time, "%Y-%m-%dT%H:%M:%SZ ", &parts);
    line = time;
  }
  line += names[static_cast<int>(level)];
  line += " " + text + "\n";
  // One call, so that lines don't mix. A reader that went away is not for this to report.
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace

void logLine(Level level, const std::string& text) {
  static std::mutex mutex;
  static std::time_t second = 0;
  static int lines = 0;
  const std::lock_guard lock(mutex);
  const std::time_t now = std::time(nullptr);
  if (now != second) {
    if (lines > MOST_IN_A_SECOND) {
      writeLine(now, Level::WARN,
                std::to_string(lines - MOST_IN_A_SECOND) + " further lines were left out");
    }
    second = now;
    lines = 0;
  }
  if (++lines <= MOST_IN_A_SECOND) writeLine(now, level, escaped(text));
}

}  // namespace datanode
