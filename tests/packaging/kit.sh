# What the tests in this folder share; each sources this file first. The folder $root goes away with the test.
# shellcheck shell=bash disable=SC2034
set -euo pipefail
project=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
trap 'exit 130' INT TERM HUP

fail()
{
    printf '%s\n' "$*" >&2
    exit 1
}

# quietly COMMAND...: shows the output, which is also in $root/log, only when the command fails.
quietly()
{
    "$@" > "$root/log" 2>&1 || fail "$* failed: $(cat "$root/log")"
}

# Makes a library as an installation has it: the same name, but other contents than the stand-in.
make_own_library()
{
    printf 'int pidrtsys(void** systems) { *systems = 0; return 0; }\n' |
        c++ -x c -shared -fPIC -Wl,-soname,libpidrtsys.so -o "$1" -
}

# check_that_it_starts PROGRAM OPTION: it checks its environment before anything else, so this shows that it starts,
# with its libraries. With -l instead of -t it also loads the module of the window.
check_that_it_starts()
{
    local status=0
    LC_ALL=C TAVRIN='' "$@" > "$root/output" 2> "$root/errors" || status=$?
    diff "$root/errors" <(printf '\nTAVRIN environment variable is not set.\n\n') || fail "$* does not start."
    [ "$status" -eq 1 ] || fail "$* ended with status $status."
}
