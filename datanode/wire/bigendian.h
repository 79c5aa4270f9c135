// Integers in network order, at any address.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace datanode {

template <class T>
T getBigEndian(const std::uint8_t* from) {
  std::make_unsigned_t<T> value = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) {
    value = static_cast<std::make_unsigned_t<T>>(std::uint64_t{value} << 8 | from[i]);
  }
  return static_cast<T>(value);
}

template <class T>
void putBigEndian(std::uint8_t* to, T value) {
  auto rest = static_cast<std::make_unsigned_t<T>>(value);
  for (std::size_t i = sizeof(T); i-- > 0;) {
    to[i] = static_cast<std::uint8_t>(rest);
    rest = static_cast<std::make_unsigned_t<T>>(std::uint64_t{rest} >> 8);
  }
}

}  // namespace datanode
