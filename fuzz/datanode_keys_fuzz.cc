// Key files.
#include <cassert>

#include "files/keys.h"
#include "fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const datanode::KeySet keys = datanode::parseKeys("keys", Input(data, size).rest());
    assert(keys.byId.contains(keys.newest));
    for (const auto& [id, key] : keys.byId) assert(id > 0);
  } catch (const datanode::KeyFileError& e) {
    assert(std::string(e.what()).starts_with("keys:"));
  }
  return 0;
}
