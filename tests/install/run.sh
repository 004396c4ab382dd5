#!/usr/bin/env bash
# Installs the built tree into a scratch prefix and builds a tiny consumer against
# it twice: through the CMake package and through pkg-config.
set -euo pipefail
build=$1 here=$2 work=$3
rm -rf "$work" && mkdir -p "$work"
prefix="$work/prefix"
cmake --install "$build" --prefix "$prefix" >/dev/null

cmake -S "$here/consumer" -B "$work/cmake-build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
"$work/cmake-build/consumer"

libdir=$(find "$prefix" -name kpls.pc -printf '%h\n' | head -1)
export PKG_CONFIG_PATH="$libdir"
cc -std=c99 -Wall -Werror "$here/consumer/consumer.c" $(pkg-config --cflags --libs kpls) -o "$work/consumer-pc"
LD_LIBRARY_PATH="$(dirname "$libdir")" "$work/consumer-pc"
echo "install: CMake package and pkg-config consumers ran"
