// Hosts without libacl, or with one that lacks something: what the natives say there.
#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "acl/aclutil.h"
#include "acl/natives_fixture.h"
#include "core/acl/open_library.h"
#include "support/commands.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// Every native of a host without libacl.
void expectNativesToSayNotLoaded(JNIEnv* env) {
  jstring path = javaString("/tmp");
  jbyteArray spec = javaBytes(specOf({{kAccess, kUser, 1001, 5}}));
  const JavaError notLoaded = errorFor(ENOSYS, "libacl.so.1 is not loaded");
  EXPECT_EQ(notLoaded.message, "Function not implemented: libacl.so.1 is not loaded");

  EXPECT_EQ(NATIVE(getAclStatus)(env, nullptr, path, javaBytes(std::string(144, '\0'))), nullptr);
  EXPECT_EQ(takeJavaError(), notLoaded);
  NATIVE(setAcl)(env, nullptr, path, spec);
  EXPECT_EQ(takeJavaError(), notLoaded);
  NATIVE(modifyAclEntries)(env, nullptr, path, spec);
  EXPECT_EQ(takeJavaError(), notLoaded);
  NATIVE(removeAclEntries)(env, nullptr, path, spec);
  EXPECT_EQ(takeJavaError(), notLoaded);
  NATIVE(removeDefaultAcl)(env, nullptr, path, JNI_TRUE);
  EXPECT_EQ(takeJavaError(), notLoaded);
  NATIVE(removeAcl)(env, nullptr, path, JNI_TRUE);
  EXPECT_EQ(takeJavaError(), notLoaded);
}

class AclUnbound : public JvmTest {
 protected:
  void TearDown() override {
    EXPECT_TRUE(ACLUtil::init());
    JvmTest::TearDown();
  }
};

TEST_F(AclUnbound, NativesWhileUnboundRaiseNotLoaded) {
  ACLUtil::uninit();
  expectNativesToSayNotLoaded(env);
}

// What a host with another libacl, or none, makes of it: this program once more, with a folder in
// front of the library path, and the one test `name` of AclOtherHost in it.
void expectToPassWith(const std::string& folder, const std::string& name) {
  const char* inherited = std::getenv("LD_LIBRARY_PATH");
  const CommandResult child = runCommand(
      {"env",
       "LD_LIBRARY_PATH=" + folder +
           (inherited == nullptr ? "" : std::string(":").append(inherited)),
       std::filesystem::read_symlink("/proc/self/exe").string(),
       "--gtest_filter=AclOtherHost.DISABLED_" + name, "--gtest_also_run_disabled_tests"});
  EXPECT_EQ(child.status, 0) << child.output;
  EXPECT_THAT(child.output, HasSubstr("[  PASSED  ] 1 test.")) << child.output;
}

std::string folderOf(const char* library) {
  return std::filesystem::path(library).parent_path().string();
}

TEST(AclOnOtherHosts, WithoutLibacl) {
  std::string folder = (std::filesystem::temp_directory_path() / "zorf-no-acl-XXXXXX").string();
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  std::ofstream{folder + "/libacl.so.1"} << "not a library";
  expectToPassWith(folder, "NothingIsLoggedAndNativesRaiseNotLoaded");
  std::filesystem::remove_all(folder);
}

TEST(AclOnOtherHosts, WithALibaclThatLacksAFunction) {
  expectToPassWith(folderOf(ZORF_FAKE_LIBACL_PARTIAL), "AMissingFunctionLeavesItUnbound");
}

TEST(AclOnOtherHosts, WithALibaclThatLacksEveryFunction) {
  expectToPassWith(folderOf(ZORF_FAKE_LIBACL_EMPTY), "TheFirstMissingFunctionIsTheOneNamed");
}

// Run by the tests above only.
class AclOtherHost : public JvmTest {};

TEST_F(AclOtherHost, DISABLED_NothingIsLoggedAndNativesRaiseNotLoaded) {
  EXPECT_EQ(ACLUtil::libacl_handle, nullptr) << "the library has loaded all the same";
  EXPECT_FALSE(ACLUtil::init());
  EXPECT_EQ(ACLUtil::libacl_handle, nullptr);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("trace @init:# ACLUtil"));
  expectNativesToSayNotLoaded(env);
}

TEST_F(AclOtherHost, DISABLED_AMissingFunctionLeavesItUnbound) {
  const OpenLibrary fake(ZORF_FAKE_LIBACL_PARTIAL);
  dlerror();
  ASSERT_EQ(dlsym(fake.handle(), "acl_to_any_text"), nullptr);
  const std::string reason = dlerror();
  EXPECT_EQ(ACLUtil::libacl_handle, nullptr);
  for (int attempt = 0; attempt < 2; ++attempt) {
    EXPECT_FALSE(ACLUtil::init());
    EXPECT_EQ(ACLUtil::libacl_handle, nullptr);
    EXPECT_THAT(takeLogWithoutLines(),
                ElementsAre("trace @init:# ACLUtil",
                            "debug @init:# failed to resolve: acl_to_any_text: " + reason));
  }
  // What was resolved before the failure is kept; what comes after it was not looked for.
  EXPECT_EQ(reinterpret_cast<void*>(ACLUtil::acl_init), dlsym(fake.handle(), "acl_init"));
  EXPECT_EQ(reinterpret_cast<void*>(ACLUtil::acl_from_mode), dlsym(fake.handle(), "acl_from_mode"));
  EXPECT_EQ(ACLUtil::acl_error, nullptr);
  logger2::currentLevel = LOG_INFO;
  EXPECT_FALSE(ACLUtil::init());
  EXPECT_THAT(takeLog(), IsEmpty());
  expectNativesToSayNotLoaded(env);
}

TEST_F(AclOtherHost, DISABLED_TheFirstMissingFunctionIsTheOneNamed) {
  EXPECT_FALSE(ACLUtil::init());
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @init:# ACLUtil",
                          HasSubstr("debug @init:# failed to resolve: acl_init: ")));
  EXPECT_EQ(ACLUtil::acl_init, nullptr);
}

}  // namespace
