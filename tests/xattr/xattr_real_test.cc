// The natives against real file systems, and against the tools that administrators use.
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <random>

#include "support/commands.h"
#include "support/java_values.h"
#include "xattr/xattr_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

constexpr uid_t stranger = 47110;

// Runs on a disk's file system and on one in memory, which hold quite different amounts.
class XattrReal : public XattrInJvm, public ::testing::WithParamInterface<std::string> {
 protected:
  void SetUp() override {
    const bool refused = GetParam() == "Memory" && ::access("/dev/shm", W_OK) != 0;
    if (GetParam() == "Memory" && !refused) parent = "/dev/shm";
    XattrInJvm::SetUp();
    logger2::currentLevel = LOG_OFF;
    if (refused) GTEST_SKIP() << "/dev/shm may not be written";
    if (kernel("user.a", "") != 0) GTEST_SKIP() << parent << " takes no attributes of users";
  }

  // What the kernel says to this name and value, on a file of its own: 0 or the errno.
  int kernel(const std::string& name, const std::string& value) const {
    const std::string twin = makeFile("twin");
    const int err =
        ::setxattr(twin.c_str(), name.c_str(), value.data(), value.size(), 0) == 0 ? 0 : errno;
    ::unlink(twin.c_str());
    return err;
  }

  void expectSet(const std::string& name, const std::string& value) {
    const int err = kernel(name, value);
    EXPECT_EQ(setExtendedAttribute(path, name, value), err == 0 ? 1 : 0) << name;
    if (err == 0) {
      EXPECT_EQ(takeJavaError(), std::nullopt) << name;
      EXPECT_EQ(valueOf(path, name), value) << name;
    } else {
      EXPECT_EQ(takeJavaError(), errorFor(err, "setxattr failed.")) << name;
      EXPECT_EQ(valueOf(path, name), std::nullopt) << name;
    }
  }
};

INSTANTIATE_TEST_SUITE_P(FileSystems, XattrReal, ::testing::Values("Disk", "Memory"),
                         [](const auto& tested) { return tested.param; });

TEST_P(XattrReal, EveryNamespaceThatTheKernelTakes) {
  NEEDS_ROOT();
  if (kernel("trusted.a", "") == EPERM) GTEST_SKIP() << "needs CAP_SYS_ADMIN";
  for (const char* name : {"user.a", "trusted.a", "security.a"}) {
    ASSERT_EQ(kernel(name, "value"), 0) << name;
    expectSet(name, std::string("v\0w", 3));
  }
  Attributes expected;
  for (const char* name : {"user.a", "trusted.a", "security.a"}) {
    expected[name] = std::string("v\0w", 3);
  }
  EXPECT_EQ(attributesOf(dumpXAttrs(path)), expected);
  EXPECT_EQ(attributesOf(getXAttrs(path, {"trusted.a"})),
            (Attributes{{"trusted.a", expected["trusted.a"]}}));
  for (const auto& [name, value] : expected) EXPECT_EQ(removeXAttr(path, name), 1) << name;
  EXPECT_EQ(attributesOf(dumpXAttrs(path)), Attributes{});
}

TEST_P(XattrReal, NamesThatTheKernelRefusesFailItsWay) {
  for (const std::string& name : std::vector<std::string>{
           "system.a", "zorf.BGF", "noprefix", "user.", "", "user." + std::string(251, 'n')}) {
    EXPECT_NE(kernel(name, "value"), 0) << name;
    expectSet(name, "value");
  }
}

TEST_P(XattrReal, NamesUpToTheKernelsLimit) {
  expectSet("user." + std::string(250, 'n'), "value");
}

TEST_P(XattrReal, AclAttributeOfTheSystemNamespaceIsListedAndRead) {
  // One entry each for owner, a named user, owning group, mask and others, as the kernel keeps it.
  const std::array<std::uint32_t, 11> words = {2,          0x00060001, 0xffffffff, 0x00040002,
                                               stranger,   0x00040004, 0xffffffff, 0x00040010,
                                               0xffffffff, 0x00000020, 0xffffffff};
  const std::string acl(reinterpret_cast<const char*>(words.data()), sizeof words);
  ASSERT_EQ(kernel("system.posix_acl_access", acl), 0);
  expectSet("system.posix_acl_access", acl);
  EXPECT_EQ(attributesOf(dumpXAttrs(path)), (Attributes{{"system.posix_acl_access", acl}}));
}

TEST_P(XattrReal, ValuesOfEverySizeUpTo64KiB) {
  std::mt19937 random(1);
  int taken = 0;
  for (const int size : {0, 1, 2, 255, 256, 1000, 2000, 3900, 4096, 16384, 65535, 65536, 65537}) {
    std::string value(static_cast<std::size_t>(size), '\0');
    for (char& c : value) c = static_cast<char>(random() % 4 == 0 ? 0 : random());
    const std::string name = "user.size";
    expectSet(name, value);
    if (takeJavaError() || !valueOf(path, name)) continue;
    ++taken;
    EXPECT_EQ(attributesOf(dumpXAttrs(path)), (Attributes{{name, value}}));
    EXPECT_EQ(attributesOf(getXAttrs(path, {name})), (Attributes{{name, value}}));
    EXPECT_EQ(removeXAttr(path, name), 1);
  }
  EXPECT_GE(taken, 7);
}

TEST_P(XattrReal, AsManyAttributesAsTheFileSystemTakes) {
  Attributes expected;
  while (expected.size() < 3000) {
    env->PushLocalFrame(16);
    const std::string name = "user.n" + std::to_string(expected.size());
    const std::string value = "value " + std::to_string(expected.size());
    const jint status = setExtendedAttribute(path, name, value);
    if (status == 1) expected[name] = value;
    const auto error = takeJavaError();
    env->PopLocalFrame(nullptr);
    if (status == 1) continue;
    EXPECT_EQ(error, errorFor(ENOSPC, "setxattr failed."));
    break;
  }
  EXPECT_GT(expected.size(), 50u);
  EXPECT_EQ(attributesOf(dumpXAttrs(path)), expected);

  std::vector<std::string> names;
  for (const auto& [name, value] : expected) names.push_back(name);
  EXPECT_EQ(attributesOf(getXAttrs(path, names)), expected);

  const auto listed = namesOf(listXAttrs(path));
  EXPECT_EQ(takeJavaError()->className, "java.lang.ArrayIndexOutOfBoundsException");
  ASSERT_EQ(listed.size(), expected.size());
  EXPECT_EQ(listed[0], std::nullopt);
  for (std::size_t i = 1; i < listed.size(); ++i) {
    ASSERT_TRUE(listed[i].has_value());
    EXPECT_TRUE(expected.contains(*listed[i]));
  }
}

TEST_P(XattrReal, SwitchedUserHasThatUsersPermissions) {
  NEEDS_ROOT();
  put(path, "user.a", "1");
  ::chmod(path.c_str(), 0600);
  const AsUser user(stranger, 0);
  EXPECT_EQ(setExtendedAttribute(path, "user.a", "2"), 0);
  EXPECT_EQ(takeJavaError(), errorFor(EACCES, "setxattr failed."));
  EXPECT_EQ(removeXAttr(path, "user.a"), 0);
  EXPECT_EQ(takeJavaError(), errorFor(EACCES, "zorf_removexattrs failed."));
  EXPECT_EQ(getXAttrs(path, {"user.a"}), nullptr);
  EXPECT_EQ(takeJavaError(), errorFor(EACCES, "zorf_getxattrs failed."));
  EXPECT_EQ(dumpXAttrs(path), nullptr);
  EXPECT_EQ(takeJavaError(), errorFor(EACCES, "zorf_dumpxattrs failed."));
  // Names are no secret: listing asks for no permission on the file.
  EXPECT_THAT(namesOf(listXAttrs(path)), ElementsAre(std::nullopt));
  EXPECT_EQ(takeJavaError()->className, "java.lang.ArrayIndexOutOfBoundsException");
}

TEST_P(XattrReal, SwitchedUserMayReadWhatItMayNotChange) {
  NEEDS_ROOT();
  put(path, "user.a", "1");
  ::chmod(path.c_str(), 0644);
  const AsUser user(stranger, 0);
  EXPECT_EQ(attributesOf(dumpXAttrs(path)), (Attributes{{"user.a", "1"}}));
  // The probe succeeds here; the removal itself is refused.
  EXPECT_EQ(removeXAttr(path, "user.a"), 0);
  EXPECT_EQ(takeJavaError(), errorFor(EACCES, "zorf_removexattrs failed."));
}

TEST_P(XattrReal, SwitchedUserManagesItsOwnFile) {
  NEEDS_ROOT();
  ASSERT_EQ(::chown(path.c_str(), stranger, stranger), 0);
  ::chmod(path.c_str(), 0600);
  const AsUser user(stranger, 0);
  EXPECT_EQ(setExtendedAttribute(path, "user.a", "1"), 1);
  EXPECT_EQ(attributesOf(dumpXAttrs(path)), (Attributes{{"user.a", "1"}}));
  EXPECT_EQ(removeXAttr(path, "user.a"), 1);
}

TEST_P(XattrReal, UserAttributesOfAPipeAreNotPermitted) {
  const std::string pipe = at("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(setExtendedAttribute(pipe, "user.a", "1"), 0);
  EXPECT_EQ(takeJavaError(), errorFor(EPERM, "setxattr failed."));
}

TEST_P(XattrReal, DanglingLinkIsNoSuchFile) {
  const std::string link = makeLink("link", path);
  ::unlink(path.c_str());
  EXPECT_EQ(setExtendedAttribute(link, "user.a", "1"), 0);
  EXPECT_EQ(takeJavaError(), errorFor(ENOENT, "setxattr failed."));
  EXPECT_EQ(dumpXAttrs(link), nullptr);
  EXPECT_EQ(takeJavaError(), errorFor(ENOENT, "zorf_dumpxattrs failed."));
}

// getfattr and setfattr agree with the natives, on 500 files of one random attribute each.

struct RandomAttribute {
  std::string file;
  std::string name;
  std::string value;
};

std::string hex(const std::string& bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text = "0x";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text.push_back(digits[byte >> 4]);
    text.push_back(digits[byte & 15]);
  }
  return text;
}

// In the form of getfattr -e hex.
std::string dumpText(const std::vector<RandomAttribute>& attributes) {
  std::string text;
  for (const RandomAttribute& a : attributes) {
    text += "# file: " + a.file + "\n" + a.name + "=" + hex(a.value) + "\n\n";
  }
  return text;
}

class XattrTools : public XattrReal {
 protected:
  std::vector<RandomAttribute> randomAttributes() {
    std::mt19937 random(20);
    std::vector<RandomAttribute> attributes;
    for (int i = 0; i < 500; ++i) {
      // getfattr visits its arguments in order; the numbers keep that order readable.
      RandomAttribute a{makeFile("file" + std::to_string(i)), "user.", ""};
      for (auto n = 1 + random() % 40; n > 0; --n) {
        a.name += "abcdefghijklmnopqrstuvwxyzABCXYZ0123456789._-"[random() % 45];
      }
      const std::size_t size = i % 50 == 0 ? 0 : random() % (i % 10 == 0 ? 3000 : 100);
      for (std::size_t n = 0; n < size; ++n) a.value += static_cast<char>(random());
      attributes.push_back(a);
    }
    return attributes;
  }
};

INSTANTIATE_TEST_SUITE_P(FileSystems, XattrTools, ::testing::Values("Disk", "Memory"),
                         [](const auto& tested) { return tested.param; });

TEST_P(XattrTools, WhatTheNativeSetsIsWhatGetfattrShows) {
  const auto attributes = randomAttributes();
  for (const RandomAttribute& a : attributes) {
    env->PushLocalFrame(16);
    ASSERT_EQ(setExtendedAttribute(a.file, a.name, a.value), 1);
    env->PopLocalFrame(nullptr);
  }
  EXPECT_EQ(outputOf({"sh", "-c",
                      "cd " + at("") + " && getfattr -d -e hex --absolute-names " + "$(seq -f " +
                          at("file") + "%.0f 0 499)"}),
            dumpText(attributes));
}

TEST_P(XattrTools, WhatSetfattrSetsIsWhatTheNativesReturn) {
  const auto attributes = randomAttributes();
  const std::string saved = at("saved");
  std::ofstream(saved) << dumpText(attributes);
  EXPECT_EQ(outputOf({"sh", "-c", "cd / && setfattr --restore=" + saved}), "");
  for (const RandomAttribute& a : attributes) {
    env->PushLocalFrame(16);
    const Attributes expected{{a.name, a.value}};
    EXPECT_EQ(attributesOf(dumpXAttrs(a.file)), expected);
    EXPECT_EQ(attributesOf(getXAttrs(a.file, {a.name})), expected);
    env->PopLocalFrame(nullptr);
  }
}

}  // namespace
