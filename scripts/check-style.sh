#!/usr/bin/env bash
# Style by tools: clang-format over every tracked C++ file (nothing rewritten, any difference fails),
# then clang-tidy (.clang-tidy) over the native build's compile database.
#   scripts/check-style.sh            both
#   scripts/check-style.sh --format   clang-format only (seconds)
#   scripts/check-style.sh --tidy     clang-tidy only (a few minutes on two cores)
# Exit code 0 when clean, 1 on a violation, 2 when a tool is missing.
set -euo pipefail

root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
mode="${1:-all}"
jobs="${ORV_STYLE_JOBS:-$(nproc)}"

pick() {
  for tool in "$@"; do
    if command -v "$tool" >/dev/null 2>&1; then echo "$tool"; return 0; fi
  done
  echo "check-style: none of $* is installed (scripts/install-deps.sh installs them)" >&2
  exit 2
}

check_format() {
  local format
  format="$(pick clang-format-14 clang-format)"
  echo "== clang-format ($format)"
  # Tracked files only: build folders and node_modules never count.
  if ! git ls-files -z -- '*.cpp' '*.h' | xargs -0 -r -n 50 "$format" --style=file --dry-run --Werror --ferror-limit=5; then
    echo "check-style: clang-format found differences (run: $format -i FILE)" >&2
    return 1
  fi
  echo "clang-format: clean"
}

check_tidy() {
  local tidy runner build="$root/build/style"
  tidy="$(pick clang-tidy-14 clang-tidy)"
  runner="$(pick run-clang-tidy-14 run-clang-tidy)"
  echo "== clang-tidy ($tidy)"
  mkdir -p "$build"
  # A configure-only native tree: the compile database and the generated headers, nothing built.
  # Warnings are not errors here, so only the checks of .clang-tidy decide.
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
    -DORV_WERROR=OFF >"$build.log" 2>&1 || { cat "$build.log" >&2; return 1; }
  local log="$build/tidy.log"
  local status=0
  "$runner" -clang-tidy-binary "$(command -v "$tidy")" -p "$build" -j "$jobs" -quiet \
    "^$root/(core|update|formats|game|host|tools|tests|bench|fuzz)/" >"$log" 2>&1 || status=$?
  # Only our checks' findings and real errors count; the noise of the runner does not.
  if [ "$status" -ne 0 ] || grep -Eq '(error): ' "$log"; then
    grep -E '(warning|error): ' "$log" | sed 's/\x1b\[[0-9;]*m//g' | sort -u >&2 || true
    echo "check-style: clang-tidy found violations (full output: $log)" >&2
    return 1
  fi
  echo "clang-tidy: clean ($(grep -c '"file"' "$build/compile_commands.json") files)"
}

case "$mode" in
  --format) check_format ;;
  --tidy) check_tidy ;;
  all) check_format && check_tidy ;;
  *) echo "usage: $0 [--format|--tidy]" >&2; exit 2 ;;
esac
