#include "core/xattr/xattr_fixture.h"

#include <sys/xattr.h>

#include <cerrno>
#include <cstring>

void XattrTest::SetUp() {
  FilesTest::SetUp();
  path = makeFile("file");
}

void put(const std::string& path, const std::string& name, std::string_view value) {
  ASSERT_EQ(::setxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0), 0)
      << name << ": " << std::strerror(errno);
}

std::optional<std::string> valueOf(const std::string& path, const std::string& name) {
  std::string value(65536, '\0');
  const ssize_t length = ::getxattr(path.c_str(), name.c_str(), value.data(), value.size());
  if (length < 0) return std::nullopt;
  value.resize(static_cast<std::size_t>(length));
  return value;
}

void serve(Hooks& hooks, const Attributes& attributes) {
  std::string names;
  for (const auto& [name, value] : attributes) names += name + '\0';
  const auto deliver = [](const std::string& bytes, void* buffer, std::size_t size) -> ssize_t {
    if (size != 0 && size < bytes.size()) {
      errno = ERANGE;
      return -1;
    }
    if (size != 0) std::memcpy(buffer, bytes.data(), bytes.size());
    return static_cast<ssize_t>(bytes.size());
  };
  hooks.listxattr = [=](const char*, char* list, std::size_t size) {
    return deliver(names, list, size);
  };
  hooks.getxattr = [=](const char*, const char* name, void* value, std::size_t size) -> ssize_t {
    const auto found = attributes.find(name);
    if (found != attributes.end()) return deliver(found->second, value, size);
    errno = ENODATA;
    return -1;
  };
}
