// The thrown VELKException, and the engine's text for an error code.

#include "bridge/bridge_test.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace velk::test {

namespace {

const std::u16string error_text_at_load(error_text, error_text_capacity);

using ThrowTest = BridgeTest;

TEST_F(ThrowTest, MakesTheStringAndTheExceptionAndThrows)
{
    EXPECT_EQ(jvm.run(ThrowVELKException, "something failed", 5), 0);
    EXPECT_EQ(log, throw_calls("something failed"));
    EXPECT_EQ(jvm.take_exception(), velk_exception("something failed", 5));
    EXPECT_EQ(jvm.left(), std::vector<std::string>{"VELKException"});
}

TEST_F(ThrowTest, TheCodeIsPassedOnWithoutASignChange)
{
    for (const std::int32_t code : {0, 1, -1, -2, 7219, INT_MAX, INT_MIN}) {
        jvm.run(ThrowVELKException, "x", code);
        EXPECT_EQ(jvm.take_exception(), velk_exception("x", code));
    }
}

TEST_F(ThrowTest, TheMessageIsPassedOnByteForByte)
{
    const std::string message = "gr\xC3\xBC\xC3\x9F \xE2\x82\xAC\n\tend";
    jvm.run(ThrowVELKException, message.c_str(), 1);
    EXPECT_EQ(jvm.take_exception(), velk_exception(message, 1));
}

TEST_F(ThrowTest, AnEmptyMessageIsAMessage)
{
    jvm.run(ThrowVELKException, "", 1);
    EXPECT_EQ(jvm.take_exception(), velk_exception("", 1));
}

TEST_F(ThrowTest, GivesWhatThrowGave)
{
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -6});
    EXPECT_EQ(jvm.run(ThrowVELKException, "x", 1), -6);
    EXPECT_EQ(jvm.take_exception(), std::nullopt);
}

TEST_F(ThrowTest, WithoutAStringTheExceptionHasTheCodeAndNoMessage)
{
    jvm.may_run_pending = {"NewObject", "Throw"};
    for (const char* pending : {"java/lang/OutOfMemoryError", static_cast<const char*>(nullptr)}) {
        log.clear();
        jvm.fail({.function = "NewStringUTF", .exception = pending});
        EXPECT_EQ(jvm.run(ThrowVELKException, "x", -7), 0);
        EXPECT_EQ(log, (CallLog{"NewStringUTF x", "NewObject VELKException", "DeleteLocalRef null",
                                "Throw VELKException"}));
        EXPECT_EQ(jvm.take_exception(), velk_exception(std::nullopt, -7));
    }
}

TEST_F(ThrowTest, WithNeitherAStringNorAnExceptionObjectNothingIsThrown)
{
    jvm.may_run_pending = {"NewObject"};
    jvm.fail({.function = "NewStringUTF"});
    jvm.fail({.function = "NewObject", .exception = nullptr});
    EXPECT_EQ(jvm.run(ThrowVELKException, "x", 1), 0);
    EXPECT_EQ(log, (CallLog{"NewStringUTF x", "NewObject VELKException", "DeleteLocalRef null"}));
    EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
}

TEST_F(ThrowTest, WithoutAnExceptionObjectTheJvmsOwnExceptionSurfaces)
{
    jvm.fail({.function = "NewObject"});
    EXPECT_EQ(jvm.run(ThrowVELKException, "x", 1), 0);
    EXPECT_EQ(log, (CallLog{"NewStringUTF x", "NewObject VELKException", "DeleteLocalRef String"}));
    EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
}

TEST_F(ThrowTest, BeforeInit0AnIllegalStateExceptionSaysWhatIsMissing)
{
    unload();
    jvm.may_leave = {"class IllegalStateException"};
    EXPECT_EQ(jvm.run(ThrowVELKException, "Provider_Term failed", -4), 0);
    EXPECT_EQ(jvm.take_exception(), (Thrown{"java/lang/IllegalStateException",
                                            "VELK.init0 has not run: Provider_Term failed (-4)", 0}));
}

TEST_F(ThrowTest, AfterAFailedInit0AnIllegalStateExceptionSaysThatItFailed)
{
    const jobject velk = jvm.object(velk_class);
    jvm.may_leave = {"class IllegalStateException"};
    jvm.fail({.function = "GetFieldID"});
    jvm.run(Java_com_brel_sorn_velk_VELK_init0, velk);
    jvm.take_exception();
    jvm.accept_globals();
    EXPECT_EQ(jvm.run(ThrowVELKException, "Provider_Term failed", -4), 0);
    EXPECT_EQ(jvm.take_exception(), (Thrown{"java/lang/IllegalStateException",
                                            "VELK.init0 has failed: Provider_Term failed (-4)", 0}));
    jvm.run(Java_com_brel_sorn_velk_VELK_init0, velk); // succeeds
    jvm.accept_globals();
    jvm.run(ThrowVELKException, "Provider_Term failed", -4);
    EXPECT_EQ(jvm.take_exception(), velk_exception("Provider_Term failed", -4));
}

TEST_F(ThrowTest, WhereTheIllegalStateExceptionCannotBeMadeTheJvmsOwnSurfaces)
{
    unload();
    jvm.fail({.function = "FindClass"});
    EXPECT_EQ(jvm.run(ThrowVELKException, "x", 1), 0);
    EXPECT_EQ(log, CallLog{"FindClass java/lang/IllegalStateException"});
    EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
}

class ErrorTextTest : public BridgeTest {
protected:
    std::u16string composed()
    {
        EXPECT_EQ(GetErrorText(1), error_text);
        return error_text;
    }
};

TEST_F(ErrorTextTest, TheBufferHasRoomForThreeTextsAndIsEmptyAtLoad)
{
    EXPECT_EQ(sizeof error_text, 6384U);
    EXPECT_EQ(error_text_at_load, std::u16string(3192, u'\0'));
}

template <class Value> Value value_at(const void* record, std::size_t offset)
{
    Value value;
    std::memcpy(&value, static_cast<const char*>(record) + offset, sizeof value);
    return value;
}

TEST_F(ErrorTextTest, TheRequestHasEachFieldAtItsOffsetAndZeroElsewhere)
{
    std::vector<char> bytes;
    engine.Provider_GetErrorMessage = [&](EMSG* request) {
        const auto* begin = reinterpret_cast<const char*>(request);
        bytes.assign(begin, begin + 40);
        return 0;
    };
    GetErrorText(0x89ABCDEF);
    ASSERT_EQ(bytes.size(), 40U);
    EXPECT_EQ(std::string(bytes.data(), 4), "EMSG");
    EXPECT_EQ(value_at<std::uint16_t>(bytes.data(), 4), 21);
    EXPECT_EQ(value_at<std::uint16_t>(bytes.data(), 6), 40);
    EXPECT_EQ(value_at<std::uint32_t>(bytes.data(), 8), 0x89ABCDEFU);
    EXPECT_EQ(value_at<std::uint32_t>(bytes.data(), 12), 0U);
    EXPECT_EQ(value_at<std::uint64_t>(bytes.data(), 16), 0U);
    EXPECT_EQ(bytes[24], 'W');
    EXPECT_EQ(std::string(bytes.data() + 25, 7), std::string(7, '\0'));
    EXPECT_NE(value_at<const void*>(bytes.data(), 32), nullptr);
}

TEST_F(ErrorTextTest, TheBuffersHaveTheirCapacitiesAndAreZeroed)
{
    engine.Provider_GetErrorMessage = [&](EMSG* request) {
        const void* buffers = value_at<const void*>(request, 32);
        const std::uint32_t capacities[] = {1046, 2150, 3174};
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(value_at<std::uint32_t>(buffers, 4 * i), capacities[i]);
            const auto* text = value_at<const char*>(buffers, 16 + 8 * i);
            EXPECT_TRUE(std::all_of(text, text + capacities[i], [](char byte) { return byte == 0; }));
        }
        return 0;
    };
    GetErrorText(1);
    GetErrorText(1);
}

TEST_F(ErrorTextTest, IsTheThreeTextsWithTheirSeparators)
{
    engine.message = {0, u"heading", u"detail", u"trailing"};
    EXPECT_EQ(composed(), u"heading:\ndetail\ntrailing");
}

TEST_F(ErrorTextTest, OfEmptyTextsIsAColonAndTwoLineFeeds)
{
    EXPECT_EQ(composed(), u":\n\n");
}

TEST_F(ErrorTextTest, TheDetailEndsAtTheMarkOfAnUnknownToken)
{
    engine.message = {0, u"h", u"some words Input [UNKNOWN TOKEN] and more", u"t"};
    EXPECT_EQ(composed(), u"h:\nsome words\nt");
}

TEST_F(ErrorTextTest, TheDetailEndsAtTheFirstOfTwoMarks)
{
    engine.message = {0, u"h", u"a Input [UNKNOWN TOKEN] b Input [UNKNOWN TOKEN] c", u"t"};
    EXPECT_EQ(composed(), u"h:\na\nt");
}

TEST_F(ErrorTextTest, ADetailThatBeginsWithTheMarkIsEmpty)
{
    engine.message = {0, u"h", u" Input [UNKNOWN TOKEN] b", u"t"};
    EXPECT_EQ(composed(), u"h:\n\nt");
}

TEST_F(ErrorTextTest, WhatIsOnlyNearlyTheMarkStays)
{
    engine.message = {0, u"h", u"Input [UNKNOWN TOKEN], Input [UNKNOWN TOKEN", u"t"};
    EXPECT_EQ(composed(), u"h:\nInput [UNKNOWN TOKEN], Input [UNKNOWN TOKEN\nt");
}

TEST_F(ErrorTextTest, TheMarkIsCutFromTheDetailOnly)
{
    engine.message = {0, u"a Input [UNKNOWN TOKEN] b", u"c", u"d Input [UNKNOWN TOKEN] e"};
    EXPECT_EQ(composed(), u"a Input [UNKNOWN TOKEN] b:\nc\nd Input [UNKNOWN TOKEN] e");
}

TEST_F(ErrorTextTest, TextsThatFillTheirCapacitiesEndThere)
{
    const std::u16string full1(523, u'1'), full2(1075, u'2'), full3(1587, u'3');
    engine.message = {0, full1, full2, full3};
    EXPECT_EQ(composed(), full1 + u":\n" + full2 + u"\n" + full3);
}

TEST_F(ErrorTextTest, AShorterTextReplacesALongerOne)
{
    engine.message = {0, u"a long heading", u"a long detail", u"a long trailing text"};
    composed();
    engine.message = {0, u"a", u"b", u"c"};
    EXPECT_EQ(composed(), u"a:\nb\nc");
}

TEST_F(ErrorTextTest, WithoutATextTheResultIsNullAndTheFormerTextStays)
{
    engine.message = {0, u"former", u"", u""};
    composed();
    engine.message = {9, u"new", u"", u""};
    EXPECT_EQ(GetErrorText(2), nullptr);
    EXPECT_EQ(std::u16string(error_text), u"former:\n\n");
}

TEST_F(ErrorTextTest, TheStatusOfAScopeThatDoesNotOpenIsWidenedToAPointer)
{
    engine.trace.begin_status = -5;
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(GetErrorText(2)), -5);
    EXPECT_EQ(log, (CallLog{"Provider_TraceRegister C081D", "Provider_TraceBegin C081D"}));
    engine.trace.begin_status = 5;
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(GetErrorText(2)), 5);
}

TEST_F(ErrorTextTest, AllocatesNothingThatItKeeps)
{
    Allocations heap;
    GetErrorText(1);
    engine.message.status = 9;
    GetErrorText(1);
    EXPECT_TRUE(heap.held().empty());
}

TEST_F(ErrorTextTest, CallsTheEngineWithinOneTraceScope)
{
    GetErrorText(0xFFFFFFFE);
    EXPECT_EQ(log, (CallLog{"Provider_TraceRegister C081D", "Provider_TraceBegin C081D",
                            "Provider_GetErrorMessage -2", "Provider_TraceEnd"}));
}

TEST_F(ErrorTextTest, TracesTheCodeAndTheText)
{
    engine.trace.mask = trace_all;
    engine.message = {0, u"heading", u"detail", u"trailing"};
    GetErrorText(0x80000001);
    EXPECT_EQ(engine.records,
              (std::vector{entry_record(0xC081D, 1980, {integer_item("errCode", INT_MIN + 1)}),
                           data_record(0xC081D, 2016, {wide_item("retmsg", u"heading:\ndetail\ntrailing")},
                                       0x04000000),
                           exit_record(0xC081D, 2025)}));
}

TEST_F(ErrorTextTest, TracesThatThereIsNoText)
{
    engine.trace.mask = trace_all;
    engine.message.status = 9;
    GetErrorText(1);
    EXPECT_EQ(engine.records,
              (std::vector{
                  entry_record(0xC081D, 1980, {integer_item("errCode", 1)}),
                  data_record(0xC081D, 2016, {narrow_item("msg", "Could not get error message")}, 0x04000000),
                  exit_record(0xC081D, 2025)}));
}

TEST_F(ErrorTextTest, TheTextIsTracedForItsOwnBitAlone)
{
    engine.trace.mask = 0x84000000U & ~0x80000000U;
    GetErrorText(1);
    EXPECT_EQ(engine.records.size(), 1U);
    engine.records.clear();
    engine.trace.mask = 0x88000000;
    GetErrorText(1);
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC081D, 1980, {integer_item("errCode", 1)}),
                                           exit_record(0xC081D, 2025)}));
}

TEST_F(ErrorTextTest, AFailureOfTheRequestIsNoReturnCodeRecord)
{
    engine.message.status = 9;
    GetErrorText(1);
    EXPECT_TRUE(engine.records.empty());
}

using ErrorMessageTest = BridgeTest;

void set_error_text(std::u16string_view text)
{
    text.copy(error_text, text.size());
    error_text[text.size()] = 0;
}

TEST_F(ErrorMessageTest, IsTheErrorTextInUtf8)
{
    set_error_text(u"gr\u00FC\u00DF\u20AC");
    EXPECT_STREQ(error_message(), "gr\xC3\xBC\xC3\x9F\xE2\x82\xAC");
    EXPECT_EQ(log, CallLog{"Cnv_Utf16ToUtf8 length 5 capacity 3184 no output length"});
}

TEST_F(ErrorMessageTest, IsConvertedFromWideTextWithTheWideConversionFlagSet)
{
    wide_conversion = 1;
    set_error_text(u"text");
    EXPECT_STREQ(error_message(), "text");
    EXPECT_EQ(log, CallLog{"Cnv_WideToUtf8 length 4 capacity 3184 no output length"});
}

TEST_F(ErrorMessageTest, HoldsNothingOfTheFormerMessage)
{
    set_error_text(u"a long message");
    error_message();
    set_error_text(u"short");
    EXPECT_STREQ(error_message(), "short");
}

TEST_F(ErrorMessageTest, EndsWhereTheTextFillsTheCapacity)
{
    engine.Cnv_Utf16ToUtf8 = [](char* destination, std::int64_t capacity, const char16_t*, std::int64_t,
                                std::int64_t*) {
        std::memset(destination, 'x', static_cast<std::size_t>(capacity));
        return 0;
    };
    EXPECT_EQ(std::string(error_message()), std::string(3184, 'x'));
}

TEST_F(ErrorMessageTest, IsZeroedBeforeEachConversion)
{
    set_error_text(u"former");
    error_message();
    engine.Cnv_Utf16ToUtf8 = [](char* destination, std::int64_t capacity, const char16_t*, std::int64_t,
                                std::int64_t*) {
        EXPECT_TRUE(std::all_of(destination, destination + capacity, [](char byte) { return byte == 0; }));
        return 1;
    };
    EXPECT_STREQ(error_message(), "");
}

// An operation of the test's that fails.
class EngineFailureTest : public BridgeTest {
protected:
    EngineFailureTest()
    {
        trace::open(scope, block, trace::NativeProvider_initializeProvider0);
        log.clear();
    }
    ~EngineFailureTest() override { trace::close(scope, 9); }

    jint throw_failure(std::int32_t status)
    {
        return jvm.run([&](JNIEnv* env) { return throw_engine_failure(env, scope, 541, status); });
    }

    trace::Block block{};
    trace::Scope scope;
};

TEST_F(EngineFailureTest, FetchesTheTextThenTracesTheCodeThenThrows)
{
    engine.message = {0, u"heading", u"detail", u"trailing"};
    EXPECT_EQ(throw_failure(-12), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("heading:\ndetail\ntrailing", -12));
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C081D", "Provider_TraceBegin C081D",
                            "Provider_GetErrorMessage -12", "Provider_TraceEnd",
                            "Cnv_Utf16ToUtf8 length 24 capacity 3184 no output length",
                            "Provider_TraceWrite return code -12 at 541"},
                           throw_calls("heading:\ndetail\ntrailing")}));
}

TEST_F(EngineFailureTest, WithoutATextTheFormerOneIsThrown)
{
    set_error_text(u"former");
    engine.message.status = 9;
    throw_failure(7);
    EXPECT_EQ(jvm.take_exception(), velk_exception("former", 7));
}

TEST_F(EngineFailureTest, WithoutAnyTextSinceLoadTheMessageIsEmpty)
{
    engine.message.status = 9;
    throw_failure(7);
    EXPECT_EQ(jvm.take_exception(), velk_exception("", 7));
}

TEST_F(EngineFailureTest, WithoutATraceScopeForTheTextTheFormerOneIsThrown)
{
    set_error_text(u"former");
    engine.trace_of[trace::GetErrorText] = {.begin_status = 3};
    throw_failure(7);
    EXPECT_EQ(jvm.take_exception(), velk_exception("former", 7));
}

} // namespace
} // namespace velk::test
