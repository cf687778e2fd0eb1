# Sourced by script/truth and script/bench: makes the Python environment of the peers in $cache/venv, once for
# each set of requirements. The build and the tests need none of it.
cache=${QEL_TRUTH_CACHE:-$HOME/.cache/qel-truth}
venv=$cache/venv
stamp=$venv/installed
wanted=$(cat bench/truth/requirements.txt bench/truth/requirements-peers.txt | sha256sum)

if [ "$(cat "$stamp" 2>/dev/null)" != "$wanted" ]; then
    mkdir -p "$cache"
    python3 -m venv "$venv"
    "$venv/bin/pip" install --quiet -r bench/truth/requirements.txt
    grep -v '^#' bench/truth/requirements-peers.txt | while read -r peer; do
        "$venv/bin/pip" install --quiet "$peer" || echo "$(basename "$0"): $peer does not install here" >&2
    done
    echo "$wanted" >"$stamp"
fi
