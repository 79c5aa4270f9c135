// The benchmark program. Every row of it is "<what>/<how>": what is a native or a block location
// case, and how is
//   native   the library's, in a Java loop
//   bare     the system and libacl calls that the native must make, in a C++ loop
//   values   a native that takes the same arguments apart and makes such a result, in a Java loop
//   floor    one that makes the bare calls too, and nothing else
//   java     what a Java programmer would use instead
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
#include <vector>

#include "bare.h"
#include "base/logger.h"
#include "blockrows.h"
#include "client/bench_client.h"
#include "crossing.h"
#include "dataset.h"
#include "java.h"
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

// The natives whose rows are repeated with 2, 4 and 8 threads.
bool isThreaded(const std::string& name) {
  for (const char* threaded : {"getINum", "getFileStatusNative", "getAclStatus", "getXAttrs",
                               "dumpXAttrs", "getBlockLocationsNative"}) {
    if (name == threaded) return true;
  }
  return false;
}

void registerJava(jclass cls, const std::string& how, bool threads,
                  const std::function<void()>& prepare = {}) {
  jobject rows = rowsOf(cls);
  for (const std::string& name : namesOf(rows)) {
    addRow(name + "/" + how, javaLoop(rows, name, prepare), threads && isThreaded(name));
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
  const bool peak = argc == 2 && std::strcmp(argv[1], "--peak") == 0;
  const DataSet data(dataParent());
  // Nothing but the call whose peak it is may touch new memory: no compiler.
  createVm(peak ? std::vector<std::string>{"-Xint"} : std::vector<std::string>{});
  passwd* user = getpwnam(USER);
  if (user == nullptr) user = getpwuid(0);
  const group* userGroup = getgrgid(user->pw_gid);
  const std::string groupName = userGroup != nullptr ? userGroup->gr_name : "root";
  initData(data, *user, groupName);
  if (peak) {
    printPeak();
    return 0;
  }

  jclass natives = benchClass("NativeLoops");
  jclass empty = benchClass("EmptyLoops");
  registerCrossings(javaEnv(), empty);
  addBlockRows(data, natives, empty);
  registerJava(natives, "native", true);
  registerJava(empty, "values", false, [] { crossing = Crossing::VALUES; });
  registerJava(empty, "floor", false, [] { crossing = Crossing::FLOOR; });
  registerJava(benchClass("JavaLoops"), "java", false);
  for (const auto& [name, loop] : bareLoops(data)) {
    addRow(name + "/bare", cppLoop(loop), isThreaded(name));
  }

  addContext(data.directory());
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

}  // namespace

int main(int argc, char** argv) try { return run(argc, argv); } catch (const std::exception& e) {
  std::cerr << "zorf_bench: " << e.what() << "\n";
  return 2;
}
