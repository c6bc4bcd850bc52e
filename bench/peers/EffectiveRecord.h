#ifndef KEEPSAFE_BENCH_PEERS_EFFECTIVERECORD_H
#define KEEPSAFE_BENCH_PEERS_EFFECTIVERECORD_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string_view>

#include "peers/RoleGrants.h"

namespace keepsafe_bench {

/// A database's record of an object, such that one record decides: what the object grants on itself, what it
/// inherits, and what it grants on everything below it, one after the other. A question about the object
/// needs the first two, one about a name below it that has no record the last two.
///
/// Writers pay the price, which is not measured here: a changed grant on an area changes the records of
/// everything below it, and inherited grants make up most of the database.
class EffectiveRecord {
public:
    struct Header {
        std::uint32_t own;
        std::uint32_t inherited;
        std::uint32_t child;
    };

    EffectiveRecord(const void* data, std::size_t size)
        : grants_(static_cast<const char*>(data) + sizeof header_)
    {
        if (size < sizeof header_) {
            throw std::runtime_error("a record without its header");
        }
        std::memcpy(&header_, data, sizeof header_);
    }

    [[nodiscard]] bool allows(const PeerCaller& caller) const
    {
        return anyGranted(grants_, std::size_t{header_.own} + header_.inherited, caller);
    }
    [[nodiscard]] bool allowsBelow(const PeerCaller& caller) const
    {
        return anyGranted(grants_ + header_.own * sizeof(RoleGrant),
                          std::size_t{header_.inherited} + header_.child, caller);
    }

private:
    Header header_;
    const char* grants_;
};

/// The records of the generated cache, in ascending order of their keys, which are the names in text form.
void visitRecords(std::uint64_t leaves,
                  const std::function<void(std::string_view key, std::string_view record)>& visit);

} // namespace keepsafe_bench

#endif
