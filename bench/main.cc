// The benchmark program. Every row of it is "<what>/<how>": what is a native or a block location
// case, and how is
//   native   the library's, in a Java loop
//   bare     the system and libacl calls that the native must make, in a C++ loop
//   empty    a native of the same arguments and result that does nothing, in a Java loop
//   values   an empty native that also takes its arguments apart
//   floor    a native that takes them apart, makes the bare calls and a result, and nothing else
//   java     what a Java programmer would use instead
//   debug, trace   as native, with the log at that level and dropping its lines
// report.py makes the table of it.
#include <benchmark/benchmark.h>
#include <grp.h>
#include <pwd.h>
#include <sys/statfs.h>
#include <sys/utsname.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <string>

#include "bare.h"
#include "blockrows.h"
#include "client/bench_client.h"
#include "crossing.h"
#include "dataset.h"
#include "java.h"
#include "jni/logger.h"
#include "loop.h"

namespace {

constexpr const char* USER = "daemon";

void initData(const DataSet& data, const passwd& user, const std::string& group) {
  JNIEnv* env = javaEnv();
  jclass cls = benchClass("Data");
  env->CallStaticVoidMethod(
      cls,
      env->GetStaticMethodID(cls, "init",
                             "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;II)V"),
      javaText(data.directory()), javaText(user.pw_name), javaText(group),
      static_cast<jint>(user.pw_uid), static_cast<jint>(user.pw_gid));
  jmethodID setStatus = env->GetStaticMethodID(cls, "setStatus", "(I[B)V");
  for (int thread = 0; thread < DataSet::THREADS; ++thread) {
    const struct stat st = data.status(thread);
    env->CallStaticVoidMethod(cls, setStatus, jint{thread}, javaBytes(&st, sizeof st));
  }
  jmethodID setBig = env->GetStaticMethodID(cls, "setBig", "(I[B)V");
  for (int size = 0; size < static_cast<int>(fileSizes.size()); ++size) {
    const struct stat st = data.statusOfSize(fileSizes[static_cast<std::size_t>(size)].bytes);
    env->CallStaticVoidMethod(cls, setBig, jint{size}, javaBytes(&st, sizeof st));
  }
  requireNoException(env, "the data set");
}

// The natives whose rows are repeated with 2, 4 and 8 threads, and at other log levels.
bool isSampled(const std::string& name) {
  for (const char* sampled : {"getINum", "getFileStatusNative", "getAclStatus", "getXAttrs",
                              "dumpXAttrs", "getBlockLocationsNative"}) {
    if (name == sampled) return true;
  }
  return false;
}

void registerJava(jclass cls, const std::string& how, bool threads,
                  const std::function<bool(const std::string&)>& wanted,
                  const std::function<void()>& prepare = {}) {
  for (const std::string& name : loopsOf(cls)) {
    if (!wanted(name)) continue;
    addRow(name + "/" + how, javaLoop(cls, name, prepare), threads && isSampled(name));
  }
}

std::string firstLine(const char* file, const std::string& key) {
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) {
    if (line.compare(0, key.size(), key) == 0) {
      const auto colon = line.find(": ");
      return colon == std::string::npos ? line : line.substr(colon + 2);
    }
  }
  return "?";
}

void addContext(const std::string& directory) {
  utsname system{};
  uname(&system);
  struct statfs fs {};
  statfs(directory.c_str(), &fs);
  char type[32];
  std::snprintf(type, sizeof type, "0x%lx", static_cast<unsigned long>(fs.f_type));
  benchmark::AddCustomContext("jdk", javaVersion());
  benchmark::AddCustomContext("cpu", firstLine("/proc/cpuinfo", "model name"));
  benchmark::AddCustomContext("kernel", std::string(system.sysname) + " " + system.release);
  benchmark::AddCustomContext("file_system", fs.f_type == 0x01021994   ? "tmpfs"
                                             : fs.f_type == 0xef53     ? "ext4"
                                             : fs.f_type == 0x58465342 ? "xfs"
                                                                       : type);
}

int run(int argc, char** argv) {
  const DataSet data(dataParent());
  // Before the library asks the loader for one.
  createVm({});
  passwd* user = getpwnam(USER);
  if (user == nullptr) user = getpwuid(0);
  const group* userGroup = getgrgid(user->pw_gid);
  const std::string groupName = userGroup != nullptr ? userGroup->gr_name : "root";
  initData(data, *user, groupName);

  const auto any = [](const std::string&) { return true; };
  jclass natives = nativeLoopsAtLevel(LOG_OFF, data.directory());
  jclass empty = benchClass("EmptyLoops");
  registerCrossings(javaEnv(), empty);
  addBlockRows(data, natives, empty);
  registerJava(natives, "native", true, any);
  registerJava(nativeLoopsAtLevel(LOG_DEBUG, data.directory()), "debug", false, isSampled);
  registerJava(nativeLoopsAtLevel(LOG_TRACE, data.directory()), "trace", false, isSampled);
  registerJava(empty, "empty", false, any, [] { crossing = Crossing::EMPTY; });
  registerJava(empty, "values", false, any, [] { crossing = Crossing::VALUES; });
  registerJava(empty, "floor", false, hasFloor, [] { crossing = Crossing::FLOOR; });
  registerJava(benchClass("JavaLoops"), "java", false, any);
  for (const auto& [name, loop] :
       bareLoops(data, user->pw_name, groupName, user->pw_uid, user->pw_gid)) {
    addRow(name + "/bare", cppLoop(loop), isSampled(name));
  }

  addContext(data.directory());
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc == 4 && std::strcmp(argv[1], "--peak") == 0) {
    return printPeak(std::atoi(argv[2]), std::atoi(argv[3]));
  }
  return run(argc, argv);
} catch (const std::exception& e) {
  std::cerr << "zorf_bench: " << e.what() << "\n";
  return 2;
}
