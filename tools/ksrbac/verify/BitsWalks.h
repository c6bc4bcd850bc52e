#ifndef KSRBAC_VERIFY_BITSWALKS_H
#define KSRBAC_VERIFY_BITSWALKS_H

#include <cstdint>
#include <string>

#include <keepsafe/cache/detail/records.h>

#include "verify/SearchTreeWalk.h"

namespace ksrbac {

/// Word trees: the permission bits of one role, by word index. Any bits are legal.
class WordWalk final : public SearchTreeWalk<Tessara::Keepsafe::Rbac::detail::BitsNode> {
public:
    using SearchTreeWalk::SearchTreeWalk;

    void walkFrom(const Reference& root, const Whereabouts& role);
    [[nodiscard]] std::string reached() const override;

private:
    void examine(std::uint32_t /*index*/) override {}

    const Whereabouts* role_ = nullptr; ///< set while a tree is walked
};

/// Role trees: the word tree of each role.
class RoleWalk final : public SearchTreeWalk<Tessara::Keepsafe::Rbac::detail::BitsNode> {
public:
    RoleWalk(const View& records, const char* file, FaultList& faults, WordWalk& words)
        : SearchTreeWalk(records, file, faults), words_(words)
    {
    }

    void walkFrom(const Reference& root, const Whereabouts& object);
    [[nodiscard]] std::string reached() const override;

private:
    void examine(std::uint32_t index) override;

    WordWalk& words_;
    const Whereabouts* object_ = nullptr; ///< set while a tree is walked
};

} // namespace ksrbac

#endif
