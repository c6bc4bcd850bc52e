// The operation cache's file: it loads, or throws one of the documented exceptions and keeps what it had.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include <boost/lexical_cast.hpp>
#include <boost/numeric/conversion/cast.hpp>

#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/log/log_sink.h>
#include <keepsafe/platform/status/EC_exception.h>

#include "PrivateFolder.h"
#include "require.h"

using Tessara::Keepsafe::Rbac::OperationCache;
namespace Platform = Tessara::Keepsafe::Platform;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const PrivateFolder folder;
    if (Platform::installationRoot() != folder.path()) {
        Platform::setInstallationRoot(folder.path());
        Platform::setLogThreshold(1000);
        std::filesystem::create_directories(std::filesystem::path(OperationCache::fileName()).parent_path());
    }
    std::ofstream(OperationCache::fileName(), std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    OperationCache cache;
    try {
        cache.load();
        const auto loaded = cache.operations();
        cache.load();
        require(cache.operations().size() == loaded.size(), "loading twice adds nothing");
    } catch (const EC_exception& failure) {
        require(failure.status() == 13, "an unreadable file is status 13");
    } catch (const boost::bad_lexical_cast&) {
    } catch (const boost::numeric::bad_numeric_cast&) {
    }
    return 0;
}
