// Specifications as Java may send them, merged into and removed from another one. No file is
// touched.
#include <cassert>
#include <sstream>

#include "acl/exchange.h"
#include "base/ioexception.h"
#include "fuzz/input.h"

namespace {

void read(const std::string& bytes, ACLList& acls) {
  std::istringstream in(bytes);
  try {
    convert(in, acls);
  } catch (const IOException& e) {
    assert(e.errorNumber == 0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool bound = ACLUtil::init();
  if (!bound || size > 4096) return 0;
  Input input(data, size);
  const std::string changeBytes = input.bytes(input.number<std::uint16_t>());
  ACLList changes;
  read(changeBytes, changes);
  ACLList base;
  read(input.rest(), base);
  assert(changes.size() <= 2 && base.size() <= 2);
  for (const auto& change : changes) {
    for (const auto& acl : base) {
      const std::size_t before = acl->size();
      try {
        *acl + *change;
        assert(acl->size() >= before);
        *acl - *change;
        // What was merged is gone again, so that nothing of the change is left to remove.
        const std::size_t after = acl->size();
        assert(after <= before || after <= before + change->size());
        acl->valid();
      } catch (const IOException&) {
      }
    }
  }
  // What is reported reads back as the same.
  std::ostringstream report;
  convert(base, report);
  std::int32_t entries = 0;
  for (const auto& acl : base) entries += static_cast<std::int32_t>(acl->size());
  std::string again(reinterpret_cast<const char*>(&entries), sizeof entries);
  again += report.str();
  ACLList copies;
  read(again, copies);
  std::ostringstream second;
  convert(copies, second);
  assert(second.str() == report.str());
  return 0;
}
