// What the tests of extended attributes share: a scratch file, raw access to its attributes, the
// natives called with C++ values, and an operating system that reports any set of attributes.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/files.h"
#include "support/interpose.h"
#include "support/patched_jni.h"

#define NATIVE(method) "@Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_" method ":# "

using Attributes = std::map<std::string, std::string>;
using Lines = std::vector<std::string>;

// A file without attributes.
class XattrTest : public FilesTest {
 protected:
  void SetUp() override;

  std::string path;
};

// Attributes of a file by the system calls themselves. put asserts that it worked.
void put(const std::string& path, const std::string& name, std::string_view value);
std::optional<std::string> valueOf(const std::string& path, const std::string& name);

// While `hooks` lives, every file has exactly `attributes` for this thread. They are listed in the
// order of the map.
void serve(Hooks& hooks, const Attributes& attributes);

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
