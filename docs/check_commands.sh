#!/usr/bin/env bash
# check_commands.sh [FILE...]: runs what the documentation shows. Every block marked "sh" of README.md,
# CONTRIBUTING.md and docs/*.md (or of the FILEs) runs in the root of the tree, the blocks of a page one
# after the other in one shell; the first command that fails ends it. What needs another machine, root
# or a person is marked "console" and left alone. Links between the pages are checked too. Exits with 77
# where a command said that it can't run here.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
pages=("$@")
(($#)) || pages=(README.md CONTRIBUTING.md docs/*.md standin/README.md)

PATH=$PWD/build/bin:$PATH
# Blocks may leave files here.
scratch=$(mktemp -d "$PWD/build/docs-XXXXXX")
trap 'rm -rf "$scratch"' EXIT
export PATH scratch

# script PAGE: its runnable blocks.
script() {
  awk '/^```sh$/ { inside = 1; next } /^```/ { inside = 0 } inside' "$1"
}

# anchors PAGE: what its headings are called in links.
anchors() {
  sed -n 's/^##* //p' "$1" | tr '[:upper:]' '[:lower:]' | sed 's/[^a-z0-9 _-]//g; s/ /-/g'
}

failures=0
skipped=0
for page in "${pages[@]}"; do
  [[ -f $page ]] || continue
  if commands=$(script "$page") && [[ -n $commands ]]; then
    echo "== $page"
    status=0
    bash -euo pipefail -xc "$commands" >"$scratch/output" 2>&1 </dev/null || status=$?
    case $status in
      0) grep -c . <<<"$commands" | sed 's/$/ lines ran/' ;;
      77)
        grep '^skipped: ' "$scratch/output"
        skipped=77
        ;;
      *)
        tail -40 "$scratch/output"
        echo "$page: the last command above failed" >&2
        failures=$((failures + 1))
        ;;
    esac
  fi
  while read -r link; do
    file=${link%%#*}
    target=$(dirname "$page")/$file
    [[ -n $file ]] || target=$page
    if [[ ! -e $target ]]; then
      echo "$page: there is no $link" >&2
      failures=$((failures + 1))
    elif [[ $link == *#* ]] && ! anchors "$target" | grep -qxF -- "${link#*#}"; then
      echo "$page: $target has no heading for #${link#*#}" >&2
      failures=$((failures + 1))
    fi
  done < <(grep -o '](\([^)]*\))' "$page" | sed 's/^](//; s/)$//' | grep -v '^[a-z]*:')
done
((!failures)) || exit 1
exit "$skipped"
