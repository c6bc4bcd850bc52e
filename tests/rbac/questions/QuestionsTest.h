#ifndef KEEPSAFE_TESTS_RBAC_QUESTIONS_QUESTIONSTEST_H
#define KEEPSAFE_TESTS_RBAC_QUESTIONS_QUESTIONSTEST_H

#include <cstdlib>
#include <memory>
#include <string>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>

#include "support/CacheWriter.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace keepsafe_test {

/// How often a random test asks: KEEPSAFE_TEST_QUESTIONS=1000000 gives the long run.
inline long wantedQuestions(long usual)
{
    const char* wanted = std::getenv("KEEPSAFE_TEST_QUESTIONS");
    return wanted != nullptr ? std::atol(wanted) : usual;
}

/// An installation root with an operation cache and, when `open` was called, an open client for one access
/// cache.
class QuestionsRoot {
public:
    using DiskAccessControlClient = Tessara::Keepsafe::Rbac::DiskAccessControlClient;

    explicit QuestionsRoot(const std::string& operations)
    {
        writeFile(Tessara::Keepsafe::Rbac::OperationCache::fileName(), operations);
        operations_.load();
    }

    void write(const CacheWriter& cache) const { cache.write(directory()); }
    DiskAccessControlClient& open()
    {
        using Tessara::Keepsafe::Rbac::AccessCache;
        using Tessara::Keepsafe::Rbac::Manifest;
        client_ = std::make_unique<DiskAccessControlClient>(
            Tessara::Keepsafe::Rbac::ObjectNamespace(),
            boost::make_shared<const AccessCache>(Manifest("id", directory())), operations_);
        return *client_;
    }
    DiskAccessControlClient& open(const AccessModel& model, const CacheWriter::Options& options = {})
    {
        write(CacheWriter(model, options));
        return open();
    }

    [[nodiscard]] std::string directory() const { return root_.path("cache"); }
    [[nodiscard]] DiskAccessControlClient& client() { return *client_; }

private:
    TempRoot root_;
    Tessara::Keepsafe::Rbac::OperationCache operations_;
    std::unique_ptr<DiskAccessControlClient> client_;
};

} // namespace keepsafe_test

#endif
