#ifndef KEEPSAFE_TESTS_TOOLS_KSRBAC_MASTERSERVERTEST_H
#define KEEPSAFE_TESTS_TOOLS_KSRBAC_MASTERSERVERTEST_H

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "StringSink.h"
#include "support/MasterServerRoot.h"

namespace keepsafe_test {

/// Where the resources of the service begin.
inline const std::string SERVICE = "/keepsafe/access-control/";

/// A private installation whose master server is an HTTPS server within the test, which plays what it is told
/// to and records what comes. The whole tool runs within the test's process.
class MasterServerTest : public testing::Test {
protected:
    MasterServerTest() { configure(root_.configuration()); }

    void configure(const std::string& text) const
    {
        writeFile(root_.configurationFile,
                  text + "[log]\ndestination = \"file:" + root_.path("log") + "\"\n");
    }

    [[nodiscard]] ProgramRun run(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"--root", root_.path()});
        return runProgram(arguments);
    }

    /// The message of a command that has to fail with the exit status, without "ksrbac: " and line feed, and
    /// without a result.
    [[nodiscard]] std::string messageOf(const std::vector<std::string>& arguments,
                                        ksrbac::ExitStatus status) const
    {
        const ProgramRun result = run(arguments);
        EXPECT_EQ(result.status, status) << result.messages;
        EXPECT_EQ(result.results, "");
        const std::string begin = "ksrbac: ";
        EXPECT_EQ(result.messages.rfind(begin, 0), 0U) << result.messages;
        return result.messages.substr(begin.size(), result.messages.size() - begin.size() - 1);
    }

    /// "METHOD target body" of each request so far.
    [[nodiscard]] std::vector<std::string> requests() const
    {
        std::vector<std::string> texts;
        for (const RecordedRequest& request : server_.requests()) {
            texts.push_back(request.method + ' ' + request.target +
                            (request.body.empty() ? "" : ' ' + request.body));
        }
        return texts;
    }

    const MasterServerRoot root_;
    HttpsServer server_{root_.settings()};
};

} // namespace keepsafe_test

#endif
