#!/bin/sh
# hooks_test.sh: what ./dev hooks makes git do with C++ files that are committed.
set -eu
sources=$(cd "$(dirname "$0")/../.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
unset $(git rev-parse --local-env-vars)
export GIT_CONFIG_GLOBAL=/dev/null GIT_CONFIG_NOSYSTEM=1 LC_ALL=C.UTF-8
for who in AUTHOR COMMITTER; do
  export "GIT_${who}_NAME=test" "GIT_${who}_EMAIL=test@localhost"
done
cd "$scratch"

fail() {
  echo "hooks_test: $*" >&2
  exit 1
}

# is WHAT TEXT FILE: FILE (or standard input) holds that text.
is() {
  printf '%b' "$2" | diff - "${3:--}" || fail "$1"
}

# Where there is no clang-format, something that agrees with it on what is committed here.
mkdir bin
if ! command -v clang-format >/dev/null; then
  printf '#!/bin/sh\n[ "$1" = -i ] || exec tr -s " "\ntr -s " " <"$2" >"$2.new" && mv "$2.new" "$2"\n' \
    >bin/clang-format
  chmod +x bin/clang-format
fi

git init -q tree
mkdir tree/tests
cp "$sources/dev" "$sources/.clang-format" tree
cp -r "$sources/.githooks" tree
cp "$sources/tests/surroundings.sh" tree/tests
cd tree
PATH=$scratch/bin:$PATH
./dev hooks >/dev/null

# commit FILE...: stages and commits them, what the hook says goes to ../said.
commit() {
  git add -- "$@"
  git commit -qm "a change" 2>../said || fail "no commit: $(cat ../said)"
}

printf 'int  a;\n' >'a b.cc'
printf 'int b;\n' >b.h
printf 'a  text\n' >text
ln -s nowhere link.cc
mkdir below
printf 'int  c;\n' >below/c.cc
commit 'a b.cc' b.h text link.cc below/c.cc
git show 'HEAD:a b.cc' | is "what is committed is formatted" 'int a;\n'
git show HEAD:below/c.cc | is "also in a folder" 'int c;\n'
is "so is the working tree" 'int a;\n' 'a b.cc'
git show HEAD:text | is "what is no C++ stays" 'a  text\n'
[ "$(git cat-file -p HEAD:link.cc)" = nowhere ] || fail "a link is something else now"
is "it says what it changed" 'pre-commit: formatted a b.cc\npre-commit: formatted below/c.cc\n' ../said
[ -z "$(git status --porcelain -uno)" ] || fail "left over: $(git status --porcelain -uno)"

# Of a file that is staged in part, that part alone is committed.
chmod +x b.h
printf 'int  b1;\n' >b.h
git add b.h
printf 'int  b1;\nint  b2;\n' >b.h
git commit -qm "a part" 2>../said
git show HEAD:b.h | is "the part, formatted" 'int b1;\n'
is "the rest is still there" 'int b1;\nint b2;\n' b.h
[ "$(git ls-tree HEAD b.h | cut -c1-6)" = 100755 ] || fail "the mode is lost"

# From a folder, and of a file that has gone meanwhile.
printf 'int  d;\n' >below/d.cc
(cd below && git add d.cc && rm d.cc && git commit -qm "from below" 2>../../said) || fail "from below: $(cat ../said)"
git show HEAD:below/d.cc | is "staged and gone" 'int d;\n'

# Without clang-format the commit isn't held up. The tools that git needs are the others on the path.
mkdir ../tools
for tool in sh git xargs sed; do ln -s "$(command -v $tool)" ../tools; done
printf 'int  e;\n' >e.cc
git add e.cc
PATH=$scratch/tools git commit -qm "unformatted" 2>../said || fail "without clang-format: $(cat ../said)"
is "it says so" 'pre-commit: there is no clang-format, so nothing was formatted (./dev lint will tell)\n' ../said
git show HEAD:e.cc | is "and leaves the file" 'int  e;\n'
