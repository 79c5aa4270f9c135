#include "xattr/bulk.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <memory_resource>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "base/logger.h"
#include "xattr/primitives.h"

namespace {

// Writes one record into zero-filled memory and returns the position after it.
inline char* putRecord(char* at, std::string_view name, const XattrBytes& value) {
  at += name.copy(at, name.size()) + 1;
  std::memcpy(at, &value.length, sizeof value.length);
  at += sizeof value.length;
  at += value.view().copy(at, value.length) + 1;
  return at;
}

// zorf_getxattrs of names in any container. A zero byte follows each.
template <class Names>
int recordsOf(const char* path, const Names& names, char** buffer, int* length) {
  constexpr const char* function = "zorf_getxattrs";
  *buffer = nullptr;
  *length = 0;
  ZORF_LOG_AS(LOG_TRACE, function, path);
  std::array<std::byte, 2048> room;  // for the nodes of some twenty attributes
  std::pmr::monotonic_buffer_resource memory(room.data(), room.size());
  std::pmr::map<std::string_view, XattrBytes> values(&memory);
  std::size_t total = 0;   // of all names
  std::size_t needed = 0;  // by the records
  for (const std::string_view name : names) {
    XattrBytes value = readXattr(path, name.data());
    if (value.err != 0) {
      // Not ignored at all; readers of the log match on the words.
      ZORF_LOG_AS(LOG_DEBUG, function, "zorf_getxattr failed for key: " << name << ", ignore it");
      return value.err;
    }
    const std::size_t beside = name.size() + ZORF_XATTR_RECORD_EXTRA;
    const auto [entry, isNew] = values.insert({name, XattrBytes(0, nullptr)});
    total += beside + value.length;
    needed += (isNew ? beside : 0) + value.length - entry->second.length;
    entry->second = std::move(value);
  }
  if (total == 0) {
    ZORF_LOG_AS(LOG_DEBUG, function, "got 0 EA");
    return 0;
  }
  if (needed > INT_MAX) return ENOMEM;
  // Repeated names are counted in `total`: the buffer then ends in zero bytes outside *length. They
  // get no more room than the records themselves, or one name given often enough fills the memory.
  std::unique_ptr<char[]> records(new (std::nothrow) char[std::min(total, 2 * needed)]());
  if (records == nullptr) return ENOMEM;
  char* at = records.get();
  for (const auto& entry : values) {
    const std::string_view name = entry.first;
    const XattrBytes& value = entry.second;
    ZORF_LOG_AS(LOG_DEBUG, function, joined(",", "key: ", name, " key len: ", name.size()));
    ZORF_LOG_AS(LOG_DEBUG, function,
                joined(",", "value: ", value.view(), " value len: ", value.length));
    at = putRecord(at, name, value);
  }
  *length = static_cast<int>(at - records.get());
  *buffer = records.release();
  return 0;
}

}  // namespace

int zorf_getxattrs(const char* path, std::list<std::string>& names, char** buffer, int* length) {
  return recordsOf(path, names, buffer, length);
}

int zorf_dumpxattrs(const char* path, char** buffer, int* length) {
  *buffer = nullptr;
  *length = 0;
  ZORF_LOG(LOG_TRACE, path);
  const XattrBytes list = readXattrNames(path);
  if (list.err != 0) {
    ZORF_LOG(LOG_ERROR, "zorf_dumpxattrs: get key list failed for " << path);
    return list.err;
  }
  if (list.length == 0) return 0;
  std::vector<std::string_view> names;
  forEachXattrName(list.view(), [&](std::string_view name) {
    ZORF_LOG_AS(LOG_DEBUG, "zorf_dumpxattrs", "key: " << name);
    names.push_back(name);
  });
  const int result = recordsOf(path, names, buffer, length);
  if (result != 0) ZORF_LOG(LOG_ERROR, "zorf_dumpxattrs: get value failed for " << path);
  return result;
}
