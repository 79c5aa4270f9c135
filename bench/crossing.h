// Natives of the same arguments and results as the library's that do nothing, or next to nothing.
#pragma once

#include <jni.h>

#include <cstdint>
#include <string>

enum class Crossing {
  EMPTY,   // make a result and do nothing else
  VALUES,  // take their arguments apart too, into C strings and bytes, as any native must
  FLOOR,   // make the bare calls too, those that have a floor: the least that a native can cost
};
extern Crossing crossing;

// Whether the native of that name has a floor.
bool hasFloor(const std::string& name);

// The bytes of the block location stream of that policy and size index, for results of its size.
void setBlocksResult(int policy, int size, std::uint64_t bytes);

// Registers them with zorf.bench.EmptyLoops.
void registerCrossings(JNIEnv* env, jclass emptyLoops);
