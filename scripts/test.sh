#!/usr/bin/env bash
# Installs what is needed, builds, and runs every test. Pass --preset debug to run the
# suite under AddressSanitizer and UBSan.
set -euo pipefail
cd "$(dirname "$0")/.."

preset=dev
if [[ "${1:-}" == "--preset" && -n "${2:-}" ]]; then
    preset=$2
fi

./scripts/install-deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset"
