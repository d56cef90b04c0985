#pragma once

// The trace frame: every traced operation opens one scope, reports its entry, chosen values, failing
// return codes and its exit to the engine's trace facility, and closes the scope. The facility answers
// with a mask of what it wants and lends the record that the library fills. With an empty mask a scope
// costs the begin call, the end call and a compare: records are filled out of line.

#include "engine/provider.h"
#include "records/trace.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace velk::trace {

// Function ids of the traced operations. The mirror classes take three each (toC, toJava, free); the
// places of the free natives, which write no trace, stay empty.
enum Function : std::uint32_t {
    VELK_initializeFramework0 = 0xC0801,
    VELK_parseVELKSyntaxString = 0xC0802,
    VELK_terminateFramework0 = 0xC0803,
    VELK_destroy0 = 0xC0804,
    NativeProvider_initializeProvider0 = 0xC0805,
    NativeProvider_serviceProvider0 = 0xC0806,
    NativeProvider_terminateProvider0 = 0xC0807,
    FrameworkDefinition_toC = 0xC0808,
    FrameworkDefinition_toJava = 0xC0809,
    ServiceDefinition_toC = 0xC080B,
    ServiceDefinition_toJava = 0xC080C,
    InitializationOperand_toC = 0xC080E,
    InitializationOperand_toJava = 0xC080F,
    FieldDefinition_toC = 0xC0811,
    FieldDefinition_toJava = 0xC0812,
    RowSet_toC = 0xC0814,
    RowSet_toJava = 0xC0815,
    Row_toC = 0xC0817,
    Row_toJava = 0xC0818,
    Field_toC = 0xC081A,
    Field_toJava = 0xC081B,
    GetErrorText = 0xC081D,
    compose_parse_error_text = 0xC081E,
    parse_parameters = 0xC0820,
};

// One per operation, static, zero at load; the facility keeps it for the life of the process.
using Block = TraceBlock;

// One per call, on its stack.
struct Scope {
    TraceContext context;
    // A facility whose context is larger writes here. Never cleared: every call would pay for it.
    std::uint8_t room[64];

    Scope() {} // open clears the context
};

// A labelled value. Text is passed by address and must stay valid until the record is written, where it is
// measured if its length is not known. Null is shown as the 8-bit text "null".
struct Item {
    const char* label;
    std::uint32_t type;
    std::uint32_t length; // bytes, or up_to_its_zero
    std::uint64_t slot;
};

inline constexpr std::uint32_t up_to_its_zero = UINT32_MAX;

inline Item integer(const char* label, std::int32_t value)
{
    return {label, trace_type_integer, 4, static_cast<std::uint32_t>(value)};
}

inline Item byte(const char* label, char value)
{
    return {label, trace_type_byte, 1, static_cast<unsigned char>(value)};
}

inline Item pointer(const char* label, const void* value)
{
    return {label, trace_type_pointer, 8, reinterpret_cast<std::uintptr_t>(value)};
}

inline Item narrow(const char* label, const char* text)
{
    return {label, trace_type_narrow | trace_string_mark, up_to_its_zero,
            reinterpret_cast<std::uintptr_t>(text)};
}

inline Item wide(const char* label, const char16_t* text)
{
    return {label, trace_type_wide | trace_string_mark, up_to_its_zero,
            reinterpret_cast<std::uintptr_t>(text)};
}

// 16-bit text of a known length.
inline Item wide(const char* label, const char16_t* text, std::size_t units)
{
    return {label, trace_type_wide | trace_string_mark, static_cast<std::uint32_t>(units * sizeof(char16_t)),
            reinterpret_cast<std::uintptr_t>(text)};
}

// Fills the lent record and hands it over; nothing where no record was lent.
void write(const Scope& scope, std::uint32_t event, std::uint32_t level, std::uint32_t line,
           std::initializer_list<Item> items);

// Opens the scope. Not 0: the scope is not open, and the operation returns this status at once, undone.
inline std::int32_t open(Scope& scope, Block& block, Function function)
{
    scope.context = {};
    if (block.state != trace_block_registered) Provider_TraceRegister(function, &block, 0);
    scope.context.function = function;
    return Provider_TraceBegin(&scope.context, &block);
}

inline bool wants(const Scope& scope, std::uint32_t level)
{
    return (scope.context.mask & level) != 0;
}

// The records that the mask decides. Templates, for a list of items would be built before the mask is tested.
template <class... Items> void entry(const Scope& scope, std::uint32_t line, Items... items)
{
    static_assert(sizeof...(items) <= trace_item_limit);
    if (wants(scope, trace_mask_entry)) write(scope, trace_event_entry, trace_mask_entry, line, {items...});
}

template <class... Items> void data(const Scope& scope, std::uint32_t line, Items... items)
{
    static_assert(sizeof...(items) <= trace_item_limit);
    if (wants(scope, trace_mask_data)) write(scope, trace_event_data, trace_mask_data, line, {items...});
}

// The data record of an error text, which has a mask bit of its own.
inline void message(const Scope& scope, std::uint32_t line, Item item)
{
    if (wants(scope, trace_mask_message)) write(scope, trace_event_data, trace_mask_message, line, {item});
}

// Reports a failing return code, whatever the mask; nothing for 0.
void return_code(const Scope& scope, std::uint32_t line, std::int32_t code);

// The exit step: the result where it is neither 0 nor -2, the exit record, the end of the scope. Nothing
// happens where the facility gave no handle. A native that reported its failure already passes no result.
inline void close(Scope& scope, std::uint32_t line, std::int32_t result = 0)
{
    if (scope.context.handle == 0) return;
    if (result != 0 && result != -2) return_code(scope, line, result);
    if (wants(scope, trace_mask_entry)) write(scope, trace_event_exit, trace_mask_entry, line, {});
    Provider_TraceEnd(&scope.context);
}

} // namespace velk::trace
