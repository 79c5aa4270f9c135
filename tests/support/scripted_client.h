// A double of the file system's client library whose every answer a test dictates. It defines
// zorf_fcntl and zorf_restripe_file for the test program, answers each call with the next scripted
// reply, and records every request byte for byte.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct ScriptedCall {
  std::string function;  // "zorf_fcntl" or "zorf_restripe_file"
  int fd = -1;
  std::string request;  // the whole buffer as it came in, header's totalLength bytes
  int flags = 0;        // zorf_restripe_file's third argument
  unsigned fsuid = 0;   // the calling thread's identity during the call
  unsigned fsgid = 0;
};

struct ScriptedReply {
  int result = 0;
  int err = 0;  // stored in errno before returning
  // Changes the buffer in place, as the file system does; null leaves it alone.
  std::function<void(unsigned char* buffer)> write = nullptr;
};

class ScriptedClient {
 public:
  // Starts with no replies and no calls; the one that lives is the one that answers. A call without
  // a reply left fails with ENOSYS.
  ScriptedClient();
  ~ScriptedClient();
  ScriptedClient(const ScriptedClient&) = delete;
  ScriptedClient& operator=(const ScriptedClient&) = delete;

  void reply(ScriptedReply reply) { replies_.push_back(std::move(reply)); }
  void fail(int err) { reply({-1, err, nullptr}); }
  // An answer to the 104-byte block information query: no factor when `factor` is empty (errReason
  // 1).
  void blockInfo(int replicas, const std::vector<std::int32_t>& factor);
  // An answer to a block locations query. `entries` are the int32 words of all block entries.
  void blockLocations(int replicas, int blocks, std::uint64_t metaBlockSize,
                      const std::vector<std::int32_t>& entries);

  // From now on `answer` takes every call, and none is recorded: for tests of very many calls.
  void answerWith(std::function<int(unsigned char* buffer)> answer) {
    generator_ = std::move(answer);
  }

  const std::vector<ScriptedCall>& calls() const { return calls_; }

  // For the C functions.
  int answer(ScriptedCall call, unsigned char* buffer);
  const std::function<int(unsigned char* buffer)>& generator() const { return generator_; }

 private:
  std::function<int(unsigned char* buffer)> generator_;
  std::vector<ScriptedReply> replies_;
  std::size_t next_ = 0;
  std::vector<ScriptedCall> calls_;
};
