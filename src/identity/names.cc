#include "identity/names.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>

#include "base/logger.h"

namespace {

// What the lookups say. Java-side tooling matches on these lines, slips included.
struct Texts {
  const char* function;
  const char* allocationFailed;
  const char* missing;
  const char* failed;
  LOG_LEVEL failedLevel;
};

// Asks `query`, one of the reentrant database calls, with a buffer that doubles for as long as the
// call leaves ERANGE in errno; hands the entry to `take`.
template <class Record, class Key, class Query, class Take>
int lookUp(const Texts& texts, int sizeLimit, const Key& key, Query query, Take take) {
  const long suggested = sysconf(sizeLimit);
  for (std::size_t size = suggested > 0 ? static_cast<std::size_t>(suggested) : 16384;; size *= 2) {
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[size]());
    if (buffer == nullptr) {
      ZORF_LOG_AS(LOG_DEBUG, texts.function, texts.allocationFailed << size);
      return ENOMEM;
    }
    Record record{};
    Record* entry = nullptr;
    errno = 0;  // a stale ERANGE would double the buffer for nothing
    const int rc = query(&record, buffer.get(), size, &entry);
    const int err = errno;
    if (rc == 0 && entry != nullptr) {
      take(*entry);
      return 0;
    }
    if (rc == 0) {
      ZORF_LOG_AS(LOG_DEBUG, texts.function, texts.missing << key);
      return EINVAL;
    }
    if (err != ERANGE) {
      ZORF_LOG_AS(texts.failedLevel, texts.function, texts.failed << err);
      return EINVAL;
    }
  }
}

}  // namespace

int uid_to_usrname(unsigned int uid, std::string& name) {
  static constexpr Texts texts{"uid_to_usrname", "new failed, pwdbufsize = ",
                               "getpwuid_r() unable to find entry in password database for ",
                               "getpwuid_r() failed with ", LOG_DEBUG};
  return lookUp<passwd>(
      texts, _SC_GETPW_R_SIZE_MAX, uid,
      [uid](passwd* record, char* buffer, std::size_t size, passwd** entry) {
        return getpwuid_r(uid, record, buffer, size, entry);
      },
      [&](const passwd& entry) { name = entry.pw_name; });
}

int gid_to_grpname(unsigned int gid, std::string& name) {
  // The only failure at error level.
  static constexpr Texts texts{"gid_to_grpname", "new failed, grpbufsize = ",
                               "getpwgid_r() unable to find entry in password database for ",
                               "getgrgid_r() failed with ", LOG_ERROR};
  return lookUp<group>(
      texts, _SC_GETGR_R_SIZE_MAX, gid,
      [gid](group* record, char* buffer, std::size_t size, group** entry) {
        return getgrgid_r(gid, record, buffer, size, entry);
      },
      [&](const group& entry) { name = entry.gr_name; });
}

int username_to_uidgid(const std::string& name, unsigned int& uid, unsigned int& gid) {
  static constexpr Texts texts{"username_to_uidgid", "new failed, pwdbufsize = ",
                               "getpwnam_r() unable to find entry in password database for ",
                               "getpwnam_r() failed with ", LOG_DEBUG};
  return lookUp<passwd>(
      texts, _SC_GETPW_R_SIZE_MAX, name,
      [&name](passwd* record, char* buffer, std::size_t size, passwd** entry) {
        return getpwnam_r(name.c_str(), record, buffer, size, entry);
      },
      [&](const passwd& entry) {
        uid = entry.pw_uid;
        gid = entry.pw_gid;
      });
}

int grpname_to_gid(const std::string& name, unsigned int& gid) {
  static constexpr Texts texts{"grpname_to_gid", "new failed, grpbufsize = ",
                               "getgrnam_r() unable to find entry in password database for",
                               "getgrgid_r() failed with ", LOG_DEBUG};
  return lookUp<group>(
      texts, _SC_GETGR_R_SIZE_MAX, name,
      [&name](group* record, char* buffer, std::size_t size, group** entry) {
        return getgrnam_r(name.c_str(), record, buffer, size, entry);
      },
      [&](const group& entry) { gid = entry.gr_gid; });
}

int uidgid_to_name(unsigned int uid, unsigned int gid, std::string& user, std::string& group) {
  if (uid_to_usrname(uid, user) != 0) {
    ZORF_LOG(LOG_WARN, "Unable to map uid to name for uid: " << uid);
    user = std::to_string(uid);
  }
  if (gid_to_grpname(gid, group) != 0) {
    ZORF_LOG(LOG_WARN, "Unable to map gid to name for gid: " << gid);
    group = std::to_string(gid);
  }
  return 0;
}
