#include "provider/service.h"

#include "masking/secret.h"
#include "provider/buffer.h"
#include "text/records.h"
#include "text/unicode.h"

#include <algorithm>
#include <cstring>

namespace velk::engine {

namespace {

// More than this is given back after a call, so that one large row set does not hold its memory for good.
constexpr std::size_t kept_bytes = 1024 * 1024;

template <typename Item> std::size_t bytes_of(const std::vector<Item>& items)
{
    return items.capacity() * sizeof(Item);
}

std::size_t bytes_of(const Scratch& scratch)
{
    return bytes_of(scratch.rows) + bytes_of(scratch.fields) + bytes_of(scratch.errors) +
           bytes_of(scratch.cells) + bytes_of(scratch.values) + bytes_of(scratch.by) +
           bytes_of(scratch.results.list) + scratch.results.text.capacity() * sizeof(char16_t);
}

void wipe_text(std::u16string& text)
{
    wipe(text.data(), text.size() * sizeof(char16_t));
    text.clear();
}

// What has been read of a column and made of it.
void forget_texts(Scratch& scratch) noexcept
{
    wipe_text(scratch.results.text);
    scratch.results.list.clear();
    for (std::u16string& text : scratch.aligned) wipe_text(text);
    scratch.aligned.clear();
}

// Whatever way a call ends, nothing of its values stays.
class ScratchUse {
public:
    explicit ScratchUse(Scratch& scratch) : scratch_(scratch) {}
    ScratchUse(const ScratchUse&) = delete;
    ScratchUse& operator=(const ScratchUse&) = delete;

    ~ScratchUse()
    {
        forget_texts(scratch_);
        for (ColumnCopy& copy : scratch_.copies) wipe_text(copy.text);
        scratch_.copies.clear();
        scratch_.rows.clear();
        scratch_.fields.clear();
        scratch_.errors.clear();
        if (bytes_of(scratch_) > kept_bytes) scratch_ = {};
    }

private:
    Scratch& scratch_;
};

void clear_row(ROWD& row, std::int32_t code)
{
    row.hasError = 1;
    visit_chain(row.firstField, [code](DATA& field) {
        clear_buffer(field);
        field.errorCode = code;
    });
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

// What is wrong with the value of a cell, if anything. Empty stays empty, whatever the type.
ErrorCode check_value(const ColumnLimits& limits, std::u16string_view value, bool has_surrogates)
{
    if (value.empty()) return {};
    // The length first: a longer value may have been cut in the middle of a surrogate pair on its way here.
    const bool limited = limits.length > 0 && limits.type.name != TypeName::text;
    if (limited && value.size() > limits.length &&
        (!has_surrogates || code_point_count(value) > limits.length))
        return value_too_long;
    if (has_surrogates && !is_well_formed(value)) return value_ill_formed;
    return is_value_of(limits.type, value) ? ErrorCode{} : value_not_of_type;
}

// A buffer may stand at an odd address, where no 16-bit unit is read from.
std::u16string_view aligned_text(const DATA& field, std::size_t length, std::list<std::u16string>& copies)
{
    if (reinterpret_cast<std::uintptr_t>(field.buffer) % alignof(char16_t) == 0)
        return {static_cast<const char16_t*>(field.buffer), length};
    std::u16string& copy = copies.emplace_back(length, u'\0');
    std::memcpy(copy.data(), field.buffer, length * sizeof(char16_t));
    return copy;
}

// Reads no further than the buffer goes.
void read_value(const Column& column, Cell& cell, Scratch& scratch)
{
    const BufferText text = measure_text(*cell.field);
    if (text.length == capacity(*cell.field) && text.length > 0) {
        cell.error = value_not_terminated;
        return;
    }
    cell.value = aligned_text(*cell.field, text.length, scratch.aligned);
    cell.error = check_value(column.limits, cell.value, text.has_surrogates);
}

void read_cell(const Column& column, Cell& cell, Scratch& scratch)
{
    const DATA& field = *cell.field;
    // What stands in a buffer without a size can be neither masked nor cleared.
    const bool has_size = field.bufferSize > 0;
    cell.was_null = field.isNull != 0;
    if (field.bufferSize < 0 || (field.buffer != nullptr && !has_size) ||
        (!cell.was_null && has_size && field.buffer == nullptr))
        cell.error = value_buffer_missing;
    else if (!cell.was_null)
        read_value(column, cell, scratch);
}

// The cells of a column in every row that is not broken.
void read_cells(const Provider& provider, std::size_t index, Scratch& scratch)
{
    scratch.cells.clear();
    for (std::size_t row = 0; row < scratch.rows.size(); ++row) {
        if (scratch.errors[row] != 0) continue;
        Cell& cell =
            scratch.cells.emplace_back(Cell{scratch.fields[row * provider.columns.size() + index], row});
        read_cell(provider.columns[index], cell, scratch);
    }
}

// Only of numbers: one can also become longer than a column that was declared shorter than its type.
bool result_fits(const Column& column, std::u16string_view text)
{
    const ColumnLimits& limits = column.limits;
    if (text.empty() || !is_number_type(limits.type)) return true;
    if (column.may_leave_type && !is_value_of(limits.type, text)) return false;
    return limits.length == 0 || text.size() <= limits.length;
}

void write_result(const Provider& provider, const Column& column, Cell& cell, const Results& results,
                  const Result& result)
{
    if (result.error != 0) return write_error(provider, column, cell, result.error);
    const std::u16string_view text = text_of(results, result);
    // What is nothing stays null where the rule makes nothing of it.
    if (result.is_null || (cell.was_null && text.empty())) return write_null(*cell.field);
    if (!result_fits(column, text) || !write_text(*cell.field, text))
        return write_error(provider, column, cell, result_does_not_fit);
    cell.field->isNull = 0;
    cell.field->errorCode = 0;
}

// A null is masked as an empty value is, where nulls are to be masked at all.
bool is_masked(const Provider& provider, const Cell& cell)
{
    return cell.error == 0 && (!cell.was_null || provider.masks_null);
}

std::u16string_view text_at(const ColumnCopy& copy, std::size_t row)
{
    return std::u16string_view(copy.text).substr(copy.values[row].offset, copy.values[row].length);
}

void collect_values(const Provider& provider, const Column& column, Scratch& scratch)
{
    scratch.values.clear();
    scratch.by.clear();
    std::size_t units = 0;
    for (const Cell& cell : scratch.cells) {
        if (!is_masked(provider, cell)) continue;
        scratch.values.push_back(cell.value);
        units += cell.value.size();
        if (column.by) scratch.by.push_back(text_at(scratch.copies[*column.by], cell.row));
    }
    // The results have room for the values, so that no part of one is left in memory that they grew out of.
    scratch.results.text.reserve(units);
}

void write_results(const Provider& provider, const Column& column, Scratch& scratch)
{
    if (scratch.results.list.size() != scratch.values.size()) throw Failure{internal_error};
    auto result = scratch.results.list.begin();
    for (Cell& cell : scratch.cells) {
        if (is_masked(provider, cell))
            write_result(provider, column, cell, scratch.results, *result++);
        else if (cell.error != 0)
            write_error(provider, column, cell, cell.error);
        else
            write_null(*cell.field);
    }
}

// They stand there already, of their type and no longer than their column.
void keep_value(const Provider& provider, const Column& column, Cell& cell)
{
    if (cell.error != 0) return write_error(provider, column, cell, cell.error);
    if (cell.was_null) return write_null(*cell.field);
    if (cell.value.empty())
        clear_buffer(*cell.field);
    else
        end_text(*cell.field, cell.value.size());
    cell.field->errorCode = 0;
}

[[noreturn]] void stop_at(const Column& column, std::size_t row, ErrorCode code)
{
    Failure failure{code};
    add_detail(failure, "row " + std::to_string(row + 1));
    add_place(failure, column);
    throw failure;
}

void report_errors(const Provider& provider, const Column& column, const Scratch& scratch)
{
    for (const Cell& cell : scratch.cells) {
        if (cell.error == 0) continue;
        if (provider.on_error.way == OnError::stop) stop_at(column, cell.row, cell.error);
        scratch.rows[cell.row]->hasError = 1;
    }
}

void mask_column(const Provider& provider, std::size_t index, Scratch& scratch)
{
    const Column& column = provider.columns[index];
    read_cells(provider, index, scratch);
    if (column.mask) {
        collect_values(provider, column, scratch);
        column.mask({scratch.values, scratch.by}, scratch.results);
        write_results(provider, column, scratch);
    } else {
        for (Cell& cell : scratch.cells) keep_value(provider, column, cell);
    }
    forget_texts(scratch);
    report_errors(provider, column, scratch);
}

// A column that another one's rule asks for, before it is masked.
void copy_column(const Provider& provider, std::size_t index, Scratch& scratch)
{
    read_cells(provider, index, scratch);
    std::size_t units = 0;
    for (const Cell& cell : scratch.cells) units += cell.value.size();
    ColumnCopy& copy = scratch.copies[index];
    copy.text.reserve(units);
    copy.values.resize(scratch.rows.size());
    for (const Cell& cell : scratch.cells) {
        if (cell.error != 0) continue;
        copy.values[cell.row] = {copy.text.size(), cell.value.size()};
        copy.text += cell.value;
    }
    forget_texts(scratch);
}

void copy_named_columns(const Provider& provider, Scratch& scratch)
{
    scratch.copies.resize(provider.columns.size());
    for (const Column& column : provider.columns)
        if (column.by && scratch.copies[*column.by].values.empty())
            copy_column(provider, *column.by, scratch);
}

// The fields of a row take its place in the set. A row of another width is in error as a whole.
void read_fields(ROWD& row, std::size_t column_count, Scratch& set)
{
    std::size_t count = 0;
    const std::size_t start = set.errors.size() * column_count;
    const bool ends = visit_chain(row.firstField, [&](DATA& field) {
        if (!has_header(field, "DATA")) throw Failure{field_damaged};
        if (count < column_count) set.fields[start + count] = &field;
        ++count;
    });
    const bool counted = ends && static_cast<std::uint16_t>(count) == row.fieldCount;
    set.errors.push_back(!counted ? row_field_count_differs : count != column_count ? row_width_differs : 0);
}

void read_rows(const RWST& rows, std::size_t column_count, Scratch& set)
{
    const std::optional<std::size_t> length = chain_length(rows.firstRow);
    if (!length || rows.rowCount < 0 || *length != static_cast<std::size_t>(rows.rowCount))
        throw Failure{row_count_differs, std::to_string(rows.rowCount) + " and " + shown_length(length)};
    const std::size_t count = *length;
    set.rows.reserve(count);
    set.errors.reserve(count);
    set.fields.resize(count * column_count);
    for (ROWD* row = rows.firstRow; row != nullptr; row = row->next) {
        if (!has_header(*row, "ROWD")) throw Failure{row_damaged};
        set.rows.push_back(row);
        read_fields(*row, column_count, set);
    }
}

void begin_rows(const Provider& provider, Scratch& set)
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

void mask_row_set(const Provider& provider, RWST* rows, Scratch& scratch)
{
    if (rows == nullptr || !has_header(*rows, "RWST")) throw Failure{row_set_damaged};
    const ScratchUse use(scratch);
    read_rows(*rows, provider.columns.size(), scratch);
    begin_rows(provider, scratch);
    if (provider.has_named_columns) copy_named_columns(provider, scratch);
    for (std::size_t column = 0; column < provider.columns.size(); ++column)
        mask_column(provider, column, scratch);
}

void clear_row_set(RWST* rows, std::int32_t code) noexcept
{
    // Damaged rows and fields are cleared as well: they hang from a row set, so their links are its own.
    if (rows == nullptr || std::memcmp(rows->eyeCatcher, "RWST", 4) != 0) return;
    visit_chain(rows->firstRow, [code](ROWD& row) { clear_row(row, code); });
}

} // namespace velk::engine
