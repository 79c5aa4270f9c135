// Java values in and out of the tests. All work on the calling thread's environment.
#pragma once

#include <jni.h>

#include <string>
#include <string_view>

// From modified UTF-8.
jstring javaString(std::string_view text);
std::string stringOf(jstring s);
// Another spelling of an absolute path, so long that the library has the virtual machine copy it.
std::string longSpelling(const std::string& path);

jbyteArray javaBytes(std::string_view bytes);
std::string bytesOf(jbyteArray array);
