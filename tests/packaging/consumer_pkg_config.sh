#!/usr/bin/env bash
# consumer_pkg_config.sh SOURCE PREFIX WORK SANDBOX CXX LIBDIR: the example programs, each built by one
# compiler command with what pkg-config says.
set -euo pipefail
source=$1 prefix=$2 work=$3 sandbox=$4 cxx=$5 libdir=$6

rm -rf "$work"
mkdir -p "$work"
export PKG_CONFIG_PATH="$prefix/$libdir/pkgconfig"
read -ra flags < <(pkg-config --cflags --libs keepsafe-rbac)
build() { # SOURCE PROGRAM
  "$cxx" -std=c++17 -Wall -Wextra -Wpedantic -Werror "$source/examples/consumer/$1" \
    "${flags[@]}" "-Wl,-rpath,$prefix/$libdir" -o "$work/$2"
}
build main.cpp consumer
build decision.cpp decision
build registration.cpp registration
build ../../tests/packaging/uses_jansson/main.cpp uses_jansson
"$work/uses_jansson"

"$(dirname "$0")/run_consumer.sh" "$source" "$work" "$sandbox" "$work"
