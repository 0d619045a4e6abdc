#!/usr/bin/env bash
# The demo, run by `scripts/run.sh demo` inside a fresh Wine prefix.
set -euo pipefail
BUILD=$1
wine "$BUILD/src/host/TARV64.exe" </dev/null >/dev/null 2>&1
echo "TARV64.exe built at $BUILD/src/host/TARV64.exe"
