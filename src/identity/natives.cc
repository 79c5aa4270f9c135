#include <sys/stat.h>

#include <memory>
#include <string>

#include "base/logger.h"
#include "identity/fsaccount.h"
#include "identity/names.h"
#include "jni/convert.h"
#include "jni/javalog.h"
#include "zorf_native.h"

namespace {

using NameOfId = int (*)(unsigned int, std::string&);

// The text of the exception is the name, which is empty when it wasn't found: callers match on
// that.
jstring nameOf(JNIEnv* env, jint id, NameOfId lookUp) {
  std::string name;
  if (const int status = lookUp(static_cast<unsigned int>(id), name)) {
    handle_error(env, status, name);
    return nullptr;
  }
  return newString(env, name.c_str());
}

}  // namespace

ZORF_NATIVE(jstring, getUser)(JNIEnv* env, jclass, jint uid) try {
  return nameOf(env, uid, uid_to_usrname);
} catch (...) {
  return atJavaEdge(env, nullptr);
}

ZORF_NATIVE(jstring, getGroup)(JNIEnv* env, jclass, jint gid) try {
  return nameOf(env, gid, gid_to_grpname);
} catch (...) {
  return atJavaEdge(env, nullptr);
}

ZORF_NATIVE(jint, getUid)(JNIEnv* env, jclass, jstring juser) try {
  const Chars user(env, juser);
  if (!user) return -1;
  unsigned int uid = 0;
  unsigned int primaryGid = 0;
  if (const int status = username_to_uidgid(user.get(), uid, primaryGid)) {
    handle_error(env, status, user.get());
    return -1;
  }
  return static_cast<jint>(uid);
} catch (...) {
  return atJavaEdge(env, -1);
}

ZORF_NATIVE(jint, getGid)(JNIEnv* env, jclass, jstring jgroup) try {
  const Chars group(env, jgroup);
  if (!group) return -1;
  unsigned int gid = 0;
  if (const int status = grpname_to_gid(group.get(), gid)) {
    handle_error(env, status, group.get());
    return -1;
  }
  return static_cast<jint>(gid);
} catch (...) {
  return atJavaEdge(env, -1);
}

ZORF_NATIVE(jlong, setFsUid__Ljava_lang_String_2)(JNIEnv* env, jclass, jstring juser) try {
  const Chars user(env, juser);
  if (!user) return 0;
  auto account = std::make_unique<FSAccount>(user.get());
  // With the logger's exception pending Java never sees the handle: the switch ends here.
  if (JavaLog::threw(env)) return 0;
  return reinterpret_cast<jlong>(account.release());
} catch (...) {
  return atJavaEdge(env, 0);
}

ZORF_NATIVE(void, setFsUid__J)(JNIEnv*, jclass, jlong handle) {
  const std::unique_ptr<FSAccount> account(reinterpret_cast<FSAccount*>(handle));
}

ZORF_NATIVE(jint, setUMask)(JNIEnv* env, jclass, jshort mask) try {
  ZORF_LOG(LOG_DEBUG, "set umask " << mask);
  umask(static_cast<mode_t>(mask));
  return 1;
} catch (...) {
  return atJavaEdge(env, 1);
}
