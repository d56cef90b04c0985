#pragma once

// What the tests of row data share: records as bytes, text of any length, and a native's trace under every
// answer of the facility.
//
//     EXPECT_EQ(Bytes::of(*record), Bytes(24).text(0, "RWST").put<std::uint16_t>(4, 21)...);
//     expect_traced(engine, log, {entry_record(...), data_record(...), exit_record(...)}, [&] { to_c(); });

#include "bridge/bridge_test.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace velk::test {

// A record byte by byte: all zero, or all of one value, but for what is put.
class Bytes {
public:
    explicit Bytes(std::size_t size, unsigned char fill = 0) : content(size, fill) {}

    static Bytes of(const void* memory, std::size_t size)
    {
        Bytes bytes(size);
        if (size > 0) std::memcpy(bytes.content.data(), memory, size);
        return bytes;
    }
    template <class Record> static Bytes of(const Record& record) { return of(&record, sizeof record); }

    template <class Value> Bytes& put(std::size_t offset, Value value)
    {
        EXPECT_LE(offset + sizeof value, content.size());
        std::memcpy(content.data() + offset, &value, sizeof value);
        return *this;
    }
    Bytes& text(std::size_t offset, std::string_view characters)
    {
        EXPECT_LE(offset + characters.size(), content.size());
        std::memcpy(content.data() + offset, characters.data(), characters.size());
        return *this;
    }

    const unsigned char* data() const { return content.data(); }
    bool operator==(const Bytes&) const = default;

    friend void PrintTo(const Bytes& bytes, std::ostream* out)
    {
        for (std::size_t i = 0; i < bytes.content.size(); ++i) {
            char text[8];
            std::snprintf(text, sizeof text, i % 8 == 7 ? "%02X  " : "%02X ", bytes.content[i]);
            *out << text;
        }
    }

private:
    std::vector<unsigned char> content;
};

// A record as the engine or an earlier release may hand it over: from malloc, full of a value.
template <class Record> Record* foreign_record(unsigned char fill)
{
    void* record = std::malloc(sizeof(Record));
    std::memset(record, fill, sizeof(Record));
    return static_cast<Record*>(record);
}

// Different units, none of them zero.
inline std::u16string units_of_text(std::size_t length)
{
    std::u16string text;
    for (std::size_t i = 0; i < length; ++i) text += static_cast<char16_t>(u'\u0410' + i % 1000);
    return text;
}

struct TraceSetting {
    const char* name;
    TraceAnswers answers;
};

inline std::vector<TraceSetting> trace_settings()
{
    return {{"everything", {.mask = trace_all}},
            {"nothing", {.mask = 0}},
            {"every other bit", {.mask = ~trace_all}},
            {"entry and exit", {.mask = 0x80000000}},
            {"data", {.mask = 0x08000000}},
            {"messages", {.mask = 0x04000000}},
            {"no handle", {.mask = trace_all, .gives_handle = false}},
            {"no record lent", {.mask = trace_all, .lends_record = false}}};
}

// Those of a native's records that the facility wants.
inline std::vector<TracedRecord> wanted(std::vector<TracedRecord> all, const TraceAnswers& answers)
{
    std::erase_if(all, [&](const TracedRecord& record) {
        const bool masked_out = record.level != 0 && (record.level & answers.mask) == 0;
        const bool scope_is_closed = answers.gives_handle || record.event != trace_event_exit;
        return masked_out || !scope_is_closed || !answers.lends_record;
    });
    return all;
}

// Runs the native under every answer of the facility: `all` is what it writes when everything is wanted.
// What it does otherwise must not depend on the trace.
template <class Run>
void expect_traced(Engine& engine, CallLog& log, const std::vector<TracedRecord>& all, Run run)
{
    const std::ptrdiff_t scopes = std::count_if(
        all.begin(), all.end(), [](const TracedRecord& record) { return record.event == trace_event_exit; });
    CallLog untraced;
    for (const TraceSetting& setting : trace_settings()) {
        SCOPED_TRACE(setting.name);
        engine.trace = setting.answers;
        engine.records.clear();
        log.clear();
        run();
        EXPECT_EQ(engine.records, wanted(all, setting.answers));
        EXPECT_EQ(std::count(log.begin(), log.end(), "Provider_TraceEnd"),
                  setting.answers.gives_handle ? scopes : 0);
        if (untraced.empty()) untraced = without_trace(log);
        EXPECT_EQ(without_trace(log), untraced);
    }
}

// The library on a heap that is watched.
class RowDataTest : public BridgeTest {
protected:
    // A trace facility that opens no scope for the function.
    void refuse_scope(trace::Function function, std::int32_t status)
    {
        engine.trace_of[function] = {.begin_status = status, .mask = trace_all};
    }

    Allocations heap;
};

} // namespace velk::test
