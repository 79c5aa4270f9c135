// Runs the tests, or as a second process one request on a file:
//     --child info PATH                           prints the replication and the factor
//     --child set PATH REPLICAS FACTOR            sets both and restripes
//     --child locations PATH START SKIP LENGTH    prints one line for each entry
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string>

#include "client.h"

namespace {

int fail(int err) {
  std::cout << "errno " << err << '\n';
  return 1;
}

int actAsChild(const std::string& action, char** arguments) {
  const int fd = open(arguments[0], O_RDONLY | O_CLOEXEC);
  if (action == "info") {
    const BlockInfo info = blockInfo(fd);
    if (info.err != 0) return fail(info.err);
    std::cout << info.replicas << ' ' << (info.factor ? std::to_string(*info.factor) : "none")
              << '\n';
  } else if (action == "set") {
    int err = setReplication(fd, std::atoi(arguments[1]));
    if (err == 0) err = setFactor(fd, std::atoi(arguments[2]));
    if (err == 0) err = restripe(fd);
    if (err != 0) return fail(err);
  } else {
    const Locations found = locations(fd, std::strtoull(arguments[1], nullptr, 10),
                                      std::strtoull(arguments[2], nullptr, 10),
                                      std::strtoull(arguments[3], nullptr, 10));
    if (found.err != 0) return fail(found.err);
    const auto perEntry = static_cast<std::size_t>(2 * found.replicas);
    for (std::size_t i = 0; i < found.words.size(); ++i) {
      std::cout << found.words[i] << ((i + 1) % perEntry == 0 ? '\n' : ' ');
    }
  }
  close(fd);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 3 && std::string(argv[1]) == "--child") return actAsChild(argv[2], argv + 3);
  testing::InitGoogleTest(&argc, argv);
  unsetenv("ZORF_TOPOLOGY");
  return RUN_ALL_TESTS();
}
