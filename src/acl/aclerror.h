// How the ACL layer fails: a warn line, then the native IOException with the same text.
#pragma once

#include <string>

// `function` is the name of the failed operation, for the line.
[[noreturn]] void throwLogged(const char* function, const std::string& message, int err);

// The same with the current errno, as a libacl call that just failed left it.
[[noreturn]] void throwErrno(const char* function, const std::string& message);

// Throws when libacl is not bound; to be called before the first use of its functions.
void requireLibacl();
