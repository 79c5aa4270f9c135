// Natives of the same arguments and results as the library's that do next to nothing.
#pragma once

#include <jni.h>

#include <cstdint>

enum class Crossing {
  VALUES,  // take their arguments apart, into C strings and bytes, and make a result
  FLOOR,   // make the bare calls too: the least that a native can cost
};
extern Crossing crossing;

// The bytes of the block location stream of that policy and size index, for results of its size.
void setBlocksResult(int policy, int size, std::uint64_t bytes);

// Registers them with zorf.bench.EmptyLoops.
void registerCrossings(JNIEnv* env, jclass emptyLoops);
