#include "verify/SegmentWalk.h"

#include <cstddef>
#include <cstdio>

#include "output/escape.h"

namespace ksrbac {

using Tessara::Keepsafe::Rbac::detail::SegmentNode;

namespace {

/// The bytes of a segment: as many as its value has up to a bar, or all four.
std::string segmentText(std::int32_t key)
{
    std::string text;
    for (unsigned shift = 24; text.size() < sizeof key; shift -= 8) {
        text += static_cast<char>((static_cast<std::uint32_t>(key) >> shift) & 0xFFU);
        if (text.back() == '|') {
            break;
        }
    }
    return text;
}

} // namespace

void SegmentWalk::examine(std::uint32_t index)
{
    const Reference object{record(index).object, file(), byteOf(index, offsetof(SegmentNode, object)),
                           "object"};
    if (object.target == 0) {
        return;
    }
    std::string complaint;
    const auto target = resolve(object, objects_.target(), complaint);
    if (target) {
        objects_.examine(*target, *this);
    } else {
        faults().add([&] { return Fault{object.file, object.byte, complaint, reached()}; });
    }
}

std::string SegmentWalk::reached() const
{
    if (frames().empty()) {
        return "";
    }
    std::string name;
    for (std::size_t i = 0; i < frames().size(); ++i) {
        const bool endsLevel = i + 1 == frames().size() || frames()[i + 1].edge == Edge::NextLevel;
        if (endsLevel) {
            name += segmentText(record(frames()[i].index).key);
        }
    }
    return escapeForMessage(name) + stepsDown();
}

std::string SegmentWalk::keyText(std::int64_t key) const
{
    char number[16];
    (void)std::snprintf(number, sizeof number, "0x%08X",
                        static_cast<unsigned>(static_cast<std::uint32_t>(key)));
    return std::string(number) + " \"" + escapeForMessage(segmentText(static_cast<std::int32_t>(key))) + '"';
}

Reference SegmentWalk::nextLevel(std::uint32_t index) const
{
    return {record(index).nextLevel, file(), byteOf(index, offsetof(SegmentNode, nextLevel)), "next level"};
}

} // namespace ksrbac
