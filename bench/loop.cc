#include "loop.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "java.h"

namespace {

using Clock = std::chrono::steady_clock;

// Rounds enough for the compilers of the JVM, but no more than a moment of slow ones.
constexpr int WARM_ROUNDS = 60000;
constexpr auto WARM_TIME = std::chrono::milliseconds(400);
constexpr auto BATCH_TIME = std::chrono::milliseconds(1);

struct Row {
  Loop loop;
  int batch = 0;  // 0: not warm yet
};

// Returns the rounds that make a batch.
int warmUp(const Loop& loop) {
  const auto start = Clock::now();
  int done = 0;
  int batch = 1;
  Clock::duration last{};
  while (done < WARM_ROUNDS && Clock::now() - start < WARM_TIME) {
    const auto before = Clock::now();
    loop.run(batch, 0);
    last = Clock::now() - before;
    done += batch;
    if (last < BATCH_TIME && batch < 1 << 14) batch *= 2;
  }
  return batch;
}

void measure(benchmark::State& state, Row& row) {
  JNIEnv* env = row.loop.java ? javaEnv() : nullptr;
  if (row.batch == 0) row.batch = warmUp(row.loop);
  const int batch = row.batch;
  while (state.KeepRunningBatch(batch)) row.loop.run(batch, state.thread_index());
  state.SetItemsProcessed(state.iterations());
  if (env != nullptr && state.thread_index() != 0) detachJava();
}

}  // namespace

Loop javaLoop(jobject rows, const std::string& name, const std::function<void()>& prepare) {
  jmethodID run = javaEnv()->GetMethodID(benchClass("Rows"), "run", "(Ljava/lang/String;II)V");
  jobject javaName = javaEnv()->NewGlobalRef(javaText(name));
  return {[=](int calls, int thread) {
            if (prepare) prepare();
            JNIEnv* env = javaEnv();
            env->CallVoidMethod(rows, run, javaName, jint{calls}, jint{thread});
            requireNoException(env, name);
          },
          true};
}

Loop cppLoop(const BareLoop& loop) {
  return {loop, false};
}

void addRow(const std::string& name, const Loop& loop, bool threads) {
  auto row = std::make_shared<Row>(Row{loop});
  auto* registered = benchmark::RegisterBenchmark(
      name.c_str(), [row](benchmark::State& state) { measure(state, *row); });
  registered->UseRealTime();
  if (!threads) return;
  registered->Threads(1)->Threads(2)->Threads(4)->Threads(8);
}
