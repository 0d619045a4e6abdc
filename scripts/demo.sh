#!/usr/bin/env bash
# The demo, run by `scripts/run.sh demo` in a fresh Wine prefix (WINEPREFIX is set by it):
#   1. the CAPE-OPEN type library and the sample components are registered (on a user's machine the
#      standard's installer and the components' own installers do this),
#   2. TARV64.exe is registered machine-wide,
#   3. the sample ideal-mixture CAPE-OPEN 1.1 package is exported, logged, with the automatic log
#      location and no prompt,
#   4. the sample simulator lists the packages through TARV64.PropertyPackageManager64, gets the
#      package out of process, initialises it, hands it its own material, runs a TP flash and
#      property calculations (which call back into the material), terminates and releases it,
#   5. the log that TARV64 wrote is found and summarised, and the command that opens it in TARV64's
#      log viewer is named.
set -euo pipefail
BUILD=$1
OUT=$BUILD/demo
mkdir -p "$OUT"
rm -f "$OUT"/*.txt

winpath() { printf 'Z:%s' "$(realpath "$1" | tr / '\\')"; }
run() { # run <output file> <windows program> [args...]: Wine's output goes to a file, never a pipe
  local out=$1; shift
  wine "$@" </dev/null >"$out" 2>&1
}

echo "== registering the CAPE-OPEN type library and the sample components"
run "$OUT/register.txt" "$BUILD/tests/support/tarv_testreg.exe" \
  --typelib "$(winpath "$BUILD/idl/capeopen.tlb")" --server "$(winpath "$BUILD/tests/kit/tarvkit.dll")" ||
  { cat "$OUT/register.txt"; exit 1; }

echo "== registering TARV64.exe"
run "$OUT/regserver.txt" "$BUILD/src/host/TARV64.exe" /RegServer || { echo "TARV64 /RegServer failed"; exit 1; }

echo "== exporting the sample package \"Ideal Alkanes\" (CAPE-OPEN 1.1, logged)"
PACKAGE='{E2785283-7782-4DEA-B42C-FDD927B10286}'
reg() { run "$OUT/reg.txt" reg add 'HKCU\Software\TARV' "$@" /f; }
reg /v NumPackages64 /t REG_DWORD /d 1
reg /v Package64_1 /t REG_MULTI_SZ /d "$PACKAGE\\01\\0Ideal Alkanes\\0Ideal Alkanes\\0true"
reg /v AutoLogLocation /t REG_DWORD /d 1
reg /v PromptOpenLog /t REG_DWORD /d 0

echo "== the sample simulator, through TARV64 out of process"
if ! run "$OUT/simulator.txt" "$BUILD/tests/sim/tarv_simulator.exe" --package "Ideal Alkanes" \
    --T 330 --P 101325 --z 0.4,0.35,0.25; then
  cat "$OUT/simulator.txt"
  exit 1
fi
cat "$OUT/simulator.txt"

# The server ends about a second after the simulator released its last object.
for _ in $(seq 1 100); do
  pgrep -f 'TARV64.exe' >/dev/null || break
  sleep 0.1
done

LOG=$(find -L "$WINEPREFIX/drive_c/users" -path '*TARV logs*' -name '*.tlg' -print 2>/dev/null | head -n 1)
if [ -z "$LOG" ]; then
  echo "no log file was written" >&2
  exit 1
fi
cp "$LOG" "$OUT/demo-log.tlg"

echo
echo "== the log"
echo "written by TARV64 at: $LOG"
echo "copied to:            $OUT/demo-log.tlg"
tr -d '\r' <"$LOG" >"$OUT/log.txt"
funcs=$(grep -c '<func ' "$OUT/log.txt" || true)
nested=$(grep -c '^ <func .*direc="out"' "$OUT/log.txt" || true)
errors=$(grep -c '<error ' "$OUT/log.txt" || true)
warnings=$(grep -c '<warning ' "$OUT/log.txt" || true)
infos=$(grep -c '<info ' "$OUT/log.txt" || true)
echo "records: $funcs calls ($nested of them calls back from the package to the simulator's material," \
     "logged inside the call in progress), $infos notes, $errors errors, $warnings warnings"
echo "calls by method:"
grep -o '<func name="[^"]*" direc="[a-z]*"' "$OUT/log.txt" | sed 's/<func name="\([^"]*\)" direc="\([a-z]*\)"/\1 (\2)/' |
  sort | uniq -c | sort -rn | sed 's/^/  /'
if [ "$errors" -gt 0 ] || [ "$warnings" -gt 0 ]; then
  echo "errors and warnings:"
  grep -E '<(error|warning) ' "$OUT/log.txt" | sed 's/^ */  /' | sort | uniq -c
fi
tail -n 1 "$OUT/log.txt" | grep -q '</tarvlogdocument>' && echo "the log is complete (closed at the package's final release)"
echo
echo "to open it in TARV64's log viewer: bash scripts/run.sh view $OUT/demo-log.tlg"
