# To be sourced by a script with a scratch directory as its own: services that end when the script does.
# shellcheck shell=bash disable=SC2154  # $tree and $program are the script's

processes=()
scratch=$(mktemp -d)
trap 'kill "${processes[@]}" 2>/dev/null; wait; rm -rf "$scratch"' EXIT
chmod 755 "$scratch"
cd "$scratch"
mkdir -m 777 root
(umask 077 && echo "1 $(od -An -N32 -tx1 /dev/urandom | tr -d ' \n')" >keys)

# start LOG COMMAND...: in the background; its number is in $!.
start() {
  local log=$1
  shift
  : >"$log"
  "$@" >>"$log" 2>&1 &
  processes+=($!)
}

# told LOG TEXT: the word that follows it in a log, waited for.
told() {
  local i found
  for ((i = 0; i < 600; ++i)); do
    found=$(sed -n "s,.*$2,,p" "$1")
    [[ -z $found ]] || { echo "${found%% *}" && return; }
    sleep 0.1
  done
  cat "$1" >&2
  return 1
}

# datanode NAME OPTION...: one in this or another network; logs to NAME.log.
datanode() {
  local name=$1
  shift
  start "$name.log" "${in_network[@]}" "$program" --root root --key keys "$@"
}

# namenode OPTION...: with the file topology; logs to namenode.log.
namenode() {
  start namenode.log "$tree/namenode/dev" run --root root --key keys --topology topology --http-port off "$@"
}

hdfs() {
  "${in_network[@]}" "$tree/namenode/dev" hdfs dfs -fs "hdfs://$(told namenode.log hdfs://)" "$@"
}

in_network=() # what leads into another one
