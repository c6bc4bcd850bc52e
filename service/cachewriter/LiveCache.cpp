#include "cachewriter/LiveCache.h"

#include "cachewriter/live/LiveContent.h"
#include "cachewriter/publish_cache.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

class LiveCache::State {
public:
    State(FileSystem& fileSystem, const CacheLocation& location, const ObjectNamespace& covers)
        : fileSystem_(fileSystem), location_(location), covers_(covers)
    {
    }

    [[nodiscard]] LiveContent& content() noexcept { return content_; }

    std::uint64_t publish(const OperationBits& operations, const LockPatience& patience)
    {
        const std::uint64_t before = published_;
        // Bytes that the system has failed to bring to the disk may be lost without a further error.
        published_ = NOTHING;
        published_ = publishCache(
            fileSystem_, location_, covers_,
            [this, before](const FoundCache& found) {
                const bool isOurs = before != NOTHING && found.isIntact && found.generation == before;
                return isOurs ? content_.changes() : content_.whole();
            },
            operations, Renumber::Refuse, patience);
        content_.forgetChanges();
        return published_;
    }

private:
    /// No write ends with this generation.
    static constexpr std::uint64_t NOTHING = 0;

    FileSystem& fileSystem_;
    CacheLocation location_;
    ObjectNamespace covers_;
    LiveContent content_;
    std::uint64_t published_ = NOTHING; ///< the generation that the content was, up to its changes
};

LiveCache::LiveCache(FileSystem& fileSystem, const CacheLocation& location, const ObjectNamespace& covers)
    : state_(std::make_unique<State>(fileSystem, location, covers))
{
}

LiveCache::~LiveCache() = default;

void LiveCache::put(const CacheObject& object) { state_->content().put(object); }

void LiveCache::remove(const ObjectNamespace& ns) { state_->content().remove(ns); }

std::size_t LiveCache::objectCount() const noexcept { return state_->content().objectCount(); }

std::uint64_t LiveCache::publish(const OperationBits& operations, const LockPatience& patience)
{
    return state_->publish(operations, patience);
}

} // namespace keepsafe_service
