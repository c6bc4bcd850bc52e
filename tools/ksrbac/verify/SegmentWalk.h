#ifndef KSRBAC_VERIFY_SEGMENTWALK_H
#define KSRBAC_VERIFY_SEGMENTWALK_H

#include <cstdint>
#include <string>

#include <keepsafe/cache/detail/records.h>

#include "verify/ObjectCheck.h"
#include "verify/SearchTreeWalk.h"

namespace ksrbac {

/// The trie of names: search trees over the segments of each level, and the objects whose names end there.
class SegmentWalk final : public SearchTreeWalk<Tessara::Keepsafe::Rbac::detail::SegmentNode> {
public:
    SegmentWalk(const View& records, const char* file, FaultList& faults, ObjectCheck& objects)
        : SearchTreeWalk(records, file, faults), objects_(objects)
    {
    }

    void walkFrom(const Reference& root) { walk(root); }
    /// The beginning of the name that the current record continues.
    [[nodiscard]] std::string reached() const override;

private:
    void examine(std::uint32_t index) override;
    [[nodiscard]] std::string keyText(std::int64_t key) const override;
    [[nodiscard]] Reference nextLevel(std::uint32_t index) const override;

    ObjectCheck& objects_;
};

} // namespace ksrbac

#endif
