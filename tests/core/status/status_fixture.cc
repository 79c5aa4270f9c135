#include "core/status/status_fixture.h"

#include <unistd.h>

#include <algorithm>
#include <sstream>

namespace {

// getfacl(1) writes the tags of the owner's entries short, and the id 0 of a named entry.
std::string aclText(const std::string& path, const char* option, const std::string& prefix) {
  std::istringstream entries(outputOf({"getfacl", "-cnEp", option, path}));
  std::string text = path + "\n";
  for (std::string line; std::getline(entries, line);) {
    if (line.empty()) continue;
    if (line.starts_with("user::")) line.replace(0, 4, "user_obj");
    if (line.starts_with("group::")) line.replace(0, 5, "group_obj");
    if (line.starts_with("user:0:")) line.erase(5, 1);
    if (line.starts_with("group:0:")) line.erase(6, 1);
    text += prefix + line + "\n";
  }
  return text;
}

// "<seconds>,<nanoseconds>" of a time after 1970.
std::string commaTime(const std::string& decimal) {
  const std::int64_t time = nanoseconds(decimal);
  return std::to_string(time / 1'000'000'000) + "," + std::to_string(time % 1'000'000'000);
}

}  // namespace

std::string statOf(const std::string& format, const std::string& path, bool follow) {
  std::string text = follow ? outputOf({"stat", "-L", "-c", format, "--", path})
                            : outputOf({"stat", "-c", format, "--", path});
  if (text.ends_with('\n')) text.pop_back();
  return text;
}

std::int64_t nanoseconds(const std::string& decimal) {
  const std::size_t point = decimal.find('.');
  const std::int64_t seconds = std::stoll(decimal.substr(0, point));
  const std::int64_t fraction = std::stoll(decimal.substr(point + 1));
  // "-0.5" has no sign left once its seconds are a number.
  return seconds * 1'000'000'000 + (decimal.front() == '-' ? -fraction : fraction);
}

std::vector<std::string> takeLines() {
  const std::string prefix = "debug @setfsid:# @";
  std::vector<std::string> lines = takeLogWithoutLines();
  for (std::string& line : lines) {
    if (!line.starts_with(prefix + "0x")) continue;
    line.replace(prefix.size(), line.find(' ', prefix.size()) - prefix.size(), "ADDRESS");
  }
  return lines;
}

std::string tid() {
  return std::string("tid:") + std::to_string(::gettid());
}

std::string statLine(const std::string& path, bool resolveLink) {
  return "debug @getStat:# " + tid() + " path: " + path +
         " stat ctime: " + commaTime(statOf("%.9Z", path, resolveLink));
}

std::string lstatFailed(const std::string& path, int err, bool resolveLink) {
  return "debug @getStat:# lstat for " + path + " error " + std::to_string(err) + " resolveLink " +
         (resolveLink ? "1" : "0");
}

std::string targetFailed(const std::string& path, int err) {
  return "debug @getStat:# link target is invalid, stat for " + path + " error " +
         std::to_string(err) + " resolveLink 1";
}

std::string groupsLine(const std::string& prefix) {
  std::string line = "debug " + prefix + " (dump group ids):";
  for (const unsigned group : threadIdentity().groups)
    line.append(" ").append(std::to_string(group));
  return line;
}

std::string identityLine(unsigned fromUid, unsigned fromGid, unsigned toUid, unsigned toGid) {
  const auto pair = [](auto a, auto b) {
    return std::string("(") + std::to_string(a) + ", " + std::to_string(b) + ")";
  };
  return "debug @setfsid:# @ADDRESS " + tid() + " u,g " +
         pair(static_cast<int>(fromUid), static_cast<int>(fromGid)) + " => " + pair(toUid, toGid);
}

std::string described(const std::string& path, bool resolveLink) {
  std::string text = describedRecord(path, path, resolveLink);
  text += "\nACLs: " + aclText(path, "-a", "");
  if (statOf("%F", path, resolveLink) == "directory") {
    text += "\nACLs: " + aclText(path, "-d", "default:");
  }
  return text;
}

std::string describedRecord(const std::string& path, const std::string& record, bool resolveLink) {
  std::istringstream words(statOf("%i %u %U %g %G %f %.9Z %.9Y", record, resolveLink));
  std::string ino, uid, user, gid, group, modified, changed;
  unsigned long mode = 0;
  words >> ino >> uid >> user >> gid >> group >> std::hex >> mode >> changed >> modified;
  if (user == "UNKNOWN") user = uid;
  if (group == "UNKNOWN") group = gid;
  std::ostringstream text;
  text << "\n@" << path << " ino:" << ino << " u:" << uid << ":" << user << " g:" << gid << ":"
       << group << " m:" << std::oct << mode << " ctime: " << commaTime(changed)
       << " mtime: " << commaTime(modified);
  return text.str();
}
