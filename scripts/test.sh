#!/usr/bin/env bash
# Sets the machine up, builds a preset and runs its test suite.
# Usage: scripts/test.sh [preset]   (presets: debug, release, tsan, asan; default debug)
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-debug}"

scripts/setup.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset"
