// ACLs as wholes: completed with base entries, given a mask, merged, cut down.
#include <cerrno>
#include <iterator>
#include <random>
#include <set>
#include <utility>

#include "core/acl/acl_fixture.h"

namespace {

using ::testing::ElementsAre;

const char* const kLacksBase =
    "current acl lacks base entries, requires a valid file path to load.";

class AclChange : public AclTest {};

struct Completion {
  const char* name;
  std::vector<AclRecord> sent;
  const char* completed;  // from a file of mode 0751
};

TEST_F(AclChange, CompletionAddsTheBaseEntriesThatAreMissing) {
  const std::string path = makeFile("f", 0751);
  const std::vector<Completion> rows = {
      {"nothing stays nothing", {}, ""},
      {"all three",
       {{0, kUserObj, 0, 1}, {0, kGroupObj, 0, 2}, {0, kOther, 0, 4}},
       "user_obj::--x,group_obj::-w-,other::r--"},
      {"one missing",
       {{0, kUserObj, 0, 1}, {0, kOther, 0, 4}},
       "user_obj::--x,group_obj::r-x,other::r--"},
      {"two missing", {{0, kGroupObj, 0, 2}}, "user_obj::rwx,group_obj::-w-,other::--x"},
      {"named user alone",
       {{0, kUser, 9, 2}},
       "user_obj::rwx,user:9:-w-,group_obj::r-x,mask::rwx,other::--x"},
      {"named group alone",
       {{0, kGroup, 9, 4}},
       "user_obj::rwx,group_obj::r-x,group:9:r--,mask::r-x,other::--x"},
      {"mask alone", {{0, kMask, 0, 2}}, "user_obj::rwx,group_obj::r-x,mask::-w-,other::--x"},
      {"three, but one twice: not completed",
       {{0, kUserObj, 0, 1}, {0, kUserObj, 0, 2}, {0, kOther, 0, 4}},
       "user_obj::--x,user_obj::-w-,other::r--"},
      {"four, one of them twice and one missing",
       {{0, kUserObj, 0, 1}, {0, kUserObj, 0, 2}, {0, kOther, 0, 4}, {0, kOther, 0, 4}},
       "user_obj::--x,user_obj::-w-,group_obj::r-x,other::r--,other::r--"},
  };
  for (const Completion& row : rows) {
    for (const unsigned type : {0x8000u, 0x4000u}) {
      ACL acl(type);
      for (const AclRecord& r : row.sent) addEntry(acl, r.tag, r.id, r.perm);
      acl.make_valid(path);
      EXPECT_EQ(entriesOf(acl), row.completed) << row.name;
    }
  }
}

TEST_F(AclChange, CompletionTakesOnlyBaseEntriesOfTheAccessAcl) {
  const std::string path = makeDirectory("d", 0700);
  setfacl("u:5:rwx,m::r--,d:u::---,d:g::---,d:o::---", path);
  ACL acl(kDefault);
  addEntry(acl, kUser, 9, 4);
  acl.make_valid(path);
  EXPECT_EQ(entriesOf(acl), "user_obj::rwx,user:9:r--,group_obj::---,mask::r--,other::---");
}

TEST_F(AclChange, AnEntryWithoutTagCountsForNothing) {
  ACL acl(kAccess);
  const ACL::Entry undefined(acl);
  acl.make_valid("");
  EXPECT_EQ(entriesOf(acl), "undef::---");
}

TEST_F(AclChange, CompletionWithoutAPathFails) {
  for (const int tag : {kUser, kMask, kOther}) {
    ACL acl(kAccess);
    addEntry(acl, tag, 1, 4);
    expectThrows(kLacksBase, 0, [&] { acl.make_valid(""); });
    EXPECT_THAT(takeLogWithoutLines(),
                ElementsAre(std::string("warn @make_valid:# ") + kLacksBase));
    EXPECT_EQ(acl.size(), 1u);
  }
}

TEST_F(AclChange, CompletionFromAMissingFileFails) {
  const std::string path = at("missing");
  ACL acl(kAccess);
  addEntry(acl, kUser, 1, 4);
  expectThrows(path, ENOENT, [&] { acl.set_file(path, true); });
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @get_file:# " + path));
}

TEST_F(AclChange, AFailedMaskIsReportedWithTheAclsOwnPath) {
  const std::string path = makeFile("f");
  ACL bound(path, kAccess);
  addEntry(bound, kUser, 1, 4);
  const ACL::Entry undefined(bound);  // acl_calc_mask refuses it
  expectThrows(path, EINVAL, [&] { bound.make_valid(at("elsewhere")); });
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @make_valid:# " + path));
  ACL loose(kAccess);
  addEntry(loose, kUser, 1, 4);
  const ACL::Entry another(loose);
  expectThrows("", EINVAL, [&] { loose.make_valid(path); });
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @make_valid:# "));
}

// The mask by every combination of what the rule looks at.
TEST_F(AclChange, TheMaskIsComputedWhenNobodySentOne) {
  const std::string path = makeFile("f", 0770);
  for (int bits = 0; bits < 16; ++bits) {
    const bool named = bits & 1;
    const bool mask = bits & 2;
    const bool bound = bits & 4;
    const bool sent = bits & 8;
    ACL acl(bound ? path : "", kAccess);
    if (!bound) {
      for (const int tag : {kUserObj, kGroupObj, kOther})
        addEntry(acl, tag, 0, tag == kOther ? 0 : 7);
    }
    if (sent) {
      ACL changes(kAccess);
      addEntry(changes, kMask, 0, 0);
      acl - changes;  // removes nothing: the file has no mask
      EXPECT_TRUE(acl.explicitMask());
    }
    if (named) addEntry(acl, kUser, 9, 7);
    if (mask) addEntry(acl, kMask, 0, 1);
    acl.make_valid(path);
    const bool computed = (named && !mask) || (mask && bound && !sent);
    const char* expectedMask = computed ? "mask::rwx," : mask ? "mask::--x," : "";
    EXPECT_EQ(entriesOf(acl), std::string("user_obj::rwx,") + (named ? "user:9:rwx," : "") +
                                  "group_obj::rwx," + expectedMask + "other::---")
        << "named " << named << " mask " << mask << " bound " << bound << " sent " << sent;
  }
}

TEST_F(AclChange, MergingANamedUserCompletesAndComputesTheMask) {
  const std::string path = makeFile("f", 0754);
  ACL acl(path, kAccess);
  ACL changes(kAccess);
  addEntry(changes, kUser, 1001, 5);
  EXPECT_EQ(&(acl + changes), &acl);
  EXPECT_TRUE(acl.set_file(path, true));
  EXPECT_EQ(getfacl(path), "user::rwx,user:1001:r-x,group::r-x,mask::r-x,other::r--");
}

TEST_F(AclChange, AStoredMaskIsComputedAnewAndASentOneKept) {
  const std::string path = makeFile("f", 0700);
  setfacl("u:5:rwx,m::r--", path);
  ACL changes(kAccess);
  addEntry(changes, kUser, 6, 1);
  {
    ACL acl(path, kAccess);
    acl + changes;
    EXPECT_FALSE(acl.explicitMask());
    acl.set_file(path, true);
    EXPECT_EQ(getfacl(path), "user::rwx,user:5:rwx,user:6:--x,group::---,mask::rwx,other::---");
  }
  addEntry(changes, kMask, 0, 2);
  ACL acl(path, kAccess);
  acl + changes;
  EXPECT_TRUE(acl.explicitMask());
  acl.set_file(path, true);
  EXPECT_EQ(getfacl(path), "user::rwx,user:5:rwx,user:6:--x,group::---,mask::-w-,other::---");
}

TEST_F(AclChange, MergingReplacesTheFirstMatchAndAppendsTheRest) {
  ACL acl(kAccess);
  addEntry(acl, kUser, 5, 7);
  addEntry(acl, kUser, 5, 6);
  addEntry(acl, kOther, 0, 7);
  ACL changes(kDefault);
  addEntry(changes, kUser, 5, 1);
  addEntry(changes, kGroup, 5, 2);
  addEntry(changes, kOther, 0, 0);
  EXPECT_TRUE(acl.changeEntries(changes, 0));
  // libacl sorts the copied entry behind its equal.
  EXPECT_EQ(entriesOf(acl), "user:5:rw-,user:5:--x,group:5:-w-,other::---");
}

TEST_F(AclChange, RemovingTakesTheFirstMatchWhateverItsPermissions) {
  ACL acl(kAccess);
  addEntry(acl, kUser, 5, 7);
  addEntry(acl, kUser, 5, 6);
  addEntry(acl, kUser, 6, 4);
  addEntry(acl, kMask, 0, 4);
  ACL changes(kAccess);
  addEntry(changes, kUser, 5, 0);
  addEntry(changes, kUser, 77, 0);
  addEntry(changes, kMask, 0, 0);
  EXPECT_EQ(&(acl - changes), &acl);
  EXPECT_EQ(entriesOf(acl), "user:5:rw-,user:6:r--");
  EXPECT_TRUE(acl.explicitMask());
}

TEST_F(AclChange, AnUnknownModeOnlyNotesTheMask) {
  ACL acl(kAccess);
  addEntry(acl, kMask, 0, 4);
  ACL changes(kAccess);
  addEntry(changes, kMask, 0, 7);
  EXPECT_TRUE(acl.changeEntries(changes, 2));
  EXPECT_EQ(entriesOf(acl), "mask::r--");
  EXPECT_TRUE(acl.explicitMask());
}

TEST_F(AclChange, ClearLeavesAnAccessAclItsBaseEntries) {
  const std::string path = makeFile("f", 0640);
  setfacl("u:5:rwx,g:6:r,m::rwx", path);
  ACL acl(path, kAccess);
  EXPECT_TRUE(acl.clear());
  EXPECT_EQ(getfacl(path), "user::rw-,group::r--,other::---");
}

TEST_F(AclChange, ClearOfADefaultAclTakesOtherFromTheAccessAcl) {
  const std::string path = makeDirectory("d", 0754);
  setfacl("d:u::rw-,d:u:5:rwx,d:g::-wx,d:o::---,d:m::rwx", path);
  ACL acl(path, kDefault);
  EXPECT_TRUE(acl.clear());
  EXPECT_EQ(getfacl(path),
            "user::rwx,group::r-x,other::r--,"
            "default:user::rw-,default:group::-wx,default:other::r--");
}

TEST_F(AclChange, ClearOfAnAbsentDefaultAclIsNoError) {
  const std::string path = makeDirectory("d", 0754);
  ACL acl(path, kDefault);
  EXPECT_TRUE(acl.clear());
  EXPECT_EQ(getfacl(path), "user::rwx,group::r-x,other::r--");
}

// --- many entries ---

// With debug on, entries are compared in pairs and each comparison is logged; with debug off they
// are looked up. Nobody may see which.
TEST_F(AclChange, EntriesLookedUpAndComparedInPairsGiveTheSame) {
  std::mt19937 random(20261121);
  const auto below = [&](unsigned bound) { return static_cast<unsigned>(random() % bound); };
  constexpr int tags[] = {kUserObj, kUser, kUser, kUser, kGroupObj, kGroup, kGroup, kMask, kOther};
  for (int round = 0; round < 3000; ++round) {
    // What a file may have, and anything that may be sent.
    ACL pairwise(kAccess);
    ACL byKey(kAccess);
    std::set<std::pair<int, unsigned>> used;
    for (unsigned left = below(12); left > 0; --left) {
      const int tag = tags[below(std::size(tags))];
      const unsigned id = below(4);
      const auto perm = static_cast<int>(below(8));
      if (!used.emplace(tag, tag == kUser || tag == kGroup ? id : 0).second) continue;
      addEntry(pairwise, tag, id, perm);
      addEntry(byKey, tag, id, perm);
    }
    ACL changes(kAccess);
    for (unsigned left = below(12); left > 0; --left) {
      const unsigned id = below(8) == 0 ? 0xFFFFFFFF : below(4);
      addEntry(changes, tags[below(std::size(tags))], id, static_cast<int>(below(8)));
    }
    const int mode = static_cast<int>(below(3));
    const std::string before = entriesOf(byKey) + " by " + entriesOf(changes);
    logger2::currentLevel = LOG_DEBUG;
    pairwise.changeEntries(changes, mode);
    takeLog();
    logger2::currentLevel = LOG_INFO;
    byKey.changeEntries(changes, mode);
    ASSERT_EQ(entriesOf(byKey), entriesOf(pairwise)) << mode << ": " << before;
    ASSERT_EQ(byKey.explicitMask(), pairwise.explicitMask());
  }
}

int walked = 0;

TEST_F(AclChange, TheWorkOfAMergeGrowsWithTheEntriesAndNotWithTheirSquare) {
  static decltype(ACLUtil::acl_get_entry) real;
  real = ACLUtil::acl_get_entry;
  const Override counted(ACLUtil::acl_get_entry, [](acl_t acl, int which, acl_entry_t* entry) {
    ++walked;
    return real(acl, which, entry);
  });
  logger2::currentLevel = LOG_INFO;
  constexpr unsigned entries = 4000;
  for (const int mode : {0, 1}) {
    ACL current(kAccess);
    ACL changes(kAccess);
    for (unsigned id = entries; id-- > 0;) {
      addEntry(current, kUser, 2 * id, 4);
      addEntry(changes, kUser, 3 * id, 6);
    }
    walked = 0;
    current.changeEntries(changes, mode);
    EXPECT_LE(walked, 3 * static_cast<int>(entries));
  }
}

}  // namespace
