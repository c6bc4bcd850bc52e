#include "cachewriter/OperationCacheUpdate.h"

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/OperationCache.h>

#include "errors/InputError.h"
#include "files/FileError.h"
#include "files/PosixFileSystem.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::FileError;
using keepsafe_service::InputError;
using keepsafe_service::OperationBits;
using keepsafe_service::OperationCacheUpdate;
using keepsafe_service::OperationChange;
using keepsafe_service::PosixFileSystem;
using keepsafe_service::PublishError;
using keepsafe_service::Renumber;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationCache;

const ObjectNamespace VIEW("OPERATIONS", "VIEW");
const ObjectNamespace ADD("OPERATIONS", "ADD");
const ObjectNamespace COPY("OPERATIONS", "copy | move");

class OperationCacheUpdateTest : public testing::Test {
protected:
    [[nodiscard]] static std::string path() { return OperationCache::fileName(); }

    void publish(const OperationBits& operations, Renumber renumber = Renumber::Refuse)
    {
        OperationCacheUpdate(fileSystem_, path(), operations, renumber).carryOut();
    }

    std::string errorOf(const OperationBits& operations)
    {
        return thrownBy<InputError>([&] { publish(operations); }).what();
    }

    /// The operation's bit as the library reads it; -1 when it is unknown.
    static std::int32_t bitOf(const ObjectNamespace& operation)
    {
        OperationCache cache;
        const auto found = cache[operation];
        return found ? found->offset : -1;
    }

    TempRoot root_;
    CapturedLog log_;
    PosixFileSystem fileSystem_;
};

TEST_F(OperationCacheUpdateTest, PublishesBitsThatTheLibraryReads)
{
    publish({{VIEW, 0}, {ADD, 2147483647}, {COPY, 37}});

    EXPECT_EQ(bitOf(VIEW), 0);
    EXPECT_EQ(bitOf(ADD), 2147483647);
    EXPECT_EQ(bitOf(COPY), 37);
    EXPECT_EQ(readFile(path()), "{\n  \"|OPERATIONS|ADD|\": 2147483647,\n  \"|OPERATIONS|VIEW|\": 0,\n"
                                "  \"|OPERATIONS|copy+%7C+move|\": 37\n}\n");
}

TEST_F(OperationCacheUpdateTest, PublishesAnEmptyDocumentWhenThereIsNone)
{
    publish({});

    EXPECT_EQ(readFile(path()), "{}\n");
}

TEST_F(OperationCacheUpdateTest, KeepsOperationsThatAreInTheFileAlone)
{
    publish({{VIEW, 0}, {COPY, 37}});
    publish({{VIEW, 0}, {ADD, 1}});

    EXPECT_EQ(bitOf(COPY), 37);
    EXPECT_EQ(bitOf(ADD), 1);
}

TEST_F(OperationCacheUpdateTest, LeavesTheFileAloneWhenNothingChanges)
{
    publish({{VIEW, 0}, {ADD, 1}});
    const auto written = std::filesystem::last_write_time(path());

    publish({{ADD, 1}});

    EXPECT_EQ(std::filesystem::last_write_time(path()), written);
}

TEST_F(OperationCacheUpdateTest, RefusesAnotherBitForAPublishedOperation)
{
    publish({{VIEW, 0}});
    const std::string before = readFile(path());

    EXPECT_EQ(errorOf({{VIEW, 1}}),
              "operation |OPERATIONS|VIEW|: bit 1 is asked for, but it is published with bit 0");
    EXPECT_EQ(readFile(path()), before);
}

TEST_F(OperationCacheUpdateTest, RefusesTheBitOfAnotherPublishedOperation)
{
    publish({{VIEW, 0}});

    EXPECT_EQ(errorOf({{ADD, 0}}),
              "operation |OPERATIONS|ADD|: bit 0 is asked for, but it is published as that of "
              "|OPERATIONS|VIEW|");
}

TEST_F(OperationCacheUpdateTest, RenumbersWhenAskedTo)
{
    publish({{VIEW, 0}, {ADD, 1}, {COPY, 2}});
    publish({{VIEW, 1}, {ADD, 2}}, Renumber::Allow);

    EXPECT_EQ(bitOf(VIEW), 1);
    EXPECT_EQ(bitOf(ADD), 2);
    EXPECT_EQ(bitOf(COPY), -1) << "its bit was taken over";
}

TEST_F(OperationCacheUpdateTest, TellsWhatItWillChangeAndChangesNothingYet)
{
    const auto changeFor = [this](const OperationBits& operations, Renumber renumber) {
        return OperationCacheUpdate(fileSystem_, path(), operations, renumber).change();
    };
    EXPECT_EQ(changeFor({}, Renumber::Refuse), OperationChange::Renewal) << "there is none";
    publish({{VIEW, 0}, {COPY, 2}});
    const std::string before = readFile(path());

    EXPECT_EQ(changeFor({{VIEW, 0}}, Renumber::Refuse), OperationChange::None);
    EXPECT_EQ(changeFor({{ADD, 1}}, Renumber::Refuse), OperationChange::Addition);
    EXPECT_EQ(changeFor({{VIEW, 1}}, Renumber::Allow), OperationChange::Renewal) << "another bit";
    EXPECT_EQ(changeFor({{ADD, 2}}, Renumber::Allow), OperationChange::Renewal) << "the bit of another";
    EXPECT_EQ(readFile(path()), before);
}

TEST_F(OperationCacheUpdateTest, ThatFailsRemovesWhatItHasPrepared)
{
    publish({{VIEW, 0}});
    const std::string before = readFile(path());
    class NoRename : public PosixFileSystem {
        void rename(const std::string& /*from*/, const std::string& /*to*/) override
        {
            throw FileError("no rename");
        }
    } fileSystem;

    EXPECT_THROW(OperationCacheUpdate(fileSystem, path(), {{ADD, 1}}, Renumber::Refuse).carryOut(),
                 FileError);

    EXPECT_EQ(readFile(path()), before);
    EXPECT_FALSE(std::filesystem::exists(path() + ".new"));
}

TEST_F(OperationCacheUpdateTest, IsGivenUpWhenTheFileHasBecomeAnotherMeanwhile)
{
    publish({{VIEW, 0}});
    OperationCacheUpdate update(fileSystem_, path(), {{ADD, 1}}, Renumber::Refuse);
    std::filesystem::remove(path());

    EXPECT_EQ(thrownBy<PublishError>([&] { update.carryOut(); }).what(),
              path() + " was changed by others meanwhile");
}

TEST_F(OperationCacheUpdateTest, TakesUpWhatAnotherWriterHasAddedMeanwhile)
{
    publish({{VIEW, 0}});
    OperationCacheUpdate update(fileSystem_, path(), {{ADD, 1}}, Renumber::Refuse);
    publish({{COPY, 2}});
    update.carryOut();

    EXPECT_EQ(bitOf(COPY), 2);
    EXPECT_EQ(bitOf(ADD), 1);
}

TEST_F(OperationCacheUpdateTest, WritesOverWhatAKilledWriterHadPrepared)
{
    writeFile(path() + ".new", std::string(10000, 'x'));

    publish({{VIEW, 0}});

    EXPECT_EQ(readFile(path()), "{\n  \"|OPERATIONS|VIEW|\": 0\n}\n");
}

TEST_F(OperationCacheUpdateTest, CreatesALockThatOthersCanOpen)
{
    publish({{VIEW, 0}});

    const auto permissions = std::filesystem::status(path() + ".lck").permissions();
    EXPECT_NE(permissions & std::filesystem::perms::group_read, std::filesystem::perms::none);
}

TEST_F(OperationCacheUpdateTest, RefusesADocumentThatIsNoOperationCache)
{
    const std::string notOne = path() + ": not an operation cache: ";
    const std::string member = " is not an operation with a bit of 32 bits";

    writeFile(path(), "{\"|A|\": 1,}");
    EXPECT_EQ(errorOf({}), path() + ":1:11: string or '}' expected near '}'");
    writeFile(path(), "[]");
    EXPECT_EQ(errorOf({}), notOne + "the document is not an object");
    writeFile(path(), "{\"A\": 1}");
    EXPECT_EQ(errorOf({}), notOne + "the member \"A\"" + member);
    writeFile(path(), "{\"|A|\": \"1\"}");
    EXPECT_EQ(errorOf({}), notOne + "the member \"|A|\"" + member);
    writeFile(path(), "{\"|A|\": 2147483648}");
    EXPECT_EQ(errorOf({}), notOne + "the member \"|A|\"" + member);
}

TEST_F(OperationCacheUpdateTest, RefusesADirectoryInTheFilesPlace)
{
    std::filesystem::create_directories(path());

    EXPECT_EQ(thrownBy<FileError>([this] {
                  publish({{VIEW, 0}});
              }).what(),
              "cannot open " + path() + ": it is not a regular file");
}

} // namespace
} // namespace keepsafe_test
