#!/usr/bin/env bash
# Builds mirl and runs what comes with it. `./mirl.sh` alone says how.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
photos=/usr/share/doc/opencv-doc/examples/data
PATH=$PATH:/usr/local/cuda/bin

usage() {
  cat <<'TEXT'
usage: ./mirl.sh COMMAND

  demo [photo ...]     show every operation on photos, yours or some from Debian: gallery/index.html
  test [option ...]    build everything and run the tests; options go to ctest
  fuzz [seconds]       call every operation with random arguments, under sanitizers
  bench [option ...]   measure every operation; options go to the bench program, see bench --help
  gpu-test [step ...]  on the GPU that is there: build with CUDA, run the tests, the bench and some
                       tests under compute-sanitizer; or only the steps named, of build, tests,
                       bench, sanitize
  packages [more ...]  install what is needed to build, nothing else

What is missing is installed with apt-get, as root or through sudo, but not by gpu-test, which may
be where nothing can be fetched. Builds stand in build/.
TEXT
}

say() { printf 'mirl: %s\n' "$*" >&2; }
die() {
  say "$1"
  exit "${2:-1}"
}

# --- what is needed -------------------------------------------------------------------------------

# Whether the C++ compiler finds a header.
has_header() {
  local folder
  local -a search=(-I/usr/include/opencv4 -I/usr/local/include/opencv4
    -I/usr/include/eigen3 -I/usr/local/include/eigen3)
  local IFS=:
  for folder in ${CMAKE_PREFIX_PATH:-}; do
    search+=("-I$folder/include" "-I$folder/include/opencv4" "-I$folder/include/eigen3")
  done
  "${CXX:-c++}" "${search[@]}" -E -x c++ - <<<"#include <$1>" >/dev/null 2>&1
}

# Packages, and how to see that they are there whichever way they were installed.
is_there() {
  case $1 in
    g++) command -v "${CXX:-c++}" ;;
    clang) command -v clang++ ;;
    cmake) command -v cmake ;;
    ninja-build) command -v ninja ;;
    pkg-config) command -v pkg-config ;;
    libgtest-dev) has_header gtest/gtest.h ;;
    libhwy-dev) has_header hwy/highway.h ;;
    libopencv-dev) has_header opencv2/imgcodecs.hpp && has_header opencv2/imgproc.hpp ;;
    opencv-doc) test -e "$photos/fruits.jpg" ;;
    *) false ;;
  esac >/dev/null 2>&1
}

all_packages=(g++ cmake ninja-build pkg-config libgtest-dev libhwy-dev libopencv-dev opencv-doc)

# Sets `missing` to those of the given packages that aren't there.
find_missing() {
  local package
  missing=()
  for package in "$@"; do
    is_there "$package" || missing+=("$package")
  done
}

as_root() {
  if [[ $EUID -eq 0 ]]; then
    "$@"
  else
    sudo "$@"
  fi
}

# Installs packages; false if that can't be done here.
install_packages() {
  command -v apt-get >/dev/null || return 1
  [[ $EUID -eq 0 ]] || command -v sudo >/dev/null || return 1
  say "installing with apt-get: $*"
  as_root apt-get update -q >&2 || say "apt-get update failed, trying with the lists that are there"
  # Slim systems leave out documentation, where the photos are.
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends \
    --reinstall -o Dpkg::Options::=--path-include='/usr/share/doc/opencv-doc/*' "$@" >&2
}

# Everything that the given packages bring is there, or this is the end.
require() {
  find_missing "$@"
  if ((${#missing[@]})); then
    die "please install these packages and run this again: ${missing[*]}"
  fi
  local version
  version=$(cmake --version | sed -n '1s/[^0-9]*\([0-9]*\.[0-9]*\).*/\1/p')
  if [[ $(printf '%s\n' 3.25 "$version" | sort -V | head -1) != 3.25 ]]; then
    die "cmake is $version: please install 3.25 or newer"
  fi
}

# The same after what is missing was installed, if that can be done here.
need() {
  find_missing "$@"
  if ((${#missing[@]})); then install_packages "${missing[@]}" || true; fi
  require "$@"
}

# --- building -------------------------------------------------------------------------------------

# configure PRESET [option ...], quietly if nothing is wrong.
configure() {
  local log
  if ! log=$(cd "$root" && cmake --preset "$@" 2>&1); then
    printf '%s\n' "$log" >&2
    die "the configuration failed, see above; removing build/$1 starts afresh"
  fi
  sed -n '/^-- mirl /,/^--   tests/s/^-- //p' <<<"$log"
}

build() {
  cmake --build "$root/build/$1" "${@:2}" || die "the build failed, see above"
}

run_tests() {
  (cd "$root/build/$1" && exec ctest --output-on-failure --no-tests=error "${@:2}")
}

run_bench() {
  "$root/build/$1/bench/mirl_bench" "${@:2}"
}

# --- commands -------------------------------------------------------------------------------------

demo() {
  need "${all_packages[@]}"
  configure release
  build release --target mirl_gallery
  "$root/build/release/examples/gallery/mirl_gallery" --out "$root/gallery" "$@"
}

run_test() {
  need "${all_packages[@]}"
  configure release
  build release
  run_tests release "$@"
}

fuzz() {
  local seconds=${1:-60}
  [[ $seconds =~ ^[0-9]+$ ]] || die "fuzz takes a number of seconds, not $seconds" 2
  need g++ cmake ninja-build libgtest-dev libhwy-dev libopencv-dev
  configure asan
  build asan --target mirl_fuzz
  "$root/build/asan/tests/fuzz/mirl_fuzz" --seconds "$seconds" --seed "$RANDOM$RANDOM"
}

bench() {
  need "${all_packages[@]}"
  configure release
  build release --target mirl_bench
  run_bench release "$@"
}

# --- gpu-test -------------------------------------------------------------------------------------

# Tests for compute-sanitizer, under which all of them would take too long: a short one of each way
# in which kernels run, but none that makes the runtime fail.
sanitized=(
  "map_test *PixelsOfAnyChannelsAndAlignment/Gpu0"
  "toneCurves_test *TablesOnTheDevice/Gpu0"
  "imageStatistics_test *FloatSums/Gpu0"
  "histogram_test *CountsEverySizeAndPitch/Gpu0"
  "imfilter_test *RestrictsItselfToARegion/Gpu0"
  "resize_test *EveryRatio/Gpu0"
  "rotate_test *NoCropHoldsAllOfIt/Gpu0"
  "fills_test *Rectangles/Gpu0:*RandomNumbers/Gpu0"
  "channels_test *SplitAndMerge/Gpu0:*Mix/Gpu0"
  "packedVideo_test *HeightsThatDiffer/Gpu0"
)

gpu_build() {
  require g++ cmake libgtest-dev
  find_missing "${all_packages[@]}"
  if ((${#missing[@]})); then say "going on without: ${missing[*]}"; fi
  local -a options=()
  is_there ninja-build || options+=(-G "Unix Makefiles")
  configure cuda "${options[@]}"
  build cuda -j "$(nproc)"
}

gpu_tests() {
  # Without this the tests would pass on the host device alone.
  [[ $("$root/build/cuda/tests/arithmetic_test" --gtest_list_tests) == *"/Gpu0"* ]] ||
    die "nvidia-smi sees a GPU but the library doesn't: is the driver as new as the CUDA toolkit?"
  run_tests cuda --parallel "$(nproc)" --timeout 300
}

# Beside NPP where the build found it, and CuPy where Python has it. All times go to a file, too.
gpu_bench() {
  local folder=$root/build/cuda/bench
  local -a options=(--filter=gpu0 --csv="$folder/times.csv")
  if ! python3 -c 'import cupy' 2>/dev/null; then
    say "no CuPy to compare with"
  elif python3 "$root/bench/cupy_peers.py" >"$folder/cupy.csv"; then
    options+=(--times="CuPy:$folder/cupy.csv")
  else
    say "going on without CuPy's times"
  fi
  run_bench cuda "${options[@]}"
}

# sanitize TOOL PROGRAM FILTER: shows what the tool found, if anything.
sanitize() {
  local log
  if log=$(timeout 120 compute-sanitizer --tool "$1" --report-api-errors no --error-exitcode 9 \
    "$root/build/cuda/tests/$2" --gtest_filter="$3" 2>&1) && [[ $log == *"PASSED  ] "[1-9]* ]]; then
    say "$1: $2 $3 is clean"
  else
    tail -n 50 <<<"$log" >&2
    say "$1: $2 $3 is NOT clean, see above"
    return 1
  fi
}

gpu_sanitize() {
  command -v compute-sanitizer >/dev/null ||
    die "there is no compute-sanitizer: install that part of the CUDA toolkit or put it on PATH"
  local entry program filter tool job failures=0
  for entry in "${sanitized[@]}"; do
    read -r program filter <<<"$entry"
    local -a jobs=()
    for tool in memcheck racecheck initcheck; do
      sanitize "$tool" "$program" "$filter" &
      jobs+=("$!")
    done
    for job in "${jobs[@]}"; do wait "$job" || failures=$((failures + 1)); done
  done
  return "$((failures > 0))"
}

# A step that fails doesn't keep the others from being run, except the build.
gpu_test() {
  local step
  local -a steps=(build tests bench sanitize) failed=()
  if (($#)); then steps=("$@"); fi
  for step in "${steps[@]}"; do
    [[ $step =~ ^(build|tests|bench|sanitize)$ ]] ||
      die "gpu-test has the steps build, tests, bench and sanitize, but not $step" 2
  done
  [[ $(nvidia-smi -L 2>/dev/null) == *"GPU 0"* ]] ||
    die "there is no GPU here (nvidia-smi sees none), nothing to test" 3
  command -v nvcc >/dev/null ||
    die "there is no CUDA compiler: install the CUDA toolkit or put its nvcc on PATH"

  for step in "${steps[@]}"; do
    say "gpu-test $step, after $SECONDS s"
    [[ $step == build || -e $root/build/cuda/bench/mirl_bench ]] ||
      die "nothing is built yet: ./mirl.sh gpu-test build"
    if ! ("gpu_$step"); then
      failed+=("$step")
      [[ $step != build ]] || break
    fi
  done
  ((${#failed[@]} == 0)) || die "gpu-test failed after $SECONDS s: ${failed[*]}"
  say "gpu-test passed after $SECONDS s: ${steps[*]}"
}

case ${1:-} in
  demo) demo "${@:2}" ;;
  test) run_test "${@:2}" ;;
  fuzz) fuzz "${@:2}" ;;
  bench) bench "${@:2}" ;;
  gpu-test) gpu_test "${@:2}" ;;
  packages) need "${all_packages[@]}" "${@:2}" ;;
  -h | --help | help) usage ;;
  "") usage >&2 && exit 2 ;;
  *) die "unknown command $1; ./mirl.sh --help lists them" 2 ;;
esac
