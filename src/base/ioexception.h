// The native exception of failed ACL operations; natives turn it into a Java one.
#pragma once

#include <exception>
#include <string>

// The system's text for an errno value (strerror_r(3), GNU form). Thread-safe.
std::string errnoText(int err);

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
