#pragma once

// Trace records: what the library reports to the engine's trace facility. They are shared with the
// engine byte for byte: little-endian, 64-bit pointers, all sizes in bytes.

#include "records/layout.h"

namespace velk {

// First word of a control block that the facility has registered.
inline constexpr std::uint32_t trace_block_registered = 0x9200;

// Control block: one per traced operation, zero at load, the facility's own once it is registered.
struct TraceBlock {
    std::uint32_t state; // trace_block_registered, or else not registered yet
    std::uint8_t reserved4[20];
};
VELK_FIELD(TraceBlock, state, 0, 4);
VELK_FIELD(TraceBlock, reserved4, 4, 20);
VELK_RECORD(TraceBlock, 24);

// Bits of the level mask that the facility answers with.
inline constexpr std::uint32_t trace_mask_entry = 0x80000000;   // entry and exit records
inline constexpr std::uint32_t trace_mask_data = 0x08000000;    // data records
inline constexpr std::uint32_t trace_mask_message = 0x04000000; // the data record of an error text

inline constexpr unsigned trace_item_limit = 7;
inline constexpr unsigned trace_label_limit = 16; // characters; a longer label is cut

// Kinds of a traced value.
inline constexpr std::uint32_t trace_type_integer = 0x10405;  // 4 bytes, in the slot
inline constexpr std::uint32_t trace_type_byte = 0x70136;     // 1 byte, in the slot
inline constexpr std::uint32_t trace_type_pointer = 0xE1820;  // 8 bytes, in the slot
inline constexpr std::uint32_t trace_type_narrow = 0x90237;   // 8-bit text, its address in the slot
inline constexpr std::uint32_t trace_type_wide = 0x64540;     // 16-bit text, its address in the slot
inline constexpr std::uint32_t trace_string_mark = 0x5000000; // ORed into the type of both texts

struct TraceItem {
    std::uint32_t length; // bytes of the value; of a text without its terminator
    std::uint32_t type;
    std::uint64_t slot; // the value from the slot's first byte on, or a text's address
};
VELK_FIELD(TraceItem, length, 0, 4);
VELK_FIELD(TraceItem, type, 4, 4);
VELK_FIELD(TraceItem, slot, 8, 8);
VELK_RECORD(TraceItem, 16);

// TraceRecord.flags: which fields of the record are filled.
inline constexpr std::uint32_t trace_flag_header = 0x1; // version and length
inline constexpr std::uint32_t trace_flag_event = 0x8;
inline constexpr std::uint32_t trace_flag_level = 0x10;
inline constexpr std::uint32_t trace_flag_line = 0x20;
inline constexpr std::uint32_t trace_flag_function = 0x40;
inline constexpr std::uint32_t trace_flag_value1 = 0x80;    // item k: shifted left by k - 1
inline constexpr std::uint32_t trace_flag_label1 = 0x80000; // item k: shifted left by k - 1

// TraceRecord.version and .event.
inline constexpr std::uint32_t trace_record_version = 0x10840E01;
inline constexpr std::uint32_t trace_event_entry = 0x30840D80;
inline constexpr std::uint32_t trace_event_exit = 0x30840D82;
inline constexpr std::uint32_t trace_event_data = 0;

// One event. The library zeroes the whole record before it fills one.
struct TraceRecord {
    std::uint32_t version;
    std::uint32_t length;
    std::uint8_t reserved8[24];
    std::uint32_t flags;
    std::uint8_t reserved36[4];
    std::uint32_t event; // entry, exit, data, or a failing return code
    std::uint32_t level; // the mask bit of the event; 0 with a return code
    std::uint32_t line;
    std::uint32_t function;
    TraceItem items[trace_item_limit];
    std::uint8_t reserved168[80];
    char labels[trace_item_limit][trace_label_limit + 1];
    std::uint8_t reserved367[89];
};
VELK_FIELD(TraceRecord, version, 0, 4);
VELK_FIELD(TraceRecord, length, 4, 4);
VELK_FIELD(TraceRecord, reserved8, 8, 24);
VELK_FIELD(TraceRecord, flags, 32, 4);
VELK_FIELD(TraceRecord, reserved36, 36, 4);
VELK_FIELD(TraceRecord, event, 40, 4);
VELK_FIELD(TraceRecord, level, 44, 4);
VELK_FIELD(TraceRecord, line, 48, 4);
VELK_FIELD(TraceRecord, function, 52, 4);
VELK_FIELD(TraceRecord, items, 56, 7 * 16);
VELK_FIELD(TraceRecord, reserved168, 168, 80);
VELK_FIELD(TraceRecord, labels, 248, 7 * 17);
VELK_FIELD(TraceRecord, reserved367, 367, 89);
VELK_RECORD(TraceRecord, 456);

// Per-call context, on the caller's stack; zeroed by the caller, filled by Provider_TraceBegin.
struct TraceContext {
    std::uint64_t handle; // not 0 while the scope is open
    std::uint64_t reserved8;
    TraceRecord* record; // lent by the facility for this scope; null while there is no framework
    std::uint32_t mask;
    std::uint8_t reserved28[4];
    std::uint32_t function; // stored by the caller before Provider_TraceBegin
    std::uint8_t reserved36[4];
};
VELK_FIELD(TraceContext, handle, 0, 8);
VELK_FIELD(TraceContext, reserved8, 8, 8);
VELK_FIELD(TraceContext, record, 16, 8);
VELK_FIELD(TraceContext, mask, 24, 4);
VELK_FIELD(TraceContext, reserved28, 28, 4);
VELK_FIELD(TraceContext, function, 32, 4);
VELK_FIELD(TraceContext, reserved36, 36, 4);
VELK_RECORD(TraceContext, 40);

} // namespace velk
