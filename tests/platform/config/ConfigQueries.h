#ifndef KEEPSAFE_TESTS_PLATFORM_CONFIG_CONFIGQUERIES_H
#define KEEPSAFE_TESTS_PLATFORM_CONFIG_CONFIGQUERIES_H

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/config/installation.h>

#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace keepsafe_test {

using Lines = std::vector<LogLine>;

inline constexpr std::size_t CALLERS_BUFFER = 257;

/// An installation root whose configuration the tests write, and what is logged.
class ConfigQueries : public testing::Test {
protected:
    [[nodiscard]] std::string file() const { return root_.path("etc/keepsafe.toml"); }
    void write(const std::string& text) const { writeFile(file(), text); }

    /// Replaces the file by another one, as editors and installers do.
    void replace(const std::string& text) const
    {
        writeFile(root_.path("etc/next"), text);
        std::filesystem::rename(root_.path("etc/next"), file());
    }

    CapturedLog log_;
    TempRoot root_;
};

inline std::string serverName(std::size_t size = CALLERS_BUFFER)
{
    std::vector<char> buffer(size, 'x');
    EXPECT_EQ(db_getservernameEx(buffer.data(), buffer.size()), 0);
    return buffer.data();
}

inline int statusOfServerName(std::size_t size = CALLERS_BUFFER)
{
    std::vector<char> buffer(size, 'x');
    const int status = db_getservernameEx(buffer.data(), buffer.size());
    EXPECT_EQ(buffer[0], '\0');
    return status;
}

} // namespace keepsafe_test

#endif
