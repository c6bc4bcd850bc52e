#include <list>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/dbaccess/RBACDbQueryMgr.h>

#include "criteria/CriteriaStore.h"
#include "errors/InputError.h"
#include "root/configuration.h"
#include "root/initialize.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_sandbox::Criteria;
using keepsafe_sandbox::CriteriaStore;
using keepsafe_sandbox::RootLayout;
using keepsafe_service::Database;
using keepsafe_service::InputError;
using Tessara::Keepsafe::RBACDbConnectionMgr;
using Tessara::Keepsafe::RBACDbQueryMgr;
using Texts = std::list<std::string>;

class CriteriaStoreTest : public testing::Test {
protected:
    /// What the library reads back.
    Texts fetch(const std::set<int>& keys, const char* type)
    {
        Texts found;
        RBACDbQueryMgr queries(boost::make_shared<RBACDbConnectionMgr>(&database_.manager()));
        EXPECT_EQ(queries.fetchCollectionCriteria(keys, type, found), 0);
        return found;
    }

    std::string refusal(const Criteria& criteria)
    {
        return thrownBy<InputError>([&] { store_.add(criteria); }).what();
    }

    TempDir dir_;
    CapturedLog log_;
    RootLayout layout_{dir_.path()};
    std::vector<std::string> made_ = keepsafe_sandbox::initializeRoot(layout_);
    Database database_{keepsafe_sandbox::loadDatabaseSettings(layout_)};
    CriteriaStore store_{database_};
};

TEST_F(CriteriaStoreTest, TheLibraryReadsBackWhatWasAdded)
{
    store_.add({42, "VM", R"({"name": "web-*"})"});
    store_.add({42, "VM", "[1]"});
    store_.add({-7, "VM", "{}"});
    store_.add({42, "POLICY", "{\"other\": 1}"});

    EXPECT_EQ(fetch({42}, "VM"), (Texts{R"({"name": "web-*"})", "[1]"}));
    EXPECT_EQ(fetch({-7, 42}, "VM").size(), 3U);
    EXPECT_EQ(fetch({42}, "POLICY"), Texts{"{\"other\": 1}"});
    EXPECT_EQ(fetch({1}, "VM"), Texts{});
}

TEST_F(CriteriaStoreTest, NumbersThemFromOneOn)
{
    store_.add({1, "VM", "{}"});
    store_.add({5, "it's", "[]"});
    std::vector<std::string> lines;
    store_.forEach([&](const std::string& id, const std::string& key, const std::string& type,
                       const std::string& json) {
        lines.push_back(std::string(id).append(" ").append(key).append(" ").append(type).append(" ") + json);
    });
    EXPECT_EQ(lines, (std::vector<std::string>{"1 1 VM {}", "2 5 it's []"}));
}

TEST_F(CriteriaStoreTest, TakesADocumentAsLongAsTheLibraryCanReadBack)
{
    const std::string longest = "[\"" + std::string(CriteriaStore::MOST_DOCUMENT_BYTES - 4, 'x') + "\"]";
    store_.add({1, "VM", longest});
    EXPECT_EQ(fetch({1}, "VM"), Texts{longest});
    EXPECT_EQ(refusal({1, "VM", longest + " "}),
              "the criteria document has 32768 bytes, and at most 32767 can be read back");
}

TEST_F(CriteriaStoreTest, RefusesWhatIsNoDocument)
{
    EXPECT_EQ(refusal({1, "VM", "{"}),
              "the criteria document is not JSON: line 1, column 1: string or '}' expected near end of file");
    for (const std::string& text : {std::string(), std::string("42"), std::string("{\"a\":1,\"a\":2}"),
                                    std::string("[\"\xFF\"]"), std::string("[]\0", 3)}) {
        EXPECT_EQ(refusal({1, "VM", text}).rfind("the criteria document is not JSON: ", 0), 0U) << text;
    }
    EXPECT_EQ(fetch({1}, "VM"), Texts{});
}

TEST_F(CriteriaStoreTest, RefusesATypeThatIsNoneOrTooLong)
{
    for (const std::string& type : {std::string(), std::string(256, 'x'), std::string("a\0b", 3)}) {
        EXPECT_EQ(refusal({1, type, "{}"}), "the object type must have 1 to 255 bytes");
    }
}

} // namespace
} // namespace keepsafe_test
