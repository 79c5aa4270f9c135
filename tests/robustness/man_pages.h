// The errors that the manual pages list for a call, save those of bad pointers and descriptors,
// which can't happen here.
#pragma once

#include <string>
#include <vector>

// Empty for a call that can't fail. The client library has no pages: its calls get what files on a
// parallel file system have been seen to answer.
std::vector<int> documentedErrors(const std::string& call);

// The calls that have any.
std::vector<std::string> documentedCalls();
