// The ACL natives, called with Java values.
#pragma once

#include <sys/stat.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "core/acl/acl_fixture.h"
#include "support/java_values.h"
#include "support/jvm.h"
#include "zorf_native.h"

#define NATIVE(method) Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_##method

class AclNatives : public InJvm<AclTest> {
 protected:
  static std::string rawStatus(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(stat(path.c_str(), &st), 0) << path;
    std::string bytes(sizeof st, '\0');
    std::memcpy(bytes.data(), &st, sizeof st);
    return bytes;
  }
  // The report, or nothing and a Java exception pending.
  std::optional<std::string> status(const std::string& path, const std::string& raw) {
    jbyteArray report = NATIVE(getAclStatus)(env, nullptr, javaString(path), javaBytes(raw));
    if (report == nullptr) return std::nullopt;
    std::string bytes = bytesOf(report);
    env->DeleteLocalRef(report);
    return bytes;
  }
  using SpecNative = decltype(&NATIVE(setAcl));
  static constexpr SpecNative kSpecNatives[] = {NATIVE(setAcl), NATIVE(modifyAclEntries),
                                                NATIVE(removeAclEntries)};

  void call(SpecNative native, const std::string& path, const std::string& spec) {
    jstring javaPath = javaString(path);
    jbyteArray javaSpec = javaBytes(spec);
    native(env, nullptr, javaPath, javaSpec);
    env->DeleteLocalRef(javaPath);
    env->DeleteLocalRef(javaSpec);
  }
  void set(const std::string& path, const std::vector<AclRecord>& records) {
    call(NATIVE(setAcl), path, specOf(records));
  }
  void modify(const std::string& path, const std::vector<AclRecord>& records) {
    call(NATIVE(modifyAclEntries), path, specOf(records));
  }
  void remove(const std::string& path, const std::vector<AclRecord>& records) {
    call(NATIVE(removeAclEntries), path, specOf(records));
  }
  void expectNoError() { EXPECT_EQ(takeJavaError(), std::nullopt); }
  void expectError(int number, const std::string& message) {
    EXPECT_EQ(takeJavaError(), errorFor(number, message));
  }
};
