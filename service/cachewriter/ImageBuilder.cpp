#include "cachewriter/ImageBuilder.h"

#include <algorithm>
#include <string_view>

#include "cachewriter/SegmentTrie.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::ManagedObject;

void ImageBuilder::add(const CacheObject& object)
{
    const std::string& text = object.ns.str();
    objects_.push_back({texts_.size(), text.size(), grants_.hold(object.own), grants_.hold(object.child),
                        object.accessDefinitionCount, object.inherit});
    texts_ += text;
}

CacheImage ImageBuilder::build() &&
{
    sortEntries();
    CacheImage image;
    image.objects.resize(1);
    image.counts.resize(1);
    std::vector<TrieEntry> trie;
    trie.reserve(objects_.size());
    for (const Entry& entry : objects_) {
        trie.push_back({textOf(entry), recordOffset<ManagedObject>(image.objects.size(), "objects")});
        ManagedObject record = {};
        record.inherit = entry.inherit ? 1 : 0;
        record.ownBits = entry.ownBits;
        record.childBits = entry.childBits;
        image.objects.push_back(record);
        image.counts.push_back(entry.accessDefinitionCount);
    }
    image.nodes = grants_.nodes().records();
    image.segments = buildSegmentTrie(trie);
    image.segmentRoot = trie.empty() ? 0 : sizeof(Tessara::Keepsafe::Rbac::detail::SegmentNode);
    return image;
}

void ImageBuilder::sortEntries()
{
    std::sort(objects_.begin(), objects_.end(),
              [this](const Entry& left, const Entry& right) { return textOf(left) < textOf(right); });
    const auto twice =
        std::adjacent_find(objects_.begin(), objects_.end(), [this](const Entry& left, const Entry& right) {
            return textOf(left) == textOf(right);
        });
    if (twice != objects_.end()) {
        throw InputError("object " + std::string(textOf(*twice)) + " is given twice");
    }
}

} // namespace keepsafe_service
