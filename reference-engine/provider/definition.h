#pragma once

// The definition that a provider was started with, kept to tell it from any other: masking by the rules of
// another definition could give back clear what this one hides.

#include "records/definitions.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velk::engine {

// All texts are UTF-8.
struct KeptDefinition {
    struct Operand {
        std::uint16_t parameter_id;
        std::string name;
        std::string text;
    };

    struct Column {
        std::string name;
        std::int32_t length;
        std::int16_t type;
    };

    std::vector<Operand> operands;
    std::vector<Column> columns;
};

// Of a definition that has been read before, so that its records are known to be sound.
KeptDefinition keep_definition(const SVCA& service);

// Throws a Failure unless the definition says the same, wherever its records and however its texts are held.
// It reads and allocates nothing else, because every call asks.
void require_same(const KeptDefinition& kept, const SVCA& service);

} // namespace velk::engine
