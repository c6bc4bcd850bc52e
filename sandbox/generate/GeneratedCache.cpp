#include "generate/GeneratedCache.h"

#include <array>
#include <bitset>
#include <vector>

#include "generate/random_numbers.h"

namespace keepsafe_sandbox {

using keepsafe_service::CacheImage;
using keepsafe_service::CacheObject;
using keepsafe_service::Grants;
using keepsafe_service::ImageBuilder;
using keepsafe_service::OperationBits;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

namespace {

/// The numbers that belong to one object, independent of those of all others.
RandomNumbers numbersFor(std::uint64_t seed, char level, std::uint64_t object)
{
    RandomNumbers mixed(RandomNumbers(seed).next() + static_cast<unsigned char>(level));
    return RandomNumbers(mixed.next() ^ object);
}

std::string padded(std::uint64_t number, std::size_t width)
{
    const std::string digits = std::to_string(number);
    return digits.size() >= width ? digits : std::string(width - digits.size(), '0') + digits;
}

/// Draws without repetition.
template <std::size_t Count>
unsigned drawNew(RandomNumbers& random, std::bitset<Count>& drawn)
{
    constexpr auto limit = static_cast<unsigned>(Count);
    unsigned number = random.below(limit);
    while (drawn.test(number)) {
        number = random.below(limit);
    }
    drawn.set(number);
    return number;
}

Grants drawGrants(RandomNumbers& random, unsigned roles, unsigned operationsPerRole)
{
    Grants grants;
    std::bitset<GeneratedCache::ROLES> drawnRoles;
    for (unsigned role = 0; role < roles; ++role) {
        const auto roleId =
            GeneratedCache::FIRST_ROLE + static_cast<std::int32_t>(drawNew(random, drawnRoles));
        std::bitset<GeneratedCache::OPERATIONS> drawnOperations;
        for (unsigned operation = 0; operation < operationsPerRole; ++operation) {
            grants.add(roleId, GeneratedCache::operationBit(drawNew(random, drawnOperations)));
        }
    }
    return grants;
}

} // namespace

ObjectNamespace GeneratedCache::rootNamespace() { return ObjectNamespace("KEEPSAFE"); }

ObjectNamespace GeneratedCache::areaNamespace(unsigned area)
{
    return rootNamespace() | ("area-" + std::to_string(area));
}

ObjectNamespace GeneratedCache::kindNamespace(unsigned area, unsigned kind)
{
    return areaNamespace(area) | ("kind-" + padded(kind, 2));
}

std::string GeneratedCache::leafName(std::uint64_t leaf) { return "vm-" + padded(leaf, 7) + "-prod.example"; }

ObjectNamespace GeneratedCache::leafNamespace(std::uint64_t leaf)
{
    return kindNamespace(static_cast<unsigned>(leaf % AREAS), static_cast<unsigned>(leaf / AREAS % KINDS)) |
           leafName(leaf);
}

ObjectNamespace GeneratedCache::operationNamespace(unsigned operation)
{
    return ObjectNamespace("OPERATIONS", "OP-" + padded(operation, 2));
}

Operation GeneratedCache::operationBit(unsigned operation)
{
    return Operation{FIRST_BIT + static_cast<std::int32_t>(operation)};
}

OperationBits GeneratedCache::operations()
{
    OperationBits operations;
    for (unsigned operation = 0; operation < OPERATIONS; ++operation) {
        operations.emplace(operationNamespace(operation), operationBit(operation).offset);
    }
    return operations;
}

CacheObject GeneratedCache::area(unsigned area) const
{
    RandomNumbers random = numbersFor(seed_, 'a', area);
    CacheObject object;
    object.ns = areaNamespace(area);
    object.accessDefinitionCount = 5;
    object.child = drawGrants(random, object.accessDefinitionCount, 4);
    return object;
}

CacheObject GeneratedCache::kind(unsigned area, unsigned kind) const
{
    RandomNumbers random = numbersFor(seed_, 'k', std::uint64_t{area} * KINDS + kind);
    CacheObject object;
    object.ns = kindNamespace(area, kind);
    object.accessDefinitionCount = 10;
    object.child = drawGrants(random, object.accessDefinitionCount, 8);
    return object;
}

CacheObject GeneratedCache::leaf(std::uint64_t leaf) const
{
    RandomNumbers random = numbersFor(seed_, 'l', leaf);
    CacheObject object;
    object.ns = leafNamespace(leaf);
    object.inherit = random.below(100) >= 5;
    if (random.below(100) < 20) {
        object.accessDefinitionCount = 2;
        object.own = drawGrants(random, object.accessDefinitionCount, 4);
    }
    return object;
}

CacheImage GeneratedCache::build(const Progress& progress) const
{
    ImageBuilder builder;
    CacheObject root;
    root.ns = rootNamespace();
    builder.add(root);
    for (unsigned areaNumber = 0; areaNumber < AREAS; ++areaNumber) {
        builder.add(area(areaNumber));
        for (unsigned kindNumber = 0; kindNumber < KINDS; ++kindNumber) {
            builder.add(kind(areaNumber, kindNumber));
        }
    }
    addLeaves(builder, progress);
    return std::move(builder).build();
}

void GeneratedCache::addLeaves(ImageBuilder& builder, const Progress& progress) const
{
    constexpr std::uint64_t progressStep = 1024;
    // Kind by kind, as in the file of names, so that the grants of neighbours are also close together.
    constexpr std::uint64_t kinds = std::uint64_t{AREAS} * KINDS;
    std::uint64_t done = 0;
    for (std::uint64_t first = 0; first < kinds; ++first) {
        for (std::uint64_t number = first; number < leaves_; number += kinds) {
            builder.add(leaf(number));
            if (++done % progressStep == 0 && progress) {
                progress(done, leaves_);
            }
        }
    }
}

} // namespace keepsafe_sandbox
