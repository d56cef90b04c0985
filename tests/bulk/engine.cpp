#include "bulk/engine.h"

#include "engine/provider.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <stdexcept>
#include <utility>

namespace velk::bulk::test {

namespace {

ServiceCall fake;

template <typename Record> void head(Record& record, const char* eye_catcher)
{
    std::memcpy(record.eyeCatcher, eye_catcher, 4);
    record.version = record_version;
    record.length = sizeof(Record);
}

} // namespace

std::u16string to_utf16(const std::string& text)
{
    std::u16string units;
    for (std::size_t i = 0; i < text.size();) {
        const auto first = static_cast<unsigned char>(text[i]);
        const int more = first < 0x80 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
        char32_t code = more == 0 ? first : static_cast<char32_t>(first & (0x3F >> more));
        for (int k = 0; k < more; ++k) code = code << 6 | (static_cast<unsigned char>(text[++i]) & 0x3F);
        ++i;
        if (code < 0x10000) {
            units += static_cast<char16_t>(code);
        } else {
            units += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
            units += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
        }
    }
    return units;
}

namespace {

std::string to_utf8(const std::u16string& units)
{
    std::string text;
    for (std::size_t i = 0; i < units.size(); ++i) {
        char32_t code = units[i];
        if ((code & 0xFC00) == 0xD800) code = 0x10000 + ((code & 0x3FF) << 10) + (units[++i] & 0x3FFU);
        const int more = code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
        const int lead[] = {0, 0xC0, 0xE0, 0xF0};
        text += static_cast<char>(static_cast<char32_t>(lead[more]) | code >> (6 * more));
        for (int k = more - 1; k >= 0; --k) text += static_cast<char>(0x80 | (code >> (6 * k) & 0x3F));
    }
    return text;
}

// Bytes of a value's buffer by the rule that the lane shares with the Java face, written once more.
std::size_t plain_buffer_size(const BufferSizes& sizes, std::size_t units)
{
    return std::min(std::max(2 * units + 2, static_cast<std::size_t>(sizes.least)),
                    static_cast<std::size_t>(sizes.greatest));
}

// A record of its own for a value, made as the native of a field makes it.
std::unique_ptr<DATA> make_value(const BufferSizes& sizes, const Text& text)
{
    auto value = std::make_unique<DATA>();
    head(*value, "DATA");
    const std::u16string units = text ? to_utf16(*text) : std::u16string();
    const std::size_t size = plain_buffer_size(sizes, units.size());
    value->isNull = !text;
    value->bufferSize = static_cast<std::int32_t>(size);
    value->buffer = std::calloc(1, size);
    std::memcpy(value->buffer, units.data(), 2 * std::min(units.size(), size / 2 - 1));
    return value;
}

Outcome read_value(const DATA& value, bool row_failed)
{
    if (row_failed) return {{}, code::whole_row};
    if (value.errorCode != 0) return {{}, value.errorCode};
    if (value.isNull != 0) return {};
    return {to_utf8(static_cast<char16_t*>(value.buffer)), 0};
}

} // namespace

std::vector<Outcome> mask_alone(const Service& service, const std::vector<Text>& values)
{
    std::vector<std::unique_ptr<DATA>> records;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const bool zero = values[i] && values[i]->find('\0') != std::string::npos;
        records.push_back(make_value(service.sizes[i], zero ? Text{} : values[i]));
        if (i > 0) records[i - 1]->next = records[i].get();
    }
    ROWD row{};
    head(row, "ROWD");
    row.fieldCount = static_cast<std::uint16_t>(values.size());
    row.firstField = records[0].get();
    RWST set{};
    head(set, "RWST");
    set.rowCount = 1;
    set.firstRow = &row;
    EXPECT_EQ(real_service(service.handle, const_cast<SVCA*>(&service.record), &set), 0);
    bool told = false;
    for (const auto& record : records) told |= record->errorCode != 0;
    std::vector<Outcome> outcomes;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const bool zero = values[i] && values[i]->find('\0') != std::string::npos;
        outcomes.push_back(zero ? Outcome{{}, code::zero_character}
                                : read_value(*records[i], row.hasError != 0 && !told));
        std::free(records[i]->buffer);
    }
    return outcomes;
}

static std::vector<std::int32_t> in_order(std::size_t width)
{
    std::vector<std::int32_t> order;
    for (std::size_t i = 0; i < width; ++i) order.push_back(static_cast<std::int32_t>(i));
    return order;
}

OpenLane::OpenLane(const Service& service, Text replacement)
    : OpenLane(service, in_order(service.width()), std::move(replacement))
{
}

OpenLane::OpenLane(const Service& service, const std::vector<std::int32_t>& order, Text replacement)
{
    const LaneDefinition definition{service.handle,
                                    const_cast<SVCA*>(&service.record),
                                    order.data(),
                                    order.size(),
                                    service.sizes.data(),
                                    service.sizes.size(),
                                    replacement ? replacement->data() : nullptr,
                                    replacement ? replacement->size() : 0};
    if (!open(lane, definition)) throw std::runtime_error("the lane was not opened");
}

FakeEngine::FakeEngine(ServiceCall call)
{
    fake = std::move(call);
}

FakeEngine::~FakeEngine()
{
    fake = nullptr;
}

} // namespace velk::bulk::test

extern "C" {

std::int32_t __real_Provider_Service(std::int32_t, std::uint16_t, velk::SVCA*, velk::RWST*);

std::int32_t __wrap_Provider_Service(std::int32_t handle, std::uint16_t request, velk::SVCA* service,
                                     velk::RWST* rows)
{
    EXPECT_EQ(request, velk::provider_service_request);
    if (velk::bulk::test::fake) return velk::bulk::test::fake(handle, service, rows);
    return __real_Provider_Service(handle, request, service, rows);
}

} // extern "C"

std::int32_t velk::bulk::test::real_service(std::int32_t handle, SVCA* service, RWST* rows)
{
    return __real_Provider_Service(handle, provider_service_request, service, rows);
}
