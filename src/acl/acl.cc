// ACLs as values: construction, walking, text.
#include "acl/acl.h"

#include <cstring>
#include <mutex>
#include <utility>

#include "acl/aclerror.h"

ACL::ACL(unsigned type) : type_(type) {
  checkType();
  get_file(path_);
}

ACL::ACL(std::string path, unsigned type) : type_(type), path_(std::move(path)) {
  checkType();
  get_file(path_);
}

ACL::ACL(const char* buffer) : type_(0) {
  from_text(buffer);
  checkType();
}

void ACL::checkType() const {
  if (type_ == ACL_TYPE_ACCESS || type_ == ACL_TYPE_DEFAULT) return;
  throwLogged("ACL", "Unknown type: " + std::to_string(type_), 0);
}

ACL& ACL::operator=(ACL& other) {
  handle_.swap(other.handle_);
  return *this;
}

ACL::iterator ACL::begin() {
  iterator it(*this);
  it.first();
  return it;
}

std::size_t ACL::size() {
  std::size_t count = 0;
  for (auto it = begin(); it != end(); it++) ++count;
  return count;
}

std::string ACL::dump() {
  const char* prefix = type_ == ACL_TYPE_DEFAULT  ? "default:"
                       : type_ == ACL_TYPE_ACCESS ? ""
                                                  : "undef:";
  std::string text = path_.empty() ? "nil" : path_;
  text += '\n';
  for (const Entry& entry : *this) {
    text += prefix;
    text += entry.dump();
    text += '\n';
  }
  return text;
}

std::string ACL::to_text(long* length) {
  std::string text(sizeof type_, '\0');
  std::memcpy(text.data(), &type_, sizeof type_);
  text += entriesText();
  if (length != nullptr) *length = static_cast<long>(text.size());
  return text;
}

// libacl's text of the entries, empty when it has none. The only lock of the library: libacl asks
// for names with getpwuid and getgrgid, which answer every thread in the same memory.
std::string ACL::entriesText() const {
  static std::mutex oneAtATime;
  const std::scoped_lock lock(oneAtATime);
  ssize_t length = 0;
  const std::unique_ptr<char, Free> text(ACLUtil::acl_to_text(handle(), &length));
  return text == nullptr ? std::string()
                         : std::string(text.get(), static_cast<std::size_t>(length));
}

void ACL::from_text(const char* buffer) {
  requireLibacl();
  path_.clear();
  std::memcpy(&type_, buffer, sizeof type_);
  handle_.reset();
  handle_.reset(ACLUtil::acl_from_text(buffer + sizeof type_));
  if (handle_ == nullptr) throwErrno(__func__, path_);
}
