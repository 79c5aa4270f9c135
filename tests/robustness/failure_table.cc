#include "robustness/failure_table.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <tuple>

namespace {

const char* const INTRODUCTION = R"md(# When a call fails

What each native of `ZORFNative` makes of a failing system call, of a failing call of the file
system's client library (`zorf_`) and of a failing libacl function (`acl_`). The table is written by
the test that lets them fail, one at a time; `ZORF_UPDATE_DOCS=1` makes `errno_injection_test` write
it anew.

How to read it, from an exception or a log line back to its cause:

- The **exception** follows from the errno everywhere: EPERM and EACCES are
  `java.nio.file.AccessDeniedException`, ENOENT is `java.nio.file.NoSuchFileException`, ENOMEM is
  `java.lang.RuntimeException`, all others are `java.io.IOException`. Where another errno takes the
  place of the failed call's, it is named.
- The **message** is the system's text for that errno, `: `, and what the column says (nothing, where
  it says so). Every exception is also a debug line of `handle_error`, which is not repeated here.
- **Returns** is what the native hands back along with the exception, or instead of one. "usual" is
  the answer of an undisturbed call; `setFsUid(String)` returns its handle even when the thread keeps
  the identity it had.
- **Log lines** are those that an undisturbed call doesn't write, at level debug and above.
  "(diagnosis)" stands for the description of the path's components that follows at level debug.
- Files are called `/dir/...` here; `<errno>` and `<fd>` are numbers.

A call that fails inside the diagnosis changes the text of its lines and nothing else. `setfsuid`,
`setfsgid` and `umask` can't fail: where the kernel refuses a change of identity, later calls on files
are what fails. Of the system's `setgroups` (`syscall`) a failure goes unnoticed in the same way. The
libacl calls that appear in no table row, or as "without effect", are not looked at: an ACL may then
lack a permission or an entry, or keep one.
)md";

// Situations that say nothing about failures of their own.
bool isDocumented(const NativeCall& native) {
  for (const char* situation :
       {"", "shared", "rackaware", "rackaware-sort", "without locations", "a link not followed"}) {
    if (native.situation == situation) return true;
  }
  return false;
}

std::string displayName(const NativeCall& native) {
  if (native.native == "setFsUid__J") return "setFsUid(long)";
  if (native.native == "setFsUid__Ljava_lang_String_2") return "setFsUid(String)";
  return native.native;
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (auto at = text.find(from); at != text.npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

// Puts `name` in the place of the number that follows `before` wherever it stands.
void nameNumber(std::string& text, const std::string& before, const std::string& name) {
  constexpr const char* DIGITS = "0123456789";
  for (auto at = text.find(before); at != text.npos; at = text.find(before, at)) {
    at += before.size();
    const auto digits = at + (text.compare(at, 1, " ") == 0 ? 1 : 0);
    const auto end = std::min(text.find_first_not_of(DIGITS, digits), text.size());
    if (end > digits) text.replace(at, end - at, " " + name);
  }
}

// The number of the source line is the compiler's.
void dropSourceLine(std::string& line) {
  const auto at = line.find(" @");
  if (at == line.npos || line.find(' ') != at) return;
  const auto colon = line.find(':', at);
  line.erase(colon, line.find(' ', colon) - colon);
}

// Without what differs from run to run or with the errno; empty for a line that is not told.
std::string toldLine(std::string line) {
  if (line.starts_with("trace ")) return "";
  dropSourceLine(line);
  for (const char* untold :
       {"@handle_error ", "@getFailedPathInt ", "@setfsid ", "@cmp ", "@getStat tid:"}) {
    if (line.find(untold) != line.npos) return "";
  }
  replaceAll(line, "Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_", "..._");
  for (const char* before : {"error", "error:", "failed with", "rc:"}) {
    nameNumber(line, before, "<errno>");
  }
  nameNumber(line, "extended stat for", "<fd>");
  nameNumber(line, "uid:", "<id>");
  nameNumber(line, "gid:", "<id>");
  const std::string groups = "(dump group ids):";
  if (const auto at = line.find(groups); at != line.npos) {
    line = line.substr(0, at + groups.size()) + " ...";
  }
  replaceAll(line, "user.b", "user.a");
  replaceAll(line, "\n", " ");
  return line;
}

bool hasDiagnosis(const Attempt& attempt) {
  return std::any_of(attempt.log.begin(), attempt.log.end(), [](const std::string& line) {
    return line.find("@getFailedPathInt") != line.npos;
  });
}

std::string newLines(const Attempt& usual, const Attempt& failing) {
  std::multiset<std::string> known;
  for (const std::string& line : usual.log) known.insert(toldLine(line));
  std::vector<std::string> lines;
  for (const std::string& line : failing.log) {
    std::string told = toldLine(line);
    if (const auto found = known.find(told); found != known.end()) {
      known.erase(found);
    } else if (!told.empty() && std::find(lines.begin(), lines.end(), told) == lines.end()) {
      lines.push_back(std::move(told));
    }
  }
  std::string all;
  for (const std::string& line : lines) {
    all += (all.empty() ? "" : "<br>") + ("`" + line + "`");
  }
  if (hasDiagnosis(failing) && !hasDiagnosis(usual)) {
    all += all.empty() ? "(diagnosis)" : "<br>(diagnosis)";
  }
  replaceAll(all, "|", "\\|");
  return all;
}

std::string names(const std::set<int>& errnos) {
  std::vector<std::string> sorted;
  for (const int err : errnos) sorted.emplace_back(strerrorname_np(err));
  std::sort(sorted.begin(), sorted.end());
  std::string all;
  for (const std::string& name : sorted) all += (all.empty() ? "" : ", ") + name;
  return all;
}

// 1, 2, 3 and 5 as "1-3, 5".
std::string ranges(const std::set<int>& numbers) {
  std::string text;
  for (auto it = numbers.begin(); it != numbers.end();) {
    const int first = *it;
    int last = first;
    for (++it; it != numbers.end() && *it == last + 1; ++it) last = *it;
    text += (text.empty() ? "" : ", ") + std::to_string(first);
    if (last != first) text += "-" + std::to_string(last);
  }
  return text;
}

}  // namespace

bool FailureTable::Result::operator<(const Result& other) const {
  return std::tie(message, returned, log) < std::tie(other.message, other.returned, other.log);
}

FailureTable::Result FailureTable::resultOf(int err, const Attempt& usual, const Attempt& failing,
                                            std::string& exception) {
  Result result;
  result.log = newLines(usual, failing);
  const Outcome& outcome = failing.outcome;
  if (outcome.error == usual.outcome.error) {
    result.returned = outcome.text == usual.outcome.text ? "usual" : outcome.text;
    if (outcome.content != usual.outcome.content && result.returned == "usual") {
      result.returned = "usual, incomplete";
    }
    return result;
  }
  result.returned = outcome.text;
  exception = outcome.error->className.substr(outcome.error->className.rfind('.') + 1);
  for (const int reported : {err, ENOENT, EINVAL, 0}) {
    const std::string text = std::string(std::strerror(reported)) + ": ";
    if (!outcome.error->message.starts_with(text)) continue;
    if (reported != err) {
      exception +=
          reported == 0 ? " (of errno 0)" : std::string(" (of ") + strerrorname_np(reported) + ")";
    }
    result.message = outcome.error->message.substr(text.size());
    break;
  }
  result.message = result.message.empty() ? "nothing" : "`" + result.message + "`";
  return result;
}

void FailureTable::add(const NativeCall& native, const std::string& call, int nth, int err,
                       const Attempt& usual, const Attempt& failing) {
  if (!isDocumented(native)) return;
  const std::string name = displayName(native);
  if (natives_.empty() || natives_.back().name != name) natives_.push_back({name, {}, {}});
  Native& entry = natives_.back();
  if (entry.results.find(call) == entry.results.end()) entry.calls.push_back(call);
  std::string exception;
  const Result result = resultOf(err, usual, failing, exception);
  Cause& cause = entry.results[call][result];
  cause.nths.insert(nth);
  cause.errnos[exception].insert(err);
}

std::string FailureTable::rowsOf(const Native& native) {
  std::string rows;
  std::string unnoticed;
  for (const std::string& call : native.calls) {
    const std::map<Result, Cause>& results = native.results.at(call);
    if (results.size() == 1 && results.begin()->first.isUsual()) {
      unnoticed += (unnoticed.empty() ? "`" : ", `") + call + "`";
      continue;
    }
    // Which of the many calls on entries it was tells nobody anything.
    const bool isOfEntry = call.starts_with("acl_") && call != "acl_get_file";
    const auto& everywhere = results.begin()->second.nths;
    const bool alike = isOfEntry || std::all_of(results.begin(), results.end(), [&](const auto& r) {
                         return r.second.nths == everywhere;
                       });
    for (const auto& [result, cause] : results) {
      if (isOfEntry && result.isUsual()) continue;
      std::string errnos;
      for (const auto& [exception, which] : cause.errnos) {
        errnos += (errnos.empty() ? "" : "<br>") + names(which);
        if (!exception.empty()) errnos += ": " + exception;
      }
      rows += "| `" + call + "`" + (alike ? "" : ", call " + ranges(cause.nths)) + " | " + errnos +
              " | " + (result.message.empty() ? "-" : result.message) + " | " + result.returned +
              " | " + (result.log.empty() ? "-" : result.log) + " |\n";
    }
  }
  std::string text;
  if (!rows.empty()) {
    text =
        "\n| Call | errno: exception | Message | Returns | Log lines |\n"
        "|---|---|---|---|---|\n" +
        rows;
  }
  if (!unnoticed.empty()) text += "\nWithout effect: " + unnoticed + ".\n";
  return text;
}

std::string FailureTable::text() const {
  std::string text = INTRODUCTION;
  for (const Native& native : natives_) text += "\n## " + native.name + "\n" + rowsOf(native);
  return text;
}
