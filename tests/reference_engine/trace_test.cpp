#include "allocation.h"
#include "support.h"
#include "text/unicode.h"

#include <nlohmann/json.hpp>

#include <bit>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

namespace velk::test {
namespace {

using nlohmann::json;

constexpr std::uint32_t row_set_to_c = 0xC0814;
constexpr std::uint32_t get_error_text = 0xC081D;

struct Item {
    std::string label;
    std::uint32_t type;
    std::uint32_t length;
    std::uint64_t slot;
};

Item integer(std::string label, std::int32_t value)
{
    return {std::move(label), trace_type_integer, 4, static_cast<std::uint32_t>(value)};
}

Item pointer(std::string label, std::uint64_t value)
{
    return {std::move(label), trace_type_pointer, 8, value};
}

Item narrow(std::string label, const char* text)
{
    return {std::move(label), trace_type_narrow | trace_string_mark,
            static_cast<std::uint32_t>(std::strlen(text)), std::bit_cast<std::uint64_t>(text)};
}

Item wide(std::string label, const std::u16string& text)
{
    return {std::move(label), trace_type_wide | trace_string_mark,
            static_cast<std::uint32_t>(text.size() * 2), std::bit_cast<std::uint64_t>(text.data())};
}

class Trace : public testing::Test {
protected:
    void SetUp() override
    {
        file_ = (std::filesystem::path(testing::TempDir()) / "velk_trace_test.json").string();
        set_environment("VELK_TRACE", "all");
        set_environment("VELK_TRACE_FILE", file_.c_str());
    }

    void TearDown() override
    {
        set_environment("VELK_TRACE", nullptr);
        set_environment("VELK_TRACE_FILE", nullptr);
        std::filesystem::remove(file_);
    }

    void begin(TraceContext& context, std::uint32_t function)
    {
        context = {};
        context.function = function;
        TraceBlock block{};
        EXPECT_EQ(Provider_TraceRegister(function, &block, 0), 0);
        EXPECT_EQ(block.state, trace_block_registered);
        EXPECT_EQ(Provider_TraceBegin(&context, &block), 0);
    }

    // Fills a record as the bridge does and hands it over.
    std::int32_t write(const TraceContext& context, std::uint32_t event, std::uint32_t line,
                       const std::vector<Item>& items = {})
    {
        TraceRecord& record = *context.record;
        std::memset(&record, 0, sizeof record);
        record.version = trace_record_version;
        record.length = sizeof record;
        record.event = event;
        record.line = line;
        record.function = context.function;
        record.flags = trace_flag_header | trace_flag_event | trace_flag_line | trace_flag_function;
        for (std::size_t i = 0; i < items.size(); ++i) {
            record.items[i] = {items[i].length, items[i].type, items[i].slot};
            std::strncpy(record.labels[i], items[i].label.c_str(), trace_label_limit);
            record.flags |= trace_flag_value1 << i | trace_flag_label1 << i;
        }
        return Provider_TraceWrite(context.record);
    }

    std::string text() const
    {
        std::ifstream file(file_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    // Ends the framework and reads the file back: an array with one event a line.
    std::vector<json> events()
    {
        EXPECT_EQ(Provider_FrmwTerm(), 0);
        const std::string whole = text();
        const json array = json::parse(whole);
        EXPECT_TRUE(array.is_array());
        const auto lines = static_cast<std::size_t>(std::count(whole.begin(), whole.end(), '\n'));
        EXPECT_EQ(lines, array.size() + 2);
        return array.get<std::vector<json>>();
    }

    std::string file_;
};

TEST_F(Trace, writes_a_span_with_its_data_and_failures_inside)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    TraceContext context;
    begin(context, row_set_to_c);
    EXPECT_NE(context.handle, 0u);
    EXPECT_EQ(context.mask, 0x8C000000u);
    ASSERT_NE(context.record, nullptr);
    EXPECT_EQ(write(context, trace_event_entry, 1529, {pointer("env", 0x7F001234)}), 0);
    EXPECT_EQ(write(context, trace_event_data, 1545, {pointer("jPointer", 0xABC), integer("jRowCount", -3)}),
              0);
    EXPECT_EQ(write(context, static_cast<std::uint32_t>(-1), 1560), 0);
    EXPECT_EQ(write(context, trace_event_exit, 1568), 0);
    EXPECT_EQ(Provider_TraceEnd(&context), 0);

    const std::vector<json> found = events();
    ASSERT_EQ(found.size(), 4u);
    const char* phases[] = {"B", "i", "i", "E"};
    const char* names[] = {"RowSet.toC", "RowSet.toC", "RowSet.toC failed", "RowSet.toC"};
    double last = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(found[i]["ph"], phases[i]);
        EXPECT_EQ(found[i]["name"], names[i]);
        EXPECT_EQ(found[i]["pid"], 1);
        EXPECT_EQ(found[i]["tid"], 1);
        EXPECT_GE(found[i]["ts"].get<double>(), last);
        last = found[i]["ts"].get<double>();
    }
    EXPECT_EQ(found[0]["args"], (json{{"line", 1529}, {"env", "0x7f001234"}}));
    EXPECT_EQ(found[1]["args"], (json{{"line", 1545}, {"jPointer", "0xabc"}, {"jRowCount", -3}}));
    EXPECT_EQ(found[1]["s"], "t");
    EXPECT_EQ(found[2]["args"], (json{{"line", 1560}, {"code", -1}}));
    EXPECT_EQ(found[3]["args"], (json{{"line", 1568}}));
}

TEST_F(Trace, shows_texts_of_both_widths_whatever_they_hold)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    TraceContext context;
    begin(context, get_error_text);
    const std::u16string text = u"Ž😀\"\\\n\t\u0001 z";
    const std::u16string lone(1, u'\xD800');
    const Item byte{"flag", trace_type_byte, 1, 0xFFFFFF07};
    const Item none{"none", trace_type_narrow | trace_string_mark, 4, 0};
    const Item unknown{"unknown", 0x1234, 8, 0x55};
    EXPECT_EQ(write(context, trace_event_data, 2016,
                    {wide("retmsg", text), narrow("narrow", "ab\xFFz"), wide("lone", lone), byte, none,
                     unknown, narrow("0123456789abcdefXYZ", "")}),
              0);
    EXPECT_EQ(Provider_TraceEnd(&context), 0);
    const json arguments = events().at(0)["args"];
    EXPECT_EQ(arguments["retmsg"], to_utf8(text));
    EXPECT_EQ(arguments["narrow"], "ab\uFFFDz");
    EXPECT_EQ(arguments["lone"], "\uFFFD");
    EXPECT_EQ(arguments["flag"], 7);
    EXPECT_EQ(arguments["none"], "null");
    EXPECT_EQ(arguments["unknown"], "0x55");
    EXPECT_EQ(arguments["0123456789abcdef"], "") << "a label has at most 16 characters";
}

TEST_F(Trace, never_shows_a_key)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    TraceContext context;
    begin(context, 0xC080E);
    const std::u16string name = u"key";
    const std::u16string secret = u"topsecret";
    const std::u16string source = u"env:MASK_KEY";
    EXPECT_EQ(write(context, trace_event_data, 1050, {wide("pDpInitOpDef->PN", name)}), 0);
    EXPECT_EQ(write(context, trace_event_data, 1070, {wide("pDpInitOpDef->PV", secret)}), 0);
    EXPECT_EQ(write(context, trace_event_data, 1050, {wide("pDpInitOpDef->PN", name)}), 0);
    EXPECT_EQ(write(context, trace_event_data, 1070, {wide("pDpInitOpDef->PV", source)}), 0);
    EXPECT_EQ(write(context, trace_event_data, 1070, {wide("pDpInitOpDef->PV", secret)}), 0);
    EXPECT_EQ(write(context, trace_event_data, 327,
                    {narrow("velkMaskingString", "service=s key=topsecret a=keep")}),
              0);
    EXPECT_EQ(Provider_TraceEnd(&context), 0);
    const std::vector<json> found = events();
    ASSERT_EQ(found.size(), 6u);
    EXPECT_EQ(found[0]["args"]["pDpInitOpDef->PN"], "key");
    EXPECT_EQ(found[1]["args"]["pDpInitOpDef->PV"], "***");
    EXPECT_EQ(found[3]["args"]["pDpInitOpDef->PV"], "env:MASK_KEY");
    EXPECT_EQ(found[4]["args"]["pDpInitOpDef->PV"], "***") << "whose value it is was not said again";
    EXPECT_EQ(found[5]["args"]["velkMaskingStrin"], "service=s key=*** a=keep");
}

TEST_F(Trace, never_shows_a_key_however_its_name_is_spelt)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    const char* texts[] = {"key.value=S3cret", "\"key\"=S3cret", "mask_key=S3cret",     "kee=S3cret",
                           "key=env: S3cret",  "key=env:S3cret", "key=\"\" \"S3cret\"", "hash(kee=S3cret)",
                           "'key'=S3cret",     "KEY=S3cret",     "key S3cret a=keep",   "key: S3cret"};
    const std::u16string secret = u"S3cret";
    TraceContext context;
    begin(context, 0xC080E);
    for (const char* text : texts)
        EXPECT_EQ(write(context, trace_event_data, 327, {narrow("velkMaskingString", text)}), 0);
    for (const std::u16string name : {u"kee", u"mask_key", u"KEY"}) {
        EXPECT_EQ(write(context, trace_event_data, 1050, {wide("pDpInitOpDef->PN", name)}), 0);
        EXPECT_EQ(write(context, trace_event_data, 1070, {wide("pDpInitOpDef->PV", secret)}), 0);
    }
    EXPECT_EQ(Provider_TraceEnd(&context), 0);
    const std::vector<json> found = events();
    ASSERT_EQ(found.size(), std::size(texts) + 6);
    for (const json& event : found) EXPECT_EQ(event.dump().find("S3cret"), std::string::npos) << event.dump();
}

TEST_F(Trace, hides_an_operands_value_whose_name_it_has_not_seen)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    const std::u16string name = u"partial";
    const std::u16string value = u"topsecret";
    const std::u16string source = u"file:key.txt";
    for (const char* label : {"pDpInitOpDef->PV.pWC->pParamVal", "jSValueChars"}) {
        TraceContext context;
        begin(context, 0xC080E);
        EXPECT_EQ(write(context, trace_event_data, 1, {wide(label, value)}), 0);
        EXPECT_EQ(write(context, trace_event_data, 2, {wide(label, source)}), 0);
        EXPECT_EQ(write(context, trace_event_data, 3, {wide("jParameterNameChars", name)}), 0);
        EXPECT_EQ(write(context, trace_event_data, 4, {wide(label, value)}), 0);
        EXPECT_EQ(Provider_TraceEnd(&context), 0);
    }
    const std::vector<json> found = events();
    ASSERT_EQ(found.size(), 8u);
    for (const std::size_t first : {0u, 4u}) {
        const std::string label = first == 0 ? "pDpInitOpDef->PV" : "jSValueChars";
        EXPECT_EQ(found[first]["args"][label], "***");
        EXPECT_EQ(found[first + 1]["args"][label], "file:key.txt");
        EXPECT_EQ(found[first + 3]["args"][label], "topsecret") << "the value of a rule";
    }
}

#if !defined(_WIN32)

// Of which no call fails: secrets are often mounted so.
TEST_F(Trace, tells_of_a_key_file_that_others_may_read)
{
    using std::filesystem::perms;
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    const std::filesystem::path path = std::filesystem::path(testing::TempDir()) / "velk trace key";
    std::ofstream(path) << test_key;
    for (const perms rights : {perms::owner_read, perms::owner_read | perms::group_read}) {
        std::filesystem::permissions(path, rights);
        Service service;
        service.operand(0, "key", "file:" + path.string());
        service.column("name", "hash", "", 32);
        EXPECT_EQ(Provider_Term(start(service)), 0);
    }
    std::filesystem::remove(path);
    const std::vector<json> found = events();
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0]["name"], "key file");
    EXPECT_EQ(found[0]["args"]["note"],
              "others may read file:" + path.string() + "; if nothing of the system needs that: chmod 600");
}

#endif

TEST_F(Trace, repairs_a_label_that_was_cut_inside_a_character)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    TraceContext context;
    begin(context, row_set_to_c);
    EXPECT_EQ(write(context, trace_event_data, 1, {integer("fifteen letters\u00E9", 1)}), 0);
    EXPECT_EQ(Provider_TraceEnd(&context), 0);
    EXPECT_EQ(events().at(0)["args"]["fifteen letters\uFFFD"], 1);
}

TEST_F(Trace, is_off_for_a_scope_that_memory_does_not_suffice_for)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    TraceContext context{};
    context.handle = 7;
    context.mask = 7;
    context.function = row_set_to_c;
    TraceBlock block{};
    fail_allocations_after(0);
    const std::int32_t code = Provider_TraceBegin(&context, &block);
    allow_allocations();
    EXPECT_EQ(code, 0);
    EXPECT_EQ(context.handle, 0u);
    EXPECT_EQ(context.mask, 0u);
    EXPECT_EQ(context.record, nullptr);
    EXPECT_TRUE(events().empty());
}

TEST_F(Trace, ends_no_span_whose_begin_could_not_be_written)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    TraceContext context;
    begin(context, row_set_to_c);
    fail_allocations_after(0);
    const std::int32_t code = write(context, trace_event_entry, 1);
    allow_allocations();
    expect_code(code, out_of_memory);
    EXPECT_EQ(Provider_TraceEnd(&context), 0);
    EXPECT_TRUE(events().empty());
}

TEST_F(Trace, is_closed_even_if_memory_does_not_suffice_for_its_end)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    TraceContext context;
    begin(context, row_set_to_c);
    EXPECT_EQ(write(context, trace_event_entry, 1), 0);
    fail_allocations_after(0);
    const std::int32_t code = Provider_FrmwTerm();
    allow_allocations();
    expect_code(code, trace_file_not_written);
    EXPECT_EQ(Provider_TraceEnd(&context), trace_scope_unknown);
    EXPECT_EQ(json::parse(text()).size(), 1u) << "the file is whole but for the span's end";
    EXPECT_EQ(Provider_FrmwTerm(), 0);
}

TEST_F(Trace, lends_every_open_scope_a_record_of_its_own)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    TraceContext outer;
    TraceContext inner;
    begin(outer, row_set_to_c);
    begin(inner, get_error_text);
    EXPECT_NE(outer.record, inner.record);
    EXPECT_NE(outer.handle, inner.handle);
    EXPECT_EQ(write(outer, trace_event_entry, 1), 0);
    EXPECT_EQ(write(inner, trace_event_entry, 2), 0);
    EXPECT_EQ(write(inner, trace_event_exit, 3), 0);
    EXPECT_EQ(Provider_TraceEnd(&inner), 0);
    EXPECT_EQ(write(outer, trace_event_exit, 4), 0);
    EXPECT_EQ(Provider_TraceEnd(&outer), 0);
    TraceContext later;
    begin(later, get_error_text);
    EXPECT_TRUE(later.record == outer.record || later.record == inner.record) << "records are used again";
    EXPECT_EQ(Provider_TraceEnd(&later), 0);
    std::string order;
    for (const json& event : events())
        order += event["ph"].get<std::string>() + std::to_string(event["args"]["line"].get<int>());
    EXPECT_EQ(order, "B1B2E3E4");
}

TEST_F(Trace, closes_open_spans_at_the_end_the_youngest_first)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    TraceContext outer;
    TraceContext inner;
    TraceContext silent;
    begin(outer, row_set_to_c);
    begin(inner, 0xC0803);
    begin(silent, get_error_text);
    EXPECT_EQ(write(outer, trace_event_entry, 1), 0);
    EXPECT_EQ(write(inner, trace_event_entry, 2), 0);
    const std::vector<json> found = events();
    ASSERT_EQ(found.size(), 4u);
    EXPECT_EQ(found[2]["ph"], "E");
    EXPECT_EQ(found[2]["name"], "VELK.terminateFramework0");
    EXPECT_EQ(found[3]["name"], "RowSet.toC");
    expect_code(Provider_TraceWrite(outer.record), trace_scope_unknown);
    expect_code(Provider_TraceEnd(&outer), trace_scope_unknown);
}

TEST_F(Trace, closes_the_span_of_a_scope_that_ends_without_an_exit_record)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    TraceContext context;
    begin(context, row_set_to_c);
    EXPECT_EQ(write(context, trace_event_entry, 1), 0);
    EXPECT_EQ(Provider_TraceEnd(&context), 0);
    begin(context, row_set_to_c);
    EXPECT_EQ(write(context, trace_event_exit, 2), 0) << "an exit without an entry is no end of a span";
    EXPECT_EQ(Provider_TraceEnd(&context), 0);
    const std::vector<json> found = events();
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[1]["ph"], "E");
}

TEST_F(Trace, is_off_without_a_framework)
{
    for (const bool started : {false, true}) {
        set_environment("VELK_TRACE", nullptr);
        if (started) {
            ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
        }
        TraceBlock block{};
        TraceContext context{1, 2, reinterpret_cast<TraceRecord*>(8), 3, {}, row_set_to_c, {}};
        EXPECT_EQ(Provider_TraceRegister(row_set_to_c, &block, 0), 0);
        EXPECT_EQ(Provider_TraceBegin(&context, &block), 0);
        EXPECT_EQ(context.handle, 0u);
        EXPECT_EQ(context.mask, 0u);
        EXPECT_EQ(context.record, nullptr);
        EXPECT_EQ(context.function, row_set_to_c);
        if (started) {
            ASSERT_EQ(Provider_FrmwTerm(), 0);
        }
    }
    EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(Trace, names_operations_that_it_knows_and_numbers_the_others)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    const std::pair<std::uint32_t, const char*> functions[] = {{0xC0801, "VELK.initializeFramework0"},
                                                               {0xC0806, "NativeProvider.serviceProvider0"},
                                                               {0xC080B, "ServiceDefinition.toC"},
                                                               {0xC0812, "FieldDefinition.toJava"},
                                                               {0xC081B, "Field.toJava"},
                                                               {0xC081D, "GetErrorText"},
                                                               {0xC0820, "parameter parse"},
                                                               {0xC080A, "0xc080a"},
                                                               {0xC0821, "0xc0821"},
                                                               {0, "0x0"}};
    for (const auto& [function, name] : functions) {
        TraceContext context;
        begin(context, function);
        EXPECT_EQ(write(context, trace_event_entry, 1), 0);
        EXPECT_EQ(Provider_TraceEnd(&context), 0);
    }
    const std::vector<json> found = events();
    ASSERT_EQ(found.size(), 2 * std::size(functions));
    for (std::size_t i = 0; i < std::size(functions); ++i)
        EXPECT_EQ(found[2 * i]["name"], functions[i].second);
}

TEST_F(Trace, an_empty_trace_is_an_empty_array)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    ASSERT_EQ(Provider_FrmwTerm(), 0);
    EXPECT_EQ(json::parse(text()), json::array());
}

TEST_F(Trace, writes_readable_lines_to_standard_error)
{
    set_environment("VELK_TRACE_FILE", "-");
    testing::internal::CaptureStderr();
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    TraceContext context;
    begin(context, row_set_to_c);
    EXPECT_EQ(write(context, trace_event_entry, 1529, {pointer("env", 16)}), 0);
    EXPECT_EQ(write(context, trace_event_data, 1545, {narrow("msg", "two\nlines"), integer("jRowCount", 3)}),
              0);
    EXPECT_EQ(write(context, trace_event_exit, 1568), 0);
    EXPECT_EQ(Provider_TraceEnd(&context), 0);
    EXPECT_EQ(Provider_FrmwTerm(), 0);
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 3);
    EXPECT_NE(lines.find("[1] > RowSet.toC line=1529 env=\"0x10\"\n"), std::string::npos) << lines;
    EXPECT_NE(lines.find("[1] - RowSet.toC line=1545 msg=\"two\\u000alines\" jRowCount=3\n"),
              std::string::npos);
    EXPECT_NE(lines.find("[1] < RowSet.toC line=1568\n"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(Trace, tells_threads_apart_and_is_not_harmed_by_them)
{
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    const auto work = [this] {
        for (std::uint32_t i = 0; i < 200; ++i) {
            TraceContext context;
            begin(context, row_set_to_c);
            EXPECT_EQ(write(context, trace_event_entry, i), 0);
            EXPECT_EQ(write(context, trace_event_exit, i), 0);
            EXPECT_EQ(Provider_TraceEnd(&context), 0);
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    std::set<int> threads;
    const std::vector<json> found = events();
    EXPECT_EQ(found.size(), 800u);
    for (const json& event : found) threads.insert(event["tid"].get<int>());
    EXPECT_EQ(threads, (std::set<int>{1, 2}));
}

TEST_F(Trace, refuses_what_is_missing_or_unknown)
{
    expect_code(Provider_TraceRegister(1, nullptr, 0), trace_argument_missing);
    expect_code(Provider_TraceBegin(nullptr, nullptr), trace_argument_missing);
    expect_code(Provider_TraceWrite(nullptr), trace_argument_missing);
    expect_code(Provider_TraceEnd(nullptr), trace_argument_missing);
    TraceRecord record{};
    expect_code(Provider_TraceWrite(&record), trace_scope_unknown);
    TraceContext context{};
    expect_code(Provider_TraceEnd(&context), trace_scope_unknown);
}

} // namespace
} // namespace velk::test
