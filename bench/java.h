// The in-process JVM, and Java loops called from C++.
#pragma once

#include <jni.h>

#include <string>
#include <vector>

// Makes the JVM from the JDK that JAVA_HOME names, or the one the build chose. `options` follow the
// program's own.
void createVm(const std::vector<std::string>& options);

// The calling thread's environment; attaches the thread as a daemon if need be. A thread that is
// not main's must detach().
JNIEnv* javaEnv();
void detachJava();

// Ends the program with the Java exception printed, if one is pending.
void requireNoException(JNIEnv* env, const std::string& doing);

// A class of the benchmark's (global reference).
jclass benchClass(const std::string& name);

// The rows of a class of the benchmark's (global reference), and their names.
jobject rowsOf(jclass cls);
std::vector<std::string> namesOf(jobject rows);

jstring javaText(const std::string& text);
jbyteArray javaBytes(const void* bytes, std::size_t size);

// "17.0.2 (vendor)": the running JVM.
std::string javaVersion();
