#!/usr/bin/env bash
# excerpts.sh PRINTED FILE...: whether what FILEs show of the demonstration is in PRINTED, a file of all that
# it printed. Times may differ, and the hosts that the stand-in makes up by the numbers of files; "..." is what
# an excerpt leaves out.
set -euo pipefail
timeless() {
  sed -E 's/20[0-9]{2}-[0-9]{2}-[0-9]{2} [0-9:]+/DATE TIME/g; s,/rack[1-4]/192\.0\.2\.[1-4][1-6]:,HOST:,g' "$1"
}
newline=$'\n'
printed=$newline$(timeless "$1")$newline
shift
looked=0 status=0

# look PIECE: lines, each with its end.
look() {
  [[ -n $1 ]] || return 0
  looked=$((looked + 1))
  [[ $printed == *"$newline$1"* ]] && return
  printf '%s shows what the demonstration does not print:\n%s' "$file" "$1" >&2
  status=1
}

for file; do
  piece='' shown=
  while IFS= read -r line; do
    case $line in
      '```text') shown=maybe ;;
      '```'*)
        look "$piece"
        piece='' shown=
        ;;
      *)
        # It is one of the demonstration if it begins with a command.
        [[ $shown != maybe ]] || { [[ $line =~ ^[a-z]+[\$\>#]\  ]] && shown=yes || shown=; }
        [[ $shown == yes ]] || continue
        if [[ $line == ... ]]; then
          look "$piece"
          piece=
        else
          piece+=$line$newline
        fi
        ;;
    esac
  done < <(timeless "$file")
done
((looked)) || status=1
((status)) || echo "$looked excerpts are what the demonstration prints"
exit $status
