#include "blockrows.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "blocks/policy.h"
#include "blocks/racksort.h"
#include "client/bench_client.h"
#include "crossing.h"
#include "dataset.h"
#include "java.h"
#include "jni/logger.h"
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

// NativeLoops.blocks or EmptyLoops.blocks.
Loop blocksLoop(jclass cls, int policy, int size, bool takeArguments) {
  jmethodID method = javaEnv()->GetStaticMethodID(cls, "blocks", "(III)V");
  requireNoException(javaEnv(), "blocks");
  return {[=](int calls, int) {
            crossingTakesArguments = takeArguments;
            JNIEnv* env = javaEnv();
            env->CallStaticVoidMethod(cls, method, jint{calls}, jint{policy}, jint{size});
            requireNoException(env, "blocks");
          },
          true};
}

// What all C++ rows of one size share.
struct Case {
  struct stat st;
  std::uint64_t bytes;
  std::vector<char> javaArray;  // stands for the result that the virtual machine makes
  int fd;

  location request() const { return {.length = bytes, .blocksize = 0}; }
  void deliver(std::string_view stream) {
    std::memcpy(javaArray.data(), stream.data(), stream.size());
    benchmark::DoNotOptimize(javaArray.data());
  }
};

template <class Once>
Loop caseLoop(const std::shared_ptr<Case>& shared, Once once) {
  return {[shared, once](int calls, int) {
    for (int i = 0; i < calls; ++i) once(*shared);
  }};
}

void addCppRows(const DataSet& data, int fd, const FileSize& size) {
  auto shared = std::make_shared<Case>(Case{data.statusOfSize(size.bytes), size.bytes, {}, fd});
  shared->javaArray.resize(streamBytes(GET_BLK_LOCAL, size));
  const std::string name = size.name;
  addRow("c++local/" + name + "/client",
         caseLoop(shared, [](Case& c) { clientOnly(c.fd, c.st, 0); }));
  addRow("c++local/" + name + "/ours", caseLoop(shared, [](Case& c) {
           std::ostringstream out;
           location loc = c.request();
           getBlkLocationInt(c.fd, GET_BLK_LOCAL, c.st, loc, out);
           c.deliver(out.view());
         }));
  addRow("c++local/" + name + "/plain", caseLoop(shared, [](Case& c) {
           location loc = c.request();
           c.deliver(plainLocal(c.fd, c.st, loc));
         }));
  addRow("c++sort/" + name + "/client",
         caseLoop(shared, [](Case& c) { clientOnly(c.fd, c.st, BENCH_FS_BLOCK); }));
  const auto sortRow = [&](const char* how, auto sort) {
    addRow("c++sort/" + name + "/" + how, caseLoop(shared, [sort](Case& c) {
             std::ostringstream out;
             location loc = c.request();
             loc.blocksize = HDFS_BLOCK;
             sort(c.fd, c.st, loc, out);
             c.deliver(out.view());
           }));
  };
  sortRow("ours", getBlkLocation_sort);
  sortRow("plain", plainSort);
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
      addRow(name + "/native", blocksLoop(nativeLoops, policy, s, false));
      addRow(name + "/values", blocksLoop(emptyLoops, policy, s, true));
      if (policy == GET_BLK_SHARED) continue;
      const std::uint64_t skip = policy == GET_BLK_LOCAL       ? 0
                                 : policy == GET_BLK_RACKAWARE ? HDFS_BLOCK
                                                               : BENCH_FS_BLOCK;
      addRow(name + "/client", cppLoop([=, st = data.statusOfSize(size.bytes)](int calls, int) {
               for (int i = 0; i < calls; ++i) clientOnly(fd, st, skip);
             }));
    }
    addCppRows(data, fd, size);
  }
}

int printPeak(int policy, int s) {
  const DataSet data(dataParent());
  // Nothing but the call may touch new memory: all of the heap at once, no compiler.
  createVm({"-XX:+AlwaysPreTouch", "-Xint"});
  JNIEnv* env = javaEnv();
  jclass cls = benchClass("Data");
  env->CallStaticVoidMethod(
      cls,
      env->GetStaticMethodID(cls, "init",
                             "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;II)V"),
      javaText(data.directory()), javaText("root"), javaText("root"), jint{0}, jint{0});
  jmethodID setBig = env->GetStaticMethodID(cls, "setBig", "(I[B)V");
  const FileSize& size = fileSizes[static_cast<std::size_t>(s)];
  for (const int index : {0, s}) {
    const struct stat st = data.statusOfSize(fileSizes[static_cast<std::size_t>(index)].bytes);
    env->CallStaticVoidMethod(cls, setBig, jint{index}, javaBytes(&st, sizeof st));
  }
  jclass natives = nativeLoopsAtLevel(LOG_OFF, data.directory());
  blocksLoop(natives, policy, 0, false).run(2, 0);
  std::ofstream("/proc/self/clear_refs") << "5";
  const std::uint64_t before = ownMemory("VmRSS");
  blocksLoop(natives, policy, s, false).run(1, 0);
  const std::uint64_t grown = ownMemory("VmHWM") - before;
  std::cout << policies[static_cast<std::size_t>(policy)] << " " << size.name << " "
            << streamBytes(policy, size) << " " << grown << "\n";
  return 0;
}
