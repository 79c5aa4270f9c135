// ACLs as bytes: specifications from Java, reports to Java.
#include <cerrno>
#include <sstream>

#include "acl/exchange.h"
#include "core/acl/acl_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct ReadResult {
  std::vector<std::string> dumps;  // of each ACL, in order
  bool failed = false;
  std::string message;
  int number = -1;
};

ReadResult readSpec(const std::string& bytes) {
  std::istringstream in(bytes);
  ACLList acls;
  ReadResult result;
  try {
    convert(in, acls);
  } catch (const IOException& e) {
    result.failed = true;
    result.message = e.what();
    result.number = e.errorNumber;
  }
  for (const auto& acl : acls) result.dumps.push_back(acl->dump());
  return result;
}

std::string reportOf(ACLList& acls) {
  std::ostringstream out;
  convert(acls, out);
  return out.str();
}

class AclExchange : public AclTest {
 protected:
  void SetUp() override {
    AclTest::SetUp();
    // Most of these tests look at ACLs, not at lines.
    logger2::currentLevel = LOG_WARN;
  }
  void expectFailure(const std::string& bytes, const std::string& message,
                     const std::vector<std::string>& dumps) {
    takeLog();
    const ReadResult result = readSpec(bytes);
    EXPECT_TRUE(result.failed);
    EXPECT_EQ(result.message, message);
    EXPECT_EQ(result.number, 0);
    EXPECT_EQ(result.dumps, dumps);
    EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @convert:# " + message));
  }
};

TEST_F(AclExchange, CountZeroIsNoAcl) {
  for (const char* count : {"", "\0\0\0"}) {
    const ReadResult result = readSpec(std::string(count, 0));
    EXPECT_FALSE(result.failed);
    EXPECT_THAT(result.dumps, IsEmpty());
  }
  EXPECT_THAT(readSpec(int32Bytes(0)).dumps, IsEmpty());
  EXPECT_THAT(readSpec(int32Bytes(0) + "more that nobody reads").dumps, IsEmpty());
}

TEST_F(AclExchange, ANegativeCountIsNoAcl) {
  for (const long long count : {-1LL, -2147483648LL}) {
    logger2::currentLevel = LOG_TRACE;
    takeLog();
    const ReadResult result = readSpec(int32Bytes(count) + ::reportOf({{kAccess, kUserObj, 0, 7}}));
    EXPECT_FALSE(result.failed);
    EXPECT_THAT(result.dumps, IsEmpty());
    EXPECT_THAT(takeLogWithoutLines(),
                ElementsAre("trace @convert:# aclspec entry size: " + std::to_string(count)));
  }
}

TEST_F(AclExchange, AnAclPerScopeInOrderOfTheFirstRecord) {
  EXPECT_THAT(readSpec(specOf({{kAccess, kUserObj, 0, 7}, {kDefault, kUser, 1001, 5}})).dumps,
              ElementsAre("nil\nuser_obj::rwx\n", "nil\ndefault:user:1001:r-x\n"));
  EXPECT_THAT(readSpec(specOf({{kDefault, kUser, 1001, 5}, {kAccess, kUserObj, 0, 7}})).dumps,
              ElementsAre("nil\ndefault:user:1001:r-x\n", "nil\nuser_obj::rwx\n"));
}

TEST_F(AclExchange, ScopesMayBeInterleaved) {
  EXPECT_THAT(readSpec(specOf({{kAccess, kUser, 2, 1},
                               {kDefault, kUser, 3, 2},
                               {kAccess, kGroup, 4, 4},
                               {kDefault, kOther, 0, 7},
                               {kAccess, kMask, 0, 0}}))
                  .dumps,
              ElementsAre("nil\nuser:2:--x\ngroup:4:r--\nmask::---\n",
                          "nil\ndefault:user:3:-w-\ndefault:other::rwx\n"));
}

TEST_F(AclExchange, AppendsToTheAclsOfTheList) {
  ACLList acls;
  acls.push_back(std::make_unique<ACL>(static_cast<unsigned>(kDefault)));
  std::istringstream in(specOf({{kAccess, kOther, 0, 1}, {kDefault, kOther, 0, 2}}));
  convert(in, acls);
  ASSERT_EQ(acls.size(), 2u);
  EXPECT_EQ(acls[0]->dump(), "nil\ndefault:other::-w-\n");
  EXPECT_EQ(acls[1]->dump(), "nil\nother::--x\n");
}

TEST_F(AclExchange, RecordsMayRepeatAKey) {
  EXPECT_THAT(readSpec(specOf({{kAccess, kUser, 5, 1}, {kAccess, kUser, 5, 2}})).dumps,
              ElementsAre("nil\nuser:5:--x\nuser:5:-w-\n"));
}

TEST_F(AclExchange, OtherPermissionBitsAreIgnored) {
  EXPECT_THAT(
      readSpec(specOf({{kAccess, kUserObj, 0, ~2}, {kAccess, kOther, 0, 0x7FFFFFF8}})).dumps,
      ElementsAre("nil\nuser_obj::r-x\nother::---\n"));
}

TEST_F(AclExchange, TheSmallestAndTheLargestIds) {
  ACLList acls;
  const std::vector<AclRecord> records = {
      {kAccess, kUser, 0, 1}, {kAccess, kUser, 4294967295u, 2}, {kAccess, kGroup, 0, 4}};
  std::istringstream in(specOf(records));
  convert(in, acls);
  ASSERT_EQ(acls.size(), 1u);
  EXPECT_EQ(acls[0]->dump(), "nil\nuser::--x\nuser:-1:-w-\ngroup::r--\n");
  EXPECT_EQ(reportOf(acls), ::reportOf(records));
}

TEST_F(AclExchange, AnUnknownScopeIsNamed) {
  expectFailure(specOf({{1234, kUserObj, 0, 7}}), "convert,807 unknown acl scope: 1234", {});
  expectFailure(specOf({{5, kUserObj, 0, 7}}), "convert,807 unknown acl scope: 5", {});
  expectFailure(specOf({{-1, kUserObj, 0, 7}}), "convert,807 unknown acl scope: -1", {});
  expectFailure(specOf({{kAccess, kUserObj, 0, 7}, {kAccess | kDefault, kOther, 0, 7}}),
                "convert,807 unknown acl scope: 49152", {"nil\nuser_obj::rwx\n"});
}

TEST_F(AclExchange, AnUnknownTagHasNoText) {
  for (const int tag : {0, 3, 5, 6, 7, 9, 15, 17, 31, 33, 64, -1, 0x7FFFFFFF}) {
    SCOPED_TRACE(tag);
    expectFailure(specOf({{kAccess, tag, 0, 7}}), "", {"nil\n"});
    expectFailure(specOf({{kDefault, kUser, 3, 4}, {kDefault, tag, 0, 7}}), "",
                  {"nil\ndefault:user:3:r--\n"});
  }
}

TEST_F(AclExchange, FailuresAreNotLoggedAboveWarn) {
  logger2::currentLevel = LOG_ERROR;
  EXPECT_TRUE(readSpec(specOf({{5, kUserObj, 0, 7}})).failed);
  EXPECT_TRUE(readSpec(specOf({{kAccess, 3, 0, 7}})).failed);
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclExchange, TraceShowsWhatWasRead) {
  logger2::currentLevel = LOG_TRACE;
  readSpec(specOf({{kAccess, kUserObj, 0, 7}, {kDefault, kUser, 1001, 5}}));
  const auto lines = takeLogWithoutLines();
  EXPECT_EQ(lines[0], "trace @convert:# aclspec entry size: 2");
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[1], "trace convert dump: nil\nuser_obj::rwx\n");
  EXPECT_EQ(lines[2], "trace convert dump: nil\ndefault:user:1001:r-x\n");
}

// What a specification cut after `size` bytes must give, by the plain reading of the layout.
ReadResult expectedAfterCut(const std::vector<AclRecord>& records, std::size_t size) {
  ReadResult result;
  std::vector<std::pair<int, std::string>> acls;
  std::size_t at = 0;
  const auto take = [&](long long sent, long long previous) {
    const bool whole = at + 4 <= size;
    at = whole ? at + 4 : size;
    return whole ? sent : previous;
  };
  static const char* const names[] = {"user_obj", "user", "", "group_obj"};
  const auto tagName = [](long long tag) -> std::string {
    return tag <= 4 ? names[tag - 1] : tag == kGroup ? "group" : tag == kMask ? "mask" : "other";
  };
  const long long count = take(static_cast<long long>(records.size()), 0);
  long long id = 0;
  long long perm = 0;
  for (int i = 0; i < count; ++i) {
    const AclRecord& sent = records[static_cast<std::size_t>(i)];
    const long long scope = take(sent.scope, 0);
    if (scope == 0) {
      result.failed = true;
      result.message = "convert,807 unknown acl scope: 0";
      break;
    }
    std::size_t n = 0;
    while (n < acls.size() && acls[n].first != scope) ++n;
    if (n == acls.size()) acls.emplace_back(scope, "nil\n");
    const long long tag = take(sent.tag, 0);
    if (tag == 0) {
      result.failed = true;
      break;
    }
    const bool named = tag == kUser || tag == kGroup;
    if (named) id = take(sent.id, id);
    perm = take(sent.perm, perm);
    acls[n].second += std::string(scope == kDefault ? "default:" : "") + tagName(tag) + ":" +
                      (named && id != 0 ? std::to_string(id) : "") + ":" + (perm & 4 ? "r" : "-") +
                      (perm & 2 ? "w" : "-") + (perm & 1 ? "x" : "-") + "\n";
  }
  for (const auto& acl : acls) result.dumps.push_back(acl.second);
  return result;
}

TEST_F(AclExchange, CutAtEveryByte) {
  // In the order libacl keeps entries in, so that the dumps read alike.
  const std::vector<std::vector<AclRecord>> specs = {
      {{kAccess, kUserObj, 0, 7},
       {kAccess, kUser, 1001, 5},
       {kAccess, kUser, 1002, 2},
       {kDefault, kUser, 1003, 1},
       {kDefault, kGroup, 1004, 6},
       {kAccess, kMask, 0, 3},
       {kDefault, kOther, 0, 4}},
      {{kDefault, kUser, 0x01020304, 7}, {kDefault, kGroup, 0x05060708, 3}},
      {{kAccess, kOther, 0, 7}},
  };
  for (const auto& records : specs) {
    const std::string whole = specOf(records);
    for (std::size_t size = 0; size <= whole.size(); ++size) {
      const ReadResult expected = expectedAfterCut(records, size);
      const ReadResult read = readSpec(whole.substr(0, size));
      EXPECT_EQ(read.failed, expected.failed) << "cut at " << size;
      EXPECT_EQ(read.message, expected.message) << "cut at " << size;
      EXPECT_EQ(read.dumps, expected.dumps) << "cut at " << size;
    }
  }
}

TEST_F(AclExchange, AMissingPermissionOrQualifierIsThatOfTheRecordBefore) {
  const std::string whole = specOf({{kAccess, kUser, 1001, 5}, {kAccess, kUser, 1002, 2}});
  EXPECT_THAT(readSpec(whole.substr(0, whole.size() - 1)).dumps,
              ElementsAre("nil\nuser:1001:r-x\nuser:1002:r-x\n"));
  EXPECT_THAT(readSpec(whole.substr(0, whole.size() - 5)).dumps,
              ElementsAre("nil\nuser:1001:r-x\nuser:1001:r-x\n"));
  const std::string first = specOf({{kAccess, kGroup, 1001, 5}});
  EXPECT_THAT(readSpec(first.substr(0, first.size() - 5)).dumps, ElementsAre("nil\ngroup::---\n"));
}

TEST_F(AclExchange, ALyingCountFailsAtTheFirstRecordThatIsNotThere) {
  const std::string records = ::reportOf({{kAccess, kUserObj, 0, 7}, {kAccess, kOther, 0, 1}});
  expectFailure(int32Bytes(0x7FFFFFFF) + records, "convert,807 unknown acl scope: 0",
                {"nil\nuser_obj::rwx\nother::--x\n"});
  expectFailure(int32Bytes(0x7FFFFFFF), "convert,807 unknown acl scope: 0", {});
  EXPECT_THAT(readSpec(int32Bytes(1) + records).dumps, ElementsAre("nil\nuser_obj::rwx\n"))
      << "bytes past the count are not read";
}

TEST_F(AclExchange, AMebibyte) {
  constexpr std::size_t kSize = 1 << 20;
  // Falling ids: libacl sorts each new entry in from the front.
  std::vector<AclRecord> records;
  for (std::size_t i = 0; i < kSize / 16; ++i) {
    records.push_back({kDefault, kUser, static_cast<unsigned>(kSize - i), 5});
  }
  const std::string spec = specOf(records);
  EXPECT_GE(spec.size(), kSize);
  ACLList acls;
  std::istringstream in(spec);
  convert(in, acls);
  ASSERT_EQ(acls.size(), 1u);
  EXPECT_EQ(acls[0]->size(), records.size());
  EXPECT_EQ(reportOf(acls).size(), spec.size() - 4);

  std::string padded = specOf({{kAccess, kOther, 0, 1}});
  padded.resize(kSize);
  EXPECT_THAT(readSpec(padded).dumps, ElementsAre("nil\nother::--x\n"));
  expectFailure(std::string(kSize, '\x7F'), "convert,807 unknown acl scope: 2139062143", {});
}

TEST_F(AclExchange, ReportsHaveNoCount) {
  ACLList acls;
  EXPECT_EQ(reportOf(acls), "");
  const std::string path = makeFile("f", 0640);
  acls.push_back(std::make_unique<ACL>(path, kAccess));
  const std::string base = reportOf(acls);
  EXPECT_EQ(base.size(), 36u);
  EXPECT_EQ(
      base,
      ::reportOf({{kAccess, kUserObj, 0, 6}, {kAccess, kGroupObj, 0, 4}, {kAccess, kOther, 0, 0}}));
  setfacl("u:1001:rx", path);
  acls[0]->get_file(path);
  const std::string extended = reportOf(acls);
  EXPECT_EQ(extended.size(), 64u);
  EXPECT_EQ(extended, ::reportOf({{kAccess, kUserObj, 0, 6},
                                  {kAccess, kUser, 1001, 5},
                                  {kAccess, kGroupObj, 0, 4},
                                  {kAccess, kMask, 0, 5},
                                  {kAccess, kOther, 0, 0}}));
}

TEST_F(AclExchange, TraceShowsWhatIsReported) {
  logger2::currentLevel = LOG_TRACE;
  const std::string path = makeFile("f", 0640);
  ACLList acls;
  acls.push_back(std::make_unique<ACL>(path, kAccess));
  acls.push_back(std::make_unique<ACL>(static_cast<unsigned>(kDefault)));
  reportOf(acls);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace AclEntry count:3", "trace convert dump: " + acls[0]->dump(),
                          "trace AclEntry count:0", "trace convert dump: nil\n"));
}

TEST_F(AclExchange, AFailedReportKeepsTheBytesBeforeIt) {
  const std::string path = makeFile("f", 0640);
  ACLList acls;
  acls.push_back(std::make_unique<ACL>(path, kAccess));
  static decltype(ACLUtil::acl_get_tag_type) realTag;
  realTag = ACLUtil::acl_get_tag_type;
  const Override failing(ACLUtil::acl_get_tag_type, [](acl_entry_t entry, acl_tag_t* tag) {
    realTag(entry, tag);
    if (*tag != kOther) return 0;
    errno = EIO;
    return -1;
  });
  std::ostringstream out;
  try {
    convert(acls, out);
    ADD_FAILURE() << "nothing thrown";
  } catch (const IOException& e) {
    EXPECT_EQ(e.what(), path);
    EXPECT_EQ(e.errorNumber, EIO);
  }
  const std::string whole =
      ::reportOf({{kAccess, kUserObj, 0, 6}, {kAccess, kGroupObj, 0, 4}, {kAccess, kOther, 0, 0}});
  EXPECT_EQ(out.str().substr(0, 24), whole.substr(0, 24));
  EXPECT_LE(out.str().size(), 28u);
}

}  // namespace
