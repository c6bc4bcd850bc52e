#include <keepsafe/platform/config/installation.h>

#include <atomic>
#include <stdexcept>

namespace Tessara::Keepsafe::Platform {
namespace {

/// Roots are never freed, so that a reader needs no lock, which another thread could hold during a fork. A
/// process changes its root at most once.
struct Root {
    std::string path;
    const Root* before;
};

std::atomic<const Root*>& currentRoot()
{
    static std::atomic<const Root*> current{new Root{"/usr/kshome", nullptr}};
    return current;
}

/// Made when the library is loaded (see `Process::ForkHandlers`), unless a static constructor needs it
/// before.
[[maybe_unused]] const std::atomic<const Root*>& madeAtLoad = currentRoot();

} // namespace

std::string installationRoot() { return currentRoot().load(std::memory_order_acquire)->path; }

void setInstallationRoot(const std::string& path)
{
    if (path.empty() || path.front() != '/') {
        throw std::invalid_argument("the installation root must be an absolute path: \"" + path + "\"");
    }
    std::atomic<const Root*>& current = currentRoot();
    auto* const next =
        new Root{path.substr(0, path.find_last_not_of('/') + 1), current.load(std::memory_order_acquire)};
    while (!current.compare_exchange_weak(next->before, next, std::memory_order_acq_rel)) {
    }
}

} // namespace Tessara::Keepsafe::Platform
