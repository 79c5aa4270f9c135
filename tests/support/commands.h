// Programs that tests compare with.
#pragma once

#include <string>
#include <vector>

struct CommandResult {
  int status = -1;     // exit status, or -1 when killed
  std::string output;  // on both standard output and standard error
};
// Runs a program (searched on the path) with `input` on its standard input. Without a fork of this
// process, which is a whole JVM.
CommandResult runCommand(const std::vector<std::string>& words, const std::string& input = "");

// What a command prints; the test fails when it does.
std::string outputOf(const std::vector<std::string>& words);
