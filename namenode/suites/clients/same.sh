# To be sourced by a client's script. Compares, counts, and tells at the end.
same=0 different=0

# same WHAT WANTED GOT
same() {
  if [[ $2 == "$3" ]]; then
    same=$((same + 1))
  else
    different=$((different + 1))
    printf '%s: %s\n  wanted: %s\n  got:    %s\n' "$client" "$1" "$2" "$3"
  fi
}

# is PATH WANTED: what the file system itself says: kind, mode, owner, group, size
is() {
  same "$1" "$2" "$(stat -c '%F %a %U %G %s' "$root$1" 2>/dev/null || echo missing)"
}

told() {
  echo "$client: $same answers as the file system's, $different not"
  ((different == 0))
}
