#ifndef KEEPSAFE_TESTS_SYSTEM_KSRBAC_DOCTORTEST_H
#define KEEPSAFE_TESTS_SYSTEM_KSRBAC_DOCTORTEST_H

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sandbox/support/RunningService.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {

/// What `ksrbac doctor` printed.
struct DoctorReport {
    int exitStatus;
    std::string summary;            ///< the first line
    std::vector<std::string> lines; ///< the others
    std::string errors;

    /// The line of a check, with its remedy behind a line feed; empty if there is no such line.
    [[nodiscard]] std::string of(const std::string& what) const
    {
        constexpr std::size_t width = 9;
        for (std::size_t at = 0; at < lines.size(); ++at) {
            if (lines[at].compare(width, what.size() + 2, what + ": ") == 0) {
                const bool hasRemedy = at + 1 < lines.size() && lines[at + 1].front() == ' ';
                return lines[at] + (hasRemedy ? '\n' + lines[at + 1] : "");
            }
        }
        return "";
    }
};

/// A host on which all is well, as `ksrbac-sandbox` makes one, with the service as a process.
class DoctorTest : public testing::Test {
protected:
    [[nodiscard]] DoctorReport doctor(std::vector<std::string> arguments = {}) const
    {
        arguments.insert(arguments.begin(), "doctor");
        return reportOf(root_.tool(arguments));
    }

    [[nodiscard]] DoctorReport reportOf(const ProgramResult& result) const
    {
        DoctorReport report{result.exitStatus, "", {}, result.errors};
        std::istringstream text(withoutChance(result.output));
        std::getline(text, report.summary);
        for (std::string line; std::getline(text, line);) {
            report.lines.push_back(line);
        }
        return report;
    }

    /// Without paths and addresses of this run, and without durations.
    [[nodiscard]] std::string withoutChance(const std::string& text) const
    {
        std::string plain = replaced(replaced(text, root_.path(), "ROOT"), root_.address(), "ADDRESS");
        plain = std::regex_replace(plain, std::regex("[0-9]+ ms"), "N ms");
        plain = std::regex_replace(plain, std::regex("[0-9]+ MiB of [0-9]+ MiB"), "N MiB of M MiB");
        plain = std::regex_replace(plain, std::regex("last written (now|[0-9]+ s ago)"), "last written now");
        plain = std::regex_replace(plain, std::regex("may have [0-9]+ files"), "may have N files");
        plain = std::regex_replace(plain, std::regex("expired at [-0-9T:.]+Z, [0-9a-z ]+ ago"),
                                   "expired at TIME");
        return std::regex_replace(plain, std::regex("in [0-9]+ d[ 0-9h]*, at [-0-9T:.]+Z"),
                                  "in N d, at TIME");
    }

    [[nodiscard]] static std::string replaced(std::string text, const std::string& from,
                                              const std::string& to)
    {
        for (std::size_t at = text.find(from); at != std::string::npos;
             at = text.find(from, at + to.size())) {
            text.replace(at, from.size(), to);
        }
        return text;
    }

    [[nodiscard]] std::string configFile() const { return root_.path("etc/keepsafe.toml"); }
    /// Replaces a text in the configuration.
    void reconfigure(const std::string& from, const std::string& to) const
    {
        const std::string text = readFile(configFile());
        ASSERT_NE(text.find(from), std::string::npos) << from;
        writeFile(configFile(), replaced(text, from, to));
    }
    [[nodiscard]] std::string cacheFile(const std::string& name) const
    {
        return root_.path("wmc/webserver/temp/access-caches/service/" + name);
    }

    RunningService root_{KEEPSAFE_EXAMPLE_POLICIES "/company.json"};
};

} // namespace keepsafe_test

#endif
