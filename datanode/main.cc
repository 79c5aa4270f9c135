// The service: options, signals, and the loop that takes connections.
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <optional>
#include <sstream>
#include <thread>

#include "service/log.h"
#include "service/metrics_page.h"
#include "service/operations.h"
#include "service/options.h"
#include "service/server.h"
#include "service/sockets.h"

namespace datanode {

namespace {

// Of descriptors: libraries, listeners, the file of each operation.
constexpr unsigned int SPARE = 64;

// Descriptors that this process may have, of those wanted: whoever may raises the limit.
unsigned int raiseDescriptors(unsigned int wanted) {
  rlimit limit = {};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit raised = {wanted, std::max<rlim_t>(wanted, limit.rlim_max)};
  if (limit.rlim_cur >= wanted || setrlimit(RLIMIT_NOFILE, &raised) == 0) return wanted;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  return static_cast<unsigned int>(limit.rlim_cur);
}

// Connections for which there are descriptors, of those wanted, and each with an operation or not.
unsigned int connectionsFor(const Options& options) {
  const unsigned int others = options.operations + SPARE;
  const unsigned int descriptors = raiseDescriptors(options.connections + others);
  return descriptors > 2 * others ? descriptors - others : descriptors / 2;
}

std::string who() {
  if (canActAsOthers()) return "as each token's user";
  const passwd* const user = getpwuid(geteuid());
  return "as " + (user != nullptr ? std::string(user->pw_name) : std::to_string(geteuid())) +
         " alone";
}

std::string banner(const Service& service, const Options& options, unsigned int connections) {
  const KeySet keys = service.keys.current();
  std::ostringstream text;
  text << "zorf-datanode " << ZORF_VERSION << " serves " << service.root.directory() << " " << who()
       << ", pool " << service.pool << ", " << keys.byId.size() << " keys, newest " << keys.newest
       << ", at most " << connections << " connections and " << options.operations << " operations";
  return text.str();
}

// Blocked in every thread that starts later, too.
Descriptor signals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&set, number);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  signal(SIGPIPE, SIG_IGN);  // sendfile has no flag against it
  signal(SIGXFSZ, SIG_IGN);  // a file at its limit is that writer's error
  return Descriptor(signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
}

// Until the service shall end.
void takeConnections(Service& service, Server& server, const Descriptor& listener,
                     const Descriptor& signalled) {
  for (;;) {
    pollfd polled[] = {{listener.get(), POLLIN, 0}, {signalled.get(), POLLIN, 0}};
    poll(polled, 2, 1000);
    signalfd_siginfo info = {};
    while (read(signalled.get(), &info, sizeof info) == sizeof info) {
      if (info.ssi_signo != SIGHUP) return;
    }
    service.keys.refresh();
    server.accept(listener);
    server.closeIdle();
  }
}

void startMetrics(Descriptor listener, const Metrics& metrics) {
  logLine(Level::INFO, "metrics at http://" + nameOfSocket(listener) + "/metrics");
  std::thread([at = std::move(listener), &metrics] {
    for (;;) {
      pollfd polled{at.get(), POLLIN, 0};
      poll(&polled, 1, -1);
      serveMetrics(at, metrics);
    }
  }).detach();
}

int run(const Options& options) {
  umask(077);
  // Never destroyed: what still runs when the process ends may use it.
  static Service service(options.root, options.key);
  service.pool = options.pool;
  service.packetTime = options.packet;
  service.users.limit(options.operationsOfUser);
  const unsigned int connections = connectionsFor(options);
  Descriptor listener = listenAt(options.bind, options.port);
  std::optional<Descriptor> metrics;
  if (!options.metrics.empty()) metrics = listenForMetrics(options.metrics);
  if (options.check) {
    std::cout << banner(service, options, connections) << "\n";
    return 0;
  }
  const Descriptor signalled = signals();
  if (metrics) startMetrics(std::move(*metrics), service.metrics);
  static Server server(
      service, {connections, options.connectionsOfAddress, options.operations, options.idle});
  logLine(Level::INFO, banner(service, options, connections));
  logLine(Level::INFO, "listens at " + nameOfSocket(listener));
  takeConnections(service, server, listener, signalled);
  listener = Descriptor();
  logLine(Level::INFO, "ends, operations have " + std::to_string(options.drain.count()) + " s to");
  const bool ended = server.stop(options.drain);
  if (!ended) logLine(Level::WARN, "some operations did not end");
  logLine(Level::INFO, "ended");
  // Not by way of destructors, under threads that may still be there.
  _exit(0);
}

}  // namespace

}  // namespace datanode

int main(int argc, char** argv) {
  try {
    const datanode::Options options =
        datanode::parseOptions({argv + 1, static_cast<std::size_t>(argc - 1)});
    if (options.help) {
      std::cout << datanode::USAGE;
      return 0;
    }
    if (options.version) {
      std::cout << "zorf-datanode " << ZORF_VERSION << "\n";
      return 0;
    }
    return datanode::run(options);
  } catch (const datanode::OptionError& e) {
    std::cerr << "zorf-datanode: " << e.what() << "\n";
    return 2;
  } catch (const std::exception& e) {
    std::cerr << "zorf-datanode: " << e.what() << "\n";
    return 1;
  }
}
