// Every native of the library, ready to be called over and over on one set of files, with what each
// call leaves behind.
#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "robustness/faulty_acl.h"
#include "robustness/footprint.h"
#include "robustness/jni_watch.h"
#include "robustness/scratch_files.h"
#include "support/interpose.h"
#include "support/jvm.h"

// What a native returned, as it came.
struct Returned {
  enum Kind { NOTHING, NUMBER, INODE, BOOLEAN, HANDLE, TEXT, PATH, BYTES, INTS, STRINGS, MAP };
  Kind kind = NOTHING;
  jlong number = 0;          // also of a boolean
  jobject object = nullptr;  // local reference
};

struct NativeCall {
  std::string native;     // the method, with its overload suffix
  std::string situation;  // what is special about this call; empty for the plain one
  std::function<Returned(JNIEnv*)> call;
  std::function<void()> prepare = nullptr;    // before every call
  std::string neutral;                        // the text of what it returns when it fails
  std::function<void(Hooks&)> arm = nullptr;  // before every call, once its scope has begun

  std::string name() const { return situation.empty() ? native : native + ", " + situation; }
};

struct Outcome {
  std::string text;     // "null", "-1", "true", "144 bytes": the same on every machine
  std::string content;  // the value itself, to compare with another call's
  std::optional<JavaError> error;

  // Same value, same exception.
  friend bool operator==(const Outcome&, const Outcome&) = default;
  friend std::ostream& operator<<(std::ostream& os, const Outcome& o) {
    os << o.text;
    if (o.error) os << ", " << *o.error;
    return os;
  }
};

struct Attempt {
  Outcome outcome;
  long kept = 0;  // allocations with operator new that were not there before
  // What must not be: other descriptors or another identity than before, objects of libacl left
  // over, JNI functions called with an exception pending. Empty when all is well.
  std::string damage;
  std::vector<std::string> log;
};

class AllNatives {
 public:
  AllNatives();

  const std::vector<NativeCall>& calls() const { return calls_; }

  // Calls the native on this thread, with an own frame of local references. `inject` is run at the
  // last moment before the call, `after` right behind it.
  Attempt attempt(const NativeCall& call, const std::function<void(Hooks&)>& inject = nullptr,
                  const std::function<void(Hooks&)>& after = nullptr);

  FaultyAcl& acl() { return acl_; }
  JniWatch& jni() { return jni_; }

  // Text with this data set's directory replaced by "/dir".
  std::string anonymous(std::string text) const;

 private:
  void add(const char* native, const char* situation, const char* neutral,
           std::function<Returned(JNIEnv*)> call, std::function<void()> prepare = nullptr);
  void addIdentityNatives();
  void addStatusNatives();
  void addBlockNatives();
  void addXattrNatives();
  void addAclNatives();
  // Fills in what was returned, and gives back what Java would have to.
  void settle(const Returned& returned, Outcome& outcome) const;

  ScratchFiles files_;
  FaultyAcl acl_;
  JniWatch jni_;
  jlong handle_ = 0;  // of the switch that setFsUid(long) ends
  std::vector<NativeCall> calls_;
};
