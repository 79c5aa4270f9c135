#!/bin/sh
# skipped_test.sh: what the last line of ./dev test says of a log of ctest.
set -eu
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/Testing/Temporary"

# says LINE: this is said of the log on standard input.
says() {
  cat >"$scratch/Testing/Temporary/LastTest.log"
  "$(dirname "$0")/../skipped.sh" "$scratch" >"$scratch/said"
  echo "$1" | diff - "$scratch/said"
}

says "2 tests skipped: may not mount (1); there is no Maven (1)" <<'LOG'
1/3 Testing: maven
skipped: there is no Maven
2/3 Testing: users_test.jdk17
skipped: may not mount, for users of its own
3/3 Testing: standin_test
[       OK ] Standin.Answers (0 ms)
LOG

says "1 test skipped: needs root (1)" <<'LOG'
1/2 Testing: acl_test.jdk17
[       OK ] Acl.OfAnotherUser (1 ms)
acl_test.cc:20: Skipped
needs root, to make devices
[  SKIPPED ] Acl.OfADevice (0 ms)
2/2 Testing: acl_test.ordinary
acl_test.cc:10: Skipped
needs root, to switch identities
[  SKIPPED ] Acl.OfAnotherUser (0 ms)
acl_test.cc:20: Skipped
needs root, to make devices
[  SKIPPED ] Acl.OfADevice (0 ms)
LOG

# With the marks of a JVM that writes UTF-8, and of one that doesn't.
says "2 tests skipped: no virtual threads (2)" <<'LOG'
1/1 Testing: users_test.jdk17
└─ JUnit Jupiter ✔
   ├─ VirtualThreadsTest ✔
   │  ├─ mayCall() ■ Assumption failed: no virtual threads
   │  └─ mayNotServe() ■ Assumption failed: no virtual threads
   └─ LimitsTest ✔
      └─ mayCall() ✔
LOG
says "1 test skipped: no virtual threads (1)" <<'LOG'
1/2 Testing: users_test.jdk17
'-- JUnit Jupiter [OK]
  '-- VirtualThreadsTest [OK]
    +-- mayCall() [A] Assumption failed: no virtual threads
    '-- mayNotServe() [A] Assumption failed: no virtual threads
2/2 Testing: users_test.jdk25
'-- JUnit Jupiter [OK]
  +-- VirtualThreadsTest [OK]
  | '-- mayCall() [OK]
  '-- LimitsTest [OK]
    '-- mayNotServe() [OK]
LOG
