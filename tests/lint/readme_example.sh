#!/usr/bin/env bash
# readme_example.sh SOURCE: the C++ block of the README is examples/consumer/decision.cpp, which is built and run.
set -euo pipefail
cd "$1"

awk '/^```cpp$/ {inside = 1; next} /^```$/ {inside = 0} inside' README.md | diff -u examples/consumer/decision.cpp -
