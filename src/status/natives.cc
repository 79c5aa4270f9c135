#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <tuple>

#include "base/logger.h"
#include "base/scratch.h"
#include "jni/convert.h"
#include "jni/status.h"
#include "status/failedpath.h"
#include "status/mounts.h"
#include "status/stat.h"
#include "zorf_native.h"

ZORF_NATIVE(jbyteArray, getFileStatusNative)
(JNIEnv* env, jclass, jstring jpath, jboolean resolveLink) try {
  const Chars path(env, jpath);
  if (!path) return nullptr;
  struct stat st;
  if (!statusOf(env, path.get(), resolveLink != JNI_FALSE, st)) return nullptr;
  return convertChar2byteArray(env, sizeof st, reinterpret_cast<const char*>(&st));
} catch (...) {
  return atJavaEdge(env, nullptr);
}

ZORF_NATIVE(jintArray, getFileStatusFormatNative)(JNIEnv* env, jclass) try {
  ZORF_LOG(LOG_DEBUG, std::apply([](auto... number) { return joined(", ", number...); },
                                 statusOffsetMemberSize));
  return newIntArray(env, statusOffsetMemberSize);
} catch (...) {
  return atJavaEdge(env, nullptr);
}

ZORF_NATIVE(jlong, getINum)(JNIEnv* env, jclass, jstring jpath) try {
  const Chars path(env, jpath);
  if (!path) return 0;
  ZORF_LOG(LOG_TRACE, path.get());
  struct stat st;
  if (stat(path.get(), &st) != 0) {
    const int err = errno;
    handle_error(env, err, std::string("stat failed for ") + path.get());
    return -1;
  }
  return static_cast<jlong>(st.st_ino);
} catch (...) {
  return atJavaEdge(env, -1);
}

ZORF_NATIVE(jbyteArray, getLinkTargetNative)
(JNIEnv* env, jclass, jstring jpath, jint size) try {
  const Chars path(env, jpath);
  if (!path) return nullptr;
  int err = EINVAL;  // of a negative size
  if (size >= 0) {
    const auto room = static_cast<std::size_t>(size);
    Scratch target(room);
    const ssize_t length = readlink(path.get(), target.data(), room);
    if (length >= 0) return convertChar2byteArray(env, static_cast<int>(length), target.data());
    err = errno;
  }
  ZORF_LOG(LOG_WARN, "Invalid link target for " << path.get());
  handle_error(env, err, "");
  return nullptr;
} catch (...) {
  return atJavaEdge(env, nullptr);
}

ZORF_NATIVE(jbyteArray, getFailedPathNative)
(JNIEnv* env, jclass, jstring jpath, jboolean resolveLink) try {
  const Chars path(env, jpath);
  if (!path) return nullptr;
  struct stat st;
  const std::string reached = getFailedPath(path.get(), resolveLink != JNI_FALSE, st);
  return convertChar2byteArray(env, static_cast<int>(reached.size()), reached.data());
} catch (...) {
  return atJavaEdge(env, nullptr);
}

ZORF_NATIVE(jstring, getFsName)(JNIEnv* env, jclass, jstring jmountPoint) try {
  const Chars mountPoint(env, jmountPoint);
  if (!mountPoint) return nullptr;
  ZORF_LOG(LOG_TRACE, mountPoint.get());
  const auto device = zorfDeviceAt(mountPoint.get());
  if (!device) {
    handle_error(env, 0, mountPoint.get());
    return nullptr;
  }
  return newString(env, device->c_str());
} catch (...) {
  return atJavaEdge(env, nullptr);
}

ZORF_NATIVE(jboolean, setPermission)(JNIEnv* env, jclass, jstring jpath, jshort permission) try {
  const Chars path(env, jpath);
  if (!path) return false;
  ZORF_LOG(LOG_TRACE, joined(", ", path.get(), permission));
  // Permission and sticky bits only: set-id bits are not for HDFS clients to set. Of a negative
  // value the remainder is negative, and goes to the kernel sign-extended.
  if (chmod(path.get(), static_cast<mode_t>(permission % 1024)) != 0) {
    const int err = errno;
    handle_error(env, err, path.get());
    return false;
  }
  return true;
} catch (...) {
  return atJavaEdge(env, false);
}
