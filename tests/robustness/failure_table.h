// What came of single failures, gathered into the document for operators.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "robustness/all_natives.h"

class FailureTable {
 public:
  // `call` of `native` failed with `err` at its `nth` time.
  void add(const NativeCall& native, const std::string& call, int nth, int err,
           const Attempt& usual, const Attempt& failing);

  // The document, in Markdown.
  std::string text() const;

 private:
  struct Result {
    std::string message;   // after the system's text; empty without an exception
    std::string returned;  // "usual" when it is what an undisturbed call returns
    std::string log;       // lines that an undisturbed call doesn't write
    bool operator<(const Result& other) const;
    bool isUsual() const { return returned == "usual" && log.empty(); }
  };
  struct Cause {
    std::set<int> nths;
    std::map<std::string, std::set<int>> errnos;  // by Java exception
  };
  struct Native {
    std::string name;
    std::vector<std::string> calls;  // in the order met
    std::map<std::string, std::map<Result, Cause>> results;
  };

  static Result resultOf(int err, const Attempt& usual, const Attempt& failing,
                         std::string& exception);
  static std::string rowsOf(const Native& native);

  std::vector<Native> natives_;
};
