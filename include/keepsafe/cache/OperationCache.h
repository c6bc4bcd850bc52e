#ifndef KEEPSAFE_CACHE_OPERATIONCACHE_H
#define KEEPSAFE_CACHE_OPERATIONCACHE_H

#include <map>
#include <memory>
#include <string>

#include <boost/optional.hpp>

#include <keepsafe/cache/Operation.h>
#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace Tessara::Keepsafe::Process {
struct FileState;
}

namespace Tessara::Keepsafe::Rbac {

/// Maps operations to their permission bits, from the file that the access-control service keeps:
/// `<installation root>/wmc/webserver/temp/operation-cache.json`, a JSON object of operation text form to bit
/// offset. The file is read under the shared file lock named by its path and ".lck".
///
/// The map only grows: an operation once known keeps the value first read.
///
/// Threads: all functions may be called from any thread; one process-wide reader-writer mutex guards all
/// instances. Operations that are known are found at any time, also while a thread waits for the file's lock.
class KEEPSAFE_API OperationCache {
public:
    /// Empty; nothing is read.
    OperationCache();
    ~OperationCache();
    OperationCache(const OperationCache&) = delete;
    OperationCache& operator=(const OperationCache&) = delete;

    /// Reads the file and adds the operations that are not known yet. Throws `EC_exception` 13 when the file
    /// is missing or not JSON, or its lock cannot be acquired; `boost::bad_lexical_cast` for a key that is
    /// not a namespace; `boost::numeric::positive_overflow` or `negative_overflow` for a value that does not
    /// fit 32 bits. What was added before stays.
    void load();

    /// The operation's bit, or nothing when it is unknown even after the file was read again. Throws what
    /// `load()` throws.
    boost::optional<Operation> operator[](const ObjectNamespace& operation);

    /// Does what `load()` does if the file is another than when this was last called, and looks at it
    /// otherwise: for questions about all operations. Throws what `load()` throws.
    void reloadIfChanged();

    /// The operations known at this moment; nothing is read.
    [[nodiscard]] std::map<ObjectNamespace, Operation> operations() const;

    /// Where the file is, under the current installation root.
    static std::string fileName();

private:
    boost::optional<Operation> find(const ObjectNamespace& operation) const;
    boost::optional<Operation> findInFile(const ObjectNamespace& operation);
    [[nodiscard]] bool isReloaded(const Process::FileState& file) const;
    void read();
    void add(std::map<ObjectNamespace, Operation>& operations);

    std::map<ObjectNamespace, Operation> operations_;
    std::unique_ptr<Process::FileState> reloaded_; ///< the file that `reloadIfChanged` has read
};

} // namespace Tessara::Keepsafe::Rbac

#endif
