#!/bin/sh
# library_shape.sh LIBRARY HEADER VERSION [release]: what the loader and the JVM see of the library: its exports, its
# name, what it needs; for a release also how it is hardened.
set -eu

library=$1
header=$2
version=$3
failed=0

# check WHAT EXPECTED ACTUAL
check() {
  [ "$2" = "$3" ] && return
  failed=1
  printf 'FAILED %s\n expected: %s\n actual:   %s\n' "$1" "$2" "$3"
}

# contains WHAT PATTERN TEXT
contains() {
  printf '%s\n' "$3" | grep -q -- "$2" && return
  failed=1
  echo "FAILED $1: no '$2'"
}

prefix=$(grep -o 'Java_[A-Za-z0-9_]*' "$header")
natives=$(sed -En "s/^ZORF_NATIVE\([a-zA-Z]+, (\w+)\).*/$prefix\1/p" "$header" | sort)
check 'number of natives declared' 31 "$(echo "$natives" | wc -l)"
check 'exports are JNI_OnLoad and the natives, nothing else' \
  "$(printf 'JNI_OnLoad\n%s\n' "$natives" | sort)" \
  "$(nm -D --defined-only "$library" | awk '{ print $3 }' | sort)"

dynamic=$(readelf -dW "$library")
check 'soname' 'libzorfhadoop.so.2.7' \
  "$(echo "$dynamic" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')"
# readelf shows a note that it doesn't know as bytes: the text and its zero.
check 'version in a note' "$(printf '%s\0' "$version" | od -An -tx1 | xargs)" \
  "$(readelf -nW "$library" | sed -n 's/^ *zorfhadoop .*description data: //p' | xargs)"
needed=$(echo "$dynamic" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort | tr '\n' ' ')
case "$needed" in
  *libacl*) check 'libacl is not linked' '' "$needed" ;;
esac
check 'link of that name beside it' 'libzorfhadoop.so.2.7' \
  "$(readlink "$(dirname "$library")/libzorfhadoop.so")"

if [ "${4:-}" = release ]; then
  check 'what it needs' 'ld-linux-x86-64.so.2 libc.so.6 libzorf.so ' "$needed"
  contains 'bound at load' 'BIND_NOW' "$dynamic"
  contains 'relocations read-only' 'GNU_RELRO' "$(readelf -lW "$library")"
  contains 'stack not executable' 'GNU_STACK.* RW ' "$(readelf -lW "$library")"
  check 'exports that an indirect branch may enter' 32 "$(objdump -d "$library" |
    grep -A1 '<\(Java_[A-Za-z0-9_]*\|JNI_OnLoad\)>:$' | grep -c endbr64)"
  contains 'stack protector' '__stack_chk_fail' "$(readelf -sW --dyn-syms "$library")"
  # The code has no call that could be checked at run time; the compiler was told all the same.
  contains 'fortified' '_FORTIFY_SOURCE=2.*src/jni/convert.cc' \
    "$(cat "$(dirname "$library")/../compile_commands.json")"
fi
exit "$failed"
