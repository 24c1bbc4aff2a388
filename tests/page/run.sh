#!/usr/bin/env bash
# Runs the launcher page's browser tests: bash tests/page/run.sh OUTDIR
# TAP goes to stdout (and OUTDIR/page.tap); screenshots to OUTDIR/screenshots.
set -euo pipefail

if [ $# -ne 1 ]; then
  echo "uso: $0 OUTDIR" >&2
  exit 2
fi
mkdir -p "$1/screenshots"
out=$(cd "$1" && pwd)
cd "$(dirname "$0")"

if [ ! -d node_modules ]; then
  if ! npm ci --no-audit --no-fund --loglevel=error >"$out/npm-ci.log" 2>&1; then
    cat "$out/npm-ci.log" >&2
    exit 1
  fi
fi

PAGE_SHOT_DIR="$out/screenshots" node --test --test-reporter=tap ./*.test.mjs | tee "$out/page.tap"
