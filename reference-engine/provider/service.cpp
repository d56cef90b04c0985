#include "provider/service.h"

#include "text/records.h"
#include "text/unicode.h"

#include <algorithm>
#include <cstring>

namespace velk::engine {

namespace {

// One field of the column at hand.
struct Cell {
    DATA* field;
    std::u16string_view value{};
    ErrorCode error{}; // 0: none
    bool was_null = false;
};

struct RowSet {
    std::vector<ROWD*> rows;
    std::vector<DATA*> fields;          // row by row, as many as there are columns; null in a broken row
    std::vector<std::int32_t> errors{}; // of whole rows
};

std::size_t capacity(const DATA& field) // units
{
    return field.bufferSize > 0 && field.buffer != nullptr ? static_cast<std::size_t>(field.bufferSize) / 2
                                                           : 0;
}

void clear_buffer(DATA& field)
{
    if (field.bufferSize > 0 && field.buffer != nullptr)
        std::memset(field.buffer, 0, static_cast<std::size_t>(field.bufferSize));
}

void clear_row(ROWD& row, std::int32_t code)
{
    row.hasError = 1;
    visit_chain(row.firstField, [code](DATA& field) {
        clear_buffer(field);
        field.errorCode = code;
    });
}

// The text fits only with its terminator, because the last unit of a buffer is read as one.
bool write_text(DATA& field, std::u16string_view text)
{
    if (text.empty()) return clear_buffer(field), true;
    if (text.size() >= capacity(field)) return false;
    const std::size_t bytes = text.size() * sizeof(char16_t);
    std::memcpy(field.buffer, text.data(), bytes);
    std::memset(static_cast<char*>(field.buffer) + bytes, 0,
                static_cast<std::size_t>(field.bufferSize) - bytes);
    return true;
}

// Buffers of a text column are as long as the longest value that they have seen. Whether a text fits must
// not depend on that, only on the value in its place and on the column's limit.
bool error_text_fits(const Provider& provider, const ColumnLimits& limits, const Cell& cell)
{
    return limits.type.name != TypeName::text ||
           provider.on_error.text.size() <= std::max(cell.value.size(), 2 * limits.length);
}

void write_error(const Provider& provider, const Column& column, Cell& cell, ErrorCode code)
{
    const bool fixed =
        provider.on_error.way == OnError::fixed && error_text_fits(provider, column.limits, cell);
    clear_buffer(*cell.field);
    if (provider.on_error.way == OnError::null) cell.field->isNull = 1;
    if (fixed && write_text(*cell.field, provider.on_error.text)) cell.field->isNull = 0;
    cell.field->errorCode = code;
    cell.error = code;
}

void write_null(DATA& field)
{
    clear_buffer(field);
    field.isNull = 1;
    field.errorCode = 0;
}

// What is wrong with the value of a cell, if anything.
ErrorCode check_value(const ColumnLimits& limits, std::u16string_view value)
{
    // The length first: a longer value may have been cut in the middle of a surrogate pair on its way here.
    const bool limited = limits.length > 0 && limits.type.name != TypeName::text;
    if (limited && value.size() > limits.length && code_point_count(value) > limits.length)
        return value_too_long;
    if (!is_well_formed(value)) return value_ill_formed;
    // Empty stays empty, whatever the type.
    return value.empty() || is_value_of(limits.type, value) ? ErrorCode{} : value_not_of_type;
}

// Throws nothing and reads no further than the buffer goes.
Cell read_cell(const Column& column, DATA& field)
{
    Cell cell{&field};
    // What stands in a buffer without a size can be neither masked nor cleared.
    const bool has_size = field.bufferSize > 0;
    if (field.bufferSize < 0 || (field.buffer != nullptr && !has_size)) {
        cell.error = value_buffer_missing;
        return cell;
    }
    if (field.isNull != 0) {
        cell.was_null = true;
        return cell;
    }
    if (has_size && field.buffer == nullptr) {
        cell.error = value_buffer_missing;
        return cell;
    }
    const std::size_t units = capacity(field);
    const auto* text = static_cast<const char16_t*>(field.buffer);
    const std::size_t length = static_cast<std::size_t>(std::find(text, text + units, 0) - text);
    if (length == units && units > 0) {
        cell.error = value_not_terminated;
        return cell;
    }
    cell.value = {text, length};
    cell.error = check_value(column.limits, cell.value);
    return cell;
}

// Of all functions only an exchange of digits can leave its type: an integer's range. A number can also
// become longer than a column that was declared shorter than its type.
bool result_fits(const ColumnLimits& limits, std::u16string_view text)
{
    if (text.empty() || !is_number_type(limits.type)) return true;
    return is_value_of(limits.type, text) && (limits.length == 0 || text.size() <= limits.length);
}

void write_result(const Provider& provider, const Column& column, Cell& cell, const Results& results,
                  const Result& result)
{
    if (result.error != 0) return write_error(provider, column, cell, result.error);
    const std::u16string_view text = text_of(results, result);
    // What is nothing stays null where the rule makes nothing of it.
    if (result.is_null || (cell.was_null && text.empty())) return write_null(*cell.field);
    if (!result_fits(column.limits, text) || !write_text(*cell.field, text))
        return write_error(provider, column, cell, result_does_not_fit);
    cell.field->isNull = 0;
    cell.field->errorCode = 0;
}

void mask_cells(const Provider& provider, const Column& column, std::vector<Cell>& cells)
{
    const auto is_masked = [&](const Cell& cell) {
        return cell.error == 0 && (!cell.was_null || provider.masks_null);
    };
    std::vector<std::u16string_view> values;
    values.reserve(cells.size());
    for (const Cell& cell : cells)
        if (is_masked(cell)) values.push_back(cell.value);
    Results results;
    column.mask({values}, results);
    if (results.list.size() != values.size()) throw Failure{internal_error};
    auto result = results.list.begin();
    for (Cell& cell : cells) {
        if (is_masked(cell))
            write_result(provider, column, cell, results, *result++);
        else if (cell.error != 0)
            write_error(provider, column, cell, cell.error);
        else
            write_null(*cell.field);
    }
}

[[noreturn]] void stop_at(const Column& column, std::size_t row, ErrorCode code)
{
    Failure failure{code};
    add_detail(failure, "row " + std::to_string(row + 1));
    add_place(failure, column);
    throw failure;
}

void mask_column(const Provider& provider, RowSet& set, std::size_t index)
{
    const Column& column = provider.columns[index];
    std::vector<Cell> cells;
    std::vector<std::size_t> row_of;
    for (std::size_t row = 0; row < set.rows.size(); ++row) {
        if (set.errors[row] != 0) continue;
        cells.push_back(read_cell(column, *set.fields[row * provider.columns.size() + index]));
        row_of.push_back(row);
    }
    mask_cells(provider, column, cells);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (cells[i].error == 0) continue;
        if (provider.on_error.way == OnError::stop) stop_at(column, row_of[i], cells[i].error);
        set.rows[row_of[i]]->hasError = 1;
    }
}

// The fields of a row go to the end of the set. A row of another width is in error as a whole.
void read_fields(ROWD& row, std::size_t column_count, RowSet& set)
{
    std::size_t count = 0;
    const std::size_t start = set.fields.size();
    set.fields.resize(start + column_count);
    const bool ends = visit_chain(row.firstField, [&](DATA& field) {
        if (!has_header(field, "DATA")) throw Failure{field_damaged};
        if (count < column_count) set.fields[start + count] = &field;
        ++count;
    });
    const bool counted = ends && static_cast<std::uint16_t>(count) == row.fieldCount;
    set.errors.push_back(!counted ? row_field_count_differs : count != column_count ? row_width_differs : 0);
}

RowSet read_rows(const RWST& rows, std::size_t column_count)
{
    const std::optional<std::size_t> length = chain_length(rows.firstRow);
    if (!length || rows.rowCount < 0 || *length != static_cast<std::size_t>(rows.rowCount))
        throw Failure{row_count_differs, std::to_string(rows.rowCount) + " and " + shown_length(length)};
    const std::size_t count = *length;
    RowSet set;
    set.rows.reserve(count);
    set.fields.reserve(count * column_count);
    for (ROWD* row = rows.firstRow; row != nullptr; row = row->next) {
        if (!has_header(*row, "ROWD")) throw Failure{row_damaged};
        set.rows.push_back(row);
        read_fields(*row, column_count, set);
    }
    return set;
}

void begin_rows(const Provider& provider, RowSet& set)
{
    for (std::size_t row = 0; row < set.rows.size(); ++row) {
        const std::int32_t error = set.errors[row];
        set.rows[row]->hasError = 0;
        if (error == 0) continue;
        if (provider.on_error.way == OnError::stop)
            throw Failure{static_cast<ErrorCode>(error), {}, "row " + std::to_string(row + 1)};
        clear_row(*set.rows[row], error);
    }
}

} // namespace

void mask_row_set(const Provider& provider, RWST* rows)
{
    if (rows == nullptr || !has_header(*rows, "RWST")) throw Failure{row_set_damaged};
    RowSet set = read_rows(*rows, provider.columns.size());
    begin_rows(provider, set);
    for (std::size_t column = 0; column < provider.columns.size(); ++column)
        mask_column(provider, set, column);
}

void clear_row_set(RWST* rows, std::int32_t code) noexcept
{
    // Damaged rows and fields are cleared as well: they hang from a row set, so their links are its own.
    if (rows == nullptr || std::memcmp(rows->eyeCatcher, "RWST", 4) != 0) return;
    visit_chain(rows->firstRow, [code](ROWD& row) { clear_row(row, code); });
}

} // namespace velk::engine
