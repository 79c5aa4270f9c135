#include "status/mounts.h"

#include <mntent.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

struct EndMntent {
  void operator()(FILE* table) const { endmntent(table); }
};

}  // namespace

std::optional<std::string> zorfDeviceAt(const std::string& mountPoint) {
  std::array<char, 16384> buffer;
  const std::unique_ptr<FILE, EndMntent> table(setmntent("/etc/mtab", "re"));
  if (table == nullptr) return std::nullopt;
  // The C library would read the kernel's table in pieces of a kilobyte.
  std::setvbuf(table.get(), buffer.data(), _IOFBF, buffer.size());
  std::optional<std::string> device;
  mntent entry{};
  // A line that does not fit is cut by getmntent_r: room for two paths and a long list of options.
  std::array<char, 16384> line;
  while (getmntent_r(table.get(), &entry, line.data(), static_cast<int>(line.size())) != nullptr) {
    // The last line wins: a mount over a mount hides the earlier one.
    if (std::strcmp(entry.mnt_type, "zorf") == 0 && mountPoint == entry.mnt_dir) {
      device = entry.mnt_fsname;
    }
  }
  return device;
}
