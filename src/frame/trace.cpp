#include "frame/trace.h"

#include "frame/text16.h"

#include <algorithm>
#include <cstring>

namespace velk::trace {

namespace {

// What of the value goes into the record.
TraceItem traced(const Item& item)
{
    if ((item.type & trace_string_mark) == 0) return {item.length, item.type, item.slot};
    if (item.slot == 0) return traced(narrow(item.label, "null"));
    if (item.length != up_to_its_zero) return {item.length, item.type, item.slot};
    const std::size_t bytes =
        item.type == (trace_type_narrow | trace_string_mark)
            ? std::strlen(reinterpret_cast<const char*>(item.slot))
            : text16::length(reinterpret_cast<const char16_t*>(item.slot)) * sizeof(char16_t);
    return {static_cast<std::uint32_t>(bytes), item.type, item.slot};
}

void set_item(TraceRecord& record, std::size_t index, const Item& item)
{
    // A longer label is cut to its first 16 characters. The contract has it so.
    std::memcpy(record.labels[index], item.label,
                std::min<std::size_t>(std::strlen(item.label), trace_label_limit));
    record.flags |= trace_flag_label1 << index;
    record.items[index] = traced(item);
    record.flags |= trace_flag_value1 << index;
}

} // namespace

void write(const Scope& scope, std::uint32_t event, std::uint32_t level, std::uint32_t line,
           std::initializer_list<Item> items)
{
    if (scope.context.record == nullptr) return;
    TraceRecord& record = *scope.context.record;
    std::memset(&record, 0, sizeof record);
    record.version = trace_record_version;
    record.length = sizeof record;
    record.event = event;
    record.level = level;
    record.function = scope.context.function;
    record.line = line;
    record.flags = trace_flag_header | trace_flag_event | trace_flag_function | trace_flag_line;
    if (level != 0) record.flags |= trace_flag_level;
    std::size_t index = 0;
    for (const Item& item : items) set_item(record, index++, item);
    Provider_TraceWrite(&record);
}

void return_code(const Scope& scope, std::uint32_t line, std::int32_t code)
{
    if (code != 0) write(scope, static_cast<std::uint32_t>(code), 0, line, {});
}

} // namespace velk::trace
