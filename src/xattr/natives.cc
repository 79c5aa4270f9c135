#include <sys/xattr.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "base/logger.h"
#include "jni/convert.h"
#include "jni/javalog.h"
#include "jni/jniutil.h"
#include "xattr/bulk.h"
#include "xattr/primitives.h"
#include "zorf_native.h"

namespace {

// Whether a path and a name that were both asked for are not both there.
bool refused(JNIEnv* env, const Chars& path, const Chars& name) {
  if (path.isNull() || name.isNull()) refuseNull(env);
  return !path || !name;
}

// Returns the length of `array` and sets `value` to its bytes. A null array, no memory or a pending
// exception is 0 and no bytes.
jint convertbyteArray2Char(JNIEnv* env, jbyteArray array, std::unique_ptr<char[]>& value) {
  if (env->ExceptionCheck()) return 0;
  if (array == nullptr) {
    ZORF_LOG(LOG_DEBUG, "convertbyteArray2Char: jbyteArray is null");
    return 0;
  }
  const jint length = env->GetArrayLength(array);
  value.reset(new (std::nothrow) char[static_cast<std::size_t>(length)]);
  // Copied before the first line: a logger that throws must not leave a half-made value behind.
  if (value != nullptr) {
    env->GetByteArrayRegion(array, 0, length, reinterpret_cast<jbyte*>(value.get()));
  }
  ZORF_LOG(LOG_DEBUG, joined(",", "convertbyteArray2Char: jbyteArray len: ", length));
  if (value != nullptr) return length;
  ZORF_LOG(LOG_ERROR, "Out of memory");
  return 0;
}

// Puts one attribute into a HashMap. False with an exception pending when it can't.
bool put(JNIEnv* env, jobject map, const char* name, std::string_view value) {
  jstring key = newString(env, name);
  if (key == nullptr) return false;
  jbyteArray bytes = convertChar2byteArray(env, static_cast<int>(value.size()), value.data());
  if (bytes == nullptr) return false;
  const jvalue arguments[] = {{.l = key}, {.l = bytes}};
  jobject before = env->CallObjectMethodA(map, JniUtil::MTHID_HASHMAP_PUT_0, arguments);
  const bool done = !env->ExceptionCheck();
  if (before != nullptr) env->DeleteLocalRef(before);
  env->DeleteLocalRef(bytes);
  env->DeleteLocalRef(key);
  return done;
}

// The names of a name list; null with an exception pending when they can't be had. The elements
// begin at 1: Java callers know element 0 as null and expect the ArrayIndexOutOfBoundsException
// that storing the last name raises. `native` names the caller in the log lines.
jobjectArray arrayOfNames(JNIEnv* env, const char* native, std::string_view list) {
  if (JavaLog::threw(env)) return nullptr;
  jsize count = 0;
  forEachXattrName(list, [&](std::string_view) { ++count; });
  jobjectArray names = env->NewObjectArray(count, JniUtil::CLSID_STRING, nullptr);
  if (names == nullptr) {
    ZORF_LOG_AS(LOG_ERROR, native, "ObjectArray create failed");
    return nullptr;
  }
  jsize k = 0;
  forEachXattrName(list, [&](std::string_view name) {
    ++k;
    jstring element = env->ExceptionCheck() ? nullptr : env->NewStringUTF(name.data());
    if (!env->ExceptionCheck()) env->SetObjectArrayElement(names, k, element);
    env->DeleteLocalRef(element);
  });
  return names;
}

// Copies the strings of `array`. False with an exception pending when they can't be had.
bool stringsOf(JNIEnv* env, jobjectArray array, std::list<std::string>& strings) {
  if (array == nullptr) {
    refuseNull(env);
    return false;
  }
  if (JavaLog::threw(env)) return false;
  const jsize count = env->GetArrayLength(array);
  for (jsize i = 0; i < count; ++i) {
    auto element = static_cast<jstring>(env->GetObjectArrayElement(array, i));
    const Chars chars(env, element, Chars::VMS_ERROR);
    if (!chars) return false;
    strings.emplace_back(chars.get());
    // At once: a long array would exhaust the local reference table.
    env->DeleteLocalRef(element);
  }
  return true;
}

// The HashMap of a buffer of attribute records; null when it can't be made. `native` names the
// caller in the log lines.
jobject mapOfRecords(JNIEnv* env, const char* native, const char* records, int length) {
  if (JavaLog::threw(env)) return nullptr;
  jobject map = env->NewObjectA(JniUtil::HASHMAP_CLS, JniUtil::MTHID_HASHMAP_C_0, nullptr);
  if (map == nullptr) {
    ZORF_LOG_AS(LOG_ERROR, native, "ObjectArray create failed");
    return nullptr;
  }
  const char* const end = records + length;
  for (const char* at = records; at < end;) {
    const std::string_view name(at);
    std::uint32_t valueLength = 0;
    std::memcpy(&valueLength, at + name.size() + 1, sizeof valueLength);
    const std::string_view value(at + name.size() + 5, valueLength);
    ZORF_LOG_AS(LOG_DEBUG, native, joined(",", "key: ", name, " len: ", name.size()));
    ZORF_LOG_AS(LOG_DEBUG, native, joined(",", "value: ", value, " len: ", value.size()));
    if (!put(env, map, name.data(), value)) return nullptr;
    at += name.size() + value.size() + ZORF_XATTR_RECORD_EXTRA;
  }
  return map;
}

// The HashMap of what `read` hands out, the call of the function `reader` for the native `native`.
template <class Read>
jobject mapOf(JNIEnv* env, const char* native, const char* reader, const char* path, Read read) {
  char* records = nullptr;
  int length = 0;
  const int err = read(&records, &length);
  const std::unique_ptr<char[]> owner(records);
  if (err == 0) return mapOfRecords(env, native, records, length);
  ZORF_LOG_AS(LOG_DEBUG, native, reader << ": failed to get values of path" << path);
  handle_error(env, err, std::string(reader) + " failed.");
  return nullptr;
}

}  // namespace

ZORF_NATIVE(jint, setExtendedAttribute)
(JNIEnv* env, jclass, jstring jpath, jstring jname, jbyteArray array, jshort flags) try {
  Chars path(env, jpath, Chars::UNREFUSED);
  Chars name(env, jname, Chars::UNREFUSED);
  std::unique_ptr<char[]> value;
  const jint length = convertbyteArray2Char(env, array, value);
  if (refused(env, path, name)) return 1;
  if (length != 0) {
    const std::string_view bytes(value.get(), static_cast<std::size_t>(length));
    ZORF_LOG(LOG_DEBUG, joined(",", path.get(), name.get(), bytes, flags));
  } else {
    ZORF_LOG(LOG_DEBUG, "value is null");
  }
  const int err = zorf_setxattr(path.get(), name.get(), length, value.get(), flags);
  if (err == 0) return 1;
  ZORF_LOG(LOG_DEBUG, joined(",", "setxattr: failed to set value of EA ", name.get()));
  handle_error(env, err,
               err == EDQUOT ? "setxattr failed for disk quota exceeded" : "setxattr failed.");
  // A failed call has always kept its strings and its buffer; that stays as it is.
  path.keep();
  name.keep();
  (void)value.release();
  return 0;
} catch (...) {
  return atJavaEdge(env, 0);
}

ZORF_NATIVE(jint, removeXAttr)(JNIEnv* env, jclass, jstring jpath, jstring jname) try {
  const Chars path(env, jpath, Chars::UNREFUSED);
  const Chars name(env, jname, Chars::UNREFUSED);
  if (refused(env, path, name)) return 1;
  ZORF_LOG(LOG_TRACE, joined(",", path.get(), name.get()));
  // Asked for first: a missing attribute is the probe's error, without a line of zorf_removexattr.
  int err = getxattr(path.get(), name.get(), nullptr, 0) == -1 ? errno : 0;
  if (err == 0) err = zorf_removexattr(path.get(), name.get());
  if (err == 0) return 1;
  ZORF_LOG(LOG_DEBUG, "removexattr: failed to remove attribute " << name.get());
  handle_error(env, err, "zorf_removexattrs failed.");
  return 0;
} catch (...) {
  return atJavaEdge(env, 0);
}

ZORF_NATIVE(jobjectArray, listXAttrs)(JNIEnv* env, jclass, jstring jpath) try {
  const Chars path(env, jpath, Chars::VMS_ERROR);
  if (!path) return nullptr;
  ZORF_LOG(LOG_TRACE, path.get());
  const XattrBytes list = readXattrNames(path.get());
  if (list.err != 0) {
    ZORF_LOG(LOG_DEBUG, "zorf_listxattrs: failed to list values of path" << path.get());
    handle_error(env, list.err, "zorf_listxattrs failed.");
    return nullptr;
  }
  return arrayOfNames(env, __func__, list.view());
} catch (...) {
  return atJavaEdge(env, nullptr);
}

ZORF_NATIVE(jobject, getXAttrs)(JNIEnv* env, jclass, jstring jpath, jobjectArray jnames) try {
  const Chars path(env, jpath, Chars::VMS_ERROR);
  if (!path) return nullptr;
  ZORF_LOG(LOG_TRACE, path.get());
  std::list<std::string> names;
  if (!stringsOf(env, jnames, names)) return nullptr;
  return mapOf(env, __func__, "zorf_getxattrs", path.get(), [&](char** records, int* length) {
    return zorf_getxattrs(path.get(), names, records, length);
  });
} catch (...) {
  return atJavaEdge(env, nullptr);
}

ZORF_NATIVE(jobject, dumpXAttrs)(JNIEnv* env, jclass, jstring jpath) try {
  const Chars path(env, jpath, Chars::VMS_ERROR);
  if (!path) return nullptr;
  ZORF_LOG(LOG_TRACE, path.get());
  return mapOf(env, __func__, "zorf_dumpxattrs", path.get(), [&](char** records, int* length) {
    return zorf_dumpxattrs(path.get(), records, length);
  });
} catch (...) {
  return atJavaEdge(env, nullptr);
}
