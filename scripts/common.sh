# Shared by ./run, ./check, bench/run and fuzz/run, which source it: where things are, and how a preset is built.
# shellcheck disable=SC2034  # what is set here is for the scripts that source this
# shellcheck shell=bash
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cores=$(nproc 2> /dev/null || echo 2)

if [[ -t 1 && -z ${NO_COLOR-} ]]; then
  bold=$'\e[1m' green=$'\e[32m' red=$'\e[31m' plain=$'\e[0m'
else
  bold='' green='' red='' plain=''
fi

# Where progress is shown, also while a stage's output goes to a file.
exec 3>&2

# Ninja's lines become one line that is written over and over, or nothing at all where no terminal is.
progress() {
  if [[ -t 3 ]]; then
    awk -v cut="$(( $(tput cols 2> /dev/null || echo 80) - 1 ))" '
      /^\[[0-9]+\/[0-9]+\] (Building|Linking)/ { printf "\r\033[K%s", substr($0, 1, cut); fflush(); shown = 1 }
      END { if (shown) printf "\r\033[K" }' >&3
  else
    cat > /dev/null
  fi
}

# configure PRESET [OPTION...]: silent but for a failure.
configure() {
  local preset=$1 log="$root/build/$1/configure.log"
  shift
  mkdir -p "$root/build/$preset"
  if ! (cd "$root" && cmake --preset "$preset" "$@") > "$log" 2>&1; then
    cat "$log" >&2
    return 1
  fi
  touch "$root/build/$preset/build.ninja"
}

# build PRESET [TARGET...]: configures when that is due, builds, and is silent when nothing is to do. Of a failure it
# shows what the compiler said.
build() {
  local preset=$1 directory="$root/build/$1"
  shift
  if [[ ! -f $directory/build.ninja || $root/CMakePresets.json -nt $directory/build.ninja ]]; then
    configure "$preset" || return
  fi
  if ! ninja -C "$directory" "$@" 2>&1 | tee "$directory/build.log" | progress; then
    sed -n '/^FAILED: /,$ { /^\[[0-9]*\/[0-9]*\] /! p }' "$directory/build.log" >&2
    return 1
  fi
}

# build_benchmarks [TARGET...]: the release preset with the benchmarks.
build_benchmarks() {
  if ! grep -qs '^PELLION_BENCH:BOOL=ON$' "$root/build/release/CMakeCache.txt"; then
    configure release -DPELLION_BENCH=ON || return
  fi
  build release "$@"
}
