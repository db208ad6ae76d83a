#!/usr/bin/env bash
# Installs the Debian packages that building, testing and running Sonorelle need.
# Silent when everything is already there; refreshes the package lists only when
# a package cannot be found in them.
set -euo pipefail

packages=(
    # build
    g++ cmake ninja-build ccache pkgconf
    # libraries
    qt6-base-dev qt6-base-dev-tools qcoro-qt6-dev libtag1-dev libflac-dev libchromaprint-dev
    libavformat-dev libavcodec-dev libswresample-dev libswscale-dev libavutil-dev
    libcdio-paranoia-dev libcdio-dev libudev-dev zlib1g-dev libebur128-dev
    # tests and benchmarks
    libgtest-dev libgmock-dev libbenchmark-dev xvfb xauth desktop-file-utils appstream
    # the rip benchmark measures against the command-line encoder
    flac
    # the yardstick of the device diff benchmark
    rsync
    # the duplicate benchmark measures against fpcalc
    libchromaprint-tools
    # the transcode benchmark measures against the command-line converter
    ffmpeg
    # device names are checked by a real FAT driver on an image
    dosfstools mtools
    # the eject adapter is tested against a fake disk service on a bus of its own
    dbus-daemon
    # running the application
    qt6-qpa-plugins fonts-dejavu-core adwaita-icon-theme eject
)

missing=()
for p in "${packages[@]}"; do
    status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
    [[ "$status" == "install ok installed" ]] || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

sudo=()
[[ $(id -u) -eq 0 ]] || sudo=(sudo)
export DEBIAN_FRONTEND=noninteractive

echo "Installing: ${missing[*]}"
if ! "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null; then
    "${sudo[@]}" apt-get update -qq
    "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
