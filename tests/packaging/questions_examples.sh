#!/usr/bin/env bash
# questions_examples.sh DOCUMENT INCLUDE WORK CXX: the C++ blocks of the page on questions compile. Those after the
# first one use what it declares, each in a scope of its own.
set -euo pipefail
document=$1 include=$2 work=$3 cxx=$4

rm -rf "$work"
mkdir -p "$work"
read -ra ace < <(pkg-config --cflags ACE) || true
{
  (cd "$include" && find keepsafe/rbac/questions -name '*.h' -printf '#include <%p>\n')
  cat << 'END'
#include <iostream>
#include <keepsafe/rbac/namespace/root_namespaces.h>
using namespace Tessara::Keepsafe::Rbac;
using namespace Tessara::Keepsafe::Rbac::root_namespaces::operations;

void ask(const std::string& sessionToken, const ObjectNamespace& object, std::vector<ObjectNamespace> objects,
         const boost::shared_ptr<AccessControlClient>& yesterday, const boost::shared_ptr<AccessControlClient>& today)
{
END
  awk '/^```cpp$/ {if (blocks++) print "{"; inside = 1; next}
       /^```$/ {if (inside && blocks > 1) print "}"; inside = 0}
       inside
       END {exit blocks < 10}' "$document"
  echo '}'
} > "$work/examples.cpp"
"$cxx" -std=c++17 -Werror -fsyntax-only -I"$include" "${ace[@]}" "$work/examples.cpp"
