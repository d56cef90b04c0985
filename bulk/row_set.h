#pragma once

// The records of a batch: one row set, its rows and their values, in one piece of memory with headers and
// links set once, and the values' buffers in a second one. One thread at a time.

#include "memory.h"
#include "records/definitions.h"
#include "records/rowdata.h"

#include <cstddef>
#include <cstdint>

namespace velk::bulk {

// What a batch takes at most beside a row of more than that: bytes of value buffers that stay from batch to
// batch.
inline constexpr std::size_t usual_room = std::size_t{4} << 20;

// What the lane itself tells, beside the engine's codes. Java knows those of values by the same numbers.
namespace code {
inline constexpr std::int32_t out_of_memory = -1;
inline constexpr std::int32_t buffer_moved = -2; // the engine put another buffer in the place of a value's
inline constexpr std::int32_t too_long = -3;     // no buffer's size can be told for a value
inline constexpr std::int32_t misplaced = -4; // offsets of a column fall, or a place is outside of its memory
inline constexpr std::int32_t closed = -5;    // there is no such object
inline constexpr std::int32_t zero_character = -101; // the value contains U+0000, which would end it
inline constexpr std::int32_t lone_surrogate = -102; // the result contains half a surrogate pair
inline constexpr std::int32_t whole_row =
    -103; // the engine reports an error of the row and of none of its values
inline constexpr std::int32_t ill_formed = -105; // the value is not UTF-8
} // namespace code

// How large the buffers of a column of the service are, in bytes. Whoever knows its type and its rule tells.
struct BufferSizes {
    std::int32_t least;    // whatever the input: holds the longest result
    std::int32_t greatest; // a longer input is cut on its way in, and still shows that it is too long
};

// Both hold a terminator at least.
bool hold_terminator(const BufferSizes& sizes);

// The buffer for an input of so many units, null being one of none.
std::size_t buffer_size(const BufferSizes& sizes, std::size_t units);

// Room that the buffer of an input of so many bytes of UTF-8 takes at most. 0: there is no such buffer, sizes
// being of 32 bits.
std::size_t room_for(const BufferSizes& sizes, std::size_t bytes);

struct RowSet {
    std::size_t columns = 0;
    std::size_t capacity = 0; // rows
    std::size_t rows = 0;     // of the batch at hand
    List<BufferSizes> sizes{};
    Memory records{}; // RWST, capacity ROWD, capacity x columns DATA
    Memory room{};    // of the buffers
    std::size_t used = 0;
};

// Makes records of up to so many rows. False: out of memory, and nothing is held.
bool open(RowSet& set, const BufferSizes* sizes, std::size_t columns, std::size_t rows);

// Wipes and frees everything.
void close(RowSet& set);

// Starts a batch. The values of the one before are left to be written over.
void clear(RowSet& set);

// Whether a row whose values take so much room together still fits. The first row of a batch does, unless
// memory is out; too_long: some value has no buffer.
enum class Fit { fits, batch_is_full, too_long, out_of_memory };
Fit fit_row(RowSet& set, std::size_t room);

// Starts the next row, for which fit_row said that it fits. Every column of it is then put once.
void add_row(RowSet& set);
void put_null(RowSet& set, std::size_t column);

// Well-formed text without U+0000.
void put_text(RowSet& set, std::size_t column, const char* text, std::size_t bytes);

// Masks the rows in place. Returns 0, the engine's code, or one of this lane's: then every value is wiped.
std::int32_t mask(RowSet& set, std::int32_t provider, SVCA* service);

const ROWD& row_at(const RowSet& set, std::size_t row);
const DATA& value_at(const RowSet& set, std::size_t row, std::size_t column);

// The units of a value in front of its terminator; the buffer's last unit is always one.
std::size_t text_length(const DATA& value);

// Wipes the values of the batch.
void wipe(RowSet& set);

} // namespace velk::bulk
