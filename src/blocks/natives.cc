#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

#include "base/logger.h"
#include "blocks/directives.h"
#include "blocks/fileobj.h"
#include "blocks/policy.h"
#include "blocks/query.h"
#include "identity/fsaccount.h"
#include "jni/native.h"
#include "jni/rawstatus.h"
#include "jni/resultstream.h"
#include "status/failedpath.h"
#include "status/linktarget.h"
#include "status/stat.h"

namespace {

// The descriptor of a directive. Descriptor 0 is never closed: a JVM started without standard input
// relies on 0 staying taken once a directive has got it.
class DirectiveFile {
 public:
  explicit DirectiveFile(const char* path) : fd_(openForClient(path, O_RDONLY)) {}
  ~DirectiveFile() {
    if (fd_ > 0) close(fd_);
  }
  DirectiveFile(const DirectiveFile&) = delete;
  DirectiveFile& operator=(const DirectiveFile&) = delete;

  int fd() const { return fd_; }

 private:
  int fd_;
};

// Logs `line` at error for the native `function`, raises `err` with `message` and returns false.
jboolean failed(JNIEnv* env, const char* function, int err, const std::string& line,
                const std::string& message) {
  ZORF_LOG_AS(LOG_ERROR, function, line);
  handle_error(env, err, message);
  return JNI_FALSE;
}

// The policy that Java names. Only as much is copied as the longest name with its zero has.
jint policyOf(JNIEnv* env, jbyteArray name) {
  char buffer[LONGEST_POLICY_NAME + 1];
  const jsize length = std::min<jsize>(env->GetArrayLength(name), sizeof buffer);
  env->GetByteArrayRegion(name, 0, length, reinterpret_cast<jbyte*>(buffer));
  return policyNamed({buffer, static_cast<std::size_t>(length)});
}

}  // namespace

ZORF_NATIVE(jint, getBlkCmd)(JNIEnv* env, jclass, jbyteArray name, jlong blockSize) try {
  if (blockSize > 0) defaultDFSBlockSize = static_cast<std::uint64_t>(blockSize);
  const jint policy = name == nullptr ? -1 : policyOf(env, name);
  if (policy >= 0) globalBlkCmd = static_cast<GetBlkCmd>(policy);
  return policy;
} catch (...) {
  return atJavaEdge(env, jint{-1});
}

ZORF_NATIVE(jbyteArray, getBlockLocationsNative)
(JNIEnv* env, jclass, jstring jpath, jlong offset, jlong length, jbyteArray rawStatus) try {
  const Chars path(env, jpath);
  if (!path) return nullptr;
  struct stat st = {};
  if (rawStatus != nullptr) {
    if (!readRawStatus(env, rawStatus, st)) return nullptr;
  } else if (const int err = getStat(path.get(), true, st); err != 0) {
    handle_error(env, err, path.get());
    getFailedPath(path.get(), true, st);
    return nullptr;
  }
  ZORF_LOG(LOG_DEBUG, (Fmt(" ") << path.get() << "inode" << st.st_ino << "offset" << offset
                                << "request length" << length << "filelen" << st.st_size)
                          .str());
  if (!S_ISREG(st.st_mode)) {
    offset = 0;
    length = 0;
    ZORF_LOG(LOG_WARN, "non-regular filemode: " << static_cast<int>(st.st_mode));
  }

  const FSAccount root(0, 0);
  const fileObj file(path.get(), O_RDONLY);
  if (file.fd() < 0) {
    ZORF_LOG(LOG_ERROR, "open failed with " << -file.fd());
    handle_error(env, -file.fd(), path.get());
    return nullptr;
  }
  location loc = {.offset = static_cast<std::uint64_t>(offset),
                  .length = static_cast<std::uint64_t>(length)};
  ResultStream out(env);
  if (const int err = getBlkLocationInt(file.fd(), globalBlkCmd, st, loc, out); err != 0) {
    handle_error(env, err, path.get());
    return nullptr;
  }
  return out.take();
} catch (...) {
  return atJavaEdge(env, jbyteArray{nullptr});
}

ZORF_NATIVE(jlong, getBlockSizeNative)
(JNIEnv* env, jclass, jstring jpath, jbyteArray rawStatus) try {
  const Chars path(env, jpath);
  if (!path) return -1;
  ZORF_LOG(LOG_DEBUG, path.get());
  const fileObj file(path.get(), O_RDONLY);
  if (file.fd() < 0) {
    handle_error(env, -file.fd(), path.get());
    return -1;
  }
  struct stat st = {};
  if (rawStatus != nullptr) {
    if (!readRawStatus(env, rawStatus, st)) return -1;
  } else if (const int err = getStat(path.get(), true, st); err != 0) {
    handle_error(env, err, path.get());
    return -1;
  }
  location loc;
  ResultStream unread(env);
  if (const int err = getBlkLocationInt(file.fd(), globalBlkCmd, st, loc, unread); err != 0) {
    handle_error(env, err, path.get());
    return -1;
  }
  return static_cast<jlong>(loc.blocksize);
} catch (...) {
  return atJavaEdge(env, jlong{-1});
}

ZORF_NATIVE(jboolean, setReplication)
(JNIEnv* env, jclass, jstring jpath, jshort replicas, jboolean restripe) try {
  const Chars path(env, jpath);
  if (!path) return JNI_FALSE;
  ZORF_LOG(LOG_TRACE, (Fmt(", ") << path.get() << replicas).str());
  const DirectiveFile file(path.get());
  if (file.fd() < 0) {
    const int err = errno;
    return failed(env, __func__, err, std::string("failed to open ") + path.get(), "");
  }
  if (setReplication(file.fd(), replicas) != 0) {
    const int err = errno;
    const std::string message = std::string("failed to set replication for ") + path.get() +
                                " replication " + std::to_string(replicas);
    return failed(env, __func__, err, message, message);
  }
  if (restripe != JNI_FALSE && restripeFile(file.fd()) != 0) {
    const int err = errno;
    const std::string message = std::string("failed to restripe file ") + path.get() +
                                " replication " + std::to_string(replicas);
    return failed(env, __func__, err, message, message);
  }
  return JNI_TRUE;
} catch (...) {
  return atJavaEdge(env, jboolean{JNI_FALSE});
}

ZORF_NATIVE(jboolean, setBGF)(JNIEnv* env, jclass, jstring jpath, jint factor) try {
  const Chars path(env, jpath);
  if (!path) return JNI_FALSE;
  ZORF_LOG(LOG_TRACE, (Fmt(", ") << path.get() << factor).str());
  if (factor < 1 || factor > 1024) {
    const std::string message = "Invalid BGF(" + std::to_string(factor) + ")";
    return failed(env, __func__, EINVAL, message, message);
  }
  const DirectiveFile file(path.get());
  if (file.fd() < 0) {
    const int err = errno;
    return failed(env, __func__, err, std::string("failed to open ") + path.get(), "");
  }
  if (setBGF(file.fd(), factor) != 0) {
    const int err = errno;
    const std::string message = std::string("Failed to set BGF for ") + path.get();
    return failed(env, __func__, err, message, message);
  }
  return JNI_TRUE;
} catch (...) {
  return atJavaEdge(env, jboolean{JNI_FALSE});
}

ZORF_NATIVE(jbyteArray, getLocatedFileStatusNative)
(JNIEnv* env, jclass, jstring jpath, jboolean jfollowLinks, jboolean needLocation,
 jboolean permission) try {
  const Chars path(env, jpath);
  if (!path) return nullptr;
  const bool followLinks = jfollowLinks != JNI_FALSE;
  ZORF_LOG(LOG_DEBUG, (Fmt(", ") << path.get() << followLinks
                                 << (needLocation != JNI_FALSE ? "needLocation" : ""))
                          .str());
  struct stat st = {};
  if (const int err = getStat(path.get(), followLinks, st); err != 0) {
    handle_error(env, err, path.get());
    getFailedPath(path.get(), followLinks, st);
    return nullptr;
  }
  ResultStream out(env);
  out.write(reinterpret_cast<const char*>(&st), sizeof st);
  if (permission != JNI_FALSE) {
    const auto acl =
        static_cast<std::uint16_t>(getPermissionFromMode(path.get(), st.st_mode, followLinks));
    out.write(reinterpret_cast<const char*>(&acl), sizeof acl);
  }
  if (!S_ISREG(st.st_mode)) return out.take();

  // Locations are for those who may read the file; without them anyone may know its block size.
  std::optional<FSAccount> root;
  location loc;
  if (needLocation != JNI_FALSE) {
    loc.length = static_cast<std::uint64_t>(st.st_size);
  } else {
    root.emplace(0U, 0U);
  }
  int err = 0;
  {
    const fileObj file(path.get(), followLinks ? O_RDONLY : O_RDONLY | O_NOFOLLOW);
    if (file.fd() < 0) {
      err = -file.fd();
      ZORF_LOG(LOG_ERROR, "open failed with " << err);
    } else {
      err = getBlkLocationInt(file.fd(), globalBlkCmd, st, loc, out);
    }
  }
  if (err != 0) {
    handle_error(env, err, "");
    ZORF_LOG(LOG_DEBUG, "getFile status but not found " << path.get());
    return nullptr;
  }
  ZORF_LOG(LOG_DEBUG, (Fmt(", ") << "loc" << loc.offset << loc.length << loc.blocksize << loc.nblock
                                 << loc.nreplica)
                          .str());
  return out.take();
} catch (...) {
  return atJavaEdge(env, jbyteArray{nullptr});
}
