#include "base/logger.h"

#include <algorithm>
#include <cstring>

namespace logger2 {

std::int32_t currentLevel = LOG_INFO;

Sink sink = nullptr;

void log(const std::string& text, LOG_LEVEL level) {
  if (sink != nullptr) sink(text, level);
}

void debug(const std::string& text) {
  log(text, LOG_DEBUG);
}

}  // namespace logger2

Fmt::Buf::Buf(const char* separator) : std::stringbuf(std::ios_base::out) {
  const std::size_t length = separator == nullptr ? 0 : std::strlen(separator);
  if (length == 0) return;
  separator_ = std::make_unique<char[]>(length);
  std::copy_n(separator, length, separator_.get());
  separatorLength_ = static_cast<std::int64_t>(length);
}

std::streamsize Fmt::Buf::xsputn(const char* s, std::streamsize n) {
  const bool midLine = pptr() > pbase() && pptr()[-1] != '\n';
  if (n >= 1 && s[0] != '\n' && midLine && separatorLength_ > 0) {
    std::stringbuf::xsputn(separator_.get(), separatorLength_);
  }
  return std::stringbuf::xsputn(s, n);
}

Fmt::Fmt(const char* separator) : std::ostream(nullptr), buf_(separator) {
  rdbuf(&buf_);
}
