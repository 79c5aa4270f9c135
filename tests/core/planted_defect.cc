// planted_defect NAME: has that defect, for the sanitizers to find.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>
#include <thread>

namespace {

// Read through these, so that no compiler sees the defects coming.
volatile int four = 4;
volatile int forty = 40;
int* volatile kept = nullptr;

int overflow() {
  const auto heap = std::make_unique<int[]>(static_cast<std::size_t>(four));
  return heap[static_cast<std::size_t>(four)];
}

int leak() {
  kept = new int[4]();
  const int value = kept[0];
  kept = nullptr;
  return value;
}

int shift() {
  return 1 << forty;
}

int race() {
  int shared = 0;
  std::thread other([&] { ++shared; });
  ++shared;
  other.join();
  return shared;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view name = argc > 1 ? argv[1] : "";
  int result = 0;
  if (name == "overflow") result = overflow();
  if (name == "leak") result = leak();
  if (name == "shift") result = shift();
  if (name == "race") result = race();
  std::printf("%d\n", result);
  return 0;
}
