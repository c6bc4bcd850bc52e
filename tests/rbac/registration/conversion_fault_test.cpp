/// Names without a text form. Every name has one; this program is built with the sources of the documents
/// that are sent, and has names in the place of the library's that have none.

#include <boost/lexical_cast.hpp>

#include "RegistrationTest.h"
#include "wire_text.h"

namespace Tessara::Keepsafe::Rbac {

const std::string& ObjectNamespace::str() const { throw EC_exception(20); }

} // namespace Tessara::Keepsafe::Rbac

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::Attributes;
using Tessara::Keepsafe::Rbac::bulkRegistrationText;
using Tessara::Keepsafe::Rbac::bulkStateUpdateText;
using Tessara::Keepsafe::Rbac::DefaultObjectRegistrationService;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

using Service = DefaultObjectRegistrationService;

TEST(NamesWithoutText, AreBadCastsInEveryDocument)
{
    const CapturedLog log;
    const auto data = dataOf(ObjectNamespace("A"));
    EXPECT_THROW((void)Service::buildRegistrationJSON(data), boost::bad_lexical_cast);
    EXPECT_THROW((void)Service::buildBulkRegistrationRequest({data}), boost::bad_lexical_cast);
    EXPECT_THROW((void)Service::buildNamespaceStatePair(ObjectNamespace("A"), "READY"),
                 boost::bad_lexical_cast);
    EXPECT_THROW((void)Service::buildBulkStateUpdateRequest({}, {}, {ObjectNamespace("A")}),
                 boost::bad_lexical_cast);
    EXPECT_THROW((void)bulkRegistrationText({data}, Attributes::Written), boost::bad_lexical_cast);
    EXPECT_THROW((void)bulkStateUpdateText({ObjectNamespace("A")}, {}, {}), boost::bad_lexical_cast);
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

} // namespace
} // namespace keepsafe_test
