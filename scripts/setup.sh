#!/usr/bin/env bash
# Installs the Debian packages the project builds with, when any is missing.
# Safe to run repeatedly: it touches apt only when something has to be installed.
set -euo pipefail

packages=(
  g++ cmake ninja-build tzdata
  libgtest-dev libgmock-dev
  libicu-dev libsqlite3-dev nlohmann-json3-dev
  libexpat1-dev libzip-dev libcli11-dev
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq "${missing[@]}" >/dev/null
fi
