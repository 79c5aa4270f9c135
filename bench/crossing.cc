#include "crossing.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "bare.h"
#include "blocks/policy.h"
#include "client/bench_client.h"
#include "java.h"
#include "plain.h"

Crossing crossing = Crossing::VALUES;

namespace {

std::array<std::array<std::uint64_t, 4>, 4> blocksResult = {};
std::vector<jbyte> zeros(4096);
jclass hashMapClass = nullptr;
jmethodID newHashMap = nullptr;
jmethodID putIntoHashMap = nullptr;

// The cheapest way to the characters of a short string: no memory is asked for.
class Chars {
 public:
  Chars(JNIEnv* env, jstring text) {
    const jsize length = env->GetStringLength(text);
    if (static_cast<std::size_t>(length) >= chars_.size() / 3) std::abort();
    env->GetStringUTFRegion(text, 0, length, chars_.data());  // HotSpot ends it with a zero
  }
  Chars(const Chars&) = delete;
  Chars& operator=(const Chars&) = delete;
  operator const char*() const { return chars_.data(); }

 private:
  std::array<char, 4096> chars_;
};

void take(JNIEnv* env, jstring text) {
  const Chars chars(env, text);
}

void take(JNIEnv* env, jbyteArray bytes) {
  std::array<jbyte, 256> copy;
  const jsize length = env->GetArrayLength(bytes);
  env->GetByteArrayRegion(bytes, 0, std::min<jsize>(length, copy.size()), copy.data());
}

void take(JNIEnv* env, jobjectArray names) {
  const jsize length = env->GetArrayLength(names);
  for (jsize i = 0; i < length; ++i) {
    auto name = static_cast<jstring>(env->GetObjectArrayElement(names, i));
    take(env, name);
    env->DeleteLocalRef(name);
  }
}

jbyteArray bytes(JNIEnv* env, std::size_t count, const void* from = nullptr) {
  const auto length = static_cast<jsize>(count);
  jbyteArray array = env->NewByteArray(length);
  if (array == nullptr) return nullptr;
  env->SetByteArrayRegion(array, 0, length,
                          from == nullptr ? zeros.data() : static_cast<const jbyte*>(from));
  return array;
}

// A map of `count` attributes of 32 bytes.
jobject mapOf(JNIEnv* env, int count) {
  static constexpr std::array<const char*, 20> names = {
      "user.attr00", "user.attr01", "user.attr02", "user.attr03", "user.attr04",
      "user.attr05", "user.attr06", "user.attr07", "user.attr08", "user.attr09",
      "user.attr10", "user.attr11", "user.attr12", "user.attr13", "user.attr14",
      "user.attr15", "user.attr16", "user.attr17", "user.attr18", "user.attr19"};
  jobject map = env->NewObject(hashMapClass, newHashMap);
  for (int i = 0; i < count; ++i) {
    jstring key = env->NewStringUTF(names[static_cast<std::size_t>(i)]);
    jbyteArray value = bytes(env, 32);
    jobject before = env->CallObjectMethod(map, putIntoHashMap, key, value);
    env->DeleteLocalRef(before);
    env->DeleteLocalRef(value);
    env->DeleteLocalRef(key);
  }
  return map;
}

jlong JNICALL inode(JNIEnv* env, jclass, jstring path) {
  if (crossing == Crossing::FLOOR) {
    struct stat st;
    stat(Chars(env, path), &st);
    return static_cast<jlong>(st.st_ino);
  }
  take(env, path);
  return 1;
}
jbyteArray JNICALL status(JNIEnv* env, jclass, jstring path, jboolean) {
  if (crossing == Crossing::FLOOR) {
    struct stat st;
    lstat(Chars(env, path), &st);
    return bytes(env, sizeof st, &st);
  }
  take(env, path);
  return bytes(env, 144);
}
jbyteArray JNICALL target(JNIEnv* env, jclass, jstring path, jint) {
  if (crossing == Crossing::FLOOR) {
    char text[4096];
    const auto length = readlink(Chars(env, path), text, sizeof text);
    return bytes(env, static_cast<std::size_t>(length), text);
  }
  take(env, path);
  return bytes(env, 30);
}
jboolean JNICALL permission(JNIEnv* env, jclass, jstring path, jshort) {
  if (crossing == Crossing::FLOOR) {
    return chmod(Chars(env, path), 0640) == 0 ? JNI_TRUE : JNI_FALSE;
  }
  take(env, path);
  return JNI_TRUE;
}
jbyteArray JNICALL blocks(JNIEnv* env, jclass, jstring path, jlong, jlong, jbyteArray record,
                          jint policyIndex, jint size) {
  take(env, path);
  take(env, record);
  return bytes(env,
               blocksResult[static_cast<std::size_t>(policyIndex)][static_cast<std::size_t>(size)]);
}
// getBlockLocationsNative, the plain way.
jbyteArray JNICALL plainBlocks(JNIEnv* env, jclass, jstring jpath, jbyteArray record,
                               jint policyIndex) {
  const Chars path(env, jpath);
  struct stat st;
  env->GetByteArrayRegion(record, 0, sizeof st, reinterpret_cast<jbyte*>(&st));
  const OpenAsRoot file(path);
  const std::string stream = policyIndex == GET_BLK_LOCAL
                                 ? plainLocal(file.fd(), st)
                                 : plainSort(file.fd(), st, BENCH_FS_BLOCK * BENCH_GROUP_FACTOR);
  return bytes(env, stream.size(), stream.data());
}
jobject JNICALL oneAttribute(JNIEnv* env, jclass, jstring path, jobjectArray names) {
  if (crossing == Crossing::FLOOR) {
    const Chars file(env, path);
    auto name = static_cast<jstring>(env->GetObjectArrayElement(names, 0));
    getAttribute(file, Chars(env, name));
    env->DeleteLocalRef(name);
    return mapOf(env, 1);
  }
  take(env, path);
  take(env, names);
  return mapOf(env, 1);
}
jobject JNICALL allAttributes(JNIEnv* env, jclass, jstring path) {
  if (crossing == Crossing::FLOOR) {
    dumpAttributes(Chars(env, path));
    return mapOf(env, 20);
  }
  take(env, path);
  return mapOf(env, 20);
}
jbyteArray JNICALL aclStatus(JNIEnv* env, jclass, jstring path, jbyteArray record) {
  if (crossing == Crossing::FLOOR) {
    take(env, record);
    reportAcl(Chars(env, path));
    return bytes(env, 7 * 12 + 3 * 4);
  }
  take(env, path);
  take(env, record);
  return bytes(env, 7 * 12 + 3 * 4);
}

template <class Function>
JNINativeMethod method(const char* name, const char* signature, Function function) {
  return {const_cast<char*>(name), const_cast<char*>(signature), reinterpret_cast<void*>(function)};
}

}  // namespace

void setBlocksResult(int policyIndex, int size, std::uint64_t count) {
  blocksResult[static_cast<std::size_t>(policyIndex)][static_cast<std::size_t>(size)] = count;
  if (count > zeros.size()) zeros.resize(count);
}

void registerCrossings(JNIEnv* env, jclass emptyLoops) {
  hashMapClass = static_cast<jclass>(env->NewGlobalRef(env->FindClass("java/util/HashMap")));
  newHashMap = env->GetMethodID(hashMapClass, "<init>", "()V");
  putIntoHashMap = env->GetMethodID(hashMapClass, "put",
                                    "(Ljava/lang/Object;Ljava/lang/Object;)Ljava/lang/Object;");
  const JNINativeMethod methods[] = {
      method("getFileStatusNative", "(Ljava/lang/String;Z)[B", status),
      method("getINum", "(Ljava/lang/String;)J", inode),
      method("getLinkTargetNative", "(Ljava/lang/String;I)[B", target),
      method("setPermission", "(Ljava/lang/String;S)Z", permission),
      method("blocksOfSize", "(Ljava/lang/String;JJ[BII)[B", blocks),
      method("plainBlocks", "(Ljava/lang/String;[BI)[B", plainBlocks),
      method("getXAttrs", "(Ljava/lang/String;[Ljava/lang/String;)Ljava/util/HashMap;",
             oneAttribute),
      method("dumpXAttrs", "(Ljava/lang/String;)Ljava/util/HashMap;", allAttributes),
      method("getAclStatus", "(Ljava/lang/String;[B)[B", aclStatus),
  };
  env->RegisterNatives(emptyLoops, methods, std::size(methods));
  requireNoException(env, "registering the empty natives");
}
