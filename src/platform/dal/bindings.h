#ifndef KEEPSAFE_SRC_PLATFORM_DAL_BINDINGS_H
#define KEEPSAFE_SRC_PLATFORM_DAL_BINDINGS_H

#include <cstddef>
#include <string>

#include <keepsafe/platform/dal/Dal.h>

namespace Tessara::Dal {

/// Checks a table of input parameters, null for none, and counts it. Empty if it is valid, otherwise what is
/// wrong with it.
std::string checkParameters(const DalOdbcView::BindingStruct* parameters, std::size_t& count);

/// Checks the columns that a row record of `rowSize` bytes is filled from, for a result of `resultColumns`.
std::string checkColumns(const DalOdbcView::BindingStruct* columns, std::size_t count, std::size_t rowSize,
                         std::size_t resultColumns);

} // namespace Tessara::Dal

#endif
