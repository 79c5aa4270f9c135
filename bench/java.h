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

// Names of the static methods (int calls, int thread) of a class.
std::vector<std::string> loopsOf(jclass cls);

jstring javaText(const std::string& text);
jbyteArray javaBytes(const void* bytes, std::size_t size);

// "17.0.2 (vendor)": the running JVM.
std::string javaVersion();
