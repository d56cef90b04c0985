#pragma once

// A service definition's records as the bridge takes them over: each from malloc, an operand's texts in one
// allocation with their 16-byte block, a column's name apart from its block. All text is UTF-8.

#include "adapter/definition.h"
#include "records/definitions.h"

namespace velk::engine {

// Chains each record as soon as it is made, so that free_records finds what a failure left behind.
void build_records(const ServiceDefinition& definition, SVCA& service);

// Releases the chained records, not the record itself.
void free_records(SVCA& service);

} // namespace velk::engine
