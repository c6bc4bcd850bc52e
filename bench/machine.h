#ifndef KEEPSAFE_BENCH_MACHINE_H
#define KEEPSAFE_BENCH_MACHINE_H

#include <map>
#include <string>

namespace keepsafe_bench {

/// Of the machine, the moment, the compiler and the libraries, by name: what figures depend on.
std::map<std::string, std::string> describeMachine();

} // namespace keepsafe_bench

#endif
