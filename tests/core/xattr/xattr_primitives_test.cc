#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>

#include "core/xattr/xattr_fixture.h"
#include "xattr/primitives.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Fetched {
  int result = 0;
  std::unique_ptr<char[]> bytes;

  // The first `result` bytes.
  std::string text() const {
    return bytes == nullptr ? "(null)" : std::string(bytes.get(), static_cast<std::size_t>(result));
  }
};

// The out pointer must be written in every case: it comes in pointing elsewhere.
char elsewhere;

Fetched fetched(int result, char* out) {
  EXPECT_NE(out, &elsewhere);
  return {result, std::unique_ptr<char[]>(out == &elsewhere ? nullptr : out)};
}

Fetched get(const std::string& path, const std::string& name) {
  char* out = &elsewhere;
  const int result = zorf_getxattr(path.c_str(), name.c_str(), &out);
  return fetched(result, out);
}

Fetched list(const std::string& path) {
  char* out = &elsewhere;
  const int result = zorf_listxattrs(path.c_str(), &out);
  return fetched(result, out);
}

int set(const std::string& path, const std::string& name, const std::string& value, int flags) {
  return zorf_setxattr(path.c_str(), name.c_str(), static_cast<int>(value.size()), value.data(),
                       flags);
}

class XattrPrimitives : public XattrTest {
 protected:
  // Runs `change` between the probe and the read of an attribute.
  template <class Change>
  void betweenGets(Hooks& hooks, Change change) {
    hooks.getxattr = [=](const char* p, const char* name, void* value, std::size_t size) {
      if (size != 0) change();
      return ::getxattr(p, name, value, size);
    };
  }

  template <class Change>
  void betweenLists(Hooks& hooks, Change change) {
    hooks.listxattr = [=](const char* p, char* names, std::size_t size) {
      if (size != 0) change();
      return ::listxattr(p, names, size);
    };
  }
};

// zorf_setxattr

TEST_F(XattrPrimitives, SetCreatesWithTheWholeValue) {
  const std::string value("a\0b\xff", 4);
  EXPECT_EQ(set(path, "user.a", value, 0), 0);
  EXPECT_EQ(valueOf(path, "user.a"), value);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @zorf_setxattr:# " + path, "debug @zorf_setxattr:# flags is ,0"));
}

TEST_F(XattrPrimitives, SetReplaces) {
  put(path, "user.a", "a long old value");
  EXPECT_EQ(set(path, "user.a", "new", 0), 0);
  EXPECT_EQ(valueOf(path, "user.a"), "new");
}

TEST_F(XattrPrimitives, SetOfNoBytesStoresAnEmptyValue) {
  EXPECT_EQ(zorf_setxattr(path.c_str(), "user.a", 0, nullptr, 0), 0);
  EXPECT_EQ(valueOf(path, "user.a"), "");
}

TEST_F(XattrPrimitives, CreateOnlyRefusesAnExistingAttributeAndLogsTheValueAlone) {
  put(path, "user.a", "old");
  EXPECT_EQ(set(path, "user.a", "the value", 1), EEXIST);
  EXPECT_EQ(valueOf(path, "user.a"), "old");
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @zorf_setxattr:# " + path, "debug @zorf_setxattr:# flags is ,1",
                          "error @zorf_setxattr:# the value"));
}

TEST_F(XattrPrimitives, ReplaceOnlyRefusesAMissingAttribute) {
  EXPECT_EQ(set(path, "user.a", "value", 2), ENODATA);
  EXPECT_EQ(valueOf(path, "user.a"), std::nullopt);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @zorf_setxattr:# " + path, "debug @zorf_setxattr:# flags is ,2",
                          "error @zorf_setxattr:# value"));
}

TEST_F(XattrPrimitives, UnknownFlagsAreTheKernelsToRefuse) {
  EXPECT_EQ(set(path, "user.a", "value", 4), EINVAL);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @zorf_setxattr:# " + path, "debug @zorf_setxattr:# flags is ,4",
                          "error @zorf_setxattr:# value"));
}

TEST_F(XattrPrimitives, LoggedValueEndsAtItsFirstZeroByteOrItsEnd) {
  logger2::currentLevel = LOG_ERROR;
  EXPECT_EQ(set(path, "user.a", std::string("ab\0cd", 5), 2), ENODATA);
  const std::unique_ptr<char[]> unterminated(new char[3]);
  std::memcpy(unterminated.get(), "xyz", 3);
  EXPECT_EQ(zorf_setxattr(path.c_str(), "user.a", 3, unterminated.get(), 2), ENODATA);
  EXPECT_EQ(zorf_setxattr(path.c_str(), "user.a", 2, "longer", 2), ENODATA);
  EXPECT_EQ(zorf_setxattr(path.c_str(), "user.a", 0, nullptr, 2), ENODATA);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("error @zorf_setxattr:# ab", "error @zorf_setxattr:# xyz",
                          "error @zorf_setxattr:# lo", "error @zorf_setxattr:# "));
}

TEST_F(XattrPrimitives, SizeIsSignExtended) {
  Hooks hooks;
  std::size_t seen = 0;
  hooks.setxattr = [&](const char*, const char*, const void*, std::size_t size, int) {
    seen = size;
    errno = E2BIG;
    return -1;
  };
  EXPECT_EQ(zorf_setxattr(path.c_str(), "user.a", -1, "", 0), E2BIG);
  EXPECT_EQ(seen, std::numeric_limits<std::size_t>::max());
}

// zorf_getxattr

TEST_F(XattrPrimitives, GetReturnsTheLengthAndEveryByte) {
  const std::string value("\0a\0\xff\0", 5);
  put(path, "user.a", value);
  const Fetched fetched = get(path, "user.a");
  EXPECT_EQ(fetched.result, 5);
  EXPECT_EQ(fetched.text(), value);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("trace @zorf_getxattr:# " + path));
}

TEST_F(XattrPrimitives, GetOfAnEmptyValueAllocatesNothing) {
  put(path, "user.a", "");
  logger2::currentLevel = LOG_OFF;
  Hooks hooks;
  char* out = &elsewhere;
  EXPECT_EQ(zorf_getxattr(path.c_str(), "user.a", &out), 0);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(hooks.calls("getxattr"), 1);
  EXPECT_EQ(hooks.calls("operator new[](nothrow)") + hooks.calls("operator new[]") +
                hooks.calls("operator new"),
            0);
}

TEST_F(XattrPrimitives, GetOfAMissingAttributeLogsNothing) {
  logger2::currentLevel = LOG_DEBUG;
  const Fetched fetched = get(path, "user.a");
  EXPECT_EQ(fetched.result, ENODATA);
  EXPECT_EQ(fetched.bytes, nullptr);
  EXPECT_THAT(takeLogWithoutLines(), IsEmpty());
}

TEST_F(XattrPrimitives, GetOfAMissingFileReturnsItsErrno) {
  const Fetched fetched = get(path + "-missing", "user.a");
  EXPECT_EQ(fetched.result, ENOENT);
  EXPECT_EQ(fetched.bytes, nullptr);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("trace @zorf_getxattr:# " + path + "-missing"));
}

TEST_F(XattrPrimitives, ValueThatGrowsAfterTheProbeIsARangeError) {
  put(path, "user.a", "abc");
  Hooks hooks;
  betweenGets(hooks, [this] { put(path, "user.a", "abcd"); });
  const long before = hooks.allocations();
  char* out = &elsewhere;
  EXPECT_EQ(zorf_getxattr(path.c_str(), "user.a", &out), ERANGE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(hooks.allocations(), before);
  EXPECT_EQ(hooks.calls("getxattr"), 2);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @zorf_getxattr:# " + path,
                          "error @zorf_getxattr:# getxattr: failed to get value of attribute "
                          "user.a"));
}

TEST_F(XattrPrimitives, ValueThatShrinksAfterTheProbeIsFilledUpWithZeros) {
  put(path, "user.a", "0123456789");
  Hooks hooks;
  betweenGets(hooks, [this] { put(path, "user.a", "ab"); });
  const Fetched fetched = get(path, "user.a");
  EXPECT_EQ(fetched.result, 10);
  EXPECT_EQ(fetched.text(), std::string("ab\0\0\0\0\0\0\0\0", 10));
}

TEST_F(XattrPrimitives, ValueThatBecomesEmptyAfterTheProbeIsAllZeros) {
  put(path, "user.a", "0123");
  Hooks hooks;
  betweenGets(hooks, [this] { put(path, "user.a", ""); });
  const Fetched fetched = get(path, "user.a");
  EXPECT_EQ(fetched.result, 4);
  EXPECT_EQ(fetched.text(), std::string(4, '\0'));
}

TEST_F(XattrPrimitives, AttributeThatVanishesAfterTheProbeIsMissing) {
  put(path, "user.a", "abc");
  Hooks hooks;
  betweenGets(hooks, [this] { ::removexattr(path.c_str(), "user.a"); });
  const long before = hooks.allocations();
  char* out = &elsewhere;
  EXPECT_EQ(zorf_getxattr(path.c_str(), "user.a", &out), ENODATA);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(hooks.allocations(), before);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @zorf_getxattr:# " + path,
                          "error @zorf_getxattr:# getxattr: failed to get value of attribute "
                          "user.a"));
}

TEST_F(XattrPrimitives, ReadResultCountsAsA32BitNumber) {
  Hooks hooks;
  hooks.getxattr = [](const char*, const char*, void*, std::size_t size) -> ssize_t {
    errno = EIO;
    return size == 0 ? 3 : ssize_t{1} << 31;
  };
  const Fetched fetched = get(path, "user.a");
  EXPECT_EQ(fetched.result, EIO);
  EXPECT_EQ(fetched.bytes, nullptr);
}

TEST_F(XattrPrimitives, NoMemoryForAValueIs12) {
  put(path, "user.a", "abc");
  Hooks hooks;
  hooks.fail("operator new[](nothrow)", ENOMEM);
  const Fetched fetched = get(path, "user.a");
  EXPECT_EQ(fetched.result, 12);
  EXPECT_EQ(fetched.bytes, nullptr);
  EXPECT_EQ(hooks.calls("getxattr"), 1);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("trace @zorf_getxattr:# " + path,
                                                 "error @zorf_getxattr:# Out of memory"));
}

// zorf_listxattrs

TEST_F(XattrPrimitives, ListHoldsEveryNameWithItsZeroByte) {
  Hooks hooks;
  serve(hooks, {{"user.a", "1"}, {"user.long", "2"}});
  const Fetched fetched = list(path);
  EXPECT_EQ(fetched.result, 17);
  EXPECT_EQ(fetched.text(), std::string("user.a\0user.long\0", 17));
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("trace @zorf_listxattrs:# " + path));
}

TEST_F(XattrPrimitives, ListOfAFileWithoutAttributesIsNull) {
  const Fetched fetched = list(path);
  EXPECT_EQ(fetched.result, 0);
  EXPECT_EQ(fetched.bytes, nullptr);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("trace @zorf_listxattrs:# " + path));
}

TEST_F(XattrPrimitives, ListOfAMissingFileIsLoggedAtDebug) {
  const std::string missing = path + "-missing";
  const Fetched fetched = list(missing);
  EXPECT_EQ(fetched.result, ENOENT);
  EXPECT_EQ(fetched.bytes, nullptr);
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre("trace @zorf_listxattrs:# " + missing,
                  "debug @zorf_listxattrs:# listxattr: failed to get EA length for " + missing));
}

TEST_F(XattrPrimitives, ListThatGrowsAfterTheProbeIsARangeError) {
  put(path, "user.a", "1");
  Hooks hooks;
  betweenLists(hooks, [this] { put(path, "user.b", "2"); });
  const long before = hooks.allocations();
  char* out = &elsewhere;
  EXPECT_EQ(zorf_listxattrs(path.c_str(), &out), ERANGE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(hooks.allocations(), before);
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre("trace @zorf_listxattrs:# " + path,
                  "debug @zorf_listxattrs:# listxattr: failed to get the EA names for " + path));
}

TEST_F(XattrPrimitives, ListThatShrinksAfterTheProbeIsFilledUpWithZeros) {
  put(path, "user.a", "1");
  put(path, "user.b", "2");
  Hooks hooks;
  betweenLists(hooks, [this] { ::removexattr(path.c_str(), "user.b"); });
  const Fetched fetched = list(path);
  EXPECT_EQ(fetched.result, 14);
  EXPECT_EQ(fetched.text(), std::string("user.a\0\0\0\0\0\0\0\0", 14));
}

TEST_F(XattrPrimitives, ListResultCountsAsA32BitNumber) {
  Hooks hooks;
  hooks.listxattr = [](const char*, char*, std::size_t size) -> ssize_t {
    errno = EIO;
    return size == 0 ? 7 : ssize_t{1} << 31;
  };
  const Fetched fetched = list(path);
  EXPECT_EQ(fetched.result, EIO);
  EXPECT_EQ(fetched.bytes, nullptr);
}

TEST_F(XattrPrimitives, NoMemoryForAListIs12) {
  put(path, "user.a", "1");
  Hooks hooks;
  hooks.fail("operator new[](nothrow)", ENOMEM);
  const Fetched fetched = list(path);
  EXPECT_EQ(fetched.result, 12);
  EXPECT_EQ(fetched.bytes, nullptr);
  EXPECT_EQ(hooks.calls("listxattr"), 1);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("trace @zorf_listxattrs:# " + path,
                                                 "error @zorf_listxattrs:# Out of memory"));
}

// zorf_removexattr

TEST_F(XattrPrimitives, RemoveRemoves) {
  put(path, "user.a", "1");
  EXPECT_EQ(zorf_removexattr(path.c_str(), "user.a"), 0);
  EXPECT_EQ(valueOf(path, "user.a"), std::nullopt);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("trace @zorf_removexattr:# " + path));
}

TEST_F(XattrPrimitives, RemoveOfAMissingAttributeSpeaksOfALength) {
  EXPECT_EQ(zorf_removexattr(path.c_str(), "user.a"), ENODATA);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @zorf_removexattr:# " + path,
                          "debug @zorf_removexattr:# removexattr: failed to get length of "
                          "attribute user.a"));
}

// All of them

TEST_F(XattrPrimitives, SymbolicLinksAreFollowed) {
  const std::string link = makeLink("link", path);
  EXPECT_EQ(set(link, "user.a", "value", 0), 0);
  EXPECT_EQ(valueOf(path, "user.a"), "value");
  EXPECT_EQ(get(link, "user.a").text(), "value");
  EXPECT_EQ(list(link).text(), std::string("user.a\0", 7));
  EXPECT_EQ(zorf_removexattr(link.c_str(), "user.a"), 0);
  EXPECT_EQ(valueOf(path, "user.a"), std::nullopt);
}

TEST_F(XattrPrimitives, EveryLineHasItsLevel) {
  put(path, "user.a", "abc");
  logger2::currentLevel = LOG_FATAL;
  Hooks hooks;
  EXPECT_EQ(set(path, "user.a", "value", 1), EEXIST);
  hooks.fail("getxattr", EIO, 2);
  EXPECT_EQ(get(path, "user.a").result, EIO);
  hooks.fail("operator new[](nothrow)", ENOMEM);
  EXPECT_EQ(get(path, "user.a").result, 12);
  EXPECT_THAT(takeLogWithoutLines(), IsEmpty());

  logger2::currentLevel = LOG_INFO;
  hooks.fail("listxattr", EIO, 1);
  EXPECT_EQ(list(path).result, EIO);
  hooks.fail("listxattr", EIO, 2);
  EXPECT_EQ(list(path).result, EIO);
  EXPECT_EQ(zorf_removexattr(path.c_str(), "user.none"), ENODATA);
  EXPECT_THAT(takeLogWithoutLines(), IsEmpty());

  logger2::currentLevel = LOG_DEBUG;
  EXPECT_EQ(set(path, "user.a", "value", 0), 0);
  EXPECT_EQ(get(path, "user.a").text(), "value");
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("debug @zorf_setxattr:# flags is ,0"));
}

// The recording sink leaves another errno, as a logger does.
TEST_F(XattrPrimitives, ErrnoOutlivesTheLogger) {
  put(path, "user.a", "abc");
  Hooks hooks;
  hooks.fail("setxattr", EIO);
  EXPECT_EQ(set(path, "user.a", "value", 0), EIO);
  hooks.fail("getxattr", EIO, 1);
  EXPECT_EQ(get(path, "user.a").result, EIO);
  hooks.fail("getxattr", EIO, 2);
  EXPECT_EQ(get(path, "user.a").result, EIO);
  hooks.fail("listxattr", EIO, 1);
  EXPECT_EQ(list(path).result, EIO);
  hooks.fail("listxattr", EIO, 2);
  EXPECT_EQ(list(path).result, EIO);
  hooks.fail("removexattr", EIO);
  EXPECT_EQ(zorf_removexattr(path.c_str(), "user.a"), EIO);
}

}  // namespace
