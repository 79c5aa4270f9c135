// The system and libacl calls that each native must make, from C.
#pragma once

#include <functional>
#include <map>
#include <string>

class DataSet;

// Runs `calls` rounds for one thread.
using BareLoop = std::function<void(int calls, int thread)>;

// By the name of the native.
std::map<std::string, BareLoop> bareLoops(const DataSet& data, const std::string& user,
                                          const std::string& group, unsigned uid, unsigned gid);
