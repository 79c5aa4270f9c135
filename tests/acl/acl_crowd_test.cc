// Refused ACLs on many threads at once: libacl looks the names of their texts up in memory that all
// threads share.
#include <sys/stat.h>

#include <thread>

#include "acl/natives_fixture.h"
#include "core/identity/scratch_users.h"

namespace {

constexpr int THREADS = 8;
constexpr int REFUSALS = 1000;

class AclCrowd : public AclNatives {
 protected:
  void SetUp() override {
    AclNatives::SetUp();
    logger2::currentLevel = LOG_OFF;
  }
};

// What setAcl says of two entries each for a user of the thread's own and for a large group.
std::optional<JavaError> refusal(int thread, const std::string& path) {
  const auto user = static_cast<unsigned>(60101 + thread);
  const unsigned bigGroup = 63000;
  jstring javaPath = javaString(path);
  jbyteArray spec = javaBytes(specOf({{kAccess, kUserObj, 0, 7},
                                      {kAccess, kUser, user, 4},
                                      {kAccess, kUser, user, 6},
                                      {kAccess, kGroupObj, 0, 5},
                                      {kAccess, kGroup, bigGroup, 4},
                                      {kAccess, kGroup, bigGroup, 1},
                                      {kAccess, kMask, 0, 7},
                                      {kAccess, kOther, 0, 0}}));
  NATIVE(setAcl)(jniEnv(), nullptr, javaPath, spec);
  jniEnv()->DeleteLocalRef(javaPath);
  jniEnv()->DeleteLocalRef(spec);
  return takeJavaError();
}

TEST_F(AclCrowd, EachThreadReadsItsOwnUsersName) {
  const std::string path = makeFile("f");
  std::vector<std::thread> threads;
  for (int thread = 0; thread < THREADS; ++thread) {
    threads.emplace_back([=] {
      const AttachedThread attached;
      const bool named = std::getenv("ZORF_SCRATCH_USERS") != nullptr;
      const std::string user =
          named ? "zorf_user" + std::to_string(thread + 1) : std::to_string(60101 + thread);
      const std::string group = named ? "zorf_big" : "63000";
      // The path is the specification's own, which is empty.
      const JavaError expected =
          errorFor(EINVAL, ": Malformed access ACL \"user::rwx,user:" + user + ":r--,user:" + user +
                               ":rw-,group::r-x,group:" + group + ":r--,group:" + group +
                               ":--x,mask::rwx,other::---,\": Duplicate entries");
      for (int i = 0; i < REFUSALS; ++i) {
        const auto error = refusal(thread, path);
        EXPECT_EQ(error, expected);
        if (error != expected) return;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
