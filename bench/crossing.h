// Natives of the same arguments and results as the library's that do nothing.
#pragma once

#include <jni.h>

#include <cstdint>

// Whether they take their arguments apart too, into C strings and bytes, as any native must.
extern bool crossingTakesArguments;

// The bytes of the block location stream of that policy and size index, for results of its size.
void setBlocksResult(int policy, int size, std::uint64_t bytes);

// Registers them with zorf.bench.EmptyLoops.
void registerCrossings(JNIEnv* env, jclass emptyLoops);
