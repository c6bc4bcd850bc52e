#include "commands/load_operations.h"

#include <exception>
#include <new>
#include <string>

#include <keepsafe/platform/status/ExplainedFailure.h>

#include "exit_status.h"
#include "log/HeardErrors.h"

namespace ksrbac {

void loadOperations(Tessara::Keepsafe::Rbac::OperationCache& operations)
{
    const HeardErrors errors;
    try {
        operations.load();
    } catch (const Tessara::Keepsafe::ExplainedFailure& error) {
        const std::string nearest = errors.first(); // names the lock's file, if that was missing
        throw Tessara::Keepsafe::ExplainedFailure(error.status(), nearest.empty() ? error.reason() : nearest);
    } catch (const EC_exception&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        throw CommandFailure({FailureKind::Cache, operations.fileName() + ": " + error.what()});
    }
}

} // namespace ksrbac
