#include "topology.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <istream>
#include <limits>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>

namespace standin {
namespace {

std::optional<std::uint64_t> number(std::string_view text, std::uint64_t max) {
  std::uint64_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{} || stop != end || value > max) return std::nullopt;
  return value;
}

std::optional<std::uint64_t> byteCount(std::string_view text) {
  static constexpr std::string_view units = "KMG";
  unsigned shift = 0;
  if (!text.empty()) {
    if (const auto unit = units.find(text.back()); unit != units.npos) {
      shift = 10 * (static_cast<unsigned>(unit) + 1);
      text.remove_suffix(1);
    }
  }
  const auto value = number(text, maxBlockSize);
  if (!value) return std::nullopt;
  return *value << shift;
}

class Parser {
 public:
  Parser(const std::string& name, std::vector<std::string>& errors)
      : name_(name), errors_(errors) {}

  Topology parse(std::istream& in) {
    for (std::string text; std::getline(in, text);) {
      ++line_;
      statement(text.substr(0, text.find('#')));
    }
    if (in.bad()) {
      errors_.push_back(name_ + ": " + std::strerror(EIO));
    } else {
      finish();
    }
    return std::move(topology_);
  }

 private:
  static constexpr std::uint64_t maxNumber = std::numeric_limits<std::int32_t>::max();

  void fail(const std::string& reason) { failAt(line_, reason); }
  void failAt(int line, const std::string& reason) {
    errors_.push_back(name_ + ":" + std::to_string(line) + ": " + reason);
  }

  void statement(const std::string& text) {
    std::istringstream stream(text);
    std::string keyword;
    if (!(stream >> keyword)) return;
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    if (keyword == "block-size") {
      blockSize(words);
    } else if (keyword == "replicas") {
      replicas(words);
    } else if (keyword == "rack") {
      rack(words);
    } else {
      fail("unknown statement '" + keyword + "'");
    }
  }

  void blockSize(const std::vector<std::string>& words) {
    if (blockSizeLine_ != 0) return fail("block-size is given twice");
    blockSizeLine_ = line_;
    const auto value = words.size() == 1 ? byteCount(words[0]) : std::nullopt;
    if (!value || *value < minBlockSize || *value > maxBlockSize || *value % minBlockSize != 0) {
      return fail("block-size takes a multiple of 512 bytes from 512 to 1G");
    }
    topology_.blockSize = *value;
  }

  void replicas(const std::vector<std::string>& words) {
    if (replicasLine_ != 0) return fail("replicas is given twice");
    replicasLine_ = line_;
    const auto value = words.size() == 1 ? number(words[0], maxReplicas) : std::nullopt;
    if (!value || *value == 0) return fail("replicas takes a number from 1 to 16");
    topology_.replicas = static_cast<int>(*value);
  }

  void rack(const std::vector<std::string>& words) {
    if (words.empty() || words[0].back() != ':')
      return fail("a rack reads 'rack NUMBER: LOCATION...'");
    const auto rackNumber =
        number(std::string_view(words[0]).substr(0, words[0].size() - 1), maxNumber);
    if (!rackNumber) return fail("'" + words[0] + "' is no rack number");
    Rack rack;
    rack.number = static_cast<std::int32_t>(*rackNumber);
    if (!rackNumbers_.insert(rack.number).second) fail("rack " + words[0] + " is given twice");
    if (words.size() == 1) return fail("a rack needs a location");
    for (std::size_t i = 1; i < words.size(); ++i) {
      const auto location = number(words[i], maxNumber);
      if (!location) {
        fail("'" + words[i] + "' is no location identifier");
      } else if (!locations_.insert(static_cast<std::int32_t>(*location)).second) {
        fail("location " + words[i] + " is given twice");
      } else {
        rack.locations.push_back(static_cast<std::int32_t>(*location));
      }
    }
    if (topology_.racks.size() == maxRacks) return fail("more than 256 racks");
    if (locations_.size() > maxLocations) return fail("more than 4096 locations");
    if (!rack.locations.empty()) topology_.racks.push_back(std::move(rack));
  }

  // What no single line can tell.
  void finish() {
    if (topology_.racks.empty()) {
      if (errors_.empty()) failAt(std::max(line_, 1), "there is no rack");
    } else if (replicasLine_ == 0) {
      topology_.replicas = std::min(topology_.replicas, topology_.replicaLimit());
    } else if (topology_.replicas > topology_.replicaLimit()) {
      failAt(replicasLine_, "more replicas than locations");
    }
  }

  const std::string& name_;
  std::vector<std::string>& errors_;
  Topology topology_;
  std::set<std::int32_t> rackNumbers_;
  std::set<std::int32_t> locations_;
  int line_ = 0;
  int blockSizeLine_ = 0;
  int replicasLine_ = 0;
};

}  // namespace

std::size_t Topology::locations() const {
  std::size_t count = 0;
  for (const Rack& rack : racks) count += rack.locations.size();
  return count;
}

int Topology::replicaLimit() const {
  return static_cast<int>(std::min<std::size_t>(maxReplicas, locations()));
}

Topology builtinTopology() {
  Topology topology;
  for (std::int32_t number = 1; number <= 4; ++number) {
    Rack rack{number, {}};
    for (std::int32_t place = 1; place <= 6; ++place) rack.locations.push_back(10 * number + place);
    topology.racks.push_back(std::move(rack));
  }
  return topology;
}

Topology parseTopology(std::istream& in, const std::string& name,
                       std::vector<std::string>& errors) {
  return Parser(name, errors).parse(in);
}

Topology topologyFromEnvironment(std::vector<std::string>& errors) {
  const char* path = std::getenv("ZORF_TOPOLOGY");
  if (path == nullptr || *path == '\0') return builtinTopology();
  std::ifstream in(path);
  if (!in) {
    const int err = errno;
    errors.push_back(std::string(path) + ": " + std::strerror(err));
    return {};
  }
  return parseTopology(in, path, errors);
}

}  // namespace standin
