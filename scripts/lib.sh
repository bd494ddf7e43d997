# Shared by the project's scripts: run from the repository root, with a virtual display that
# every Wine test of this run shares.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

start_display() {
  [ -n "${DISPLAY:-}" ] && return 0
  local fifo
  fifo=$(mktemp -u)
  mkfifo "$fifo"
  Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$fifo" 2>/dev/null &
  TX_XVFB_PID=$!
  local n
  read -r -t 30 n <"$fifo" || { echo "could not start Xvfb" >&2; return 1; }
  rm -f "$fifo"
  export DISPLAY=":$n"
  trap 'kill $TX_XVFB_PID 2>/dev/null || true' EXIT
}

# configure_and_build PRESET: configures once (again when the presets changed), then builds
# incrementally.
configure_and_build() {
  local preset=$1
  if [ ! -f "build/$preset/CMakeCache.txt" ] || [ CMakePresets.json -nt "build/$preset/CMakeCache.txt" ]; then
    cmake --preset "$preset" >/dev/null
  fi
  cmake --build --preset "$preset" -- -j"$(nproc)"
}
