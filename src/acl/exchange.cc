#include "acl/exchange.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <istream>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "acl/aclerror.h"
#include "acl/addingorder.h"
#include "base/ioexception.h"
#include "base/logger.h"

namespace {

// Whole or not at all: `value` stays when the stream ends inside it.
void readInt(std::istream& in, std::int32_t& value) {
  std::array<char, sizeof value> bytes;
  in.read(bytes.data(), bytes.size());
  if (in.gcount() == bytes.size()) std::memcpy(&value, bytes.data(), bytes.size());
}

bool isKnown(acl_tag_t tag) {
  return isNamed(tag) || tag == ACL_USER_OBJ || tag == ACL_GROUP_OBJ || tag == ACL_MASK ||
         tag == ACL_OTHER;
}

ACL& aclOfScope(ACLList& acls, std::int32_t scope) {
  if (scope != ACL_TYPE_ACCESS && scope != ACL_TYPE_DEFAULT) {
    // The number belongs to the text: callers match on it.
    throwLogged("convert", "convert,807 unknown acl scope: " + std::to_string(scope), 0);
  }
  const auto type = static_cast<unsigned>(scope);
  for (const auto& acl : acls) {
    if (acl->type() == type) return *acl;
  }
  return *acls.emplace_back(std::make_unique<ACL>(type));
}

struct Record {
  ACL* acl;
  ACL::Entry::Key key;
  std::int32_t perm;
};

// Reads up to `count` records, and makes the ACLs of their scopes. Throws at the first that is
// wrong; what came before it is in `records`.
void read(std::istream& in, std::int32_t count, ACLList& acls, std::vector<Record>& records) {
  std::int32_t id = 0;
  std::int32_t perm = 0;
  for (std::int32_t i = 0; i < count; ++i) {
    std::int32_t scope = 0;
    readInt(in, scope);
    ACL& acl = aclOfScope(acls, scope);
    acl_tag_t tag = ACL_UNDEFINED_TAG;
    readInt(in, tag);
    if (!isKnown(tag)) throwLogged("convert", "", 0);  // without a text, as callers know it
    if (isNamed(tag)) readInt(in, id);
    readInt(in, perm);
    records.push_back({&acl, {tag, isNamed(tag) ? static_cast<std::uint32_t>(id) : 0}, perm});
  }
}

void addEntries(std::vector<Record>& records) {
  sortForAdding(records);
  for (const Record& record : records) {
    const auto& [tag, id] = record.key;
    ACL::Entry entry(*record.acl);
    entry.set_tag(tag);
    if (isNamed(tag)) entry.set_qualifier(&id);
    entry.set_perm(record.perm);
  }
}

// Gives `put` the fields of each entry's record, one by one.
template <class Put>
void report(ACL& acl, Put put) {
  ZORF_LOG_BARE(LOG_TRACE, "AclEntry count:" << acl.size());
  ZORF_LOG_BARE(LOG_TRACE, "convert dump: " << acl.dump());
  for (const ACL::Entry& entry : acl) {
    const acl_tag_t tag = entry.get_tag();
    put(acl.type());
    put(static_cast<std::uint32_t>(tag));
    if (isNamed(tag)) put(entry.get_qualifier());
    put(static_cast<std::uint32_t>(entry.get_perm()));
  }
}

}  // namespace

void convert(std::istream& in, ACLList& acls) {
  std::int32_t count = 0;
  readInt(in, count);
  ZORF_LOG(LOG_TRACE, "aclspec entry size: " << count);
  std::vector<Record> records;
  try {
    read(in, count, acls, records);
  } catch (const IOException&) {
    addEntries(records);
    throw;
  }
  addEntries(records);
  for (const auto& acl : acls) ZORF_LOG_BARE(LOG_TRACE, "convert dump: " << acl->dump());
}

void changeAcls(const char* path, ACLList& changes, Change change) {
  const bool add = change == Change::ADD;
  for (const auto& changed : changes) {
    if (changed->empty()) continue;
    ACL acl(path, changed->type());
    (add ? acl + *changed : acl - *changed).set_file(path, add);
  }
}

void convert(ACLList& acls, std::ostream& out) {
  for (const auto& acl : acls) {
    report(*acl, [&](std::uint32_t field) {
      out.write(reinterpret_cast<const char*>(&field), sizeof field);
    });
  }
}

void convert(ACL& acl, std::pmr::vector<std::uint32_t>& fields) {
  report(acl, [&](std::uint32_t field) { fields.push_back(field); });
}
