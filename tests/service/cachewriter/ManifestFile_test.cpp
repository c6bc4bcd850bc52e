#include "cachewriter/ManifestFile.h"

#include <string>
#include <vector>

#include <jansson.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/Manifest.h>

#include "files/PosixFileSystem.h"
#include "support/TempDir.h"
#include "json/json_text.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::JsonHandle;
using keepsafe_service::OpenFile;
using keepsafe_service::PosixFileSystem;
using keepsafe_service::updateManifest;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

const ObjectNamespace OLD("OLD", "NAMESPACE");
const ObjectNamespace NEW("NEW", "NAME");

void update(const TempDir& dir, const ObjectNamespace& covers)
{
    PosixFileSystem fileSystem;
    updateManifest(fileSystem, fileSystem.openOrCreate(dir.path("manifest.json")), covers);
}

TEST(ManifestFile, NamesTheNamespaceForTheLibrary)
{
    const TempDir dir;
    for (const ObjectNamespace& covers : {OLD, NEW, ObjectNamespace("a \"b\"\xE9|", ""), ObjectNamespace()}) {
        update(dir, covers);
        EXPECT_EQ(Manifest("id", dir.path()).ns, covers);
    }
}

TEST(ManifestFile, StaysAsItIsWhenItNamesTheNamespaceAlready)
{
    const TempDir dir;
    const std::string document = R"({ "comment" : "kept", "namespace":"|OLD|NAMESPACE|" })";
    writeFile(dir.path("manifest.json"), document);

    update(dir, OLD);

    EXPECT_EQ(readFile(dir.path("manifest.json")), document);
}

TEST(ManifestFile, ReplacesWhatIsNoManifest)
{
    for (const std::string rubbish : {"}", "{\"namespace\": 1}", "\0\0", "     \"namespace\": \"|OLD|\"}"}) {
        const TempDir dir;
        writeFile(dir.path("manifest.json"), rubbish);

        update(dir, NEW);

        EXPECT_EQ(Manifest("id", dir.path()).ns, NEW);
    }
}

/// Keeps the file's content after every single byte that is written.
class EveryByteFileSystem : public PosixFileSystem {
public:
    void write(const OpenFile& file, std::uint64_t offset, std::string_view bytes) override
    {
        for (const char byte : bytes) {
            PosixFileSystem::write(file, offset++, {&byte, 1});
            states.push_back(readFile(file.path()));
        }
    }

    std::vector<std::string> states;
};

/// The namespace that a reader of this text finds; empty when it finds no JSON.
std::string namespaceIn(const std::string& text)
{
    const JsonHandle root(json_loadb(text.data(), text.size(), 0, nullptr));
    if (root == nullptr) {
        return "";
    }
    const char* name = json_string_value(json_object_get(root.get(), "namespace"));
    return name == nullptr ? "JSON without a namespace" : name;
}

TEST(ManifestFile, ShowsOldOrNewOrNoJsonToAReaderThatIsOvertakenAnywhere)
{
    const TempDir dir;
    update(dir, OLD);
    EveryByteFileSystem fileSystem;
    fileSystem.states.push_back(readFile(dir.path("manifest.json")));
    updateManifest(fileSystem, fileSystem.openOrCreate(dir.path("manifest.json")), NEW);
    const std::vector<std::string>& states = fileSystem.states;
    ASSERT_EQ(namespaceIn(states.front()), OLD.str());
    ASSERT_EQ(namespaceIn(states.back()), NEW.str());

    // A reader gets the beginning from one state and the rest from that or a later one.
    for (std::size_t earlier = 0; earlier < states.size(); ++earlier) {
        for (std::size_t later = earlier; later < states.size(); ++later) {
            for (std::size_t cut = 0; cut <= states[earlier].size(); ++cut) {
                const std::string found =
                    namespaceIn(states[earlier].substr(0, cut) + states[later].substr(cut));
                ASSERT_THAT(found, testing::AnyOf("", OLD.str(), NEW.str()))
                    << "states " << earlier << " and " << later << ", cut at " << cut;
            }
        }
    }
}

} // namespace
} // namespace keepsafe_test
