// The ACL and its entries: building, walking, comparing, dumping, text.
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "core/acl/acl_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AclModel : public AclTest {};

TEST_F(AclModel, AnAclOfATypeIsEmptyAndBoundToNoFile) {
  ACL acl(kDefault);
  EXPECT_EQ(acl.size(), 0u);
  EXPECT_EQ(acl.type(), 0x4000u);
  EXPECT_EQ(acl.path(), "");
  EXPECT_FALSE(acl.explicitMask());
  EXPECT_NE(acl.handle(), nullptr);
  EXPECT_EQ(acl.dump(), "nil\n");
  EXPECT_TRUE(acl.begin().cmp(acl.end()));
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclModel, AFileOfMode640DumpsItsThreeEntries) {
  const std::string path = makeFile("plain", 0640);
  ACL acl(path, kAccess);
  EXPECT_EQ(acl.dump(), path + "\nuser_obj::rw-\ngroup_obj::r--\nother::---\n");
  EXPECT_EQ(acl.size(), 3u);
  EXPECT_EQ(acl.path(), path);
  EXPECT_EQ(acl.type(), 0x8000u);
}

TEST_F(AclModel, ADefaultAclDumpsWithItsPrefix) {
  const std::string path = makeDirectory("d");
  setfacl("d:u::rwx,d:g::r-x,d:o::---,d:u:1001:rw-,d:g:7:-wx,d:m::r--", path);
  ACL acl(path, kDefault);
  EXPECT_EQ(acl.dump(), path +
                            "\n"
                            "default:user_obj::rwx\n"
                            "default:user:1001:rw-\n"
                            "default:group_obj::r-x\n"
                            "default:group:7:-wx\n"
                            "default:mask::r--\n"
                            "default:other::---\n");
}

TEST_F(AclModel, AnUnknownTypeIsRefused) {
  const std::string path = makeFile("f");
  for (const unsigned type : {7u, 0u, 0xC000u, 0xFFFFFFFFu}) {
    const std::string message = "Unknown type: " + std::to_string(type);
    expectThrows(message, 0, [&] { ACL acl(type); });
    EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @ACL:# " + message));
    // Before the file is touched.
    expectThrows(message, 0, [&] { ACL acl(at("missing"), type); });
    EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @ACL:# " + message));
  }
  logger2::currentLevel = LOG_ERROR;
  expectThrows("Unknown type: 7", 0, [&] { ACL acl(path, 7); });
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclModel, EntriesDumpTagQualifierAndPermissions) {
  ACL acl(kAccess);
  EXPECT_EQ(ACL::Entry(acl).dump(), "undef::---");
  EXPECT_EQ(addEntry(acl, kUserObj, 0, 7).dump(), "user_obj::rwx");
  EXPECT_EQ(addEntry(acl, kUser, 1001, 5).dump(), "user:1001:r-x");
  EXPECT_EQ(addEntry(acl, kGroupObj, 0, 2).dump(), "group_obj::-w-");
  EXPECT_EQ(addEntry(acl, kGroup, 2002, 1).dump(), "group:2002:--x");
  EXPECT_EQ(addEntry(acl, kMask, 0, 4).dump(), "mask::r--");
  EXPECT_EQ(addEntry(acl, kOther, 0, 0).dump(), "other::---");
}

TEST_F(AclModel, QualifierZeroIsNotPrintedAndTheLargestIsMinusOne) {
  ACL acl(kAccess);
  ACL::Entry root = addEntry(acl, kUser, 0, 4);
  EXPECT_EQ(root.dump(), "user::r--");
  EXPECT_EQ(static_cast<unsigned>(root.get_qualifier()), 0u);
  ACL::Entry largest = addEntry(acl, kGroup, 4294967295u, 4);
  EXPECT_EQ(largest.dump(), "group:-1:r--");
  EXPECT_EQ(static_cast<unsigned>(largest.get_qualifier()), 4294967295u);
}

TEST_F(AclModel, ATagThatNobodyKnowsDumpsAsUnknown) {
  ACL acl(kAccess);
  ACL::Entry entry = addEntry(acl, kUserObj, 0, 6);
  const Override lie(ACLUtil::acl_get_tag_type, [](acl_entry_t, acl_tag_t* tag) {
    *tag = 64;
    return 0;
  });
  EXPECT_EQ(entry.dump(), "unknown::rw-");
}

TEST_F(AclModel, SetPermOnlyAdds) {
  ACL acl(kAccess);
  ACL::Entry entry = addEntry(acl, kUserObj, 0, 2);
  entry.set_perm(5);
  EXPECT_EQ(entry.get_perm(), 7);
  entry.set_perm(0);
  EXPECT_EQ(entry.get_perm(), 7);
  entry.clear_perm();
  EXPECT_EQ(entry.get_perm(), 0);
  entry.set_perm(~7);
  EXPECT_EQ(entry.get_perm(), 0) << "other bits are ignored";
  for (int perm = 0; perm < 8; ++perm) {
    entry.clear_perm();
    entry.set_perm(perm | 0x100);
    EXPECT_EQ(entry.get_perm(), perm);
  }
}

TEST_F(AclModel, SetPermAddsExecuteThenWriteThenRead) {
  ACL acl(kAccess);
  ACL::Entry entry(acl);
  static std::vector<unsigned> added;
  added.clear();
  const Override record(ACLUtil::acl_add_perm, [](acl_permset_t, acl_perm_t perm) {
    added.push_back(perm);
    return 0;
  });
  entry.set_perm(7);
  EXPECT_THAT(added, ElementsAre(1u, 2u, 4u));
}

TEST_F(AclModel, CmpLooksAtTagAndQualifierOnly) {
  ACL left(kAccess);
  ACL right(kDefault);
  ACL::Entry user = addEntry(left, kUser, 1001, 7);
  EXPECT_TRUE(user.cmp(addEntry(right, kUser, 1001, 4)));
  EXPECT_FALSE(user.cmp(addEntry(right, kUser, 1002, 7)));
  EXPECT_FALSE(user.cmp(addEntry(right, kGroup, 1001, 7)));
  for (const int tag : {kUserObj, kGroupObj, kMask, kOther}) {
    ACL::Entry entry = addEntry(left, tag, 0, 7);
    EXPECT_TRUE(entry.cmp(addEntry(right, tag, 0, 1))) << tag;
    EXPECT_FALSE(entry.cmp(user)) << tag;
  }
}

TEST_F(AclModel, CmpLogsBothSides) {
  ACL left(kAccess);
  ACL right(kAccess);
  ACL::Entry user = addEntry(left, kUser, 1001, 5);
  ACL::Entry mask = addEntry(right, kMask, 0, 4);
  EXPECT_FALSE(user.cmp(mask));
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("debug @cmp:# l, user:1001:r-x, r, mask::r--"));
  logger2::currentLevel = LOG_INFO;
  EXPECT_FALSE(user.cmp(mask));
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclModel, CmpOfTheSameOrNoEntryLogsNothing) {
  ACL left(kAccess);
  ACL right(kAccess);
  ACL::Entry user = addEntry(left, kUser, 1001, 5);
  const ACL::Entry copy = user;
  EXPECT_TRUE(user.cmp(copy));
  EXPECT_TRUE(left.end().cmp(left.end()));
  EXPECT_FALSE(left.end().cmp(right.end())) << "the handles differ";
  EXPECT_FALSE(user.cmp(left.end()));
  EXPECT_FALSE(left.end().cmp(user));
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclModel, CmpOfTwoUndefinedEntriesFailsAtTheQualifier) {
  ACL left(kAccess);
  ACL right(kAccess);
  const ACL::Entry a(left);
  const ACL::Entry b(right);
  expectThrows("", EINVAL, [&] { ACL::Entry(a).cmp(b); });
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @cmp:# l, undef::---, r, undef::---", "warn @get_qualifier:# "));
}

TEST_F(AclModel, IteratorsWalkInBothForms) {
  ACL acl(makeFile("f", 0751), kAccess);
  ACL::iterator it = acl.begin();
  const ACL::iterator first = it++;
  EXPECT_EQ(ACL::iterator(first).dump(), "user_obj::rwx");
  EXPECT_EQ(it.dump(), "group_obj::r-x");
  ++it;
  EXPECT_EQ(it.dump(), "other::--x");
  ++it;
  EXPECT_TRUE(it.cmp(acl.end()));
  EXPECT_EQ(it.handle(), nullptr);
  EXPECT_EQ(acl.end().handle(), nullptr);
}

TEST_F(AclModel, FirstAndNextSayWhetherThereIsAnEntry) {
  ACL acl(kAccess);
  ACL::Entry entry = acl.end();
  EXPECT_FALSE(entry.first());
  EXPECT_EQ(entry.handle(), nullptr);
  addEntry(acl, kMask, 0, 7);
  EXPECT_TRUE(entry.first());
  EXPECT_EQ(entry.dump(), "mask::rwx");
  EXPECT_FALSE(entry.next());
  EXPECT_EQ(entry.handle(), nullptr);
}

TEST_F(AclModel, EntriesAreCopiedAndRemoved) {
  ACL source(kAccess);
  ACL::Entry from = addEntry(source, kUser, 1001, 6);
  ACL target(kDefault);
  ACL::Entry made(target, from.handle());
  EXPECT_EQ(made.dump(), "user:1001:rw-");
  ACL::Entry other = addEntry(target, kMask, 0, 1);
  EXPECT_EQ(&other.copy(from.handle()), &other);
  EXPECT_EQ(other.dump(), "user:1001:rw-") << "tag, qualifier and permissions are replaced";
  EXPECT_EQ(target.size(), 2u);
  made.remove();
  EXPECT_EQ(entriesOf(target), "user:1001:rw-");
  EXPECT_EQ(source.size(), 1u);
}

TEST_F(AclModel, AnEntryOfANullSourceIsTheEnd) {
  ACL acl(kAccess);
  EXPECT_TRUE(ACL::Entry(acl, nullptr).cmp(acl.end()));
  EXPECT_EQ(acl.size(), 0u);
}

TEST_F(AclModel, AssignmentSwapsTheHandlesOnly) {
  const std::string path = makeFile("f", 0700);
  ACL bound(path, kAccess);
  ACL loose(kDefault);
  addEntry(loose, kUser, 5, 1);
  acl_t boundHandle = bound.handle();
  acl_t looseHandle = loose.handle();
  EXPECT_EQ(&(bound = loose), &bound);
  EXPECT_EQ(bound.handle(), looseHandle);
  EXPECT_EQ(loose.handle(), boundHandle);
  EXPECT_EQ(bound.dump(), path + "\nuser:5:--x\n");
  EXPECT_EQ(loose.dump(),
            "nil\ndefault:user_obj::rwx\ndefault:group_obj::---\ndefault:other::---\n");
}

TEST_F(AclModel, TextMakesTheRoundTrip) {
  ACL acl(kDefault);
  addEntry(acl, kUserObj, 0, 7);
  addEntry(acl, kUser, 424242, 5);
  long length = -1;
  const std::string text = acl.to_text(&length);
  const std::string words = "user::rwx\nuser:424242:r-x\n";
  EXPECT_EQ(text, int32Bytes(kDefault) + words);
  EXPECT_EQ(length, static_cast<long>(words.size() + 4));
  EXPECT_EQ(acl.to_text(nullptr), text);

  ACL back(text.c_str());
  EXPECT_EQ(back.dump(), "nil\ndefault:user_obj::rwx\ndefault:user:424242:r-x\n");
  EXPECT_EQ(back.type(), 0x4000u);

  ACL rebound(makeFile("f"), kAccess);
  rebound.from_text(text.c_str());
  EXPECT_EQ(rebound.path(), "");
  EXPECT_EQ(rebound.type(), 0x4000u);
  EXPECT_EQ(rebound.size(), 2u);
}

TEST_F(AclModel, TextBringsItsTypeAlong) {
  ACL acl(kAccess);
  acl.from_text((int32Bytes(9) + "user::rwx,user:5:r").c_str());
  EXPECT_EQ(acl.type(), 9u);
  EXPECT_EQ(acl.dump(), "nil\nundef:user_obj::rwx\nundef:user:5:r--\n");
}

TEST_F(AclModel, TextThatIsNoAclIsRefused) {
  const std::string nonsense = int32Bytes(kAccess) + "user:rwx:nonsense";
  expectThrows("", EINVAL, [&] { ACL acl(nonsense.c_str()); });
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @from_text:# "));
}

TEST_F(AclModel, TextOfAnUnknownTypeIsParsedThenRefused) {
  const std::string text = int32Bytes(9) + "user::rwx";
  expectThrows("Unknown type: 9", 0, [&] { ACL acl(text.c_str()); });
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @ACL:# Unknown type: 9"));
}

// Each accessor that checks its call: what fails, and what it is logged as.
class AclAccessorFailure : public AclModel {
 protected:
  void SetUp() override {
    AclModel::SetUp();
    path_ = makeFile("f");
  }
  template <class Step>
  void expectReported(int number, const std::string& function, Step step) {
    takeLog();
    expectThrows(path_, number, step);
    EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @" + function + ":# " + path_));
    logger2::currentLevel = LOG_ERROR;
    expectThrows(path_, number, step);
    EXPECT_THAT(takeLog(), IsEmpty());
    logger2::currentLevel = LOG_TRACE;
  }
  std::string path_;
};

TEST_F(AclAccessorFailure, Create) {
  ACL acl(path_, kAccess);
  const ACL::Entry first = acl.begin();
  const Override failing(ACLUtil::acl_create_entry, [](acl_t*, acl_entry_t*) {
    errno = ENOMEM;
    return -1;
  });
  expectReported(ENOMEM, "Entry", [&] { ACL::Entry entry(acl); });
  expectReported(ENOMEM, "Entry", [&] { ACL::Entry entry(acl, first.handle()); });
  EXPECT_NO_THROW(ACL::Entry(acl, nullptr));
}

TEST_F(AclAccessorFailure, FirstAndNext) {
  ACL acl(path_, kAccess);
  ACL::Entry entry = acl.begin();
  const Override failing(ACLUtil::acl_get_entry, [](acl_t, int, acl_entry_t*) {
    errno = EIO;
    return -1;
  });
  expectReported(EIO, "first", [&] { entry.first(); });
  expectReported(EIO, "next", [&] { entry.next(); });
  expectReported(EIO, "first", [&] { acl.begin(); });
}

TEST_F(AclAccessorFailure, Tag) {
  ACL acl(path_, kAccess);
  ACL::Entry entry = acl.begin();
  expectReported(EINVAL, "set_tag", [&] { entry.set_tag(3); });
  const Override failing(ACLUtil::acl_get_tag_type, [](acl_entry_t, acl_tag_t*) {
    errno = EIO;
    return -1;
  });
  expectReported(EIO, "get_tag", [&] { entry.get_tag(); });
  expectReported(EIO, "get_tag", [&] { entry.dump(); });
}

TEST_F(AclAccessorFailure, Qualifier) {
  ACL acl(path_, kAccess);
  ACL::Entry entry = acl.begin();
  const unsigned id = 1;
  expectReported(EINVAL, "get_qualifier", [&] { entry.get_qualifier(); });
  expectReported(EINVAL, "set_qualifier", [&] { entry.set_qualifier(&id); });
}

TEST_F(AclAccessorFailure, TheErrorSurvivesALoggerThatTouchesErrno) {
  ACL acl(path_, kAccess);
  ACL::Entry entry = acl.begin();
  expectThrows(path_, EINVAL, [&] {
    try {
      entry.get_qualifier();
    } catch (const IOException&) {
      EXPECT_EQ(errno, EBADMSG) << "the recording sink touches it";
      throw;
    }
  });
}

TEST_F(AclAccessorFailure, PermissionsCopyAndRemoveCheckNothing) {
  ACL acl(path_, kAccess);
  ACL::Entry entry = acl.begin();
  const Override get(ACLUtil::acl_get_perm, [](acl_permset_t, acl_perm_t) { return -1; });
  const Override addPerm(ACLUtil::acl_add_perm, [](acl_permset_t, acl_perm_t) { return -1; });
  const Override clear(ACLUtil::acl_clear_perms, [](acl_permset_t) { return -1; });
  const Override copy(ACLUtil::acl_copy_entry, [](acl_entry_t, acl_entry_t) { return -1; });
  const Override remove(ACLUtil::acl_delete_entry, [](acl_t, acl_entry_t) { return -1; });
  EXPECT_EQ(entry.get_perm(), 0) << "only 1 means granted";
  entry.set_perm(7);
  entry.clear_perm();
  entry.copy(entry.handle());
  entry.remove();
  EXPECT_THAT(takeLog(), IsEmpty());
}

}  // namespace
