// ServiceDefinition and its SVCA record.

#include "bridge/definitions.h"

#include <algorithm>
#include <array>
#include <utility>

namespace velk::test {

namespace {

constexpr auto to_c = Java_com_brel_sorn_velk_internal_ServiceDefinition_toC;
constexpr auto to_java = Java_com_brel_sorn_velk_internal_ServiceDefinition_toJava;
constexpr auto free_record = Java_com_brel_sorn_velk_internal_ServiceDefinition_free;

const char* const operand_list = "initializationOperands";
const char* const field_list = "fieldDefinitions";

class ServiceDefinitionTest : public DefinitionTest {
protected:
    ServiceDefinitionTest()
    {
        jvm.may_leave = {operand_list, field_list};
        set_children({}, {});
    }
    ~ServiceDefinitionTest() override
    {
        jvm.take_exception();
        jvm.run(free_record, self);
    }

    void set_lists(const std::vector<jobject>& first, const std::vector<jobject>& second)
    {
        jvm.set_object(self, operand_list, jvm.list(first));
        jvm.set_object(self, field_list, jvm.list(second));
    }
    void set_children(const std::vector<const void*>& first, const std::vector<const void*>& second)
    {
        set_lists(children(operand_class, first), children(field_definition_class, second));
    }

    // A record as the engine's adapter makes it, with as many of the operands and fields chained.
    SVCA* bind_engine_record(std::size_t operand_count, std::size_t field_count)
    {
        auto* made = engine_record<SVCA>();
        *made = {{'S', 'V', 'C', 'A'}, 21, 40, 0, 0, 0, 0, {}, nullptr, nullptr};
        made->operandCount = static_cast<std::uint16_t>(operand_count);
        made->fieldCount = static_cast<std::uint16_t>(field_count);
        for (std::size_t i = operand_count; i > 0; --i)
            operands[i - 1].next = std::exchange(made->firstOperand, &operands[i - 1]);
        for (std::size_t i = field_count; i > 0; --i)
            fields[i - 1].next = std::exchange(made->firstField, &fields[i - 1]);
        jvm.set_record(self, made);
        return made;
    }

    SVCA* record() { return jvm.record<SVCA>(self); }

    std::vector<jobject> elements(const char* list) { return jvm.elements(jvm.get_object(self, list)); }

    // The records that the list's elements are bound to, after a look at their class.
    std::vector<const void*> bound(const char* list, const char* class_name)
    {
        std::vector<const void*> records;
        for (const jobject element : elements(list)) {
            EXPECT_EQ(jvm.class_of(element), class_name);
            records.push_back(jvm.record<void>(element));
        }
        return records;
    }
    std::vector<const void*> bound_operands() { return bound(operand_list, operand_class); }
    std::vector<const void*> bound_fields() { return bound(field_list, field_definition_class); }

    // The native throws: return-code record at the line, the throw, and the end, whatever the mask.
    void expect_throws(jint (*native)(JNIEnv*, jobject), std::uint32_t line, const std::string& message)
    {
        log.clear();
        EXPECT_EQ(jvm.run(native, self), 0);
        expect_throw_at_the_end(line, message);
    }

    void expect_throw_at_the_end(std::uint32_t line, const std::string& message)
    {
        const CallLog calls = log;
        expect_thrown(message);
        const auto reported = std::find(calls.begin(), calls.end(),
                                        "Provider_TraceWrite return code -1 at " + std::to_string(line));
        ASSERT_NE(reported, calls.end());
        CallLog after(reported + 1, calls.end());
        if (!after.empty() && after.front() == "ExceptionClear") after.erase(after.begin());
        EXPECT_EQ(after, joined({throw_calls(message), {"Provider_TraceEnd"}}));
    }

    jobject self = jvm.object(service_definition_class);
    std::array<OPRA, 3> operands{};
    std::array<FLDA, 3> fields{};
};

const CallLog bind_calls = {"GetLongField ServiceDefinition.pointer",
                            "SetLongField ServiceDefinition.pointer"};
const CallLog flag_call = {"GetBooleanField ServiceDefinition.copyToDestination"};
const CallLog operand_list_calls = list_calls("ServiceDefinition", operand_list);
const CallLog field_list_calls = list_calls("ServiceDefinition", field_list);

CallLog operand_calls(int index)
{
    return element_calls(operand_list, index, "InitializationOperand");
}

CallLog field_calls(int index)
{
    return element_calls(field_list, index, "FieldDefinition");
}

// toC

TEST_F(ServiceDefinitionTest, ToCOfEmptyListsMakesARecordWithoutChildren)
{
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(bytes_of(record(), 40), Image(40).header(0, "SVCA").bytes);
    EXPECT_EQ(heap.sizes(), std::vector<std::size_t>{40});
    EXPECT_EQ(without_trace(log), joined({bind_calls, flag_call, operand_list_calls, field_list_calls}));
    EXPECT_EQ(jvm.left(), (std::vector<std::string>{operand_list, field_list}));
}

TEST_F(ServiceDefinitionTest, ToCFillsTheRecordAndChainsBothLists)
{
    jvm.set_boolean(self, "copyToDestination", true);
    operands[1].next = &operands[0]; // stale
    fields[2].next = &fields[0];
    set_children({&operands[0], &operands[1]}, {&fields[2], &fields[1], &fields[0]});
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(bytes_of(record(), 40), Image(40)
                                          .header(0, "SVCA")
                                          .put(9, char{1})
                                          .put(10, std::uint16_t{2})
                                          .put(12, std::uint16_t{3})
                                          .put(24, &operands[0])
                                          .put(32, &fields[2])
                                          .bytes);
    EXPECT_EQ(operands[0].next, &operands[1]);
    EXPECT_EQ(operands[1].next, nullptr);
    EXPECT_EQ(fields[2].next, &fields[1]);
    EXPECT_EQ(fields[1].next, &fields[0]);
    EXPECT_EQ(fields[0].next, nullptr);
    EXPECT_EQ(without_trace(log),
              joined({bind_calls, flag_call, operand_list_calls, operand_calls(0), operand_calls(1),
                      field_list_calls, field_calls(0), field_calls(1), field_calls(2)}));
    EXPECT_EQ(jvm.left(), (std::vector<std::string>{operand_list, field_list}));
}

TEST_F(ServiceDefinitionTest, ToCTracesEachListAsItIsRead)
{
    engine.trace.mask = trace_all;
    set_children({&operands[0]}, {&fields[0], &fields[1]});
    jvm.run(to_c, self);
    const auto function = trace::ServiceDefinition_toC;
    EXPECT_EQ(
        engine.records,
        (std::vector<TracedRecord>{
            entry_record(function, 785, {pointer_item("env", jvm.env())}),
            data_record(function, 804,
                        {pointer_item("jPointer", record()), integer_item("jInitializationOperandsSize", 1)}),
            data_record(function, 827,
                        {pointer_item("jPointer", record()), integer_item("jInitializationOperandsSize", 1),
                         integer_item("jFieldDefinitionsSize", 2)}),
            exit_record(function, 849)}));
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C080B", "Provider_TraceBegin C080B",
                            "Provider_TraceWrite entry 785"},
                           bind_calls,
                           flag_call,
                           operand_list_calls,
                           {"Provider_TraceWrite data 804"},
                           operand_calls(0),
                           field_list_calls,
                           {"Provider_TraceWrite data 827"},
                           field_calls(0),
                           field_calls(1),
                           {"Provider_TraceWrite exit 849", "Provider_TraceEnd"}}));
}

TEST_F(ServiceDefinitionTest, ToCTwiceKeepsTheRecordAndRebuildsBothChains)
{
    jvm.set_boolean(self, "copyToDestination", true);
    set_children({&operands[0], &operands[1]}, {&fields[0], &fields[1]});
    jvm.run(to_c, self);
    const SVCA* first = record();
    jvm.set_boolean(self, "copyToDestination", false);
    set_children({&operands[1], &operands[0]}, {&fields[1]});
    log.clear();
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(record(), first);
    EXPECT_EQ(bytes_of(first, 40), Image(40)
                                       .header(0, "SVCA")
                                       .put(10, std::uint16_t{2})
                                       .put(12, std::uint16_t{1})
                                       .put(24, &operands[1])
                                       .put(32, &fields[1])
                                       .bytes);
    EXPECT_EQ(operands[1].next, &operands[0]);
    EXPECT_EQ(operands[0].next, nullptr);
    EXPECT_EQ(fields[1].next, nullptr);
    EXPECT_EQ(without_trace(log).front(), "GetLongField ServiceDefinition.pointer");
    EXPECT_EQ(without_trace(log)[1], flag_call.front());
    EXPECT_EQ(heap.made(), 1U);
}

TEST_F(ServiceDefinitionTest, ToCPassesTheReservedBytesOfTheEnginesRecordThrough)
{
    auto* found = engine_record<SVCA>();
    std::memset(static_cast<void*>(found), 0x66, sizeof(SVCA));
    jvm.set_record(self, found);
    set_children({&operands[0]}, {&fields[0]});
    jvm.run(to_c, self);
    Image expected(40);
    std::memset(expected.bytes.data(), 0x66, 40);
    expected.put(9, char{0}).put(10, std::uint16_t{1}).put(12, std::uint16_t{1});
    EXPECT_EQ(bytes_of(found, 40), expected.put(24, &operands[0]).put(32, &fields[0]).bytes);
}

TEST_F(ServiceDefinitionTest, EmptyListsOnAUsedRecordKeepTheFirstPointers)
{
    set_children({&operands[0]}, {&fields[0]});
    jvm.run(to_c, self);
    set_children({}, {});
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(bytes_of(record(), 40),
              Image(40).header(0, "SVCA").put(24, &operands[0]).put(32, &fields[0]).bytes);
}

TEST_F(ServiceDefinitionTest, CountsAreKeptInSixteenBitsThoughAllIsChained)
{
    std::vector<FLDA> many(70000);
    std::vector<const void*> records;
    for (const FLDA& field : many) records.push_back(&field);
    set_children({&operands[0]}, records);
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(record()->operandCount, 1);
    EXPECT_EQ(record()->fieldCount, 4464);
    EXPECT_EQ(record()->firstField, many.data());
    std::size_t linked = 1;
    for (; linked < many.size() && many[linked - 1].next == &many[linked]; ++linked) {
    }
    EXPECT_EQ(linked, many.size());
    EXPECT_EQ(many.back().next, nullptr);
}

TEST_F(ServiceDefinitionTest, BehindAChildWithoutARecordTheNextOneBecomesTheFirst)
{
    set_children({&operands[0], nullptr, &operands[1]}, {nullptr, &fields[1], &fields[2]});
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(record()->operandCount, 3);
    EXPECT_EQ(record()->firstOperand, &operands[1]);
    EXPECT_EQ(operands[0].next, nullptr);
    EXPECT_EQ(operands[1].next, nullptr);
    EXPECT_EQ(record()->fieldCount, 3);
    EXPECT_EQ(record()->firstField, &fields[1]);
    EXPECT_EQ(fields[1].next, &fields[2]);
    EXPECT_EQ(fields[2].next, nullptr);
}

TEST_F(ServiceDefinitionTest, ALastChildWithoutARecordThrows)
{
    set_children({&operands[0], nullptr}, {});
    expect_throws(to_c, 849,
                  "ServiceDefinition.toC: initializationOperands[1] has no native record: call "
                  "InitializationOperand.toC on it first");
    EXPECT_EQ(operands[0].next, nullptr);
    set_children({&operands[0]}, {&fields[0], &fields[1], nullptr});
    expect_throws(to_c, 849,
                  "ServiceDefinition.toC: fieldDefinitions[2] has no native record: call "
                  "FieldDefinition.toC on it first");
    EXPECT_EQ(record()->firstOperand, &operands[0]);
    EXPECT_EQ(fields[1].next, nullptr);
}

TEST_F(ServiceDefinitionTest, ANullElementThrowsNamingItsListAndIndex)
{
    const jobject operand = child(operand_class, &operands[0]);
    const jobject field = child(field_definition_class, &fields[0]);
    set_lists({nullptr, operand}, {});
    expect_throws(to_c, 849, "ServiceDefinition.toC: initializationOperands[0] is null");
    set_lists({operand, nullptr}, {});
    expect_throws(to_c, 849, "ServiceDefinition.toC: initializationOperands[1] is null");
    set_lists({operand}, {nullptr});
    expect_throws(to_c, 849, "ServiceDefinition.toC: fieldDefinitions[0] is null");
    set_lists({operand}, {field, nullptr, field});
    expect_throws(to_c, 849, "ServiceDefinition.toC: fieldDefinitions[1] is null");
    EXPECT_EQ(record()->operandCount, 1);
    EXPECT_EQ(record()->fieldCount, 3); // Java's, so that an engine refuses the shorter chain
}

TEST_F(ServiceDefinitionTest, ToCOfANullListThrows)
{
    jvm.set_object(self, operand_list, nullptr);
    expect_throws(to_c, 849, "ServiceDefinition.toC: initializationOperands is null");
    EXPECT_EQ(record()->firstOperand, nullptr);
    set_children({&operands[0]}, {});
    jvm.set_object(self, field_list, nullptr);
    expect_throws(to_c, 849, "ServiceDefinition.toC: fieldDefinitions is null");
    EXPECT_EQ(record()->firstOperand, &operands[0]);
    EXPECT_EQ(record()->firstField, nullptr);
}

TEST_F(ServiceDefinitionTest, AfterAFailureWithTheOperandsToCDoesNotReadTheFields)
{
    set_children({nullptr}, {&fields[0]});
    jvm.run(to_c, self);
    EXPECT_EQ(std::find(log.begin(), log.end(), field_list_calls.front()), log.end());
    EXPECT_TRUE(jvm.take_exception().has_value());
}

TEST_F(ServiceDefinitionTest, WithoutMemoryForTheRecordToCThrowsAndLeavesThePointer)
{
    heap.fail(1);
    expect_throws(to_c, 849, "ServiceDefinition.toC: out of memory for the SVCA record");
    EXPECT_EQ(record(), nullptr);
    EXPECT_EQ(engine.records,
              std::vector<TracedRecord>{return_code_record(trace::ServiceDefinition_toC, 849, -1)});
}

TEST_F(ServiceDefinitionTest, ToCReturnsWhatThrowReturned)
{
    heap.fail(1);
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -5});
    EXPECT_EQ(jvm.run(to_c, self), -5);
}

struct JniFailure {
    const char* function;
    int nth;
    const CallLog calls; // up to the failing one
};

TEST_F(ServiceDefinitionTest, AJavaExceptionStopsToCWhereItCameUp)
{
    const CallLog start = {"GetLongField ServiceDefinition.pointer", flag_call.front()};
    const CallLog get_0 = {"CallObjectMethod initializationOperands.get 0", "ExceptionCheck"};
    const CallLog get_1 = {"CallObjectMethod fieldDefinitions.get 0", "ExceptionCheck"};
    const JniFailure failures[] = {
        {"CallIntMethod", 1, joined({start, operand_list_calls})},
        {"CallObjectMethod", 1, joined({start, operand_list_calls, get_0})},
        {"CallIntMethod", 2, joined({start, operand_list_calls, operand_calls(0), field_list_calls})},
        {"CallObjectMethod", 2,
         joined({start, operand_list_calls, operand_calls(0), field_list_calls, get_1})},
    };
    set_children({&operands[0]}, {&fields[0]});
    jvm.run(to_c, self);
    for (const JniFailure& failure : failures) {
        log.clear();
        jvm.fail(
            {.function = failure.function, .nth = failure.nth, .exception = "java/lang/RuntimeException"});
        EXPECT_EQ(jvm.run(to_c, self), 0);
        CallLog calls = without_trace(log);
        // A second look at the pending exception does no harm.
        while (calls.size() > failure.calls.size() && calls.back() == "ExceptionCheck") calls.pop_back();
        EXPECT_EQ(calls, failure.calls);
        EXPECT_EQ(log.back(), "Provider_TraceEnd");
        EXPECT_TRUE(engine.records.empty());
        expect_pending("java/lang/RuntimeException");
    }
}

// toJava

// JNI's part of one new object for a record.
CallLog mirror_calls(const std::string& list, const std::string& element)
{
    return {"NewObject " + element, "SetLongField " + element + ".pointer",
            "CallBooleanMethod " + list + ".add " + element, "ExceptionCheck", "DeleteLocalRef " + element};
}

const CallLog operand_mirror_calls = mirror_calls(operand_list, "InitializationOperand");
const CallLog field_mirror_calls = mirror_calls(field_list, "FieldDefinition");
const CallLog copy_back_calls = {"GetLongField ServiceDefinition.pointer",
                                 "SetBooleanField ServiceDefinition.copyToDestination"};

TEST_F(ServiceDefinitionTest, ToJavaBindsANewObjectToEachRecord)
{
    bind_engine_record(2, 3)->copyToDestination = 1;
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_TRUE(jvm.get_boolean(self, "copyToDestination"));
    EXPECT_EQ(bound_operands(), (std::vector<const void*>{&operands[0], &operands[1]}));
    EXPECT_EQ(bound_fields(), (std::vector<const void*>{&fields[0], &fields[1], &fields[2]}));
    EXPECT_EQ(without_trace(log),
              joined({copy_back_calls, operand_list_calls, operand_mirror_calls, operand_mirror_calls,
                      field_list_calls, field_mirror_calls, field_mirror_calls, field_mirror_calls}));
    EXPECT_EQ(jvm.left(), (std::vector<std::string>{operand_list, field_list}));
    EXPECT_EQ(heap.made(), 1U) << "the engine's record alone";
}

TEST_F(ServiceDefinitionTest, ToJavaFillsNoOtherFieldOfTheNewObjects)
{
    bind_engine_record(1, 1);
    operands[0].parameterId = 9;
    fields[0].dataType = 9;
    jvm.run(to_java, self);
    EXPECT_EQ(jvm.get_int(elements(operand_list)[0], "parameterId"), 0);
    EXPECT_EQ(jvm.get_int(elements(field_list)[0], "id"), 0);
}

TEST_F(ServiceDefinitionTest, ToJavaClearsTheFlagToo)
{
    bind_engine_record(0, 0);
    jvm.set_boolean(self, "copyToDestination", true);
    jvm.run(to_java, self);
    EXPECT_FALSE(jvm.get_boolean(self, "copyToDestination"));
}

TEST_F(ServiceDefinitionTest, ToJavaReadsAnyByteButZeroAsTrue)
{
    SVCA* made = bind_engine_record(0, 0);
    for (const int byte : {2, 0x80, 0xFF}) {
        SCOPED_TRACE(byte);
        jvm.set_boolean(self, "copyToDestination", false);
        made->copyToDestination = static_cast<std::uint8_t>(byte);
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_TRUE(jvm.get_boolean(self, "copyToDestination"));
    }
}

TEST_F(ServiceDefinitionTest, ToJavaWalksTheChainAndNotTheCounts)
{
    SVCA* made = bind_engine_record(3, 3);
    made->operandCount = 1;
    made->fieldCount = 0;
    jvm.run(to_java, self);
    EXPECT_EQ(elements(operand_list).size(), 3U);
    EXPECT_EQ(elements(field_list).size(), 3U);
}

TEST_F(ServiceDefinitionTest, ToJavaOfARecordWithoutChildrenLeavesBothListsAsTheyWere)
{
    bind_engine_record(0, 0);
    set_children({&operands[2]}, {&fields[2]});
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(bound_operands(), std::vector<const void*>{&operands[2]});
    EXPECT_EQ(bound_fields(), std::vector<const void*>{&fields[2]});
    EXPECT_EQ(without_trace(log), joined({copy_back_calls, operand_list_calls, field_list_calls}));
}

TEST_F(ServiceDefinitionTest, ToJavaAppendsOperandsAndLeavesAFilledFieldListAlone)
{
    bind_engine_record(2, 2);
    set_children({&operands[2]}, {&fields[2]});
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(bound_operands(), (std::vector<const void*>{&operands[2], &operands[0], &operands[1]}));
    EXPECT_EQ(bound_fields(), std::vector<const void*>{&fields[2]});
}

TEST_F(ServiceDefinitionTest, ToJavaTwiceAppendsASecondSetOfOperandsOnly)
{
    bind_engine_record(2, 1);
    jvm.run(to_java, self);
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(bound_operands(),
              (std::vector<const void*>{&operands[0], &operands[1], &operands[0], &operands[1]}));
    EXPECT_EQ(bound_fields(), std::vector<const void*>{&fields[0]});
}

TEST_F(ServiceDefinitionTest, FieldsGoIntoAListOfSizeZeroExactly)
{
    bind_engine_record(0, 1);
    jvm.fail({.function = "CallIntMethod", .nth = 2, .exception = nullptr, .result = -1});
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_TRUE(elements(field_list).empty());
}

TEST_F(ServiceDefinitionTest, ToJavaWithoutARecordChangesNothing)
{
    jvm.set_boolean(self, "copyToDestination", true);
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(without_trace(log), CallLog{"GetLongField ServiceDefinition.pointer"});
    EXPECT_TRUE(jvm.get_boolean(self, "copyToDestination"));
}

TEST_F(ServiceDefinitionTest, ToJavaTracesTheSizesAsTheyWereBeforeItAppends)
{
    engine.trace.mask = trace_all;
    bind_engine_record(3, 2);
    set_children({&operands[0], &operands[1]}, {});
    jvm.run(to_java, self);
    const auto function = trace::ServiceDefinition_toJava;
    EXPECT_EQ(engine.records,
              (std::vector<TracedRecord>{entry_record(function, 878, {pointer_item("env", jvm.env())}),
                                         data_record(function, 933,
                                                     {pointer_item("jPointer", record()),
                                                      integer_item("jInitializationOperandsSize", 2),
                                                      integer_item("jFieldDefinitionsSize", 0)}),
                                         exit_record(function, 964)}));
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C080C", "Provider_TraceBegin C080C",
                            "Provider_TraceWrite entry 878"},
                           copy_back_calls,
                           operand_list_calls,
                           operand_mirror_calls,
                           operand_mirror_calls,
                           operand_mirror_calls,
                           field_list_calls,
                           {"Provider_TraceWrite data 933"},
                           field_mirror_calls,
                           field_mirror_calls,
                           {"Provider_TraceWrite exit 964", "Provider_TraceEnd"}}));
}

TEST_F(ServiceDefinitionTest, ToJavaBindsALongChain)
{
    std::vector<OPRA> many(1000);
    for (std::size_t i = 1; i < many.size(); ++i) many[i - 1].next = &many[i];
    bind_engine_record(0, 0)->firstOperand = many.data();
    EXPECT_EQ(jvm.run(to_java, self), 0);
    const std::vector<const void*> records = bound_operands();
    ASSERT_EQ(records.size(), many.size());
    for (std::size_t i = 0; i < records.size(); ++i) ASSERT_EQ(records[i], &many[i]) << i;
}

// The four failures of toJava: whichever call fails at its nth time, with an exception of its own or by
// its result alone, the line and message are the operand's or the field's.
struct MirrorFailure {
    const char* name;
    Failure failure;
    std::uint32_t line;
    const char* message;
    std::size_t operands; // objects in the lists afterwards
    std::size_t fields;
};

class MirrorFailureTest : public ServiceDefinitionTest, public ::testing::WithParamInterface<MirrorFailure> {
protected:
    MirrorFailureTest()
    {
        jvm.may_leave.insert({"InitializationOperand", "FieldDefinition"});
        bind_engine_record(2, 2);
    }
};

TEST_P(MirrorFailureTest, IsReportedAndThrown)
{
    jvm.fail(GetParam().failure);
    EXPECT_EQ(jvm.run(to_java, self), 0);
    expect_throw_at_the_end(GetParam().line, GetParam().message);
    EXPECT_EQ(engine.records, std::vector<TracedRecord>{
                                  return_code_record(trace::ServiceDefinition_toJava, GetParam().line, -1)});
}

TEST_P(MirrorFailureTest, LeavesWhatWasAppendedInTheLists)
{
    jvm.fail(GetParam().failure);
    jvm.run(to_java, self);
    EXPECT_TRUE(jvm.take_exception().has_value());
    EXPECT_EQ(elements(operand_list).size(), GetParam().operands);
    EXPECT_EQ(elements(field_list).size(), GetParam().fields);
}

TEST_P(MirrorFailureTest, IsTracedWithinItsScope)
{
    engine.trace.mask = trace_mask_entry;
    jvm.fail(GetParam().failure);
    jvm.run(to_java, self);
    EXPECT_TRUE(jvm.take_exception().has_value());
    EXPECT_EQ(summaries(engine.records),
              (CallLog{"entry 878", "return code -1 at " + std::to_string(GetParam().line), "exit 964"}));
}

TEST_P(MirrorFailureTest, ReturnsZeroWhateverThrowReturned)
{
    jvm.fail(GetParam().failure);
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -1});
    EXPECT_EQ(jvm.run(to_java, self), 0);
}

const char* const no_operand = "InitializationOperand constructor failed";
const char* const no_operand_add = "ServiceDefinition - add to InitializationOperand list failed";
const char* const no_field = "FieldDefinition constructor failed";
const char* const no_field_add = "ServiceDefinition - add to FieldDefinition list failed";

INSTANTIATE_TEST_SUITE_P(
    ToJava, MirrorFailureTest,
    ::testing::Values(
        MirrorFailure{"FirstOperand", {"NewObject", 1}, 906, no_operand, 0, 0},
        MirrorFailure{"FirstOperandWithoutException", {"NewObject", 1, nullptr}, 906, no_operand, 0, 0},
        MirrorFailure{"SecondOperand", {"NewObject", 2}, 906, no_operand, 1, 0},
        MirrorFailure{"FirstOperandAdd", {"CallBooleanMethod", 1}, 917, no_operand_add, 0, 0},
        MirrorFailure{"FirstOperandAddIsFalse", {"CallBooleanMethod", 1, nullptr}, 917, no_operand_add, 0, 0},
        MirrorFailure{"SecondOperandAdd", {"CallBooleanMethod", 2}, 917, no_operand_add, 1, 0},
        MirrorFailure{"FirstField", {"NewObject", 3}, 943, no_field, 2, 0},
        MirrorFailure{"FirstFieldWithoutException", {"NewObject", 3, nullptr}, 943, no_field, 2, 0},
        MirrorFailure{"SecondField", {"NewObject", 4}, 943, no_field, 2, 1},
        MirrorFailure{"FirstFieldAdd", {"CallBooleanMethod", 3}, 954, no_field_add, 2, 0},
        MirrorFailure{"FirstFieldAddIsFalse", {"CallBooleanMethod", 3, nullptr}, 954, no_field_add, 2, 0},
        MirrorFailure{"SecondFieldAdd", {"CallBooleanMethod", 4}, 954, no_field_add, 2, 1}),
    [](const auto& info) { return info.param.name; });

TEST_F(ServiceDefinitionTest, AnAddThatRaisesAndSaysTrueFailedToo)
{
    jvm.may_leave.insert("InitializationOperand");
    bind_engine_record(1, 0);
    jvm.fail({.function = "CallBooleanMethod", .result = 1});
    EXPECT_EQ(jvm.run(to_java, self), 0);
    expect_throw_at_the_end(917, no_operand_add);
}

TEST_F(ServiceDefinitionTest, AfterAFailureWithTheOperandsToJavaDoesNotReadTheFields)
{
    bind_engine_record(1, 1);
    jvm.fail({.function = "NewObject"});
    jvm.run(to_java, self);
    EXPECT_TRUE(jvm.take_exception().has_value());
    EXPECT_EQ(std::find(log.begin(), log.end(), field_list_calls.front()), log.end());
}

TEST_F(ServiceDefinitionTest, ToJavaOfANullListThrows)
{
    bind_engine_record(1, 1);
    jvm.set_object(self, operand_list, nullptr);
    expect_throws(to_java, 964, "ServiceDefinition.toJava: initializationOperands is null");
    jvm.set_object(self, operand_list, jvm.list());
    jvm.set_object(self, field_list, nullptr);
    expect_throws(to_java, 964, "ServiceDefinition.toJava: fieldDefinitions is null");
    EXPECT_EQ(bound_operands(), std::vector<const void*>{&operands[0]});
    EXPECT_EQ(record()->firstOperand, &operands[0]) << "toJava writes nothing into the record";
    EXPECT_EQ(record()->firstField, &fields[0]);
}

TEST_F(ServiceDefinitionTest, AnExceptionOfSizeStopsToJava)
{
    bind_engine_record(1, 1);
    jvm.fail({.function = "CallIntMethod", .nth = 1});
    EXPECT_EQ(jvm.run(to_java, self), 0);
    expect_pending("java/lang/OutOfMemoryError");
    EXPECT_TRUE(elements(operand_list).empty());
    jvm.fail({.function = "CallIntMethod", .nth = 2});
    EXPECT_EQ(jvm.run(to_java, self), 0);
    expect_pending("java/lang/OutOfMemoryError");
    EXPECT_EQ(elements(operand_list).size(), 1U);
    EXPECT_TRUE(elements(field_list).empty());
    EXPECT_TRUE(engine.records.empty());
}

TEST_F(ServiceDefinitionTest, ToJavaWritesNothingIntoTheRecord)
{
    const SVCA* made = bind_engine_record(2, 2);
    const Bytes before = bytes_of(made, 40);
    jvm.run(to_java, self);
    EXPECT_EQ(bytes_of(made, 40), before);
}

// free

TEST_F(ServiceDefinitionTest, FreeReleasesTheRecordAndNothingElse)
{
    auto* operand = engine_record<OPRA>();
    auto* field = engine_record<FLDA>();
    set_children({operand}, {field});
    jvm.run(to_c, self);
    const Bytes operand_before = bytes_of(operand, 48);
    const Bytes field_before = bytes_of(field, 56);
    log.clear();
    jvm.run(free_record, self);
    EXPECT_EQ(log, bind_calls);
    EXPECT_EQ(jvm.get_long(self, "pointer"), 0);
    EXPECT_EQ(bytes_of(operand, 48), operand_before);
    EXPECT_EQ(bytes_of(field, 56), field_before);
    expect_kept({48, 56});
}

TEST_F(ServiceDefinitionTest, FreeReleasesARecordOfTheEngineToo)
{
    bind_engine_record(1, 1);
    jvm.run(free_record, self);
    EXPECT_EQ(heap.freed(), 1U);
}

TEST_F(ServiceDefinitionTest, FreeTwiceIsHarmless)
{
    jvm.run(to_c, self);
    jvm.run(free_record, self);
    log.clear();
    jvm.run(free_record, self);
    EXPECT_EQ(log, CallLog{"GetLongField ServiceDefinition.pointer"});
    EXPECT_EQ(heap.freed(), 1U);
}

// The frame

TEST_F(ServiceDefinitionTest, WhereTheScopeDoesNotOpenItsStatusIsReturnedAndNothingDone)
{
    expect_status_alone(to_c, self);
    bind_engine_record(1, 1);
    expect_status_alone(to_java, self);
}

TEST_F(ServiceDefinitionTest, BeforeInit0ToCDoesNothing)
{
    expect_no_work_before_init0(to_c, self, {"entry 785", "exit 849"});
}

TEST_F(ServiceDefinitionTest, BeforeInit0ToJavaDoesNothing)
{
    expect_no_work_before_init0(to_java, self, {"entry 878", "exit 964"});
}

TEST_F(ServiceDefinitionTest, BeforeInit0FreeDoesNothing)
{
    expect_no_call_before_init0(free_record, self);
    jvm.set_long(self, "pointer", 0);
}

TEST_F(ServiceDefinitionTest, WhatIsTracedChangesNothingInWhatIsDone)
{
    expect_same_calls_however_traced([&] {
        set_children({&operands[0], &operands[1]}, {&fields[0]});
        EXPECT_EQ(jvm.run(to_c, self), 0);
        EXPECT_EQ(jvm.run(to_java, self), 0);
        jvm.run(free_record, self);
    });
}

} // namespace
} // namespace velk::test
