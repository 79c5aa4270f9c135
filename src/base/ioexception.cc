#include "base/ioexception.h"

#include <cstring>

std::string errnoText(int err) {
  char buffer[512] = {};
  return strerror_r(err, buffer, sizeof buffer);
}

std::string IOException::detail() const {
  return message_ + " errno:" + std::to_string(errorNumber) + " " + errnoText(errorNumber);
}
