#!/usr/bin/env bash
# install_and_move.sh BUILD INSTALLED MOVED: installs the build and moves the tree, so that whatever is tested
# on it afterwards holds wherever the tree stands.
set -euo pipefail
build=$1 installed=$2 moved=$3

rm -rf "$installed" "$moved"
cmake --install "$build" --prefix "$installed"
mv "$installed" "$moved"
