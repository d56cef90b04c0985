// The trace frame, and the trace points of all natives.

#include "bridge/bridge_test.h"
#include "parse/parse_error_text.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace velk::test {

namespace {

// The frame on its own: an operation of the test's with a scope and a block.

class TraceFrameTest : public ::testing::Test {
protected:
    CallLog log;
    Engine engine{log};
    trace::Block block{};
    trace::Scope scope;

    std::int32_t open() { return trace::open(scope, block, trace::Row_toC); }
};

TEST_F(TraceFrameTest, AnUnmarkedBlockIsRegisteredBeforeTheScopeBegins)
{
    EXPECT_EQ(open(), 0);
    trace::close(scope, 1);
    EXPECT_EQ(log,
              (CallLog{"Provider_TraceRegister C0817", "Provider_TraceBegin C0817", "Provider_TraceEnd"}));
}

TEST_F(TraceFrameTest, AMarkedBlockIsNotRegisteredAgain)
{
    open();
    trace::close(scope, 1);
    log.clear();
    open();
    trace::close(scope, 1);
    EXPECT_EQ(log, (CallLog{"Provider_TraceBegin C0817", "Provider_TraceEnd"}));
}

TEST_F(TraceFrameTest, RegistrationIsRepeatedUntilTheFacilityHasMarkedTheBlock)
{
    engine.trace.registered_word = 0x9201;
    for (int i = 0; i < 3; ++i) {
        open();
        trace::close(scope, 1);
    }
    EXPECT_EQ(std::count(log.begin(), log.end(), "Provider_TraceRegister C0817"), 3);
}

TEST_F(TraceFrameTest, AFailingBeginGivesItsStatus)
{
    engine.trace.begin_status = -77;
    EXPECT_EQ(open(), -77);
}

TEST_F(TraceFrameTest, TheContextAloneIsClearedAndTheRoomBehindItIsNot)
{
    static_assert(sizeof(trace::Scope) == 40 + 64);
    std::memset(static_cast<void*>(&scope), 0x77, sizeof scope);
    open(); // the engine finds the context cleared
    for (const std::uint8_t byte : scope.room) EXPECT_EQ(byte, 0x77);
    trace::close(scope, 1);
}

TEST_F(TraceFrameTest, WithTheMaskClearAScopeCostsTheBeginAndTheEnd)
{
    open();
    log.clear();
    trace::entry(scope, 1, trace::integer("a", 1));
    trace::data(scope, 1, trace::integer("a", 1));
    trace::message(scope, 1, trace::integer("a", 1));
    trace::close(scope, 2);
    EXPECT_EQ(log, CallLog{"Provider_TraceEnd"});
}

TEST_F(TraceFrameTest, TheEntryBitAloneGivesEntryAndExitRecords)
{
    engine.trace.mask = 0x80000000;
    open();
    trace::entry(scope, 10, trace::integer("a", 1));
    trace::data(scope, 11, trace::integer("a", 1));
    trace::message(scope, 11, trace::integer("a", 1));
    trace::close(scope, 12);
    EXPECT_EQ(engine.records,
              (std::vector{entry_record(0xC0817, 10, {integer_item("a", 1)}), exit_record(0xC0817, 12)}));
    EXPECT_EQ(log.back(), "Provider_TraceEnd");
}

TEST_F(TraceFrameTest, TheDataBitAloneGivesDataRecordsOnlyAndTheScopeStillEnds)
{
    engine.trace.mask = 0x08000000;
    open();
    trace::entry(scope, 10);
    trace::message(scope, 11, trace::integer("b", 1));
    trace::data(scope, 11, trace::integer("a", 1));
    trace::close(scope, 12);
    EXPECT_EQ(engine.records, std::vector{data_record(0xC0817, 11, {integer_item("a", 1)})});
    EXPECT_EQ(log.back(), "Provider_TraceEnd");
}

TEST_F(TraceFrameTest, TheMessageBitIsNoDataBit)
{
    engine.trace.mask = 0x04000000;
    open();
    trace::data(scope, 11, trace::integer("a", 1));
    trace::message(scope, 12, trace::integer("b", 1));
    trace::close(scope, 13);
    EXPECT_EQ(engine.records,
              std::vector{data_record(0xC0817, 12, {integer_item("b", 1)}, trace_mask_message)});
}

TEST_F(TraceFrameTest, AReturnCodeIsReportedAtTheExitWithAnEmptyMask)
{
    open();
    trace::close(scope, 12, 1);
    EXPECT_EQ(engine.records, std::vector{return_code_record(0xC0817, 12, 1)});
}

TEST_F(TraceFrameTest, MinusTwoIsNotReportedAtTheExit)
{
    open();
    trace::close(scope, 12, -2);
    EXPECT_TRUE(engine.records.empty());
}

TEST_F(TraceFrameTest, AtThePointOfFailureAnyCodeButZeroIsReported)
{
    open();
    trace::return_code(scope, 5, -2);
    trace::return_code(scope, 6, 0);
    trace::return_code(scope, 7, -1);
    trace::close(scope, 12);
    EXPECT_EQ(engine.records,
              (std::vector{return_code_record(0xC0817, 5, -2), return_code_record(0xC0817, 7, -1)}));
}

TEST_F(TraceFrameTest, WithoutAHandleRecordsFollowTheMaskButThereIsNoExitAndNoEnd)
{
    engine.trace = {.mask = trace_all, .gives_handle = false};
    EXPECT_EQ(open(), 0);
    trace::entry(scope, 10);
    trace::data(scope, 11, trace::integer("a", 1));
    trace::return_code(scope, 12, 5);
    trace::close(scope, 13, 5);
    EXPECT_EQ(engine.records,
              (std::vector{entry_record(0xC0817, 10), data_record(0xC0817, 11, {integer_item("a", 1)}),
                           return_code_record(0xC0817, 12, 5)}));
    EXPECT_EQ(std::count(log.begin(), log.end(), "Provider_TraceEnd"), 0);
}

TEST_F(TraceFrameTest, WithoutALentRecordNothingIsWrittenAndTheScopeEnds)
{
    engine.trace = {.mask = trace_all, .lends_record = false};
    open();
    log.clear();
    trace::entry(scope, 10);
    trace::data(scope, 11, trace::integer("a", 1));
    trace::return_code(scope, 12, 5);
    trace::close(scope, 13, 5);
    EXPECT_EQ(log, CallLog{"Provider_TraceEnd"});
}

// Records, item by item.

TEST_F(TraceFrameTest, EachKindOfItemHasItsTypeLengthAndValue)
{
    engine.trace.mask = trace_all;
    open();
    const char16_t wide[] = {u'x', u'y', u'z'}; // no terminator: its length is known
    trace::data(scope, 1, trace::integer("int", -2), trace::byte("byte", '\xF0'),
                trace::pointer("ptr", &block), trace::narrow("narrow", "text"), trace::wide("wide", wide, 3),
                trace::wide("ended", u"ab\0c"));
    trace::close(scope, 2);
    EXPECT_EQ(engine.records[0], data_record(0xC0817, 1,
                                             {integer_item("int", -2), byte_item("byte", '\xF0'),
                                              pointer_item("ptr", &block), narrow_item("narrow", "text"),
                                              wide_item("wide", u"xyz"), wide_item("ended", u"ab")}));
    const std::vector<TracedItem>& items = engine.records[0].items;
    EXPECT_EQ(items[0].type, 0x10405U);
    EXPECT_EQ(items[1].type, 0x70136U);
    EXPECT_EQ(items[2].type, 0xE1820U);
    EXPECT_EQ(items[3].type, 0x90237U);
    EXPECT_EQ(items[4].type, 0x64540U);
}

TEST_F(TraceFrameTest, ANullStringOfEitherKindIsTheNarrowTextNull)
{
    engine.trace.mask = trace_all;
    open();
    trace::data(scope, 1, trace::narrow("a", nullptr), trace::wide("b", nullptr),
                trace::wide("c", nullptr, 9));
    trace::close(scope, 2);
    EXPECT_EQ(engine.records[0],
              data_record(0xC0817, 1,
                          {narrow_item("a", "null"), narrow_item("b", "null"), narrow_item("c", "null")}));
    EXPECT_EQ(engine.records[0].items[1].length, 4U);
}

TEST_F(TraceFrameTest, TextsThatAreEmptyHaveLengthZero)
{
    engine.trace.mask = trace_all;
    open();
    trace::data(scope, 1, trace::narrow("a", ""), trace::wide("b", u""), trace::wide("c", u"x", 0));
    trace::close(scope, 2);
    EXPECT_EQ(engine.records[0],
              data_record(0xC0817, 1, {narrow_item("a", ""), wide_item("b", u""), wide_item("c", u"")}));
}

template <class Value> Value value_at(const RecordBytes& bytes, std::size_t offset)
{
    Value value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

std::string text_at(const RecordBytes& bytes, std::size_t offset, std::size_t length)
{
    return {reinterpret_cast<const char*>(bytes.data()) + offset, length};
}

TEST_F(TraceFrameTest, TheHeaderOfARecordStandsAtItsOffsets)
{
    engine.trace.mask = trace_all;
    open();
    trace::entry(scope, 1638);
    trace::close(scope, 1678);
    const RecordBytes& bytes = engine.records[0].bytes;
    ASSERT_EQ(bytes.size(), 456U);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, 0), 0x10840E01U);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, 4), 456U);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, 32), 0x79U);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, 40), 0x30840D80U);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, 44), 0x80000000U);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, 48), 1638U);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, 52), 0xC0817U);
    EXPECT_EQ(value_at<std::uint32_t>(engine.records[1].bytes, 40), 0x30840D82U);
}

TEST_F(TraceFrameTest, AReturnCodeRecordHasNoLevel)
{
    open();
    trace::return_code(scope, 5, -3);
    trace::close(scope, 6);
    const RecordBytes& bytes = engine.records[0].bytes;
    EXPECT_EQ(value_at<std::uint32_t>(bytes, 32), 0x69U);
    EXPECT_EQ(value_at<std::int32_t>(bytes, 40), -3);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, 44), 0U);
}

TEST_F(TraceFrameTest, SevenItemsAndTheirLabelsStandAtTheirOffsets)
{
    engine.trace.mask = trace_all;
    open();
    trace::data(scope, 1, trace::integer("one", 1), trace::integer("two", 2), trace::integer("three", 3),
                trace::integer("four", 4), trace::integer("five", 5), trace::integer("six", 6),
                trace::integer("seven", 7));
    trace::close(scope, 2);
    const RecordBytes& bytes = engine.records[0].bytes;
    const std::uint32_t items[] = {56, 72, 88, 104, 120, 136, 152};
    const std::uint32_t labels[] = {248, 265, 282, 299, 316, 333, 350};
    const char* const names[] = {"one", "two", "three", "four", "five", "six", "seven"};
    const std::uint32_t flags[] = {0x80080, 0x100100, 0x200200, 0x400400, 0x800800, 0x1001000, 0x2002000};
    std::uint32_t all_flags = 0x79;
    for (std::uint32_t i = 0; i < 7; ++i) {
        EXPECT_EQ(value_at<std::uint32_t>(bytes, items[i]), 4U);
        EXPECT_EQ(value_at<std::uint32_t>(bytes, items[i] + 4), 0x10405U);
        EXPECT_EQ(value_at<std::uint64_t>(bytes, items[i] + 8), i + 1);
        const std::string name = names[i];
        EXPECT_EQ(text_at(bytes, labels[i], 17), name + std::string(17 - name.size(), '\0'));
        all_flags |= flags[i];
    }
    EXPECT_EQ(value_at<std::uint32_t>(bytes, 32), all_flags);
}

TEST_F(TraceFrameTest, TheStringMarkStandsInTheTypeOfBothTexts)
{
    engine.trace.mask = trace_all;
    open();
    const char* const narrow = "n";
    const char16_t* const wide = u"wide";
    trace::data(scope, 1, trace::narrow("a", narrow), trace::wide("b", wide));
    trace::close(scope, 2);
    const RecordBytes& bytes = engine.records[0].bytes;
    EXPECT_EQ(value_at<std::uint32_t>(bytes, 60), 0x5090237U);
    EXPECT_EQ(value_at<const char*>(bytes, 64), narrow);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, 72), 8U);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, 76), 0x5064540U);
    EXPECT_EQ(value_at<const char16_t*>(bytes, 80), wide);
}

TEST_F(TraceFrameTest, ALabelOfTwentyCharactersIsCutToSixteenAndAZero)
{
    engine.trace.mask = trace_all;
    open();
    trace::data(scope, 1, trace::integer("12345678901234567890", 1), trace::integer("1234567890123456", 2),
                trace::integer("123456789012345", 3));
    trace::close(scope, 2);
    const RecordBytes& bytes = engine.records[0].bytes;
    EXPECT_EQ(text_at(bytes, 248, 17), std::string("1234567890123456\0", 17));
    EXPECT_EQ(text_at(bytes, 265, 17), std::string("1234567890123456\0", 17));
    EXPECT_EQ(text_at(bytes, 282, 17), std::string("123456789012345\0\0", 17));
}

// The trace points of the natives.

std::string type_name(const TracedItem& item)
{
    switch (item.type) {
    case trace_type_integer:
        return "integer";
    case trace_type_byte:
        return "byte";
    case trace_type_pointer:
        return "pointer";
    case trace_type_narrow:
        return "narrow";
    default:
        return "wide";
    }
}

// "data 1545 jPointer:pointer jRowCount:integer"
std::string shape(const TracedRecord& record)
{
    std::string text = summary(record);
    for (const TracedItem& item : record.items) text += " " + item.label + ":" + type_name(item);
    return text;
}

// Each object, filled, with its record made.
class NativesTest : public BridgeTest {
protected:
    void SetUp() override
    {
        engine.message = {0, u"heading", u"detail", u"trailing"};
        jvm.may_leave = {"initializationOperands",
                         "fieldDefinitions",
                         "parameterName",
                         "sValue",
                         "columnName",
                         "errorMessage"};
        for (const jobject text_operand : {operand, new_operand}) {
            jvm.set_object(text_operand, "parameterName", jvm.string(u"name"));
            jvm.set_object(text_operand, "sValue", jvm.string(u"value"));
        }
        jvm.set_object(field_definition, "columnName", jvm.string(u"column"));
        for (const jobject parent : {framework, service})
            jvm.set_object(parent, "initializationOperands", jvm.list({operand, number_operand}));
        jvm.set_object(service, "fieldDefinitions", jvm.list({field_definition}));
        jvm.set_int(field, "id", 6);
        jvm.set_int(field, "sourceSize", 10);
        jvm.set_object(field, "source", jvm.string(u"text"));
        jvm.set_object(row, "fields", jvm.array({field}));
        jvm.set_object(row_set, "rows", jvm.array({row}));
        jvm.run(Java_com_brel_sorn_velk_internal_InitializationOperand_toC, operand);
        jvm.run(Java_com_brel_sorn_velk_internal_InitializationOperand_toC, number_operand);
        jvm.run(Java_com_brel_sorn_velk_internal_FieldDefinition_toC, field_definition);
        jvm.run(Java_com_brel_sorn_velk_internal_FrameworkDefinition_toC, framework);
        jvm.run(Java_com_brel_sorn_velk_internal_ServiceDefinition_toC, service);
        jvm.run(Java_com_brel_sorn_velk_Field_toC, field);
        jvm.run(Java_com_brel_sorn_velk_Row_toC, row);
        jvm.run(Java_com_brel_sorn_velk_RowSet_toC, row_set);
        log.clear();
    }

    void TearDown() override
    {
        jvm.run(Java_com_brel_sorn_velk_internal_InitializationOperand_free, operand);
        jvm.run(Java_com_brel_sorn_velk_internal_InitializationOperand_free, new_operand);
        jvm.run(Java_com_brel_sorn_velk_internal_InitializationOperand_free, number_operand);
        jvm.run(Java_com_brel_sorn_velk_internal_FieldDefinition_free, field_definition);
        jvm.run(Java_com_brel_sorn_velk_internal_FrameworkDefinition_free, framework);
        jvm.run(Java_com_brel_sorn_velk_internal_ServiceDefinition_free, service);
        jvm.run(Java_com_brel_sorn_velk_Field_free, field);
        jvm.run(Java_com_brel_sorn_velk_Row_free, row);
        jvm.run(Java_com_brel_sorn_velk_RowSet_free, row_set);
    }

    jobject provider = jvm.object(provider_class);
    jobject velk = jvm.object(velk_class);
    jobject operand = jvm.object(operand_class);
    jobject new_operand = jvm.object(operand_class); // without a record
    jobject number_operand = jvm.object(operand_class);
    jobject field_definition = jvm.object(field_definition_class);
    jobject framework = jvm.object(framework_definition_class);
    jobject service = jvm.object(service_definition_class);
    jobject field = jvm.object(field_class);
    jobject row = jvm.object(row_class);
    jobject row_set = jvm.object(row_set_class);
    friend struct TracedNative;
};

struct TracedNative {
    const char* name;
    std::uint32_t function;
    std::vector<std::string> records; // with everything wanted, in order
    std::function<jint(NativesTest&)> run;
    std::set<std::uint32_t> within = {}; // operations that it runs; their records have tests of their own

    static jint mirror(NativesTest& test, jint (*native)(JNIEnv*, jobject), jobject NativesTest::* object)
    {
        return test.jvm.run(native, test.*object);
    }

    // Nobody frees the array of the pairs, which there are none of.
    static jint parse(NativesTest& test)
    {
        KVPA* entries = nullptr;
        test.engine.Adapter_BuildServiceDefinition = [&](PGDA* request) {
            entries = request->parameters->entries;
            return 0;
        };
        const jint result = test.jvm.run(Java_com_brel_sorn_velk_VELK_parseVELKSyntaxString, test.velk,
                                         test.jvm.string(u"a=b"), test.service);
        std::free(entries);
        return result;
    }

    static std::vector<TracedNative> all();
};

std::vector<TracedNative> TracedNative::all()
{
    using T = NativesTest;
    const std::string field_definition_items =
        " jPointer:pointer pDpFieldDef->sDa:integer pDpFieldDef->iLe:integer pDpFieldDef->iPr:integer "
        "pDpFieldDef->sSc:integer jColumnNameChars:wide";
    return {
        {"VELK_initializeFramework0",
         0xC0801,
         {"entry 418", "exit 421"},
         [](T& t) {
             return t.jvm.run(Java_com_brel_sorn_velk_VELK_initializeFramework0, t.velk, t.framework);
         }},
        {"VELK_parseVELKSyntaxString",
         0xC0802,
         {"entry 305 env:pointer", "data 327 velkMaskingStrin:narrow", "exit 382"},
         parse,
         {trace::parse_parameters}},
        {"VELK_terminateFramework0",
         0xC0803,
         {"entry 437 env:pointer msg:narrow"},
         [](T& t) { return t.jvm.run(Java_com_brel_sorn_velk_VELK_terminateFramework0, t.velk); }},
        {"VELK_destroy0",
         0xC0804,
         {"entry 466 env:pointer", "exit 483"},
         [](T& t) { return t.jvm.run(Java_com_brel_sorn_velk_VELK_destroy0, t.velk); }},
        {"NativeProvider_initializeProvider0",
         0xC0805,
         {"entry 507 env:pointer",
          "data 523 jServiceIdLength:integer serviceId:narrow jServiceDefiniti:pointer", "exit 547"},
         [](T& t) {
             return t.jvm.run(Java_com_brel_sorn_velk_NativeProvider_initializeProvider0, t.provider,
                              t.jvm.string(u"id"), t.service, jboolean{1});
         }},
        {"NativeProvider_serviceProvider0",
         0xC0806,
         {"entry 570 env:pointer", "exit 618"},
         [](T& t) {
             return t.jvm.run(Java_com_brel_sorn_velk_NativeProvider_serviceProvider0, t.provider, 7,
                              t.service, t.row_set);
         }},
        {"NativeProvider_terminateProvider0",
         0xC0807,
         {"entry 635 env:pointer", "exit 648"},
         [](T& t) {
             return t.jvm.run(Java_com_brel_sorn_velk_NativeProvider_terminateProvider0, t.provider, 7);
         }},
        {"FrameworkDefinition_toC",
         0xC0808,
         {"entry 672 env:pointer", "data 689 jPointer:pointer jInitializationO:integer", "exit 709"},
         [](T& t) {
             return mirror(t, Java_com_brel_sorn_velk_internal_FrameworkDefinition_toC, &T::framework);
         }},
        {"FrameworkDefinition_toJava",
         0xC0809,
         {"entry 724 env:pointer", "exit 731"},
         [](T& t) {
             return mirror(t, Java_com_brel_sorn_velk_internal_FrameworkDefinition_toJava, &T::framework);
         }},
        {"ServiceDefinition_toC",
         0xC080B,
         {"entry 785 env:pointer", "data 804 jPointer:pointer jInitializationO:integer",
          "data 827 jPointer:pointer jInitializationO:integer jFieldDefinition:integer", "exit 849"},
         [](T& t) { return mirror(t, Java_com_brel_sorn_velk_internal_ServiceDefinition_toC, &T::service); }},
        {"ServiceDefinition_toJava",
         0xC080C,
         {"entry 878 env:pointer",
          "data 933 jPointer:pointer jInitializationO:integer jFieldDefinition:integer", "exit 964"},
         [](T& t) {
             return mirror(t, Java_com_brel_sorn_velk_internal_ServiceDefinition_toJava, &T::service);
         }},
        {"InitializationOperand_toC_of_a_text",
         0xC080E,
         {"entry 1015 env:pointer", "data 1030 jPointer:pointer jParameterId:integer",
          "data 1050 pDpInitOpDef->PN:wide", "data 1070 pDpInitOpDef->PV:wide", "exit 1082"},
         [](T& t) {
             return mirror(t, Java_com_brel_sorn_velk_internal_InitializationOperand_toC, &T::new_operand);
         }},
        {"InitializationOperand_toC_of_a_number",
         0xC080E,
         {"entry 1015 env:pointer", "data 1030 jPointer:pointer jParameterId:integer",
          "data 1076 jIValue:integer", "exit 1082"},
         [](T& t) {
             return mirror(t, Java_com_brel_sorn_velk_internal_InitializationOperand_toC, &T::number_operand);
         }},
        {"InitializationOperand_toJava_of_a_wide_text",
         0xC080F,
         {"entry 1108 env:pointer", "data 1122 jPointer:pointer jParameterId:integer",
          "data 1162 jParameterNameCh:wide", "data 1202 jSValueChars:wide", "exit 1243"},
         [](T& t) {
             return mirror(t, Java_com_brel_sorn_velk_internal_InitializationOperand_toJava, &T::operand);
         }},
        {"InitializationOperand_toJava_of_a_UTF8_text",
         0xC080F,
         {"entry 1108 env:pointer", "data 1122 jPointer:pointer jParameterId:integer",
          "data 1225 jSValueChars:wide", "exit 1243"},
         [](T& t) {
             char utf8[] = "value";
             TextBlock block{{nullptr}, utf8};
             auto* record = t.jvm.record<OPRA>(t.number_operand);
             record->valueType = 3;
             record->valueSize = 5;
             record->PV.pWC = &block;
             const jint result =
                 mirror(t, Java_com_brel_sorn_velk_internal_InitializationOperand_toJava, &T::number_operand);
             record->valueType = 0;
             return result;
         }},
        {"InitializationOperand_toJava_of_a_number",
         0xC080F,
         {"entry 1108 env:pointer", "data 1122 jPointer:pointer jParameterId:integer",
          "data 1180 jIValue:integer", "exit 1243"},
         [](T& t) {
             return mirror(t, Java_com_brel_sorn_velk_internal_InitializationOperand_toJava,
                           &T::number_operand);
         }},
        {"FieldDefinition_toC",
         0xC0811,
         {"entry 1311 env:pointer", "data 1352" + field_definition_items, "exit 1361"},
         [](T& t) {
             return mirror(t, Java_com_brel_sorn_velk_internal_FieldDefinition_toC, &T::field_definition);
         }},
        {"FieldDefinition_toJava",
         0xC0812,
         {"entry 1388 env:pointer", "data 1446" + field_definition_items, "exit 1462"},
         [](T& t) {
             return mirror(t, Java_com_brel_sorn_velk_internal_FieldDefinition_toJava, &T::field_definition);
         }},
        {"RowSet_toC",
         0xC0814,
         {"entry 1529 env:pointer", "data 1545 jPointer:pointer jRowCount:integer", "exit 1568"},
         [](T& t) { return mirror(t, Java_com_brel_sorn_velk_RowSet_toC, &T::row_set); }},
        {"RowSet_toJava",
         0xC0815,
         {"entry 1584 env:pointer", "exit 1589"},
         [](T& t) { return mirror(t, Java_com_brel_sorn_velk_RowSet_toJava, &T::row_set); }},
        {"Row_toC",
         0xC0817,
         {"entry 1638 env:pointer", "data 1656 jPointer:pointer jFieldCount:integer", "exit 1678"},
         [](T& t) { return mirror(t, Java_com_brel_sorn_velk_Row_toC, &T::row); }},
        {"Row_toJava",
         0xC0818,
         {"entry 1696 env:pointer", "data 1702 jPointer:pointer", "exit 1710"},
         [](T& t) { return mirror(t, Java_com_brel_sorn_velk_Row_toJava, &T::row); }},
        {"Field_toC",
         0xC081A,
         {"entry 1759 env:pointer", "data 1772 jPointer:pointer",
          "data 1778 jPointer:pointer jId:integer jSourceSize:integer", "exit 1855"},
         [](T& t) { return mirror(t, Java_com_brel_sorn_velk_Field_toC, &T::field); }},
        {"Field_toJava",
         0xC081B,
         {"entry 1879 env:pointer", "data 1885 jPointer:pointer", "exit 1963"},
         [](T& t) { return mirror(t, Java_com_brel_sorn_velk_Field_toJava, &T::field); }},
    };
}

class EachTracedNative : public NativesTest, public ::testing::WithParamInterface<TracedNative> {
protected:
    // Of its own records.
    std::vector<std::string> shapes() const
    {
        std::vector<std::string> all;
        for (const TracedRecord& record : engine.records)
            if (!GetParam().within.contains(record.function)) all.push_back(shape(record));
        return all;
    }

    std::vector<std::string> expected(bool entry_and_exit, bool data) const
    {
        std::vector<std::string> chosen;
        for (const std::string& record : GetParam().records)
            if (record.starts_with("data") ? data : entry_and_exit) chosen.push_back(record);
        return chosen;
    }
};

TEST_P(EachTracedNative, WritesItsTracePointsInOrder)
{
    engine.trace.mask = trace_all;
    EXPECT_EQ(GetParam().run(*this), 0);
    EXPECT_EQ(shapes(), GetParam().records);
    for (const TracedRecord& record : engine.records) {
        EXPECT_TRUE(record.function == GetParam().function || GetParam().within.contains(record.function))
            << shape(record);
    }
}

TEST_P(EachTracedNative, ShowsTheEnvironmentAsEnv)
{
    engine.trace.mask = trace_mask_entry;
    GetParam().run(*this);
    const std::vector<TracedItem>& items = engine.records.at(0).items;
    if (GetParam().function == trace::VELK_initializeFramework0) {
        EXPECT_TRUE(items.empty());
    } else {
        EXPECT_EQ(items.at(0), pointer_item("env", jvm.env()));
    }
}

TEST_P(EachTracedNative, WritesEntryAndExitAloneForTheEntryBit)
{
    engine.trace.mask = 0x80000000;
    EXPECT_EQ(GetParam().run(*this), 0);
    EXPECT_EQ(shapes(), expected(true, false));
}

TEST_P(EachTracedNative, WritesDataAloneForTheDataBit)
{
    engine.trace.mask = 0x08000000;
    EXPECT_EQ(GetParam().run(*this), 0);
    EXPECT_EQ(shapes(), expected(false, true));
}

TEST_P(EachTracedNative, WritesNothingWithTheMaskClear)
{
    EXPECT_EQ(GetParam().run(*this), 0);
    EXPECT_EQ(shapes(), std::vector<std::string>{});
}

TEST_P(EachTracedNative, ReturnsTheStatusAndDoesNothingWhereTheScopeDoesNotOpen)
{
    engine.trace.begin_status = 77;
    log.clear();
    EXPECT_EQ(GetParam().run(*this), 77);
    CallLog begun;
    for (const std::string& line : log)
        if (line.starts_with("Provider_TraceBegin")) begun.push_back(line);
    EXPECT_EQ(begun.size(), 1U);
    const bool starts_framework = GetParam().function == trace::VELK_initializeFramework0;
    EXPECT_EQ(without_trace(log), starts_framework ? (CallLog{"GetLongField FrameworkDefinition.pointer",
                                                              "Provider_FrmwInit FRPA"})
                                                   : CallLog{});
    EXPECT_EQ(jvm.take_exception(), std::nullopt);
}

TEST_P(EachTracedNative, LeavesTheFacilitySixtyFourBytesBehindItsContext)
{
    engine.trace = {.mask = trace_all, .behind_context = 64};
    EXPECT_EQ(GetParam().run(*this), 0);
    EXPECT_EQ(shapes(), GetParam().records);
}

TEST_P(EachTracedNative, WritesNoRecordWhereNoneIsLent)
{
    engine.trace = {.mask = trace_all, .lends_record = false};
    EXPECT_EQ(GetParam().run(*this), 0);
    EXPECT_TRUE(engine.records.empty());
}

TEST_P(EachTracedNative, WritesNoExitAndEndsNoScopeWithoutAHandle)
{
    engine.trace = {.mask = trace_all, .gives_handle = false};
    EXPECT_EQ(GetParam().run(*this), 0);
    std::vector<std::string> without_exit = GetParam().records;
    std::erase_if(without_exit, [](const std::string& record) { return record.starts_with("exit"); });
    EXPECT_EQ(shapes(), without_exit);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Provider_TraceEnd"), 0);
}

INSTANTIATE_TEST_SUITE_P(Natives, EachTracedNative, ::testing::ValuesIn(TracedNative::all()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(NativesTest, EachOperationHasAFunctionIdAndABlockOfItsOwn)
{
    std::set<std::uint32_t> functions;
    for (const TracedNative& native : TracedNative::all()) {
        if (native.function == trace::VELK_destroy0) continue;
        native.run(*this);
        functions.insert(native.function);
    }
    GetErrorText(5);
    compose_parse_error_text(5);
    // The engine fails the test for a block that serves two functions, or a function with two blocks.
    EXPECT_EQ(functions.size(), 20U);
}

TEST_F(NativesTest, TheOperationsOfAFailedParseLeaveTheFacilityRoomBehindItsContextToo)
{
    engine.trace = {.mask = trace_all, .behind_context = 64};
    void* kept[2] = {}; // that nobody frees
    engine.Adapter_BuildServiceDefinition = [&](PGDA* request) {
        kept[0] = request->parameters->entries;
        kept[1] = request->pSvcDef;
        return 302;
    };
    jvm.run(Java_com_brel_sorn_velk_VELK_parseVELKSyntaxString, velk, jvm.string(u"a=b"), nullptr);
    for (void* block : kept) std::free(block);
    EXPECT_EQ(jvm.take_exception(), velk_exception("heading:\ndetail\ntrailing", 302));
    std::set<std::uint32_t> functions;
    for (const TracedRecord& record : engine.records) functions.insert(record.function);
    EXPECT_EQ(functions, (std::set<std::uint32_t>{0xC0802, 0xC081D, 0xC081E, 0xC0820}));
}

TEST_F(NativesTest, FreeNativesAndInit0AndThrowUseNoTrace)
{
    TearDown();
    jvm.run(Java_com_brel_sorn_velk_VELK_init0, velk);
    jvm.accept_globals();
    jvm.run(ThrowVELKException, "message", 1);
    EXPECT_EQ(jvm.take_exception(), velk_exception("message", 1));
    EXPECT_EQ(without_trace(log), log);
}

} // namespace
} // namespace velk::test
