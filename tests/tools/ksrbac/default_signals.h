#ifndef KEEPSAFE_TESTS_TOOLS_KSRBAC_DEFAULT_SIGNALS_H
#define KEEPSAFE_TESTS_TOOLS_KSRBAC_DEFAULT_SIGNALS_H

#include <csignal>

namespace keepsafe_test {

/// Gives the signals that end programs their usual effect in this process and in what it starts. Tests that
/// run in the background of a script, or under nohup, begin with some of them ignored.
inline void useDefaultSignals()
{
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
        (void)std::signal(signal, SIG_DFL);
    }
}

} // namespace keepsafe_test

#endif
