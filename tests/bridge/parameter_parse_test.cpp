// The parameter parse driver: its calls of the parser and the adapter, the requests that they see, and what
// is left of each failure.

#include "bridge/parsing.h"
#include "parse/parameter_parse.h"

#include <climits>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace velk::test {

namespace {

const std::uint8_t started_flags_at_load = parser_started | adapter_started;

constexpr unsigned char untouched = 0xCC;

class ParameterParseTest : public ParsingTest {
public:
    ParameterParseTest()
    {
        std::memset(&service, untouched, sizeof service);
        std::memset(id, untouched, sizeof id);
    }

    std::int32_t parse() { return parse_parameters(arguments); }

    // As at load: nothing is started.
    std::int32_t first_parse()
    {
        parser_started = adapter_started = 0;
        return parse();
    }

    TracedRecord entry() const
    {
        return entry_record(0xC0820, 2227,
                            {narrow_item("pParamString", "a=b"), integer_item("iParmStrBytes", 3),
                             integer_item("iCodePage", 65001), byte_item("cDBMSType", 'N'),
                             pointer_item("pSvcDef", &service), pointer_item("pSvcId", id),
                             integer_item("iSvcIdBytes", 10)});
    }

    void trace_driver_alone()
    {
        engine.trace.mask = trace_all;
        engine.trace_of[trace::compose_parse_error_text] = {};
        engine.trace_of[trace::GetErrorText] = {};
    }

    Bytes service_bytes() const { return Bytes::of(service); }
    Bytes id_bytes() const { return Bytes::of(id, sizeof id); }

    const char* const text = "a=b";
    SVCA service;
    char id[12];
    ParameterParse arguments{text, 3, 65001, 'N', &service, id, 10};

    using ParsingTest::engine;
    using ParsingTest::extract_by;
    using ParsingTest::heap;
    using ParsingTest::key_bytes;
    using ParsingTest::pairs;
    using ParsingTest::value_bytes;
};

const CallLog open_calls = {"Provider_TraceRegister C0820", "Provider_TraceBegin C0820"};
const std::string sizing = "Parser_ParseParameters sizing";
const std::string extraction = "Parser_ParseParameters extraction";

Bytes wiped_service()
{
    return Bytes(40);
}

Bytes wiped_id()
{
    return Bytes(12, untouched).put(0, std::uint64_t{0}).put(8, std::uint16_t{0});
}

// A parse that succeeds.

TEST_F(ParameterParseTest, TheFirstParseStartsBothLibrariesAndCallsThemInOrder)
{
    engine.trace.mask = trace_all;
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(log, joined({open_calls,
                           {"Provider_TraceWrite entry 2227", "Parser_Init", sizing, extraction,
                            "Adapter_Init", "Adapter_BuildServiceDefinition", "Provider_TraceWrite exit 2427",
                            "Provider_TraceEnd"}}));
    EXPECT_EQ(engine.records, (std::vector{entry(), exit_record(0xC0820, 2427)}));
    expect_kept({128});
}

TEST_F(ParameterParseTest, LaterParsesStartNothingAgain)
{
    parse();
    log.clear();
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(without_trace(log), (CallLog{sizing, extraction, "Adapter_BuildServiceDefinition"}));
    expect_kept({128, 128});
}

TEST_F(ParameterParseTest, NothingIsStartedAtLoad)
{
    EXPECT_EQ(started_flags_at_load, 0);
}

TEST_F(ParameterParseTest, AStartThatFailedIsTriedAgainAndOneThatSucceededIsNot)
{
    std::int32_t parser_status = 301;
    std::int32_t adapter_status = 304;
    engine.Parser_Init = [&] { return parser_status; };
    engine.Adapter_Init = [&] { return adapter_status; };
    const auto calls_and_result = [&] {
        log.clear();
        const std::int32_t result = parse();
        return std::pair(without_trace(log), result);
    };
    const auto failed = [](const CallLog& calls, std::int32_t result) {
        return std::pair(joined({calls, fallback_calls(result)}), result);
    };
    EXPECT_EQ(calls_and_result(), failed({"Parser_Init"}, 301));
    EXPECT_EQ(calls_and_result(), failed({"Parser_Init"}, 301));
    parser_status = 0;
    EXPECT_EQ(calls_and_result(), failed({"Parser_Init", sizing, extraction, "Adapter_Init"}, 304));
    EXPECT_EQ(calls_and_result(), failed({sizing, extraction, "Adapter_Init"}, 304));
    adapter_status = 0;
    const CallLog built = {sizing, extraction, "Adapter_Init", "Adapter_BuildServiceDefinition"};
    EXPECT_EQ(calls_and_result(), std::pair(built, 0));
    const CallLog warm = {sizing, extraction, "Adapter_BuildServiceDefinition"};
    EXPECT_EQ(calls_and_result(), std::pair(warm, 0));
    expect_kept({128, 128, 128, 128});
}

TEST_F(ParameterParseTest, AFailureAfterAStartDoesNotUndoIt)
{
    engine.Adapter_BuildServiceDefinition = [](PGDA*) { return 305; };
    parse();
    EXPECT_EQ(parser_started, 1);
    EXPECT_EQ(adapter_started, 1);
    expect_kept({128});
}

TEST_F(ParameterParseTest, AfterASuccessTheErrorTextIsTheDefaultOne)
{
    set_error_text(u"former");
    parse();
    EXPECT_EQ(std::u16string(error_text), default_error);
    expect_kept({128});
}

// The requests, byte by byte.

Bytes sizing_request(const void* input)
{
    return Bytes(56)
        .text(0, "PRMA")
        .put(4, std::uint16_t{21})
        .put(6, std::uint16_t{56})
        .text(38, "M")
        .put(40, 3)
        .put(48, input);
}

Bytes extraction_request(const void* input, const void* entries)
{
    return sizing_request(input).put(8, entries).put(16, 2).put(20, 2).put(24, 24).put(28, 40).text(32, "A");
}

TEST_F(ParameterParseTest, TheSizingPassSeesTheRequestAndTheInput)
{
    engine.Parser_ParseParameters = [&](PRMA* request) {
        const auto* input = value_at<const char*>(request, 48);
        EXPECT_EQ(Bytes::of(request, 56), sizing_request(input));
        EXPECT_EQ(Bytes::of(input, 16), Bytes(16).text(0, "N").put(4, 65001).put(8, text));
        EXPECT_EQ(heap.held().size(), 1U);
        EXPECT_EQ(heap.size_of(input), 16U);
        return 302;
    };
    EXPECT_EQ(parse(), 302);
    EXPECT_TRUE(heap.held().empty());
}

TEST_F(ParameterParseTest, TheExtractionPassSeesTheSameRequestWithTheEntries)
{
    const PRMA* measured = nullptr;
    engine.Parser_ParseParameters = [&, measure = engine.Parser_ParseParameters](PRMA* request) {
        measured = request;
        return measure(request);
    };
    extract_by([&](PRMA* request) {
        EXPECT_EQ(request, measured);
        const auto* input = value_at<const char*>(request, 48);
        const auto* entries = value_at<const char*>(request, 8);
        EXPECT_EQ(Bytes::of(request, 56), extraction_request(input, entries));
        EXPECT_EQ(Bytes::of(input, 16), Bytes(16).text(0, "N").put(4, 65001).put(8, text));
        EXPECT_EQ(heap.size_of(input), 16U);
        EXPECT_EQ(heap.size_of(entries), 128U);
        return 303;
    });
    EXPECT_EQ(parse(), 303);
    expect_kept({128});
}

Bytes entry_bytes(const void* key, std::int32_t key_size, const void* value, std::int32_t value_size)
{
    return Bytes(64)
        .text(8, "KVPA")
        .put(12, std::uint16_t{21})
        .put(14, std::uint16_t{64})
        .put(16, key)
        .put(28, key_size)
        .put(40, value)
        .put(52, value_size);
}

TEST_F(ParameterParseTest, TheExtractionPassSeesEachEntryWithItsZeroedBuffers)
{
    extract_by([&](PRMA* request) {
        EXPECT_EQ(heap.sizes(), (std::vector<std::size_t>{16, 128, 24, 40, 24, 40}));
        for (std::size_t i = 0; i < 2; ++i) {
            const char* entry = value_at<const char*>(request, 8) + 64 * i;
            const auto* key = value_at<const char*>(entry, 16);
            const auto* value = value_at<const char*>(entry, 40);
            EXPECT_EQ(Bytes::of(entry, 64), entry_bytes(key, 24, value, 40));
            EXPECT_EQ(heap.size_of(key), 24U);
            EXPECT_EQ(heap.size_of(value), 40U);
            EXPECT_EQ(Bytes::of(key, 24), Bytes(24));
            EXPECT_EQ(Bytes::of(value, 40), Bytes(40));
        }
        return 303;
    });
    EXPECT_EQ(parse(), 303);
    expect_kept({128});
}

TEST_F(ParameterParseTest, WhatTheParserWroteStandsInBothLaterCalls)
{
    engine.Parser_ParseParameters = [&, measure = engine.Parser_ParseParameters](PRMA* request) {
        std::memset(request->reserved34, 0x77, sizeof request->reserved34);
        request->failed = 1; // no failure until the extraction pass leaves it so
        return measure(request);
    };
    extract_by([](PRMA* request) {
        EXPECT_EQ(request->reserved34[3], 0x77);
        EXPECT_EQ(request->failed, 1);
        request->failed = 0;
        std::strcpy(request->entries[1].key, "key");
        std::strcpy(request->entries[1].value, "value");
        request->entries[1].reserved24[0] = 0x66;
        return 0;
    });
    engine.Adapter_BuildServiceDefinition = [](PGDA* request) {
        const KVPA& entry = request->parameters->entries[1];
        EXPECT_STREQ(entry.key, "key");
        EXPECT_STREQ(entry.value, "value");
        EXPECT_EQ(entry.reserved24[0], 0x66);
        EXPECT_EQ(request->parameters->reserved34[3], 0x77);
        return 0;
    };
    EXPECT_EQ(parse(), 0);
    expect_kept({128});
}

TEST_F(ParameterParseTest, TheAdapterSeesTheBuildRequestAndEmptyResults)
{
    engine.Adapter_BuildServiceDefinition = [&](PGDA* request) {
        const auto* parameters = value_at<const char*>(request, 8);
        const auto* output = value_at<const char*>(request, 40);
        EXPECT_EQ(Bytes::of(request, 48), Bytes(48)
                                              .text(0, "PGDA")
                                              .put(4, std::uint16_t{21})
                                              .put(6, std::uint16_t{48})
                                              .put(8, parameters)
                                              .put(16, &service)
                                              .put(24, &id[0])
                                              .put(32, 10)
                                              .put(40, output));
        EXPECT_EQ(Bytes::of(output, 8), Bytes(8));
        EXPECT_EQ(Bytes::of(parameters, 56), extraction_request(value_at<const void*>(parameters, 48),
                                                                value_at<const void*>(parameters, 8)));
        EXPECT_EQ(service_bytes(), wiped_service());
        EXPECT_EQ(id_bytes(), wiped_id());
        return 0;
    };
    EXPECT_EQ(parse(), 0);
    expect_kept({128});
}

TEST_F(ParameterParseTest, TheResultsAreNotTouchedBeforeTheAdapterIsStarted)
{
    const auto expect_untouched = [&] {
        EXPECT_EQ(service_bytes(), Bytes(40, untouched));
        EXPECT_EQ(id_bytes(), Bytes(12, untouched));
        return 0;
    };
    engine.Parser_Init = expect_untouched;
    engine.Adapter_Init = expect_untouched;
    extract_by([&](PRMA*) { return expect_untouched(); });
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(service_bytes(), wiped_service());
    EXPECT_EQ(id_bytes(), wiped_id());
    expect_kept({128});
}

TEST_F(ParameterParseTest, OfTheIdAsManyBytesAreWipedAsItIsToldToHave)
{
    arguments.iSvcIdBytes = 1;
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(id_bytes(), Bytes(12, untouched).put(0, '\0'));
    expect_kept({128});
}

TEST_F(ParameterParseTest, WhatTheAdapterWritesStays)
{
    engine.Adapter_BuildServiceDefinition = [](PGDA* request) {
        std::memset(static_cast<void*>(request->pSvcDef), 0x11, 40);
        std::strcpy(request->pSvcId, "service");
        return 0;
    };
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(service_bytes(), Bytes(40, 0x11));
    EXPECT_STREQ(id, "service");
    expect_kept({128});
}

TEST_F(ParameterParseTest, TheLengthTheCodePageAndTheTypeAreThoseItIsGiven)
{
    arguments.iParmStrBytes = INT_MAX; // nobody but the parser reads the text
    arguments.iCodePage = -1;
    arguments.cDBMSType = '\xFE';
    extract_by([&](PRMA* request) {
        EXPECT_EQ(value_at<std::int32_t>(request, 40), INT_MAX);
        EXPECT_EQ(Bytes::of(value_at<const char*>(request, 48), 16),
                  Bytes(16).text(0, "\xFE").put(4, -1).put(8, text));
        return 303;
    });
    trace_driver_alone();
    EXPECT_EQ(parse(), 303);
    const std::vector<TracedItem>& items = engine.records.at(0).items;
    EXPECT_EQ(items.at(1), integer_item("iParmStrBytes", INT_MAX));
    EXPECT_EQ(items.at(2), integer_item("iCodePage", -1));
    EXPECT_EQ(items.at(3), byte_item("cDBMSType", '\xFE'));
    expect_kept({128});
}

// Arguments.

struct BadArguments {
    const char* what;
    std::function<void(ParameterParse&)> spoil;
};

const BadArguments bad_arguments[] = {
    {"a null string", [](ParameterParse& parse) { parse.pParamString = nullptr; }},
    {"no byte", [](ParameterParse& parse) { parse.iParmStrBytes = 0; }},
    {"a negative length", [](ParameterParse& parse) { parse.iParmStrBytes = INT_MIN; }},
    {"a null record", [](ParameterParse& parse) { parse.pSvcDef = nullptr; }},
    {"a null id", [](ParameterParse& parse) { parse.pSvcId = nullptr; }},
    {"no room for the id", [](ParameterParse& parse) { parse.iSvcIdBytes = 0; }},
    {"negative room for the id", [](ParameterParse& parse) { parse.iSvcIdBytes = -1; }},
};

TEST_F(ParameterParseTest, AMissingArgumentIsRefusedBeforeAnyLibraryIsCalled)
{
    for (const BadArguments& bad : bad_arguments) {
        SCOPED_TRACE(bad.what);
        arguments = {text, 3, 65001, 'N', &service, id, 10};
        bad.spoil(arguments);
        log.clear();
        engine.records.clear();
        EXPECT_EQ(parse(), -1);
        EXPECT_EQ(without_trace(log), fallback_calls(-1));
        EXPECT_EQ(engine.records, (std::vector{return_code_record(0xC0820, 2250, -1),
                                               return_code_record(0xC0820, 2427, -1)}));
        EXPECT_EQ(std::u16string(error_text), default_error);
        EXPECT_EQ(service_bytes(), Bytes(40, untouched));
        EXPECT_EQ(id_bytes(), Bytes(12, untouched));
    }
    EXPECT_EQ(heap.made(), 0U);
    EXPECT_EQ(parser_started, 0);
}

TEST_F(ParameterParseTest, ANullStringIsTracedAsAPointerAndTheOtherArgumentsAsTheyAre)
{
    trace_driver_alone();
    arguments = {nullptr, -5, 0, '\0', nullptr, nullptr, INT_MIN};
    EXPECT_EQ(parse(), -1);
    EXPECT_EQ(engine.records.at(0),
              entry_record(0xC0820, 2227,
                           {pointer_item("pParamString", nullptr), integer_item("iParmStrBytes", -5),
                            integer_item("iCodePage", 0), byte_item("cDBMSType", '\0'),
                            pointer_item("pSvcDef", nullptr), pointer_item("pSvcId", nullptr),
                            integer_item("iSvcIdBytes", INT_MIN)}));
}

TEST_F(ParameterParseTest, AMissingArgumentGetsTheEnginesTextWhereThereIsOne)
{
    engine.message = {0, u"heading", u"detail", u"trailing"};
    arguments.iParmStrBytes = 0;
    EXPECT_EQ(parse(), -1);
    EXPECT_EQ(std::u16string(error_text), u"heading:\ndetail\ntrailing");
}

TEST_F(ParameterParseTest, AStringOfOneByteIsParsed)
{
    arguments.iParmStrBytes = 1;
    EXPECT_EQ(parse(), 0);
    expect_kept({128});
}

// Every point of failure.

struct FailurePoint {
    const char* name;
    std::int32_t code;
    std::vector<std::uint32_t> lines; // of the return codes before the error's text is sought
    CallLog calls;                    // of the engine until then
    std::vector<std::size_t> kept;
    std::function<void(ParameterParseTest&)> script; // before each run
    bool wiped = false;                              // the record and the id
    CallLog release = {};                            // calls after the error's text was sought
    std::vector<TracedRecord> release_records = {};
};

void PrintTo(const FailurePoint& point, std::ostream* out)
{
    *out << point.name;
}

const CallLog measured = {"Parser_Init", sizing};
const CallLog extracted = {"Parser_Init", sizing, extraction};
const CallLog started = {"Parser_Init", sizing, extraction, "Adapter_Init"};
const CallLog built = joined({started, {"Adapter_BuildServiceDefinition"}});
const CallLog released = {"Adapter_FreeServiceDefinition"};

using Test = ParameterParseTest;

template <std::size_t Nth> void refuse_allocation(Test& test)
{
    test.heap.fail(Nth);
}

template <std::int32_t Count> void measure_pairs(Test& test)
{
    test.pairs = Count;
}

template <std::int32_t Bytes> void measure_keys(Test& test)
{
    test.key_bytes = Bytes;
}

void give_no_string(Test& test)
{
    test.arguments.pParamString = nullptr;
}

void fail_the_parsers_start(Test& test)
{
    test.engine.Parser_Init = [] { return 301; };
}

void fail_the_sizing(Test& test)
{
    test.engine.Parser_ParseParameters = [](PRMA*) { return 302; };
}

void count_and_fail_the_sizing(Test& test)
{
    test.engine.Parser_ParseParameters = [](PRMA* request) {
        request->pairCount = 7;
        return 302;
    };
}

void fail_the_extraction(Test& test)
{
    test.extract_by([](PRMA*) { return 303; });
}

void flag_and_fail_the_extraction(Test& test)
{
    test.extract_by([](PRMA* request) {
        request->failed = 1;
        return -303;
    });
}

void fail_the_adapters_start(Test& test)
{
    test.engine.Adapter_Init = [] { return 304; };
}

void fail_the_build(Test& test)
{
    test.engine.Adapter_BuildServiceDefinition = [](PGDA*) { return 305; };
}

template <std::int32_t Status> void fail_the_build_and_its_release(Test& test)
{
    fail_the_build(test);
    test.engine.Adapter_FreeServiceDefinition = [](SVCA*) { return Status; };
}

std::vector<FailurePoint> all_failures()
{
    const CallLog start = {"Parser_Init"};
    return {
        {"AMissingString", -1, {2250}, {}, {}, give_no_string},
        {"TheParsersStart", 301, {2261}, start, {}, fail_the_parsers_start},
        {"NoMemoryForTheInput", 7219, {2274}, start, {}, refuse_allocation<1>},
        {"TheSizing", 302, {2292}, measured, {}, fail_the_sizing},
        {"ASizingThatCountsAllTheSame", 302, {2292}, measured, {}, count_and_fail_the_sizing},
        {"NoMemoryForTheEntries", 7220, {2302}, measured, {}, refuse_allocation<2>},
        {"ANegativeCount", 7220, {2302}, measured, {}, measure_pairs<-1>},
        {"TheMostNegativeCount", 7220, {2302}, measured, {}, measure_pairs<INT_MIN>},
        {"NoMemoryForTheFirstKey", 7221, {}, measured, {128}, refuse_allocation<3>},
        {"NoMemoryForALaterKey", 7221, {}, measured, {128}, refuse_allocation<5>},
        {"ANegativeKeySize", 7221, {}, measured, {128}, measure_keys<-1>},
        {"TheMostNegativeKeySize", 7221, {}, measured, {128}, measure_keys<INT_MIN>},
        {"TheExtraction", 303, {2344}, extracted, {128}, fail_the_extraction},
        {"AnExtractionThatSetsItsFlagToo", -303, {2344}, extracted, {128}, flag_and_fail_the_extraction},
        {"TheAdaptersStart", 304, {2353}, started, {128}, fail_the_adapters_start},
        {"TheBuild", 305, {2375}, built, {128}, fail_the_build, true, released},
        {"TheBuildAndItsRelease",
         305,
         {2375},
         built,
         {128},
         fail_the_build_and_its_release<306>,
         true,
         released,
         {return_code_record(0xC0820, 2421, 306)}},
        {"ABuildWhoseReleaseGivesMinusTwo",
         305,
         {2375},
         built,
         {128},
         fail_the_build_and_its_release<-2>,
         true,
         released,
         {return_code_record(0xC0820, 2421, -2)}},
    };
}

// The records of a search for an error's text that finds none.
std::vector<TracedRecord> fallback_records(std::int32_t code)
{
    return {entry_record(0xC081E, 2045, {integer_item("errCode", code)}),
            entry_record(0xC081D, 1980, {integer_item("errCode", code)}),
            data_record(0xC081D, 2016, {narrow_item("msg", "Could not get error message")}, 0x04000000),
            exit_record(0xC081D, 2025), exit_record(0xC081E, 2105)};
}

class EachFailurePoint : public ParameterParseTest, public ::testing::WithParamInterface<FailurePoint> {
protected:
    std::int32_t fail()
    {
        GetParam().script(*this);
        return first_parse();
    }

    // With everything wanted, in order.
    std::vector<TracedRecord> records() const
    {
        const FailurePoint& point = GetParam();
        TracedRecord first = entry();
        if (arguments.pParamString == nullptr) first.items[0] = pointer_item("pParamString", nullptr);
        std::vector<TracedRecord> all = {first};
        for (const std::uint32_t line : point.lines)
            all.push_back(return_code_record(0xC0820, line, point.code));
        for (const TracedRecord& record : fallback_records(point.code)) all.push_back(record);
        for (const TracedRecord& record : point.release_records) all.push_back(record);
        all.push_back(return_code_record(0xC0820, 2427, point.code));
        all.push_back(exit_record(0xC0820, 2427));
        return all;
    }
};

TEST_P(EachFailurePoint, EndsTheParseWithItsCodeAndTheDefaultText)
{
    EXPECT_EQ(fail(), GetParam().code);
    EXPECT_EQ(without_trace(log),
              joined({GetParam().calls, fallback_calls(GetParam().code), GetParam().release}));
    EXPECT_EQ(std::u16string(error_text), default_error);
    expect_kept(GetParam().kept);
}

TEST_P(EachFailurePoint, IsReportedAtItsLineAndAtTheExitWithAnEmptyMask)
{
    fail();
    std::vector<TracedRecord> return_codes = records();
    std::erase_if(return_codes, [](const TracedRecord& record) { return record.level != 0; });
    EXPECT_EQ(engine.records, return_codes);
    expect_kept(GetParam().kept);
}

TEST_P(EachFailurePoint, IsTracedAsTheFacilityWantsIt)
{
    for (const TraceSetting& setting : trace_settings()) {
        SCOPED_TRACE(setting.name);
        engine.trace = setting.answers;
        engine.records.clear();
        EXPECT_EQ(fail(), GetParam().code);
        std::vector<TracedRecord> expected = wanted(records(), setting.answers);
        // Without a handle there is no exit step.
        std::erase_if(expected, [&](const TracedRecord& record) {
            return record.line == 2427 && !setting.answers.gives_handle;
        });
        EXPECT_EQ(engine.records, expected);
    }
    for (const Allocation& block : heap.held()) std::free(block.address);
}

TEST_P(EachFailurePoint, LeavesTheResultsAloneUnlessTheAdapterWasCalled)
{
    fail();
    EXPECT_EQ(service_bytes(), GetParam().wiped ? wiped_service() : Bytes(40, untouched));
    EXPECT_EQ(id_bytes(), GetParam().wiped ? wiped_id() : Bytes(12, untouched));
    expect_kept(GetParam().kept);
}

TEST_P(EachFailurePoint, GetsTheEnginesTextForItsCode)
{
    engine.Provider_GetErrorMessage = [](EMSG* request) {
        EXPECT_EQ(static_cast<std::int32_t>(request->errorCode), GetParam().code);
        EXPECT_EQ(std::u16string(error_text), default_error);
        std::u16string(u"heading").copy(request->buffers->text1, 7);
        return 0;
    };
    EXPECT_EQ(fail(), GetParam().code);
    EXPECT_EQ(std::u16string(error_text), u"heading:\n\n");
    expect_kept(GetParam().kept);
}

TEST_P(EachFailurePoint, EndsTheSameWithoutAScopeForItsText)
{
    engine.trace_of[trace::compose_parse_error_text] = {.begin_status = 3};
    EXPECT_EQ(fail(), GetParam().code);
    EXPECT_EQ(without_trace(log), joined({GetParam().calls, GetParam().release}));
    EXPECT_EQ(std::u16string(error_text), default_error);
    expect_kept(GetParam().kept);
}

INSTANTIATE_TEST_SUITE_P(Driver, EachFailurePoint, ::testing::ValuesIn(all_failures()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(ParameterParseTest, AFailureIsReportedSoughtCleanedUpAndReportedAgainInThatOrder)
{
    engine.trace.mask = trace_all;
    engine.Adapter_BuildServiceDefinition = [](PGDA*) { return 305; };
    engine.Adapter_FreeServiceDefinition = [](SVCA*) { return 306; };
    parse();
    EXPECT_EQ(
        log,
        joined({open_calls,
                {"Provider_TraceWrite entry 2227"},
                built,
                {"Provider_TraceWrite return code 305 at 2375", "Provider_TraceRegister C081E",
                 "Provider_TraceBegin C081E", "Provider_TraceWrite entry 2045", "Parser_GetErrorInfoSize",
                 "Provider_TraceRegister C081D", "Provider_TraceBegin C081D",
                 "Provider_TraceWrite entry 1980", "Provider_GetErrorMessage 305",
                 "Provider_TraceWrite data 2016", "Provider_TraceWrite exit 2025", "Provider_TraceEnd",
                 "Provider_TraceWrite exit 2105", "Provider_TraceEnd", "Adapter_FreeServiceDefinition",
                 "Provider_TraceWrite return code 306 at 2421", "Provider_TraceWrite return code 305 at 2427",
                 "Provider_TraceWrite exit 2427", "Provider_TraceEnd"}}));
    expect_kept({128});
}

TEST_F(ParameterParseTest, AnyCodeOfTheParserIsPassedOn)
{
    for (const std::int32_t code : {1, -1, 7219, INT_MAX, INT_MIN}) {
        engine.Parser_ParseParameters = [code](PRMA*) { return code; };
        engine.records.clear();
        EXPECT_EQ(parse(), code);
        EXPECT_EQ(engine.records, (std::vector{return_code_record(0xC0820, 2292, code),
                                               return_code_record(0xC0820, 2427, code)}));
    }
}

TEST_F(ParameterParseTest, MinusTwoIsReportedWhereItArisesButNotAtTheExit)
{
    trace_driver_alone();
    engine.Adapter_BuildServiceDefinition = [](PGDA*) { return -2; };
    EXPECT_EQ(parse(), -2);
    EXPECT_EQ(engine.records,
              (std::vector{entry(), return_code_record(0xC0820, 2375, -2), exit_record(0xC0820, 2427)}));
    EXPECT_EQ(without_trace(log), joined({built, fallback_calls(-2), released}));
    expect_kept({128});
}

TEST_F(ParameterParseTest, TheParsersOwnTextWinsOverTheEngines)
{
    engine.message = {0, u"heading", u"detail", u"trailing"};
    engine.Parser_ParseParameters = [](PRMA*) { return 302; };
    engine.Parser_GetErrorInfoSize = [](std::int16_t* count, std::int32_t* size) {
        *count = 1;
        *size = 48;
        return 0;
    };
    EXPECT_EQ(parse(), 302);
    EXPECT_EQ(without_trace(log), (CallLog{"Parser_Init", sizing, "Parser_GetErrorInfoSize",
                                           "Parser_GetErrorInfo", "Parser_FormatErrorText"}));
    EXPECT_EQ(std::u16string(error_text), u"heading:\ndetail\ntrailing");
}

// What the clean-up finds and leaves.

TEST_F(ParameterParseTest, TheTextOfAFailureIsSoughtBeforeAnythingIsFreed)
{
    extract_by([](PRMA*) { return 303; });
    engine.Parser_GetErrorInfoSize = [&](std::int16_t*, std::int32_t*) {
        EXPECT_EQ(heap.sizes(), (std::vector<std::size_t>{16, 128, 24, 40, 24, 40}));
        return 1;
    };
    parse();
    expect_kept({128});
}

TEST_F(ParameterParseTest, AFailedBuildIsReleasedAfterTheBuffersAndWithTheModeInTheOutputArea)
{
    const char* output = nullptr;
    engine.Adapter_BuildServiceDefinition = [&](PGDA* request) {
        output = value_at<const char*>(request, 40);
        std::memset(static_cast<void*>(request->pSvcDef), 0x22, 40);
        return 305;
    };
    engine.Adapter_FreeServiceDefinition = [&](SVCA* passed) {
        EXPECT_EQ(passed, &service);
        EXPECT_EQ(service_bytes(), Bytes(40, 0x22));
        EXPECT_EQ(Bytes::of(output, 8), Bytes(8).text(4, "M"));
        EXPECT_EQ(heap.sizes(), (std::vector<std::size_t>{128}));
        return 0;
    };
    EXPECT_EQ(parse(), 305);
    EXPECT_EQ(without_trace(log).back(), "Adapter_FreeServiceDefinition");
    expect_kept({128});
}

TEST_F(ParameterParseTest, TheModeIsWhatTheParserLeftInTheRequest)
{
    const char* output = nullptr;
    extract_by([](PRMA* request) {
        request->mode = 'Z';
        return 0;
    });
    engine.Adapter_BuildServiceDefinition = [&](PGDA* request) {
        output = value_at<const char*>(request, 40);
        return 305;
    };
    engine.Adapter_FreeServiceDefinition = [&](SVCA*) {
        EXPECT_EQ(Bytes::of(output, 8), Bytes(8).text(4, "Z"));
        return 0;
    };
    EXPECT_EQ(parse(), 305);
    expect_kept({128});
}

TEST_F(ParameterParseTest, ASuccessfulBuildIsNotReleased)
{
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(without_trace(log), built);
    expect_kept({128});
}

TEST_F(ParameterParseTest, TheArrayOfTheEntriesIsNotFreed)
{
    const void* entries = nullptr;
    extract_by([&](PRMA* request) {
        entries = request->entries;
        return 0;
    });
    pairs = 5;
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(heap.size_of(entries), 320U);
    EXPECT_EQ(heap.made(), 12U);
    EXPECT_EQ(heap.freed(), 11U);
    expect_kept({320});
}

TEST_F(ParameterParseTest, AfterAFailedArrayTheCountStandsWithoutAnArray)
{
    const PRMA* request = nullptr;
    engine.Parser_ParseParameters = [&, measure = engine.Parser_ParseParameters](PRMA* passed) {
        request = passed;
        return measure(passed);
    };
    engine.Parser_GetErrorInfoSize = [&](std::int16_t*, std::int32_t*) {
        EXPECT_EQ(value_at<const void*>(request, 8), nullptr);
        EXPECT_EQ(value_at<std::int32_t>(request, 16), 2);
        return 1;
    };
    heap.fail(2);
    EXPECT_EQ(parse(), 7220);
    EXPECT_TRUE(heap.held().empty());
}

TEST_F(ParameterParseTest, AKeyThatCannotBeHadLeavesItsEntryWithAHeaderAndTheKeysSize)
{
    const PRMA* request = nullptr;
    engine.Parser_ParseParameters = [&, measure = engine.Parser_ParseParameters](PRMA* passed) {
        request = passed;
        return measure(passed);
    };
    engine.Parser_GetErrorInfoSize = [&](std::int16_t*, std::int32_t*) {
        const KVPA* entries = request->entries;
        EXPECT_EQ(heap.sizes(), (std::vector<std::size_t>{16, 192, 24, 40}));
        EXPECT_EQ(Bytes::of(entries[0]), entry_bytes(entries[0].key, 24, entries[0].value, 40));
        EXPECT_EQ(Bytes::of(entries[1]), entry_bytes(nullptr, 24, nullptr, 0));
        EXPECT_EQ(Bytes::of(entries[2]), Bytes(64));
        return 1;
    };
    pairs = 3;
    heap.fail(5);
    EXPECT_EQ(parse(), 7221);
    expect_kept({192});
}

TEST_F(ParameterParseTest, TheEntriesBuffersAreFreedWhateverTheParserLeavesInTheRequest)
{
    for (const std::int32_t recount : {0, 1, INT_MAX, INT_MIN}) {
        extract_by([recount](PRMA* request) {
            request->pairCount = recount;
            request->entryCount = recount;
            request->entries = nullptr;
            return 0;
        });
        EXPECT_EQ(parse(), 0);
        expect_kept({128});
    }
}

TEST_F(ParameterParseTest, EntriesThatTheParserMadeForItselfAreNotTouched)
{
    KVPA of_the_parser{};
    of_the_parser.key = static_cast<char*>(std::malloc(8));
    engine.Parser_ParseParameters = [&](PRMA* request) {
        request->entries = &of_the_parser;
        request->entryCount = 1;
        return 302;
    };
    EXPECT_EQ(parse(), 302);
    expect_kept({8});
}

// Counts and sizes.

TEST_F(ParameterParseTest, WithoutPairsThereIsNoEntryAndTheAdapterIsStillCalled)
{
    pairs = 0;
    engine.Adapter_BuildServiceDefinition = [&](PGDA* request) {
        EXPECT_EQ(value_at<std::int32_t>(request->parameters, 16), 0);
        EXPECT_EQ(heap.sizes(), (std::vector<std::size_t>{16, 0}));
        return 0;
    };
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(without_trace(log), built);
    expect_kept({0});
}

TEST_F(ParameterParseTest, WithoutPairsAnArrayThatCannotBeHadIsNoFailure)
{
    pairs = 0;
    heap.fail(2);
    engine.Adapter_BuildServiceDefinition = [](PGDA* request) {
        EXPECT_EQ(request->parameters->entries, nullptr);
        return 0;
    };
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(heap.refused_size(), 0U);
    EXPECT_EQ(without_trace(log), built);
    EXPECT_TRUE(engine.records.empty());
    EXPECT_TRUE(heap.held().empty());
}

TEST_F(ParameterParseTest, TheProductOfAHugeCountIs64BitsWide)
{
    pairs = INT_MAX;
    heap.fail(2);
    EXPECT_EQ(parse(), 7220);
    EXPECT_EQ(heap.refused_size(), 137'438'953'408U);
    EXPECT_TRUE(heap.held().empty());
}

TEST_F(ParameterParseTest, ACountWhoseProductWouldVanishIn32BitsIsAskedForInFull)
{
    pairs = 0x4000000;
    heap.fail(2);
    EXPECT_EQ(parse(), 7220);
    EXPECT_EQ(heap.refused_size(), 0x100000000U);
}

TEST_F(ParameterParseTest, ANegativeCountOrSizeIsNotAskedOfTheHeap)
{
    pairs = -1;
    EXPECT_EQ(parse(), 7220);
    EXPECT_EQ(heap.made(), 1U); // the input descriptor
    pairs = 1;
    key_bytes = -1;
    EXPECT_EQ(parse(), 7221);
    EXPECT_EQ(heap.made(), 3U);
    key_bytes = 24;
    value_bytes = -1;
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(heap.made(), 6U);
    expect_kept({64, 64});
}

TEST_F(ParameterParseTest, AHugeKeyIsLeftToTheAllocation)
{
    key_bytes = INT_MAX;
    heap.fail(3);
    EXPECT_EQ(parse(), 7221);
    EXPECT_EQ(heap.refused_size(), 2'147'483'647U);
    expect_kept({128});
}

TEST_F(ParameterParseTest, BuffersOfNoByteAreBuffers)
{
    key_bytes = value_bytes = 0;
    extract_by([&](PRMA* request) {
        EXPECT_EQ(heap.sizes(), (std::vector<std::size_t>{16, 128, 0, 0, 0, 0}));
        EXPECT_NE(request->entries[1].value, nullptr);
        return 0;
    });
    EXPECT_EQ(parse(), 0);
    expect_kept({128});
}

TEST_F(ParameterParseTest, ALaterKeyThatCannotBeHadFreesTheEntriesBeforeIt)
{
    pairs = 3;
    heap.fail(7);
    EXPECT_EQ(parse(), 7221);
    EXPECT_EQ(heap.made(), 7U);
    EXPECT_EQ(heap.freed(), 5U);
    expect_kept({192});
}

// A value buffer that cannot be had is the parser's to refuse.

TEST_F(ParameterParseTest, AValueThatCannotBeHadStaysNullAndTheParserIsStillCalled)
{
    const std::size_t values[] = {4, 6};
    for (std::size_t failing = 0; failing < 2; ++failing) {
        engine.Parser_ParseParameters = [this](PRMA* request) {
            request->pairCount = pairs;
            request->keySize = key_bytes;
            request->valueSize = value_bytes;
            return 0;
        };
        extract_by([&](PRMA* request) {
            const KVPA* entries = request->entries;
            EXPECT_EQ(Bytes::of(entries[failing]), entry_bytes(entries[failing].key, 24, nullptr, 40));
            EXPECT_EQ(heap.size_of(entries[1 - failing].value), 40U);
            EXPECT_EQ(heap.size_of(entries[failing].key), 24U);
            return 4242;
        });
        heap.fail(values[failing]);
        EXPECT_EQ(parse(), 4242);
        EXPECT_TRUE(heap.has_failed());
        EXPECT_EQ(heap.refused_size(), 40U);
        expect_kept({128});
    }
}

TEST_F(ParameterParseTest, AValueThatCannotBeHadIsNever7222)
{
    heap.fail(4);
    EXPECT_EQ(parse(), 0);
    EXPECT_TRUE(heap.has_failed());
    EXPECT_TRUE(engine.records.empty());
    EXPECT_EQ(without_trace(log), built);
    expect_kept({128});
}

TEST_F(ParameterParseTest, ANegativeValueSizeLeavesTheValuesNull)
{
    for (const std::int32_t size : {-1, INT_MIN}) {
        value_bytes = size;
        engine.Adapter_BuildServiceDefinition = [&](PGDA* request) {
            for (std::size_t i = 0; i < 2; ++i) {
                const KVPA& entry = request->parameters->entries[i];
                EXPECT_EQ(Bytes::of(entry), entry_bytes(entry.key, 24, nullptr, size));
            }
            EXPECT_EQ(heap.sizes(), (std::vector<std::size_t>{16, 128, 24, 24}));
            return 0;
        };
        EXPECT_EQ(parse(), 0);
        expect_kept({128});
    }
}

// The failure flag of an extraction pass that returns 0.

TEST_F(ParameterParseTest, TheFailureFlagAloneEndsTheParseWithResult0AndWithoutTheAdapter)
{
    trace_driver_alone();
    for (const std::uint8_t flag : {std::uint8_t{1}, std::uint8_t{0x80}, std::uint8_t{0xFF}}) {
        extract_by([flag](PRMA* request) {
            request->failed = flag;
            return 0;
        });
        log.clear();
        engine.records.clear();
        EXPECT_EQ(first_parse(), 0);
        EXPECT_EQ(without_trace(log), extracted);
        // A return code of 0 is never reported, at line 2344 neither.
        EXPECT_EQ(engine.records, (std::vector{entry(), exit_record(0xC0820, 2427)}));
        EXPECT_EQ(adapter_started, 0);
        EXPECT_EQ(service_bytes(), Bytes(40, untouched));
        EXPECT_EQ(id_bytes(), Bytes(12, untouched));
        expect_kept({128});
    }
}

// The error text.

TEST_F(ParameterParseTest, TheDefaultTextStandsBeforeTheFirstLibraryCall)
{
    set_error_text(u"former");
    engine.Parser_Init = [] {
        EXPECT_EQ(std::u16string(error_text), default_error);
        return 301;
    };
    parse();
    EXPECT_EQ(std::u16string(error_text), default_error);
}

TEST_F(ParameterParseTest, WithoutAScopeForTheEnginesTextTheDefaultOneStays)
{
    engine.message = {0, u"heading", u"", u""};
    engine.trace_of[trace::GetErrorText] = {.begin_status = 3};
    engine.Parser_Init = [] { return 301; };
    EXPECT_EQ(parse(), 301);
    EXPECT_EQ(std::u16string(error_text), default_error);
}

TEST_F(ParameterParseTest, WithoutAScopeOfItsOwnNothingIsDone)
{
    set_error_text(u"former");
    for (const std::int32_t status : {55, -55, -2}) {
        engine.trace = {.begin_status = status, .mask = trace_all};
        EXPECT_EQ(parse(), status);
    }
    EXPECT_EQ(without_trace(log), CallLog{});
    EXPECT_TRUE(engine.records.empty());
    EXPECT_EQ(std::u16string(error_text), u"former");
    EXPECT_EQ(service_bytes(), Bytes(40, untouched));
    EXPECT_EQ(id_bytes(), Bytes(12, untouched));
    EXPECT_EQ(heap.made(), 0U);
}

} // namespace
} // namespace velk::test
