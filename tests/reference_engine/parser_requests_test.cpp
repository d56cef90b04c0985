// What the parser and the adapter make of requests that are not as they should be.

#include "masking_string.h"
#include "support.h"

#include "parser/report.h"
#include "text/messages.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <thread>

namespace velk::test {
namespace {

const std::string good = "service=people name=keep";

std::string whole(ErrorCode code, const std::string& subject = "")
{
    const Message& message = *find_message(static_cast<std::uint32_t>(code));
    return heading_of(message, subject) + "\n" + std::string(message.detail) + "\n" +
           std::string(message.trailing);
}

TEST(ParserRequests, are_measured_before_they_are_extracted)
{
    ParseRequest request("service=people \"order no\"=keep x=fixed('abcdefgh')");
    EXPECT_EQ(request.measure(), 0);
    EXPECT_EQ(request.record.pairCount, 3);
    EXPECT_EQ(request.record.keySize, 11) << "\"order no\" and a terminator";
    EXPECT_EQ(request.record.valueSize, 18);
    EXPECT_EQ(request.record.entryCount, 0) << "is the caller's";
    request.allocate();
    EXPECT_EQ(request.extract(), 0);
    EXPECT_EQ(
        request.pairs(),
        (std::vector<PairText>{{"service", "people"}, {"\"order no\"", "keep"}, {"x", "fixed('abcdefgh')"}}));
}

TEST(ParserRequests, of_an_empty_text_have_no_pairs)
{
    ParseRequest request("");
    EXPECT_EQ(request.measure(), 0);
    EXPECT_EQ(request.record.pairCount, 0);
    EXPECT_EQ(request.record.keySize, 1);
    EXPECT_EQ(request.record.valueSize, 1);
    EXPECT_EQ(request.extract(), 0);
}

TEST(ParserRequests, are_refused_in_another_code_page_or_for_a_database)
{
    ParseRequest request(good);
    request.input.iCodePage = 1252;
    expect_code(request.measure(), code_page_unsupported);
    EXPECT_EQ(take_message(), whole(code_page_unsupported, "1252"));
    request.input.iCodePage = 65001;
    request.input.cDBMSType = 'D';
    expect_code(request.measure(), dbms_type_unsupported);
    EXPECT_EQ(take_message(), whole(dbms_type_unsupported, "68"));
}

TEST(ParserRequests, are_refused_where_the_record_is_damaged)
{
    expect_code(Parser_ParseParameters(nullptr), parse_request_damaged);
    EXPECT_EQ(take_message(), whole(parse_request_damaged));
    const auto refused = [](void (*damage)(ParseRequest&)) {
        ParseRequest request(good);
        damage(request);
        const std::int32_t code = request.measure();
        request.record.input = &request.input;
        return code == parse_request_damaged && take_message() == whole(parse_request_damaged);
    };
    EXPECT_TRUE(refused([](ParseRequest& request) { request.record.eyeCatcher[0] = 'X'; }));
    EXPECT_TRUE(refused([](ParseRequest& request) { request.record.version = 20; }));
    EXPECT_TRUE(refused([](ParseRequest& request) { request.record.length = 55; }));
    EXPECT_TRUE(refused([](ParseRequest& request) { request.record.mode = 0; }));
    EXPECT_TRUE(refused([](ParseRequest& request) { request.record.input = nullptr; }));
    EXPECT_TRUE(refused([](ParseRequest& request) { request.record.iParmStrBytes = -1; }));
    EXPECT_TRUE(refused([](ParseRequest& request) { request.input.pParamString = nullptr; }));
}

// One entry's damage, and what the extraction then says. The flag tells of it as well.
std::int32_t extract_with(void (*damage)(KVPA&))
{
    ParseRequest request(good);
    EXPECT_EQ(request.measure(), 0);
    request.allocate();
    KVPA& entry = request.record.entries[1];
    const KVPA before = entry;
    damage(entry);
    const std::int32_t code = request.extract();
    EXPECT_EQ(request.record.failed, code != 0 ? 1 : 0);
    entry.key = before.key;
    entry.value = before.value;
    return code;
}

TEST(ParserRequests, are_refused_where_an_entry_has_no_buffer_or_too_small_a_one)
{
    expect_code(extract_with([](KVPA& entry) { entry.key = nullptr; }), pair_buffer_missing);
    EXPECT_EQ(take_message(), whole(pair_buffer_missing));
    expect_code(extract_with([](KVPA& entry) { entry.value = nullptr; }), pair_buffer_missing);
    EXPECT_EQ(extract_with([](KVPA& entry) { entry.keySize = 4; }), pair_buffer_too_small)
        << "no room for the terminator";
    EXPECT_EQ(take_message(), whole(pair_buffer_too_small, "4"));
    EXPECT_EQ(extract_with([](KVPA& entry) { entry.keySize = 5; }), 0);
    expect_code(extract_with([](KVPA& entry) { entry.valueSize = 4; }), pair_buffer_too_small);
    expect_code(extract_with([](KVPA& entry) { entry.valueSize = -1; }), pair_buffer_too_small);
    expect_code(extract_with([](KVPA& entry) { entry.eyeCatcher[0] = 'X'; }), parse_request_damaged);
    expect_code(extract_with([](KVPA& entry) { entry.version = 1; }), parse_request_damaged);
}

TEST(ParserRequests, are_refused_where_the_entries_are_not_as_many_as_the_pairs)
{
    for (const std::int32_t count : {-1, 0, 1, 3}) {
        ParseRequest request(good);
        EXPECT_EQ(request.measure(), 0);
        request.allocate();
        request.record.entryCount = count;
        expect_code(request.extract(), pair_count_differs);
        EXPECT_EQ(take_message(), whole(pair_count_differs, std::to_string(count) + " and 2"));
    }
    ParseRequest request(good);
    request.record.entryCount = 2;
    EXPECT_EQ(request.extract(), parse_request_damaged) << "there are none";
}

TEST(ParserErrors, are_forgotten_when_a_parse_starts_and_when_they_are_read)
{
    expect_code(ParseRequest("a b").measure(), equals_sign_missing);
    EXPECT_EQ(ParseRequest(good).measure(), 0);
    EXPECT_EQ(take_message(), "");
    expect_code(ParseRequest("a b").measure(), equals_sign_missing);
    EXPECT_NE(take_message(), "");
    EXPECT_EQ(take_message(), "");
}

TEST(ParserErrors, stay_while_only_their_size_is_asked_for)
{
    expect_code(ParseRequest("a b").measure(), equals_sign_missing);
    for (int i = 0; i < 2; ++i) {
        std::int16_t count = 0;
        std::int32_t size = 0;
        EXPECT_EQ(Parser_GetErrorInfoSize(&count, &size), 0);
        EXPECT_EQ(count, 1);
        EXPECT_EQ(size, 48 + 500 + 1000 + 1400);
    }
    EXPECT_EQ(Parser_GetErrorInfoSize(nullptr, nullptr), 0);
    EXPECT_NE(take_message(), "");
    std::int16_t count = 5;
    std::int32_t size = 5;
    EXPECT_EQ(Parser_GetErrorInfoSize(&count, &size), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(size, 0);
}

struct Details {
    ECBD record{};
    char texts[2900] = {};

    Details()
    {
        std::memcpy(record.eyeCatcher, "ECBD", 4);
        record.version = 21;
        record.length = 48;
    }
};

TEST(ParserErrors, are_not_written_into_a_damaged_block)
{
    expect_code(Parser_GetErrorInfo(nullptr), error_details_damaged);
    Details details;
    details.record.eyeCatcher[0] = 'X';
    expect_code(Parser_GetErrorInfo(&details.record), error_details_damaged);
    details = Details{};
    expect_code(Parser_GetErrorInfo(&details.record), error_details_missing); // there is none
}

TEST(ParserErrors, carry_their_code)
{
    expect_code(ParseRequest("a b").measure(), equals_sign_missing);
    Details details;
    EXPECT_EQ(Parser_GetErrorInfo(&details.record), 0);
    expect_code(details.record.errorCode, equals_sign_missing);
}

TEST(ParserErrors, are_formatted_from_a_filled_block_only)
{
    Details details;
    char16_t text[8] = {};
    MessageBuffers buffers{sizeof text, 0, 0, {}, text, nullptr, nullptr};
    EMSG request{};
    expect_code(Parser_FormatErrorText(nullptr), message_request_damaged);
    expect_code(Parser_FormatErrorText(&request), message_request_damaged);
    std::memcpy(request.eyeCatcher, "EMSG", 4);
    request.version = 21;
    request.length = 40;
    request.textEncoding = 'W';
    EXPECT_EQ(Parser_FormatErrorText(&request), message_request_damaged) << "no buffers";
    request.buffers = &buffers;
    EXPECT_EQ(Parser_FormatErrorText(&request), error_details_damaged) << "no details";
    request.details = &details.record;
    EXPECT_EQ(Parser_FormatErrorText(&request), error_details_damaged) << "not filled";
    details.record.errorCode = 1;
    std::memset(details.record.reserved24, 0xFF, sizeof details.record.reserved24);
    EXPECT_EQ(Parser_FormatErrorText(&request), error_details_damaged) << "sizes that no error has";
    expect_code(ParseRequest("a b").measure(), equals_sign_missing);
    EXPECT_EQ(Parser_GetErrorInfo(&details.record), 0);
    EXPECT_EQ(Parser_FormatErrorText(&request), 0);
    EXPECT_EQ(std::u16string(text), u"7325 no") << "as much as fits";
}

TEST(ParserErrors, that_others_report_are_cut_to_what_a_text_may_hold)
{
    const std::string part = "\u65E5";
    std::string many;
    for (int i = 0; i < 1000; ++i) many += part;
    Parser_ReportError(7301, many.c_str(), many.c_str(), many.c_str());
    const std::string message = take_message();
    EXPECT_EQ(message.size(), 498u + 1 + 999 + 1 + 1398) << "whole characters";
    Parser_ReportError(7301, "heading", "", "");
    EXPECT_EQ(take_message(), "heading\n\n");
}

TEST(ParserErrors, of_one_thread_are_not_seen_by_another)
{
    expect_code(ParseRequest("a='").measure(), quote_not_closed);
    std::string before;
    std::string after;
    std::thread([&] {
        before = take_message();
        ParseRequest("a b").measure();
        after = take_message();
    }).join();
    EXPECT_EQ(before, "");
    EXPECT_EQ(after.substr(0, 4), "7325");
    EXPECT_EQ(take_message().substr(0, 4), "7306");
}

TEST(ParserErrors, of_the_adapter_belong_to_the_thread_that_built)
{
    std::string message;
    std::thread([&] { message = message_of("service=p name=kep"); }).join();
    EXPECT_EQ(message.substr(0, 4), "7301");
    EXPECT_EQ(take_message(), "");
}

// A build of what was parsed, after some damage.
std::int32_t build_with(void (*damage)(PGDA&))
{
    ParseRequest request(good);
    EXPECT_EQ(request.measure(), 0);
    request.allocate();
    EXPECT_EQ(request.extract(), 0);
    SVCA service{};
    char id[10] = {};
    PGDA build{};
    std::memcpy(build.eyeCatcher, "PGDA", 4);
    build.version = 21;
    build.length = 48;
    build.parameters = &request.record;
    build.pSvcDef = &service;
    build.pSvcId = id;
    build.iSvcIdBytes = sizeof id;
    damage(build);
    const std::int32_t code = Adapter_BuildServiceDefinition(&build);
    EXPECT_EQ(Adapter_FreeServiceDefinition(&service), 0);
    EXPECT_EQ(service.firstOperand, nullptr);
    EXPECT_EQ(service.firstField, nullptr);
    EXPECT_EQ(service.operandCount, 0);
    EXPECT_EQ(service.fieldCount, 0);
    return code;
}

TEST(AdapterRequests, are_refused_where_a_record_is_damaged)
{
    expect_code(Adapter_BuildServiceDefinition(nullptr), build_request_damaged);
    EXPECT_EQ(take_message(), whole(build_request_damaged));
    EXPECT_EQ(build_with([](PGDA&) {}), 0);
    expect_code(build_with([](PGDA& build) { build.eyeCatcher[0] = 'X'; }), build_request_damaged);
    expect_code(build_with([](PGDA& build) { build.version = 1; }), build_request_damaged);
    expect_code(build_with([](PGDA& build) { build.length = 1; }), build_request_damaged);
    expect_code(build_with([](PGDA& build) { build.parameters = nullptr; }), build_request_damaged);
    expect_code(build_with([](PGDA& build) { build.pSvcDef = nullptr; }), build_request_damaged);
    expect_code(build_with([](PGDA& build) { build.pSvcId = nullptr; }), build_request_damaged);
    expect_code(build_with([](PGDA& build) { build.parameters->eyeCatcher[0] = 'X'; }),
                build_request_damaged);
    expect_code(build_with([](PGDA& build) { build.parameters->input = nullptr; }), build_request_damaged);
    expect_code(build_with([](PGDA& build) { build.parameters->entryCount = -1; }), build_request_damaged);
    expect_code(build_with([](PGDA& build) { build.parameters->entries = nullptr; }), build_request_damaged);
    EXPECT_EQ(build_with([](PGDA& build) { build.parameters->entries[0].eyeCatcher[0] = 'X'; }),
              build_request_damaged);
    EXPECT_EQ(build_with([](PGDA& build) { build.parameters->entries[0].keySize = 0; }),
              build_request_damaged);
    expect_code(build_with([](PGDA& build) { build.parameters->entryCount = 20'001; }),
                build_request_damaged);
}

void set_place(std::uint8_t (&bytes)[8], std::uint32_t start, std::uint32_t length)
{
    std::memcpy(bytes, &start, 4);
    std::memcpy(bytes + 4, &length, 4);
}

// The string is "service=people name=keep"; the second entry is name = keep.
TEST(AdapterRequests, are_refused_where_an_entry_speaks_of_another_place)
{
    using Damage = void (*)(KVPA&);
    const Damage damages[] = {
        [](KVPA& entry) { set_place(entry.reserved0, 24, 4); },
        [](KVPA& entry) { set_place(entry.reserved0, 25, 0); },
        [](KVPA& entry) { set_place(entry.reserved0, 0xFFFFFFFF, 4); },
        [](KVPA& entry) { set_place(entry.reserved0, 0xFFFFFFFE, 0xFFFFFFFE); },
        [](KVPA& entry) { set_place(entry.reserved0, 15, 0xFFFFFFFF); },
        [](KVPA& entry) { set_place(entry.reserved0, 16, 4); },
        [](KVPA& entry) { set_place(entry.reserved0, 0, 0); },
        [](KVPA& entry) { set_place(entry.reserved32, 0x80000000, 4); },
        [](KVPA& entry) { set_place(entry.reserved32, 21, 4); },
        [](KVPA& entry) { set_place(entry.reserved32, 20, 3); },
        [](KVPA& entry) { set_place(entry.reserved32, 20, 0x7FFFFFFF); },
        [](KVPA& entry) { entry.reserved24[0] = 'c'; },
        [](KVPA& entry) { entry.reserved24[0] = 0; },
        [](KVPA& entry) { entry.key[0] = '='; },
        [](KVPA& entry) { entry.key[4] = 'x'; },
        [](KVPA& entry) { entry.value[1] = '('; },
        [](KVPA& entry) { entry.valueSize = 4; },
    };
    for (const Damage& damage : damages) {
        static Damage current;
        current = damage;
        EXPECT_EQ(build_with([](PGDA& build) { current(build.parameters->entries[1]); }),
                  entry_outside_string)
            << "damage " << &damage - damages;
        EXPECT_EQ(take_message(), whole(entry_outside_string));
    }
    note_reached(entry_outside_string);
}

TEST(AdapterRequests, need_room_for_the_service_id_and_its_terminator)
{
    EXPECT_EQ(build_with([](PGDA& build) { build.iSvcIdBytes = 7; }), 0);
    expect_code(build_with([](PGDA& build) { build.iSvcIdBytes = 6; }), service_id_buffer_too_small);
    EXPECT_EQ(take_message(), whole(service_id_buffer_too_small, "6"));
    expect_code(build_with([](PGDA& build) { build.iSvcIdBytes = -1; }), service_id_buffer_too_small);
}

TEST(AdapterRequests, release_nothing_twice)
{
    expect_code(Adapter_FreeServiceDefinition(nullptr), service_record_damaged);
    SVCA service{};
    EXPECT_EQ(Adapter_FreeServiceDefinition(&service), 0);
    EXPECT_EQ(Adapter_FreeServiceDefinition(&service), 0);
}

} // namespace
} // namespace velk::test
