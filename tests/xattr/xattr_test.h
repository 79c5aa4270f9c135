// The natives of extended attributes called with C++ values.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/xattr/xattr_fixture.h"
#include "support/jvm.h"
#include "support/patched_jni.h"

#define NATIVE(method) "@Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_" method ":# "

using XattrInJvm = InJvm<XattrTest>;

// The five natives.
jint setExtendedAttribute(const std::string& path, const std::string& name,
                          const std::optional<std::string>& value, jshort flags = 0);
jint removeXAttr(const std::string& path, const std::string& name);
jobjectArray listXAttrs(const std::string& path);
jobject getXAttrs(const std::string& path, const std::vector<std::string>& names);
jobject dumpXAttrs(const std::string& path);

// Java values in C++ form. A null name is nullopt.
jobjectArray javaNames(const std::vector<std::string>& names);
std::vector<std::optional<std::string>> namesOf(jobjectArray names);
Attributes attributesOf(jobject hashMap);

// Counts besides the UTF characters that are out; the tests' own too.
class CountingJni : public PatchedJni {
 public:
  CountingJni();

  int taken() const;
  int released() const;
  // The `nth` GetStringUTFChars from now on yields null, nothing pending.
  void failCharacters(int nth);
};
