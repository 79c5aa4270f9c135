// What Java must see when one call outside the library fails, native by native.
#pragma once

#include <string>
#include <vector>

#include "robustness/all_natives.h"

struct FailureRule {
  enum Effect {
    NONE,       // the answer is the usual one
    RAISES,     // the exception of the errno, and the neutral value
    RETURNS,    // another value: `messages` holds its text
    UNCHECKED,  // the library doesn't look: the usual answer with less in it, or EINVAL because an
                // ACL has become malformed
  };

  std::string native = {};
  std::string call = {};
  Effect effect = NONE;
  std::vector<std::string> messages = {};  // those that may follow the system's text
  int first = 1;                           // the calls that it holds for
  int last = 1 << 30;
  int err = -1;  // raised in place of the call's own errno when not -1
  std::string situation = "*";
};

// The first rule that holds for the `nth` call in the native; NONE where there is none.
FailureRule ruleFor(const NativeCall& native, const std::string& call, int nth, int err);

// The errno that Java sees.
int reportedErrno(const FailureRule& rule, int err);
