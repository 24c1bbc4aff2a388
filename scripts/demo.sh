#!/usr/bin/env bash
# The launcher on the bundled demo channel:
#   1. make the demo game build, versions 1 and 2 (demo/make_demo_build.py);
#   2. publish version 1 with orvpack, serve the channel with nginx on loopback, and install it into
#      an empty game folder with orvsync (the operator's tool on a terminal);
#   3. publish version 2 over it;
#   4. put the launcher in build/demo/launcher/ with a launcher.json naming the demo channel, and open
#      its window: click "Atualizar" and watch the update to version 2.
# Without a display (or with --sem-tela) the launcher runs under Xvfb in "--auto" mode instead, with
# screenshots of its window before and after the update in build/demo/telas/.
# Either way the script ends by checking the game folder against the version 2 build.
# Everything lands in build/demo/; nothing outside the repository is touched except the packages
# that scripts/install-deps.sh installs.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
started=$SECONDS

headless=0
if [ "${1:-}" = "--sem-tela" ] || { [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; }; then headless=1; fi

bash scripts/install-deps.sh
echo "== Building orvpack, orvsync and the launcher"
cmake --preset linux >/dev/null
cmake --build --preset linux --target orvpack orvsync orvlauncher | tail -n 1
orvpack=$root/build/linux/tools/orvpack/orvpack
orvsync=$root/build/linux/tools/orvsync/orvsync

demo=$root/build/demo
rm -rf "$demo" && mkdir -p "$demo"
state=$demo/servidor
channel=$state/www/oficial
game=$demo/jogo
app=$demo/launcher
shots=$demo/telas
# The launcher's own files (log, pastajogo.txt, settings) go to the demo folder, not to the user's.
export XDG_DATA_HOME=$demo/dados
data=$XDG_DATA_HOME/OrvLauncher
log=$state/nginx/access.log
xvfb_pid=

stop_all() {
  [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null
  python3 tests/fixtures/serverctl.py stop nginx --state "$state" >/dev/null 2>&1 || true
}
trap stop_all EXIT

downloaded_since() {  # requests and bytes the server sent after line $1 of its log
  tail -n +"$(($1 + 1))" "$log" | awk -F'\t' '{n++; b += $4} END {printf "%d requests, %.1f MB", n, b / 1048576}'
}

echo "== Making the demo game build, versions 1 and 2"
python3 demo/make_demo_build.py 1 "$demo/build-v1"
python3 demo/make_demo_build.py 2 "$demo/build-v2"

echo "== Publishing version 1 and serving the channel"
"$orvpack" publicar "$demo/build-v1" "$channel" --versao 1.0.0 --servidor 1.0
python3 tests/fixtures/serverctl.py start nginx --state "$state"
manifest=$(cat "$state/nginx/url")/oficial/manifest.json

echo "== Installing version 1 into an empty game folder with orvsync: $game"
"$orvsync" atualizar "$manifest" "$game" >/dev/null
echo "   installed"

echo "== Publishing version 2 (unchanged files are reused)"
"$orvpack" publicar "$demo/build-v2" "$channel" --versao 2.0.0 --servidor 1.1

echo "== The launcher: $app"
mkdir -p "$app" "$data"
cp build/linux/host/gtk/orvlauncher "$app/"
cat >"$app/launcher.json" <<EOF
{
  "canais": [{"id": "demo", "nome": "Demo", "manifesto": "$manifest"}],
  "discord": "",
  "site": ""
}
EOF
printf '%s' "$game" >"$data/pastajogo.txt"
export WEBKIT_DISABLE_DMABUF_RENDERER=1 NO_AT_BRIDGE=1
before=$(wc -l <"$log")

if [ $headless = 0 ]; then
  echo "   The window opens on the demo channel: click \"Atualizar\" and watch the update;"
  echo "   close the window (×) when it shows \"Jogar\"."
  "$app/orvlauncher" >"$demo/launcher-saida.txt" 2>&1 || true
else
  echo "== No display: the launcher runs under Xvfb in --auto mode (screenshots in $shots)"
  mkdir -p "$shots"
  rm -f "$demo/display"
  Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$demo/display" 2>/dev/null &
  xvfb_pid=$!
  for _ in $(seq 100); do [ -s "$demo/display" ] && break; sleep 0.1; done
  export DISPLAY=:$(cat "$demo/display")

  window_of() {  # the launcher's window once it is shown
    for _ in $(seq 100); do
      for w in $(xdotool search --onlyvisible --pid "$1" 2>/dev/null); do
        [ "$(xdotool getwindowname "$w")" = Valdren ] && { echo "$w"; return; }
      done
      sleep 0.1
    done
  }
  snap() { timeout 10 import -window "$1" "$shots/$2.png" && echo "   screenshot: $shots/$2.png"; }
  look_then_close() {  # opens the launcher normally, lets its verification finish, screenshots, closes
    "$app/orvlauncher" >>"$demo/launcher-saida.txt" 2>&1 &
    local pid=$! w
    w=$(window_of $pid)
    sleep 5
    snap "$w" "$1"
    # The page's own close button (×), top right of the window.
    xdotool mousemove --window "$w" 1074 27 click 1
    wait $pid
  }

  look_then_close 1-antes
  status=0
  "$app/orvlauncher" --auto >>"$demo/launcher-saida.txt" 2>&1 || status=$?
  echo "   launcher --auto exit code: $status; last log line: $(tail -n 1 "$data/launcher.log")"
  [ $status = 0 ] || exit 1
  look_then_close 2-depois
fi

echo "   downloaded by the launcher: $(downloaded_since "$before")"
grep -a "por bloco" "$data/launcher.log" | tail -n 1 | sed 's/^/   /' || true
if diff -r --exclude .orvlauncher "$demo/build-v2" "$game" >/dev/null; then
  echo "The game folder is byte for byte the version 2 build."
elif [ $headless = 0 ]; then
  echo "The game folder is not version 2 yet: the window was closed before the update ended."
else
  echo "The game folder differs from the version 2 build!" >&2
  exit 1
fi
[ $headless = 1 ] && echo "Screenshots of the launcher window: $shots/1-antes.png and 2-depois.png"
echo "Demo finished in $((SECONDS - started)) s."
