// The page at which Prometheus reads the metrics.
#pragma once

#include <string>

#include "files/descriptor.h"
#include "service/metrics.h"

namespace datanode {

// "[ADDRESS:]PORT"; an IPv6 address in brackets. std::runtime_error.
Descriptor listenForMetrics(const std::string& where);

// Answers whoever waits at the listener, one after the other, each within two seconds.
void serveMetrics(const Descriptor& listener, const Metrics& metrics);

}  // namespace datanode
