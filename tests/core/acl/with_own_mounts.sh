#!/bin/sh
# with_own_mounts.sh COMMAND...: runs a command in a mount namespace of its own, where it may mount. Where
# there can be none, it runs the command as it is; ZORF_MAY_MOUNT tells.
set -eu
. "$(dirname "$0")/../../surroundings.sh"

own_mounts "$@" || exec "$@"
export ZORF_MAY_MOUNT=1
exec "$@"
