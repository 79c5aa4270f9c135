#include "files/keys.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <optional>

#include "files/descriptor.h"
#include "service/log.h"

namespace datanode {

namespace {

constexpr std::size_t LARGEST_FILE = 65'536;
constexpr std::string_view BLANKS = " \t\r";

// Takes the next word off the front of a line.
std::string_view word(std::string_view& line) {
  const auto begin = std::min(line.find_first_not_of(BLANKS), line.size());
  const auto end = std::min(line.find_first_of(BLANKS, begin), line.size());
  const auto taken = line.substr(begin, end - begin);
  line.remove_prefix(end);
  return taken;
}

std::optional<Key> keyOf(std::string_view hex) {
  Key key{};
  if (hex.size() != 2 * key.size()) return std::nullopt;
  for (std::size_t i = 0; i < key.size(); ++i) {
    const char* const digits = hex.data() + 2 * i;
    if (std::from_chars(digits, digits + 2, key[i], 16).ptr != digits + 2) return std::nullopt;
  }
  return key;
}

bool isSame(const struct stat& a, const struct stat& b) {
  return a.st_ino == b.st_ino && a.st_dev == b.st_dev && a.st_size == b.st_size &&
         a.st_mode == b.st_mode && a.st_uid == b.st_uid && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
         a.st_mtim.tv_nsec == b.st_mtim.tv_nsec && a.st_ctim.tv_sec == b.st_ctim.tv_sec &&
         a.st_ctim.tv_nsec == b.st_ctim.tv_nsec;
}

}  // namespace

KeySet parseKeys(const std::string& name, std::string_view text) {
  KeySet keys;
  for (int number = 1; !text.empty(); ++number) {
    const auto end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    line = line.substr(0, line.find('#'));
    const auto idText = word(line);
    const auto hex = word(line);
    if (idText.empty()) continue;
    const auto fail = [&](const char* what) {
      throw KeyFileError(name + ":" + std::to_string(number) + ": " + what);
    };
    std::int32_t id = 0;
    const auto parsed = std::from_chars(idText.data(), idText.data() + idText.size(), id);
    const auto key = keyOf(hex);
    if (parsed.ptr != idText.data() + idText.size() || parsed.ec != std::errc{} || id <= 0 ||
        !key || !word(line).empty()) {
      fail("not a positive number and 64 hexadecimal digits");
    }
    if (!keys.byId.emplace(id, *key).second) fail("a second key of this number");
    keys.newest = id;
  }
  if (keys.byId.empty()) throw KeyFileError(name + ": holds no key");
  return keys;
}

std::string signature(const Key& key, std::string_view identifier) {
  std::string result(32, '\0');
  unsigned int size = 0;
  HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
       reinterpret_cast<const unsigned char*>(identifier.data()), identifier.size(),
       reinterpret_cast<unsigned char*>(result.data()), &size);
  if (size != result.size()) throw std::runtime_error("HMAC-SHA256 is not to be had");
  return result;
}

Keys::Keys(std::string file) : file_(std::move(file)), keys_(load()) {}

KeySet Keys::load() {
  const auto fail = [&](const std::string& what) { throw KeyFileError(file_ + ": " + what); };
  const Descriptor file(open(file_.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!file) fail(std::strerror(errno));
  if (fstat(file.get(), &read_) != 0) fail(std::strerror(errno));
  if (!S_ISREG(read_.st_mode)) fail("not a regular file");
  if (read_.st_uid != 0 && read_.st_uid != geteuid()) fail("belongs to another user");
  if ((read_.st_mode & 077) != 0) fail("others than its owner have access: chmod 600");
  std::string text(LARGEST_FILE, '\0');
  const ssize_t size = read(file.get(), text.data(), text.size());
  if (size < 0) fail(std::strerror(errno));
  if (static_cast<std::size_t>(size) == text.size()) fail("too large");
  text.resize(static_cast<std::size_t>(size));
  return parseKeys(file_, text);
}

void Keys::refresh() {
  const std::lock_guard lock(mutex_);
  struct stat now = {};
  // One that is being replaced may be missing for a moment.
  if (stat(file_.c_str(), &now) != 0 || isSame(now, read_)) return;
  try {
    keys_ = load();
    logLine(Level::INFO,
            "keys read again, number " + std::to_string(keys_.newest) + " is the newest");
  } catch (const KeyFileError& e) {
    logLine(Level::WARN, std::string(e.what()) + "; the keys stay as they were");
  }
}

Keys::Verdict Keys::verify(std::int32_t keyId, std::string_view identifier,
                           std::string_view password) {
  const auto find = [&]() -> std::optional<Key> {
    const std::lock_guard lock(mutex_);
    const auto found = keys_.byId.find(keyId);
    if (found == keys_.byId.end()) return std::nullopt;
    return found->second;
  };
  auto key = find();
  if (!key) {
    refresh();
    key = find();
  }
  if (!key) return Verdict::UNKNOWN_KEY;
  const std::string expected = signature(*key, identifier);
  const bool same = password.size() == expected.size() &&
                    CRYPTO_memcmp(password.data(), expected.data(), expected.size()) == 0;
  return same ? Verdict::GOOD : Verdict::FORGED;
}

KeySet Keys::current() const {
  const std::lock_guard lock(mutex_);
  return keys_;
}

}  // namespace datanode
