// The text of a failed parse: the parser's details of its last error, or else the engine's text for the code.

#include "bridge/parsing.h"
#include "parse/parse_error_text.h"

#include <climits>
#include <string>
#include <vector>

namespace velk::test {

namespace {

constexpr std::int32_t result = 302;  // of the parse
constexpr std::int32_t detail = 4711; // the parser's own code

class ParseErrorTextTest : public RowDataTest {
protected:
    ParseErrorTextTest()
    {
        set_error_text(u"former");
        engine.message = {0, u"heading", u"detail", u"trailing"};
        engine.Parser_GetErrorInfo = [](ECBD* details) {
            details->errorCode = detail;
            return 0;
        };
        report_details(1, 48);
    }

    void report_details(std::int16_t count, std::int32_t size, std::int32_t status = 0)
    {
        engine.Parser_GetErrorInfoSize = [=](std::int16_t* to_count, std::int32_t* to_size) {
            *to_count = count;
            *to_size = size;
            return status;
        };
    }

    // What the parser makes of its details.
    void format(std::u16string_view heading, std::u16string_view text, std::u16string_view trailing)
    {
        engine.message = {0, std::u16string(heading), std::u16string(text), std::u16string(trailing)};
    }

    std::u16string composed(std::int32_t code = result)
    {
        compose_parse_error_text(code);
        return error_text;
    }

    // The text is the engine's for the parse's own result, and nothing is held when it is asked for it.
    void expect_fallback(const CallLog& calls)
    {
        engine.Provider_GetErrorMessage = [&](EMSG* request) {
            EXPECT_EQ(value_at<std::int32_t>(request, 8), result);
            EXPECT_EQ(value_at<const void*>(request, 16), nullptr);
            EXPECT_TRUE(heap.held().empty());
            std::u16string(u"engine").copy(request->buffers->text1, 6);
            return 0;
        };
        log.clear();
        EXPECT_EQ(composed(), u"engine:\n\n");
        EXPECT_EQ(without_trace(log), joined({calls, {"Provider_GetErrorMessage 302"}}));
    }
};

const CallLog asked = {"Parser_GetErrorInfoSize"};
const CallLog filled = {"Parser_GetErrorInfoSize", "Parser_GetErrorInfo"};
const CallLog formatted = {"Parser_GetErrorInfoSize", "Parser_GetErrorInfo", "Parser_FormatErrorText"};

TEST_F(ParseErrorTextTest, IsTheParsersTextOfItsDetails)
{
    EXPECT_EQ(composed(), u"heading:\ndetail\ntrailing");
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C081E", "Provider_TraceBegin C081E"},
                           formatted,
                           {"Provider_TraceEnd"}}));
    EXPECT_TRUE(heap.held().empty());
}

TEST_F(ParseErrorTextTest, IsTracedAsTheFacilityWantsIt)
{
    const std::vector all = {
        entry_record(0xC081E, 2045, {integer_item("errCode", result)}),
        data_record(0xC081E, 2095, {wide_item("tempmsg", u"heading:\ndetail\ntrailing")}),
        exit_record(0xC081E, 2105)};
    expect_traced(engine, log, all, [] { compose_parse_error_text(result); });
}

TEST_F(ParseErrorTextTest, TheTracedTextsLengthIsInBytes)
{
    engine.trace.mask = trace_mask_data;
    composed();
    ASSERT_EQ(engine.records.size(), 1U);
    EXPECT_EQ(engine.records[0].items.at(0).length, 48U);
    EXPECT_EQ(value_at<std::uint32_t>(engine.records[0].bytes.data(), 60), 0x5064540U);
}

TEST_F(ParseErrorTextTest, TheFallbacksScopeStandsWithinItsOwnAndNoTextIsTracedThere)
{
    report_details(0, 0);
    const std::vector all = {
        entry_record(0xC081E, 2045, {integer_item("errCode", INT_MIN)}),
        entry_record(0xC081D, 1980, {integer_item("errCode", INT_MIN)}),
        data_record(0xC081D, 2016, {wide_item("retmsg", u"heading:\ndetail\ntrailing")}, 0x04000000),
        exit_record(0xC081D, 2025), exit_record(0xC081E, 2105)};
    expect_traced(engine, log, all, [] { compose_parse_error_text(INT_MIN); });
}

TEST_F(ParseErrorTextTest, NoReturnCodeIsReportedWhateverFails)
{
    engine.Parser_FormatErrorText = [](EMSG*) { return 5; };
    engine.message.status = 9;
    composed();
    EXPECT_TRUE(engine.records.empty());
}

// The requests, byte by byte.

Bytes empty_details(std::size_t size)
{
    return Bytes(size).text(8, "ECBD").put(12, std::uint16_t{21}).put(14, std::uint16_t{48});
}

TEST_F(ParseErrorTextTest, TheParserSeesEmptyDetailsOfTheSizeItAskedFor)
{
    for (const std::int32_t size : {24, 48, 1000}) {
        report_details(1, size);
        engine.Parser_GetErrorInfo = [&](ECBD* details) {
            const auto bytes = static_cast<std::size_t>(size);
            EXPECT_EQ(heap.size_of(details), bytes);
            EXPECT_EQ(Bytes::of(details, bytes), empty_details(bytes));
            return 0;
        };
        EXPECT_EQ(composed(), u"heading:\ndetail\ntrailing");
        EXPECT_TRUE(heap.held().empty());
    }
    EXPECT_EQ(heap.made(), 3U);
}

TEST_F(ParseErrorTextTest, TheParserFormatsARequestWithItsOwnCodeAndDetails)
{
    const void* filled_details = nullptr;
    engine.Parser_GetErrorInfo = [&](ECBD* details) {
        std::memset(static_cast<void*>(details), 0x33, 48);
        const std::int32_t code = -4711;
        std::memcpy(reinterpret_cast<char*>(details) + 20, &code, sizeof code);
        filled_details = details;
        return 0;
    };
    engine.Parser_FormatErrorText = [&](EMSG* request) {
        EXPECT_EQ(Bytes::of(request, 40), Bytes(40)
                                              .text(0, "EMSG")
                                              .put(4, std::uint16_t{21})
                                              .put(6, std::uint16_t{40})
                                              .put(8, -4711)
                                              .put(16, filled_details)
                                              .text(24, "W")
                                              .put(32, value_at<const void*>(request, 32)));
        EXPECT_EQ(Bytes::of(filled_details, 48), Bytes(48, 0x33).put(20, -4711));
        EXPECT_EQ(heap.size_of(filled_details), 48U);
        return 0;
    };
    EXPECT_EQ(composed(), u":\n\n");
    EXPECT_TRUE(heap.held().empty());
}

TEST_F(ParseErrorTextTest, TheParserFormatsIntoThreeZeroedBuffersOfTheirCapacities)
{
    engine.Parser_FormatErrorText = [](EMSG* request) {
        const auto* descriptor = value_at<const char*>(request, 32);
        const std::int32_t capacities[] = {1046, 2150, 3174};
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(value_at<std::int32_t>(descriptor, 4 * i), capacities[i]);
            auto* buffer = value_at<char*>(descriptor, 16 + 8 * i);
            const auto size = static_cast<std::size_t>(capacities[i]);
            EXPECT_EQ(Bytes::of(buffer, size), Bytes(size));
            std::memset(buffer, 0x41, size); // the next call must find it zeroed again
        }
        return 0;
    };
    composed();
    composed();
}

// The text.

TEST_F(ParseErrorTextTest, ADetailWithoutTheMarkIsKeptWhole)
{
    format(u"h", u"some words Input [KNOWN TOKEN] and more", u"t");
    EXPECT_EQ(composed(), u"h:\nsome words Input [KNOWN TOKEN] and more\nt");
}

TEST_F(ParseErrorTextTest, TheDetailEndsAtTheFirstMarkOfAnUnknownToken)
{
    format(u"h", u"words Input [UNKNOWN TOKEN] and Input [UNKNOWN TOKEN] more", u"t");
    EXPECT_EQ(composed(), u"h:\nwords\nt");
}

TEST_F(ParseErrorTextTest, ADetailThatIsTheMarkIsEmpty)
{
    format(u"h", u" Input [UNKNOWN TOKEN]", u"t");
    EXPECT_EQ(composed(), u"h:\n\nt");
}

TEST_F(ParseErrorTextTest, TheMarkIsCutFromTheDetailOnly)
{
    format(u"a Input [UNKNOWN TOKEN] b", u"c", u"d Input [UNKNOWN TOKEN] e");
    EXPECT_EQ(composed(), u"a Input [UNKNOWN TOKEN] b:\nc\nd Input [UNKNOWN TOKEN] e");
}

TEST_F(ParseErrorTextTest, TheSeparatorsStandWhateverPartIsEmpty)
{
    format(u"", u"detail", u"trailing");
    EXPECT_EQ(composed(), u":\ndetail\ntrailing");
    format(u"heading", u"", u"trailing");
    EXPECT_EQ(composed(), u"heading:\n\ntrailing");
    format(u"heading", u"detail", u"");
    EXPECT_EQ(composed(), u"heading:\ndetail\n");
    format(u"", u"", u"");
    EXPECT_EQ(composed(), u":\n\n");
}

TEST_F(ParseErrorTextTest, ShorterTextsReplaceLongerOnes)
{
    composed();
    format(u"a", u"b", u"c");
    EXPECT_EQ(composed(), u"a:\nb\nc");
}

TEST_F(ParseErrorTextTest, PartsThatFillTheirCapacitiesEndThere)
{
    const std::u16string heading(523, u'1'), text(1075, u'2'), trailing(1587, u'3');
    format(heading, text, trailing);
    EXPECT_EQ(composed(), heading + u":\n" + text + u"\n" + trailing);
}

// The fallback.

TEST_F(ParseErrorTextTest, WithoutDetailsTheTextIsTheEnginesForTheResult)
{
    for (const std::int16_t count : {std::int16_t{0}, std::int16_t{-1}, std::int16_t{INT16_MIN}}) {
        report_details(count, 48);
        expect_fallback(asked);
    }
    EXPECT_EQ(heap.made(), 0U);
}

TEST_F(ParseErrorTextTest, AParserThatWritesNoCountHasNoDetails)
{
    engine.Parser_GetErrorInfoSize = [](std::int16_t*, std::int32_t*) { return 0; };
    expect_fallback(asked);
}

TEST_F(ParseErrorTextTest, AParserThatCannotTellTheSizeHasNoDetails)
{
    for (const std::int32_t status : {1, -1}) {
        report_details(1, 48, status);
        expect_fallback(asked);
    }
    EXPECT_EQ(heap.made(), 0U);
}

TEST_F(ParseErrorTextTest, ASizeThatHoldsNoHeaderAndCodeIsAFailure)
{
    for (const std::int32_t size : {23, 16, 1, 0, -1, INT_MIN}) {
        report_details(1, size);
        expect_fallback(asked);
    }
    EXPECT_EQ(heap.made(), 0U);
}

TEST_F(ParseErrorTextTest, WithoutMemoryForTheDetailsTheTextIsTheEngines)
{
    report_details(1, INT_MAX);
    heap.fail(1);
    expect_fallback(asked);
    EXPECT_EQ(heap.refused_size(), 2'147'483'647U);
}

TEST_F(ParseErrorTextTest, DetailsThatCannotBeFilledAreFreedAndTheTextIsTheEngines)
{
    for (const std::int32_t status : {1, -2}) {
        engine.Parser_GetErrorInfo = [status](ECBD* details) {
            details->errorCode = detail;
            return status;
        };
        expect_fallback(filled);
    }
    EXPECT_EQ(heap.freed(), 2U);
}

TEST_F(ParseErrorTextTest, DetailsThatCannotBeFormattedAreFreedAndTheTextIsTheEngines)
{
    engine.Parser_FormatErrorText = [](EMSG* request) {
        std::u16string(u"half").copy(request->buffers->text1, 4);
        return 7;
    };
    expect_fallback(formatted);
    EXPECT_EQ(heap.freed(), 1U);
}

TEST_F(ParseErrorTextTest, WithoutAnyTextTheFormerOneStays)
{
    engine.Parser_FormatErrorText = [](EMSG*) { return 7; };
    engine.message.status = 9;
    EXPECT_EQ(composed(), u"former");
    report_details(0, 0);
    EXPECT_EQ(composed(), u"former");
}

TEST_F(ParseErrorTextTest, WithoutAScopeForTheEnginesTextTheFormerOneStaysAndTheOuterScopeEnds)
{
    engine.Parser_FormatErrorText = [](EMSG*) { return 7; };
    refuse_scope(trace::GetErrorText, 3);
    engine.trace_of[trace::compose_parse_error_text] = {.mask = trace_all};
    EXPECT_EQ(composed(), u"former");
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC081E, 2045, {integer_item("errCode", result)}),
                                           exit_record(0xC081E, 2105)}));
}

TEST_F(ParseErrorTextTest, WithoutAScopeNothingIsAskedAndTheFormerTextStays)
{
    refuse_scope(trace::compose_parse_error_text, -3);
    EXPECT_EQ(composed(), u"former");
    EXPECT_EQ(log, (CallLog{"Provider_TraceRegister C081E", "Provider_TraceBegin C081E"}));
    EXPECT_EQ(heap.made(), 0U);
}

} // namespace
} // namespace velk::test
