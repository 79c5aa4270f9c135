// The log of a program without a JVM: a sink that keeps the lines.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string_view>

#include "support/core_test.h"

namespace {

std::mutex mutex;
// Lines, each with a NUL behind it. In the C library's memory: tests count allocations with new,
// and let them fail.
char* text = nullptr;
std::size_t size = 0;
std::FILE* lines = nullptr;

void record(const std::string& line, LOG_LEVEL level) {
  static const char* const names[] = {"trace", "debug", "info", "warn", "error", "fatal"};
  if (level < LOG_OFF) {
    const std::lock_guard lock(mutex);
    // Up to the first NUL, as Java gets it.
    std::fprintf(lines, "%s %s%c", names[level], line.c_str(), '\0');
  }
  errno = EBADMSG;  // as a logger's own system calls may leave it
}

}  // namespace

std::vector<std::string> takeLog() {
  const std::lock_guard lock(mutex);
  std::vector<std::string> taken;
  if (lines != nullptr) {
    std::fclose(lines);
    for (std::string_view rest(text, size); !rest.empty();) {
      taken.emplace_back(rest.substr(0, rest.find('\0')));
      rest.remove_prefix(taken.back().size() + 1);
    }
    std::free(text);
  }
  lines = open_memstream(&text, &size);
  logger2::sink = record;
  return taken;
}
