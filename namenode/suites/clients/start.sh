# To be sourced. Services that end with the script that has started them.
started=()
end_started() {
  ((${#started[@]} == 0)) || kill "${started[@]}" 2>/dev/null || true
  wait
}

# start PATTERN LOG COMMAND...: starts one and waits for its port in the log, where the pattern's group is.
start() {
  local pattern=$1 log=$2 found=
  shift 2
  : >"$log"
  "$@" >"$log" 2>&1 &
  started+=($!)
  for _ in $(seq 600); do
    found=$(sed -nE "s/$pattern/\1/p;T;q" "$log")
    [[ -z $found ]] || break
    kill -0 $! 2>/dev/null || break
    sleep 0.1
  done
  [[ -n $found ]] || {
    cat "$log" >&2
    exit 1
  }
  port=$found
}
