#include "blockrows.h"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <iostream>
#include <string>

#include "base/logger.h"
#include "blocks/location.h"
#include "blocks/policy.h"
#include "client/bench_client.h"
#include "crossing.h"
#include "dataset.h"
#include "java.h"
#include "loop.h"
#include "plain.h"

namespace {

constexpr std::array<const char*, 4> policies = {"local", "shared", "rackaware", "rackaware-sort"};
constexpr std::uint64_t HDFS_BLOCK = BENCH_FS_BLOCK * BENCH_GROUP_FACTOR;

std::uint64_t unitOf(int policy) {
  return policy == GET_BLK_LOCAL ? BENCH_FS_BLOCK : HDFS_BLOCK;
}

std::uint64_t streamBytes(int policy, const FileSize& size) {
  if (policy == GET_BLK_SHARED) return sizeof(location);
  return sizeof(location) + size.bytes / unitOf(policy) * 8 * BENCH_REPLICAS;
}

// The method `blocks` or `plainBlocks` of a class of loops.
Loop blocksLoop(jclass cls, const char* name, int policy, int size) {
  jmethodID method = javaEnv()->GetStaticMethodID(cls, name, "(III)V");
  requireNoException(javaEnv(), name);
  return {[=](int calls, int) {
            crossing = Crossing::VALUES;
            JNIEnv* env = javaEnv();
            env->CallStaticVoidMethod(cls, method, jint{calls}, jint{policy}, jint{size});
            requireNoException(env, "blocks");
          },
          true};
}

// A figure in kB out of /proc/self/status.
std::uint64_t ownMemory(const std::string& key) {
  std::ifstream in("/proc/self/status");
  for (std::string line; std::getline(in, line);) {
    if (line.compare(0, key.size() + 1, key + ":") == 0) {
      return std::stoull(line.substr(key.size() + 1)) * 1024;
    }
  }
  return 0;
}

}  // namespace

void addBlockRows(const DataSet& data, jclass nativeLoops, jclass emptyLoops) {
  const int fd = open(data.file(0).c_str(), O_RDONLY | O_CLOEXEC);
  for (int s = 0; s < static_cast<int>(fileSizes.size()); ++s) {
    const FileSize& size = fileSizes[static_cast<std::size_t>(s)];
    for (int policy = 0; policy < static_cast<int>(policies.size()); ++policy) {
      setBlocksResult(policy, s, streamBytes(policy, size));
      const std::string name =
          std::string(policies[static_cast<std::size_t>(policy)]) + "/" + size.name;
      addRow(name + "/native", blocksLoop(nativeLoops, "blocks", policy, s));
      addRow(name + "/values", blocksLoop(emptyLoops, "blocks", policy, s));
      if (policy == GET_BLK_SHARED) continue;
      const std::uint64_t skip = policy == GET_BLK_LOCAL       ? 0
                                 : policy == GET_BLK_RACKAWARE ? HDFS_BLOCK
                                                               : BENCH_FS_BLOCK;
      addRow(name + "/client", cppLoop([=, st = data.statusOfSize(size.bytes)](int calls, int) {
               for (int i = 0; i < calls; ++i) clientOnly(fd, st, skip);
             }));
      if (policy == GET_BLK_RACKAWARE) continue;
      addRow(name + "/plain", blocksLoop(emptyLoops, "plainBlocks", policy, s));
    }
  }
}

void printPeak() {
  jclass natives = benchClass("NativeLoops");
  constexpr int small = 0;
  constexpr int tebibyte = 2;
  blocksLoop(natives, "blocks", GET_BLK_LOCAL, small).run(2, 0);
  std::ofstream("/proc/self/clear_refs") << "5";
  const std::uint64_t before = ownMemory("VmRSS");
  blocksLoop(natives, "blocks", GET_BLK_LOCAL, tebibyte).run(1, 0);
  const std::uint64_t grown = ownMemory("VmHWM") - before;
  std::cout << streamBytes(GET_BLK_LOCAL, fileSizes[tebibyte]) << " " << grown << "\n";
}
