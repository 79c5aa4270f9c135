// Calls natives without a JVM, for callgrind to count: one dump of its counters per native, named
// by it. instructions.py runs it and compares.
#include <valgrind/callgrind.h>

#include <iostream>

#include "acl/aclutil.h"
#include "base/logger.h"
#include "client/bench_client.h"
#include "dataset.h"
#include "fakejni.h"
#include "zorf_native.h"

#define NATIVE(method) Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_##method

namespace {

constexpr int WARM_ROUNDS = 3;

// Counts `rounds` calls. The name ends in the rounds, for the reader to divide by.
template <class Call>
void count(const std::string& name, int rounds, Call call) {
  for (int i = 0; i < WARM_ROUNDS; ++i) call();
  CALLGRIND_ZERO_STATS;
  CALLGRIND_TOGGLE_COLLECT;
  for (int i = 0; i < rounds; ++i) call();
  CALLGRIND_TOGGLE_COLLECT;
  const std::string dump = name + " " + std::to_string(rounds);
  CALLGRIND_DUMP_STATS_AT(dump.c_str());
}

void run() {
  const DataSet data(dataParent());
  logger2::currentLevel = LOG_OFF;
  ACLUtil::init();
  JNIEnv* env = fakeJni();
  const struct stat st = data.status(0);
  const struct stat large = data.statusOfSize(1ULL << 40);
  jstring file = fakeString(data.file(0).c_str());
  jstring plain = fakeString(data.plain(0).c_str());
  jstring link = fakeString(data.link().c_str());
  jbyteArray status = fakeBytes(&st, sizeof st);
  jbyteArray largeStatus = fakeBytes(&large, sizeof large);
  jbyteArray local = fakeBytes("local", 5);
  jbyteArray sort = fakeBytes("rackaware-sort", 14);
  jobjectArray names = fakeStrings(fakeString("user.attr00"));
  constexpr jlong whole = jlong{1} << 40;

  count("getINum", 100, [&] { NATIVE(getINum)(env, nullptr, file); });
  count("getFileStatusNative", 100, [&] {
    NATIVE(getFileStatusNative)(env, nullptr, file, JNI_TRUE);
  });
  count("getLinkTargetNative", 100, [&] { NATIVE(getLinkTargetNative)(env, nullptr, link, 4096); });
  count("setPermission", 100, [&] { NATIVE(setPermission)(env, nullptr, plain, 0640); });
  count("getAclStatus", 100, [&] { NATIVE(getAclStatus)(env, nullptr, file, status); });
  count("getXAttrs", 100, [&] { NATIVE(getXAttrs)(env, nullptr, file, names); });
  count("dumpXAttrs", 20, [&] { NATIVE(dumpXAttrs)(env, nullptr, file); });
  NATIVE(getBlkCmd)(env, nullptr, local, 0);
  count("getBlockLocationsNative.local", 1, [&] {
    NATIVE(getBlockLocationsNative)(env, nullptr, file, 0, whole, largeStatus);
  });
  NATIVE(getBlkCmd)(env, nullptr, sort, 0);
  count("getBlockLocationsNative.rackaware-sort", 1, [&] {
    NATIVE(getBlockLocationsNative)(env, nullptr, file, 0, whole, largeStatus);
  });
}

}  // namespace

int main() try {
  run();
  return 0;
} catch (const std::exception& e) {
  std::cerr << "zorf_instructions: " << e.what() << "\n";
  return 2;
}
