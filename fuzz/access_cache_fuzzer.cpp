// Opening an access cache and querying it. The input holds the files: four lengths of two bytes, then
// "metadata", "objects", "nodes" and "segments" of these lengths, and the manifest in the rest. The outcome
// is always an answer or one of the documented exceptions.

#include <array>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>

#include <keepsafe/platform/log/log_sink.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/client/DiskAccessChecker.h>
#include <keepsafe/rbac/questions/bulk_check.h>

#include "PrivateFolder.h"
#include "require.h"

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Answer;
using Tessara::Keepsafe::Rbac::checkRow;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

namespace {

void writeCache(const std::string& directory, const std::uint8_t* data, std::size_t size)
{
    constexpr std::array<const char*, 4> names{"metadata", "objects", "nodes", "segments"};
    constexpr std::size_t lengths = 2 * names.size();
    std::size_t position = std::min(size, lengths);
    for (std::size_t i = 0; i <= names.size(); ++i) {
        std::size_t length = size - position;
        if (i < names.size() && size >= lengths) {
            length = std::min<std::size_t>(length, data[2 * i] + 256U * data[2 * i + 1]);
        }
        std::ofstream file(directory + '/' + (i < names.size() ? names[i] : "manifest.json"),
                           std::ios::binary);
        file.write(reinterpret_cast<const char*>(data) + position, static_cast<std::streamsize>(length));
        position += length;
    }
}

/// What a row allows, a check allows.
void askRow(const boost::shared_ptr<const AccessCache>& cache)
{
    const std::vector<ObjectNamespace> objects{ObjectNamespace(), ObjectNamespace("KEEPSAFE"),
                                               ObjectNamespace("KEEPSAFE", "pool"),
                                               ObjectNamespace("KEEPSAFE", "pool", "disk")};
    const DiskAccessChecker checker(cache, {-4, 1, 2, 17}, Operation{5}, 0);
    try {
        const std::vector<Answer> answers = checkRow(checker, objects);
        for (std::size_t i = 0; i < objects.size(); ++i) {
            require(answers[i] != Answer::Allowed || checker.checkAccess(objects[i]), "a row grants no more");
        }
    } catch (const EC_exception& failure) {
        require(failure.status() == 12, "a damaged cache is status 12");
    }
}

void askSomething(const boost::shared_ptr<const AccessCache>& cache)
{
    for (const ObjectNamespace& object :
         {ObjectNamespace(), ObjectNamespace("KEEPSAFE"), ObjectNamespace("KEEPSAFE", "pool", "disk")}) {
        for (const int bit : {0, 5, 40}) {
            try {
                (void)DiskAccessChecker(cache, {-4, 1, 2, 17}, Operation{bit}, 0).checkAccess(object);
            } catch (const EC_exception& failure) {
                require(failure.status() == 12, "a damaged cache is status 12");
            }
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const PrivateFolder folder;
    static const bool quiet = [] {
        Tessara::Keepsafe::Platform::setLogThreshold(1000);
        std::cerr.setstate(std::ios_base::badbit);
        return true;
    }();
    (void)quiet;
    writeCache(folder.path(), data, size);
    try {
        const auto cache = boost::make_shared<const AccessCache>(Manifest("fuzz", folder.path()));
        askSomething(cache);
        askRow(cache);
    } catch (const EC_exception& failure) {
        require(failure.status() == 12 || failure.status() == 7610, "a bad manifest is status 12 or 7610");
    } catch (const std::runtime_error& error) {
        require(std::string(error.what()).compare(0, 6, "error ") == 0, "a file error says so");
    }
    return 0;
}
