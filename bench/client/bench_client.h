// A client library that answers from memory, so that what is measured beside it is the caller.
#pragma once

#include <cstdint>

constexpr std::uint64_t BENCH_FS_BLOCK = 4ULL << 20;
constexpr std::int32_t BENCH_GROUP_FACTOR = 32;  // of every file: HDFS blocks of 128 MiB
constexpr std::int32_t BENCH_REPLICAS = 3;
