# Paths, colours and build functions for ./run, ./check, bench/run, fuzz/run and other scripts, which source this file.
# shellcheck disable=SC2034  # the scripts that source this file use these variables
# shellcheck shell=bash
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cores=$(nproc 2> /dev/null || echo 2)

if [[ -t 1 && -z ${NO_COLOR-} ]]; then
  bold=$'\e[1m' green=$'\e[32m' red=$'\e[31m' plain=$'\e[0m'
else
  bold='' green='' red='' plain=''
fi

# Progress goes here, also while the output of a stage goes to a file.
exec 3>&2

# progress PRESET: shows Ninja's lines as one line that is overwritten; without a terminal, one line says what is built.
progress() {
  if [[ -t 3 ]]; then
    awk -v cut="$(( $(tput cols 2> /dev/null || echo 80) - 1 ))" '
      /^\[[0-9]+\/[0-9]+\] (Building|Linking)/ { printf "\r\033[K%s", substr($0, 1, cut); fflush(); shown = 1 }
      END { if (shown) printf "\r\033[K" }' >&3
  else
    local line steps=''
    while IFS= read -r line; do
      if [[ -z $steps && $line =~ ^\[[0-9]+/([0-9]+)\]\ (Building|Linking) ]]; then
        steps=${BASH_REMATCH[1]}
        printf 'Building build/%s in %s steps\n' "$1" "$steps" >&3
      fi
    done
  fi
}

# configure PRESET [OPTION...]: prints output only on failure.
configure() {
  local preset=$1 log="$root/build/$1/configure.log"
  shift
  mkdir -p "$root/build/$preset"
  # The page of the lab needs Node; in the program of ./run only `./run lab` asks for it, once.
  [[ $preset != release ]] || grep -qs '^PELLION_LAB:' "$root/build/release/CMakeCache.txt" || set -- -DPELLION_LAB=OFF "$@"
  [[ -t 3 ]] || printf 'Configuring build/%s\n' "$preset" >&3
  if ! (cd "$root" && cmake --preset "$preset" "$@") > "$log" 2>&1; then
    cat "$log" >&2
    return 1
  fi
  touch "$root/build/$preset/build.ninja"
}

# build PRESET [TARGET...]: configures if necessary and builds. Prints nothing on success; on failure prints the
# compiler's output.
build() {
  local preset=$1 directory="$root/build/$1"
  shift
  if [[ ! -f $directory/build.ninja || $root/CMakePresets.json -nt $directory/build.ninja ]]; then
    configure "$preset" || return
  fi
  if ! ninja -C "$directory" "$@" 2>&1 | tee "$directory/build.log" | progress "$preset"; then
    sed -n '/^FAILED: /,$ { /^\[[0-9]*\/[0-9]*\] /! p }' "$directory/build.log" >&2
    return 1
  fi
}

# build_lab [TARGET...]: builds the release preset with the page of the lab.
build_lab() {
  if ! grep -qs '^PELLION_LAB:[A-Z]*=ON$' "$root/build/release/CMakeCache.txt"; then
    configure release -DPELLION_LAB=ON || return
  fi
  build release "$@"
}

# build_benchmarks [TARGET...]: builds the release preset with the benchmarks.
build_benchmarks() {
  if ! grep -qs '^PELLION_BENCH:BOOL=ON$' "$root/build/release/CMakeCache.txt"; then
    configure release -DPELLION_BENCH=ON || return
  fi
  build release "$@"
}
