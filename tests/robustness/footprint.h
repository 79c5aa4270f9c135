// What a native may change for its thread and process only until it returns.
#pragma once

#include <dirent.h>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <vector>

struct Footprint {
  int fsuid = 0;
  int fsgid = 0;
  std::vector<gid_t> groups;
  // Of files below a directory: threads of the virtual machine open and close others all the time.
  std::vector<std::string> descriptors;

  static Footprint take(const std::string& below) {
    Footprint now;
    // -1 is no id: the kernel changes nothing and tells the present one.
    now.fsuid = setfsuid(static_cast<uid_t>(-1));
    now.fsgid = setfsgid(static_cast<gid_t>(-1));
    now.groups.resize(static_cast<std::size_t>(getgroups(0, nullptr)));
    getgroups(static_cast<int>(now.groups.size()), now.groups.data());
    DIR* directory = opendir("/proc/self/fd");
    while (const dirent* entry = readdir(directory)) {
      char file[256] = {};
      if (readlinkat(dirfd(directory), entry->d_name, file, sizeof file - 1) < 0) continue;
      if (std::string_view(file).starts_with(below)) now.descriptors.emplace_back(file);
    }
    closedir(directory);
    return now;
  }

  // What is different from `before`; empty when nothing is.
  std::string changesSince(const Footprint& before) const {
    std::string changes;
    if (fsuid != before.fsuid) changes += "fsuid " + std::to_string(fsuid) + "; ";
    if (fsgid != before.fsgid) changes += "fsgid " + std::to_string(fsgid) + "; ";
    if (groups != before.groups) changes += "supplementary groups; ";
    if (descriptors != before.descriptors) {
      changes += std::to_string(descriptors.size()) + " descriptors; ";
    }
    return changes;
  }
};
