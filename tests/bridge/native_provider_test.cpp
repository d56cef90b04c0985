// The natives of NativeProvider: a provider's start, its service calls and its end.

#include "bridge/bridge_test.h"
#include "records/definitions.h"
#include "records/rowdata.h"

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

namespace velk::test {

namespace {

class NativeProviderTest : public BridgeTest {
protected:
    NativeProviderTest() { jvm.set_record(service, &service_record); }

    jint initialize(jstring service_id, jobject definition, jboolean flag = 0)
    {
        return jvm.run(Java_com_brel_sorn_velk_NativeProvider_initializeProvider0, self, service_id,
                       definition, flag);
    }
    jint serve(jint handle, jobject definition, jobject rows)
    {
        return jvm.run(Java_com_brel_sorn_velk_NativeProvider_serviceProvider0, self, handle, definition,
                       rows);
    }
    jint terminate(jint handle)
    {
        return jvm.run(Java_com_brel_sorn_velk_NativeProvider_terminateProvider0, self, handle);
    }

    jobject self = jvm.object(provider_class);
    jobject service = jvm.object(service_definition_class);
    SVCA service_record{};
};

jstring named_id(Jvm& jvm, std::u16string_view text)
{
    const jstring id = jvm.string(text);
    jvm.name(id, "serviceId");
    return id;
}

// What an engine failure adds before its throw.
CallLog failure_calls(std::int32_t status, std::size_t text_units, int line)
{
    const std::string code = std::to_string(status);
    return {"Provider_TraceRegister C081D",
            "Provider_TraceBegin C081D",
            "Provider_GetErrorMessage " + code,
            "Provider_TraceEnd",
            "Cnv_Utf16ToUtf8 length " + std::to_string(text_units) + " capacity 3184 no output length",
            "Provider_TraceWrite return code " + code + " at " + std::to_string(line)};
}

// initializeProvider0

class InitializeProviderTest : public NativeProviderTest {
protected:
    jstring id = named_id(jvm, u"service");
};

TEST_F(InitializeProviderTest, ConvertsTheIdAndStartsTheProvider)
{
    engine.trace.mask = trace_all;
    SVCA* passed = nullptr;
    engine.Provider_Init = [&](std::int32_t* handle, const char*, std::int32_t, SVCA* record, std::uint8_t) {
        EXPECT_EQ(*handle, 0);
        *handle = 4711;
        passed = record;
        return 0;
    };
    EXPECT_EQ(initialize(id, service, 1), 4711);
    EXPECT_EQ(passed, &service_record);
    EXPECT_EQ(log, (CallLog{"Provider_TraceRegister C0805", "Provider_TraceBegin C0805",
                            "Provider_TraceWrite entry 507", "GetStringLength serviceId",
                            "GetStringChars serviceId", "Cnv_Utf16ToUtf8 length 7 capacity 256",
                            "ReleaseStringChars serviceId", "GetLongField ServiceDefinition.pointer",
                            "Provider_TraceWrite data 523", "Provider_Init \"service\" 7 SVCA 1",
                            "Provider_TraceWrite exit 547", "Provider_TraceEnd"}));
    EXPECT_EQ(
        engine.records,
        (std::vector{entry_record(0xC0805, 507, {pointer_item("env", jvm.env())}),
                     data_record(0xC0805, 523,
                                 {integer_item("jServiceIdLength", 7), narrow_item("serviceId", "service"),
                                  pointer_item("jServiceDefinitionPointer", &service_record)}),
                     exit_record(0xC0805, 547)}));
}

TEST_F(InitializeProviderTest, TheHandleIsReturnedWhateverItsSign)
{
    for (const std::int32_t started : {1, -1, INT_MAX, INT_MIN}) {
        engine.Provider_Init = [started](std::int32_t* handle, auto...) {
            *handle = started;
            return 0;
        };
        EXPECT_EQ(initialize(id, service), started);
    }
}

TEST_F(InitializeProviderTest, TheFlagIsPassedUnchanged)
{
    initialize(id, service, 0);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Provider_Init \"service\" 7 SVCA 0"), 1);
    initialize(id, service, 1);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Provider_Init \"service\" 7 SVCA 1"), 1);
}

TEST_F(InitializeProviderTest, TheLengthIsThatOfTheJavaStringNotOfItsUtf8)
{
    initialize(named_id(jvm, u"\u00E9\u20AC\U0001F600"), service);
    EXPECT_EQ(
        std::count(log.begin(), log.end(), "Provider_Init \"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\" 4 SVCA 0"),
        1);
}

TEST_F(InitializeProviderTest, AnEmptyIdIsPassedOn)
{
    initialize(named_id(jvm, u""), service);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Provider_Init \"\" 0 SVCA 0"), 1);
}

TEST_F(InitializeProviderTest, AnIdWhoseUtf8IsTooLongIsNotRejected)
{
    initialize(named_id(jvm, std::u16string(200, u'\u00E9')), service);
    std::string cut;
    for (int i = 0; i < 128; ++i) cut += "\xC3\xA9";
    EXPECT_EQ(std::count(log.begin(), log.end(), "Cnv_Utf16ToUtf8 length 200 capacity 256"), 1);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Provider_Init \"" + cut + "\" 200 SVCA 0"), 1);
}

TEST_F(InitializeProviderTest, TheBufferIsClearedAndEndsBehindAFullConversion)
{
    engine.Cnv_Utf16ToUtf8 = [](char* destination, std::int64_t capacity, auto...) {
        EXPECT_TRUE(std::all_of(destination, destination + capacity, [](char byte) { return byte == 0; }));
        std::memset(destination, 'x', static_cast<std::size_t>(capacity));
        return 9; // nobody looks at it
    };
    initialize(id, service);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Provider_Init \"" + std::string(256, 'x') + "\" 7 SVCA 0"),
              1);
}

TEST_F(InitializeProviderTest, TheIdIsConvertedTheSameWayWithTheWideConversionFlagSet)
{
    wide_conversion = 1;
    initialize(id, service);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Cnv_Utf16ToUtf8 length 7 capacity 256"), 1);
}

TEST_F(InitializeProviderTest, ADefinitionWithoutARecordIsPassedAsNull)
{
    jvm.set_record(service, nullptr);
    initialize(id, service);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Provider_Init \"service\" 7 null 0"), 1);
}

TEST_F(InitializeProviderTest, ANullDefinitionIsPassedAsANullRecord)
{
    initialize(id, nullptr);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Provider_Init \"service\" 7 null 0"), 1);
}

TEST_F(InitializeProviderTest, AFailureThrowsTheEnginesTextAndReturnsNoHandle)
{
    engine.message = {0, u"heading", u"detail", u"trailing"};
    engine.Provider_Init = [](std::int32_t* handle, auto...) {
        *handle = 4711;
        return -31;
    };
    EXPECT_EQ(initialize(id, service), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("heading:\ndetail\ntrailing", -31));
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C0805", "Provider_TraceBegin C0805",
                            "GetStringLength serviceId", "GetStringChars serviceId",
                            "Cnv_Utf16ToUtf8 length 7 capacity 256", "ReleaseStringChars serviceId",
                            "GetLongField ServiceDefinition.pointer", "Provider_Init \"service\" 7 SVCA 0"},
                           failure_calls(-31, 24, 541),
                           throw_calls("heading:\ndetail\ntrailing"),
                           {"Provider_TraceEnd"}}));
}

TEST_F(InitializeProviderTest, AFailureIsReportedOnce)
{
    engine.trace.mask = trace_mask_entry;
    engine.trace_of[trace::GetErrorText] = {};
    engine.Provider_Init = [](auto...) { return 5; };
    initialize(id, service);
    EXPECT_EQ(jvm.take_exception(), velk_exception(":\n\n", 5));
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC0805, 507, {pointer_item("env", jvm.env())}),
                                           return_code_record(0xC0805, 541, 5), exit_record(0xC0805, 547)}));
}

TEST_F(InitializeProviderTest, AFailureIsConvertedFromWideTextWithTheWideConversionFlagSet)
{
    wide_conversion = 1;
    engine.Provider_Init = [](auto...) { return 5; };
    initialize(id, service);
    jvm.take_exception();
    EXPECT_EQ(std::count(log.begin(), log.end(), "Cnv_WideToUtf8 length 3 capacity 3184 no output length"),
              1);
}

TEST_F(InitializeProviderTest, AFailureWithoutATextThrowsTheFormerOne)
{
    engine.message = {0, u"former", u"", u""};
    GetErrorText(1);
    engine.message.status = 9;
    engine.Provider_Init = [](auto...) { return 5; };
    initialize(id, service);
    EXPECT_EQ(jvm.take_exception(), velk_exception("former:\n\n", 5));
}

TEST_F(InitializeProviderTest, AFailureReturnsNoHandleWhateverThrowGave)
{
    engine.Provider_Init = [](auto...) { return 5; };
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -6});
    EXPECT_EQ(initialize(id, service), 0);
}

TEST_F(InitializeProviderTest, ANullIdThrows)
{
    engine.trace.mask = trace_mask_entry;
    EXPECT_EQ(initialize(nullptr, service), 0);
    EXPECT_EQ(jvm.take_exception(),
              velk_exception("NativeProvider.initializeProvider0: serviceId is null", -1));
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC0805, 507, {pointer_item("env", jvm.env())}),
                                           return_code_record(0xC0805, 547, -1), exit_record(0xC0805, 547)}));
    EXPECT_EQ(without_trace(log), throw_calls("NativeProvider.initializeProvider0: serviceId is null"));
}

TEST_F(InitializeProviderTest, WithoutTheIdsCharactersNothingIsStarted)
{
    jvm.fail({.function = "GetStringChars"});
    EXPECT_EQ(initialize(id, service), 0);
    EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
    EXPECT_EQ(log, (CallLog{"Provider_TraceRegister C0805", "Provider_TraceBegin C0805",
                            "GetStringLength serviceId", "GetStringChars serviceId", "Provider_TraceEnd"}));
}

TEST_F(InitializeProviderTest, BeforeInit0NothingIsDoneButTheTrace)
{
    engine.trace.mask = trace_all;
    unload();
    EXPECT_EQ(initialize(id, service), 0);
    EXPECT_EQ(
        log, (CallLog{"Provider_TraceRegister C0805", "Provider_TraceBegin C0805",
                      "Provider_TraceWrite entry 507", "Provider_TraceWrite exit 547", "Provider_TraceEnd"}));
}

TEST_F(InitializeProviderTest, AllocatesNothing)
{
    Allocations heap;
    engine.Provider_Init = [](auto...) { return 5; };
    initialize(id, service);
    jvm.take_exception();
    EXPECT_EQ(heap.made(), 0U);
}

// serviceProvider0

class ServiceProviderTest : public NativeProviderTest {
protected:
    ServiceProviderTest()
    {
        jvm.set_record(row_set, &set_record);
        set_record.firstRow = &rows[0];
        for (std::size_t i = 0; i < 3; ++i) {
            rows[i].next = i < 2 ? &rows[i + 1] : nullptr;
            rows[i].reserved16 = static_cast<std::uint8_t>(0xF0 + i);
            rows[i].hasError = 1;
        }
    }

    jobject row_set = jvm.object(row_set_class);
    RWST set_record{};
    ROWD rows[3]{};
};

const CallLog record_reads = {"GetLongField ServiceDefinition.pointer", "GetLongField RowSet.pointer"};

TEST_F(ServiceProviderTest, HandsTheRecordsToTheEngine)
{
    engine.trace.mask = trace_all;
    engine.Provider_Service = [&](std::int32_t handle, std::uint16_t request, SVCA* definition, RWST* set) {
        EXPECT_EQ(handle, -3);
        EXPECT_EQ(request, 5128);
        EXPECT_EQ(definition, &service_record);
        EXPECT_EQ(set, &set_record);
        return 0;
    };
    EXPECT_EQ(serve(-3, service, row_set), 0);
    EXPECT_EQ(
        log,
        joined(
            {{"Provider_TraceRegister C0806", "Provider_TraceBegin C0806", "Provider_TraceWrite entry 570"},
             record_reads,
             {"Provider_Service -3 1408 SVCA RWST", "Provider_TraceWrite exit 618", "Provider_TraceEnd"}}));
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC0806, 570, {pointer_item("env", jvm.env())}),
                                           exit_record(0xC0806, 618)}));
}

TEST_F(ServiceProviderTest, EveryRowsReservedByteIsZeroWhenTheEngineSeesIt)
{
    ROWD expected[3];
    std::copy(rows, rows + 3, expected);
    for (ROWD& row : expected) row.reserved16 = 0;
    engine.Provider_Service = [&](auto...) {
        EXPECT_EQ(std::memcmp(rows, expected, sizeof rows), 0);
        return 0;
    };
    serve(1, service, row_set);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Provider_Service 1 1408 SVCA RWST"), 1);
}

TEST_F(ServiceProviderTest, ADefinitionWithoutARecordIsPassedAsNull)
{
    jvm.set_record(service, nullptr);
    serve(1, service, row_set);
    EXPECT_EQ(without_trace(log), joined({record_reads, {"Provider_Service 1 1408 null RWST"}}));
}

TEST_F(ServiceProviderTest, ANullDefinitionIsPassedAsANullRecord)
{
    serve(1, nullptr, row_set);
    EXPECT_EQ(without_trace(log),
              (CallLog{"GetLongField RowSet.pointer", "Provider_Service 1 1408 null RWST"}));
}

TEST_F(ServiceProviderTest, ARowSetWithoutARecordThrowsBeforeTheEngineIsCalled)
{
    engine.trace.mask = trace_mask_entry;
    jvm.set_record(row_set, nullptr);
    EXPECT_EQ(serve(1, service, row_set), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("pDpRowSetDef is NULL", -1));
    EXPECT_EQ(without_trace(log), joined({record_reads, throw_calls("pDpRowSetDef is NULL")}));
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC0806, 570, {pointer_item("env", jvm.env())}),
                                           return_code_record(0xC0806, 584, -1), exit_record(0xC0806, 618)}));
}

TEST_F(ServiceProviderTest, ANullRowSetThrowsLikeOneWithoutARecord)
{
    EXPECT_EQ(serve(1, service, nullptr), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("pDpRowSetDef is NULL", -1));
    EXPECT_EQ(engine.records, std::vector{return_code_record(0xC0806, 584, -1)});
}

TEST_F(ServiceProviderTest, ARowSetWithoutRowsThrowsBeforeTheEngineIsCalled)
{
    engine.trace.mask = trace_mask_entry;
    set_record.firstRow = nullptr;
    EXPECT_EQ(serve(1, service, row_set), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("pDpRowDefine is NULL", -1));
    EXPECT_EQ(without_trace(log), joined({record_reads, throw_calls("pDpRowDefine is NULL")}));
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC0806, 570, {pointer_item("env", jvm.env())}),
                                           return_code_record(0xC0806, 593, -1), exit_record(0xC0806, 618)}));
}

TEST_F(ServiceProviderTest, AFailureThrowsTheEnginesText)
{
    engine.message = {0, u"heading", u"detail", u"trailing"};
    engine.Provider_Service = [](auto...) { return 812; };
    EXPECT_EQ(serve(1, service, row_set), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("heading:\ndetail\ntrailing", 812));
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C0806", "Provider_TraceBegin C0806"},
                           record_reads,
                           {"Provider_Service 1 1408 SVCA RWST"},
                           failure_calls(812, 24, 613),
                           throw_calls("heading:\ndetail\ntrailing"),
                           {"Provider_TraceEnd"}}));
}

TEST_F(ServiceProviderTest, AFailureIsReportedOnceAndMinusTwoLikeAnyOther)
{
    engine.trace.mask = trace_mask_entry;
    engine.trace_of[trace::GetErrorText] = {};
    engine.Provider_Service = [](auto...) { return -2; };
    EXPECT_EQ(serve(1, service, row_set), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception(":\n\n", -2));
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC0806, 570, {pointer_item("env", jvm.env())}),
                                           return_code_record(0xC0806, 613, -2), exit_record(0xC0806, 618)}));
}

TEST_F(ServiceProviderTest, AFailureIsConvertedFromWideTextWithTheWideConversionFlagSet)
{
    wide_conversion = 1;
    engine.Provider_Service = [](auto...) { return 5; };
    serve(1, service, row_set);
    jvm.take_exception();
    EXPECT_EQ(std::count(log.begin(), log.end(), "Cnv_WideToUtf8 length 3 capacity 3184 no output length"),
              1);
}

TEST_F(ServiceProviderTest, AFailureReturnsZeroWhateverThrowGave)
{
    engine.Provider_Service = [](auto...) { return 5; };
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -6});
    EXPECT_EQ(serve(1, service, row_set), 0);
}

TEST_F(ServiceProviderTest, BeforeInit0NothingIsDoneButTheTrace)
{
    engine.trace.mask = trace_all;
    unload();
    EXPECT_EQ(serve(1, service, row_set), 0);
    EXPECT_EQ(
        log, (CallLog{"Provider_TraceRegister C0806", "Provider_TraceBegin C0806",
                      "Provider_TraceWrite entry 570", "Provider_TraceWrite exit 618", "Provider_TraceEnd"}));
    EXPECT_EQ(rows[0].reserved16, 0xF0);
}

// terminateProvider0

using TerminateProviderTest = NativeProviderTest;

TEST_F(TerminateProviderTest, EndsTheProvider)
{
    engine.trace.mask = trace_all;
    EXPECT_EQ(terminate(-3), 0);
    EXPECT_EQ(log, (CallLog{"Provider_TraceRegister C0807", "Provider_TraceBegin C0807",
                            "Provider_TraceWrite entry 635", "Provider_Term -3",
                            "Provider_TraceWrite exit 648", "Provider_TraceEnd"}));
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC0807, 635, {pointer_item("env", jvm.env())}),
                                           exit_record(0xC0807, 648)}));
}

TEST_F(TerminateProviderTest, AFailureThrowsAFixedTextAndAsksForNone)
{
    engine.trace.mask = trace_mask_entry;
    engine.Provider_Term = [](std::int32_t) { return -44; };
    EXPECT_EQ(terminate(9), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("Provider_Term failed", -44));
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C0807", "Provider_TraceBegin C0807",
                            "Provider_TraceWrite entry 635", "Provider_Term 9",
                            "Provider_TraceWrite return code -44 at 643"},
                           throw_calls("Provider_Term failed"),
                           {"Provider_TraceWrite exit 648", "Provider_TraceEnd"}}));
}

TEST_F(TerminateProviderTest, AFailureReturnsZeroWhateverThrowGave)
{
    engine.Provider_Term = [](std::int32_t) { return 5; };
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -6});
    EXPECT_EQ(terminate(9), 0);
}

TEST_F(TerminateProviderTest, EndsTheProviderBeforeInit0Too)
{
    unload();
    EXPECT_EQ(terminate(9), 0);
    EXPECT_EQ(without_trace(log), CallLog{"Provider_Term 9"});
}

} // namespace
} // namespace velk::test
