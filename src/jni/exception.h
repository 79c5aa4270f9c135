// How failures reach Java: as one pending exception.
#pragma once

#include <jni.h>

#include <string>

// Raises the Java exception for the errno value `err` and logs it at debug:
//   EPERM, EACCES -> java.nio.file.AccessDeniedException, ENOENT -> NoSuchFileException,
//   ENOMEM -> RuntimeException, all else (0 too) -> java.io.IOException,
// with the message "<system text>: <msg>". An exception that is pending already stays, and this one
// is only logged. A class missing from the cache gives java.lang.InternalError with the same
// message.
void handle_error(JNIEnv* env, int err, std::string msg) noexcept;
