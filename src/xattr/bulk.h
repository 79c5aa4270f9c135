// Several attributes of one file in one buffer of records, back to back:
//
//   name, 0 | value length, 4 bytes unsigned, native order, not aligned | value, 0
//
// in ascending order of name (bytewise), each name once. The buffer is allocated with array new and
// is the caller's to free; its length never exceeds INT_MAX.
#pragma once

#include <list>
#include <string>

// Bytes of a record beside its name and its value.
constexpr int ZORF_XATTR_RECORD_EXTRA = 6;

// Reads the attributes in `names`; a name that is repeated counts once, with the value read last.
// Returns 0, or the errno of the first one that can't be read or ENOMEM when the records don't fit
// into a buffer. Without a record, and on failure, *buffer is null and *length 0.
int zorf_getxattrs(const char* path, std::list<std::string>& names, char** buffer, int* length);

// The same for every attribute that the file has and the caller may list.
int zorf_dumpxattrs(const char* path, char** buffer, int* length);
