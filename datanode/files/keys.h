// The keys that tokens are signed with, from a file that the NameNode and every DataNode have.
//
//     # comments and empty lines
//     ID HEX      a positive number and 64 hexadecimal digits
//
// The last key signs, all of them verify. The file is read again when it changes; one that can't be
// taken leaves the keys as they are and is logged once. Any thread may ask.
#pragma once

#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>

namespace datanode {

// The text names the file, and the line where it is one.
struct KeyFileError : std::runtime_error {
  using runtime_error::runtime_error;
};

using Key = std::array<std::uint8_t, 32>;

struct KeySet {
  std::map<std::int32_t, Key> byId;
  std::int32_t newest = 0;  // its id
};

// `name` is for the text of the KeyFileError alone.
KeySet parseKeys(const std::string& name, std::string_view text);

// HMAC-SHA256.
std::string signature(const Key& key, std::string_view identifier);

class Keys {
 public:
  // Reads the file, or KeyFileError.
  explicit Keys(std::string file);

  enum class Verdict { GOOD, UNKNOWN_KEY, FORGED };
  // Reads the file again for a key that is not known yet, so that it must be called with the
  // identity of the process.
  Verdict verify(std::int32_t keyId, std::string_view identifier, std::string_view password);

  // Reads the file again where it changed.
  void refresh();

  KeySet current() const;

 private:
  KeySet load();

  const std::string file_;
  mutable std::mutex mutex_;
  struct stat read_ = {};  // the file as it was read last, for better or worse
  KeySet keys_;
};

}  // namespace datanode
