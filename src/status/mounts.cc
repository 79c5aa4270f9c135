#include "status/mounts.h"

#include <mntent.h>

#include <cerrno>
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

// What getdelim(3) reads into.
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
  constexpr std::size_t bufferSize = 16384;
  const auto buffer = std::make_unique_for_overwrite<char[]>(bufferSize);
  const MountTable table(setmntent("/etc/mtab", "re"));
  if (table == nullptr) return std::nullopt;
  // The C library would read the kernel's table in pieces of a kilobyte.
  std::setvbuf(table.get(), buffer.get(), _IOFBF, bufferSize);
  std::optional<std::string> device;
  Line line;
  errno = 0;
  for (ssize_t n; (n = getdelim(&line.text, &line.room, '\n', table.get())) > 0; errno = 0) {
    // getmntent_r is slow, so it gets only the lines that may be of this file system.
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
  // Not the end of the table: a later line could have been the one that is meant.
  if (errno == ENOMEM) throw std::bad_alloc();
  return device;
}
