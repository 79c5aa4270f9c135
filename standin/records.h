// Takes a control buffer apart and carries out its sub-records.
#pragma once

#include <sys/stat.h>

#include "topology.h"

namespace standin {

// The file that a call is about.
struct Target {
  int fd = -1;
  struct stat status = {};
  const Topology& topology;
};

// Both return 0 or an errno value. The whole buffer is checked before its first sub-record is
// carried out. A refused sub-record's offset goes into the header's errorOffset; when the header
// itself is wrong, that is 0. Nothing at or beyond the header's totalLength is touched.
int runControl(const Target& target, unsigned char* buffer);
int runRestripe(const Target& target, unsigned char* buffer);

}  // namespace standin
