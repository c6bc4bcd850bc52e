#include "service/support/Generations.h"

#include <utility>

#include <keepsafe/cache/Manifest.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace keepsafe_test {

using keepsafe_service::CacheImage;
using keepsafe_service::CacheObject;
using keepsafe_service::ImageBuilder;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

namespace {

constexpr unsigned OBJECTS_PER_GENERATION = 40;
constexpr unsigned GENERATIONS = 4;
constexpr std::int32_t ROLE = 1;

ObjectNamespace boxNamespace(unsigned box) { return ObjectNamespace("VAULT", "box-" + std::to_string(box)); }

/// One letter for each question: a granted bit as its number, "-" for a refused one.
std::string answersFrom(const AccessCache::Reader& reader)
{
    std::string answers;
    for (unsigned box = 0; box < OBJECTS_PER_GENERATION * GENERATIONS; ++box) {
        const ObjectNamespace name = boxNamespace(box);
        for (unsigned bit = 1; bit <= GENERATIONS; ++bit) {
            const bool isGranted =
                reader.getOperationBit(name, ROLE, Operation{static_cast<std::int32_t>(bit)});
            answers += isGranted ? std::to_string(bit) : "-";
        }
    }
    return answers;
}

std::string answersOfGeneration(unsigned generation)
{
    std::string answers;
    for (unsigned box = 0; box < OBJECTS_PER_GENERATION * GENERATIONS; ++box) {
        for (unsigned bit = 1; bit <= GENERATIONS; ++bit) {
            const bool isGranted = box < OBJECTS_PER_GENERATION * generation && bit == generation;
            answers += isGranted ? std::to_string(bit) : "-";
        }
    }
    return answers;
}

} // namespace

std::vector<CacheObject> objectsOfGeneration(unsigned generation)
{
    std::vector<CacheObject> objects;
    for (unsigned box = 0; box < OBJECTS_PER_GENERATION * generation; ++box) {
        CacheObject object;
        object.ns = boxNamespace(box);
        object.own.add(ROLE, Operation{static_cast<std::int32_t>(generation)});
        objects.push_back(object);
    }
    return objects;
}

CacheImage imageOfGeneration(unsigned generation)
{
    ImageBuilder builder;
    for (const CacheObject& object : objectsOfGeneration(generation)) {
        builder.add(object);
    }
    return std::move(builder).build();
}

std::string findingOf(const AccessCache& cache)
{
    try {
        const std::string answers = answersFrom(cache.lock());
        for (unsigned generation = 0; generation <= GENERATIONS; ++generation) {
            if (answers == answersOfGeneration(generation)) {
                return "generation " + std::to_string(generation);
            }
        }
        return "a mixture: " + answers;
    } catch (const EC_exception& failure) {
        return failure.status() == 12 ? "refused" : "status " + std::to_string(failure.status());
    }
}

std::string findingIn(const std::string& directory)
{
    try {
        const Manifest manifest("id", directory);
        if (manifest.ns != ObjectNamespace("VAULT")) {
            return "a manifest for " + manifest.ns.str();
        }
        return findingOf(AccessCache(manifest));
    } catch (const EC_exception& failure) {
        return failure.status() == 12 ? "refused" : "status " + std::to_string(failure.status());
    }
}

} // namespace keepsafe_test
