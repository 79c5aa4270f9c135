#include "acl/aclutil.h"

#include <dlfcn.h>

#include "base/logger.h"

namespace ACLUtil {

void* libacl_handle = nullptr;

#define ZORF_DEFINE(function) decltype(&::function) function = nullptr;
ZORF_LIBACL_FUNCTIONS(ZORF_DEFINE)
#undef ZORF_DEFINE

namespace {

bool loadAll(std::string& error) {
#define ZORF_LOAD(function) \
  if (!loadSym(#function, reinterpret_cast<void**>(&function), error)) return false;
  ZORF_LIBACL_FUNCTIONS(ZORF_LOAD)
#undef ZORF_LOAD
  return true;
}

}  // namespace

bool init() {
  ZORF_LOG(LOG_TRACE, "ACLUtil");
  if (libacl_handle != nullptr) return true;
  libacl_handle = dlopen("libacl.so.1", RTLD_LAZY);
  if (libacl_handle == nullptr) return false;
  std::string error;
  if (loadAll(error)) {
    ZORF_LOG(LOG_DEBUG, "libacl.so loaded");
    return true;
  }
  dlclose(libacl_handle);
  libacl_handle = nullptr;
  ZORF_LOG(LOG_DEBUG, "failed to resolve: " << error);
  return false;
}

void uninit() {
  if (libacl_handle == nullptr) return;
  dlclose(libacl_handle);
  libacl_handle = nullptr;
  ZORF_LOG(LOG_DEBUG, "libacl.so unloaded");
}

bool loadSym(const char* name, void** slot, std::string& error) {
  if (libacl_handle == nullptr) return false;
  dlerror();
  *slot = dlsym(libacl_handle, name);
  // dlerror decides, not the value: a symbol may be null.
  const char* failure = dlerror();
  if (failure == nullptr) return true;
  error = std::string(name) + ": " + failure;
  return false;
}

}  // namespace ACLUtil
