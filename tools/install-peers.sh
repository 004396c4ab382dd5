#!/bin/sh
# Installs the peer libraries that kpls-bench compares against, from Debian's
# packages. Only the benchmarks need them; the library and its tests do not.
set -e
if [ -f /usr/include/fftw3.h ]; then exit 0; fi
SUDO=""
if [ "$(id -u)" != 0 ]; then SUDO="sudo"; fi
$SUDO apt-get install -y libfftw3-dev || { $SUDO apt-get update && $SUDO apt-get install -y libfftw3-dev; }
