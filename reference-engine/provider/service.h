#pragma once

// The service call: masks a row set in place, a column at a time.

#include "provider/provider.h"
#include "records/rowdata.h"

namespace velk::engine {

// Throws a Failure where the call as a whole fails; the caller then clears the row set.
void mask_row_set(const Provider& provider, RWST* rows);

// Leaves no value readable in any field, and the code in each.
void clear_row_set(RWST* rows, std::int32_t code) noexcept;

} // namespace velk::engine
