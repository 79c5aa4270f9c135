// One row: a loop that is called for many rounds at a time, so that calling it costs nothing.
#pragma once

#include <jni.h>

#include <functional>
#include <string>

#include "bare.h"

struct Loop {
  // Runs `calls` rounds in the calling thread.
  std::function<void(int calls, int thread)> run;
  bool java = false;  // threads are attached to the JVM for it
};

// A row of rowsOf(). `prepare` runs before each batch.
Loop javaLoop(jobject rows, const std::string& name, const std::function<void()>& prepare = {});
Loop cppLoop(const BareLoop& loop);

// Registers a benchmark; with `threads`, also with 2, 4 and 8 of them. The loop runs first until it
// is compiled, and until it is known how many rounds make a batch.
void addRow(const std::string& name, const Loop& loop, bool threads = false);
