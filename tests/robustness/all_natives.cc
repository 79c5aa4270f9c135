#include "robustness/all_natives.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <utility>

#include "blocks/policy.h"
#include "blocks/query.h"
#include "support/java_values.h"
#include "zorf_native.h"

#define NATIVE(method) Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_##method

namespace {

template <class Local>
Local global(Local local) {
  auto made = static_cast<Local>(jniEnv()->NewGlobalRef(local));
  jniEnv()->DeleteLocalRef(local);
  return made;
}

jstring globalString(const std::string& text) {
  return global(javaString(text));
}

jbyteArray globalBytes(const std::string& bytes) {
  return global(javaBytes(bytes));
}

Returned number(jlong value) {
  return {Returned::NUMBER, value, nullptr};
}
Returned boolean(jboolean value) {
  return {Returned::BOOLEAN, value, nullptr};
}
Returned object(Returned::Kind kind, jobject value) {
  return {kind, 0, value};
}

std::string contentOfInts(JNIEnv* env, jintArray array) {
  std::string content;
  for (jsize i = 0; i < env->GetArrayLength(array); ++i) {
    jint value = 0;
    env->GetIntArrayRegion(array, i, 1, &value);
    content += std::to_string(value) + " ";
  }
  return content;
}

std::string contentOfMap(JNIEnv* env, jobject map, jsize& size) {
  jclass cls = env->FindClass("java/util/HashMap");
  size = env->CallIntMethod(map, env->GetMethodID(cls, "size", "()I"));
  std::string content;
  for (const char* key : {"user.a", "user.b", "system.posix_acl_access"}) {
    auto value = static_cast<jbyteArray>(env->CallObjectMethod(
        map, env->GetMethodID(cls, "get", "(Ljava/lang/Object;)Ljava/lang/Object;"),
        javaString(key)));
    if (value != nullptr) content += std::string(key) + "=" + bytesOf(value) + "\n";
  }
  return content;
}

void policy(GetBlkCmd command) {
  globalBlkCmd = command;
  defaultDFSBlockSize = 1 << 20;
}

// File systems list names in orders of their own, on which the number of a later call depends.
ssize_t listInOneOrder(const char* path, char* list, std::size_t size) {
  const ssize_t length = ::listxattr(path, list, size);
  if (size == 0 || length <= 0) return length;
  std::set<std::string, std::greater<>> names;
  for (const char* name = list; name < list + length; name += std::strlen(name) + 1) {
    names.insert(name);
  }
  for (const std::string& name : names) {
    std::memcpy(list, name.c_str(), name.size() + 1);
    list += name.size() + 1;
  }
  return length;
}

}  // namespace

AllNatives::AllNatives() {
  addIdentityNatives();
  addStatusNatives();
  addBlockNatives();
  addXattrNatives();
  addAclNatives();
}

void AllNatives::add(const char* native, const char* situation, const char* neutral,
                     std::function<Returned(JNIEnv*)> call, std::function<void()> prepare) {
  calls_.push_back({native, situation, std::move(call), std::move(prepare), neutral});
}

void AllNatives::addIdentityNatives() {
  const auto user = [this](const char* situation, jint uid) {
    add("getUser", situation, "null",
        [=](JNIEnv* env) { return object(Returned::TEXT, NATIVE(getUser)(env, nullptr, uid)); });
  };
  user("", 0);
  user("unknown uid", 987654321);
  const auto group = [this](const char* situation, jint gid) {
    add("getGroup", situation, "null",
        [=](JNIEnv* env) { return object(Returned::TEXT, NATIVE(getGroup)(env, nullptr, gid)); });
  };
  group("", 0);
  group("unknown gid", 987654321);
  jstring root = globalString("root");
  jstring unknown = globalString("zorf_nobody_knows_this_user");
  add("getUid", "", "-1", [=](JNIEnv* env) { return number(NATIVE(getUid)(env, nullptr, root)); });
  add("getUid", "unknown user", "-1",
      [=](JNIEnv* env) { return number(NATIVE(getUid)(env, nullptr, unknown)); });
  add("getGid", "", "-1", [=](JNIEnv* env) { return number(NATIVE(getGid)(env, nullptr, root)); });
  add("getGid", "unknown group", "-1",
      [=](JNIEnv* env) { return number(NATIVE(getGid)(env, nullptr, unknown)); });
  jstring nobody = globalString("nobody");
  for (const auto& [situation, name] :
       {std::pair{"", nobody}, std::pair{"unknown user", unknown}}) {
    add("setFsUid__Ljava_lang_String_2", situation, "0", [name = name](JNIEnv* env) {
      const jlong handle = NATIVE(setFsUid__Ljava_lang_String_2)(env, nullptr, name);
      return Returned{Returned::HANDLE, handle, nullptr};
    });
  }
  add(
      "setFsUid__J", "", "nothing",
      [this](JNIEnv* env) {
        NATIVE(setFsUid__J)(env, nullptr, handle_);
        return Returned();
      },
      [this, nobody] {
        handle_ = NATIVE(setFsUid__Ljava_lang_String_2)(jniEnv(), nullptr, nobody);
      });
  const mode_t mask = ::umask(022);
  ::umask(mask);
  add("setUMask", "", "1", [=](JNIEnv* env) {
    return number(NATIVE(setUMask)(env, nullptr, static_cast<jshort>(mask)));
  });
}

void AllNatives::addStatusNatives() {
  jstring file = globalString(files_.path("file"));
  jstring link = globalString(files_.path("link"));
  jstring missing = globalString(files_.path("missing/below/it"));
  jstring changed = globalString(files_.path("changedFile"));
  jstring mount = globalString("/zorf");
  jstring noMount = globalString("/no/mount/point");
  for (const auto& [situation, path] : {std::pair{"", link}, std::pair{"missing file", missing}}) {
    add("getFileStatusNative", situation, "null", [path = path](JNIEnv* env) {
      return object(Returned::BYTES, NATIVE(getFileStatusNative)(env, nullptr, path, JNI_TRUE));
    });
  }
  add("getFileStatusNative", "access denied", "null", [=](JNIEnv* env) {
    return object(Returned::BYTES, NATIVE(getFileStatusNative)(env, nullptr, file, JNI_TRUE));
  });
  calls_.back().arm = [](Hooks& hooks) {
    hooks.lstat = [first = true](const char* path, struct stat* st) mutable {
      if (!std::exchange(first, false)) return ::lstat(path, st);
      errno = EACCES;
      return -1;
    };
  };
  add("getFileStatusFormatNative", "", "null", [](JNIEnv* env) {
    return object(Returned::INTS, NATIVE(getFileStatusFormatNative)(env, nullptr));
  });
  for (const auto& [situation, path] : {std::pair{"", file}, std::pair{"missing file", missing}}) {
    add("getINum", situation, "-1", [path = path](JNIEnv* env) {
      return Returned{Returned::INODE, NATIVE(getINum)(env, nullptr, path), nullptr};
    });
  }
  add("getLinkTargetNative", "", "null", [=](JNIEnv* env) {
    return object(Returned::PATH, NATIVE(getLinkTargetNative)(env, nullptr, link, 256));
  });
  add("getLinkTargetNative", "more than 4 KiB of room", "null", [=](JNIEnv* env) {
    return object(Returned::PATH, NATIVE(getLinkTargetNative)(env, nullptr, link, 5000));
  });
  for (const auto& [situation, path] : {std::pair{"", link}, std::pair{"missing file", missing}}) {
    add("getFailedPathNative", situation, "null", [path = path](JNIEnv* env) {
      return object(Returned::PATH, NATIVE(getFailedPathNative)(env, nullptr, path, JNI_TRUE));
    });
  }
  for (const auto& [situation, path] :
       {std::pair{"", mount}, std::pair{"no mount point", noMount}}) {
    add("getFsName", situation, "null", [path = path](JNIEnv* env) {
      return object(Returned::TEXT, NATIVE(getFsName)(env, nullptr, path));
    });
  }
  add("setPermission", "", "false",
      [=](JNIEnv* env) { return boolean(NATIVE(setPermission)(env, nullptr, changed, 0750)); });
}

void AllNatives::addBlockNatives() {
  jstring file = globalString(files_.path("file"));
  jstring missing = globalString(files_.path("missing/below/it"));
  jbyteArray local = globalBytes("local");
  add("getBlkCmd", "", "-1",
      [=](JNIEnv* env) { return number(NATIVE(getBlkCmd)(env, nullptr, local, 0)); });
  constexpr std::pair<const char*, GetBlkCmd> policies[] = {
      {"", GET_BLK_LOCAL},
      {"shared", GET_BLK_SHARED},
      {"rackaware", GET_BLK_RACKAWARE},
      {"rackaware-sort", GET_BLK_RACKAWARE_SORT}};
  const auto locations = [this](const char* situation, jstring path, GetBlkCmd command) {
    add(
        "getBlockLocationsNative", situation, "null",
        [=](JNIEnv* env) {
          return object(Returned::BYTES,
                        NATIVE(getBlockLocationsNative)(env, nullptr, path, 0, 20000, nullptr));
        },
        [=] { policy(command); });
  };
  for (const auto& [situation, command] : policies) locations(situation, file, command);
  locations("missing file", missing, GET_BLK_LOCAL);
  add(
      "getBlockSizeNative", "", "-1",
      [=](JNIEnv* env) { return number(NATIVE(getBlockSizeNative)(env, nullptr, file, nullptr)); },
      [] { policy(GET_BLK_RACKAWARE); });
  add("setReplication", "", "false", [=](JNIEnv* env) {
    return boolean(NATIVE(setReplication)(env, nullptr, file, 2, JNI_TRUE));
  });
  add("setBGF", "", "false",
      [=](JNIEnv* env) { return boolean(NATIVE(setBGF)(env, nullptr, file, 4)); });
  const auto located = [this](const char* situation, jstring path, jboolean need,
                              jboolean follow = JNI_TRUE) {
    add(
        "getLocatedFileStatusNative", situation, "null",
        [=](JNIEnv* env) {
          return object(Returned::BYTES, NATIVE(getLocatedFileStatusNative)(
                                             env, nullptr, path, follow, need, JNI_TRUE));
        },
        [] { policy(GET_BLK_RACKAWARE_SORT); });
  };
  located("", file, JNI_TRUE);
  located("without locations", file, JNI_FALSE);
  located("missing file", missing, JNI_TRUE);
  located("a link not followed", globalString(files_.path("link")), JNI_TRUE, JNI_FALSE);
}

void AllNatives::addXattrNatives() {
  jstring file = globalString(files_.path("file"));
  jstring changed = globalString(files_.path("changedFile"));
  jstring missing = globalString(files_.path("missing/below/it"));
  jstring first = globalString("user.a");
  jstring made = globalString("user.zorf_made_by_the_test");
  jbyteArray value = globalBytes("a value that needs more room than a string object has");
  add("setExtendedAttribute", "", "0", [=](JNIEnv* env) {
    return number(NATIVE(setExtendedAttribute)(env, nullptr, changed, made, value, 0));
  });
  add("setExtendedAttribute", "exists already", "0", [=](JNIEnv* env) {
    return number(NATIVE(setExtendedAttribute)(env, nullptr, changed, first, value, 1));
  });
  add(
      "removeXAttr", "", "0",
      [=](JNIEnv* env) { return number(NATIVE(removeXAttr)(env, nullptr, changed, first)); },
      [this] { files_.restore(); });
  add("listXAttrs", "", "null", [=](JNIEnv* env) {
    return object(Returned::STRINGS, NATIVE(listXAttrs)(env, nullptr, file));
  });
  jobjectArray names =
      global(jniEnv()->NewObjectArray(2, jniEnv()->FindClass("java/lang/String"), first));
  jniEnv()->SetObjectArrayElement(names, 1, javaString("user.b"));
  add("getXAttrs", "", "null", [=](JNIEnv* env) {
    return object(Returned::MAP, NATIVE(getXAttrs)(env, nullptr, file, names));
  });
  add("getXAttrs", "missing file", "null", [=](JNIEnv* env) {
    return object(Returned::MAP, NATIVE(getXAttrs)(env, nullptr, missing, names));
  });
  add("dumpXAttrs", "", "null",
      [=](JNIEnv* env) { return object(Returned::MAP, NATIVE(dumpXAttrs)(env, nullptr, file)); });
}

void AllNatives::addAclNatives() {
  constexpr int ACCESS = 0x8000;
  constexpr int DEFAULT = 0x4000;
  jstring directory = globalString(files_.path("directory"));
  jstring missing = globalString(files_.path("missing/below/it"));
  jstring changed = globalString(files_.path("changed"));
  // In the access ACL, group and other are for the file to complete.
  jbyteArray wholly = globalBytes(words({6,                     //
                                         ACCESS,  1,  7,        //
                                         ACCESS,  2,  1002, 5,  //
                                         DEFAULT, 1,  7,        //
                                         DEFAULT, 8,  1003, 4,  //
                                         DEFAULT, 4,  5,        //
                                         DEFAULT, 32, 0}));
  jbyteArray changes = globalBytes(words({2, ACCESS, 2, 1002, 6, DEFAULT, 2, 1001, 7}));
  jbyteArray removals = globalBytes(words({2, ACCESS, 2, 1001, 0, DEFAULT, 2, 1001, 0}));
  jbyteArray unknownTag = globalBytes(words({1, ACCESS, 3, 7}));
  jbyteArray twice = globalBytes(words({2, ACCESS, 1, 7, ACCESS, 1, 7}));
  for (const auto& [situation, path] :
       {std::pair{"", directory}, std::pair{"missing file", missing}}) {
    add("getAclStatus", situation, "null", [path = path](JNIEnv* env) {
      return object(Returned::BYTES, NATIVE(getAclStatus)(env, nullptr, path, nullptr));
    });
  }
  const auto restore = [this] { files_.restore(); };
  using Change = void (*)(JNIEnv*, jclass, jstring, jbyteArray);
  const auto change = [&](const char* native, const char* situation, Change function, jstring path,
                          jbyteArray specification) {
    add(
        native, situation, "nothing",
        [=](JNIEnv* env) {
          function(env, nullptr, path, specification);
          return Returned();
        },
        restore);
  };
  change("setAcl", "", NATIVE(setAcl), changed, wholly);
  change("setAcl", "missing file", NATIVE(setAcl), missing, wholly);
  change("setAcl", "unknown tag", NATIVE(setAcl), changed, unknownTag);
  change("setAcl", "an entry twice", NATIVE(setAcl), changed, twice);
  change("modifyAclEntries", "", NATIVE(modifyAclEntries), changed, changes);
  change("modifyAclEntries", "missing file", NATIVE(modifyAclEntries), missing, changes);
  change("removeAclEntries", "", NATIVE(removeAclEntries), changed, removals);
  change("removeAclEntries", "missing file", NATIVE(removeAclEntries), missing, removals);
  using Remove = void (*)(JNIEnv*, jclass, jstring, jboolean);
  const auto remove = [&](const char* native, const char* situation, Remove function,
                          jstring path) {
    add(
        native, situation, "nothing",
        [=](JNIEnv* env) {
          function(env, nullptr, path, JNI_TRUE);
          return Returned();
        },
        restore);
  };
  remove("removeDefaultAcl", "", NATIVE(removeDefaultAcl), changed);
  remove("removeDefaultAcl", "missing file", NATIVE(removeDefaultAcl), missing);
  remove("removeAcl", "", NATIVE(removeAcl), changed);
  remove("removeAcl", "missing file", NATIVE(removeAcl), missing);
}

void AllNatives::settle(const Returned& returned, Outcome& outcome) const {
  JNIEnv* env = jniEnv();
  jobject value = returned.object;
  const bool isObject = returned.kind >= Returned::TEXT;
  if (isObject && value == nullptr) {
    outcome.text = "null";
    return;
  }
  switch (returned.kind) {
    case Returned::NOTHING:
      outcome.text = "nothing";
      break;
    case Returned::NUMBER:
      outcome.text = std::to_string(returned.number);
      break;
    case Returned::INODE:
      outcome.content = std::to_string(returned.number);
      outcome.text = returned.number <= 0 ? outcome.content : "the inode number";
      break;
    case Returned::BOOLEAN:
      outcome.text = returned.number != 0 ? "true" : "false";
      break;
    case Returned::HANDLE:
      outcome.text = returned.number != 0 ? "a handle" : "0";
      NATIVE(setFsUid__J)(env, nullptr, returned.number);
      break;
    case Returned::TEXT:
      outcome.text = "\"" + stringOf(static_cast<jstring>(value)) + "\"";
      break;
    case Returned::PATH:
      outcome.text = "\"" + anonymous(bytesOf(static_cast<jbyteArray>(value))) + "\"";
      break;
    case Returned::BYTES:
      outcome.content = bytesOf(static_cast<jbyteArray>(value));
      outcome.text = std::to_string(outcome.content.size()) + " bytes";
      break;
    case Returned::INTS:
      outcome.content = contentOfInts(env, static_cast<jintArray>(value));
      outcome.text = "18 numbers";
      break;
    case Returned::STRINGS:
      outcome.text =
          "array of " + std::to_string(env->GetArrayLength(static_cast<jobjectArray>(value)));
      break;
    case Returned::MAP: {
      jsize size = 0;
      outcome.content = contentOfMap(env, value, size);
      outcome.text = "map of " + std::to_string(size);
      break;
    }
  }
}

Attempt AllNatives::attempt(const NativeCall& call, const std::function<void(Hooks&)>& inject,
                            const std::function<void(Hooks&)>& after) {
  JNIEnv* env = jniEnv();
  env->PushLocalFrame(64);
  const Footprint before = Footprint::take(files_.root());
  const long aclObjects = acl_.objects();
  if (call.prepare) call.prepare();
  takeLog();
  jni_.takeMisuse();

  Attempt result;
  Returned returned;
  {
    Hooks hooks;
    hooks.setmntent = [table = files_.path("mtab")](const char*, const char* mode) {
      return ::setmntent(table.c_str(), mode);
    };
    hooks.listxattr = listInOneOrder;
    if (call.arm) call.arm(hooks);
    if (inject) inject(hooks);
    const long kept = hooks.allocations();
    returned = call.call(env);
    result.kept = hooks.allocations() - kept;
    if (after) after(hooks);
  }
  for (const std::string& function : jni_.takeMisuse()) {
    result.damage += function + " called with an exception pending; ";
  }
  result.outcome.error = takeJavaError();
  if (result.outcome.error) {
    result.outcome.error->message = anonymous(result.outcome.error->message);
  }
  letLoggerThrow("");
  result.log = takeLog();
  for (std::string& line : result.log) line = anonymous(line);
  settle(returned, result.outcome);

  Footprint now = Footprint::take(files_.root());
  if (call.native.starts_with("setFsUid")) {
    // The groups of a switch stay, as callers know it.
    syscall(SYS_setgroups, before.groups.size(), before.groups.data());
    now.groups = before.groups;
  }
  result.damage += now.changesSince(before);
  if (acl_.objects() != aclObjects) {
    result.damage += std::to_string(acl_.objects() - aclObjects) + " libacl objects left; ";
  }
  env->PopLocalFrame(nullptr);
  return result;
}

std::string AllNatives::anonymous(std::string text) const {
  const std::string& root = files_.root();
  for (auto at = text.find(root); at != text.npos; at = text.find(root, at)) {
    text.replace(at, root.size(), "/dir");
  }
  return text;
}
