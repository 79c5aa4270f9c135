// What the service is told, on the command line and in a file.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

namespace datanode {

struct Options {
  std::string root;
  std::string key;
  std::string bind = "127.0.0.1";
  std::uint16_t port = 9866;
  std::string metrics;  // "[ADDRESS:]PORT", nowhere if empty
  std::string pool = "BP-zorf-1";
  unsigned int connections = 20'000;
  unsigned int connectionsOfAddress = 5'000;
  unsigned int operations = 4'096;
  unsigned int operationsOfUser = 2'048;
  std::chrono::seconds idle{60};
  std::chrono::seconds packet{480};
  std::chrono::seconds drain{30};
  bool check = false;
  bool help = false;
  bool version = false;
};

// The text names the option, or the file and the line.
struct OptionError : std::runtime_error {
  using runtime_error::runtime_error;
};

// Lines of "name = value" with the names of the long options; the command line counts for more.
Options parseOptions(std::span<char* const> arguments);

extern const char* const USAGE;

}  // namespace datanode
