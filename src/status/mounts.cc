#include "status/mounts.h"

#include <mntent.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace {

struct EndMntent {
  void operator()(FILE* table) const { endmntent(table); }
};
using MountTable = std::unique_ptr<FILE, EndMntent>;

// What getline(3) reads into.
struct Line {
  Line() = default;
  ~Line() { std::free(text); }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  char* text = nullptr;
  std::size_t room = 0;
};

}  // namespace

std::optional<std::string> zorfDeviceAt(const std::string& mountPoint) {
  std::array<char, 16384> buffer;
  const MountTable table(setmntent("/etc/mtab", "re"));
  if (table == nullptr) return std::nullopt;
  // The C library would read the kernel's table in pieces of a kilobyte.
  std::setvbuf(table.get(), buffer.data(), _IOFBF, buffer.size());
  std::optional<std::string> device;
  Line line;
  for (ssize_t n; (n = getline(&line.text, &line.room, table.get())) > 0;) {
    // getmntent_r takes longer over a line than reading it does: only for those that may be meant.
    if (std::strstr(line.text, "zorf") == nullptr) continue;
    const auto length = static_cast<std::size_t>(n);
    const MountTable one(fmemopen(line.text, length, "r"));
    if (one == nullptr) throw std::bad_alloc();
    mntent entry{};
    std::string fields(length + 2, '\0');
    if (getmntent_r(one.get(), &entry, fields.data(), static_cast<int>(fields.size())) == nullptr) {
      continue;
    }
    // The last line wins: a mount over a mount hides the earlier one.
    if (std::strcmp(entry.mnt_type, "zorf") == 0 && mountPoint == entry.mnt_dir) {
      device = entry.mnt_fsname;
    }
  }
  return device;
}
