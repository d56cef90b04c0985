#include "support/trace_decoding.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <ostream>
#include <utility>

namespace velk::test {

namespace {

TracedItem item(std::string_view label, std::uint32_t type, std::uint32_t length, std::uint64_t value)
{
    return {std::string(label.substr(0, trace_label_limit)), type, length, value, {}, {}};
}

bool is_text(const TracedItem& item)
{
    return item.type == trace_type_narrow || item.type == trace_type_wide;
}

std::uint32_t value_length(const TracedItem& item)
{
    switch (item.type) {
    case trace_type_integer:
        return 4;
    case trace_type_byte:
        return 1;
    case trace_type_pointer:
        return 8;
    default:
        return 0;
    }
}

// Copies the text, whose address is good only now.
std::string read_text(TracedItem& item, std::uint64_t address)
{
    if (address == 0) return "a text without an address";
    if (item.type == trace_type_narrow) {
        item.narrow.assign(reinterpret_cast<const char*>(address), item.length);
        return std::strlen(reinterpret_cast<const char*>(address)) == item.length ? ""
                                                                                  : "a wrong text length";
    }
    if (item.length % 2 != 0) return "half a unit of text";
    item.wide.assign(reinterpret_cast<const char16_t*>(address), item.length / 2);
    return "";
}

std::string read_value(TracedItem& item, const TraceItem& from)
{
    item.type = from.type & ~trace_string_mark;
    item.length = from.length;
    if (is_text(item) != ((from.type & trace_string_mark) == trace_string_mark)) return "a wrong string mark";
    if (is_text(item)) return read_text(item, from.slot);
    item.value = from.slot;
    const std::uint32_t length = value_length(item);
    if (length == 0) return "an unknown value type";
    if (length != item.length) return "a wrong value length";
    return length < 8 && item.value >> (8 * length) != 0 ? "a value that is longer than it says" : "";
}

std::string read_label(TracedItem& item, const char (&label)[trace_label_limit + 1])
{
    const char* end = std::find(label, label + sizeof label, '\0');
    item.label.assign(label, end);
    return end == label + sizeof label ? "a label without end" : "";
}

// The record that says what was read and nothing else.
TraceRecord rebuild(const TracedRecord& read, const TraceRecord& record)
{
    TraceRecord built{};
    built.version = trace_record_version;
    built.length = sizeof(TraceRecord);
    built.flags = trace_flag_header | trace_flag_event | trace_flag_line | trace_flag_function |
                  (read.level != 0 ? trace_flag_level : 0);
    built.event = read.event;
    built.level = read.level;
    built.line = read.line;
    built.function = read.function;
    for (std::size_t i = 0; i < read.items.size(); ++i) {
        built.items[i] = record.items[i];
        read.items[i].label.copy(built.labels[i], trace_label_limit);
        built.flags |= (trace_flag_value1 | trace_flag_label1) << i;
    }
    return built;
}

std::string difference(const TraceRecord& record, const TraceRecord& expected)
{
    const auto bytes = std::bit_cast<RecordBytes>(record);
    const auto right = std::bit_cast<RecordBytes>(expected);
    const auto at = std::mismatch(bytes.begin(), bytes.end(), right.begin()).first;
    return at == bytes.end() ? "" : "a wrong byte at offset " + std::to_string(at - bytes.begin());
}

} // namespace

TracedItem integer_item(std::string_view label, std::int32_t value)
{
    return item(label, trace_type_integer, 4, static_cast<std::uint32_t>(value));
}

TracedItem byte_item(std::string_view label, char value)
{
    return item(label, trace_type_byte, 1, static_cast<unsigned char>(value));
}

TracedItem pointer_item(std::string_view label, const void* value)
{
    return item(label, trace_type_pointer, 8, reinterpret_cast<std::uintptr_t>(value));
}

TracedItem narrow_item(std::string_view label, std::string_view text)
{
    TracedItem made = item(label, trace_type_narrow, static_cast<std::uint32_t>(text.size()), 0);
    made.narrow = text;
    return made;
}

TracedItem wide_item(std::string_view label, std::u16string_view text)
{
    TracedItem made = item(label, trace_type_wide, static_cast<std::uint32_t>(2 * text.size()), 0);
    made.wide = text;
    return made;
}

bool TracedRecord::operator==(const TracedRecord& other) const
{
    return event == other.event && level == other.level && line == other.line && function == other.function &&
           items == other.items;
}

TracedRecord entry_record(std::uint32_t function, std::uint32_t line, std::vector<TracedItem> items)
{
    return {trace_event_entry, trace_mask_entry, line, function, std::move(items)};
}

TracedRecord exit_record(std::uint32_t function, std::uint32_t line)
{
    return {trace_event_exit, trace_mask_entry, line, function, {}};
}

TracedRecord data_record(std::uint32_t function, std::uint32_t line, std::vector<TracedItem> items,
                         std::uint32_t level)
{
    return {trace_event_data, level, line, function, std::move(items)};
}

TracedRecord return_code_record(std::uint32_t function, std::uint32_t line, std::int32_t code)
{
    return {static_cast<std::uint32_t>(code), 0, line, function, {}};
}

TracedRecord decode(const TraceRecord& record, std::string& fault)
{
    TracedRecord read{record.event,    record.level, record.line,
                      record.function, {},           std::bit_cast<RecordBytes>(record)};
    fault.clear();
    for (unsigned i = 0; i < trace_item_limit && (record.flags & trace_flag_value1 << i) != 0; ++i) {
        TracedItem item;
        std::string faults[] = {read_value(item, record.items[i]), read_label(item, record.labels[i])};
        for (const std::string& found : faults)
            if (fault.empty()) fault = found;
        read.items.push_back(item);
    }
    if (fault.empty()) fault = difference(record, rebuild(read, record));
    return read;
}

std::string summary(const TracedRecord& record)
{
    const std::string line = std::to_string(record.line);
    if (record.level == 0)
        return "return code " + std::to_string(static_cast<std::int32_t>(record.event)) + " at " + line;
    if (record.event == trace_event_entry) return "entry " + line;
    if (record.event == trace_event_exit) return "exit " + line;
    return "data " + line;
}

void PrintTo(const TracedRecord& record, std::ostream* out)
{
    *out << summary(record) << " of " << std::hex << record.function << " level " << record.level;
    for (const TracedItem& item : record.items) {
        *out << ", " << item.label << " (" << std::hex << item.type << ", " << std::dec << item.length
             << "): " << std::hex << item.value << item.narrow;
        for (const char16_t unit : item.wide) *out << ' ' << static_cast<unsigned>(unit);
    }
    *out << std::dec;
}

} // namespace velk::test
