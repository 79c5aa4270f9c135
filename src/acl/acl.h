// POSIX ACLs of files: one ACL object is the access or the default ACL of one file, or a set of
// entries bound to no file.
//
// Failures are thrown as the native IOException, after a warn line that holds its message. Every
// constructor throws when libacl is not bound, so whoever holds an ACL may call libacl. An object
// belongs to one thread, and only one walk over its entries may be under way: libacl keeps the
// position inside the ACL itself.
//
//   ACL acl(path, ACL_TYPE_ACCESS);
//   for (ACL::Entry& entry : acl) perms |= entry.get_perm();
//
// What a walk calls at every entry is inline: a report costs little more than libacl's own calls.
#pragma once

#include <sys/acl.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "acl/aclerror.h"
#include "acl/aclutil.h"

// Whether entries of that tag carry the id of a user or group.
inline bool isNamed(acl_tag_t tag) {
  return tag == ACL_USER || tag == ACL_GROUP;
}

class ACL {
 public:
  // A handle on one entry, or on none. Cheap to copy; valid while its owner keeps its libacl handle
  // and the entry is not removed.
  class Entry {
   public:
    // A new entry, without tag and permissions, at the end of `owner`.
    explicit Entry(ACL& owner);
    // With a source, a new entry of `owner` that is a copy of it; without, no entry.
    Entry(ACL& owner, acl_entry_t source);

    // Move to the owner's first entry, or to the one after the last that was asked for. False, and
    // no entry, at the end. The current entry may be removed before next().
    bool first() { return move(ACL_FIRST_ENTRY, __func__); }
    bool next() { return move(ACL_NEXT_ENTRY, __func__); }

    acl_tag_t get_tag() const {
      acl_tag_t tag = ACL_UNDEFINED_TAG;
      if (ACLUtil::acl_get_tag_type(entry_, &tag) == -1) throwErrno(__func__, owner_->path_);
      return tag;
    }
    void set_tag(acl_tag_t tag);
    // The uid or gid of a named entry; any other entry has none and throws.
    std::uint32_t get_qualifier() const;
    void set_qualifier(const void* id);  // points to the 32-bit id

    int get_perm() const {
      acl_permset_t permissions = permset();
      int perm = 0;
      for (const int bit : {ACL_READ, ACL_WRITE, ACL_EXECUTE}) {
        if (ACLUtil::acl_get_perm(permissions, static_cast<acl_perm_t>(bit)) == 1) perm |= bit;
      }
      return perm;
    }
    void set_perm(int perm);  // adds to the permissions that are there
    void clear_perm();

    // Takes tag, qualifier and permissions of `source`, an entry of any ACL.
    Entry& copy(const acl_entry_t& source);
    void remove();

    // Whether both have the same tag and, when named, the same qualifier, also in different ACLs;
    // no entry equals only the same ACL's no entry.
    bool cmp(const Entry& other) const {
      if (owner_->handle() == other.owner_->handle() && entry_ == other.entry_) return true;
      return entry_ != nullptr && other.entry_ != nullptr && sameKey(other);
    }

    // Tag and qualifier, 0 of an entry without one: in the order in which libacl keeps entries.
    using Key = std::pair<acl_tag_t, std::uint32_t>;
    Key key() const {
      const acl_tag_t tag = get_tag();
      return {tag, isNamed(tag) ? get_qualifier() : 0};
    }

    // Such as "user_obj::rwx", "user:1001:r-x", "mask::r--".
    std::string dump() const;

    acl_entry_t handle() const { return entry_; }

   private:
    bool move(int which, const char* function) {
      const int rc = ACLUtil::acl_get_entry(owner_->handle(), which, &entry_);
      if (rc == -1) throwErrno(function, owner_->path_);
      if (rc != 1) entry_ = nullptr;
      return rc == 1;
    }
    acl_permset_t permset() const {
      acl_permset_t permissions = nullptr;
      ACLUtil::acl_get_permset(entry_, &permissions);
      return permissions;
    }
    bool sameKey(const Entry& other) const;

    ACL* owner_;
    acl_entry_t entry_ = nullptr;
  };

  class iterator : public Entry {
   public:
    explicit iterator(ACL& owner) : Entry(owner, nullptr) {}

    Entry& operator*() { return *this; }
    Entry* operator->() { return this; }
    iterator& operator++() {
      next();
      return *this;
    }
    iterator operator++(int) {
      iterator before = *this;
      next();
      return before;
    }
    bool operator==(const iterator& other) const { return cmp(other); }
  };

  // An empty ACL of that type, ACL_TYPE_ACCESS or ACL_TYPE_DEFAULT, bound to no file.
  explicit ACL(unsigned type);
  // The file's ACL of that type.
  ACL(std::string path, unsigned type);
  // What to_text() of another object gave, with a NUL at its end.
  explicit ACL(const char* buffer);
  ACL(const ACL&) = delete;
  // Exchanges the entries of both, and only them. Not const: the source gives its own up.
  ACL& operator=(ACL& other);

  iterator begin();
  iterator end() { return iterator(*this); }
  bool empty() { return begin() == end(); }
  std::size_t size();

  // A line with the path, "nil" when there is none, then one line per entry.
  std::string dump();

  // The type as 4 bytes in host order and libacl's text of the entries, without a NUL at its end.
  // `length`, when given, becomes the length of it all.
  std::string to_text(long* length = nullptr);
  void from_text(const char* buffer);

  // Binds to `path` and reads its ACL of this type. A default ACL that may not be read counts as an
  // empty one, and so does any ACL of the empty path.
  void get_file(const std::string& path);
  // Writes to `path`, which need not be the own one. With `complete`, make_valid() comes first.
  // Always true: nothing has been written when it throws.
  bool set_file(const std::string& path, bool complete);

  // 0 when libacl accepts the ACL for a file, also for an empty default ACL; throws otherwise.
  int valid();
  // Adds the base entries that are missing, from the access ACL of `path` whatever the own type is,
  // and a mask where one is needed. An ACL without entries stays so.
  void make_valid(const std::string& path);

  // For each entry of `changes`, by Entry::cmp: mode 0 puts it in the place of the one here, or
  // appends it; mode 1 removes the one here, if any. Always true.
  bool changeEntries(ACL& changes, int mode);
  ACL& operator+(ACL& changes);
  ACL& operator-(ACL& changes);
  // Removes what extends the permission bits (in a default ACL the other entry too), completes the
  // rest and writes it to the own path.
  bool clear();

  acl_t handle() const { return handle_.get(); }
  unsigned type() const { return type_; }
  const std::string& path() const { return path_; }
  // Whether a change brought its own mask, which is then never recomputed.
  bool explicitMask() const { return explicitMask_; }

 private:
  struct Free {
    void operator()(void* memory) const { ACLUtil::acl_free(memory); }
  };

  void checkType() const;
  std::string entriesText() const;
  void changePairwise(ACL& changes, int mode);
  void changeByKey(ACL& changes, int mode);
  void addBaseEntries(const std::string& path, unsigned present);

  std::unique_ptr<std::remove_pointer_t<acl_t>, Free> handle_;
  unsigned type_;
  std::string path_;
  bool explicitMask_ = false;
};
