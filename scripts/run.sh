#!/usr/bin/env bash
# The one entry point for a fresh Debian 12 machine:
#   scripts/run.sh setup   install packages and cross-build the dependencies (idempotent, cached)
#   scripts/run.sh build   setup + configure and build everything
#   scripts/run.sh test    build + run all tests in a fresh Wine prefix
#   scripts/run.sh demo    build + run the demo in a fresh Wine prefix
#   scripts/run.sh bench   build + run every benchmark in a fresh Wine prefix and print one table:
#                          each figure, its floor or reference measured in the same run, the ratio
#   scripts/run.sh view LOG
#                          build + open LOG in TARV64's log viewer: on the display in $DISPLAY when
#                          there is one; otherwise under Xvfb, writing a screenshot PNG of the viewer
#                          and printing its path
#   scripts/run.sh manager build + open TARV64's manager window in a prepared prefix (the sample
#                          components and TARV64 registered, four packages exported), on the display
#                          or under Xvfb with a screenshot, as for view
#
# Environment:
#   TARV64_CACHE   cache of cross-built dependencies (default ~/.cache/tarv64)
#   TARV64_BUILD   build directory (default <repo>/build)
#   TARV64_WERROR  ON turns warnings into errors (CI sets it)
#   TARV64_QUIET   1 hides apt/cmake chatter (default 1)
set -euo pipefail

REPO=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
CACHE=${TARV64_CACHE:-$HOME/.cache/tarv64}
BUILD=${TARV64_BUILD:-$REPO/build}
WERROR=${TARV64_WERROR:-OFF}
[ "${CI:-}" = "true" ] && WERROR=ON
QUIET=${TARV64_QUIET:-1}
TRIPLE=x86_64-w64-mingw32
TOOLCHAIN=$REPO/cmake/mingw-w64-x86_64.cmake
PACKAGES="mingw-w64 g++-mingw-w64-x86-64-posix mingw-w64-tools libwine-dev wine wine64 fonts-wine
          cmake ninja-build googletest dpkg-dev clang lld xvfb xauth imagemagick x11-utils"

log() { printf '== %s\n' "$*" >&2; }
quiet() {
  if [ "$QUIET" = 1 ]; then
    local out; out=$(mktemp)
    if ! "$@" >"$out" 2>&1; then cat "$out" >&2; rm -f "$out"; return 1; fi
    rm -f "$out"
  else
    "$@"
  fi
}
as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }
apt_get() { as_root env DEBIAN_FRONTEND=noninteractive apt-get -y -q "$@"; }

# --- Debian packages ------------------------------------------------------------------------------
install_packages() {
  local missing=()
  for p in $PACKAGES; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed" || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  log "installing ${missing[*]}"
  quiet apt_get update
  quiet apt_get install --no-install-recommends "${missing[@]}"
}

# deb-src lines mirroring the machine's own Debian sources, so that source packages come from the
# same archive as the binaries.
enable_deb_src() {
  local list=/etc/apt/sources.list.d/tarv64-deb-src.sources
  [ -f "$list" ] && return 0
  local src=/etc/apt/sources.list.d/debian.sources
  log "enabling deb-src"
  if [ -f "$src" ]; then
    sed -e 's/^Types:.*/Types: deb-src/' "$src" | as_root tee "$list" >/dev/null
  else
    . /etc/os-release
    as_root tee "$list" >/dev/null <<EOF
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: $VERSION_CODENAME $VERSION_CODENAME-updates
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg

Types: deb-src
URIs: http://deb.debian.org/debian-security
Suites: $VERSION_CODENAME-security
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
EOF
  fi
  quiet apt_get update
}

# --- libxml2, cross-built static from Debian's source package ------------------------------------
libxml2_prefix() {
  local ver; ver=$(apt-cache showsrc libxml2 2>/dev/null | awk '/^Version:/ {print $2; exit}')
  [ -n "$ver" ] || { echo "cannot find the libxml2 source package" >&2; return 1; }
  echo "$CACHE/libxml2-${ver//[:~+]/_}-$TRIPLE"
}

build_libxml2() {
  local prefix; prefix=$(libxml2_prefix)
  [ -f "$prefix/.done" ] && return 0
  log "cross-building libxml2 into $prefix"
  local work; work=$(mktemp -d)
  (cd "$work" && quiet apt-get source --download-only libxml2 && quiet dpkg-source -x ./*.dsc src)
  rm -rf "$prefix"
  quiet cmake -S "$work/src" -B "$work/build" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" \
    -DBUILD_SHARED_LIBS=OFF -DHAVE_PTHREAD_H= \
    -DLIBXML2_WITH_ICONV=OFF -DLIBXML2_WITH_ICU=OFF -DLIBXML2_WITH_LZMA=OFF -DLIBXML2_WITH_ZLIB=OFF \
    -DLIBXML2_WITH_PYTHON=OFF -DLIBXML2_WITH_HTTP=OFF -DLIBXML2_WITH_FTP=OFF \
    -DLIBXML2_WITH_MODULES=OFF -DLIBXML2_WITH_PROGRAMS=OFF -DLIBXML2_WITH_TESTS=OFF
  quiet cmake --build "$work/build"
  quiet cmake --install "$work/build"
  touch "$prefix/.done"
  rm -rf "$work"
}

# --- GoogleTest, cross-built from Debian's googletest sources -------------------------------------
gtest_prefix() {
  local ver; ver=$(dpkg-query -W -f='${Version}' googletest)
  echo "$CACHE/googletest-${ver//[:~+]/_}-$TRIPLE"
}

build_gtest() {
  local prefix; prefix=$(gtest_prefix)
  [ -f "$prefix/.done" ] && return 0
  log "cross-building GoogleTest into $prefix"
  local work; work=$(mktemp -d)
  rm -rf "$prefix"
  quiet cmake -S /usr/src/googletest -B "$work" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" \
    -DBUILD_SHARED_LIBS=OFF -Dgtest_disable_pthreads=OFF
  quiet cmake --build "$work"
  quiet cmake --install "$work"
  touch "$prefix/.done"
  rm -rf "$work"
}

setup() {
  install_packages
  enable_deb_src
  mkdir -p "$CACHE"
  build_libxml2
  build_gtest
}

# --- build ------------------------------------------------------------------------------------------
build() {
  setup
  if [ ! -f "$BUILD/build.ninja" ]; then
    log "configuring $BUILD"
    quiet cmake -S "$REPO" -B "$BUILD" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN" \
      -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARV64_WERROR="$WERROR" \
      -DTARV64_LIBXML2_PREFIX="$(libxml2_prefix)" -DTARV64_GTEST_PREFIX="$(gtest_prefix)"
  else
    quiet cmake "$BUILD" -DTARV64_WERROR="$WERROR"
  fi
  log "building"
  quiet cmake --build "$BUILD"
}

# --- Wine prefix ------------------------------------------------------------------------------------
# A fresh 64-bit prefix per run, headless (null graphics driver), with a persistent wineserver
# whose standard streams are detached: Wine's background processes inherit the streams of whoever
# starts them, and a pipe held open that way makes ctest wait for ever.
export WINEARCH=win64
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES="mscoree,mshtml=;winedbg.exe=d"

prefix_start() {
  export WINEPREFIX=$BUILD/wineprefix
  # Wine links the prefix's Desktop and Documents to folders of $HOME: give it a home of its own,
  # so that runs leave nothing in the user's folders and find nothing of earlier runs.
  export HOME=$BUILD/winehome
  rm -rf "$HOME"
  mkdir -p "$HOME"
  # The previous run's server must have ended before its prefix goes.
  wineserver -k >/dev/null 2>&1 </dev/null || true
  wineserver -w >/dev/null 2>&1 </dev/null || true
  rm -rf "$WINEPREFIX"
  log "creating Wine prefix $WINEPREFIX"
  mkdir -p "$WINEPREFIX"
  # A wineserver of the previous run that is still going down can fail the first boot: once more
  # on a clean directory.
  if ! wine wineboot -i </dev/null >/dev/null 2>&1; then
    wineserver -k >/dev/null 2>&1 </dev/null || true
    wineserver -w >/dev/null 2>&1 </dev/null || true
    rm -rf "$WINEPREFIX" && mkdir -p "$WINEPREFIX"
    wine wineboot -i </dev/null >/dev/null 2>&1
  fi
  wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f </dev/null >/dev/null 2>&1
  # A freshly made prefix cannot start its RPC service (COM's out-of-process activation then hangs
  # and fails) until its wineserver has been restarted once.
  wineserver -k >/dev/null 2>&1 </dev/null || true
  wineserver -w >/dev/null 2>&1 </dev/null || true
  wineserver -p </dev/null >/dev/null 2>&1
  wine wineboot </dev/null >/dev/null 2>&1
  trap prefix_stop EXIT
}

prefix_stop() { wineserver -k >/dev/null 2>&1 </dev/null || true; }

run_tests() {
  build
  prefix_start
  log "running tests"
  ctest --test-dir "$BUILD" --output-on-failure --timeout 600 "$@"
}

run_demo() {
  build
  prefix_start
  log "running the demo"
  bash "$REPO/scripts/demo.sh" "$BUILD"
}

# Each benchmark prints its own detail (kept in build/bench-results/NAME.txt) and rows
# "@row|figure|value|floor|floor value|ratio" (bench/table.h), gathered here into one table.
BENCHMARKS="log/log_bench proxy_call_bench proxy_bench viewer/viewer_bench"
run_bench() {
  build
  prefix_start
  local out=$BUILD/bench-results
  rm -rf "$out"
  mkdir -p "$out"
  local failed=0
  for b in $BENCHMARKS; do
    local name; name=$(basename "$b")
    log "running $name"
    if ! wine "$BUILD/bench/$b.exe" </dev/null >"$out/$name.txt" 2>"$out/$name.err"; then
      echo "$name failed; its output: $out/$name.txt, $out/$name.err" >&2
      failed=1
    fi
  done
  {
    printf '%s|%s|%s|%s|%s\n' "figure" "value" "floor or reference (same run)" "its value" "ratio"
    for b in $BENCHMARKS; do
      grep -h '^@row|' "$out/$(basename "$b").txt" | cut -d'|' -f2- || true
    done
  } | tr -d '\r' | awk -F'|' '{ for (i = 1; i <= NF; i++) { cell[NR, i] = $i; if (length($i) > w[i]) w[i] = length($i) } n = NF }
      END { for (r = 1; r <= NR; r++) { line = ""; for (i = 1; i <= n; i++) line = line sprintf("%-*s  ", w[i], cell[r, i]); sub(/ +$/, "", line); print line } }' \
    | tee "$out/table.txt"
  echo "details: $out/"
  return $failed
}

# --- the log viewer -------------------------------------------------------------------------------
# A prefix of its own, kept between runs, drawing with Wine's X11 driver (the test prefix draws with
# the null driver). Its wineserver lives only for one run, since it holds on to the display it
# started with.
view_prefix() {
  export WINEPREFIX=$BUILD/viewprefix
  export HOME=$BUILD/viewhome
  mkdir -p "$HOME"
  wineserver -k >/dev/null 2>&1 </dev/null || true
  wineserver -w >/dev/null 2>&1 </dev/null || true
  if [ ! -f "$WINEPREFIX/.ready" ]; then
    log "creating Wine prefix $WINEPREFIX"
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX"
    DISPLAY= wine wineboot -i </dev/null >/dev/null 2>&1
    wineserver -w >/dev/null 2>&1 </dev/null || true
    touch "$WINEPREFIX/.ready"
  fi
  trap view_stop EXIT
}

view_stop() {
  wineserver -k >/dev/null 2>&1 </dev/null || true
  [ -n "${XVFB_PID:-}" ] && kill "$XVFB_PID" 2>/dev/null || true
}

# Runs a Windows program that opens a window titled TITLE: on the display in $DISPLAY when there is
# one, until the program ends; otherwise under Xvfb, writing a screenshot of that window to PNG and
# printing its path. Wine's output goes to wine.txt beside the PNG.
show_window() {
  local title=$1 png=$2; shift 2
  local out; out=$(dirname "$png")
  if [ -n "${DISPLAY:-}" ]; then
    wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d Y /f </dev/null >/dev/null 2>&1
    log "showing \"$title\" on display $DISPLAY (close the window to end)"
    wine "$@" </dev/null >"$out/wine.txt" 2>&1
    return
  fi

  # No display: a virtual one. Without a window manager Wine's windows are left unmanaged, which
  # spares each window operation a wait for a manager that never answers.
  rm -f "$out/display"
  Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$out/display" >"$out/xvfb.txt" 2>&1 &
  XVFB_PID=$!
  for _ in $(seq 1 100); do [ -s "$out/display" ] && break; sleep 0.1; done
  export DISPLAY=:$(head -n 1 "$out/display")
  wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f </dev/null >/dev/null 2>&1
  log "opening \"$title\" under Xvfb on $DISPLAY"
  wine "$@" </dev/null >"$out/wine.txt" 2>&1 &
  local shown=
  for _ in $(seq 1 600); do
    if xwininfo -name "$title" 2>/dev/null | grep -q IsViewable; then shown=1; break; fi
    sleep 0.2
  done
  sleep 1   # let it paint
  if [ -n "$shown" ]; then
    import -window "$title" "$png"
  else
    # Still not shown (a message box may be waiting for an answer): the whole screen.
    import -window root "$png"
  fi
  echo "screenshot: $png"
}

winpath() { printf 'Z:%s' "$(realpath "$1" | tr / '\\')"; }

run_view() {
  [ $# -eq 1 ] || { echo "usage: $0 view LOG" >&2; exit 2; }
  [ -f "$1" ] || { echo "no such file: $1" >&2; exit 2; }
  local file; file=$(realpath "$1")
  build
  view_prefix
  local out=$BUILD/view
  mkdir -p "$out"
  local path; path=$(winpath "$file")
  show_window "Log file ${path##*\\}:" "$out/$(basename "$file").png" "$BUILD/src/host/TARV64.exe" "$path"
}

# --- the manager window ---------------------------------------------------------------------------
# The viewer's prefix, with the sample components and TARV64 registered and a few packages of
# different kinds exported, as a user would have them after a few visits to the window.
run_manager() {
  build
  view_prefix
  local out=$BUILD/manager
  mkdir -p "$out"
  log "registering the sample components and TARV64"
  wine "$BUILD/tests/support/tarv_testreg.exe" --typelib "$(winpath "$BUILD/idl/capeopen.tlb")" \
    --server "$(winpath "$BUILD/samples/dll/tarvsamples.dll")" </dev/null >"$out/register.txt" 2>&1 ||
    { cat "$out/register.txt"; exit 1; }
  wine "$BUILD/src/host/TARV64.exe" /RegServer </dev/null >"$out/regserver.txt" 2>&1 ||
    { echo "TARV64 /RegServer failed" >&2; exit 1; }
  log "exporting four sample packages"
  local records=(
    '{808B7DF7-562A-4C2D-A3F5-BECF58BAC59F}\00\0Ideal Alkanes\0TARVKit Package Manager/Ideal Alkanes\0true'
    '{841DF50A-28EB-4538-9194-0B2D4EE3F400}\02\0Ideal Aromatics\0TARVKit Thermo System/Ideal Aromatics\0false'
    '{E2785283-7782-4DEA-B42C-FDD927B10286}\01\0TARVKit Ideal Package\0TARVKit Ideal Package\0true'
    '{DF4A99ED-9950-4A90-BD93-0B3C89C68695}\03\0TARVKit Package 1.0\0TARVKit Package 1.0\0false')
  local key='HKCU\Software\TARV' i=0
  wine reg add "$key" /v NumPackages64 /t REG_DWORD /d ${#records[@]} /f </dev/null >/dev/null 2>&1
  for r in "${records[@]}"; do
    i=$((i + 1))
    wine reg add "$key" /v "Package64_$i" /t REG_MULTI_SZ /d "$r" /f </dev/null >/dev/null 2>&1
  done
  # A wineserver holds on to the display it started with: the window needs a new one.
  wineserver -k >/dev/null 2>&1 </dev/null || true
  wineserver -w >/dev/null 2>&1 </dev/null || true
  show_window "TARV Packages:" "$out/manager.png" "$BUILD/src/host/TARV64.exe"
}

case "${1:-}" in
  setup) setup ;;
  build) build ;;
  test)  shift; run_tests "$@" ;;
  demo)  run_demo ;;
  bench) run_bench ;;
  view)  shift; run_view "$@" ;;
  manager) run_manager ;;
  *) echo "usage: $0 setup|build|test|demo|bench|view LOG|manager" >&2; exit 2 ;;
esac
