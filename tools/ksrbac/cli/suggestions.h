#ifndef KSRBAC_CLI_SUGGESTIONS_H
#define KSRBAC_CLI_SUGGESTIONS_H

#include <string>
#include <vector>

namespace ksrbac {

/// The names that somebody who typed `word`, which is none of them, is most likely to have meant: those that
/// it is the beginning of, or that few changes of single characters make of it. The nearest alone, at most
/// three; none if nothing is near. Case does not count.
std::vector<std::string> similarNames(const std::string& word, const std::vector<std::string>& names);

/// "; did you mean A, B or C?", or nothing without a name.
std::string didYouMean(const std::vector<std::string>& names);

} // namespace ksrbac

#endif
