#ifndef KEEPSAFE_TESTS_SYSTEM_KSRBAC_KSRBACTEST_H
#define KEEPSAFE_TESTS_SYSTEM_KSRBAC_KSRBACTEST_H

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/AccessModel.h"
#include "support/CacheWriter.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {

/// A private installation with the cache `main` over a small policy:
///
/// - role 17 holds bit 3 (|OPERATIONS|VIEW|) below |KEEPSAFE|, and bit 37 (|OPERATIONS|ADD|) on |KEEPSAFE|;
/// - role -5 holds bit 3 on |KEEPSAFE|CLOSED|, which does not inherit.
class KsrbacTest : public testing::Test {
protected:
    KsrbacTest()
    {
        using Tessara::Keepsafe::Rbac::ObjectNamespace;
        ModelObject& top = model_.objects[ObjectNamespace("KEEPSAFE")];
        top.own = {{17, {37}}};
        top.children = {{17, {3}}};
        ModelObject& closed = model_.objects[ObjectNamespace("KEEPSAFE", "CLOSED")];
        closed.inherit = false;
        closed.own = {{-5, {3}}};
        cacheWriter().write(cacheDirectory(), "|KEEPSAFE|");
        writeFile(operationCache(),
                  R"({"|OPERATIONS|VIEW|": 3, "|OPERATIONS|ADD|": 37, "|OPERATIONS|A+B|": 3})");
    }

    [[nodiscard]] CacheWriter cacheWriter() const { return {model_, CacheWriter::Options{}}; }
    [[nodiscard]] std::string temp(const std::string& name) const
    {
        return root_.path("wmc/webserver/temp/" + name);
    }
    [[nodiscard]] std::string cacheDirectory() const { return temp("access-caches/main"); }
    [[nodiscard]] std::string operationCache() const { return temp("operation-cache.json"); }

    /// The command line with the private root; log messages only when the arguments ask for them.
    [[nodiscard]] std::vector<std::string> commandLine(const std::vector<std::string>& arguments) const
    {
        std::vector<std::string> all{KSRBAC_BINARY, "--root", root_.path()};
        const bool log = std::find(arguments.begin(), arguments.end(), "--log-level") != arguments.end();
        if (!log) {
            all.insert(all.end(), {"--log-level", "17"});
        }
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
    }

    [[nodiscard]] ProgramResult run(const std::vector<std::string>& arguments,
                                    const std::string& input = "") const
    {
        return runProgram(commandLine(arguments), input);
    }

    /// `check` of the cache `main` for VIEW.
    [[nodiscard]] ProgramResult check(const std::string& roles, std::vector<std::string> more,
                                      const std::string& input = "") const
    {
        more.insert(more.begin(),
                    {"check", "--cache", "main", "--operation", "|OPERATIONS|VIEW|", "--roles=" + roles});
        return run(more, input);
    }

    TempDir root_;
    AccessModel model_;
};

} // namespace keepsafe_test

#endif
