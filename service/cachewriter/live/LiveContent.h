#ifndef KEEPSAFE_SERVICE_CACHEWRITER_LIVE_LIVECONTENT_H
#define KEEPSAFE_SERVICE_CACHEWRITER_LIVE_LIVECONTENT_H

#include <cstddef>
#include <cstdint>

#include <keepsafe/cache/detail/records.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "cachewriter/CacheContent.h"
#include "cachewriter/GrantTrees.h"
#include "cachewriter/ImageBuilder.h"
#include "cachewriter/RecordPool.h"
#include "cachewriter/live/NameTrie.h"

namespace keepsafe_service {

/// The content of a cache, changed object by object, as it lies in the files; and what has changed of it.
/// Records that are no longer used are used again before a file grows.
class LiveContent {
public:
    /// How many records the files may have, the reserved ones included; files of 4 GiB limit them as well.
    struct Limits {
        std::size_t objects = SIZE_MAX;
        std::size_t nodes = SIZE_MAX;
        std::size_t segments = SIZE_MAX;
    };

    LiveContent() : LiveContent(Limits()) {}
    explicit LiveContent(const Limits& limits);

    /// Adds the object, or replaces the one of its name. Throws `InputError`, with everything as it was, when
    /// a file would outgrow its limit. What is replaced makes room only afterwards.
    void put(const CacheObject& object);
    /// No object of the name is fine.
    void remove(const Tessara::Keepsafe::Rbac::ObjectNamespace& ns);
    [[nodiscard]] std::size_t objectCount() const noexcept
    {
        return objects_.size() - 1 - objects_.freeCount();
    }

    // Both refer to the records and are valid until the next change.
    [[nodiscard]] CacheContent whole() const;
    /// What has changed since `forgetChanges` was called last, or ever.
    [[nodiscard]] CacheContent changes() const;
    void forgetChanges() noexcept;

private:
    using NodeOffset = Tessara::Keepsafe::Rbac::NodeOffset;

    NodeOffset add(const std::string& text);
    void setCount(NodeOffset object, std::uint32_t accessDefinitions) noexcept;
    [[nodiscard]] CacheContent header() const noexcept;

    RecordPool<Tessara::Keepsafe::Rbac::ManagedObject> objects_;
    /// INVARIANT: as many as `objects_`, number by number.
    RecordFile<std::uint32_t> counts_;
    GrantTrees grants_;
    NameTrie names_;
    std::uint64_t accessDefinitions_ = 0; ///< sum of `counts_`
};

} // namespace keepsafe_service

#endif
