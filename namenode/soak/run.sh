#!/usr/bin/env bash
# run.sh SECONDS RATE JAVA...: 32 users ask a service for so long, at most RATE calls a second, while it, its
# name service and its clients break down. Called by ./dev namenode. JAVA is the command that runs Java, class
# path included.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(dirname "$(dirname "$here")")
# shellcheck source=tests/surroundings.sh
. "$root/tests/surroundings.sh"
seconds=$1 rate=$2
shift 2

"$here/users.sh" 32 true || exit 2 # it has said why
scratch=$(scratch_folder) || skip "no folder for scratch files takes ACLs and attributes"
scratch=$(mktemp -d "$scratch/zorf-soak-XXXXXX")
trap 'rm -rf "$scratch"' EXIT
chmod 755 "$scratch"
cd "$scratch" # where a virtual machine that dies leaves its report
"$here/users.sh" 32 "$@" -Xmx64m -XX:+UseSerialGC -XX:TieredStopAtLevel=1 zorf.namenode.soak.Soak \
  "$seconds" "$rate" "$scratch" "$root/build/bin/zorf-datanode" "$@"
