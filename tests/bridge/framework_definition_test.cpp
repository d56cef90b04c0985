// FrameworkDefinition and its FRPA record.

#include "bridge/definitions.h"

#include <array>
#include <utility>

namespace velk::test {

namespace {

constexpr auto to_c = Java_com_brel_sorn_velk_internal_FrameworkDefinition_toC;
constexpr auto to_java = Java_com_brel_sorn_velk_internal_FrameworkDefinition_toJava;
constexpr auto free_record = Java_com_brel_sorn_velk_internal_FrameworkDefinition_free;

const char* const list_name = "initializationOperands";

class FrameworkDefinitionTest : public DefinitionTest {
protected:
    FrameworkDefinitionTest()
    {
        jvm.may_leave = {list_name};
        set_operands({});
    }
    ~FrameworkDefinitionTest() override
    {
        jvm.take_exception();
        jvm.run(free_record, self);
    }

    void set_operands(const std::vector<jobject>& elements)
    {
        jvm.set_object(self, list_name, jvm.list(elements));
    }
    void set_records(const std::vector<const void*>& records)
    {
        set_operands(children(operand_class, records));
    }

    FRPA* record() { return jvm.record<FRPA>(self); }

    void expect_record(std::uint16_t count, const OPRA* first)
    {
        ASSERT_NE(record(), nullptr);
        EXPECT_EQ(bytes_of(record(), 24), Image(24).header(0, "FRPA").put(8, count).put(16, first).bytes);
    }

    // toC throws; its return-code record, the throw and the exit come in this order whatever the mask.
    void expect_to_c_throws(const std::string& message)
    {
        log.clear();
        EXPECT_EQ(jvm.run(to_c, self), 0);
        const CallLog end = joined(
            {{"Provider_TraceWrite return code -1 at 709"}, throw_calls(message), {"Provider_TraceEnd"}});
        ASSERT_GE(log.size(), end.size());
        EXPECT_EQ(CallLog(log.end() - static_cast<std::ptrdiff_t>(end.size()), log.end()), end);
        EXPECT_EQ(engine.records.back(), return_code_record(trace::FrameworkDefinition_toC, 709, -1));
        expect_thrown(message);
    }

    jobject self = jvm.object(framework_definition_class);
    std::array<OPRA, 3> operands{};
};

const CallLog first_calls = {"GetLongField FrameworkDefinition.pointer",
                             "SetLongField FrameworkDefinition.pointer"};

// toC

TEST_F(FrameworkDefinitionTest, ToCOfAnEmptyListMakesARecordWithoutOperands)
{
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_record(0, nullptr);
    EXPECT_EQ(heap.sizes(), std::vector<std::size_t>{24});
    EXPECT_EQ(without_trace(log), joined({first_calls, list_calls("FrameworkDefinition", list_name)}));
    EXPECT_EQ(jvm.left(), std::vector<std::string>{list_name});
}

TEST_F(FrameworkDefinitionTest, ToCChainsTheOperandsInListOrder)
{
    operands[2].next = &operands[0]; // stale
    set_records({&operands[0], &operands[1], &operands[2]});
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_record(3, &operands[0]);
    EXPECT_EQ(operands[0].next, &operands[1]);
    EXPECT_EQ(operands[1].next, &operands[2]);
    EXPECT_EQ(operands[2].next, nullptr);
    EXPECT_EQ(without_trace(log), joined({first_calls, list_calls("FrameworkDefinition", list_name),
                                          element_calls(list_name, 0, "InitializationOperand"),
                                          element_calls(list_name, 1, "InitializationOperand"),
                                          element_calls(list_name, 2, "InitializationOperand")}));
    EXPECT_EQ(jvm.left(), std::vector<std::string>{list_name});
}

TEST_F(FrameworkDefinitionTest, ToCWritesNothingOfAnOperandButItsNext)
{
    std::memset(static_cast<void*>(&operands[0]), 0x5A, sizeof(OPRA));
    set_records({&operands[0]});
    jvm.run(to_c, self);
    Image expected(48);
    std::memset(expected.bytes.data() + 8, 0x5A, 40);
    EXPECT_EQ(bytes_of(&operands[0], 48), expected.bytes);
}

TEST_F(FrameworkDefinitionTest, ToCTracesTheEnvironmentTheRecordAndTheSize)
{
    engine.trace.mask = trace_all;
    set_records({&operands[0], &operands[1]});
    jvm.run(to_c, self);
    const auto function = trace::FrameworkDefinition_toC;
    EXPECT_EQ(engine.records,
              (std::vector<TracedRecord>{entry_record(function, 672, {pointer_item("env", jvm.env())}),
                                         data_record(function, 689,
                                                     {pointer_item("jPointer", record()),
                                                      integer_item("jInitializationOperandsSize", 2)}),
                                         exit_record(function, 709)}));
}

TEST_F(FrameworkDefinitionTest, ToCTracesBetweenTheSizeAndTheFirstOperand)
{
    engine.trace.mask = trace_all;
    set_records({&operands[0]});
    jvm.run(to_c, self);
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C0808", "Provider_TraceBegin C0808",
                            "Provider_TraceWrite entry 672"},
                           first_calls,
                           list_calls("FrameworkDefinition", list_name),
                           {"Provider_TraceWrite data 689"},
                           element_calls(list_name, 0, "InitializationOperand"),
                           {"Provider_TraceWrite exit 709", "Provider_TraceEnd"}}));
}

TEST_F(FrameworkDefinitionTest, ToCTwiceKeepsTheRecordAndRebuildsTheChain)
{
    set_records({&operands[0], &operands[1], &operands[2]});
    jvm.run(to_c, self);
    const FRPA* first = record();
    set_records({&operands[2], &operands[0]});
    log.clear();
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(record(), first);
    expect_record(2, &operands[2]);
    EXPECT_EQ(operands[2].next, &operands[0]);
    EXPECT_EQ(operands[0].next, nullptr);
    EXPECT_EQ(operands[1].next, &operands[2]); // no longer in the chain, left as it was
    EXPECT_EQ(heap.made(), 1U);
    EXPECT_EQ(without_trace(log), joined({{"GetLongField FrameworkDefinition.pointer"},
                                          list_calls("FrameworkDefinition", list_name),
                                          element_calls(list_name, 0, "InitializationOperand"),
                                          element_calls(list_name, 1, "InitializationOperand")}));
}

TEST_F(FrameworkDefinitionTest, ToCClearsNothingOfARecordThatItFinds)
{
    auto* found = engine_record<FRPA>();
    std::memset(static_cast<void*>(found), 0x77, sizeof(FRPA));
    jvm.set_record(self, found);
    jvm.run(to_c, self);
    Image expected(24);
    std::memset(expected.bytes.data(), 0x77, 24);
    EXPECT_EQ(bytes_of(found, 24), expected.put(8, std::uint16_t{0}).bytes);
}

TEST_F(FrameworkDefinitionTest, AnEmptyListOnAUsedRecordKeepsTheFirstOperand)
{
    set_records({&operands[0]});
    jvm.run(to_c, self);
    set_operands({});
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_record(0, &operands[0]);
}

TEST_F(FrameworkDefinitionTest, ANegativeSizeKeepsTheFirstOperand)
{
    set_records({&operands[0]});
    jvm.run(to_c, self);
    engine.trace.mask = trace_mask_data;
    jvm.fail({.function = "CallIntMethod", .exception = nullptr, .result = -2});
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_record(0xFFFE, &operands[0]);
    EXPECT_EQ(engine.records.back().items.back(), integer_item("jInitializationOperandsSize", -2));
}

TEST_F(FrameworkDefinitionTest, SeventyThousandOperandsAreAllChainedAndCountedInSixteenBits)
{
    std::vector<OPRA> many(70000);
    std::vector<const void*> records;
    for (const OPRA& operand : many) records.push_back(&operand);
    set_records(records);
    engine.trace.mask = trace_mask_data;
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_record(4464, many.data());
    EXPECT_EQ(engine.records.front().items.back(), integer_item("jInitializationOperandsSize", 70000));
    std::size_t linked = 1;
    for (; linked < many.size() && many[linked - 1].next == &many[linked]; ++linked) {
    }
    EXPECT_EQ(linked, many.size());
    EXPECT_EQ(many.back().next, nullptr);
}

// Elements and lists that are not as they must be

TEST_F(FrameworkDefinitionTest, BehindAnOperandWithoutARecordTheNextOneBecomesTheFirst)
{
    set_records({&operands[0], nullptr, &operands[1], &operands[2]});
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_record(4, &operands[1]);
    EXPECT_EQ(operands[0].next, nullptr);
    EXPECT_EQ(operands[1].next, &operands[2]);
    EXPECT_EQ(operands[2].next, nullptr);
}

TEST_F(FrameworkDefinitionTest, AFirstOperandWithoutARecordIsPassedOver)
{
    set_records({nullptr, &operands[1]});
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_record(2, &operands[1]);
    EXPECT_EQ(operands[1].next, nullptr);
}

TEST_F(FrameworkDefinitionTest, ALastOperandWithoutARecordThrows)
{
    set_records({&operands[0], nullptr});
    expect_to_c_throws("FrameworkDefinition.toC: initializationOperands[1] has no native record: call "
                       "InitializationOperand.toC on it first");
    expect_record(2, &operands[0]);
    EXPECT_EQ(operands[0].next, nullptr);
}

TEST_F(FrameworkDefinitionTest, AnOnlyOperandWithoutARecordThrows)
{
    set_records({nullptr});
    expect_to_c_throws("FrameworkDefinition.toC: initializationOperands[0] has no native record: call "
                       "InitializationOperand.toC on it first");
    expect_record(1, nullptr);
}

TEST_F(FrameworkDefinitionTest, ANullElementThrowsNamingItsIndex)
{
    for (const int index : {0, 1, 2}) {
        std::vector<jobject> elements = children(operand_class, {&operands[0], &operands[1], &operands[2]});
        elements[static_cast<std::size_t>(index)] = nullptr;
        set_operands(elements);
        expect_to_c_throws("FrameworkDefinition.toC: initializationOperands[" + std::to_string(index) +
                           "] is null");
    }
}

TEST_F(FrameworkDefinitionTest, ANullListThrows)
{
    jvm.set_object(self, list_name, nullptr);
    expect_to_c_throws("FrameworkDefinition.toC: initializationOperands is null");
    expect_record(0, nullptr);
    EXPECT_TRUE(jvm.left().size() == 1 && jvm.left().front() == "VELKException");
}

// JNI calls and allocations that fail

TEST_F(FrameworkDefinitionTest, AnExceptionOfSizeSurfaces)
{
    jvm.fail({.function = "CallIntMethod"});
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_pending("java/lang/OutOfMemoryError");
    EXPECT_EQ(without_trace(log), joined({first_calls, list_calls("FrameworkDefinition", list_name)}));
    EXPECT_TRUE(engine.records.empty());
    expect_record(0, nullptr);
}

TEST_F(FrameworkDefinitionTest, AnExceptionOfGetSurfacesAtWhicheverElement)
{
    for (const int nth : {1, 2, 3}) {
        set_records({&operands[0], &operands[1], &operands[2]});
        jvm.fail({.function = "CallObjectMethod", .nth = nth, .exception = "java/lang/RuntimeException"});
        EXPECT_EQ(jvm.run(to_c, self), 0);
        EXPECT_EQ(log.back(), "Provider_TraceEnd");
        expect_pending("java/lang/RuntimeException");
        EXPECT_TRUE(engine.records.empty()) << "a pending Java exception is no return code";
    }
}

TEST_F(FrameworkDefinitionTest, WithoutMemoryForTheRecordToCThrowsAndLeavesThePointer)
{
    engine.trace.mask = trace_all;
    heap.fail(1);
    const std::string message = "FrameworkDefinition.toC: out of memory for the FRPA record";
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C0808", "Provider_TraceBegin C0808",
                            "Provider_TraceWrite entry 672", "GetLongField FrameworkDefinition.pointer",
                            "Provider_TraceWrite return code -1 at 709"},
                           throw_calls(message),
                           {"Provider_TraceWrite exit 709", "Provider_TraceEnd"}}));
    EXPECT_EQ(engine.records[1], return_code_record(trace::FrameworkDefinition_toC, 709, -1));
    expect_thrown(message);
    EXPECT_EQ(record(), nullptr);
    EXPECT_EQ(heap.sizes(), std::vector<std::size_t>{});
}

TEST_F(FrameworkDefinitionTest, AFailureIsTracedWithoutAHandleButNoExit)
{
    engine.trace = {.mask = trace_all, .gives_handle = false};
    heap.fail(1);
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(summaries(engine.records), (CallLog{"entry 672", "return code -1 at 709"}));
    EXPECT_EQ(log.back(), "Throw VELKException");
    expect_thrown("FrameworkDefinition.toC: out of memory for the FRPA record");
}

TEST_F(FrameworkDefinitionTest, AFailureIsThrownWithoutALentRecordToo)
{
    engine.trace = {.mask = trace_all, .lends_record = false};
    heap.fail(1);
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_TRUE(engine.records.empty());
    expect_thrown("FrameworkDefinition.toC: out of memory for the FRPA record");
}

TEST_F(FrameworkDefinitionTest, ToCReturnsWhatThrowReturned)
{
    heap.fail(1);
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -3});
    EXPECT_EQ(jvm.run(to_c, self), -3);
    EXPECT_EQ(jvm.take_exception(), std::nullopt);
    EXPECT_EQ(log.back(), "Provider_TraceEnd");
}

TEST_F(FrameworkDefinitionTest, TheJvmsOwnExceptionSurfacesWhereNoneCanBeMade)
{
    heap.fail(1);
    jvm.fail({.function = "NewObject"});
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_pending("java/lang/OutOfMemoryError");
}

// toJava

TEST_F(FrameworkDefinitionTest, ToJavaCopiesNothingBack)
{
    set_records({&operands[0]});
    jvm.run(to_c, self);
    const Bytes before = bytes_of(record(), 24);
    log.clear();
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(without_trace(log), CallLog{});
    EXPECT_EQ(bytes_of(record(), 24), before);
}

TEST_F(FrameworkDefinitionTest, ToJavaTracesItsEntryAndItsExit)
{
    engine.trace.mask = trace_all;
    EXPECT_EQ(jvm.run(to_java, self), 0);
    const auto function = trace::FrameworkDefinition_toJava;
    EXPECT_EQ(engine.records,
              (std::vector<TracedRecord>{entry_record(function, 724, {pointer_item("env", jvm.env())}),
                                         exit_record(function, 731)}));
}

// free

TEST_F(FrameworkDefinitionTest, FreeReleasesTheRecordAndNothingElse)
{
    auto* operand = engine_record<OPRA>();
    operand->parameterId = 7;
    set_records({operand});
    jvm.run(to_c, self);
    const Bytes before = bytes_of(operand, 48);
    log.clear();
    jvm.run(free_record, self);
    EXPECT_EQ(log, first_calls);
    EXPECT_EQ(jvm.get_long(self, "pointer"), 0);
    EXPECT_EQ(bytes_of(operand, 48), before);
    expect_kept({48});
}

TEST_F(FrameworkDefinitionTest, FreeTwiceIsHarmless)
{
    jvm.run(to_c, self);
    jvm.run(free_record, self);
    log.clear();
    jvm.run(free_record, self);
    EXPECT_EQ(log, CallLog{"GetLongField FrameworkDefinition.pointer"});
    EXPECT_EQ(heap.freed(), 1U);
}

TEST_F(FrameworkDefinitionTest, ToCAfterFreeMakesARecordAgain)
{
    set_records({&operands[0]});
    jvm.run(to_c, self);
    jvm.run(free_record, self);
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_record(1, &operands[0]);
    EXPECT_EQ(heap.made(), 2U);
}

// The frame

TEST_F(FrameworkDefinitionTest, WhereTheScopeDoesNotOpenItsStatusIsReturnedAndNothingDone)
{
    expect_status_alone(to_c, self);
    expect_status_alone(to_java, self);
}

TEST_F(FrameworkDefinitionTest, BeforeInit0ToCDoesNothing)
{
    expect_no_work_before_init0(to_c, self, {"entry 672", "exit 709"});
}

TEST_F(FrameworkDefinitionTest, BeforeInit0ToJavaDoesNothing)
{
    expect_no_work_before_init0(to_java, self, {"entry 724", "exit 731"});
}

TEST_F(FrameworkDefinitionTest, BeforeInit0FreeDoesNothing)
{
    expect_no_call_before_init0(free_record, self);
    jvm.set_long(self, "pointer", 0);
}

TEST_F(FrameworkDefinitionTest, WhatIsTracedChangesNothingInWhatIsDone)
{
    expect_same_calls_however_traced([&] {
        set_records({&operands[0], &operands[1]});
        EXPECT_EQ(jvm.run(to_c, self), 0);
        EXPECT_EQ(jvm.run(to_java, self), 0);
        jvm.run(free_record, self);
    });
}

} // namespace
} // namespace velk::test
