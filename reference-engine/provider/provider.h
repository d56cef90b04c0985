#pragma once

// A provider: a service definition made ready to mask.

#include "masking/masks.h"
#include "masking/service_options.h"
#include "provider/definition.h"
#include "records/definitions.h"
#include "text/failure.h"

#include <optional>
#include <string>
#include <vector>

namespace velk::engine {

struct Column {
    std::string name;
    std::string rule; // as written, without secrets
    ColumnLimits limits;
    Mask mask;                       // empty where values stay as they are
    std::optional<std::size_t> by{}; // the column by whose values the rule decides
    bool may_leave_type = true;      // results are tried against the column's type
};

struct Provider {
    ErrorWay on_error;
    bool masks_null = false; // a null is masked as an empty value is, and stays null if the result is empty
    std::vector<Column> columns;
    bool has_named_columns = false; // some rule decides by another column
    KeptDefinition definition;
};

// Throws a Failure where the definition cannot be carried out.
Provider make_provider(const SVCA* service);

// Throws a Failure unless this is a service definition whose counts agree with its chains.
void require_service(const SVCA* service);

// Adds the column and the rule that a failure was about.
void add_place(Failure& failure, const Column& column);

} // namespace velk::engine
