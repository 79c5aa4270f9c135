// Connections and the threads that serve them.
//
// An idle connection costs no thread: all of them lie in one epoll set, and as many threads wait
// there as had work lately. A connection that has something to say is served by one of them until
// the operation ends. Where none is left waiting another thread is started, up to a limit; above it
// connections wait their turn.
#pragma once

#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <optional>
#include <string>

#include "files/descriptor.h"
#include "service/operations.h"

namespace datanode {

class Server {
 public:
  struct Limits {
    unsigned int connections = 20'000;
    unsigned int connectionsOfAddress = 5'000;
    unsigned int threads = 4'096;
    std::chrono::seconds idle{60};
  };

  Server(Service& service, const Limits& limits);
  // After stop().
  ~Server();

  // Takes what waits at the listener. These are for one thread, which must not act as a user.
  void accept(const Descriptor& listener);
  // Closes what was idle for too long; to be called every second or so.
  void closeIdle();
  // Idle connections are closed at once, writers are sent away to come again, and readers have
  // `drain` to end.
  // Whether all threads ended.
  bool stop(std::chrono::milliseconds drain);

 private:
  struct Connection;
  using Connections = std::list<Connection>;
  struct Connection {
    Descriptor socket;
    std::string peer;
    Shares::Share share;
    std::chrono::steady_clock::time_point idleUntil{};
    Connections::iterator self{};  // in whichever list it is
  };

  static void* threadMain(void* server);
  void startThread();  // with the mutex
  void work();
  void serve(Connection& connection, Buffer& buffer);
  void makeBusy(Connection& connection);
  void makeIdle(Connection& connection);
  void end(Connection& connection);

  Service& service_;
  const Limits limits_;
  Descriptor epoll_;
  Descriptor stopping_;  // readable for good when the threads shall end

  Shares addresses_;

  std::mutex mutex_;
  std::condition_variable ended_;
  Connections idle_;  // the longest idle first
  Connections busy_;
  unsigned int threads_ = 0;
  unsigned int waiting_ = 0;            // threads that have nothing to do
  std::optional<pthread_t> lastEnded_;  // which joins the one that ended before it
  bool stopped_ = false;
};

}  // namespace datanode
