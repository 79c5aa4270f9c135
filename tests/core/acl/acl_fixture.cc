#include "core/acl/acl_fixture.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <utility>

#include "support/commands.h"

namespace {

// The real functions behind the watching ones below.
struct Real {
  decltype(ACLUtil::acl_init) init;
  decltype(ACLUtil::acl_get_file) getFile;
  decltype(ACLUtil::acl_from_text) fromText;
  decltype(ACLUtil::acl_to_text) toText;
  decltype(ACLUtil::acl_get_qualifier) getQualifier;
  decltype(ACLUtil::acl_free) free;
} real;

// What libacl gave out and did not get back, on any thread. Watching must not allocate: tests count
// allocations and let them fail.
std::array<std::atomic<void*>, 64> live{};

// Puts one object into another's place, if that is still there anywhere.
bool exchange(void* known, void* object) {
  return std::any_of(live.begin(), live.end(), [&](std::atomic<void*>& place) {
    void* expected = known;
    return place.compare_exchange_strong(expected, object);
  });
}

template <class T>
T* watched(T* object) {
  if (object != nullptr && !exchange(nullptr, object)) {
    ADD_FAILURE() << "more objects of libacl than are watched";
  }
  return object;
}

int watchedFree(void* object) {
  if (object == nullptr || !exchange(object, nullptr)) {
    ADD_FAILURE() << "acl_free of something libacl did not give out, or twice";
    return -1;
  }
  return real.free(object);
}

void watchLibacl() {
  real = {ACLUtil::acl_init,    ACLUtil::acl_get_file,      ACLUtil::acl_from_text,
          ACLUtil::acl_to_text, ACLUtil::acl_get_qualifier, ACLUtil::acl_free};
  for (auto& place : live) place = nullptr;
  ACLUtil::acl_init = [](int count) { return watched(real.init(count)); };
  ACLUtil::acl_get_file = [](const char* path, acl_type_t type) {
    return watched(real.getFile(path, type));
  };
  ACLUtil::acl_from_text = [](const char* text) { return watched(real.fromText(text)); };
  ACLUtil::acl_to_text = [](acl_t acl, ssize_t* length) {
    return watched(real.toText(acl, length));
  };
  ACLUtil::acl_get_qualifier = [](acl_entry_t entry) { return watched(real.getQualifier(entry)); };
  ACLUtil::acl_free = watchedFree;
}

void unwatchLibacl() {
  ACLUtil::acl_init = real.init;
  ACLUtil::acl_get_file = real.getFile;
  ACLUtil::acl_from_text = real.fromText;
  ACLUtil::acl_to_text = real.toText;
  ACLUtil::acl_get_qualifier = real.getQualifier;
  ACLUtil::acl_free = real.free;
}

}  // namespace

std::string int32Bytes(long long value) {
  const auto word = static_cast<std::int32_t>(value);
  std::string bytes(sizeof word, '\0');
  std::memcpy(bytes.data(), &word, sizeof word);
  return bytes;
}

std::string reportOf(const std::vector<AclRecord>& records) {
  std::string bytes;
  for (const AclRecord& r : records) {
    bytes += int32Bytes(r.scope) + int32Bytes(r.tag);
    if (r.tag == kUser || r.tag == kGroup) bytes += int32Bytes(r.id);
    bytes += int32Bytes(r.perm);
  }
  return bytes;
}

std::string specOf(const std::vector<AclRecord>& records) {
  return int32Bytes(static_cast<long long>(records.size())) + reportOf(records);
}

ACL::Entry addEntry(ACL& acl, int tag, unsigned id, int perm) {
  ACL::Entry entry(acl);
  entry.set_tag(tag);
  if (tag == kUser || tag == kGroup) entry.set_qualifier(&id);
  entry.set_perm(perm);
  return entry;
}

std::string entriesOf(ACL& acl) {
  std::string text;
  for (auto it = acl.begin(); !it.cmp(acl.end()); it++) {
    if (!text.empty()) text += ",";
    text += it.dump();
  }
  return text;
}

std::string getfacl(const std::string& path) {
  std::string text = outputOf({"getfacl", "-nEcp", path});
  while (!text.empty() && text.back() == '\n') text.pop_back();
  std::replace(text.begin(), text.end(), '\n', ',');
  return text;
}

void setfacl(const std::string& spec, const std::string& path) {
  outputOf({"setfacl", "-m", spec, path});
}

ClosedDirectory::ClosedDirectory(std::string path) : path_(std::move(path)) {
  EXPECT_EQ(chmod(path_.c_str(), 0), 0);
  nobody_.emplace(65534, 65534);
}

ClosedDirectory::~ClosedDirectory() {
  nobody_.reset();
  EXPECT_EQ(chmod(path_.c_str(), 0700), 0);
}

void AclTest::SetUp() {
  FilesTest::SetUp();
  ASSERT_TRUE(ACLUtil::init()) << "libacl.so.1 is needed here";
  takeLog();
  watchLibacl();
  watching_ = true;
}

void AclTest::TearDown() {
  if (watching_) {
    const auto lost = std::count_if(live.begin(), live.end(),
                                    [](const auto& place) { return place.load() != nullptr; });
    EXPECT_EQ(lost, 0) << "objects of libacl not freed";
    unwatchLibacl();
  }
  FilesTest::TearDown();
}

bool AclTest::isRoot() {
  return geteuid() == 0;
}

std::vector<std::string> AclTest::logAt(LOG_LEVEL level) {
  static const char* const names[] = {"trace", "debug", "info", "warn", "error", "fatal"};
  std::vector<std::string> kept;
  for (const std::string& line : takeLogWithoutLines()) {
    const std::string name = line.substr(0, line.find(' '));
    const auto rank = std::find(std::begin(names), std::end(names), name) - std::begin(names);
    if (rank >= level && line.find(" @cmp:#") == std::string::npos) kept.push_back(line);
  }
  return kept;
}
