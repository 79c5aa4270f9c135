// What the tests of extended attributes share: a scratch file, raw access to its attributes, the
// natives called with C++ values, and an operating system that reports any set of attributes.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/interpose.h"
#include "support/jvm.h"
#include "support/scripted_client.h"

#define NATIVE(method) "@Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_" method ":# "

using Attributes = std::map<std::string, std::string>;
using Lines = std::vector<std::string>;

// A file without attributes in a directory of its own, removed afterwards. No test may leave a
// descriptor open or the thread with another identity.
class XattrTest : public JvmTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Creates an empty file in the test's directory.
  std::string newFile(const std::string& name) const;
  // A symbolic link to the file.
  std::string newLink() const;

  std::string directory;
  std::string path;
  std::string base = std::filesystem::temp_directory_path();  // may be set before SetUp

 private:
  ThreadIdentity identity_;
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

// While it lives, JNI functions of this thread may be replaced, and the UTF characters that are out
// are counted; the tests' own too.
class PatchedJni {
 public:
  PatchedJni();
  ~PatchedJni();
  PatchedJni(const PatchedJni&) = delete;
  PatchedJni& operator=(const PatchedJni&) = delete;

  int taken() const;
  int released() const;
  // The `nth` GetStringUTFChars from now on yields null, nothing pending.
  void failCharacters(int nth);

  JNINativeInterface_ functions;
  // The replaced ones, for replacements that pass calls on.
  const JNINativeInterface_* original() const { return original_; }

 private:
  // The virtual machine finds the thread by the address of its JNIEnv, so that one is changed.
  JNIEnv* env_;
  const JNINativeInterface_* original_;
};
