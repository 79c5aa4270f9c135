#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <optional>

#include "base/logger.h"
#include "blocks/directives.h"
#include "blocks/fileobj.h"
#include "blocks/policy.h"
#include "blocks/query.h"
#include "identity/fsaccount.h"
#include "jni/convert.h"
#include "jni/resultstream.h"
#include "jni/status.h"
#include "status/linktarget.h"
#include "zorf_native.h"

namespace {

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
  return atJavaEdge(env, -1);
}

ZORF_NATIVE(jbyteArray, getBlockLocationsNative)
(JNIEnv* env, jclass, jstring jpath, jlong offset, jlong length, jbyteArray rawStatus) try {
  const Chars path(env, jpath);
  if (!path) return nullptr;
  struct stat st = {};
  if (!statusOf(env, path.get(), rawStatus, Diagnosis::OF_TARGET, st)) return nullptr;
  ZORF_LOG(LOG_DEBUG, joined(" ", path.get(), "inode", st.st_ino, "offset", offset,
                             "request length", length, "filelen", st.st_size));
  if (!S_ISREG(st.st_mode)) {
    offset = 0;
    length = 0;
    ZORF_LOG(LOG_WARN, "non-regular filemode: " << static_cast<int>(st.st_mode));
  }
  const FSAccount root(0, 0);
  location loc = {.offset = static_cast<std::uint64_t>(offset),
                  .length = static_cast<std::uint64_t>(length)};
  ResultStream out(env);
  if (const int err = locateBlocks(__func__, path.get(), O_RDONLY, st, loc, out)) {
    handle_error(env, err, path.get());
    return nullptr;
  }
  return out.take();
} catch (...) {
  return atJavaEdge(env, nullptr);
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
  if (!statusOf(env, path.get(), rawStatus, Diagnosis::NONE, st)) return -1;
  location loc;
  ResultStream unread(env);
  if (const int err = getBlkLocationInt(file.fd(), globalBlkCmd, st, loc, unread)) {
    handle_error(env, err, path.get());
    return -1;
  }
  return static_cast<jlong>(loc.blocksize);
} catch (...) {
  return atJavaEdge(env, -1);
}

ZORF_NATIVE(jboolean, setReplication)
(JNIEnv* env, jclass, jstring jpath, jshort replicas, jboolean restripe) try {
  const Chars path(env, jpath);
  if (!path) return false;
  ZORF_LOG(LOG_TRACE, joined(", ", path.get(), replicas));
  replicate(__func__, path.get(), replicas, restripe != JNI_FALSE);
  return true;
} catch (...) {
  return atJavaEdge(env, false);
}

ZORF_NATIVE(jboolean, setBGF)(JNIEnv* env, jclass, jstring jpath, jint factor) try {
  const Chars path(env, jpath);
  if (!path) return false;
  ZORF_LOG(LOG_TRACE, joined(", ", path.get(), factor));
  group(__func__, path.get(), factor);
  return true;
} catch (...) {
  return atJavaEdge(env, false);
}

ZORF_NATIVE(jbyteArray, getLocatedFileStatusNative)
(JNIEnv* env, jclass, jstring jpath, jboolean jfollowLinks, jboolean needLocation,
 jboolean permission) try {
  const Chars path(env, jpath);
  if (!path) return nullptr;
  const bool followLinks = jfollowLinks != JNI_FALSE;
  ZORF_LOG(LOG_DEBUG,
           joined(", ", path.get(), followLinks, needLocation != JNI_FALSE ? "needLocation" : ""));
  struct stat st = {};
  if (!statusOf(env, path.get(), followLinks, st)) return nullptr;
  ResultStream out(env);
  out.write(&st, sizeof st);
  if (permission != JNI_FALSE) {
    const auto acl =
        static_cast<std::uint16_t>(getPermissionFromMode(path.get(), st.st_mode, followLinks));
    out.write(&acl, sizeof acl);
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
  const int flags = followLinks ? O_RDONLY : O_RDONLY | O_NOFOLLOW;
  if (const int err = locateBlocks(__func__, path.get(), flags, st, loc, out)) {
    handle_error(env, err, "");
    ZORF_LOG(LOG_DEBUG, "getFile status but not found " << path.get());
    return nullptr;
  }
  ZORF_LOG(LOG_DEBUG,
           joined(", ", "loc", loc.offset, loc.length, loc.blocksize, loc.nblock, loc.nreplica));
  return out.take();
} catch (...) {
  return atJavaEdge(env, nullptr);
}
