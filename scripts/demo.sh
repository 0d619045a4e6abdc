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
#   5. the log that TARV64 wrote is found, summarised and checked with tarvlog, and the command that
#      opens it in TARV64's log viewer is named,
#   6. with the sample flash drum configured as TARV64's logged unit operation, the sample
#      simulator places TARV64.UnitOperation64 on its flowsheet, connects its materials and an
#      energy stream, calculates, saves the unit to memory and loads it into a new one; the unit's
#      log is summarised and checked the same way.
set -euo pipefail
BUILD=$1
OUT=$BUILD/demo
mkdir -p "$OUT"
rm -f "$OUT"/*.txt

winpath() { printf 'Z:%s' "$(realpath "$1" | tr / '\\')"; }
# The server ends about a second after the simulator released its last object (longer on a busy
# machine); Wine does not suspend its class objects meanwhile, so the next activation waits for it.
wait_for_server() {
  for _ in $(seq 1 600); do
    pgrep -f 'TARV64.exe' >/dev/null || break
    sleep 0.1
  done
}
run() { # run <output file> <windows program> [args...]: Wine's output goes to a file, never a pipe
  local out=$1; shift
  wine "$@" </dev/null >"$out" 2>&1
}

echo "== registering the CAPE-OPEN type library and the sample components"
run "$OUT/register.txt" "$BUILD/tests/support/tarv_testreg.exe" \
  --typelib "$(winpath "$BUILD/idl/capeopen.tlb")" --server "$(winpath "$BUILD/samples/dll/tarvsamples.dll")" ||
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
if ! run "$OUT/simulator.txt" "$BUILD/samples/simulator/tarv_simulator.exe" --package "Ideal Alkanes" \
    --T 330 --P 101325 --z 0.4,0.35,0.25; then
  cat "$OUT/simulator.txt"
  exit 1
fi
cat "$OUT/simulator.txt"

wait_for_server

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
# A log's summary and its check, by the same reader as the viewer's:
#   check_log <copy of the log> <heading suffix> <stem of the output files>
check_log() {
  local log=$1 name=$2 stem=$3 status=0
  echo
  echo "== tarvlog summary$name"
  run "$OUT/${stem}summary.txt" "$BUILD/src/host/tarvlog.exe" summary "$(winpath "$log")" ||
    { cat "$OUT/${stem}summary.txt"; echo "the log could not be read whole" >&2; exit 1; }
  tr -d '\r' <"$OUT/${stem}summary.txt"
  echo
  echo "== tarvlog check$name"
  run "$OUT/${stem}check.txt" "$BUILD/src/host/tarvlog.exe" check "$(winpath "$log")" || status=$?
  tr -d '\r' <"$OUT/${stem}check.txt" | sed -n 's/^verdict: /verdict: /p'
  echo "exit code $status (0: no error record; 1: error records; 2: the log could not be read whole)"
  [ "$status" -eq 0 ] || exit 1
  echo
  echo "to open it in TARV64's log viewer: bash scripts/run.sh view $log"
}
check_log "$OUT/demo-log.tlg" "" ""

wait_for_server

echo
echo "== the logged unit operation: the sample flash drum, configured as TARV64's unit (VESKERUnit64)"
# {731C4BC2-A91B-4986-87AB-0D83551A5A31} in its memory layout
reg /v VESKERUnit64 /t REG_BINARY /d C24B1C731BA9864987AB0D83551A5A31
before=$(find -L "$WINEPREFIX/drive_c/users" -path '*TARV logs*' -name '*.tlg' 2>/dev/null | sort)
if ! run "$OUT/unit.txt" "$BUILD/samples/simulator/tarv_simulator.exe" --unit \
    --T 340 --P 101325 --z 0.4,0.35,0.25 --drum-T 330 --drum-P 101325; then
  cat "$OUT/unit.txt"
  exit 1
fi
tr -d '\r' <"$OUT/unit.txt"
wait_for_server
# Each unit operation writes a log of its own: the calculated unit's has the Calculate, the other
# is the reloaded unit's.
UNIT_LOG=""
RELOADED_LOG=""
while IFS= read -r f; do
  if grep -q 'ICapeUnit::Calculate' "$f"; then UNIT_LOG=$f; else RELOADED_LOG=$f; fi
done < <(comm -13 <(echo "$before") \
  <(find -L "$WINEPREFIX/drive_c/users" -path '*TARV logs*' -name '*.tlg' 2>/dev/null | sort))
if [ -z "$UNIT_LOG" ]; then
  echo "the unit operation wrote no log with its calculation" >&2
  exit 1
fi
cp "$UNIT_LOG" "$OUT/unit-log.tlg"
if [ -n "$RELOADED_LOG" ]; then cp "$RELOADED_LOG" "$OUT/unit-reloaded-log.tlg"; fi
echo
echo "== the unit's log"
echo "written by TARV64 at: $UNIT_LOG"
echo "copied to:            $OUT/unit-log.tlg"
if [ -n "$RELOADED_LOG" ]; then echo "the reloaded unit's:  $OUT/unit-reloaded-log.tlg"; fi
check_log "$OUT/unit-log.tlg" " (unit)" unit-
