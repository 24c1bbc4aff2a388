#!/usr/bin/env bash
# The whole test suite: the native build with AddressSanitizer + UBSan, the same suite cross-built for
# Windows and run under Wine, and the page tests in headless Chromium. Ends with one line
# "N passed, N failed" counting every test case of every run.
set -u
cd "$(dirname "$0")/.."
root=$(pwd)
failed_steps=()

run_ctest_preset() {
  local preset=$1
  rm -rf "build/$preset/test-results" && mkdir -p "build/$preset/test-results"
  if ! cmake --preset "$preset" >"build/$preset.configure.log" 2>&1; then
    cat "build/$preset.configure.log"; failed_steps+=("$preset: configure"); return
  fi
  if ! cmake --build --preset "$preset"; then failed_steps+=("$preset: build"); return; fi
  ctest --preset "$preset" --output-junit "$root/build/$preset/test-results/ctest.junit" ||
    failed_steps+=("$preset: tests")
}

mkdir -p build
echo "== native build and tests (AddressSanitizer + UBSan)"
run_ctest_preset linux-asan
echo "== Windows build, tests under Wine"
run_ctest_preset windows

if [ -f tests/page/run.sh ]; then
  echo "== page tests (headless Chromium)"
  mkdir -p build/page
  bash tests/page/run.sh "$root/build/page" | tee build/page/tap.txt
  [ "${PIPESTATUS[0]}" -eq 0 ] || failed_steps+=("page tests")
fi

echo "== summary"
for step in "${failed_steps[@]+"${failed_steps[@]}"}"; do echo "failed: $step"; done
python3 scripts/summarize-tests.py build/linux-asan/test-results build/windows/test-results build/page/tap.txt
summary_status=$?
[ ${#failed_steps[@]} -eq 0 ] && [ $summary_status -eq 0 ]
