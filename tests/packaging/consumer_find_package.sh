#!/usr/bin/env bash
# consumer_find_package.sh SOURCE PREFIX WORK SANDBOX CXX: the example programs, built by find_package.
set -euo pipefail
source=$1 prefix=$2 work=$3 sandbox=$4 cxx=$5

rm -rf "$work"
cmake -G Ninja -S "$source/examples/consumer" -B "$work/build" \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_CXX_FLAGS="-Wall -Wextra -Wpedantic -Werror"
cmake --build "$work/build"

cmake -G Ninja -S "$source/tests/packaging/uses_jansson" -B "$work/uses_jansson" \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx"
cmake --build "$work/uses_jansson"
"$work/uses_jansson/uses_jansson"

"$(dirname "$0")/run_consumer.sh" "$source" "$work" "$sandbox" "$work/build"
