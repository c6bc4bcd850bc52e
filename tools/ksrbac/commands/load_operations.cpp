#include "commands/load_operations.h"

#include <exception>
#include <new>
#include <stdexcept>

#include <keepsafe/platform/status/EC_exception.h>

namespace ksrbac {

void loadOperations(Tessara::Keepsafe::Rbac::OperationCache& operations)
{
    try {
        operations.load();
    } catch (const EC_exception&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        throw std::runtime_error(operations.fileName() + ": " + error.what());
    }
}

} // namespace ksrbac
