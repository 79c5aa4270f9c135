// The entries of an ACL.
#include <cstring>

#include "acl/acl.h"
#include "acl/aclerror.h"
#include "base/logger.h"

namespace {

const char* tagName(acl_tag_t tag) {
  switch (tag) {
    case ACL_UNDEFINED_TAG:
      return "undef";
    case ACL_USER_OBJ:
      return "user_obj";
    case ACL_USER:
      return "user";
    case ACL_GROUP_OBJ:
      return "group_obj";
    case ACL_GROUP:
      return "group";
    case ACL_MASK:
      return "mask";
    case ACL_OTHER:
      return "other";
    default:
      return "unknown";
  }
}

}  // namespace

ACL::Entry::Entry(ACL& owner) : owner_(&owner) {
  // libacl may move the ACL to another handle when it grows.
  acl_t acl = owner.handle_.release();
  const int rc = ACLUtil::acl_create_entry(&acl, &entry_);
  owner.handle_.reset(acl);
  if (rc == -1) throwErrno(__func__, owner.path_);
}

ACL::Entry::Entry(ACL& owner, acl_entry_t source) : owner_(&owner) {
  if (source == nullptr) return;
  *this = Entry(owner);
  copy(source);
}

void ACL::Entry::set_tag(acl_tag_t tag) {
  if (ACLUtil::acl_set_tag_type(entry_, tag) == -1) throwErrno(__func__, owner_->path_);
}

std::uint32_t ACL::Entry::get_qualifier() const {
  void* qualifier = ACLUtil::acl_get_qualifier(entry_);
  if (qualifier == nullptr) throwErrno(__func__, owner_->path_);
  std::uint32_t id = 0;
  std::memcpy(&id, qualifier, sizeof id);
  ACLUtil::acl_free(qualifier);
  return id;
}

void ACL::Entry::set_qualifier(const void* id) {
  if (ACLUtil::acl_set_qualifier(entry_, id) == -1) throwErrno(__func__, owner_->path_);
}

void ACL::Entry::set_perm(int perm) {
  acl_permset_t permissions = permset();
  for (const int bit : {ACL_EXECUTE, ACL_WRITE, ACL_READ}) {
    if ((perm & bit) != 0) ACLUtil::acl_add_perm(permissions, static_cast<acl_perm_t>(bit));
  }
}

void ACL::Entry::clear_perm() {
  ACLUtil::acl_clear_perms(permset());
}

ACL::Entry& ACL::Entry::copy(const acl_entry_t& source) {
  ACLUtil::acl_copy_entry(entry_, source);
  return *this;
}

void ACL::Entry::remove() {
  ACLUtil::acl_delete_entry(owner_->handle(), entry_);
}

bool ACL::Entry::sameKey(const Entry& other) const {
  ZORF_LOG_AS(LOG_DEBUG, "cmp", joined(", ", "l", dump(), "r", other.dump()));
  const acl_tag_t tag = get_tag();
  if (tag != other.get_tag()) return false;
  switch (tag) {
    case ACL_GROUP_OBJ:
    case ACL_USER_OBJ:
    case ACL_MASK:
    case ACL_OTHER:
      return true;
    default:
      return get_qualifier() == other.get_qualifier();
  }
}

std::string ACL::Entry::dump() const {
  const acl_tag_t tag = get_tag();
  std::string text = tagName(tag);
  text += ':';
  if (isNamed(tag)) {
    // Signed, and nothing for root: readers of the log know these lines so.
    const auto id = static_cast<std::int32_t>(get_qualifier());
    if (id != 0) text += std::to_string(id);
  }
  const int perm = get_perm();
  text += ':';
  text += (perm & ACL_READ) != 0 ? 'r' : '-';
  text += (perm & ACL_WRITE) != 0 ? 'w' : '-';
  text += (perm & ACL_EXECUTE) != 0 ? 'x' : '-';
  return text;
}
