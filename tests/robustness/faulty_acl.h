// libacl behind the library's table, with failures on demand and an account of its objects.
#pragma once

#include <vector>

#include "robustness/fault_point.h"

// Puts itself before every function of the table for the life of the object; one at a time.
class FaultyAcl {
 public:
  FaultyAcl();
  ~FaultyAcl();
  FaultyAcl(const FaultyAcl&) = delete;
  FaultyAcl& operator=(const FaultyAcl&) = delete;

  // All functions of the table but acl_free. One that fails returns null or -1 and sets errno.
  const std::vector<FaultPoint*>& faults() const { return faults_; }
  // ACLs, qualifiers and texts that libacl has handed out and not got back yet.
  long objects() const;

 private:
  std::vector<FaultPoint*> faults_;
};
