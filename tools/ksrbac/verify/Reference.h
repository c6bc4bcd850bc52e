#ifndef KSRBAC_VERIFY_REFERENCE_H
#define KSRBAC_VERIFY_REFERENCE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include <keepsafe/cache/detail/records.h>

#include "verify/Fault.h"

namespace ksrbac {

/// An offset in a file: where it is and what it is called there.
struct Reference {
    Tessara::Keepsafe::Rbac::NodeOffset target;
    const char* file;
    std::uint64_t byte;
    const char* field;
};

/// The records that offsets of one kind point to.
struct TargetFile {
    const char* name;
    std::size_t recordBytes;
    std::size_t recordCount;
};

/// Index of the record that the reference, which must not be 0, refers to; nothing and `complaint` filled
/// when no record may be there.
inline std::optional<std::uint32_t> resolve(const Reference& reference, const TargetFile& target,
                                            std::string& complaint)
{
    const std::size_t index = reference.target / target.recordBytes;
    const auto describe = [&](const std::string& problem) {
        return std::string(reference.field) + " is " + std::to_string(reference.target) + ", " + problem;
    };
    if (index >= target.recordCount) {
        complaint =
            describe("outside the " + std::to_string(target.recordCount) + " records of " + target.name);
        return std::nullopt;
    }
    if (index == 0) {
        complaint = describe(std::string("inside the reserved first record of ") + target.name);
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(index);
}

} // namespace ksrbac

#endif
