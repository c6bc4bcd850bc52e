/// Texts that cannot be placed in a URI, and namespaces without a text form. Neither exists; this program has
/// functions that fail in the place of the libraries'.

#include <ostream>

#include <boost/lexical_cast.hpp>

#include <keepsafe/platform/uri/percent_encode.h>
#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/api/Operations.h>
#include <keepsafe/rbac/api/Rbac2Curl.h>
#include <keepsafe/rbac/api/Rbac2Json.h>
#include <keepsafe/rbac/api/Roles.h>

#include "rbac/api/ScriptedService.h"

std::ostream& Tessara::Keepsafe::Rbac::operator<<(std::ostream& stream, const ObjectNamespace& /*value*/)
{
    stream.setstate(std::ios_base::failbit);
    return stream;
}

int percentEncodeUriPart(const std::string& /*in*/, std::string& /*out*/) { return 4711; }

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::BaseAPI;
using Tessara::Keepsafe::Rbac::encode_uri_part;
using Tessara::Keepsafe::Rbac::ManagedObjectAPI;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationAPI;
using Tessara::Keepsafe::Rbac::RoleAPI;
using testing::ElementsAre;
using testing::IsEmpty;

class EncodingFault : public ApiTest<BaseAPI> {
protected:
    static LogLine line(const std::string& text)
    {
        return {16, "rbac2_encode_uri_part", "Failed to encode. str=" + text + ", status=4711"};
    }
};

TEST(NamespaceWithoutText, IsABadCastInJson)
{
    namespace rbac = Tessara::Keepsafe::Rbac;
    EXPECT_THROW((void)rbac::json_namespace_shared(ObjectNamespace("A")), boost::bad_lexical_cast);
    EXPECT_THROW((void)rbac::json_namespaces_shared({ObjectNamespace("A")}), boost::bad_lexical_cast);
}

TEST_F(EncodingFault, IsItsStatusAndNamesTheText)
{
    EXPECT_EQ(thrownStatus([] { (void)encode_uri_part("a b"); }), 4711);
    EXPECT_THAT(log_.lines(), ElementsAre(line("a b")));
}

TEST_F(EncodingFault, OfAFilterOrAnObjectSendsNothing)
{
    EXPECT_EQ(thrownStatus([this] { (void)RoleAPI(service_).get_roles("filter"); }), 4711);
    EXPECT_EQ(thrownStatus([this] { (void)OperationAPI(service_).get_operations("filter"); }), 4711);
    EXPECT_EQ(thrownStatus([this] { (void)ManagedObjectAPI(service_).get_object(ObjectNamespace("A")); }),
              4711);
    EXPECT_THAT(log_.lines(), ElementsAre(line("filter"), line("filter"), line("|A|")));
    EXPECT_THAT(service_->created, IsEmpty());
}

} // namespace
} // namespace keepsafe_test
