// Where blocks can lie: racks of locations, and what the emulated file system takes for granted.
//
// A topology file has one statement per line; '#' starts a comment:
//     block-size 4M               optional, bytes or with K, M, G
//     replicas 2                  optional, data replicas of a file that sets none
//     rack 1: 11 12 13 14 15 16   a rack's number and its location identifiers, at least one rack
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace standin {

// Keeps a reply's entries small, and a rack's index in one byte.
inline constexpr int maxReplicas = 16;
inline constexpr std::size_t maxRacks = 256;
inline constexpr std::size_t maxLocations = 4096;
// Block sizes from 2 GiB on have a low word that callers take as negative.
inline constexpr std::uint64_t minBlockSize = 512;
inline constexpr std::uint64_t maxBlockSize = std::uint64_t{1} << 30;

struct Rack {
  std::int32_t number = 0;
  std::vector<std::int32_t> locations;  // never empty
};

struct Topology {
  std::uint64_t blockSize = std::uint64_t{4} << 20;
  int replicas = 2;
  std::vector<Rack> racks;  // never empty

  std::size_t locations() const;
  // The largest replica count that a directive may ask for.
  int replicaLimit() const;
};

// 4 racks of 6 locations, 4 MiB blocks, 2 replicas; location 35 is the fifth of rack 3.
Topology builtinTopology();

// Reads a topology file. Appends one text "<name>:<line>: <reason>" to `errors` for each thing that
// is wrong; the result means nothing then.
Topology parseTopology(std::istream& in, const std::string& name, std::vector<std::string>& errors);

// The topology of the file that the environment variable ZORF_TOPOLOGY names, the built-in one when
// it is unset or empty.
Topology topologyFromEnvironment(std::vector<std::string>& errors);

}  // namespace standin
