#!/usr/bin/env bash
# Makes sure the system packages that SimCore builds with are present.
# As root it installs what is missing with apt-get; otherwise it names what is missing and fails.
set -euo pipefail

packages=(cmake make g++ git clang-format libgmp-dev libgtest-dev libgmock-dev libbenchmark-dev zlib1g-dev clang libclang-rt-dev
          libcli11-dev nlohmann-json3-dev libssl-dev libxml2-dev)
missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$p")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -eq 0 ] && command -v apt-get >/dev/null 2>&1; then
    echo "Installing missing packages: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
else
    echo "Missing packages: ${missing[*]}" >&2
    echo "Install them (as root: apt-get install ${missing[*]}) and run again." >&2
    exit 1
fi
