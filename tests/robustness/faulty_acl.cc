#include "robustness/faulty_acl.h"

#include <cerrno>
#include <string_view>
#include <type_traits>

#include "acl/aclutil.h"

namespace {

long handedOut = 0;

// Results that the caller must free. acl_error's text and acl_copy_ext's size are not among them.
bool handsOut(std::string_view function) {
  for (const char* name :
       {"acl_init", "acl_dup", "acl_copy_int", "acl_get_qualifier", "acl_get_file", "acl_get_fd",
        "acl_from_text", "acl_from_mode", "acl_to_text", "acl_to_any_text"}) {
    if (function == name) return true;
  }
  return false;
}

template <auto Slot>
struct Faulty;

template <class Result, class... Arguments, Result (**Slot)(Arguments...)>
struct Faulty<Slot> {
  static inline Result (*real)(Arguments...) = nullptr;
  static inline FaultPoint fault{.name = ""};
  static inline bool counted = false;

  static Result call(Arguments... arguments) {
    if constexpr (std::is_pointer_v<Result>) {
      if (fault.hit()) return refused<Result>(nullptr);
      Result result = real(arguments...);
      if (counted && result != nullptr) ++handedOut;
      return result;
    } else {
      return fault.hit() ? refused<Result>(-1) : real(arguments...);
    }
  }

  template <class R>
  static R refused(R result) {
    errno = fault.err;
    return result;
  }

  static void install(const char* name) {
    fault.name = name;
    counted = handsOut(name);
    real = *Slot;
    *Slot = call;
  }
};

int (*realFree)(void*) = nullptr;

int countedFree(void* object) {
  --handedOut;
  return realFree(object);
}

}  // namespace

FaultyAcl::FaultyAcl() {
  ACLUtil::init();  // before the virtual machine loads the library, which then leaves it alone
#define ZORF_INSTALL(function)                    \
  Faulty<&ACLUtil::function>::install(#function); \
  faults_.push_back(&Faulty<&ACLUtil::function>::fault);
  ZORF_LIBACL_FUNCTIONS(ZORF_INSTALL)
#undef ZORF_INSTALL
  // Memory is always given back.
  std::erase(faults_, &Faulty<&ACLUtil::acl_free>::fault);
  realFree = Faulty<&ACLUtil::acl_free>::real;
  ACLUtil::acl_free = countedFree;
}

FaultyAcl::~FaultyAcl() {
#define ZORF_REMOVE(function) ACLUtil::function = Faulty<&ACLUtil::function>::real;
  ZORF_LIBACL_FUNCTIONS(ZORF_REMOVE)
#undef ZORF_REMOVE
}

long FaultyAcl::objects() const {
  return handedOut;
}
