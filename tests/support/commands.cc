#include "support/commands.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <utility>

CommandResult runCommand(const std::vector<std::string>& words, const std::string& input) {
  int in[2];
  int out[2];
  if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) return {-1, "no pipe"};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], 0);
  posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  posix_spawn_file_actions_adddup2(&actions, out[1], 2);
  std::vector<char*> argv;
  for (const std::string& word : words) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  pid_t pid = -1;
  const int failed = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(in[0]);
  close(out[1]);
  CommandResult result;
  if (failed != 0) {
    result.output = std::strerror(failed);
  } else {
    // Inputs are small: they fit the pipe.
    if (write(in[1], input.data(), input.size()) < 0) result.output = "no input";
    close(std::exchange(in[1], -1));
    char buffer[4096];
    ssize_t n = 0;
    while ((n = read(out[0], buffer, sizeof buffer)) > 0) {
      result.output.append(buffer, static_cast<std::size_t>(n));
    }
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
  }
  if (in[1] >= 0) close(in[1]);
  close(out[0]);
  return result;
}

std::string outputOf(const std::vector<std::string>& words) {
  const CommandResult result = runCommand(words);
  EXPECT_EQ(result.status, 0) << words.front() << " of " << words.back() << ": " << result.output;
  return result.output;
}
