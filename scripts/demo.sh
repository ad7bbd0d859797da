#!/usr/bin/env bash
# Sets the machine up, builds the release command and runs its demo: a simulated person's months
# of iPhone and Apple Watch data synced as the app would. Arguments go to `ostrand-healthkit demo`.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target ostrand-healthkit
exec build/release/ostrand-healthkit demo --database build/ostrand-demo.sqlite "$@"
