#include "files/token.h"

#include <limits>
#include <tuple>
#include <type_traits>

#include "wire/bigendian.h"

namespace datanode {

namespace {

constexpr std::string_view MAGIC = "ZBT1";

// The numbers in the order in which they lie in the identifier.
template <class Token>
auto numbersOf(Token& token) {
  return std::tie(token.keyId, token.expiry, token.inode, token.offset, token.length, token.blockId,
                  token.generationStamp, token.rights);
}

class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  std::string_view bytes(std::size_t size) {
    if (size > rest_.size()) {
      complete_ = false;
      return {};
    }
    const auto taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
  }
  template <class T>
  T number() {
    const auto taken = bytes(sizeof(T));
    if (taken.empty()) return 0;
    return getBigEndian<T>(reinterpret_cast<const std::uint8_t*>(taken.data()));
  }
  std::string text() { return std::string(bytes(number<std::uint16_t>())); }

  bool readExactly() const { return complete_ && rest_.empty(); }

 private:
  std::string_view rest_;
  bool complete_ = true;
};

template <class T>
void append(std::string& to, T value) {
  std::uint8_t bytes[sizeof(T)];
  putBigEndian(bytes, value);
  to.append(reinterpret_cast<const char*>(bytes), sizeof bytes);
}

void appendText(std::string& to, const std::string& text) {
  append(to, static_cast<std::uint16_t>(text.size()));
  to += text;
}

bool makesSense(const BlockToken& token) {
  constexpr char NUL = '\0';
  return token.offset >= 0 && token.length >= 0 &&
         token.length <= std::numeric_limits<std::int64_t>::max() - token.offset &&
         !token.user.empty() && token.user.find(NUL) == std::string::npos &&
         token.path.starts_with('/') && token.path.find_first_not_of('/') != std::string::npos &&
         token.path.find(NUL) == std::string::npos;
}

}  // namespace

std::optional<BlockToken> parseToken(std::string_view identifier) {
  Reader reader(identifier);
  if (reader.bytes(MAGIC.size()) != MAGIC) return std::nullopt;
  BlockToken token;
  std::apply(
      [&](auto&... number) {
        ((number = reader.number<std::remove_reference_t<decltype(number)>>()), ...);
      },
      numbersOf(token));
  token.user = reader.text();
  token.path = reader.text();
  if (!reader.readExactly() || !makesSense(token)) return std::nullopt;
  return token;
}

std::string identifierOf(const BlockToken& token) {
  std::string identifier(MAGIC);
  std::apply([&](const auto&... number) { (append(identifier, number), ...); }, numbersOf(token));
  appendText(identifier, token.user);
  appendText(identifier, token.path);
  return identifier;
}

}  // namespace datanode
