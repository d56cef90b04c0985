#include "frame/trace.h"

#include "frame/text16.h"

#include <algorithm>
#include <cstring>

namespace velk::trace {

Item narrow(const char* label, const char* text)
{
    if (text == nullptr) text = "null";
    return {label, trace_type_narrow | trace_string_mark, static_cast<std::uint32_t>(std::strlen(text)),
            reinterpret_cast<std::uintptr_t>(text)};
}

Item wide(const char* label, const char16_t* text, std::size_t units)
{
    if (text == nullptr) return narrow(label, nullptr);
    return {label, trace_type_wide | trace_string_mark, static_cast<std::uint32_t>(units * sizeof(char16_t)),
            reinterpret_cast<std::uintptr_t>(text)};
}

Item wide(const char* label, const char16_t* text)
{
    return wide(label, text, text == nullptr ? 0 : text16::length(text));
}

static void set_item(TraceRecord& record, std::size_t index, const Item& item)
{
    // A longer label reaches the facility cut to its first 16 characters, and must: that is the name
    // under which the facility's readers know it.
    std::memcpy(record.labels[index], item.label,
                std::min<std::size_t>(std::strlen(item.label), trace_label_limit));
    record.flags |= trace_flag_label1 << index;
    record.items[index] = {item.length, item.type, item.slot};
    record.flags |= trace_flag_value1 << index;
}

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
