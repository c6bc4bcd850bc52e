#ifndef KEEPSAFE_BENCH_MACHINE_H
#define KEEPSAFE_BENCH_MACHINE_H

#include <map>
#include <string>

namespace keepsafe_bench {

/// What figures depend on: machine, date, compiler, commit and libraries, by name.
std::map<std::string, std::string> describeMachine();

} // namespace keepsafe_bench

#endif
