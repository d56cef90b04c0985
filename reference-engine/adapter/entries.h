#pragma once

// The parsed pairs as the adapter reads them, and which of them says what.

#include "parser/findings.h"
#include "parser/pairs.h"
#include "records/requests.h"

#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

struct Entry {
    std::vector<KeyPart> key; // places are those of the masking string
    std::string value;        // as written
    ValueKind kind;
    Place key_place;
    Place value_place;
};

// Throws a Failure where an entry is not one that the parser has filled from this source.
std::vector<Entry> read_entries(const PRMA& request, std::string_view source);

// The value with quotes and escapes resolved; a call as it is written.
std::string text_of(const Entry& entry);

// What is said of a column, and of the service. Null: nothing.
struct ColumnEntries {
    std::string name;
    const Entry* rule = nullptr;
    const Entry* type = nullptr;
    const Entry* unique = nullptr;
};

struct ServiceEntries {
    const Entry* id = nullptr;
    const Entry* key = nullptr;
    const Entry* on_error = nullptr;
    const Entry* on_null = nullptr;
    std::vector<ColumnEntries> columns; // in the order of their rules
    bool is_open = false;               // some columns are patterns or positions: a table may have others
};

// Finds where a key is not known, stands twice, or belongs to a column without a rule; such a column stays,
// the last ones of all. The source is there to name the place of the first one.
ServiceEntries sort_entries(const std::vector<Entry>& entries, std::string_view source, Findings& findings);

// The reserved word that was probably meant by this key, of those that are not given; empty if there is none.
std::string_view probable_word(const Entry& entry, const ServiceEntries& service);

} // namespace velk::engine
