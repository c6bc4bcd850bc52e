#ifndef KEEPSAFE_BENCH_PEERS_ASKING_H
#define KEEPSAFE_BENCH_PEERS_ASKING_H

#include <functional>
#include <string>
#include <vector>

#include "peers/Contender.h"
#include "peers/Crew.h"

namespace keepsafe_bench {

using Answers = std::vector<char>;

Answers answersOf(Contender& contender, const Questions& questions);

/// Throws `std::runtime_error` that names the first question that two answer differently.
void requireSame(const Questions& questions, const std::string& name, const Answers& expected,
                 const std::string& otherName, const Answers& answers);
/// Throws `std::runtime_error` unless there are enough of both answers for a comparison to mean something.
/// Returns the allowed share.
double requireBoth(const Answers& answers);

/// For `Turns`: nanoseconds for each question. The contender and the questions must outlive the result.
std::function<double()> timed(Contender& contender, const Questions& questions);

/// For a `Crew`: each worker asks all the questions, each starting at a different one, and checks the
/// answers.
Crew::Work asking(const ContenderKind& kind, const Questions& questions, const Answers& expected,
                  unsigned workers);

} // namespace keepsafe_bench

#endif
