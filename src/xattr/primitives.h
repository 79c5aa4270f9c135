// One extended-attribute call on one path each, following symbolic links. Names pass unchanged.
//
// Buffers handed out are allocated with array new; the caller frees them with array delete. Errors
// are positive errno values. The results of zorf_getxattr and zorf_listxattrs are lengths as well:
// a positive result with a null out pointer is an error, and a failure always leaves it null.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

// setxattr(2), with flags 0, XATTR_CREATE or XATTR_REPLACE. Returns 0 or the errno.
int zorf_setxattr(const char* path, const char* name, int size, const char* value, int flags);

// Reads one value. Returns its length (0, and no buffer, for an empty value) or the errno; a value
// that changed its size meanwhile may be ERANGE, or end in zero bytes.
int zorf_getxattr(const char* path, const char* name, char** value);

// Reads the names, each followed by a zero byte, back to back. Returns their length in all (0, and
// no buffer, when there are none) or the errno.
int zorf_listxattrs(const char* path, char** list);

// removexattr(2). Returns 0 or the errno.
int zorf_removexattr(const char* path, const char* name);

// What zorf_getxattr or zorf_listxattrs gave, told apart.
struct XattrBytes {
  XattrBytes(int result, char* buffer)
      : bytes(buffer),
        length(buffer == nullptr ? 0 : static_cast<std::uint32_t>(result)),
        err(buffer == nullptr ? result : 0) {}

  std::string_view view() const { return {bytes.get(), length}; }

  std::unique_ptr<char[]> bytes;  // null when empty
  std::uint32_t length;
  int err;
};
inline XattrBytes readXattr(const char* path, const char* name) {
  char* value = nullptr;
  const int result = zorf_getxattr(path, name, &value);
  return {result, value};
}
inline XattrBytes readXattrNames(const char* path) {
  char* list = nullptr;
  const int result = zorf_listxattrs(path, &list);
  return {result, list};
}

// Calls visit(std::string_view) for every non-empty name in a name list. The name's zero byte
// follows the view.
template <class Visit>
void forEachXattrName(std::string_view list, Visit visit) {
  std::string_view rest = list;
  for (auto end = rest.find('\0'); end != rest.npos; end = rest.find('\0')) {
    if (end > 0) visit(rest.substr(0, end));
    rest.remove_prefix(end + 1);
  }
}
