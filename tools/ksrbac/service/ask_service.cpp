#include "service/ask_service.h"

#include <exception>
#include <new>

#include <boost/lexical_cast/bad_lexical_cast.hpp>

#include <keepsafe/platform/status/EC_exception.h>

#include "service/explain_failure.h"

namespace ksrbac {

void throwExplained(const std::string& question, const RequestLog& log)
{
    try {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const EC_exception& error) {
        throw ServiceError(question + ": " + explainStatus(error.status(), log.lines()));
    } catch (const boost::bad_lexical_cast&) {
        throw ServiceError(question + ": the service's answer holds a name, number or propagation that is "
                                      "malformed");
    } catch (const std::exception& error) {
        throw ServiceError(question + ": " + error.what());
    }
}

} // namespace ksrbac
