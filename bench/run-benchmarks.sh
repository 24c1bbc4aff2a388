#!/usr/bin/env bash
# Throughput of the launcher's hot paths against named peers, measured in the same run on the same
# data. Not part of the test suite.
#
#   cmake --preset linux-bench && cmake --build --preset linux-bench
#   bash bench/run-benchmarks.sh [build folder]      (default: build/linux-bench)
#
# 1. Whole-file hashing (Sha256OfFile) of 1 GiB in 8 files against `sha256sum` and
#    `openssl dgst -sha256` on the same files, page cache warm, best of 3.
# 2. Downloading one 1 GiB file (DownloadToFile) from nginx on loopback against `curl -o`, best of 3.
# 3. Verifying a 10,000-file installation (10 GiB) cold, then warm from the hash cache, best of 3.
# 4. Bytes fetched by a block-delta update against zsync for the same edits (bench-block-delta.sh).
# Needs about 11 GiB free under ${TMPDIR:-/tmp}. Every figure is wall-clock time of the whole program.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build/linux-bench}" && pwd)
bench_hash=$build/bench/bench_hash
bench_download=$build/bench/bench_download
bench_reverify=$build/bench/bench_reverify
for tool in "$bench_hash" "$bench_download" "$bench_reverify"; do
  [ -x "$tool" ] || { echo "missing $tool: build the linux-bench preset first" >&2; exit 1; }
done

source "$root/bench/work-folder.sh" orv-bench

# Nanoseconds of the best of three runs of a command (its output discarded); before_each runs
# untimed before every run.
best_of_3() {
  local best=0 start took
  for _ in 1 2 3; do
    "${before_each[@]}" >/dev/null 2>&1 || true
    start=$(date +%s%N)
    "$@" >/dev/null 2>&1
    took=$(($(date +%s%N) - start))
    if [ "$best" = 0 ] || [ "$took" -lt "$best" ]; then best=$took; fi
  done
  echo "$best"
}

report() {  # label, ours (ns), peer name, peer (ns); 1 GiB each
  awk -v label="$1" -v ours="$2" -v peer_name="$3" -v peer="$4" 'BEGIN {
    printf "%-16s ours %6.0f MiB/s   %-22s %6.0f MiB/s   ratio %.2f\n",
           label, 1024e9 / ours, peer_name, 1024e9 / peer, peer / ours }'
}

echo "== preparing 1 GiB of data in $work"
mkdir -p "$work/data" "$work/servers/www"
for i in 0 1 2 3 4 5 6 7; do
  head -c 128M /dev/urandom >"$work/data/part$i.bin"
done
files=("$work"/data/part*.bin)

echo "== whole-file hashing (warm page cache, best of 3)"
before_each=(cat "${files[@]}")
"${before_each[@]}" >/dev/null
ours_digests=$("$bench_hash" "${files[@]}" 2>/dev/null)
peer_digests=$(sha256sum "${files[@]}")
[ "$ours_digests" = "$peer_digests" ] || { echo "digests differ from sha256sum" >&2; exit 1; }
t_ours=$(best_of_3 "$bench_hash" "${files[@]}")
t_sum=$(best_of_3 sha256sum "${files[@]}")
t_ssl=$(best_of_3 openssl dgst -sha256 "${files[@]}")
report "Sha256OfFile" "$t_ours" "sha256sum" "$t_sum"
report "Sha256OfFile" "$t_ours" "openssl dgst -sha256" "$t_ssl"

echo "== download from nginx on loopback (best of 3)"
cat "${files[@]}" >"$work/servers/www/big.bin"
rm -rf "$work/data"
python3 "$root/tests/fixtures/serverctl.py" start nginx --state "$work/servers" >/dev/null
url="$(cat "$work/servers/nginx/url")/big.bin"
out=$work/out.bin
before_each=(bash -c "rm -f '$out' && cat '$work/servers/www/big.bin' >/dev/null")
t_ours=$(best_of_3 "$bench_download" "$url" "$out")
cmp -s "$out" "$work/servers/www/big.bin" || { echo "downloaded file differs" >&2; exit 1; }
t_curl=$(best_of_3 curl -s -o "$out" "$url")
report "DownloadToFile" "$t_ours" "curl -o" "$t_curl"

echo "== re-verification of 10,000 files: cold (no hash cache) against warm (cache hits only)"
# 1 MiB a file on average (10 GiB): warm costs one stat per file whatever the size, cold hashes
# every byte, so the ratio grows with the installation's size (about 45x at 256 KiB a file here).
"$bench_reverify" 10000 1048576 "$work/reverify"
rm -rf "$work/reverify"

bash "$root/bench/bench-block-delta.sh" "$build"
