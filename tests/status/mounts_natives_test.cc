// The native that tells what is mounted; which line of the table it takes is tested without Java.
#include <cerrno>

#include "core/status/mounts_fixture.h"
#include "status/status_fixture.h"

namespace {

using ::testing::ElementsAre;

class MountNative : public InJvm<MountsTest> {
 protected:
  std::string deviceAt(const std::string& mountPoint) {
    jstring name = ZORF_CALL(getFsName)(env, nullptr, javaString(mountPoint));
    return name == nullptr ? "(null)" : stringOf(name);
  }
};

TEST_F(MountNative, DeviceOfTheMountPoint) {
  table(
      "/dev/one /zorf/one zorf rw,relatime 0 0\n"
      "utf8\\040\303\266 /z\xC3\xB6rf zorf rw 0 0\n");
  EXPECT_EQ(deviceAt("/zorf/one"), "/dev/one");
  EXPECT_THAT(takeLines(), ElementsAre(nativeLine("trace", "getFsName", "/zorf/one")));
  EXPECT_EQ(deviceAt("/z\xC3\xB6rf"), "utf8 \303\266");
}

TEST_F(MountNative, NoDeviceIsAnErrorWithoutANumber) {
  table("dev /zorf zorf rw 0 0\n");
  for (const std::string mountPoint : {"/zorf/", "/nowhere", ""}) {
    EXPECT_EQ(deviceAt(mountPoint), "(null)");
    EXPECT_EQ(takeJavaError(), (JavaError{"java.io.IOException", "Success: " + mountPoint}));
    EXPECT_THAT(takeLines(), ElementsAre(nativeLine("trace", "getFsName", mountPoint),
                                         "debug @handle_error:# Success: " + mountPoint));
  }
}

TEST_F(MountNative, NoMemoryForALine) {
  table("dev1 /zorf zorf rw 0 0\ndev2 /zorf zorf rw 0 0\n");
  hooks_->fail("getdelim", ENOMEM, 2);
  EXPECT_EQ(deviceAt("/zorf"), "(null)");
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, ""));
}

TEST_F(MountNative, ArgumentIsTracedOnlyAtTrace) {
  table("dev /zorf zorf rw 0 0\n");
  logger2::currentLevel = LOG_DEBUG;
  EXPECT_EQ(deviceAt("/zorf"), "dev");
  EXPECT_THAT(takeLines(), ElementsAre());
}

}  // namespace
