#pragma once

// The buffer of a field: 16-bit text up to a zero unit, at whatever address it stands.

#include "records/rowdata.h"

#include <cstddef>
#include <string_view>

namespace velk::engine {

struct BufferText {
    std::size_t length;  // units up to the zero unit; all of them if there is none
    bool has_surrogates; // among whole groups of units this may speak of what stands behind the zero unit
};

std::size_t capacity(const DATA& field); // units; 0 if there is no buffer

BufferText measure_text(const DATA& field);

void clear_buffer(DATA& field);

// Zeroes what is behind the text. False, and nothing is written, where it does not fit with its terminator,
// because the last unit of a buffer is read as one.
bool write_text(DATA& field, std::u16string_view text);

// Zeroes what is behind the text that stands in the buffer, which has room for more than these units.
void end_text(DATA& field, std::size_t units);

} // namespace velk::engine
