#!/usr/bin/env bash
# Peak resident memory of `orvsync atualizar` bringing one large file (default 2 GiB) from nginx on
# loopback, in each transfer form, against the launcher's 64 MiB target:
#   1. whole (no variant published: one plain download, then the hash);
#   2. compressed (.orvz: download, unpack, hash);
#   3. block delta (.orvb: version 1 installed, every 20th 1 MiB block changed and 64 adjacent ones
#      made incompressible, so range requests of up to 32 whole stored blocks are held at once:
#      blocks compared, the rest fetched by ranges and assembled, then the hash);
#   4. the same .orvb into an empty folder (the whole block file, decoded).
# Each figure is the child's own peak (getrusage of the waited-for process), so the server and this
# script do not count. Not part of the test suite.
#
#   bash bench/bench-update-memory.sh [build folder] [size in MiB]
#       build folder: one with tools/orvpack/orvpack and tools/orvsync/orvsync
#       (default build/linux-bench; build/linux gives the same figures)
#
# Needs about 6 x the size free in the work folder (default build/bench-update-memory, removed at
# the end; ORV_BENCH_WORK sets another).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build/linux-bench}" && pwd)
size_mib=${2:-2048}
orvpack=$build/tools/orvpack/orvpack
orvsync=$build/tools/orvsync/orvsync
for tool in "$orvpack" "$orvsync"; do
  [ -x "$tool" ] || { echo "missing $tool: build orvpack and orvsync first" >&2; exit 1; }
done
target_kib=$((64 * 1024))

work=${ORV_BENCH_WORK:-$root/build/bench-update-memory}
rm -rf "$work" && mkdir -p "$work"
state=$work/servidor
www=$state/www
cleanup() {
  python3 "$root/tests/fixtures/serverctl.py" stop nginx --state "$state" >/dev/null 2>&1 || true
  rm -rf "$work"
}
trap cleanup EXIT
export XDG_DATA_HOME=$work/dados  # orvsync's log, not the user's

echo "== generating version 1 and 2 of a $size_mib MiB game file"
python3 - "$size_mib" "$work/v1/dados.pak" "$work/v2/dados.pak" <<'EOF'
"""Asset-like data, compressible to about half: text and noise in 4 KiB pieces from a 64 MiB pool.
Every 1 MiB block is stamped with its number, so no two blocks are equal; version 2 changes every
20th block (from block 7 on) and turns 64 blocks in a row into noise (the largest range requests)."""
import os, random, sys
size_mib, out1, out2 = int(sys.argv[1]), sys.argv[2], sys.argv[3]
rng = random.Random(2048)
vocab = "valdren espada escudo torre dragão ferreiro taverna cidade muralha rio ponte guilda ouro".split()
text = " ".join(rng.choice(vocab) for _ in range(300000)).encode()
pieces = []
for i in range(16384):
    if i % 8 < 5:
        at = rng.randrange(len(text) - 4096)
        pieces.append(text[at:at + 4096])
    else:
        pieces.append(rng.randbytes(4096))
pool = b"".join(pieces)
MIB = 1 << 20

noise = rng.randbytes(MIB + 64 * 4096)
RUN = range(size_mib // 2, size_mib // 2 + 64)

def block(k, version):
    if version == 3:
        return b"bloco %10d v%d " % (k, version) + noise[(k % 64) * 4096 + 20:(k % 64) * 4096 + MIB]
    at = (k * 7919 * 4096 + version * 12345 * 4096) % (len(pool) - MIB)
    return b"bloco %10d v%d " % (k, version) + pool[at + 20:at + MIB]

for path, version in ((out1, 1), (out2, 2)):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as out:
        for k in range(size_mib):
            changed = version == 2 and (k % 20 == 7 or k in RUN)
            out.write(block(k, (3 if k in RUN else 2) if changed else 1))
EOF

python3 "$root/tests/fixtures/serverctl.py" start nginx --state "$state" >/dev/null
base=$(cat "$state/nginx/url")

# Runs orvsync atualizar into a game folder and prints its peak resident size in KiB.
peak_kib() {  # manifest URL, game folder
  python3 - "$orvsync" atualizar "$1" "$2" <<'EOF'
import resource, subprocess, sys
done = subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL)
if done.returncode != 0:
    sys.exit("orvsync ended with %d" % done.returncode)
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)  # KiB on Linux
EOF
}

results=()
measure() {  # label, manifest URL, game folder, expected file
  local kib
  kib=$(peak_kib "$2" "$3")
  cmp -s "$3/dados.pak" "$4" || { echo "$1: the installed file differs" >&2; exit 1; }
  results+=("$(awk -v label="$1" -v kib="$kib" -v target="$target_kib" 'BEGIN {
    printf "%-44s peak RSS %7.1f MiB   target 64 MiB: %s", label, kib / 1024, kib <= target ? "ok" : "OVER" }')")
  echo "${results[-1]}"
}

publish() {  # label, build folder, channel folder, extra options...
  local label=$1 start took
  shift
  start=$(date +%s%N)
  "$orvpack" publicar "$1" "$2" --versao 2.0.0 --servidor 1 "${@:3}" >/dev/null
  took=$((($(date +%s%N) - start) / 1000000))
  echo "   orvpack ($label) took $((took / 1000)).$((took % 1000 / 100)) s"
}

echo "== 1. whole file"
mkdir -p "$www/inteiro"
ln -s "$work/v1/dados.pak" "$www/inteiro/dados.pak"
digest=$(sha256sum "$work/v1/dados.pak" | cut -d' ' -f1)
printf '{"versao":"1","servidor":"1","arquivos":[{"caminho":"dados.pak","sha256":"%s","tamanho":%d}]}' \
  "$digest" $((size_mib << 20)) >"$www/inteiro/manifest.json"
measure "whole file ($size_mib MiB)" "$base/inteiro/manifest.json" "$work/jogo" "$work/v1/dados.pak"
rm -rf "$work/jogo" "$www/inteiro"

echo "== 2. compressed (.orvz)"
publish ".orvz" "$work/v1" "$www/comprimido" --bloco-minimo $((1 << 40))
ls "$www/comprimido/dados.pak.orvz" >/dev/null
measure "compressed (.orvz, $(($(stat -c %s "$www/comprimido/dados.pak.orvz") >> 20)) MiB)" \
  "$base/comprimido/manifest.json" "$work/jogo" "$work/v1/dados.pak"
rm -rf "$work/jogo" "$www/comprimido"

echo "== 3. block delta (.orvb) over version 1"
publish ".orvb" "$work/v2" "$www/blocos"
ls "$www/blocos/dados.pak.orvb" >/dev/null
mkdir -p "$work/jogo" && cp "$work/v1/dados.pak" "$work/jogo/dados.pak"
measure "block delta (.orvb, 8 % of blocks changed)" "$base/blocos/manifest.json" "$work/jogo" "$work/v2/dados.pak"
grep -a "por bloco" "$XDG_DATA_HOME/OrvLauncher/launcher.log" | tail -n 1 | sed 's/^/   /'
rm -rf "$work/jogo"
measure "block file whole (.orvb, nothing installed)" "$base/blocos/manifest.json" "$work/jogo" "$work/v2/dados.pak"

echo
echo "== peak resident memory of orvsync atualizar, $size_mib MiB file"
printf '%s\n' "${results[@]}"
