// Fmt against a model that joins lines piece by piece.
#include <cassert>
#include <string>

#include "base/logger.h"
#include "fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const std::string separator = input.bytes(input.number<std::uint8_t>() % 5);
  if (separator.find('\0') != std::string::npos) return 0;
  Fmt fmt(separator.c_str());
  std::string model;
  const auto expect = [&](const std::string& piece) {
    if (piece.empty()) return;
    if (piece[0] != '\n' && !model.empty() && model.back() != '\n') model += separator;
    model += piece;
  };
  while (!input.empty()) {
    const auto kind = input.number<std::uint8_t>();
    if (kind % 3 == 0) {
      const auto number = input.number<std::int32_t>();
      fmt << number;
      expect(std::to_string(number));
    } else {
      const std::string piece = input.bytes(kind % 16);
      fmt << piece;
      expect(piece);
    }
  }
  assert(fmt.str() == model);
  return 0;
}
