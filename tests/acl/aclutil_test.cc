// The run-time binding of libacl. Each test leaves the real library bound.
#include "acl/aclutil.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "acl/acl_fixture.h"
#include "zorf_native.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

#define NATIVE(method) Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_##method

// Loads a library that has libacl's soname, so that a dlopen by that name finds it while the real
// one is not loaded.
class StandInLibrary {
 public:
  explicit StandInLibrary(const char* file) : handle_(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
    EXPECT_NE(handle_, nullptr) << dlerror();
  }
  ~StandInLibrary() { dlclose(handle_); }
  StandInLibrary(const StandInLibrary&) = delete;
  StandInLibrary& operator=(const StandInLibrary&) = delete;

  void* handle() const { return handle_; }

 private:
  void* handle_;
};

bool libaclIsLoaded() {
  void* handle = dlopen("libacl.so.1", RTLD_LAZY | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

class AclBinding : public JvmTest {
 protected:
  void SetUp() override {
    JvmTest::SetUp();
    ASSERT_TRUE(ACLUtil::init());
    takeLog();
  }
  void TearDown() override {
    // Slots that a fake library filled are filled anew.
    ACLUtil::uninit();
    EXPECT_TRUE(ACLUtil::init());
    JvmTest::TearDown();
  }
};

TEST_F(AclBinding, LoadingTheLibraryBindsLibacl) {
  EXPECT_NE(ACLUtil::libacl_handle, nullptr);
#define EXPECT_RESOLVED(function)                                                                 \
  EXPECT_EQ(reinterpret_cast<void*>(ACLUtil::function), dlsym(ACLUtil::libacl_handle, #function)) \
      << #function;
  ZORF_LIBACL_FUNCTIONS(EXPECT_RESOLVED)
#undef EXPECT_RESOLVED
}

TEST_F(AclBinding, ASecondInitChangesNothing) {
  void* handle = ACLUtil::libacl_handle;
  EXPECT_TRUE(ACLUtil::init());
  EXPECT_EQ(ACLUtil::libacl_handle, handle);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("trace @init:# ACLUtil"));
}

TEST_F(AclBinding, ASecondInitDoesNotOpenTheLibraryAgain) {
  ASSERT_TRUE(ACLUtil::init());
  ACLUtil::uninit();
  EXPECT_FALSE(libaclIsLoaded()) << "one dlclose undid one dlopen";
}

TEST_F(AclBinding, UninitAndInitLogWhatTheyDid) {
  const auto freeBefore = ACLUtil::acl_free;
  ACLUtil::uninit();
  EXPECT_EQ(ACLUtil::libacl_handle, nullptr);
  EXPECT_EQ(ACLUtil::acl_free, freeBefore) << "the pointers stay";
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("debug @uninit:# libacl.so unloaded"));

  EXPECT_TRUE(ACLUtil::init());
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @init:# ACLUtil", "debug @init:# libacl.so loaded"));
}

TEST_F(AclBinding, UninitWhileUnboundDoesNothing) {
  ACLUtil::uninit();
  takeLog();
  ACLUtil::uninit();
  EXPECT_EQ(ACLUtil::libacl_handle, nullptr);
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclBinding, LinesNeedTheirLevel) {
  logger2::currentLevel = LOG_DEBUG;
  ACLUtil::uninit();
  EXPECT_TRUE(ACLUtil::init());
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @uninit:# libacl.so unloaded", "debug @init:# libacl.so loaded"));
  logger2::currentLevel = LOG_INFO;
  ACLUtil::uninit();
  EXPECT_TRUE(ACLUtil::init());
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclBinding, AMissingFunctionLeavesItUnbound) {
  ACLUtil::uninit();
  ASSERT_FALSE(libaclIsLoaded()) << "something else in this process keeps libacl";
  const StandInLibrary fake(ZORF_FAKE_LIBACL_PARTIAL);
  dlerror();
  ASSERT_EQ(dlsym(fake.handle(), "acl_to_any_text"), nullptr);
  const std::string reason = dlerror();
  ACLUtil::acl_to_any_text = nullptr;
  const auto lastSlot = ACLUtil::acl_error;
  takeLog();

  EXPECT_FALSE(ACLUtil::init());

  EXPECT_EQ(ACLUtil::libacl_handle, nullptr);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @init:# ACLUtil",
                          "debug @init:# failed to resolve: acl_to_any_text: " + reason));
  // Resolved before the failure and kept; not reached after it.
  EXPECT_EQ(reinterpret_cast<void*>(ACLUtil::acl_init), dlsym(fake.handle(), "acl_init"));
  EXPECT_EQ(reinterpret_cast<void*>(ACLUtil::acl_from_mode), dlsym(fake.handle(), "acl_from_mode"));
  EXPECT_EQ(ACLUtil::acl_error, lastSlot);
}

TEST_F(AclBinding, TheFirstMissingFunctionIsTheOneNamed) {
  ACLUtil::uninit();
  const StandInLibrary fake(ZORF_FAKE_LIBACL_EMPTY);
  takeLog();
  EXPECT_FALSE(ACLUtil::init());
  const auto lines = takeLogWithoutLines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[1].find("debug @init:# failed to resolve: acl_init: "), 0u) << lines[1];
}

TEST_F(AclBinding, AFailedInitCanBeRepeated) {
  ACLUtil::uninit();
  {
    const StandInLibrary fake(ZORF_FAKE_LIBACL_EMPTY);
    EXPECT_FALSE(ACLUtil::init());
  }
  EXPECT_TRUE(ACLUtil::init());
}

TEST_F(AclBinding, LoadSymWhileUnboundLeavesTheError) {
  ACLUtil::uninit();
  int target = 0;
  void* slot = &target;
  std::string error = "before";
  EXPECT_FALSE(ACLUtil::loadSym("acl_init", &slot, error));
  EXPECT_EQ(slot, &target);
  EXPECT_EQ(error, "before");
}

TEST_F(AclBinding, LoadSymNamesWhatIsMissing) {
  int target = 0;
  void* slot = &target;
  std::string error;
  EXPECT_FALSE(ACLUtil::loadSym("acl_nonsense", &slot, error));
  EXPECT_EQ(slot, nullptr) << "what dlsym returned is stored";
  dlerror();
  dlsym(ACLUtil::libacl_handle, "acl_nonsense");
  EXPECT_EQ(error, std::string("acl_nonsense: ") + dlerror());
}

TEST_F(AclBinding, LoadSymIsNotMisledByAnEarlierError) {
  dlsym(ACLUtil::libacl_handle, "acl_nonsense");
  void* slot = nullptr;
  std::string error;
  EXPECT_TRUE(ACLUtil::loadSym("acl_init", &slot, error));
  EXPECT_EQ(slot, dlsym(ACLUtil::libacl_handle, "acl_init"));
  EXPECT_EQ(error, "");
}

TEST_F(AclBinding, ASymbolWhoseValueIsNullIsResolved) {
  const StandInLibrary fake(ZORF_FAKE_LIBACL_EMPTY);
  void* const bound = std::exchange(ACLUtil::libacl_handle, fake.handle());
  int target = 0;
  void* slot = &target;
  std::string error;
  EXPECT_TRUE(ACLUtil::loadSym("zorf_null_symbol", &slot, error));
  ACLUtil::libacl_handle = bound;
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(error, "");
}

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

TEST_F(AclBinding, NativesWhileUnboundRaiseNotLoaded) {
  ACLUtil::uninit();
  expectNativesToSayNotLoaded(env);
}

// A host without libacl: this program once more, with a library path on which "libacl.so.1" can't
// be opened.
TEST(AclWithoutLibacl, LoadsAndSaysNotLoaded) {
  if (std::getenv("ZORF_ACL_CHILD") != nullptr) GTEST_SKIP() << "this is the child";
  namespace fs = std::filesystem;
  std::string folder = (fs::temp_directory_path() / "zorf-no-libacl-XXXXXX").string();
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  std::ofstream{folder + "/libacl.so.1"} << "not a library";
  const char* inherited = std::getenv("LD_LIBRARY_PATH");
  const CommandResult child = runCommand(
      {"env", "ZORF_ACL_CHILD=1",
       "LD_LIBRARY_PATH=" + folder + (inherited == nullptr ? "" : ":" + std::string(inherited)),
       fs::read_symlink("/proc/self/exe").string(), "--gtest_filter=AclWithoutLibaclChild.*",
       "--gtest_also_run_disabled_tests"});
  fs::remove_all(folder);
  EXPECT_EQ(child.status, 0) << child.output;
  EXPECT_NE(child.output.find("[  PASSED  ] 1 test"), std::string::npos) << child.output;
}

class AclWithoutLibaclChild : public JvmTest {};

TEST_F(AclWithoutLibaclChild, DISABLED_NativesRaiseNotLoaded) {
  EXPECT_EQ(ACLUtil::libacl_handle, nullptr);
  EXPECT_FALSE(ACLUtil::init());
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("trace @init:# ACLUtil")) << "no reason is logged";
  expectNativesToSayNotLoaded(env);
}

}  // namespace
