// The version of this library, as a note in the file: "zorfhadoop", type 1, the text. Whoever has
// the file can read it without loading it (readelf -n); Java compares it with the version of its
// jar.
#include <cstdint>

namespace {

// An ELF note: three words, then name and text with their terminating zeros. The text's array is a
// multiple of the words' alignment, as readers of the next note expect.
struct VersionNote {
  std::uint32_t nameSize;
  std::uint32_t textSize;
  std::uint32_t type;
  char name[12];
  char text[(sizeof(ZORF_VERSION) + 3) / 4 * 4];
};

// Aligned as a note must be; the compiler would align it for speed.
[[gnu::used,
  gnu::section(".note.zorfhadoop")]] alignas(std::uint32_t) const VersionNote versionNote = {
    sizeof("zorfhadoop"), sizeof(ZORF_VERSION), 1, "zorfhadoop", ZORF_VERSION};

}  // namespace
