#!/usr/bin/env bash
# Bytes a block-delta update fetches (BlockDeltaDownload on a channel published by orvpack with its
# default settings) against zsync 0.6 (zsyncmake defaults) for the same old and new file, both served
# by one nginx on loopback. Bytes are counted by the server (the access log's body bytes), split into
# metadata (manifest.json and the .orvb header and table; the .zsync file) and data (block ranges).
# Both results are compared with the new file byte for byte.
#
#   cmake --preset linux-bench && cmake --build --preset linux-bench
#   bash bench/bench-block-delta.sh [build folder]      (default: build/linux-bench)
#
# The old file is 32 MiB of real machine code (the files of /usr/bin, sorted by name, concatenated:
# compressible about as game binaries are). Each case edits it in place (same length, random bytes at
# random offsets, fixed seeds). Needs zsync (Debian package "zsync") and about 400 MiB under TMPDIR.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build/linux-bench}" && pwd)
bench=$build/bench/bench_block_delta
orvpack=$build/tools/orvpack/orvpack
for tool in "$bench" "$orvpack"; do
  [ -x "$tool" ] || { echo "missing $tool: build the linux-bench preset first" >&2; exit 1; }
done
for tool in zsync zsyncmake; do
  command -v "$tool" >/dev/null || { echo "missing $tool: apt-get install zsync" >&2; exit 1; }
done

source "$root/bench/work-folder.sh" orv-bench-delta

mkdir -p "$work/servers/www" "$work/old"
# head ends the pipe early on purpose: the broken pipe upstream is no failure here.
(set +o pipefail; find /usr/bin -maxdepth 1 -type f -print0 | sort -z | xargs -0 cat 2>/dev/null | head -c 32M \
  >"$work/old/jogo.pak")
[ "$(stat -c %s "$work/old/jogo.pak")" = 33554432 ] || { echo "not enough data in /usr/bin" >&2; exit 1; }
python3 "$root/tests/fixtures/serverctl.py" start nginx --state "$work/servers" >/dev/null
url=$(cat "$work/servers/nginx/url")
log=$work/servers/nginx/access.log

# Server-side body bytes of the requests whose URI matches a pattern, and their count.
bytes_for() { awk -F'\t' -v re="$1" '$2 ~ re { s += $4 } END { printf "%d", s }' "$log"; }
count_for() { awk -F'\t' -v re="$1" '$2 ~ re { n++ } END { printf "%d", n }' "$log"; }

# case name, number of edits, bytes per edit, further orvpack options
run_case() {
  local name=$1 edits=$2 length=$3
  shift 3
  local build_dir=$work/$name/build channel=$work/servers/www/$name
  mkdir -p "$build_dir" "$work/$name/out"
  python3 - "$work/old/jogo.pak" "$build_dir/jogo.pak" "$edits" "$length" <<'EOF'
import random, shutil, sys
old, new, edits, length = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
shutil.copyfile(old, new)
rng = random.Random(edits * 7919 + length)
with open(new, "r+b") as f:
    size = f.seek(0, 2)
    for _ in range(edits):
        f.seek(rng.randrange(size - length))
        f.write(rng.randbytes(length))
EOF
  "$orvpack" publicar "$build_dir" "$channel" --versao 2 --servidor 2 "$@" >/dev/null
  (cd "$channel" && zsyncmake -u jogo.pak -o jogo.pak.zsync jogo.pak)

  "$bench" "$url/$name/manifest.json" "$work/old/jogo.pak" "$work/$name/out/orv.pak" "$work/$name/dados" \
    | sed 's/^/  /'
  cmp -s "$work/$name/out/orv.pak" "$build_dir/jogo.pak" || { echo "BlockDeltaDownload result differs" >&2; exit 1; }
  (cd "$work/$name/out" && zsync -q -i "$work/old/jogo.pak" -o zsync.pak "$url/$name/jogo.pak.zsync")
  cmp -s "$work/$name/out/zsync.pak" "$build_dir/jogo.pak" || { echo "zsync result differs" >&2; exit 1; }

  local esc="^/$name/"
  local orv_meta=$(( $(bytes_for "${esc}manifest\\.json") + $(awk -F'\t' -v u="/$name/jogo.pak.orvb" \
      '$2 == u { print $4; exit }' "$log") ))
  local orv_all=$(( $(bytes_for "${esc}manifest\\.json") + $(bytes_for "${esc}jogo\\.pak\\.orvb$") ))
  local orv_requests=$(count_for "${esc}(manifest\\.json|jogo\\.pak\\.orvb)$")
  local zs_meta=$(bytes_for "${esc}jogo\\.pak\\.zsync$")
  local zs_all=$(( zs_meta + $(bytes_for "${esc}jogo\\.pak$") ))
  local zs_requests=$(count_for "${esc}jogo\\.pak(\\.zsync)?$")
  awk -v name="$name" -v om="$orv_meta" -v oa="$orv_all" -v oreq="$orv_requests" \
      -v zm="$zs_meta" -v za="$zs_all" -v zreq="$zs_requests" 'BEGIN {
    printf "%-22s BlockDeltaDownload %9d bytes (%7d metadata, %9d data, %3d requests)\n", name, oa, om, oa - om, oreq
    printf "%-22s zsync              %9d bytes (%7d metadata, %9d data, %3d requests)   zsync/ours %.2f\n",
           "", za, zm, za - zm, zreq, za / oa }'
}

echo "== bytes fetched to update a 32 MiB file edited in place (nginx on loopback; zsync/ours above 1: ours fetched less)"
run_case "8-edits-of-64B" 8 64
run_case "64-edits-of-64B" 64 64
run_case "1-edit-of-2MiB" 1 2097152
# The same scattered edits with 16 KiB blocks instead of orvpack's default 256 KiB.
run_case "64-edits,16KiB-blocks" 64 64 --bloco 16384
