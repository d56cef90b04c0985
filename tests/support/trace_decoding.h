#pragma once

// Trace records as tests compare them: what a record says, its texts copied.
//
//     EXPECT_EQ(engine.records[0], entry_record(trace::RowSet_toC, 1529, {pointer_item("env", jvm.env())}));

#include "records/trace.h"

#include <array>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace velk::test {

using RecordBytes = std::array<unsigned char, sizeof(TraceRecord)>;

struct TracedItem {
    std::string label;
    std::uint32_t type = 0;   // without the string mark
    std::uint32_t length = 0; // bytes
    std::uint64_t value = 0;  // 0 of a text
    std::string narrow;
    std::u16string wide;
    bool operator==(const TracedItem&) const = default;
};

// Labels are given in full: they are cut to 16 characters here as in the record.
TracedItem integer_item(std::string_view label, std::int32_t value);
TracedItem byte_item(std::string_view label, char value);
TracedItem pointer_item(std::string_view label, const void* value);
TracedItem narrow_item(std::string_view label, std::string_view text);
TracedItem wide_item(std::string_view label, std::u16string_view text);

struct TracedRecord {
    std::uint32_t event = 0;
    std::uint32_t level = 0;
    std::uint32_t line = 0;
    std::uint32_t function = 0;
    std::vector<TracedItem> items;
    RecordBytes bytes{}; // as handed over; not compared
    bool operator==(const TracedRecord& other) const;
};
void PrintTo(const TracedRecord& record, std::ostream* out);

TracedRecord entry_record(std::uint32_t function, std::uint32_t line, std::vector<TracedItem> items = {});
TracedRecord exit_record(std::uint32_t function, std::uint32_t line);
TracedRecord data_record(std::uint32_t function, std::uint32_t line, std::vector<TracedItem> items,
                         std::uint32_t level = trace_mask_data);
TracedRecord return_code_record(std::uint32_t function, std::uint32_t line, std::int32_t code);

// Reads a record. Afterwards `fault` is empty, or says what is wrong in it: a flag that is not that of a
// filled field, a byte that no flag covers and is not zero, a value of the wrong length, a label without end.
TracedRecord decode(const TraceRecord& record, std::string& fault);

// "entry 1529", "exit 1568", "data 1545", "return code -1 at 584".
std::string summary(const TracedRecord& record);

} // namespace velk::test
