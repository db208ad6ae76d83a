#!/usr/bin/env bash
# Installs what is needed, builds the application in release mode, and starts it.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target sonorelle velmo
exec ./build/release/Sonorelle/sonorelle "$@"
