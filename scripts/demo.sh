#!/usr/bin/env bash
# The launcher's main job on the bundled demo channel, from a terminal:
#   1. make the demo game build, versions 1 and 2 (demo/make_demo_build.py);
#   2. publish version 1 with orvpack and serve the channel with nginx on loopback;
#   3. install it into an empty game folder with orvsync (the launcher's update run);
#   4. publish version 2 over it, update the folder from 1 to 2, and verify it.
# Everything lands in build/demo/; nothing outside the repository is touched except the packages
# that scripts/install-deps.sh installs.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

bash scripts/install-deps.sh
echo "== Building orvpack and orvsync"
cmake --preset linux >/dev/null
cmake --build --preset linux --target orvpack orvsync | tail -n 1
orvpack=$root/build/linux/tools/orvpack/orvpack
orvsync=$root/build/linux/tools/orvsync/orvsync

demo=$root/build/demo
rm -rf "$demo" && mkdir -p "$demo"
state=$demo/servidor
channel=$state/www/oficial
game=$demo/jogo
# The launcher's own files (log, pastajogo.txt) go to the demo folder, not to the user's.
export XDG_DATA_HOME=$demo/dados

stop_server() { python3 tests/fixtures/serverctl.py stop nginx --state "$state" >/dev/null 2>&1 || true; }
trap stop_server EXIT

echo "== Making the demo game build, versions 1 and 2"
python3 demo/make_demo_build.py 1 "$demo/build-v1"
python3 demo/make_demo_build.py 2 "$demo/build-v2"

echo "== Publishing version 1 and serving the channel"
"$orvpack" publicar "$demo/build-v1" "$channel" --versao 1.0.0 --servidor 1.0
python3 tests/fixtures/serverctl.py start nginx --state "$state"
manifest=$(cat "$state/nginx/url")/oficial/manifest.json
log=$state/nginx/access.log

downloaded_since() {  # requests and bytes the server sent after line $1 of its log
  tail -n +"$(($1 + 1))" "$log" | awk -F'\t' '{n++; b += $4} END {printf "%d requests, %.1f MB", n, b / 1048576}'
}

echo "== Installing version 1 into an empty game folder: $game"
"$orvsync" atualizar "$manifest" "$game"

echo "== Publishing version 2 (unchanged files are reused)"
"$orvpack" publicar "$demo/build-v2" "$channel" --versao 2.0.0 --servidor 1.1

echo "== Verifying the game folder against version 2 (only the manifest is fetched)"
"$orvsync" verificar "$manifest" "$game" || true

echo "== Updating the game folder from version 1 to version 2"
before=$(wc -l <"$log")
"$orvsync" atualizar "$manifest" "$game"
echo "   downloaded: $(downloaded_since "$before") (the pack file by blocks: see the log line below)"
grep -a "por bloco" "$XDG_DATA_HOME/OrvLauncher/launcher.log" | tail -n 1 | sed 's/^/   /'

echo "== Verifying again"
"$orvsync" verificar "$manifest" "$game"
if diff -r --exclude .orvlauncher "$demo/build-v2" "$game" >/dev/null; then
  echo "The game folder is byte for byte the version 2 build."
else
  echo "The game folder differs from the version 2 build!" >&2
  exit 1
fi
