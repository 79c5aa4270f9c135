// What the tests of extended attributes share: a scratch file, raw access to its attributes, and an
// operating system that reports any set of attributes.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/files.h"
#include "support/interpose.h"

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
