// VELK.parseVELKSyntaxString: from a Java string to a service definition with its native record and its id.

#include "bridge/parsing.h"
#include "support/repeated_memory.h"

#include <climits>
#include <string>
#include <vector>

namespace velk::test {

namespace {

class ParseSyntaxStringTest : public ParsingTest {
protected:
    ParseSyntaxStringTest()
    {
        jvm.set_object(target, "serviceId", jvm.string(u"former"));
        build_id("service");
    }

    jint parse(jstring string, jobject definition)
    {
        if (string != nullptr) jvm.name(string, "maskingString");
        return jvm.run(Java_com_brel_sorn_velk_VELK_parseVELKSyntaxString, self, string, definition);
    }
    jint parse(std::u16string_view text = u"a=b") { return parse(jvm.string(text), target); }

    // The adapter fills the record, and gives the service this id of at most ten bytes.
    void build_id(const std::string& id)
    {
        engine.Adapter_BuildServiceDefinition = [id](PGDA* request) {
            std::memset(static_cast<void*>(request->pSvcDef), 0x11, 40);
            id.copy(request->pSvcId, 10);
            return 0;
        };
    }

    void fail_the_sizing(std::int32_t status)
    {
        engine.Parser_ParseParameters = [status](PRMA*) { return status; };
    }

    // The text of the run, as the parser sees it.
    std::string parsed(std::u16string_view text)
    {
        std::string seen;
        engine.Parser_ParseParameters = [&](PRMA* request) {
            EXPECT_EQ(static_cast<std::size_t>(request->iParmStrBytes),
                      std::strlen(request->input->pParamString));
            seen = request->input->pParamString;
            return 302;
        };
        parse(text);
        EXPECT_EQ(jvm.take_exception(), velk_exception(default_error_utf8, 302));
        return seen;
    }

    std::u16string service_id()
    {
        return jvm.text(static_cast<jstring>(jvm.get_object(target, "serviceId")));
    }

    void expect_untouched()
    {
        EXPECT_EQ(jvm.record<void>(target), nullptr);
        EXPECT_EQ(service_id(), u"former");
    }

    std::ptrdiff_t calls(const std::string& line) const { return std::count(log.begin(), log.end(), line); }

    jobject self = jvm.object(velk_class);
    jobject target = jvm.object(service_definition_class);
};

Bytes new_record()
{
    return Bytes(40).text(0, "SVCA").put(4, std::uint16_t{21}).put(6, std::uint16_t{40});
}

const CallLog read_calls = {"GetStringLength maskingString", "GetStringChars maskingString",
                            "Cnv_Utf16ToUtf8 length 3 capacity 12", "ReleaseStringChars maskingString"};
const CallLog drive_calls = {"Parser_Init", "Parser_ParseParameters sizing",
                             "Parser_ParseParameters extraction", "Adapter_Init",
                             "Adapter_BuildServiceDefinition"};
const CallLog adopt_calls = {
    "GetLongField ServiceDefinition.pointer",     "SetLongField ServiceDefinition.pointer",
    "Cnv_Utf8ToUtf16 length 7 capacity 7",        "NewString 7",
    "SetObjectField ServiceDefinition.serviceId", "DeleteLocalRef serviceId"};

// The error text's way into the exception.
CallLog message_calls(std::size_t units, const std::string& message)
{
    return joined({{"Cnv_Utf16ToUtf8 length " + std::to_string(units) + " capacity 3184 no output length"},
                   throw_calls(message)});
}

// A parse that succeeds.

TEST_F(ParseSyntaxStringTest, ConvertsTheStringDrivesTheParseAndAdoptsTheRecordAndTheId)
{
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(without_trace(log), joined({read_calls, drive_calls, adopt_calls}));
    EXPECT_EQ(Bytes::of(jvm.record<void>(target), 40), Bytes(40, 0x11));
    EXPECT_EQ(service_id(), u"service");
    EXPECT_EQ(heap.size_of(jvm.record<void>(target)), 40U);
    expect_kept({40, 128});
}

TEST_F(ParseSyntaxStringTest, TheDriverIsGivenTheTextTheCodePageTheTypeTheRecordAndTheId)
{
    engine.Adapter_BuildServiceDefinition = [&](PGDA* request) {
        const PRMA& parameters = *request->parameters;
        EXPECT_EQ(parameters.iParmStrBytes, 3);
        EXPECT_EQ(Bytes::of(parameters.input, 16),
                  Bytes(16).text(0, "N").put(4, 65001).put(8, parameters.input->pParamString));
        EXPECT_STREQ(parameters.input->pParamString, "a=b");
        EXPECT_EQ(heap.size_of(request->pSvcDef), 40U);
        EXPECT_EQ(request->iSvcIdBytes, 10);
        return 0;
    };
    EXPECT_EQ(parse(), 0);
    expect_kept({40, 128});
}

TEST_F(ParseSyntaxStringTest, IsTracedAsTheFacilityWantsIt)
{
    const std::vector all = {entry_record(0xC0802, 305, {pointer_item("env", jvm.env())}),
                             data_record(0xC0802, 327, {narrow_item("velkMaskingString", "a=\xC3\xA9")}),
                             exit_record(0xC0802, 382)};
    for (const TraceSetting& setting : trace_settings()) {
        SCOPED_TRACE(setting.name);
        engine.trace = setting.answers;
        engine.trace_of[trace::parse_parameters] = {.mask = 0}; // the driver's has tests of its own
        engine.records.clear();
        log.clear();
        EXPECT_EQ(parse(u"a=\u00E9"), 0);
        EXPECT_EQ(engine.records, wanted(all, setting.answers));
        EXPECT_EQ(calls("Provider_TraceEnd"), setting.answers.gives_handle ? 2 : 1);
    }
    for (const Allocation& block : heap.held()) std::free(block.address);
}

TEST_F(ParseSyntaxStringTest, TheTextIsTracedBeforeItsCharactersAreReleasedAndTheExitComesLast)
{
    engine.trace.mask = trace_all;
    parse();
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C0802", "Provider_TraceBegin C0802",
                            "Provider_TraceWrite entry 305", "GetStringLength maskingString",
                            "GetStringChars maskingString", "Cnv_Utf16ToUtf8 length 3 capacity 12",
                            "Provider_TraceWrite data 327", "ReleaseStringChars maskingString",
                            "Provider_TraceRegister C0820", "Provider_TraceBegin C0820",
                            "Provider_TraceWrite entry 2227"},
                           drive_calls,
                           {"Provider_TraceWrite exit 2427", "Provider_TraceEnd"},
                           adopt_calls,
                           {"Provider_TraceWrite exit 382", "Provider_TraceEnd"}}));
    expect_kept({40, 128});
}

// The text.

TEST_F(ParseSyntaxStringTest, AnEmptyStringNeedsNoMemoryAndIsHandedOverWithLength0)
{
    engine.trace_of[trace::parse_parameters] = {.mask = trace_mask_entry};
    EXPECT_EQ(parse(u""), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception(default_error_utf8, -1));
    EXPECT_EQ(calls("Cnv_Utf16ToUtf8 length 0 capacity 0"), 1);
    const std::vector<TracedItem>& items = engine.records.at(0).items;
    EXPECT_EQ(items.at(0), narrow_item("pParamString", ""));
    EXPECT_EQ(items.at(1), integer_item("iParmStrBytes", 0));
    EXPECT_EQ(calls("Parser_Init"), 0);
    expect_untouched();
    expect_kept({40});
}

TEST_F(ParseSyntaxStringTest, A127UnitStringStandsOnTheStack)
{
    const std::u16string text(127, u'x');
    EXPECT_EQ(parsed(text), std::string(127, 'x'));
    EXPECT_EQ(calls("Cnv_Utf16ToUtf8 length 127 capacity 508"), 1);
    EXPECT_EQ(heap.made(), 2U); // the record and the input descriptor
    expect_kept({40});
}

TEST_F(ParseSyntaxStringTest, A128UnitStringIsAllocatedAndFreed)
{
    engine.Cnv_Utf16ToUtf8 = [&](char* destination, std::int64_t capacity, auto...) {
        if (capacity == 3184) return 0;
        EXPECT_EQ(heap.size_of(destination), 513U);
        destination[0] = 'x';
        return 0;
    };
    EXPECT_EQ(parse(std::u16string(128, u'x')), 0);
    EXPECT_EQ(calls("Cnv_Utf16ToUtf8 length 128 capacity 512"), 1);
    expect_kept({40, 128});
}

TEST_F(ParseSyntaxStringTest, TheBufferIsZeroedToTheTerminatorBehindAFullConversion)
{
    for (const std::size_t units : {3U, 127U, 128U}) {
        engine.Cnv_Utf16ToUtf8 = [](char* destination, std::int64_t capacity, auto...) {
            const auto bytes = static_cast<std::size_t>(capacity);
            if (capacity == 3184) return 0;
            EXPECT_EQ(Bytes::of(destination, bytes + 1), Bytes(bytes + 1));
            std::memset(destination, 'y', bytes);
            return 9; // nobody looks at it
        };
        engine.Parser_ParseParameters = [units](PRMA* request) {
            EXPECT_EQ(std::string(request->input->pParamString), std::string(4 * units, 'y'));
            EXPECT_EQ(static_cast<std::size_t>(request->iParmStrBytes), 4 * units);
            return 302;
        };
        EXPECT_EQ(parse(std::u16string(units, u'x')), 0);
        EXPECT_EQ(jvm.take_exception(), velk_exception("", 302));
        expect_kept({40});
    }
}

TEST_F(ParseSyntaxStringTest, TheLengthIsThatOfTheUtf8)
{
    EXPECT_EQ(parsed(u"\u00E9\u20AC\U0001F600"), "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    expect_kept({40});
}

TEST_F(ParseSyntaxStringTest, ATextEndsAtItsFirstZero)
{
    EXPECT_EQ(parsed(std::u16string_view(u"a=b\0c", 5)), "a=b");
    expect_kept({40});
}

TEST_F(ParseSyntaxStringTest, TheTextIsConvertedTheSameWayWithTheWideConversionFlagSet)
{
    wide_conversion = 1;
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(without_trace(log), joined({read_calls, drive_calls, adopt_calls}));
    expect_kept({40, 128});
}

TEST_F(ParseSyntaxStringTest, AnAllocatedTextIsThereForTheDriverAndGoneWhenItsFailureIsTold)
{
    engine.Adapter_BuildServiceDefinition = [&](PGDA* request) {
        EXPECT_EQ(heap.size_of(request->parameters->input->pParamString), 2001U);
        return 305;
    };
    engine.Cnv_Utf16ToUtf8 = [&](char* destination, std::int64_t capacity, auto...) {
        destination[0] = 'x';
        if (capacity != 3184) return 0;
        EXPECT_EQ(heap.sizes(), (std::vector<std::size_t>{40, 128}));
        return 0;
    };
    parse(std::u16string(500, u'x'));
    EXPECT_EQ(jvm.take_exception(), velk_exception("x", 305));
    expect_kept({40, 128});
}

TEST_F(ParseSyntaxStringTest, AnAllocatedTextIsGoneWhenTheRecordIsAdopted)
{
    engine.Cnv_Utf8ToUtf16 = [&](auto...) {
        EXPECT_EQ(heap.sizes(), (std::vector<std::size_t>{40, 128}));
        return 0;
    };
    parse(std::u16string(500, u'x'));
    EXPECT_EQ(calls("Cnv_Utf8ToUtf16 length 7 capacity 7"), 1);
    expect_kept({40, 128});
}

// What is adopted.

TEST_F(ParseSyntaxStringTest, OfTheFormerRecordTheBlockAloneIsFreed)
{
    auto* former = foreign_record<SVCA>(0);
    former->operandCount = former->fieldCount = 1;
    former->firstOperand = foreign_record<OPRA>(0);
    former->firstField = foreign_record<FLDA>(0);
    jvm.set_record(target, former);
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(heap.size_of(jvm.record<void>(target)), 40U);
    expect_kept({48, 56, 40, 128});
}

TEST_F(ParseSyntaxStringTest, ASecondParseReplacesTheRecordAndTheId)
{
    parse();
    build_id("other");
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(service_id(), u"other");
    EXPECT_EQ(heap.size_of(jvm.record<void>(target)), 40U);
    expect_kept({128, 40, 128});
}

TEST_F(ParseSyntaxStringTest, TheIdIsExactlyTheDrivers)
{
    for (const char* id : {"", "a", "123456789", "1234567890"}) {
        build_id(id);
        EXPECT_EQ(parse(), 0);
        EXPECT_EQ(service_id(), std::u16string(id, id + std::strlen(id)));
        expect_kept({40, 128});
        jvm.set_record(target, nullptr);
    }
}

TEST_F(ParseSyntaxStringTest, AnIdOfTenBytesWithoutATerminatorEndsThere)
{
    build_id("1234567890 and more");
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(service_id(), u"1234567890");
    EXPECT_EQ(calls("Cnv_Utf8ToUtf16 length 10 capacity 10"), 1);
    EXPECT_EQ(calls("NewString 10"), 1);
    expect_kept({40, 128});
}

TEST_F(ParseSyntaxStringTest, AnIdThatIsNotAsciiIsAsManyUnitsLongAsItHasBytes)
{
    build_id("\xC3\xA9x");
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(service_id(), std::u16string(u"\u00E9x\0", 3));
    expect_kept({40, 128});
}

TEST_F(ParseSyntaxStringTest, TheIdIsConvertedIntoZeroedUnitsWhateverLengthIsReported)
{
    engine.Cnv_Utf8ToUtf16 = [](char16_t* destination, std::int64_t capacity, const char* source,
                                std::int64_t, std::int64_t* output_length) {
        EXPECT_STREQ(source, "service");
        EXPECT_EQ(Bytes::of(destination, 2 * static_cast<std::size_t>(capacity) + 2),
                  Bytes(2 * static_cast<std::size_t>(capacity) + 2));
        destination[0] = u'S';
        *output_length = 9999;
        return 9;
    };
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(service_id(), std::u16string(u"S\0\0\0\0\0\0", 7));
    expect_kept({40, 128});
}

TEST_F(ParseSyntaxStringTest, AFailureFlagAloneAdoptsARecordWithAHeaderOnlyAndAnEmptyId)
{
    extract_by([](PRMA* request) {
        request->failed = 1;
        return 0;
    });
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(calls("Adapter_BuildServiceDefinition"), 0);
    EXPECT_EQ(Bytes::of(jvm.record<void>(target), 40), new_record());
    EXPECT_EQ(service_id(), u"");
    expect_kept({40, 128});
}

TEST_F(ParseSyntaxStringTest, WithoutAStringForTheIdTheRecordIsAdoptedAndTheFormerIdStays)
{
    jvm.fail({.function = "NewString"});
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
    EXPECT_EQ(without_trace(log).back(), "NewString 7");
    EXPECT_EQ(service_id(), u"former");
    EXPECT_EQ(heap.size_of(jvm.record<void>(target)), 40U);
    expect_kept({40, 128});
}

// A parse that fails.

TEST_F(ParseSyntaxStringTest, AFailureThrowsTheErrorTextAndTheResultAndLeavesTheObjectAsItWas)
{
    engine.trace.mask = trace_mask_entry;
    for (const trace::Function function :
         {trace::parse_parameters, trace::compose_parse_error_text, trace::GetErrorText})
        engine.trace_of[function] = {};
    engine.message = {0, u"heading", u"d\u00E9tail", u"trailing"};
    auto* former = foreign_record<SVCA>(0x22);
    jvm.set_record(target, former);
    fail_the_sizing(302);
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("heading:\nd\xC3\xA9tail\ntrailing", 302));
    EXPECT_EQ(without_trace(log), joined({read_calls,
                                          {"Parser_Init", "Parser_ParseParameters sizing"},
                                          fallback_calls(302),
                                          message_calls(24, "heading:\nd\xC3\xA9tail\ntrailing")}));
    EXPECT_EQ(engine.records,
              (std::vector{entry_record(0xC0802, 305, {pointer_item("env", jvm.env())}),
                           return_code_record(0xC0820, 2292, 302), return_code_record(0xC0820, 2427, 302),
                           return_code_record(0xC0802, 351, 302), exit_record(0xC0802, 382)}));
    EXPECT_EQ(jvm.record<SVCA>(target), former);
    EXPECT_EQ(Bytes::of(*former), Bytes(40, 0x22));
    EXPECT_EQ(service_id(), u"former");
    expect_kept({40, 40});
}

TEST_F(ParseSyntaxStringTest, TheMessageIsConvertedBeforeTheFailureIsReported)
{
    fail_the_sizing(302);
    parse();
    EXPECT_EQ(jvm.take_exception(), velk_exception(default_error_utf8, 302));
    const CallLog tail(log.end() - 7, log.end());
    EXPECT_EQ(tail, joined({{"Cnv_Utf16ToUtf8 length 48 capacity 3184 no output length",
                             "Provider_TraceWrite return code 302 at 351"},
                            throw_calls(default_error_utf8),
                            {"Provider_TraceEnd"}}));
    expect_kept({40});
}

TEST_F(ParseSyntaxStringTest, TheMessageIsConvertedFromWideTextWithTheWideConversionFlagSet)
{
    wide_conversion = 1;
    fail_the_sizing(302);
    parse();
    EXPECT_EQ(jvm.take_exception(), velk_exception(default_error_utf8, 302));
    EXPECT_EQ(calls("Cnv_WideToUtf8 length 48 capacity 3184 no output length"), 1);
    expect_kept({40});
}

TEST_F(ParseSyntaxStringTest, MinusTwoIsReportedAndThrownLikeAnyOtherResult)
{
    fail_the_sizing(-2);
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception(default_error_utf8, -2));
    EXPECT_EQ(engine.records,
              (std::vector{return_code_record(0xC0820, 2292, -2), return_code_record(0xC0802, 351, -2)}));
    expect_kept({40});
}

TEST_F(ParseSyntaxStringTest, TheNewRecordOfAFailedBuildIsNeitherStoredNorFreed)
{
    engine.Adapter_BuildServiceDefinition = [](PGDA*) { return 305; };
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception(default_error_utf8, 305));
    EXPECT_EQ(calls("Adapter_FreeServiceDefinition"), 1);
    expect_untouched();
    expect_kept({40, 128});
}

TEST_F(ParseSyntaxStringTest, AFailureReturns0WhateverThrowGave)
{
    fail_the_sizing(302);
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -6});
    EXPECT_EQ(parse(), 0);
    engine.Parser_ParseParameters = nullptr;
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -6});
    EXPECT_EQ(parse(jvm.string(u"a=b"), nullptr), 0);
    expect_kept({40, 40, 0});
}

TEST_F(ParseSyntaxStringTest, WithoutAScopeForTheDriverItsStatusIsThrownWithTheFormerText)
{
    set_error_text(u"former text");
    refuse_scope(trace::parse_parameters, 55);
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("former text", 55));
    EXPECT_EQ(engine.records, std::vector{return_code_record(0xC0802, 351, 55)});
    EXPECT_EQ(without_trace(log), joined({read_calls, message_calls(11, "former text")}));
    expect_untouched();
    expect_kept({40});
}

// What is missing.

TEST_F(ParseSyntaxStringTest, ANullStringIsTracedAsNullAndRefusedByTheDriver)
{
    engine.trace.mask = trace_mask_data;
    EXPECT_EQ(parse(nullptr, target), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception(default_error_utf8, -1));
    EXPECT_EQ(without_trace(log), joined({fallback_calls(-1), message_calls(48, default_error_utf8)}));
    EXPECT_EQ(engine.records,
              (std::vector{data_record(0xC0802, 327, {narrow_item("velkMaskingString", "null")}),
                           return_code_record(0xC0820, 2250, -1), return_code_record(0xC0820, 2427, -1),
                           return_code_record(0xC0802, 351, -1)}));
    expect_untouched();
    expect_kept({40});
}

TEST_F(ParseSyntaxStringTest, ANullTargetOfAGoodStringThrowsOnceTheDriverHasSucceeded)
{
    engine.trace.mask = trace_all;
    engine.trace_of[trace::parse_parameters] = {.mask = 0};
    const char* const message = "VELK.parseVELKSyntaxString: the service definition is null";
    EXPECT_EQ(parse(jvm.string(u"a=b"), nullptr), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception(message, -1));
    EXPECT_EQ(without_trace(log), joined({read_calls, drive_calls, throw_calls(message)}));
    EXPECT_EQ(engine.records,
              (std::vector{entry_record(0xC0802, 305, {pointer_item("env", jvm.env())}),
                           data_record(0xC0802, 327, {narrow_item("velkMaskingString", "a=b")}),
                           return_code_record(0xC0802, 382, -1), exit_record(0xC0802, 382)}));
    expect_kept({40, 128}); // the new record is neither stored nor freed
}

TEST_F(ParseSyntaxStringTest, AWrongStringThrowsTheParsersMessageWhateverTheTarget)
{
    engine.message = {0, u"heading", u"detail", u"trailing"};
    fail_the_sizing(302);
    EXPECT_EQ(parse(jvm.string(u"a=b"), nullptr), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("heading:\ndetail\ntrailing", 302));
    EXPECT_EQ(without_trace(log), joined({read_calls,
                                          {"Parser_Init", "Parser_ParseParameters sizing"},
                                          fallback_calls(302),
                                          message_calls(24, "heading:\ndetail\ntrailing")}));
    EXPECT_EQ(engine.records,
              (std::vector{return_code_record(0xC0820, 2292, 302), return_code_record(0xC0820, 2427, 302),
                           return_code_record(0xC0802, 351, 302)}));
    expect_kept({40});
}

TEST_F(ParseSyntaxStringTest, WithNeitherStringNorTargetTheDriverRefusesTheString)
{
    parse(nullptr, nullptr);
    EXPECT_EQ(jvm.take_exception(), velk_exception(default_error_utf8, -1));
    EXPECT_EQ(engine.records,
              (std::vector{return_code_record(0xC0820, 2250, -1), return_code_record(0xC0820, 2427, -1),
                           return_code_record(0xC0802, 351, -1)}));
    expect_kept({40});
}

TEST_F(ParseSyntaxStringTest, ANullTargetOfAFlaggedRunThrowsToo)
{
    extract_by([](PRMA* request) {
        request->failed = 1;
        return 0;
    });
    EXPECT_EQ(parse(jvm.string(u"a=b"), nullptr), 0);
    EXPECT_EQ(jvm.take_exception(),
              velk_exception("VELK.parseVELKSyntaxString: the service definition is null", -1));
    expect_kept({40, 128});
}

TEST_F(ParseSyntaxStringTest, WithoutMemoryForTheTextItThrows)
{
    engine.trace.mask = trace_all;
    heap.fail(1);
    EXPECT_EQ(parse(std::u16string(128, u'x')), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("parseVELKSyntaxString malloc failed", -1));
    EXPECT_EQ(heap.refused_size(), 513U);
    EXPECT_EQ(without_trace(log), joined({{"GetStringLength maskingString"},
                                          throw_calls("parseVELKSyntaxString malloc failed")}));
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC0802, 305, {pointer_item("env", jvm.env())}),
                                           return_code_record(0xC0802, 382, -1), exit_record(0xC0802, 382)}));
    expect_untouched();
    EXPECT_EQ(heap.made(), 1U);
}

TEST_F(ParseSyntaxStringTest, TheLongestStringsMemoryIsAskedForInFull)
{
    jvm.fail({.function = "GetStringLength", .exception = nullptr, .result = INT_MAX});
    heap.fail(1);
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("parseVELKSyntaxString malloc failed", -1));
    EXPECT_EQ(heap.refused_size(), 8'589'934'589U);
}

TEST_F(ParseSyntaxStringTest, ATextWhoseLengthTheDriverCannotBeToldThrows)
{
    RepeatedMemory memory;
    jvm.fail({.function = "GetStringLength", .exception = nullptr, .result = memory.size / 4});
    heap.lend(memory.start);
    engine.Cnv_Utf16ToUtf8 = [&](char* destination, auto...) {
        if (destination == memory.start) std::memset(destination, 'x', memory.chunk);
        return 0;
    };
    EXPECT_EQ(parse(), 0);
    const char* const message = "VELK.parseVELKSyntaxString: the masking string is too long";
    EXPECT_EQ(jvm.take_exception(), velk_exception(message, -1));
    EXPECT_EQ(without_trace(log), joined({{"GetStringLength maskingString", "GetStringChars maskingString",
                                           "Cnv_Utf16ToUtf8 length 536870912 capacity 2147483648",
                                           "ReleaseStringChars maskingString"},
                                          throw_calls(message)}));
    EXPECT_EQ(engine.records, std::vector{return_code_record(0xC0802, 382, -1)});
    EXPECT_EQ(heap.made(), 1U);
    EXPECT_EQ(heap.freed(), 1U);
    expect_untouched();
}

TEST_F(ParseSyntaxStringTest, WithoutMemoryForTheRecordTheDriverRefusesIt)
{
    heap.fail(1);
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception(default_error_utf8, -1));
    EXPECT_EQ(heap.refused_size(), 40U);
    EXPECT_EQ(engine.records,
              (std::vector{return_code_record(0xC0820, 2250, -1), return_code_record(0xC0820, 2427, -1),
                           return_code_record(0xC0802, 351, -1)}));
    expect_untouched();
    EXPECT_EQ(heap.made(), 1U);
}

TEST_F(ParseSyntaxStringTest, WithoutMemoryForTheRecordAnAllocatedTextIsFreedAllTheSame)
{
    heap.fail(2);
    EXPECT_EQ(parse(std::u16string(128, u'x')), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception(default_error_utf8, -1));
    EXPECT_EQ(heap.refused_size(), 40U);
    EXPECT_TRUE(heap.held().empty());
}

TEST_F(ParseSyntaxStringTest, WithoutTheCharactersTheJvmsOwnExceptionSurfacesAndNothingIsParsed)
{
    for (const std::size_t units : {3U, 128U}) {
        log.clear();
        jvm.fail({.function = "GetStringChars"});
        EXPECT_EQ(parse(std::u16string(units, u'x')), 0);
        EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
        EXPECT_EQ(without_trace(log),
                  (CallLog{"GetStringLength maskingString", "GetStringChars maskingString"}));
        EXPECT_EQ(log.back(), "Provider_TraceEnd");
        EXPECT_TRUE(heap.held().empty());
    }
    EXPECT_TRUE(engine.records.empty());
    expect_untouched();
}

TEST_F(ParseSyntaxStringTest, WithoutAStringForTheMessageTheResultIsThrownAlone)
{
    fail_the_sizing(302);
    jvm.may_run_pending = {"NewObject", "Throw"};
    jvm.fail({.function = "NewStringUTF"});
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception(std::nullopt, 302));
    expect_untouched();
    expect_kept({40});
}

TEST_F(ParseSyntaxStringTest, WithoutAScopeItsStatusIsReturnedAndNothingIsDone)
{
    for (const std::int32_t status : {55, -1, INT_MIN}) {
        engine.trace = {.begin_status = status, .mask = trace_all};
        EXPECT_EQ(parse(), status);
        EXPECT_EQ(parse(nullptr, nullptr), status);
    }
    EXPECT_EQ(without_trace(log), CallLog{});
    EXPECT_EQ(jvm.take_exception(), std::nullopt);
    EXPECT_EQ(heap.made(), 0U);
    expect_untouched();
}

TEST_F(ParseSyntaxStringTest, BeforeInit0NothingIsDoneButTheTrace)
{
    engine.trace.mask = trace_all;
    unload();
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(parse(nullptr, nullptr), 0);
    EXPECT_EQ(without_trace(log), CallLog{});
    const TracedRecord entry = entry_record(0xC0802, 305, {pointer_item("env", jvm.env())});
    EXPECT_EQ(engine.records,
              (std::vector{entry, exit_record(0xC0802, 382), entry, exit_record(0xC0802, 382)}));
    EXPECT_EQ(heap.made(), 0U);
    expect_untouched();
}

} // namespace
} // namespace velk::test
