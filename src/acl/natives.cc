// The natives that read and change ACLs, as whatever identity the calling thread has.
#include <array>
#include <cerrno>
#include <cstdint>
#include <istream>
#include <memory_resource>
#include <optional>
#include <streambuf>
#include <vector>

#include "acl/exchange.h"
#include "base/ioexception.h"
#include "base/logger.h"
#include "base/scratch.h"
#include "jni/convert.h"
#include "jni/status.h"
#include "status/failedpath.h"
#include "zorf_native.h"

namespace {

// A stream buffer that reads memory in place.
class BytesBuf : public std::streambuf {
 public:
  BytesBuf(char* bytes, std::size_t size) { setg(bytes, bytes, bytes + size); }
};

// The ACLs of a specification that Java sent. False with an exception pending when there is none;
// throws as convert does.
bool readSpecification(JNIEnv* env, jbyteArray spec, ACLList& acls) {
  if (spec == nullptr) {
    refuseNull(env);
    return false;
  }
  const jsize size = env->GetArrayLength(spec);
  Scratch bytes(static_cast<std::size_t>(size));
  env->GetByteArrayRegion(spec, 0, size, reinterpret_cast<jbyte*>(bytes.data()));
  BytesBuf buffer(bytes.data(), static_cast<std::size_t>(size));
  std::istream in(&buffer);
  convert(in, acls);
  return true;
}

void changeEntries(JNIEnv* env, jstring jpath, jbyteArray spec, Change change) {
  const Chars path(env, jpath);
  ACLList acls;
  if (path && readSpecification(env, spec, acls)) changeAcls(path.get(), acls, change);
}

void removeDefault(const char* path, jboolean directory) {
  if (directory != JNI_FALSE) ACL(ACL_TYPE_DEFAULT).set_file(path, false);
}

}  // namespace

ZORF_NATIVE(jbyteArray, getAclStatus)
(JNIEnv* env, jclass, jstring jpath, jbyteArray rawStatus) try {
  const Chars path(env, jpath);
  if (!path) {
    handle_error(env, EINVAL, "failed to get path");
    return nullptr;
  }
  struct stat st = {};
  if (!statusOf(env, path.get(), rawStatus, Diagnosis::OF_LINK, st)) return nullptr;
  try {
    ACL access(path.get(), ACL_TYPE_ACCESS);
    std::optional<ACL> inherited;
    if (S_ISDIR(st.st_mode)) inherited.emplace(path.get(), ACL_TYPE_DEFAULT);
    std::array<std::uint32_t, 256> room;  // for some sixty entries; a longer report is heap memory
    std::pmr::monotonic_buffer_resource memory(room.data(), sizeof room);
    std::pmr::vector<std::uint32_t> report(&memory);
    report.reserve(room.size());
    convert(access, report);
    if (inherited) convert(*inherited, report);
    return convertChar2byteArray(env, static_cast<int>(report.size() * sizeof report[0]),
                                 reinterpret_cast<const char*>(report.data()));
  } catch (const IOException& e) {
    handle_error(env, e.errorNumber, e.what());
    getFailedPath(path.get(), false, st);
    return nullptr;
  }
} catch (...) {
  return atJavaEdge(env, nullptr);
}

ZORF_NATIVE(void, setAcl)(JNIEnv* env, jclass, jstring jpath, jbyteArray spec) try {
  const Chars path(env, jpath);
  ACLList acls;
  if (!path || !readSpecification(env, spec, acls)) return;
  for (const auto& acl : acls) {
    if (!acl->empty()) acl->set_file(path.get(), true);
  }
} catch (...) {
  atJavaEdge(env);
}

ZORF_NATIVE(void, modifyAclEntries)(JNIEnv* env, jclass, jstring jpath, jbyteArray spec) try {
  changeEntries(env, jpath, spec, Change::ADD);
} catch (...) {
  atJavaEdge(env);
}

ZORF_NATIVE(void, removeAclEntries)(JNIEnv* env, jclass, jstring jpath, jbyteArray spec) try {
  changeEntries(env, jpath, spec, Change::REMOVE);
} catch (...) {
  atJavaEdge(env);
}

ZORF_NATIVE(void, removeDefaultAcl)(JNIEnv* env, jclass, jstring jpath, jboolean directory) try {
  const Chars path(env, jpath);
  if (path) removeDefault(path.get(), directory);
} catch (...) {
  atJavaEdge(env);
}

// The default ACL goes even when the access ACL can't be cleared; Java then gets the first error.
ZORF_NATIVE(void, removeAcl)(JNIEnv* env, jclass, jstring jpath, jboolean directory) try {
  const Chars path(env, jpath);
  if (!path) return;
  try {
    ACL(path.get(), ACL_TYPE_ACCESS).clear();
  } catch (...) {
    atJavaEdge(env);
  }
  removeDefault(path.get(), directory);
} catch (...) {
  atJavaEdge(env);
}
