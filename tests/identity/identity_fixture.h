// The fixture of identities with Java: its threads are attached ones.
#pragma once

#include "core/identity/identity_fixture.h"
#include "support/jvm.h"

class IdentityInJvm : public InJvm<IdentityTest> {
 protected:
  void onOwnThread(const std::function<void()>& body) {
    IdentityTest::onOwnThread([&] {
      const AttachedThread attached;
      body();
    });
  }
};
