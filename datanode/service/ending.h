// Whether the service is about to end, for threads that wait for a client.
#pragma once

#include <atomic>

#include "files/descriptor.h"

namespace datanode {

class Ending {
 public:
  // std::system_error.
  Ending();

  void begin();
  bool hasBegun() const { return begun_; }
  // Readable once it has begun.
  int event() const { return event_.get(); }

 private:
  std::atomic<bool> begun_{false};
  Descriptor event_;
};

}  // namespace datanode
