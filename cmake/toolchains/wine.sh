#!/bin/sh
# wine.sh PROGRAM [ARGUMENT...]
# Runs a Windows program under Wine, with a prefix in the build directory and without dialogs of Wine's own.
: "${WINEPREFIX:=$(cd "$(dirname "$0")/../.." && pwd)/build/wine}" "${WINEDEBUG:=-all}"
: "${WINEDLLOVERRIDES:=mscoree,mshtml=}"
export WINEPREFIX WINEDEBUG WINEDLLOVERRIDES
mkdir -p "${WINEPREFIX%/*}"
# Wine's services take seconds to start. They stay for the next programs, away from this one's streams, which
# whoever reads them would wait for. Starting the server fails when it is there already.
flock -o "$WINEPREFIX.lock" sh -c 'wineserver -p30 && wine wineboot' </dev/null >/dev/null 2>&1 || true
exec wine "$@"
