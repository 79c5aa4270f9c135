// The two calls that the library exports.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "blocks/zorf_fcntl.h"
#include "records.h"
#include "topology.h"

#define ZORF_EXPORT __attribute__((visibility("default")))

namespace {

using standin::Target;
using standin::Topology;

// Null when the topology file is wrong, after that was said once.
const Topology* theTopology() noexcept {
  static const std::optional<Topology> topology = []() noexcept -> std::optional<Topology> {
    try {
      std::vector<std::string> errors;
      Topology loaded = standin::topologyFromEnvironment(errors);
      if (errors.empty()) return loaded;
      std::string text;
      for (const std::string& error : errors) text += "libzorf: " + error + "\n";
      std::fputs(text.c_str(), stderr);
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "libzorf: %s\n", failure.what());
    }
    return std::nullopt;
  }();
  return topology ? &*topology : nullptr;
}

// Read while the library loads: a later call may come from a thread that acts as a user who can't
// read the file.
[[maybe_unused]] const Topology* const readAtLoad = theTopology();

int call(int (*run)(const Target&, unsigned char*), int fd, void* buffer) {
  const int before = errno;
  const Topology* topology = theTopology();
  struct stat status = {};
  if (fstat(fd, &status) != 0) return -1;
  int err = EINVAL;
  if (topology != nullptr && buffer != nullptr) {
    err = run(Target{fd, status, *topology}, static_cast<unsigned char*>(buffer));
  }
  // A call that succeeds leaves errno alone, also when an attribute was absent.
  errno = err == 0 ? before : err;
  return err == 0 ? 0 : -1;
}

int refuse(const Target&, unsigned char*) {
  return EINVAL;
}

}  // namespace

extern "C" ZORF_EXPORT int zorf_fcntl(int fd, void* buffer) {
  return call(standin::runControl, fd, buffer);
}

extern "C" ZORF_EXPORT int zorf_restripe_file(int fd, void* buffer, int flags) {
  return call(flags == 0 ? standin::runRestripe : refuse, fd, buffer);
}
