#include <cerrno>
#include <cstdint>
#include <cstring>
#include <list>
#include <new>

#include "core/xattr/xattr_fixture.h"
#include "xattr/bulk.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Records {
  int result = 0;
  int length = 0;
  std::unique_ptr<char[]> buffer;

  std::string bytes() const {
    return buffer == nullptr ? "(null)"
                             : std::string(buffer.get(), static_cast<std::size_t>(length));
  }
};

char elsewhere;

Records records(int result, char* buffer, int length) {
  EXPECT_NE(buffer, &elsewhere);
  EXPECT_EQ(length == 0, buffer == nullptr);
  return {result, length, std::unique_ptr<char[]>(buffer == &elsewhere ? nullptr : buffer)};
}

Records get(const std::string& path, std::list<std::string> names) {
  char* buffer = &elsewhere;
  int length = -1;
  const int result = zorf_getxattrs(path.c_str(), names, &buffer, &length);
  return records(result, buffer, length);
}

Records dump(const std::string& path) {
  char* buffer = &elsewhere;
  int length = -1;
  const int result = zorf_dumpxattrs(path.c_str(), &buffer, &length);
  return records(result, buffer, length);
}

std::string record(const std::string& name, const std::string& value) {
  const auto length = static_cast<std::uint32_t>(value.size());
  return name + '\0' + std::string(reinterpret_cast<const char*>(&length), 4) + value + '\0';
}

class XattrBulk : public XattrTest {};

TEST_F(XattrBulk, RecordsAreSortedAndUniqueWhateverTheList) {
  Hooks hooks;
  serve(hooks, {{"a", "1"}, {"b", "2"}});
  const Records records = get(path, {"b", "a", "b"});
  EXPECT_EQ(records.result, 0);
  EXPECT_EQ(records.length, 16);
  EXPECT_EQ(records.bytes(), std::string("a\0\1\0\0\0001\0b\0\1\0\0\0002\0", 16));
  // The allocation counts the duplicate too; its tail is zeros.
  EXPECT_EQ(std::string(records.buffer.get() + 16, 8), std::string(8, '\0'));
}

// 33,000 times 64 KiB would be more than a buffer may hold.
TEST_F(XattrBulk, ANameGivenOftenTakesTheRoomOfOne) {
  const std::string value(65536, 'v');
  Hooks hooks;
  serve(hooks, {{"user.a", value}});
  logger2::currentLevel = LOG_OFF;
  const Records records = get(path, std::list<std::string>(33000, "user.a"));
  EXPECT_EQ(records.result, 0);
  EXPECT_EQ(records.bytes(), record("user.a", value));
}

TEST_F(XattrBulk, DuplicateTakesTheValueReadLast) {
  Hooks hooks;
  int reads = 0;
  hooks.getxattr = [&](const char*, const char*, void* value, std::size_t size) -> ssize_t {
    const std::string now = reads < 2 ? "old value" : "new";
    ++reads;
    if (size != 0) std::memcpy(value, now.data(), now.size());
    return static_cast<ssize_t>(now.size());
  };
  EXPECT_EQ(get(path, {"user.a", "user.a"}).bytes(), record("user.a", "new"));
}

TEST_F(XattrBulk, NamesAreOrderedAsBytesAndAPrefixFirst) {
  Hooks hooks;
  serve(hooks, {{"ab", "1"}, {"a", "2"}, {"\xc3\xa9", "3"}, {"abc", "4"}, {"Z", "5"}});
  EXPECT_EQ(get(path, {"\xc3\xa9", "abc", "ab", "a", "Z"}).bytes(),
            record("Z", "5") + record("a", "2") + record("ab", "1") + record("abc", "4") +
                record("\xc3\xa9", "3"));
}

TEST_F(XattrBulk, EmptyValueIsARecordOfItsOwn) {
  put(path, "user.e", "");
  const Records records = get(path, {"user.e"});
  EXPECT_EQ(records.result, 0);
  EXPECT_EQ(records.length, 12);
  EXPECT_EQ(records.bytes(), std::string("user.e\0\0\0\0\0\0", 12));
}

TEST_F(XattrBulk, ZeroBytesOfAValueAreCopied) {
  const std::string value("\0a\0\0b\0", 6);
  put(path, "user.z", value);
  EXPECT_EQ(get(path, {"user.z"}).bytes(), record("user.z", value));
}

TEST_F(XattrBulk, LengthsAreLittleEndianAndUnaligned) {
  Hooks hooks;
  const std::string value(0x012345, 'v');
  serve(hooks, {{"ab", value}});
  const Records records = get(path, {"ab"});
  EXPECT_EQ(records.length, 2 + 0x012345 + 6);
  EXPECT_EQ(records.bytes().substr(0, 8), std::string("ab\0\x45\x23\x01\0v", 8));
  EXPECT_EQ(records.bytes(), record("ab", value));
}

TEST_F(XattrBulk, LinesOfASuccess) {
  Hooks hooks;
  serve(hooks, {{"name", "abc"}, {"empty", ""}});
  EXPECT_EQ(get(path, {"name", "empty"}).result, 0);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @zorf_getxattrs:# " + path, "trace @zorf_getxattr:# " + path,
                          "trace @zorf_getxattr:# " + path,
                          "debug @zorf_getxattrs:# key: ,empty, key len: ,5",
                          "debug @zorf_getxattrs:# value: , value len: ,0",
                          "debug @zorf_getxattrs:# key: ,name, key len: ,4",
                          "debug @zorf_getxattrs:# value: ,abc, value len: ,3"));
}

TEST_F(XattrBulk, NothingIsLoggedAtInfo) {
  put(path, "user.a", "1");
  logger2::currentLevel = LOG_INFO;
  EXPECT_EQ(get(path, {"user.a"}).result, 0);
  EXPECT_EQ(get(path, {"user.none"}).result, ENODATA);
  EXPECT_EQ(get(path, {}).result, 0);
  EXPECT_EQ(dump(path).result, 0);
  EXPECT_THAT(takeLogWithoutLines(), IsEmpty());
}

TEST_F(XattrBulk, EmptyListOfNamesMakesNoSystemCall) {
  Hooks hooks;
  const Records records = get(path, {});
  EXPECT_EQ(records.result, 0);
  EXPECT_EQ(records.buffer, nullptr);
  EXPECT_EQ(hooks.calls(), 0);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @zorf_getxattrs:# " + path, "debug @zorf_getxattrs:# got 0 EA"));
}

TEST_F(XattrBulk, MissingNameStopsTheRequestThoughTheLineSaysIgnore) {
  put(path, "user.a", "1");
  put(path, "user.c", "3");
  Hooks hooks;
  const Records records = get(path, {"user.a", "user.b", "user.c"});
  EXPECT_EQ(records.result, ENODATA);
  EXPECT_EQ(records.buffer, nullptr);
  EXPECT_EQ(hooks.calls("getxattr"), 3);  // user.c is never asked for
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre("trace @zorf_getxattrs:# " + path, "trace @zorf_getxattr:# " + path,
                  "trace @zorf_getxattr:# " + path,
                  "debug @zorf_getxattrs:# zorf_getxattr failed for key: user.b, ignore it"));
}

TEST_F(XattrBulk, ValueThatGrowsFailsTheRequest) {
  put(path, "user.a", "1");
  Hooks hooks;
  hooks.fail("getxattr", ERANGE, 2);
  EXPECT_EQ(get(path, {"user.a"}).result, ERANGE);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @zorf_getxattrs:# " + path, "trace @zorf_getxattr:# " + path,
                          "error @zorf_getxattr:# getxattr: failed to get value of attribute "
                          "user.a",
                          "debug @zorf_getxattrs:# zorf_getxattr failed for key: user.a, ignore "
                          "it"));
}

TEST_F(XattrBulk, ValueThatShrinksKeepsItsProbedLength) {
  put(path, "user.a", "0123");
  Hooks hooks;
  hooks.getxattr = [this](const char* p, const char* name, void* value, std::size_t size) {
    if (size != 0) put(path, "user.a", "x");
    return ::getxattr(p, name, value, size);
  };
  EXPECT_EQ(get(path, {"user.a"}).bytes(), record("user.a", std::string("x\0\0\0", 4)));
}

TEST_F(XattrBulk, NoMemoryForTheRecordsIs12) {
  put(path, "user.a", "1");
  Hooks hooks;
  hooks.fail("operator new[](nothrow)", ENOMEM, 2);  // the value's buffer is the first
  const Records records = get(path, {"user.a"});
  EXPECT_EQ(records.result, 12);
  EXPECT_EQ(records.buffer, nullptr);
}

TEST_F(XattrBulk, EachAttributeCostsTwoCallsAndTheResultOneBuffer) {
  Hooks hooks;
  serve(hooks, {{"a", "1"}, {"b", ""}, {"c", "3"}});
  EXPECT_EQ(get(path, {"a", "b", "c"}).result, 0);
  EXPECT_EQ(hooks.calls("getxattr"), 5);  // an empty value needs no second one
  EXPECT_EQ(hooks.calls("operator new[](nothrow)"), 3);
}

TEST_F(XattrBulk, NothingLeaksWhicheverAllocationFails) {
  for (const int level : {LOG_OFF, LOG_TRACE}) {
    logger2::currentLevel = level;
    bool whole = false;
    for (int nth = 1; !whole; ++nth) {
      ASSERT_LT(nth, 500);
      Hooks hooks;
      serve(hooks, {{"user.a name that is long", "1"}, {"user.b", std::string(100, 'v')}});
      char* buffer = &elsewhere;
      int length = -1;
      const long before = hooks.allocations();
      const int made = hooks.calls("operator new");
      hooks.fail("operator new", ENOMEM, nth);
      try {
        const int result = zorf_dumpxattrs(path.c_str(), &buffer, &length);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(hooks.allocations(), before + 1);
        whole = hooks.calls("operator new") - made < nth;
        delete[] buffer;
      } catch (const std::bad_alloc&) {
        EXPECT_EQ(buffer, nullptr);
        EXPECT_EQ(hooks.allocations(), before);
      }
    }
  }
}

// zorf_dumpxattrs

TEST_F(XattrBulk, DumpHoldsEveryAttribute) {
  put(path, "user.b", "2");
  put(path, "user.a", "1");
  const Records records = dump(path);
  EXPECT_EQ(records.result, 0);
  EXPECT_EQ(records.bytes(), record("user.a", "1") + record("user.b", "2"));
}

TEST_F(XattrBulk, LinesOfADump) {
  Hooks hooks;
  serve(hooks, {{"user.a", "1"}, {"user.b", "22"}});
  EXPECT_EQ(dump(path).result, 0);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @zorf_dumpxattrs:# " + path, "trace @zorf_listxattrs:# " + path,
                          "debug @zorf_dumpxattrs:# key: user.a",
                          "debug @zorf_dumpxattrs:# key: user.b", "trace @zorf_getxattrs:# " + path,
                          "trace @zorf_getxattr:# " + path, "trace @zorf_getxattr:# " + path,
                          "debug @zorf_getxattrs:# key: ,user.a, key len: ,6",
                          "debug @zorf_getxattrs:# value: ,1, value len: ,1",
                          "debug @zorf_getxattrs:# key: ,user.b, key len: ,6",
                          "debug @zorf_getxattrs:# value: ,22, value len: ,2"));
}

TEST_F(XattrBulk, DumpOfAFileWithoutAttributesSaysNothing) {
  const Records records = dump(path);
  EXPECT_EQ(records.result, 0);
  EXPECT_EQ(records.buffer, nullptr);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @zorf_dumpxattrs:# " + path, "trace @zorf_listxattrs:# " + path));
}

TEST_F(XattrBulk, DumpOfAMissingFileFailsInTheListing) {
  const std::string missing = path + "-missing";
  const Records records = dump(missing);
  EXPECT_EQ(records.result, ENOENT);
  EXPECT_EQ(records.buffer, nullptr);
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre("trace @zorf_dumpxattrs:# " + missing, "trace @zorf_listxattrs:# " + missing,
                  "debug @zorf_listxattrs:# listxattr: failed to get EA length for " + missing,
                  "error @zorf_dumpxattrs:# zorf_dumpxattrs: get key list failed for " + missing));
}

TEST_F(XattrBulk, NoMemoryForTheListingIs12) {
  put(path, "user.a", "1");
  Hooks hooks;
  hooks.fail("operator new[](nothrow)", ENOMEM);
  EXPECT_EQ(dump(path).result, 12);
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre("trace @zorf_dumpxattrs:# " + path, "trace @zorf_listxattrs:# " + path,
                  "error @zorf_listxattrs:# Out of memory",
                  "error @zorf_dumpxattrs:# zorf_dumpxattrs: get key list failed for " + path));
}

TEST_F(XattrBulk, AttributeThatVanishesAfterTheListingFailsTheDump) {
  put(path, "user.a", "1");
  Hooks hooks;
  hooks.fail("getxattr", ENODATA);
  const Records records = dump(path);
  EXPECT_EQ(records.result, ENODATA);
  EXPECT_EQ(records.buffer, nullptr);
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre("trace @zorf_dumpxattrs:# " + path, "trace @zorf_listxattrs:# " + path,
                  "debug @zorf_dumpxattrs:# key: user.a", "trace @zorf_getxattrs:# " + path,
                  "trace @zorf_getxattr:# " + path,
                  "debug @zorf_getxattrs:# zorf_getxattr failed for key: user.a, ignore it",
                  "error @zorf_dumpxattrs:# zorf_dumpxattrs: get value failed for " + path));
}

TEST_F(XattrBulk, EmptyNamesOfAListingAreSkipped) {
  Hooks hooks;
  serve(hooks, {{"user.a", "1"}, {"user.b", "2"}});
  hooks.listxattr = [](const char*, char* names, std::size_t size) -> ssize_t {
    const std::string listing("\0user.a\0\0user.b\0\0", 17);
    if (size != 0) std::memcpy(names, listing.data(), listing.size());
    return static_cast<ssize_t>(listing.size());
  };
  EXPECT_EQ(dump(path).bytes(), record("user.a", "1") + record("user.b", "2"));
}

TEST_F(XattrBulk, ListingOfNothingButEmptyNamesIsNoAttributes) {
  Hooks hooks;
  hooks.listxattr = [](const char*, char*, std::size_t) -> ssize_t { return 5; };
  const Records records = dump(path);
  EXPECT_EQ(records.result, 0);
  EXPECT_EQ(records.buffer, nullptr);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace @zorf_dumpxattrs:# " + path, "trace @zorf_listxattrs:# " + path,
                          "trace @zorf_getxattrs:# " + path, "debug @zorf_getxattrs:# got 0 EA"));
}

TEST_F(XattrBulk, TailOfAListingWithoutAZeroByteIsNoName) {
  Hooks hooks;
  serve(hooks, {{"user.a", "1"}, {"user.b", "2"}});
  hooks.listxattr = [](const char*, char* names, std::size_t size) -> ssize_t {
    if (size != 0) std::memcpy(names, "user.a\0user.b", 13);
    return 13;
  };
  EXPECT_EQ(dump(path).bytes(), record("user.a", "1"));
}

}  // namespace
