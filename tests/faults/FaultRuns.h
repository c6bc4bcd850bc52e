#ifndef KEEPSAFE_TESTS_FAULTS_FAULTRUNS_H
#define KEEPSAFE_TESTS_FAULTS_FAULTRUNS_H

#include <functional>
#include <memory>
#include <string>

namespace keepsafe_test {

enum class Result {
    Right,   ///< what comes of the work when nothing fails
    Refused, ///< a status or an error document
    Wrong    ///< any other answer, such as a grant that does not exist
};

/// Work that faults fall into, in a process of its own. The constructor does what is to succeed before.
class Scenario {
public:
    Scenario() = default;
    Scenario(const Scenario&) = delete;
    Scenario& operator=(const Scenario&) = delete;
    virtual ~Scenario() = default;

    /// The work, while calls fail. An exception counts as refused.
    virtual Result work() = 0;
    /// More work, when nothing fails any more: must be right.
    virtual Result workAgain() { return work(); }
};

struct Subject {
    /// Called in the process of each run, with a private folder.
    std::function<std::unique_ptr<Scenario>(const std::string& folder)> make;
    /// Called in another process after the work, while the first one is still there, with the folder and what
    /// came of the work. Says what is wrong, or nothing.
    std::function<std::string(const std::string& folder, Result result)> inspect;
    /// A failure leaves a line in the log, of this level or above.
    int logLevel = 8;
    /// An exception other than that is enough.
    bool exceptionsNeedLines = true;
};

/// Runs the work once for each kind of call and each number of a call, which fails once, and once more with
/// all later ones failing, too. Fails the test when an answer is wrong, a process dies or does not end, an
/// error leaves no line in the log, work after the fault is not right, a descriptor is left over, or
/// `inspect` complains.
///
/// The short form takes the first numbers and a sample of the others; all are taken when the environment
/// variable KEEPSAFE_TEST_FAULTS is "all".
void expectSoundUnderFaults(const Subject& subject);

/// For `inspect`: takes the lock exclusively and gives it back.
std::string whatHoldsLock(const std::string& path);

} // namespace keepsafe_test

#endif
