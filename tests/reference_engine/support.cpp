#include "support.h"

#include "provider/state.h"
#include "text/messages.h"
#include "text/unicode.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace velk::test {

namespace {

template <typename Record> void head(Record& record, const char* eye_catcher)
{
    std::memcpy(record.eyeCatcher, eye_catcher, 4);
    record.version = record_version;
    record.length = sizeof(Record);
}

template <typename Record> Record* chain(std::deque<Record>& records)
{
    for (std::size_t i = 0; i < records.size(); ++i)
        records[i].next = i + 1 < records.size() ? &records[i + 1] : nullptr;
    return records.empty() ? nullptr : &records.front();
}

std::set<std::int32_t>& reached()
{
    static std::set<std::int32_t> codes;
    return codes;
}

// A code that no test reaches may have lost its cause, or its test.
class EveryCodeReached : public testing::Environment {
    void TearDown() override
    {
        if (testing::GTEST_FLAG(filter) != "*") return;
        for (const Message& message : messages()) {
            if (message.code == internal_error) continue; // has no known cause
#if defined(_WIN32)
            if (message.code == key_file_writable) continue; // files have no mode there
#endif
            EXPECT_TRUE(reached().contains(message.code)) << "no test reached " << message.code;
        }
    }
};

testing::Environment* const every_code_reached = testing::AddGlobalTestEnvironment(new EveryCodeReached);

} // namespace

TextBlock* Service::text(const std::string& utf8, std::int32_t& size)
{
    TextBlock& block = blocks_.emplace_back();
    if (held_ == Held::wide) {
        std::u16string& wide = wide_texts_.emplace_back(to_utf16(utf8));
        size = static_cast<std::int32_t>((wide.size() + 1) * 2);
        block.pParmName = wide.data();
    } else {
        std::string& narrow = utf8_texts_.emplace_back(utf8);
        size = static_cast<std::int32_t>(narrow.size());
        block.utf8Text = narrow.data();
    }
    return &block;
}

OPRA& Service::operand(std::uint16_t id, const std::string& name, const std::string& value)
{
    OPRA& record = operands.emplace_back();
    head(record, "OPRA");
    record.parameterId = id;
    record.nameType = held_ == Held::wide ? wide_name : utf8_name;
    record.PN.pWC = text(name, record.nameSize);
    record.valueType = held_ == Held::wide ? wide_value : utf8_value;
    record.PV.pWC = text(value, record.valueSize);
    return record;
}

FLDA& Service::field(const std::string& name, std::int32_t length)
{
    FLDA& record = fields.emplace_back();
    head(record, "FLDA");
    record.dataType = 6;
    record.fieldLength = length;
    record.nameEncoding = held_ == Held::wide ? wide_name : utf8_name;
    const TextBlock* block = text(name, record.nameSize);
    record.nameBlock = &names_.emplace_back(NameBlock{block->pParmName, block->utf8Text});
    return record;
}

void Service::column(const std::string& name, const std::string& rule, const std::string& arguments,
                     std::int32_t length, const std::string& type)
{
    field(name, length);
    const auto id = static_cast<std::uint16_t>(fields.size());
    operand(id, rule, arguments);
    if (!type.empty()) operand(id, "type", type);
}

SVCA* Service::record()
{
    head(record_, "SVCA");
    record_.operandCount = static_cast<std::uint16_t>(operands.size());
    record_.fieldCount = static_cast<std::uint16_t>(fields.size());
    record_.firstOperand = chain(operands);
    record_.firstField = chain(fields);
    return &record_;
}

void Rows::add(const std::vector<Value>& values, std::size_t units)
{
    DATA* previous = nullptr;
    ROWD& row = rows_.emplace_back();
    head(row, "ROWD");
    row.fieldCount = static_cast<std::uint16_t>(values.size());
    for (const Value& value : values) {
        std::u16string& buffer = buffers_.emplace_back(units, u'\xBEEF');
        if (value) std::copy_n(value->c_str(), std::min(value->size() + 1, units), buffer.begin());
        DATA& field = fields_.emplace_back();
        head(field, "DATA");
        field.isNull = value ? 0 : 1;
        field.errorCode = 99;
        field.bufferSize = static_cast<std::int32_t>(units * 2);
        field.buffer = buffer.data();
        (previous == nullptr ? row.firstField : previous->next) = &field;
        previous = &field;
    }
}

RWST* Rows::record()
{
    head(record_, "RWST");
    record_.rowCount = static_cast<std::int32_t>(rows_.size());
    record_.firstRow = chain(rows_);
    return &record_;
}

std::u16string Rows::buffer(std::size_t row, std::size_t column)
{
    const DATA& data = field(row, column);
    return {static_cast<const char16_t*>(data.buffer), static_cast<std::size_t>(data.bufferSize) / 2};
}

std::u16string Rows::text(std::size_t row, std::size_t column)
{
    return buffer(row, column).c_str();
}

bool Rows::is_cleared(std::size_t row, std::size_t column)
{
    return buffer(row, column).find_first_not_of(u'\0') == std::u16string::npos;
}

bool Rows::all_cleared()
{
    return std::all_of(buffers_.begin(), buffers_.end(), [](const std::u16string& buffer) {
        return buffer.find_first_not_of(u'\0') == std::u16string::npos;
    });
}

Texts texts_of(std::int32_t code)
{
    std::u16string heading(523, u'\xBEEF');
    std::u16string detail(1075, u'\xBEEF');
    std::u16string trailing(1587, u'\xBEEF');
    MessageBuffers buffers{message_capacity1, message_capacity2, message_capacity3, {},
                           heading.data(),    detail.data(),     trailing.data()};
    EMSG request{};
    head(request, "EMSG");
    request.errorCode = static_cast<std::uint32_t>(code);
    request.textEncoding = wide_message;
    request.buffers = &buffers;
    EXPECT_EQ(Provider_GetErrorMessage(&request), 0) << code;
    const Texts texts{heading.c_str(), detail.c_str(), trailing.c_str()};
    EXPECT_TRUE(texts.heading.starts_with(to_utf16(std::to_string(code)) + u" ")) << code;
    EXPECT_FALSE(texts.detail.empty()) << code;
    EXPECT_FALSE(texts.trailing.empty()) << code;
    return texts;
}

void expect_code(std::int32_t actual, ErrorCode expected)
{
    EXPECT_EQ(actual, expected) << to_utf8(actual == 0 ? u"" : texts_of(actual).heading);
    if (actual == expected) reached().insert(expected);
}

void note_reached(std::int32_t code)
{
    reached().insert(code);
}

const std::set<std::int32_t>& reached_codes()
{
    return reached();
}

bool contains(const std::u16string& text, const std::u16string& part)
{
    return text.find(part) != std::u16string::npos;
}

std::int32_t start(Service& service)
{
    std::int32_t handle = 0;
    const std::int32_t code = Provider_Init(&handle, "people", 6, service.record(), 1);
    EXPECT_EQ(code, 0) << (code == 0 ? "" : to_utf8(texts_of(code).heading + u"\n" + texts_of(code).detail));
    return handle;
}

std::int32_t try_start(Service& service)
{
    std::int32_t handle = 77;
    const std::int32_t code = Provider_Init(&handle, "people", 6, service.record(), 0);
    EXPECT_EQ(handle == 0, code != 0);
    return code;
}

std::int32_t run(std::int32_t handle, Service& service, Rows& rows)
{
    return Provider_Service(handle, provider_service_request, service.record(), rows.record());
}

std::string utf8(const std::filesystem::path& path)
{
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

void set_environment(const char* name, const char* value)
{
#if defined(_WIN32)
    _putenv_s(name, value == nullptr ? "" : value);
#else
    value == nullptr ? unsetenv(name) : setenv(name, value, 1);
#endif
}

void FrameworkTest::SetUp()
{
    set_environment("VELK_TRACE", nullptr);
    set_environment("VELK_TRACE_FILE", nullptr);
    set_environment("VELK_TEST_KEY", test_key);
    set_environment("VELK_OTHER_KEY", other_key);
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
}

void FrameworkTest::TearDown()
{
    while (!state().providers.empty()) EXPECT_EQ(Provider_Term(state().providers.begin()->first), 0);
    EXPECT_EQ(Provider_FrmwTerm(), 0);
}

Outcome mask(const std::string& rule, const std::string& arguments, const Value& value,
             const std::string& type, std::int32_t length, const std::string& key)
{
    Service service;
    service.operand(0, "key", "env:" + key);
    service.column("value", rule, arguments, length, type);
    Rows rows(1);
    const std::size_t input = value ? value->size() : 0;
    rows.add({value}, std::max<std::size_t>({input, 2 * static_cast<std::size_t>(length), 1}) + 1);
    const std::int32_t handle = start(service);
    EXPECT_EQ(run(handle, service, rows), 0);
    EXPECT_EQ(Provider_Term(handle), 0);
    EXPECT_EQ(rows.row(0).hasError, rows.field(0, 0).errorCode != 0 ? 1 : 0);
    return {rows.is_null(0, 0) ? Value{} : Value{rows.text(0)}, rows.field(0, 0).errorCode};
}

} // namespace velk::test
