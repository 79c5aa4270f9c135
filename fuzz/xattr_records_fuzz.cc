// Attribute records from names and values of any bytes, delivered by this program's own getxattr
// and listxattr, whose values may change between the probe and the read.
#include <sys/xattr.h>

#include <cassert>
#include <cerrno>
#include <cstring>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "fuzz/input.h"
#include "xattr/bulk.h"

namespace {

std::map<std::string, std::string> attributes;
std::string nameList;
int change = 0;  // how much longer or shorter a value is when read than when probed

ssize_t answer(const std::string& value, void* buffer, std::size_t size) {
  if (buffer == nullptr || size == 0) return static_cast<ssize_t>(value.size());
  const auto length = static_cast<std::size_t>(
      std::max<std::int64_t>(0, static_cast<std::int64_t>(value.size()) + change));
  if (length > size) {
    errno = ERANGE;
    return -1;
  }
  std::memcpy(buffer, value.data(), std::min(length, value.size()));
  return static_cast<ssize_t>(length);
}

}  // namespace

extern "C" ssize_t getxattr(const char*, const char* name, void* buffer,
                            std::size_t size) noexcept {
  const auto found = attributes.find(name);
  if (found == attributes.end()) {
    errno = ENODATA;
    return -1;
  }
  return answer(found->second, buffer, size);
}

extern "C" ssize_t listxattr(const char*, char* buffer, std::size_t size) noexcept {
  return answer(nameList, buffer, size);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  attributes.clear();
  const auto how = input.number<std::int8_t>();
  change = how % 4 == 0 ? how / 4 : 0;
  while (!input.empty() && attributes.size() < 40) {
    const std::string name = input.bytes(input.number<std::uint8_t>() % 24);
    attributes[name.c_str()] = input.bytes(input.number<std::uint8_t>());
  }
  std::list<std::string> names;
  nameList.clear();
  for (const auto& [name, value] : attributes) {
    names.push_front(name);
    names.push_back(name);
    nameList += name + '\0';
  }
  // As the kernel would never end it.
  if (how % 5 == 0 && !nameList.empty()) nameList.pop_back();

  for (const bool all : {false, true}) {
    char* buffer = nullptr;
    int length = -1;
    const int rc =
        all ? zorf_dumpxattrs("/", &buffer, &length) : zorf_getxattrs("/", names, &buffer, &length);
    const std::unique_ptr<char[]> owner(buffer);
    assert((buffer == nullptr) == (length == 0));
    if (rc != 0) {
      assert(buffer == nullptr);
      continue;
    }
    const char* at = buffer;
    std::string before;
    for (const char* const end = buffer + length; at < end;) {
      const std::string name(at);
      std::uint32_t valueLength = 0;
      std::memcpy(&valueLength, at + name.size() + 1, sizeof valueLength);
      const std::string value(at + name.size() + 5, valueLength);
      assert(attributes.count(name) == 1 || all);
      if (change == 0 && attributes.count(name) == 1) assert(value == attributes[name]);
      assert(at == buffer || before < name);
      at += name.size() + valueLength + 5;
      assert(*at++ == '\0');
      before = name;
    }
    assert(at == buffer + length);
  }
  return 0;
}
