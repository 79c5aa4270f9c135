// Diagnostic lines, and the text builder they are made with. Where the lines go is the sink's
// matter: in a JVM to the Java logger.
//
// A line of level L is built and delivered only while logger2::currentLevel <= L; ZORF_LOG tests
// that before any text exists, so a disabled line costs one compare. Any thread may log.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>

enum LOG_LEVEL : std::int32_t {
  LOG_TRACE = 0,
  LOG_DEBUG = 1,
  LOG_INFO = 2,
  LOG_WARN = 3,
  LOG_ERROR = 4,
  LOG_FATAL = 5,
  LOG_OFF = 6,
};

namespace logger2 {

// The lowest level that is delivered. Written once, by JNI_OnLoad, from the Java logger's answers.
extern std::int32_t currentLevel;

// What takes the lines, on the thread that logs. Written once, by JNI_OnLoad; none drops them.
using Sink = void (*)(const std::string& text, LOG_LEVEL level);
extern Sink sink;

inline bool enabled(LOG_LEVEL level) {
  return currentLevel <= level;
}

// Gives the sink a line. Does not compare levels.
void log(const std::string& text, LOG_LEVEL level);

// log(text, LOG_DEBUG).
void debug(const std::string& text);

}  // namespace logger2

// An output stream into a string that puts a separator between successive insertions, except at
// line starts. With a null or empty separator it is a plain string stream.
class Fmt : public std::ostream {
 public:
  class Buf : public std::stringbuf {
   public:
    explicit Buf(const char* separator);

   protected:
    std::streamsize xsputn(const char* s, std::streamsize n) override;

   private:
    std::unique_ptr<char[]> separator_;  // no terminating NUL
    std::int64_t separatorLength_ = 0;
  };

  explicit Fmt(const char* separator = nullptr);

  std::string str() const { return buf_.str(); }

 private:
  Buf buf_;
};

// Every insertion yields the Fmt itself, so that its text can be taken at the end of a chain. A
// single char gets no separator: insert strings.
template <class T>
Fmt& operator<<(Fmt& fmt, const T& value) {
  static_cast<std::ostream&>(fmt) << value;
  return fmt;
}
template <class T>
Fmt& operator<<(Fmt&& fmt, const T& value) {
  return fmt << value;
}
inline Fmt& operator<<(Fmt& fmt, std::ostream& (*manipulator)(std::ostream&)) {
  manipulator(fmt);
  return fmt;
}

// The pieces with a separator between them, also after one that ends in a blank: readers of the log
// match on "flags is ,4".
template <class... Pieces>
std::string joined(const char* separator, const Pieces&... pieces) {
  Fmt text(separator);
  (text << ... << pieces);
  return text.str();
}

namespace logger2 {

// Builds a line with `insert` and delivers it. Out of line, so that a line that is not delivered
// costs its function neither a place on the stack nor a register.
template <class Insert>
[[gnu::cold, gnu::noinline]] void write(LOG_LEVEL level, const Insert& insert) {
  Fmt text;
  insert(text);
  log(text.str(), level);
}
template <class Insert>
[[gnu::cold, gnu::noinline]] void write(LOG_LEVEL level, const char* function, int line,
                                        const Insert& insert) {
  Fmt text;
  text << "@" << function << ":" << line << " ";
  insert(text);
  log(text.str(), level);
}

}  // namespace logger2

// Logs "@" + function + ":" + line + " " + text at `level`. `text` is a chain of stream insertions.
#define ZORF_LOG_AS(level, function, text)                                                 \
  do {                                                                                     \
    if (logger2::enabled(level)) {                                                         \
      logger2::write(level, function, __LINE__, [&](Fmt& zorfText) { zorfText << text; }); \
    }                                                                                      \
  } while (false)

// The same with the enclosing function's own name.
#define ZORF_LOG(level, text) ZORF_LOG_AS(level, __func__, text)

// Logs `text` without the location prefix: some lines go to the Java log bare, and readers match
// that.
#define ZORF_LOG_BARE(level, text)                                     \
  do {                                                                 \
    if (logger2::enabled(level)) {                                     \
      logger2::write(level, [&](Fmt& zorfText) { zorfText << text; }); \
    }                                                                  \
  } while (false)
