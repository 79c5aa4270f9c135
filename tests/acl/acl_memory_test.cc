// The ACL natives when memory runs out: in the library, in libacl, in the virtual machine.
#include <cerrno>
#include <functional>

#include "acl/natives_fixture.h"
#include "support/interpose.h"
#include "support/patched_jni.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const JavaError kNoMemory = {"java.lang.RuntimeException", "Cannot allocate memory: "};

class AclMemory : public AclNatives {
 protected:
  void SetUp() override {
    AclNatives::SetUp();
    path_ = makeDirectory("d", 0750);
    setfacl("u:5:rwx,d:u:6:rwx", path_);
    before_ = getfacl(path_);
    raw_ = rawStatus(path_);
    // More than what fits a string or a stack buffer at once.
    for (unsigned id = 300; id > 0; --id) many_.push_back({kAccess, kUser, id, 5});
    many_.push_back({kDefault, kUser, 5, 4});
  }

  // Lets each allocation of `native` fail in turn until none does. Each failure must reach Java,
  // keep nothing allocated, and be free of side effects where `atomic`.
  void failEachAllocation(const std::function<void()>& native, bool atomic) {
    for (int nth = 1;; ++nth) {
      ASSERT_LT(nth, 1000);
      long kept = 0;
      {
        Hooks hooks;
        hooks.fail("operator new", ENOMEM, nth);
        native();
        kept = hooks.allocations();
      }
      EXPECT_EQ(kept, 0) << "after failure " << nth;
      const auto error = takeJavaError();
      if (!error) {
        EXPECT_GT(nth, 1);
        return;
      }
      EXPECT_EQ(error, kNoMemory) << "failure " << nth;
      if (atomic) {
        ASSERT_EQ(getfacl(path_), before_) << "failure " << nth;
      }
    }
  }

  std::string path_;
  std::string before_;
  std::string raw_;
  std::vector<AclRecord> many_;
};

TEST_F(AclMemory, EveryAllocationOfAStatusMayFail) {
  logger2::currentLevel = LOG_OFF;
  jstring path = javaString(path_);
  jbyteArray raw = javaBytes(raw_);
  failEachAllocation([&] { env->DeleteLocalRef(NATIVE(getAclStatus)(env, nullptr, path, raw)); },
                     true);
}

TEST_F(AclMemory, EveryAllocationOfAChangeMayFail) {
  logger2::currentLevel = LOG_OFF;
  jstring path = javaString(path_);
  const std::vector<AclRecord> onlyAccess = {{kAccess, kUser, 7, 4}};
  jbyteArray spec = javaBytes(specOf(onlyAccess));
  for (const SpecNative native : kSpecNatives) {
    failEachAllocation([&] { native(env, nullptr, path, spec); }, true);
    setfacl("u:5:rwx,d:u:6:rwx", path_);
    before_ = getfacl(path_);
  }
  jbyteArray large = javaBytes(specOf(many_));
  failEachAllocation([&] { NATIVE(modifyAclEntries)(env, nullptr, path, large); }, false);
}

TEST_F(AclMemory, EveryAllocationOfARemovalMayFail) {
  logger2::currentLevel = LOG_OFF;
  jstring path = javaString(path_);
  failEachAllocation([&] { NATIVE(removeAcl)(env, nullptr, path, JNI_TRUE); }, false);
  EXPECT_EQ(getfacl(path_), "user::rwx,group::r-x,other::---");
}

TEST_F(AclMemory, LibaclWithoutMemory) {
  logger2::currentLevel = LOG_WARN;
  const Override create(ACLUtil::acl_create_entry, [](acl_t*, acl_entry_t*) {
    errno = ENOMEM;
    return -1;
  });
  for (const SpecNative native : kSpecNatives) {
    call(native, path_, specOf({{kAccess, kUser, 7, 4}}));
    EXPECT_EQ(takeJavaError(), kNoMemory);
    EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @Entry:# ")) << "bound to no file yet";
  }
  EXPECT_EQ(getfacl(path_), before_);
}

TEST_F(AclMemory, AnAclThatLibaclCannotMakeIsReported) {
  const Override init(ACLUtil::acl_init, [](int) -> acl_t {
    errno = ENOMEM;
    return nullptr;
  });
  call(NATIVE(setAcl), path_, specOf({{kAccess, kUser, 7, 4}}));
  EXPECT_EQ(takeJavaError(), kNoMemory);
  NATIVE(removeDefaultAcl)(env, nullptr, javaString(path_), JNI_TRUE);
  EXPECT_EQ(takeJavaError(), kNoMemory);
  EXPECT_EQ(getfacl(path_), before_);
}

TEST_F(AclMemory, APathThatTheVirtualMachineCannotConvert) {
  jstring path = javaString(longSpelling(path_));
  jbyteArray raw = javaBytes(raw_);
  jbyteArray spec = javaBytes(specOf({{kAccess, kUser, 7, 4}}));
  PatchedJni patched;
  patched.table.GetStringUTFChars = [](JNIEnv*, jstring, jboolean*) -> const char* {
    return nullptr;
  };
  const std::vector<std::function<void()>> natives = {
      [&] {
        NATIVE(setAcl)
        (env, nullptr, path, spec);
      },
      [&] {
        NATIVE(modifyAclEntries)
        (env, nullptr, path, spec);
      },
      [&] {
        NATIVE(removeAclEntries)
        (env, nullptr, path, spec);
      },
      [&] {
        NATIVE(removeDefaultAcl)
        (env, nullptr, path, JNI_TRUE);
      },
      [&] {
        NATIVE(removeAcl)
        (env, nullptr, path, JNI_TRUE);
      },
      [&] { EXPECT_EQ(NATIVE(getAclStatus)(env, nullptr, path, raw), nullptr); },
  };
  const JNINativeInterface_ broken = patched.table;
  for (std::size_t i = 0; i < natives.size(); ++i) {
    patched.table = broken;
    natives[i]();
    patched.table = patched.real;
    EXPECT_EQ(takeJavaError(), kNoMemory);
    const std::string line = "debug @handle_error:# Cannot allocate memory: ";
    if (i + 1 < natives.size()) {
      EXPECT_THAT(takeLogWithoutLines(), ElementsAre(line));
    } else {
      EXPECT_THAT(takeLogWithoutLines(),
                  ElementsAre(line, "debug @handle_error:# Invalid argument: failed to get path"));
    }
  }
  EXPECT_EQ(getfacl(path_), before_);
}

TEST_F(AclMemory, AReportThatTheVirtualMachineHasNoRoomFor) {
  jstring path = javaString(path_);
  jbyteArray raw = javaBytes(raw_);
  logger2::currentLevel = LOG_WARN;
  {
    PatchedJni patched;
    patched.table.NewByteArray = [](JNIEnv* jni, jsize) -> jbyteArray {
      jni->ThrowNew(jni->FindClass("java/lang/OutOfMemoryError"), "Java heap space");
      return nullptr;
    };
    EXPECT_EQ(NATIVE(getAclStatus)(env, nullptr, path, raw), nullptr);
  }
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.OutOfMemoryError", "Java heap space"}));
  EXPECT_THAT(takeLog(), IsEmpty());
}

}  // namespace
