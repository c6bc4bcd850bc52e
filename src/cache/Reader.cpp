#include <memory>
#include <utility>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>

#include "recycled_storage.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

/// Walks one search tree for `key`. Returns the record, null when the tree has none, and reports an offset
/// outside the file or a walk longer than the file has records - which only a circle can be - to
/// `damaged(offset, what)`, which does not return.
template <typename Record, typename Damaged>
inline const Record* findInTree(const detail::RecordView<Record>& records, NodeOffset root, std::int32_t key,
                                const Damaged& damaged)
{
    std::size_t budget = records.count();
    NodeOffset offset = root;
    while (offset != 0) {
        const Record* node = records.find(offset);
        if (__builtin_expect(node == nullptr, 0)) {
            damaged(offset, "offset outside the file");
        }
        if (node->key == key) {
            return node;
        }
        if (__builtin_expect(budget-- == 0, 0)) {
            damaged(offset, "tree without end");
        }
        offset = node->key > key ? node->left : node->right;
    }
    return nullptr;
}

} // namespace

AccessCache::Reader::Reader(const AccessCache& cache)
    : cache_(cache), fileLock_(cache.fileLock_),
      guard_(std::allocate_shared<FileLockGuard>(RecyclingAllocator<FileLockGuard>(), fileLock_,
                                                 FileLock::SHARED, FileLock::WAIT_FOREVER,
                                                 FileLock::DEFAULT_INTERVAL)),
      metadata_(cache.metadata_.view())
{
    if (metadata_.count() == 0) {
        throwDamaged(METADATA_FILE_NAME, 0, "header missing");
    }
    if (writing_in_progress()) {
        logmsgf(Platform::LOG_LEVEL_ERROR, "AccessCache::Reader",
                "A previous write on cache %s was interrupted. Assuming invalid.",
                cache_.manifest_.ns.str().c_str());
        throw EC_exception(Status::CACHE_UNUSABLE);
    }
}

AccessCache::Reader::Reader(Reader&&) noexcept = default;
AccessCache::Reader::~Reader() = default;

void AccessCache::Reader::captureViews()
{
    objects_ = cache_.objects_.view();
    nodes_ = cache_.nodes_.view();
    segments_ = cache_.segments_.view();
}

bool AccessCache::Reader::writing_in_progress() const noexcept
{
    return metadata_.find(0)->writeInProgress != 0;
}

NodeOffset AccessCache::Reader::segmentRoot() const noexcept { return metadata_.find(0)->segmentRoot; }

const ManagedObject* AccessCache::Reader::lookup(const ObjectNamespace& ns) const
{
    NodeOffset root = segmentRoot();
    auto [segment, end] = detail::namespaceSegments(ns);
    while (root != 0) {
        const detail::SegmentNode* node = findSegment(root, *segment);
        if (node == nullptr) {
            return nullptr;
        }
        if (++segment == end) {
            return node->object == 0 ? nullptr : &getManagedObject(node->object);
        }
        root = node->nextLevel;
    }
    return nullptr;
}

const ManagedObject& AccessCache::Reader::getManagedObject(NodeOffset offset) const
{
    const ManagedObject* object = objects_.find(offset);
    if (object == nullptr) {
        throwDamaged(OBJECT_FILE_NAME, offset, "offset outside the file");
    }
    return *object;
}

bool AccessCache::Reader::getOperationBit(const ManagedObject& object, std::int32_t roleId,
                                          const Operation& operation) const
{
    return get_operation_bit(object.ownBits, roleId, operation);
}

bool AccessCache::Reader::getChildOperationBit(const ManagedObject& object, std::int32_t roleId,
                                               const Operation& operation) const
{
    return get_operation_bit(object.childBits, roleId, operation);
}

bool AccessCache::Reader::getOperationBit(const ObjectNamespace& ns, std::int32_t roleId,
                                          const Operation& operation) const
{
    const ManagedObject* object = lookup(ns);
    return object != nullptr && getOperationBit(*object, roleId, operation);
}

bool AccessCache::Reader::getChildOperationBit(const ObjectNamespace& ns, std::int32_t roleId,
                                               const Operation& operation) const
{
    const ManagedObject* object = lookup(ns);
    return object != nullptr && getChildOperationBit(*object, roleId, operation);
}

bool AccessCache::Reader::get_operation_bit(NodeOffset roleTree, std::int32_t roleId,
                                            const Operation& operation) const
{
    const detail::BitsNode* role = findBitsNode(roleTree, roleId);
    if (role == nullptr) {
        return false;
    }
    const detail::BitsNode* word = findBitsNode(role->value, operation.wordIndex());
    return word != nullptr && (word->value & operation.bitMask()) != 0;
}

const detail::SegmentNode* AccessCache::Reader::findSegment(NodeOffset root, std::int32_t key) const
{
    return findInTree(segments_, root, key, [this](NodeOffset offset, const char* what) {
        throwDamaged(SEGMENT_FILE_NAME, offset, what);
    });
}

const detail::BitsNode* AccessCache::Reader::findBitsNode(NodeOffset root, std::int32_t key) const
{
    return findInTree(nodes_, root, key, [this](NodeOffset offset, const char* what) {
        throwDamaged(NODE_FILE_NAME, offset, what);
    });
}

void AccessCache::Reader::throwDamaged(const std::string& fileName, NodeOffset offset, const char* what) const
{
    logmsgf(Platform::LOG_LEVEL_ERROR, "AccessCache::Reader", "Cache %s is damaged: %s at offset %u: %s",
            cache_.manifest_.ns.str().c_str(), fileName.c_str(), offset, what);
    throw EC_exception(Status::CACHE_UNUSABLE);
}

} // namespace Tessara::Keepsafe::Rbac
