#!/bin/sh
# skipped.sh BUILD: one line that says how many tests the last run of ctest skipped, and why; nothing where
# all of them ran. A test of a program counts if no run of the program had it: nobody's run may leave out
# what root's has.
set -eu
log=$1/Testing/Temporary/LastTest.log
[ -f "$log" ] || exit 0  # ctest was asked for something else
awk '
  / Testing: / { program = $3; gsub(/\.(jdk[0-9]+|ordinary)/, "", program) }
  # A whole run.
  sub(/^skipped: /, "") { ++whole; count($0) }
  # Googletest: the reason is on the line after the place.
  reasonNext { reason = $0; reasonNext = 0 }
  /: Skipped$/ { reasonNext = 1 }
  / ms\)$/ && $2 == "OK" { ran[program " " $4] = 1 }
  / ms\)$/ && $2 == "FAILED" { ran[program " " $4] = 1 }
  / ms\)$/ && $2 == "SKIPPED" {
    if (!((program " " $4) in skipped)) skipped[program " " $4] = reason
    reason = ""
  }
  # JUnit: a line for each class and its tests, with what an assumption that does not hold says.
  match($0, / (\[(OK|X|A|S)\]|✔|✘|■|↷)/) {
    name = substr($0, 1, RSTART - 1)
    mark = substr($0, RSTART + 1, RLENGTH - 1)
    reason = substr($0, RSTART + RLENGTH + 1)
    sub(/^[^A-Za-z]*/, "", name)
    sub(/^Assumption failed: /, "", reason)
    if (name !~ /\)$/) class = name
    name = program " " class "." name
    if (mark ~ /A|S|■|↷/) skipped[name] = reason
    else ran[name] = 1
    reason = ""
  }
  function count(reason) {
    sub(/[,:].*/, "", reason)  # the rest says what for
    if (reason == "") reason = "no reason given"
    ++why[reason]
  }
  END {
    all = whole
    for (test in skipped) {
      if (test in ran) continue
      ++all
      count(skipped[test])
    }
    if (!all) exit
    # The commonest first.
    while (1) {
      most = ""
      for (reason in why) {
        if (most == "" || why[reason] > why[most] || (why[reason] == why[most] && reason < most)) {
          most = reason
        }
      }
      if (most == "") break
      text = text (text == "" ? "" : "; ") most " (" why[most] ")"
      delete why[most]
    }
    print all (all == 1 ? " test" : " tests") " skipped: " text
  }' "$log"
