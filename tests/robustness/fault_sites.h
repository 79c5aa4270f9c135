// Everything outside the library that its natives call and that can fail: system calls, the client
// library, libacl.
#pragma once

#include <string>
#include <vector>

#include "robustness/fault_point.h"
#include "robustness/faulty_acl.h"
#include "support/interpose.h"

class FaultSite {
 public:
  explicit FaultSite(const char* systemCall) : name_(systemCall) {}
  explicit FaultSite(FaultPoint& point) : name_(point.name), point_(&point) {}

  const std::string& name() const { return name_; }
  // How often it has been called in the scope of `hooks`, which must have begun with reset().
  int calls(const Hooks& hooks) const { return point_ ? point_->calls : hooks.calls(name_); }
  // Its `nth` call from now on fails with errno `err`.
  void fail(Hooks& hooks, int err, int nth) const {
    if (point_ == nullptr) return hooks.fail(name_, err, nth);
    point_->err = err;
    point_->countdown = nth;
  }
  void reset() const {
    if (point_ != nullptr) point_->reset();
  }

 private:
  std::string name_;
  FaultPoint* point_ = nullptr;  // null: a system call
};

// Without setfsuid, setfsgid and umask, which have no way to tell of a failure.
std::vector<FaultSite> faultSites(const FaultyAcl& acl);
