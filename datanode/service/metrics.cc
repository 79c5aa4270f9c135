#include "service/metrics.h"

#include <sstream>

namespace datanode {

namespace {

constexpr const char* OPERATION_NAMES[OPERATIONS] = {"read", "write", "checksum", "other"};
constexpr const char* OUTCOME_NAMES[OUTCOMES] = {"done", "refused", "token_refused", "broken"};

class Text {
 public:
  void family(const char* name, const char* type, const char* help) {
    name_ = name;
    out_ << "# HELP zorf_datanode_" << name << " " << help << "\n# TYPE zorf_datanode_" << name
         << " " << type << "\n";
  }
  template <class T>
  void sample(const std::string& labels, T value) {
    out_ << "zorf_datanode_" << name_ << labels << " " << value << "\n";
  }
  void single(const char* name, const char* type, const char* help, const Counter& value) {
    family(name, type, help);
    sample("", value.load());
  }
  std::string str() const { return out_.str(); }

 private:
  std::ostringstream out_;
  const char* name_ = "";
};

}  // namespace

void Metrics::ended(Operation operation, Outcome outcome,
                    std::chrono::steady_clock::duration took) {
  const auto which = static_cast<std::size_t>(operation);
  ++operations[which][static_cast<std::size_t>(outcome)];
  microseconds[which] += static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(took).count());
}

std::string Metrics::text() const {
  Text text;
  text.family("operations_total", "counter", "Operations that ended, by how.");
  for (std::size_t i = 0; i < OPERATIONS; ++i) {
    for (std::size_t j = 0; j < OUTCOMES; ++j) {
      text.sample(std::string("{operation=\"") + OPERATION_NAMES[i] + "\",outcome=\"" +
                      OUTCOME_NAMES[j] + "\"}",
                  operations[i][j].load());
    }
  }
  text.family("operation_seconds_total", "counter", "Time that operations took.");
  for (std::size_t i = 0; i < OPERATIONS; ++i) {
    text.sample(std::string("{operation=\"") + OPERATION_NAMES[i] + "\"}",
                static_cast<double>(microseconds[i].load()) / 1e6);
  }
  text.single("read_bytes_total", "counter", "Bytes of files sent to readers.", bytesRead);
  text.single("written_bytes_total", "counter", "Bytes of files taken from writers.", bytesWritten);
  text.single("syncs_total", "counter", "Times that a writer had a file put onto disks.", syncs);
  text.single("corrupt_packets_total", "counter", "Packets of writers with wrong checksums.",
              corruptPackets);
  text.single("corrupt_reads_total", "counter", "Reads whose checksums a reader found wrong.",
              corruptReads);
  text.single("garbage_total", "counter", "Connections that did not speak the protocol.", garbage);
  text.single("connections_accepted_total", "counter", "Connections taken.", connectionsAccepted);
  text.single("connections_refused_total", "counter", "Connections closed for being too many.",
              connectionsRefused);
  text.single("address_refusals_total", "counter",
              "Of these, for there were too many of one address.", addressRefusals);
  text.single("user_refusals_total", "counter", "Operations refused for one user had too many.",
              userRefusals);
  text.single("connections", "gauge", "Connections there are, idle ones included.", connections);
  text.single("running_operations", "gauge", "Operations under way.", running);
  text.single("threads", "gauge", "Threads that run operations.", threads);
  return text.str();
}

}  // namespace datanode
