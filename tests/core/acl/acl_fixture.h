// What the ACL tests share: the acl(5) tools to compare with, the byte records that cross to Java,
// and a watch on every object libacl gives out.
#pragma once

#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "acl/acl.h"
#include "base/ioexception.h"
#include "support/files.h"

constexpr int kAccess = 0x8000;
constexpr int kDefault = 0x4000;

constexpr int kUserObj = 1;
constexpr int kUser = 2;
constexpr int kGroupObj = 4;
constexpr int kGroup = 8;
constexpr int kMask = 16;
constexpr int kOther = 32;

// One entry as it crosses to or from Java.
struct AclRecord {
  int scope;
  int tag;
  unsigned id;  // only for kUser and kGroup
  int perm;
};

std::string int32Bytes(long long value);
// Records back to back, as getAclStatus reports them.
std::string reportOf(const std::vector<AclRecord>& records);
// The same behind their count, as Java sends them.
std::string specOf(const std::vector<AclRecord>& records);

// A new entry of `acl`; `id` is for kUser and kGroup.
ACL::Entry addEntry(ACL& acl, int tag, unsigned id, int perm);
// The entries' dumps, joined with commas.
std::string entriesOf(ACL& acl);

// "user::rw-,user:1001:r--,..." and, for a directory, the default entries as "default:user::...".
std::string getfacl(const std::string& path);
void setfacl(const std::string& spec, const std::string& path);

// Puts a function of the test's own into a slot of the libacl table until the end of the scope.
template <class F>
class Override {
 public:
  Override(F& slot, std::type_identity_t<F> replacement)
      : slot_(slot), saved_(std::exchange(slot, replacement)) {}
  ~Override() { slot_ = saved_; }
  Override(const Override&) = delete;
  Override& operator=(const Override&) = delete;

 private:
  F& slot_;
  F saved_;
};

// For a scope, a directory that the calling thread may not search: closed to its owner too, and the
// thread acts as nobody where it is root.
class ClosedDirectory {
 public:
  explicit ClosedDirectory(std::string path);
  ~ClosedDirectory();
  ClosedDirectory(const ClosedDirectory&) = delete;
  ClosedDirectory& operator=(const ClosedDirectory&) = delete;

 private:
  std::string path_;
  std::optional<AsUser> nobody_;
};

// Afterwards everything that libacl allocated is freed, exactly once.
class AclTest : public FilesTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  static bool isRoot();
  // Expects `step` to throw the native IOException.
  template <class Step>
  void expectThrows(const std::string& message, int number, Step step) {
    try {
      step();
      ADD_FAILURE() << "nothing thrown";
    } catch (const IOException& e) {
      EXPECT_EQ(e.what(), message);
      EXPECT_EQ(e.errorNumber, number);
    }
  }
  // Lines at `level` or above, with the comparison lines of a merge left out.
  std::vector<std::string> logAt(LOG_LEVEL level);

 private:
  bool watching_ = false;
};
