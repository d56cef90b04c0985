#pragma once

// Guards for the native records: the compiler checks every field's offset and size (in bytes) and
// every record's whole size, so that a wrong layout does not compile.

#include <cstddef>
#include <cstdint>

#define VELK_FIELD(Record, field, offset, size)                                                              \
    static_assert(offsetof(Record, field) == (offset) && sizeof(Record::field) == (size),                    \
                  #Record "." #field " is misplaced")

#define VELK_RECORD(Record, size) static_assert(sizeof(Record) == (size), #Record " has the wrong size")

namespace velk {

// The version that every native record carries behind its eye-catcher.
inline constexpr std::uint16_t record_version = 21;

} // namespace velk
