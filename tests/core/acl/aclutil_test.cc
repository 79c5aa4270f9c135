// The run-time binding of libacl. Each test leaves the real library bound.
#include "acl/aclutil.h"

#include <dlfcn.h>

#include <string>
#include <utility>

#include "core/acl/open_library.h"
#include "support/core_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AclBinding : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    ASSERT_TRUE(ACLUtil::init());
    takeLog();
  }
  void TearDown() override {
    EXPECT_TRUE(ACLUtil::init());
    CoreTest::TearDown();
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
  const OpenLibrary fake(ZORF_FAKE_LIBACL_EMPTY);
  void* const bound = std::exchange(ACLUtil::libacl_handle, fake.handle());
  int target = 0;
  void* slot = &target;
  std::string error;
  EXPECT_TRUE(ACLUtil::loadSym("zorf_null_symbol", &slot, error));
  ACLUtil::libacl_handle = bound;
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(error, "");
}

}  // namespace
