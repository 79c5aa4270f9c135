#include "support/interpose.h"

#include <dlfcn.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <iterator>
#include <new>
#include <stdexcept>
#include <string>

// The program's own code, as the linker marks it.
extern "C" const char __executable_start;
extern "C" const char etext;

namespace {

enum Function : std::size_t {
#define ZORF_INDEX(name, ...) FN_##name,
  ZORF_INTERPOSED_CALLS(ZORF_INDEX) ZORF_INTERPOSED_BY_HAND(ZORF_INDEX)
#undef ZORF_INDEX
      FIRST_ALLOCATION,
  FN_new = FIRST_ALLOCATION,
  FN_newArray,
  FN_newNothrow,
  FN_newArrayNothrow,
  FN_anyAllocation,
  FUNCTIONS,
};

constexpr std::string_view names[] = {
#define ZORF_NAME(name, ...) #name,
    ZORF_INTERPOSED_CALLS(ZORF_NAME) ZORF_INTERPOSED_BY_HAND(ZORF_NAME)
#undef ZORF_NAME
        "operator new",
    "operator new[]",
    "operator new(nothrow)",
    "operator new[](nothrow)",
    "any allocation",
};
static_assert(std::size(names) == FUNCTIONS);

std::size_t indexOf(std::string_view function) {
  for (std::size_t i = 0; i < FUNCTIONS; ++i) {
    if (names[i] == function) return i;
  }
  throw std::invalid_argument("not interposed: " + std::string(function));
}

// Plain words, so that they can be read at any moment of a thread's life.
constinit thread_local Hooks* active = nullptr;
// Set while a hook or a real allocator runs: what these call in turn is none of the test's
// business.
constinit thread_local bool inside = false;

class Inside {
 public:
  Inside() { inside = true; }
  ~Inside() { inside = false; }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;
};

template <class Pointer>
Pointer realFunction(const char* symbol) {
  void* found = dlsym(RTLD_NEXT, symbol);
  if (found == nullptr) std::abort();
  return reinterpret_cast<Pointer>(found);
}

// Found at its first use, without the guard of an initialiser: the thread sanitizer comes by before
// it can take one.
template <class Pointer>
class Real {
 public:
  Pointer named(const char* symbol) {
    Pointer function = function_.load(std::memory_order_relaxed);
    if (function == nullptr) {
      function = realFunction<Pointer>(symbol);
      function_.store(function, std::memory_order_relaxed);
    }
    return function;
  }

 private:
  std::atomic<Pointer> function_ = nullptr;
};

Hooks* hooks() {
  return inside ? nullptr : active;
}

// Whether the code that returns to `address` is the program's: a shared library, such as a name
// service module, binds to these definitions too and must not be disturbed.
bool isOfProgram(const void* address) {
  return address >= &__executable_start && address < &etext;
}

template <class Hook, class Real, class Failure, class... Arguments>
auto dispatch(const void* caller, std::size_t index, Hook Hooks::*hook, Real real, Failure failure,
              Arguments... arguments) -> decltype(real(arguments...)) {
  Hooks* scope = isOfProgram(caller) ? hooks() : nullptr;
  if (scope == nullptr) return real(arguments...);
  if (const int err = scope->enter(index)) {
    const auto result = failure(err);
    errno = err;
    return result;
  }
  if (!(scope->*hook)) return real(arguments...);
  const Inside guard;
  return (scope->*hook)(arguments...);
}

}  // namespace

Hooks::Hooks() : outer_(active) {
  static_assert(FUNCTIONS <= capacity);
  active = this;
}

Hooks::~Hooks() {
  active = outer_;
}

void Hooks::fail(std::string_view function, int err, int nth) {
  Fault& fault = faults_[indexOf(function)];
  fault.countdown = nth;
  fault.err = err;
}

bool Hooks::awaits(std::string_view function) const {
  return faults_[indexOf(function)].countdown > 0;
}

int Hooks::calls(std::string_view function) const {
  return faults_[indexOf(function)].calls;
}

int Hooks::calls() const {
  int sum = 0;
  for (std::size_t i = 0; i < FIRST_ALLOCATION; ++i) sum += faults_[i].calls;
  return sum;
}

int Hooks::enter(std::size_t index) {
  Fault& fault = faults_[index];
  ++fault.calls;
  if (fault.countdown == 0 || --fault.countdown > 0) return 0;
  return fault.err;
}

#define ZORF_UNWRAP(...) __VA_ARGS__
#define ZORF_BODY(name, result, parameters, arguments, failure)   \
  static constinit Real<result(*) parameters> cell;               \
  const auto real = cell.named(#name);                            \
  return dispatch(                                                \
      __builtin_return_address(0), FN_##name, &Hooks::name, real, \
      [&]([[maybe_unused]] int err) -> result { return failure; }, ZORF_UNWRAP arguments);

extern "C" {

#define ZORF_DEFINE(name, result, parameters, arguments, failure) \
  result name parameters noexcept(noexcept(::name arguments)) {   \
    ZORF_BODY(name, result, parameters, arguments, failure)       \
  }
ZORF_INTERPOSED_CALLS(ZORF_DEFINE)
#undef ZORF_DEFINE

int open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = va_arg(more, mode_t);
  va_end(more);
  using Open = int (*)(const char*, int, ...);
  static constinit Real<Open> cell;
  const auto real = cell.named("open");
  return dispatch(
      __builtin_return_address(0), FN_open, &Hooks::open, real, [](int) { return -1; }, path, flags,
      mode);
}

ssize_t readlink(const char* path, char* buffer, std::size_t size) noexcept {
  ZORF_BODY(readlink, ssize_t, (const char*, char*, std::size_t), (path, buffer, size), -1)
}

int getgroups(int size, gid_t* list) noexcept {
  ZORF_BODY(getgroups, int, (int, gid_t*), (size, list), -1)
}

// Takes all six arguments that a call may have, also those that nobody passed.
__attribute__((no_sanitize("address"))) long syscall(long number, ...) noexcept {
  long a[6];
  va_list more;
  va_start(more, number);
  for (long& value : a) value = va_arg(more, long);
  va_end(more);
  using Syscall = long (*)(long, ...);
  static constinit Real<Syscall> cell;
  const auto next = cell.named("syscall");
  const auto real = [&a, next](long n, long x, long y, long z) {
    return next(n, x, y, z, a[3], a[4], a[5]);
  };
  return dispatch(
      __builtin_return_address(0), FN_syscall, &Hooks::syscall, real, [](int) { return -1L; },
      number, a[0], a[1], a[2]);
}

// What fortified code calls in place of open, readlink and getgroups.
int __open_2(const char* path, int flags);
int __open_2(const char* path, int flags) {
  return open(path, flags, 0);
}
ssize_t __readlink_chk(const char* path, char* buffer, std::size_t size, std::size_t room) noexcept;
ssize_t __readlink_chk(const char* path, char* buffer, std::size_t size,
                       std::size_t room) noexcept {
  if (size > room) std::abort();
  return readlink(path, buffer, size);
}
int __getgroups_chk(int size, gid_t* list, std::size_t room) noexcept;
int __getgroups_chk(int size, gid_t* list, std::size_t room) noexcept {
  if (size > 0 && static_cast<std::size_t>(size) * sizeof(gid_t) > room) std::abort();
  return getgroups(size, list);
}

}  // extern "C"

namespace {

// Null when the test wants this allocation to fail; `real` frees nothing and counts nothing itself.
template <class Real, class... Nothrow>
void* allocate(std::size_t index, Real real, std::size_t size, Nothrow... nothrow) {
  Hooks* scope = hooks();
  if (scope == nullptr) return real(size, nothrow...);
  const bool refused = scope->enter(index) != 0;
  if (scope->enter(FN_anyAllocation) != 0 || refused) return nullptr;
  const Inside guard;
  void* block = real(size, nothrow...);
  if (block != nullptr) scope->allocated(1);
  return block;
}

template <class Real, class... Size>
void release(Real real, void* block, Size... size) {
  Hooks* scope = hooks();
  if (scope == nullptr) return real(block, size...);
  const Inside guard;
  real(block, size...);
  if (block != nullptr) scope->allocated(-1);
}

using Throwing = void* (*)(std::size_t);
using Nothrow = void* (*)(std::size_t, const std::nothrow_t&);
using Delete = void (*)(void*);
using SizedDelete = void (*)(void*, std::size_t);

void* orThrow(void* block) {
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

void* operator new(std::size_t size) {
  static constinit Real<Throwing> cell;
  const auto real = cell.named("_Znwm");
  return orThrow(allocate(FN_new, real, size));
}
void* operator new[](std::size_t size) {
  static constinit Real<Throwing> cell;
  const auto real = cell.named("_Znam");
  return orThrow(allocate(FN_newArray, real, size));
}
void* operator new(std::size_t size, const std::nothrow_t& tag) noexcept {
  static constinit Real<Nothrow> cell;
  const auto real = cell.named("_ZnwmRKSt9nothrow_t");
  return allocate(FN_newNothrow, real, size, tag);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  static constinit Real<Nothrow> cell;
  const auto real = cell.named("_ZnamRKSt9nothrow_t");
  return allocate(FN_newArrayNothrow, real, size, tag);
}
void operator delete(void* block) noexcept {
  static constinit Real<Delete> cell;
  const auto real = cell.named("_ZdlPv");
  release(real, block);
}
void operator delete[](void* block) noexcept {
  static constinit Real<Delete> cell;
  const auto real = cell.named("_ZdaPv");
  release(real, block);
}
void operator delete(void* block, std::size_t size) noexcept {
  static constinit Real<SizedDelete> cell;
  const auto real = cell.named("_ZdlPvm");
  release(real, block, size);
}
void operator delete[](void* block, std::size_t size) noexcept {
  static constinit Real<SizedDelete> cell;
  const auto real = cell.named("_ZdaPvm");
  release(real, block, size);
}
