#pragma once

// The service call: masks a row set in place, a column at a time.

#include "masking/mask.h"
#include "provider/provider.h"
#include "records/rowdata.h"

#include <list>
#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

// One field of the column at hand.
struct Cell {
    DATA* field;
    std::size_t row;
    std::u16string_view value{};
    ErrorCode error{}; // 0: none
    bool was_null = false;
};

// The values of a column as they came in, by row; null and error are empty.
struct ColumnCopy {
    struct Piece {
        std::size_t offset = 0; // in the text, in units
        std::size_t length = 0;
    };

    std::u16string text;
    std::vector<Piece> values;
};

// What a call needs in the meantime, kept from one to the next so that a short call allocates nothing.
// Between calls it holds no text.
struct Scratch {
    std::vector<ROWD*> rows;
    std::vector<DATA*> fields;        // row by row, as many as there are columns; null in a broken row
    std::vector<std::int32_t> errors; // of whole rows
    std::vector<Cell> cells;
    std::vector<std::u16string_view> values;
    std::vector<std::u16string_view> by;
    std::list<std::u16string> aligned; // values whose buffers have odd addresses
    std::vector<ColumnCopy> copies;    // by column; empty where no rule asks for them
    Results results;
};

// Throws a Failure where the call as a whole fails; the caller then clears the row set.
void mask_row_set(const Provider& provider, RWST* rows, Scratch& scratch);

// Leaves no value readable in any field, and the code in each.
void clear_row_set(RWST* rows, std::int32_t code) noexcept;

} // namespace velk::engine
