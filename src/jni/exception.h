// How failures leave the library: the native IOException inside it, one pending Java exception at
// its edge.
#pragma once

#include <jni.h>

#include <exception>
#include <string>

// The system's text for an errno value (strerror_r(3), GNU form). Thread-safe.
std::string errnoText(int err);

// Thrown by the ACL layer, caught by the natives that use it.
class IOException : public std::exception {
 public:
  explicit IOException(const std::string& message, int number = 0)
      : message_(message), errorNumber(number) {}

  const char* what() const noexcept override { return message_.c_str(); }
  // message + " errno:" + number + " " + system text, for diagnostics.
  virtual std::string detail() const;

 private:
  std::string message_;

 public:
  int errorNumber;  // an errno value, 0 when there is none
};

// Raises the Java exception for the errno value `err` and logs it at debug:
//   EPERM, EACCES -> java.nio.file.AccessDeniedException, ENOENT -> NoSuchFileException,
//   ENOMEM -> RuntimeException, all else (0 too) -> java.io.IOException,
// with the message "<system text>: <msg>". An exception that is pending already stays, and this one
// is only logged. A class missing from the cache gives java.lang.InternalError with the same
// message.
void handle_error(JNIEnv* env, int err, std::string msg) noexcept;
