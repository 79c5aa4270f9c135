// ACLs and files: reading, checking, completing, changing, writing.
#include <algorithm>
#include <cerrno>
#include <map>
#include <vector>

#include "acl/acl.h"
#include "acl/aclerror.h"
#include "acl/addingorder.h"
#include "base/logger.h"
#include "identity/fsaccount.h"

namespace {

bool isBase(acl_tag_t tag) {
  return tag == ACL_USER_OBJ || tag == ACL_GROUP_OBJ || tag == ACL_OTHER;
}

}  // namespace

void ACL::get_file(const std::string& path) {
  requireLibacl();
  handle_.reset();
  path_ = path;
  if (path_.empty()) {
    handle_.reset(ACLUtil::acl_init(0));
    if (handle_ == nullptr) throwErrno(__func__, path_);
    return;
  }
  handle_.reset(ACLUtil::acl_get_file(path_.c_str(), type_));
  if (handle_ != nullptr) return;
  int err = errno;
  if (err == EACCES && type_ == ACL_TYPE_DEFAULT) {
    handle_.reset(ACLUtil::acl_init(0));
    if (handle_ != nullptr) return;
    err = errno;
  } else if (err == EACCES) {
    dump_gid("acl_get_file error");
  }
  throwLogged(__func__, path_, err);
}

bool ACL::set_file(const std::string& path, bool complete) {
  if (complete) make_valid(path);
  valid();
  if (ACLUtil::acl_set_file(path.c_str(), type_, handle()) != 0) throwErrno(__func__, path);
  return true;
}

int ACL::valid() {
  if (type_ == ACL_TYPE_DEFAULT && empty()) return 0;
  const int rc = ACLUtil::acl_check(handle(), nullptr);
  if (rc == 0) return 0;
  const int err = errno;
  ZORF_LOG_BARE(LOG_TRACE, "valid failed dump " << dump());
  if (rc < 0) throwLogged(__func__, "acl_valid fails", err);

  std::string text = entriesText();
  std::replace(text.begin(), text.end(), '\n', ',');
  const char* reason = ACLUtil::acl_error(rc);
  // "access" of a default ACL too: callers match on this text.
  throwLogged(
      __func__,
      path_ + ": Malformed access ACL \"" + text + "\": " + (reason == nullptr ? "" : reason),
      EINVAL);
}

void ACL::make_valid(const std::string& path) {
  unsigned present = 0;  // base tags
  int baseEntries = 0;
  bool named = false;
  bool mask = false;
  for (const Entry& entry : *this) {
    const acl_tag_t tag = entry.get_tag();
    if (isBase(tag)) {
      present |= static_cast<unsigned>(tag);
      ++baseEntries;
    }
    named = named || isNamed(tag);
    mask = mask || tag == ACL_MASK;
  }
  if ((named || mask || baseEntries > 0) && baseEntries != 3) addBaseEntries(path, present);

  // A stored mask follows the entries; one that the caller sent is kept.
  if (mask ? path_.empty() || explicitMask_ : !named) return;
  acl_t acl = handle_.release();
  const int rc = ACLUtil::acl_calc_mask(&acl);
  handle_.reset(acl);
  if (rc != 0) throwErrno(__func__, path_);
}

void ACL::addBaseEntries(const std::string& path, unsigned present) {
  if (path.empty()) {
    throwLogged("make_valid", "current acl lacks base entries, requires a valid file path to load.",
                0);
  }
  ACL file(path, ACL_TYPE_ACCESS);
  for (const Entry& entry : file) {
    const acl_tag_t tag = entry.get_tag();
    if (isBase(tag) && (present & static_cast<unsigned>(tag)) == 0) {
      Entry(*this).copy(entry.handle());
    }
  }
}

bool ACL::changeEntries(ACL& changes, int mode) {
  if (logger2::enabled(LOG_DEBUG)) {
    changePairwise(changes, mode);
  } else {
    changeByKey(changes, mode);
  }
  return true;
}

// Logs each comparison, and takes as many as the entries of both multiplied.
void ACL::changePairwise(ACL& changes, int mode) {
  for (const Entry& change : changes) {
    if (change.get_tag() == ACL_MASK) explicitMask_ = true;
    iterator found = begin();
    while (found != end() && !found.cmp(change)) found++;
    if (found != end()) {
      if (mode == 0) found.copy(change.handle());
      if (mode == 1) found.remove();
    } else if (mode == 0) {
      Entry(*this).copy(change.handle());
    }
  }
}

// An ACL of a file has no two entries with one key.
void ACL::changeByKey(ACL& changes, int mode) {
  struct Change {
    Entry::Key key;
    acl_entry_t source;
  };
  std::vector<Change> sent;
  for (const Entry& change : changes) sent.push_back({change.key(), change.handle()});
  sortForAdding(sent);
  std::map<Entry::Key, Entry> own;
  for (const Entry& entry : *this) own.emplace(entry.key(), entry);
  for (const auto& [key, source] : sent) {
    if (key.first == ACL_MASK) explicitMask_ = true;
    const auto found = own.find(key);
    if (found == own.end()) {
      if (mode == 0) own.emplace(key, Entry(*this, source));
    } else if (mode == 0) {
      found->second.copy(source);
    } else if (mode == 1) {
      found->second.remove();
      own.erase(found);
    }
  }
}

ACL& ACL::operator+(ACL& changes) {
  changeEntries(changes, 0);
  return *this;
}

ACL& ACL::operator-(ACL& changes) {
  changeEntries(changes, 1);
  return *this;
}

bool ACL::clear() {
  for (Entry& entry : *this) {
    const acl_tag_t tag = entry.get_tag();
    const bool extends =
        isNamed(tag) || tag == ACL_MASK || (tag == ACL_OTHER && type_ == ACL_TYPE_DEFAULT);
    if (extends) entry.remove();
  }
  return set_file(path_, true);
}
