#include "xattr/primitives.h"

#include <sys/xattr.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "base/logger.h"

namespace {

// Zero-filled: what a shrunken attribute does not fill must not be foreign memory. Null, and a log
// line in the name of `function`, when there is no memory.
std::unique_ptr<char[]> newBuffer(int length, const char* function) {
  std::unique_ptr<char[]> buffer(new (std::nothrow) char[static_cast<std::size_t>(length)]());
  if (buffer == nullptr) ZORF_LOG_AS(LOG_ERROR, function, "Out of memory");
  return buffer;
}

}  // namespace

int zorf_setxattr(const char* path, const char* name, int size, const char* value, int flags) {
  ZORF_LOG(LOG_TRACE, path);
  ZORF_LOG(LOG_DEBUG, joined(",", "flags is ", flags));
  if (setxattr(path, name, value, static_cast<std::size_t>(size), flags) >= 0) return 0;
  const int err = errno;
  // The value alone, without the path and the name: that is the line readers know.
  const std::size_t most = value == nullptr || size < 0 ? 0 : static_cast<std::size_t>(size);
  ZORF_LOG(LOG_ERROR, std::string_view(value, most == 0 ? 0 : strnlen(value, most)));
  return err;
}

int zorf_getxattr(const char* path, const char* name, char** value) {
  *value = nullptr;
  ZORF_LOG(LOG_TRACE, path);
  const int length = static_cast<int>(getxattr(path, name, nullptr, 0));
  if (length < 0) return errno;
  if (length == 0) return 0;
  std::unique_ptr<char[]> buffer = newBuffer(length, __func__);
  if (buffer == nullptr) return ENOMEM;
  if (static_cast<int>(getxattr(path, name, buffer.get(), static_cast<std::size_t>(length))) < 0) {
    const int err = errno;
    ZORF_LOG(LOG_ERROR, "getxattr: failed to get value of attribute " << name);
    return err;
  }
  *value = buffer.release();
  return length;
}

int zorf_listxattrs(const char* path, char** list) {
  *list = nullptr;
  ZORF_LOG(LOG_TRACE, path);
  const int length = static_cast<int>(listxattr(path, nullptr, 0));
  if (length < 0) {
    const int err = errno;
    ZORF_LOG(LOG_DEBUG, "listxattr: failed to get EA length for " << path);
    return err;
  }
  if (length == 0) return 0;
  std::unique_ptr<char[]> buffer = newBuffer(length, __func__);
  if (buffer == nullptr) return ENOMEM;
  if (static_cast<int>(listxattr(path, buffer.get(), static_cast<std::size_t>(length))) < 0) {
    const int err = errno;
    ZORF_LOG(LOG_DEBUG, "listxattr: failed to get the EA names for " << path);
    return err;
  }
  *list = buffer.release();
  return length;
}

int zorf_removexattr(const char* path, const char* name) {
  ZORF_LOG(LOG_TRACE, path);
  if (removexattr(path, name) >= 0) return 0;
  const int err = errno;
  // "to get length", though nothing is measured here: readers of the log match on this text.
  ZORF_LOG(LOG_DEBUG, "removexattr: failed to get length of attribute " << name);
  return err;
}
