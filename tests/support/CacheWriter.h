#ifndef KEEPSAFE_TESTS_SUPPORT_CACHEWRITER_H
#define KEEPSAFE_TESTS_SUPPORT_CACHEWRITER_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <keepsafe/cache/detail/records.h>

#include "support/AccessModel.h"

namespace keepsafe_test {

/// How search trees are built: shaped like the text says, all of them legal.
enum class TreeShape { Balanced, LeftList, RightList, Random };

/// The record files of an access cache in memory, for tests to fill record by record or from a model, damage
/// at will and write. It knows nothing of the lock and writes plain new files.
class CacheWriter {
public:
    using NodeOffset = Tessara::Keepsafe::Rbac::NodeOffset;
    using SegmentNode = Tessara::Keepsafe::Rbac::detail::SegmentNode;
    using ManagedObject = Tessara::Keepsafe::Rbac::ManagedObject;
    using BitsNode = Tessara::Keepsafe::Rbac::detail::BitsNode;
    using MetadataHeader = Tessara::Keepsafe::Rbac::detail::MetadataHeader;

    struct Options {
        TreeShape shape = TreeShape::Balanced;
        bool offsetsInsideRecords = false; ///< references point anywhere into the record that they mean
        bool unusedRecords = false;        ///< see `addUnusedRecords`
        std::uint32_t seed = 1;
    };

    CacheWriter() = default;
    /// All objects of the model.
    CacheWriter(const AccessModel& model, const Options& options);

    NodeOffset add(const SegmentNode& record);
    NodeOffset add(const ManagedObject& record);
    NodeOffset add(const BitsNode& record);

    /// A search tree over ascending keys in the wanted shape: `add(index, left, right)` adds the record of
    /// one key and returns its offset. Returns the root.
    static NodeOffset
    buildTree(std::size_t size, const Options& options,
              const std::function<NodeOffset(std::size_t, NodeOffset, NodeOffset)>& addNode);

    /// Writes manifest and files into the folder, which is created.
    void write(const std::string& directory, const std::string& namespaceText = "|") const;

    bool unusedRecords = false; ///< see `addUnusedRecords`
    MetadataHeader metadata{};
    std::vector<SegmentNode> segments{SegmentNode{}}; ///< record 0 is reserved in each of them
    std::vector<ManagedObject> objects{ManagedObject{}};
    std::vector<BitsNode> nodes{BitsNode{}};

private:
    NodeOffset addGrants(const Grants& grants, const Options& options);
    NodeOffset addObject(const ModelObject& object, const Options& options);
};

/// Ends the file "segments" in that folder with so many records that nothing refers to that the cache is no
/// longer a small one, which is asked in other ways.
void addUnusedRecords(const std::string& directory);

/// The value of each segment of a namespace's text, worked out from the text alone.
std::vector<std::int32_t> segmentValues(const std::string& text);

/// A record with these fields, the rest zero.
CacheWriter::SegmentNode segmentNode(std::int32_t key, CacheWriter::NodeOffset left,
                                     CacheWriter::NodeOffset right, CacheWriter::NodeOffset object,
                                     CacheWriter::NodeOffset nextLevel);
CacheWriter::BitsNode bitsNode(std::int32_t key, std::uint32_t value, CacheWriter::NodeOffset left = 0,
                               CacheWriter::NodeOffset right = 0);
CacheWriter::ManagedObject managedObject(bool inherit, CacheWriter::NodeOffset ownBits,
                                         CacheWriter::NodeOffset childBits);

} // namespace keepsafe_test

#endif
