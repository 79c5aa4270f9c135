// Block locations of large files: the rows of them, and the memory that they take.
#pragma once

#include <jni.h>

#include <array>
#include <cstdint>

class DataSet;

struct FileSize {
  const char* name;
  std::uint64_t bytes;
};
inline constexpr std::array<FileSize, 4> fileSizes = {
    {{"1GiB", 1ULL << 30}, {"64GiB", 1ULL << 36}, {"1TiB", 1ULL << 40}, {"16TiB", 1ULL << 44}}};

// "local/1TiB/native" and so on for every policy and size. Beside it "values", a native that only
// makes a result of that size; "client", the client library's own share; and "plain", the same
// result made the plain way.
void addBlockRows(const DataSet& data, jclass nativeLoops, jclass emptyLoops);

// In a process of its own that compiles nothing: prints the bytes of a local stream of 1 TiB, and
// by how many bytes the resident memory of the process, without the Java heap, grew at its highest
// to make it.
void printPeak();
