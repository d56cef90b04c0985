#pragma once

// What a masking string defines, checked as a provider would check it, and ready to be put into records.

#include "adapter/entries.h"
#include "masking/column_type.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

struct ColumnDefinition {
    std::string name;
    std::string function;
    std::string arguments; // as written between the parentheses
    ColumnType type;
    std::int32_t length; // the longest text in code points; 0: no limit
    bool unique;
};

struct ServiceOperand {
    std::string_view name;
    std::string text;
};

struct ServiceDefinition {
    std::string id;
    std::vector<ServiceOperand> operands;
    std::vector<ColumnDefinition> columns;
};

// Throws a Failure with its place in the source. Whether there is a key where the string says is left to the
// provider: a string can be checked where its key is not known.
ServiceDefinition define_service(const std::vector<Entry>& entries, std::string_view source);

// The type as it is declared, such as "varchar(20)".
std::string type_text(const ColumnType& type);

} // namespace velk::engine
