#include "acl/aclerror.h"

#include <cerrno>

#include "acl/aclutil.h"
#include "base/ioexception.h"
#include "base/logger.h"

void throwLogged(const char* function, const std::string& message, int err) {
  ZORF_LOG_AS(LOG_WARN, function, message);
  throw IOException(message, err);
}

void throwErrno(const char* function, const std::string& message) {
  const int err = errno;
  throwLogged(function, message, err);
}

void requireLibacl() {
  if (ACLUtil::libacl_handle == nullptr) throw IOException("libacl.so.1 is not loaded", ENOSYS);
}
