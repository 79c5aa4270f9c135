// One function outside the library that a test can make fail at its n-th call.
#pragma once

struct FaultPoint {
  const char* name;
  int calls = 0;
  int countdown = 0;  // 1: the next call fails, 0: none does
  int err = 0;

  // Counts a call. Whether it must fail, with `err`.
  bool hit() {
    ++calls;
    return countdown != 0 && --countdown == 0;
  }
  void reset() { calls = countdown = err = 0; }
};
