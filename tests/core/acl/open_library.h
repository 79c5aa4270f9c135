// A shared library to look into.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

// A library opened by its file, for as long as a test looks into it.
class OpenLibrary {
 public:
  explicit OpenLibrary(const std::string& file) : handle_(dlopen(file.c_str(), RTLD_LAZY)) {
    EXPECT_NE(handle_, nullptr) << dlerror();
  }
  ~OpenLibrary() { dlclose(handle_); }
  OpenLibrary(const OpenLibrary&) = delete;
  OpenLibrary& operator=(const OpenLibrary&) = delete;

  void* handle() const { return handle_; }

 private:
  void* handle_;
};
