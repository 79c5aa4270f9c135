// Who writes which file through this service. A file has one writer: a later one has the NameNode's
// word for it, and what is left of the earlier one must not write any more.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>

namespace datanode {

class Writers {
 public:
  // One writer of a file, for the life of the object.
  class Turn {
   public:
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    friend class Writers;
    Turn(Writers& writers, std::int64_t inode) : writers_(writers), inode_(inode) {}

    Writers& writers_;
    std::int64_t inode_;
  };

  // Ends the connection of an earlier writer and waits for its end. std::system_error where that
  // takes too long. `socket` must be open for as long as the turn lasts.
  [[nodiscard]] Turn take(std::int64_t inode, int socket);

 private:
  std::mutex mutex_;
  std::condition_variable ended_;
  std::map<std::int64_t, int> sockets_;
};

}  // namespace datanode
