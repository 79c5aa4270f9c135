#!/usr/bin/env bash
# program_test.sh PROGRAM: the service as it is started and stopped.
set -euo pipefail
program=$1
scratch=$(mktemp -d)
service=
trap '[[ -z $service ]] || kill "$service" 2>/dev/null; rm -rf "$scratch"' EXIT
cd "$scratch"
mkdir root
hex=$(printf 'a%.0s' {1..64})
(umask 077 && echo "4 $hex" >keys)

# expect STATUS TEXT COMMAND...: all that it prints, times left out.
expect() {
  local status=$1 text=$2 got=0 printed
  shift 2
  printed=$("$@" 2>&1) || got=$?
  [[ $got == "$status" && $printed == "$text" ]] && return
  printf 'expected %s, %s\ngot      %s, %s\n' "$status" "$text" "$got" "$printed" >&2
  exit 1
}
version=$("$program" --version | sed 's/^zorf-datanode //')
whom='as each token'\''s user'
((EUID == 0)) || whom="as $(id -un) alone"
banner="zorf-datanode $version serves root $whom, pool BP-zorf-1, 1 keys, newest 4, at most 100 connections and 20 operations"

expect 2 'zorf-datanode: --root is missing; see --help' "$program"
expect 2 'zorf-datanode: --key is missing; see --help' "$program" --root root
expect 2 "zorf-datanode: there is no option '--rot'; see --help" "$program" --rot root
expect 2 "zorf-datanode: 'root' is no option; see --help" "$program" root
expect 2 'zorf-datanode: --port: there is no value' "$program" --port
expect 2 "zorf-datanode: command line: port: '70000' is not a number from 0 to 65535" \
  "$program" --root root --key keys --port 70000
expect 1 'zorf-datanode: none: No such file or directory' "$program" --root none --key keys
expect 1 'zorf-datanode: none: No such file or directory' "$program" --root root --key none
chmod 644 keys
expect 1 'zorf-datanode: keys: others than its owner have access: chmod 600' "$program" --root root --key keys
chmod 600 keys
expect 1 "zorf-datanode: can't listen at 192.0.2.1 port 0: Cannot assign requested address" \
  "$program" --root root --key keys --bind 192.0.2.1 --port 0
"$program" --help | grep -q '^  --root DIR  '

printf '# ours\nroot = root\nkey= keys \n port=0\n\nconnections = 100\noperations = 20\n' >config
expect 0 "$banner" "$program" --config config --check
expect 0 "${banner/BP-zorf-1/BP-other}" "$program" --config config --check --pool=BP-other
printf 'root = root\nprot = 1\n' >wrong
expect 2 "zorf-datanode: wrong:2: there is no option 'prot'" "$program" --config wrong
printf 'root = root\nport = x\n' >wrong
expect 2 "zorf-datanode: wrong:2: port: 'x' is not a number from 0 to 65535" "$program" --config wrong
printf 'root\n' >wrong
expect 2 "zorf-datanode: wrong:1: not 'name = value'" "$program" --config wrong
expect 2 'zorf-datanode: none: can'\''t be read' "$program" --config none

# lines COUNT: waits for so many of the log.
lines() {
  local i
  for ((i = 0; i < 500; ++i)); do
    (($(wc -l <log) < $1)) || return 0
    sleep 0.02
  done
  cat log >&2
  exit 1
}
: >log
JOURNAL_STREAM=1:1 "$program" --config config --metrics 0 2>log &
service=$!
lines 3
metrics=$(sed -n 's,^INFO metrics at http://127.0.0.1:\([0-9]*\)/metrics$,\1,p' log)
port=$(sed -n 's,^INFO listens at 127.0.0.1:\([0-9]*\)$,\1,p' log)
[[ $(sed -n 2p log) == "INFO $banner" ]]

# A file at its limit is one writer's error, and not the end of the service.
ignored=$(awk '/^SigIgn/ { print $2 }' "/proc/$service/status")
((0x$ignored >> 24 & 1)) || { echo "SIGXFSZ is not ignored: $ignored" >&2 && exit 1; }

# ask PORT TEXT: what is answered.
ask() {
  exec 3<>"/dev/tcp/127.0.0.1/$1"
  printf '%b' "$2" >&3
  cat <&3
  exec 3>&-
}
ask "$port" 'GET / HTTP/1.0\r\n\r\n'
ask "$metrics" 'GET /metrics HTTP/1.1\r\n\r\n' >page
grep -q $'^HTTP/1.1 200 OK\r$' page
grep -qx 'zorf_datanode_garbage_total 1' page
grep -qx 'zorf_datanode_operations_total{operation="read",outcome="done"} 0' page
[[ $(ask "$metrics" 'GET / HTTP/1.1\r\n\r\n' | head -1) == $'HTTP/1.1 404 Not Found\r' ]]

echo "5 $hex" >>keys
lines 5
[[ $(sed -n 4p log) =~ ^'WARN 127.0.0.1:'[0-9]+': not version 28 of the data transfer protocol'$ ]]
[[ $(sed -n 5p log) == 'INFO keys read again, number 5 is the newest' ]]
kill "$service"
wait "$service"
service=
expect 0 'INFO ends, operations have 30 s to
INFO ended' tail -n 2 log

# A share of the connections for each address.
: >log
JOURNAL_STREAM=1:1 "$program" --config config --connections-of-address 1 2>log &
service=$!
lines 2
port=$(sed -n 's,^INFO listens at 127.0.0.1:\([0-9]*\)$,\1,p' log)
exec 4<>"/dev/tcp/127.0.0.1/$port"
[[ -z $(ask "$port" '') ]]
[[ -z $(ask "$port" '') ]]
exec 4>&-
kill "$service"
wait "$service"
service=
[[ $(sed -n 3p log) == 'WARN 127.0.0.1 has 1 connections, and gets no more' ]]
[[ $(sed -n 4p log) == INFO* ]]
