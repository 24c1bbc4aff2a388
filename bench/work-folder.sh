# Sourced by the benchmark scripts (after setting $root): makes a scratch folder $work under
# ${TMPDIR:-/tmp} named after $1, and on exit stops the loopback nginx a script may have started in
# $work/servers and removes the folder.
work=$(mktemp -d "${TMPDIR:-/tmp}/$1.XXXXXX")
cleanup() {
  python3 "$root/tests/fixtures/serverctl.py" stop nginx --state "$work/servers" >/dev/null 2>&1 || true
  rm -rf "$work"
}
trap cleanup EXIT
