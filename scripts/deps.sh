#!/usr/bin/env bash
# Installs the Debian 12 packages kxCore builds with, only those that are missing.
set -euo pipefail
pkgs=(build-essential cmake ninja-build pkg-config git
      libgtest-dev libgmock-dev libbenchmark-dev
      libpcre2-dev libpolyclipping-dev libyaml-cpp-dev libboost-dev libmuparser-dev
      libopenblas-dev liblapacke-dev libfftw3-dev libcminpack-dev libeigen3-dev libgsl-dev
      nlohmann-json3-dev libreadline-dev
      python3 python3-pytest python3-mpmath valgrind
      clang libclang-rt-14-dev clang-format
      libcairo2-dev libpng-dev fonts-dejavu-core poppler-utils libxml2-utils
      python3-matplotlib python3-numpy
      libwxgtk3.2-dev xvfb xauth imagemagick)
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq "${missing[@]}"
fi
