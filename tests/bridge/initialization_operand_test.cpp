// InitializationOperand and its OPRA record.

#include "bridge/definitions.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace velk::test {

namespace {

constexpr auto to_c = Java_com_brel_sorn_velk_internal_InitializationOperand_toC;
constexpr auto to_java = Java_com_brel_sorn_velk_internal_InitializationOperand_toJava;
constexpr auto free_record = Java_com_brel_sorn_velk_internal_InitializationOperand_free;

using Sizes = std::vector<std::size_t>;

class InitializationOperandTest : public DefinitionTest {
protected:
    // toC deletes no local reference of a string.
    InitializationOperandTest() { jvm.may_leave = {"parameterName", "sValue"}; }
    ~InitializationOperandTest() override
    {
        jvm.take_exception();
        jvm.run(free_record, self);
        for (char* text : utf8_texts) std::free(text);
    }

    void set_name(std::u16string_view text) { set_string(self, "parameterName", text); }
    void set_value(std::u16string_view text) { set_string(self, "sValue", text); }
    std::u16string name() { return get_string(self, "parameterName"); }
    std::u16string value() { return get_string(self, "sValue"); }

    OPRA* record() { return jvm.record<OPRA>(self); }

    // A record as the engine makes one: blocks with both slots, UTF-8 text its own.
    OPRA* bind_engine_record()
    {
        auto* made = engine_record<OPRA>();
        *made = {nullptr, {'O', 'P', 'R', 'A'}, 21, 48, 0, 0, 0, 0, {nullptr}, 0, 0, {}};
        jvm.set_record(self, made);
        return made;
    }
    TextBlock* wide_block(std::u16string_view text)
    {
        auto* block = engine_record<TextBlock>();
        block->pParmName = engine_text(text);
        return block;
    }
    TextBlock* utf8_block(std::string_view text)
    {
        auto* block = engine_record<TextBlock>();
        block->utf8Text = engine_text(text);
        utf8_texts.push_back(block->utf8Text);
        return block;
    }
    void put_wide_name(OPRA* made, std::u16string_view text)
    {
        made->nameType = 'W';
        made->nameSize = static_cast<std::int32_t>(2 * text.size());
        made->PN.pWC = wide_block(text);
    }
    void put_utf8_name(OPRA* made, std::string_view text)
    {
        made->nameType = 'M';
        made->nameSize = static_cast<std::int32_t>(text.size());
        made->PN.pWC = utf8_block(text);
    }
    void put_wide_value(OPRA* made, std::u16string_view text)
    {
        made->valueType = 2;
        made->valueSize = static_cast<std::int32_t>(2 * text.size());
        made->PV.pWC = wide_block(text);
    }
    void put_utf8_value(OPRA* made, std::string_view text)
    {
        made->valueType = 3;
        made->valueSize = static_cast<std::int32_t>(text.size());
        made->PV.pWC = utf8_block(text);
    }

    std::vector<TracedItem> id_items(std::int32_t id)
    {
        return {pointer_item("jPointer", record()), integer_item("jParameterId", id)};
    }

    // Return-code record, throw and end, in this order, are the last calls; toC gives the characters of the
    // string in between.
    void expect_throw_at_the_end(std::uint32_t line, const std::string& message, const CallLog& between = {})
    {
        const CallLog end = joined({{"Provider_TraceWrite return code -1 at " + std::to_string(line)},
                                    throw_calls(message),
                                    between,
                                    {"Provider_TraceEnd"}});
        ASSERT_GE(log.size(), end.size());
        EXPECT_EQ(CallLog(log.end() - static_cast<std::ptrdiff_t>(end.size()), log.end()), end);
        EXPECT_EQ(engine.records.size(), 1U);
        engine.records.clear();
        expect_thrown(message);
    }

    void expect_out_of_memory(const std::string& field)
    {
        expect_throw_at_the_end(1082, "InitializationOperand.toC: out of memory for " + field,
                                {"ReleaseStringChars " + field});
    }

    jobject self = jvm.object(operand_class);
    std::vector<char*> utf8_texts;
};

const CallLog bind_calls = {"GetLongField InitializationOperand.pointer",
                            "SetLongField InitializationOperand.pointer"};
const CallLog id_call = {"GetIntField InitializationOperand.parameterId"};
const CallLog integer_call = {"GetIntField InitializationOperand.iValue"};

CallLog get_call(const std::string& field)
{
    return {"GetObjectField InitializationOperand." + field};
}

CallLog take_calls(const std::string& field)
{
    return joined({get_call(field), {"GetStringLength " + field, "GetStringChars " + field}});
}

CallLog give_back_call(const std::string& field)
{
    return {"ReleaseStringChars " + field};
}

// toC

TEST_F(InitializationOperandTest, ToCWithoutTextsStoresTheIdAndTheInteger)
{
    jvm.set_int(self, "parameterId", 258);
    jvm.set_int(self, "iValue", -2);
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(bytes_of(record(), 48), Image(48)
                                          .header(8, "OPRA")
                                          .put(16, std::uint16_t{258})
                                          .put(32, std::int32_t{1})
                                          .put(40, std::int32_t{-2})
                                          .bytes);
    EXPECT_EQ(heap.sizes(), Sizes{48});
    EXPECT_EQ(without_trace(log),
              joined({bind_calls, id_call, get_call("parameterName"), get_call("sValue"), integer_call}));
}

TEST_F(InitializationOperandTest, ToCStoresNameAndValueAsWideText)
{
    jvm.set_int(self, "parameterId", 3);
    set_name(u"key");
    set_value(u"\u00e4\U0001F600");
    EXPECT_EQ(jvm.run(to_c, self), 0);
    const OPRA* made = record();
    EXPECT_EQ(bytes_of(made, 48), Image(48)
                                      .header(8, "OPRA")
                                      .put(16, std::uint16_t{3})
                                      .put(18, 'W')
                                      .put(20, std::int32_t{8})
                                      .put(24, made->PN.pWC)
                                      .put(32, std::int32_t{2})
                                      .put(36, std::int32_t{8})
                                      .put(40, made->PV.pWC)
                                      .bytes);
    EXPECT_EQ(heap.sizes(), (Sizes{48, 8, 8, 8, 8}));
    EXPECT_EQ(std::u16string(made->PN.pWC->pParmName, 4), std::u16string(u"key\0", 4));
    EXPECT_EQ(std::u16string(made->PV.pWC->pParamVal, 4), std::u16string(u"\u00e4\U0001F600\0", 4));
    EXPECT_EQ(without_trace(log),
              joined({bind_calls, id_call, take_calls("parameterName"), give_back_call("parameterName"),
                      take_calls("sValue"), give_back_call("sValue")}));
    EXPECT_EQ(jvm.left(), (std::vector<std::string>{"parameterName", "sValue"}));
}

TEST_F(InitializationOperandTest, ToCAllocatesOnlyTheFirstSlotOfATextBlock)
{
    set_name(u"name");
    set_value(u"value");
    jvm.run(to_c, self);
    EXPECT_EQ(heap.size_of(record()->PN.pWC), 8U);
    EXPECT_EQ(heap.size_of(record()->PN.pWC->pParmName), 10U);
    EXPECT_EQ(heap.size_of(record()->PV.pWC), 8U);
    EXPECT_EQ(heap.size_of(record()->PV.pWC->pParamVal), 12U);
}

TEST_F(InitializationOperandTest, AStringValueWinsOverTheInteger)
{
    jvm.set_int(self, "iValue", 77);
    set_value(u"seventy-seven");
    jvm.run(to_c, self);
    EXPECT_EQ(record()->valueType, 2);
    EXPECT_EQ(std::find(log.begin(), log.end(), integer_call.front()), log.end());
}

TEST_F(InitializationOperandTest, AnEmptyStringIsOneZeroUnit)
{
    set_name(u"");
    set_value(u"");
    jvm.run(to_c, self);
    EXPECT_EQ(record()->nameSize, 2);
    EXPECT_EQ(record()->valueType, 2);
    EXPECT_EQ(record()->valueSize, 2);
    EXPECT_EQ(record()->PN.pWC->pParmName[0], 0);
    EXPECT_EQ(record()->PV.pWC->pParamVal[0], 0);
    EXPECT_EQ(heap.sizes(), (Sizes{48, 8, 2, 8, 2}));
}

TEST_F(InitializationOperandTest, TextsOfAllLengthsEndWithAZeroUnit)
{
    for (const std::size_t length : {1u, 7u, 254u, 255u, 256u, 257u, 4096u, 70000u}) {
        for (const std::uint8_t flag : conversion_flags) {
            wide_conversion = flag;
            const std::u16string text(length, u'\u20ac');
            set_name(text);
            set_value(text);
            EXPECT_EQ(jvm.run(to_c, self), 0);
            EXPECT_EQ(record()->nameSize, static_cast<std::int32_t>(2 * length + 2));
            EXPECT_EQ(record()->valueSize, static_cast<std::int32_t>(2 * length + 2));
            EXPECT_EQ(std::u16string(record()->PN.pWC->pParmName, length + 1), text + u'\0');
            EXPECT_EQ(std::u16string(record()->PV.pWC->pParamVal, length + 1), text + u'\0');
            EXPECT_EQ(heap.sizes(), (Sizes{48, 8, 2 * length + 2, 8, 2 * length + 2}));
            jvm.run(free_record, self);
        }
    }
}

TEST_F(InitializationOperandTest, APlainCopyStopsAtAZeroUnit)
{
    set_name(std::u16string(u"ab\0cd", 5));
    jvm.run(to_c, self);
    EXPECT_EQ(record()->nameSize, 12);
    EXPECT_EQ(std::u16string(record()->PN.pWC->pParmName, 6), std::u16string(u"ab\0\0\0\0", 6));
}

TEST_F(InitializationOperandTest, WithTheFlagSetTheEngineConvertsIntoZeroedRoom)
{
    wide_conversion = 1;
    set_name(u"key");
    set_value(u"value");
    CallLog sources;
    engine.Cnv_Utf16ToWide = [&](const char16_t* source, std::int64_t length, char16_t* destination,
                                 std::int64_t, std::int64_t* output_length) {
        for (std::int64_t i = 0; i <= length; ++i) EXPECT_EQ(destination[i], 0);
        sources.emplace_back(source, source + length);
        destination[0] = u'#';
        *output_length = 1;
        return -9; // nobody looks at it, nor at the length
    };
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(sources, (CallLog{"key", "value"}));
    EXPECT_EQ(std::u16string(record()->PN.pWC->pParmName, 4), std::u16string(u"#\0\0\0", 4));
    EXPECT_EQ(record()->nameSize, 8);
    EXPECT_EQ(record()->valueSize, 12);
    EXPECT_EQ(without_trace(log), joined({bind_calls,
                                          id_call,
                                          take_calls("parameterName"),
                                          {"Cnv_Utf16ToWide length 3 capacity 3"},
                                          give_back_call("parameterName"),
                                          take_calls("sValue"),
                                          {"Cnv_Utf16ToWide length 5 capacity 5"},
                                          give_back_call("sValue")}));
    EXPECT_TRUE(engine.records.empty());
}

struct StoredId {
    jint given;
    std::uint16_t stored;
};

TEST_F(InitializationOperandTest, IdsAreKeptInSixteenBitsAndComeBackUnsigned)
{
    for (const StoredId id : {StoredId{0, 0}, StoredId{32768, 32768}, StoredId{65535, 65535},
                              StoredId{65536, 0}, StoredId{70000, 4464}, StoredId{-1, 65535}}) {
        jvm.set_int(self, "parameterId", id.given);
        jvm.run(to_c, self);
        EXPECT_EQ(record()->parameterId, id.stored);
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(jvm.get_int(self, "parameterId"), id.stored);
    }
}

// toC on a record that there is

TEST_F(InitializationOperandTest, ToCAgainKeepsTheRecordAndLeavesItsFormerTextsAlone)
{
    set_name(u"first");
    set_value(u"one");
    jvm.run(to_c, self);
    const OPRA* first = record();
    set_name(u"a second");
    set_value(u"2");
    log.clear();
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(record(), first);
    EXPECT_EQ(without_trace(log), joined({{bind_calls.front()},
                                          id_call,
                                          take_calls("parameterName"),
                                          give_back_call("parameterName"),
                                          take_calls("sValue"),
                                          give_back_call("sValue")}));
    EXPECT_EQ(std::u16string(first->PN.pWC->pParmName), u"a second");
    EXPECT_EQ(std::u16string(first->PV.pWC->pParamVal), u"2");
    EXPECT_EQ(heap.sizes(), (Sizes{48, 8, 12, 8, 8, 8, 18, 8, 4}));
    jvm.run(free_record, self);
    expect_kept({8, 12, 8, 8}); // the engine may still hold the former texts
}

TEST_F(InitializationOperandTest, ANullNameKeepsTheFormerOne)
{
    set_name(u"kept");
    jvm.run(to_c, self);
    const Bytes before = bytes_of(record(), 48);
    jvm.set_object(self, "parameterName", nullptr);
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(bytes_of(record(), 48), before);
    EXPECT_EQ(std::u16string(record()->PN.pWC->pParmName), u"kept");
}

TEST_F(InitializationOperandTest, AnIntegerInPlaceOfAStringOverwritesFourBytesOnly)
{
    set_value(u"text");
    jvm.run(to_c, self);
    const OPRA before = *record();
    jvm.set_object(self, "sValue", nullptr);
    jvm.set_int(self, "iValue", 0x12345678);
    EXPECT_EQ(jvm.run(to_c, self), 0);
    const Bytes high = bytes_of(reinterpret_cast<const unsigned char*>(&before) + 44, 4);
    EXPECT_EQ(record()->valueType, 1);
    EXPECT_EQ(record()->valueSize, 10);
    EXPECT_EQ(record()->PV.integer, 0x12345678);
    EXPECT_EQ(bytes_of(reinterpret_cast<const unsigned char*>(record()) + 44, 4), high);
    jvm.run(free_record, self);
    expect_kept({8, 10}); // block and text of the former string
}

TEST_F(InitializationOperandTest, AStringInPlaceOfAnIntegerIsReleasedByFree)
{
    jvm.set_int(self, "iValue", -1);
    jvm.run(to_c, self);
    set_value(u"text");
    jvm.run(to_c, self);
    EXPECT_EQ(record()->valueType, 2);
    EXPECT_EQ(heap.sizes(), (Sizes{48, 8, 10}));
}

TEST_F(InitializationOperandTest, ToCKeepsTheNextOfAChainedRecord)
{
    OPRA next{};
    jvm.run(to_c, self);
    record()->next = &next;
    jvm.run(to_c, self);
    EXPECT_EQ(record()->next, &next);
}

// toC's trace

TEST_F(InitializationOperandTest, ToCTracesNameAndString)
{
    engine.trace.mask = trace_all;
    jvm.set_int(self, "parameterId", 70000);
    set_name(u"name");
    set_value(std::u16string(u"cut\0off", 7));
    jvm.run(to_c, self);
    const auto function = trace::InitializationOperand_toC;
    EXPECT_EQ(engine.records, (std::vector<TracedRecord>{
                                  entry_record(function, 1015, {pointer_item("env", jvm.env())}),
                                  data_record(function, 1030, id_items(70000)),
                                  data_record(function, 1050, {wide_item("pDpInitOpDef->PN", u"name")}),
                                  data_record(function, 1070, {wide_item("pDpInitOpDef->PV", u"cut")}),
                                  exit_record(function, 1082)}));
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C080E", "Provider_TraceBegin C080E",
                            "Provider_TraceWrite entry 1015"},
                           bind_calls,
                           id_call,
                           {"Provider_TraceWrite data 1030"},
                           take_calls("parameterName"),
                           {"Provider_TraceWrite data 1050"},
                           give_back_call("parameterName"),
                           take_calls("sValue"),
                           {"Provider_TraceWrite data 1070"},
                           give_back_call("sValue"),
                           {"Provider_TraceWrite exit 1082", "Provider_TraceEnd"}}));
}

TEST_F(InitializationOperandTest, ToCTracesTheIntegerAndNoNullName)
{
    engine.trace.mask = trace_mask_data;
    jvm.set_int(self, "iValue", -5);
    jvm.run(to_c, self);
    const auto function = trace::InitializationOperand_toC;
    EXPECT_EQ(engine.records,
              (std::vector<TracedRecord>{data_record(function, 1030, id_items(0)),
                                         data_record(function, 1076, {integer_item("jIValue", -5)})}));
}

// toC that fails

struct LackOfMemory {
    std::size_t nth;
    const char* field;
    std::int32_t name_size;
    std::int32_t value_type; // 0: not reached
    Sizes held;
};

TEST_F(InitializationOperandTest, WithoutMemoryForAPieceToCThrowsAndLeavesThePieceEmpty)
{
    const LackOfMemory table[] = {
        {2, "parameterName", 0, 0, {48}},
        {3, "parameterName", 0, 0, {48}},
        {4, "sValue", 10, 2, {48, 8, 10}},
        {5, "sValue", 10, 2, {48, 8, 10}},
    };
    set_name(u"name");
    set_value(u"value");
    for (const LackOfMemory& lack : table) {
        heap.fail(lack.nth);
        EXPECT_EQ(jvm.run(to_c, self), 0);
        expect_out_of_memory(lack.field);
        ASSERT_NE(record(), nullptr);
        EXPECT_EQ(record()->nameSize, lack.name_size);
        EXPECT_EQ(record()->PN.pWC == nullptr, lack.name_size == 0);
        EXPECT_EQ(record()->valueType, lack.value_type);
        EXPECT_EQ(record()->valueSize, 0);
        EXPECT_EQ(record()->PV.pWC, nullptr);
        EXPECT_EQ(heap.sizes(), lack.held);
        jvm.run(free_record, self);
        EXPECT_EQ(heap.sizes(), Sizes{});
    }
}

TEST_F(InitializationOperandTest, WithoutMemoryForTheRecordToCThrowsAndLeavesThePointer)
{
    set_name(u"name");
    heap.fail(1);
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(without_trace(log),
              joined({{bind_calls.front()},
                      throw_calls("InitializationOperand.toC: out of memory for the OPRA record")}));
    expect_throw_at_the_end(1082, "InitializationOperand.toC: out of memory for the OPRA record");
    EXPECT_EQ(record(), nullptr);
    EXPECT_EQ(heap.sizes(), Sizes{});
}

TEST_F(InitializationOperandTest, WithoutMemoryForANewTextTheFormerOneIsNoLongerThere)
{
    set_name(u"former");
    set_value(u"former");
    for (const std::size_t nth : {1u, 2u}) {
        jvm.run(to_c, self);
        heap.fail(nth);
        EXPECT_EQ(jvm.run(to_c, self), 0);
        expect_out_of_memory("parameterName");
        EXPECT_EQ(record()->nameSize, 0);
        EXPECT_EQ(record()->PN.pWC, nullptr);
        jvm.run(free_record, self);
        expect_kept({8, 14}); // the former name; the value was not reached
    }
}

TEST_F(InitializationOperandTest, AValueThatFailsInPlaceOfAnIntegerLeavesNoIntegerBehind)
{
    jvm.set_int(self, "iValue", -1);
    jvm.run(to_c, self);
    set_value(u"text");
    heap.fail(2);
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_out_of_memory("sValue");
    EXPECT_EQ(record()->PV.pWC, nullptr);
    EXPECT_EQ(heap.sizes(), Sizes{48});
}

TEST_F(InitializationOperandTest, ATextWhoseSizeDoesNotFitThirtyTwoBitsThrows)
{
    set_name(u"as if longer");
    for (const jint length : {INT32_MAX, INT32_MAX / 2}) {
        jvm.fail({.function = "GetStringLength", .exception = nullptr, .result = length});
        EXPECT_EQ(jvm.run(to_c, self), 0);
        expect_throw_at_the_end(1082, "InitializationOperand.toC: parameterName is too long",
                                give_back_call("parameterName"));
        EXPECT_EQ(record()->nameSize, 0);
        EXPECT_EQ(record()->PN.pWC, nullptr);
    }
}

TEST_F(InitializationOperandTest, ToCReturnsWhatThrowReturned)
{
    set_name(u"name");
    heap.fail(2);
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -4});
    EXPECT_EQ(jvm.run(to_c, self), -4);
}

TEST_F(InitializationOperandTest, CharactersThatCannotBeHadStopToC)
{
    set_name(u"name");
    set_value(u"value");
    jvm.fail({.function = "GetStringChars", .nth = 1});
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_pending("java/lang/OutOfMemoryError");
    EXPECT_EQ(without_trace(log), joined({bind_calls, id_call, take_calls("parameterName")}));
    EXPECT_EQ(log.back(), "Provider_TraceEnd");
    EXPECT_EQ(heap.sizes(), Sizes{48});

    log.clear();
    jvm.fail({.function = "GetStringChars", .nth = 2});
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_pending("java/lang/OutOfMemoryError");
    EXPECT_EQ(without_trace(log), joined({{bind_calls.front()},
                                          id_call,
                                          take_calls("parameterName"),
                                          give_back_call("parameterName"),
                                          take_calls("sValue")}));
    EXPECT_EQ(heap.sizes(), (Sizes{48, 8, 10}));
    EXPECT_TRUE(engine.records.empty());
}

// toJava

CallLog give_calls(std::size_t length, const std::string& field)
{
    return {"NewString " + std::to_string(length), "SetObjectField InitializationOperand." + field,
            "DeleteLocalRef " + field};
}

const CallLog back_calls = {"GetLongField InitializationOperand.pointer",
                            "SetIntField InitializationOperand.parameterId"};

TEST_F(InitializationOperandTest, ToJavaWithoutARecordChangesNothing)
{
    jvm.set_int(self, "parameterId", 5);
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(without_trace(log), CallLog{"GetLongField InitializationOperand.pointer"});
    EXPECT_EQ(jvm.get_int(self, "parameterId"), 5);
}

TEST_F(InitializationOperandTest, ToJavaSetsIdNameAndInteger)
{
    OPRA* made = bind_engine_record();
    made->parameterId = 11;
    put_wide_name(made, std::u16string(u"name\0", 5));
    made->valueType = 1;
    made->PV.integer = -7;
    set_value(u"stays");
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(jvm.get_int(self, "parameterId"), 11);
    EXPECT_EQ(name(), u"name");
    EXPECT_EQ(jvm.get_int(self, "iValue"), -7);
    EXPECT_EQ(value(), u"stays");
    EXPECT_EQ(
        without_trace(log),
        joined({back_calls, give_calls(4, "parameterName"), {"SetIntField InitializationOperand.iValue"}}));
    EXPECT_TRUE(jvm.left().empty());
}

TEST_F(InitializationOperandTest, ToJavaReadsTheEnginesUtf8WhateverTheFlag)
{
    OPRA* made = bind_engine_record();
    put_utf8_name(made, "\xC3\xA4\xF0\x9F\x98\x80");
    put_utf8_value(made, "plain");
    jvm.set_int(self, "iValue", 9);
    for (const std::uint8_t flag : conversion_flags) {
        wide_conversion = flag;
        log.clear();
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(name(), u"\u00e4\U0001F600");
        EXPECT_EQ(value(), u"plain");
        EXPECT_EQ(jvm.get_int(self, "iValue"), 9);
        EXPECT_EQ(without_trace(log), joined({back_calls,
                                              {"Cnv_Utf8ToUtf16 length 6 capacity 6"},
                                              give_calls(3, "parameterName"),
                                              {"Cnv_Utf8ToUtf16 length 5 capacity 5"},
                                              give_calls(5, "sValue")}));
    }
}

TEST_F(InitializationOperandTest, WithTheFlagSetTheEngineConvertsTheWholeWideText)
{
    wide_conversion = 1;
    OPRA* made = bind_engine_record();
    put_wide_name(made, std::u16string(u"name\0", 5));
    put_wide_value(made, u"value");
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(name(), std::u16string(u"name\0", 5)) << "as long as the conversion says";
    EXPECT_EQ(value(), u"value");
    EXPECT_EQ(without_trace(log), joined({back_calls,
                                          {"Cnv_WideToUtf16 length 5 capacity 5"},
                                          give_calls(5, "parameterName"),
                                          {"Cnv_WideToUtf16 length 5 capacity 5"},
                                          give_calls(5, "sValue")}));
}

TEST_F(InitializationOperandTest, AConversionThatFailsGivesTheLengthItReports)
{
    wide_conversion = 1;
    OPRA* made = bind_engine_record();
    put_wide_name(made, u"name");
    put_utf8_value(made, "value");
    engine.Cnv_WideToUtf16 = [](auto, auto, char16_t* to, auto, std::int64_t* length) {
        to[0] = u'x';
        *length = 1;
        return 5;
    };
    engine.Cnv_Utf8ToUtf16 = [](auto...) { return -1; };
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(name(), u"x");
    EXPECT_EQ(value(), u"");
    EXPECT_TRUE(engine.records.empty());
}

TEST_F(InitializationOperandTest, PlainCopiesEndAtAZeroUnit)
{
    OPRA* made = bind_engine_record();
    put_wide_name(made, std::u16string(u"ab\0cd", 5));
    put_wide_value(made, std::u16string(u"\0", 1));
    jvm.run(to_java, self);
    EXPECT_EQ(name(), u"ab");
    EXPECT_EQ(value(), u"");
}

TEST_F(InitializationOperandTest, ANameThatIsNotWideIsUtf8)
{
    OPRA* made = bind_engine_record();
    put_utf8_name(made, "any");
    for (const char type : {'\0', 'M', 'w', 'U'}) {
        made->nameType = type;
        jvm.set_object(self, "parameterName", nullptr);
        jvm.run(to_java, self);
        EXPECT_EQ(name(), u"any");
    }
}

TEST_F(InitializationOperandTest, ANameOfNoSizeOrWithoutABlockStaysUnchanged)
{
    OPRA* made = bind_engine_record();
    put_wide_name(made, u"new");
    set_name(u"old");
    for (const std::int32_t size : {0, -1, INT32_MIN}) {
        made->nameSize = size;
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(name(), u"old");
    }
    TextBlock* block = std::exchange(made->PN.pWC, nullptr);
    made->nameSize = 6;
    log.clear();
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(name(), u"old");
    EXPECT_EQ(without_trace(log), back_calls);
    made->PN.pWC = block;
}

TEST_F(InitializationOperandTest, AMissingTextReadsAsEmpty)
{
    OPRA* made = bind_engine_record();
    made->nameSize = 600;
    made->PN.pWC = engine_record<TextBlock>();
    made->valueSize = 600;
    made->PV.pWC = engine_record<TextBlock>();
    for (const std::uint8_t flag : conversion_flags) {
        wide_conversion = flag;
        for (const char name_type : {'W', 'M'}) {
            for (const std::int32_t value_type : {2, 3}) {
                made->nameType = name_type;
                made->valueType = value_type;
                set_name(u"old");
                set_value(u"old");
                log.clear();
                EXPECT_EQ(jvm.run(to_java, self), 0);
                EXPECT_EQ(name(), u"");
                EXPECT_EQ(value(), u"");
                EXPECT_EQ(without_trace(log),
                          joined({back_calls, give_calls(0, "parameterName"), give_calls(0, "sValue")}));
            }
        }
    }
}

TEST_F(InitializationOperandTest, AValueWithoutABlockReadsAsEmpty)
{
    OPRA* made = bind_engine_record();
    for (const std::int32_t type : {2, 3}) {
        for (const std::int32_t size : {8, 0, -1}) {
            made->valueType = type;
            made->valueSize = size;
            set_value(u"old");
            EXPECT_EQ(jvm.run(to_java, self), 0);
            EXPECT_EQ(value(), u"");
        }
    }
}

TEST_F(InitializationOperandTest, AValueOfANegativeSizeReadsAsEmpty)
{
    OPRA* made = bind_engine_record();
    put_wide_value(made, u"text");
    made->PV.pWC->utf8Text = engine_text(std::string_view("text"));
    utf8_texts.push_back(made->PV.pWC->utf8Text);
    for (const std::int32_t type : {2, 3}) {
        for (const std::int32_t size : {-1, INT32_MIN}) {
            made->valueType = type;
            made->valueSize = size;
            set_value(u"old");
            EXPECT_EQ(jvm.run(to_java, self), 0);
            EXPECT_EQ(value(), u"");
        }
    }
}

TEST_F(InitializationOperandTest, AValueOfSizeZeroIsConvertedLikeAnyOther)
{
    wide_conversion = 1;
    OPRA* made = bind_engine_record();
    put_wide_value(made, u"text");
    made->valueSize = 0;
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(value(), u"");
    EXPECT_EQ(without_trace(log),
              joined({back_calls, {"Cnv_WideToUtf16 length 0 capacity 0"}, give_calls(0, "sValue")}));
}

TEST_F(InitializationOperandTest, AUtf8ValueOfSizeZeroIsConvertedLikeAnyOther)
{
    OPRA* made = bind_engine_record();
    put_utf8_value(made, "text");
    made->valueSize = 0;
    for (const std::uint8_t flag : conversion_flags) {
        wide_conversion = flag;
        set_value(u"old");
        log.clear();
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(value(), u"");
        EXPECT_EQ(without_trace(log),
                  joined({back_calls, {"Cnv_Utf8ToUtf16 length 0 capacity 0"}, give_calls(0, "sValue")}));
    }
}

TEST_F(InitializationOperandTest, HalfAUnitAtTheEndOfAWideTextIsNotRead)
{
    OPRA* made = bind_engine_record();
    put_wide_name(made, u"abcd");
    made->nameSize = 7;
    put_wide_value(made, u"x");
    made->valueSize = 1;
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(name(), u"abc");
    EXPECT_EQ(value(), u"");
}

TEST_F(InitializationOperandTest, AValueOfAnyOtherTypeIsLeftAlone)
{
    OPRA* made = bind_engine_record();
    put_wide_value(made, u"new");
    set_value(u"old");
    jvm.set_int(self, "iValue", 3);
    for (const std::int32_t type : {0, 4, -1, 2 << 16}) {
        made->valueType = type;
        log.clear();
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(value(), u"old");
        EXPECT_EQ(jvm.get_int(self, "iValue"), 3);
        EXPECT_EQ(without_trace(log), back_calls);
    }
    made->valueType = 2; // for free
}

TEST_F(InitializationOperandTest, WhatToCStoredComesBack)
{
    for (const std::u16string& text :
         {std::u16string(), std::u16string(u"\u00e4\U0001F600"), std::u16string(1000, u'z')}) {
        set_name(text);
        set_value(text);
        jvm.run(to_c, self);
        jvm.set_object(self, "parameterName", nullptr);
        jvm.set_object(self, "sValue", nullptr);
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(name(), text);
        EXPECT_EQ(value(), text);
        jvm.run(free_record, self);
    }
}

// The conversion area of toJava

TEST_F(InitializationOperandTest, ANameOf254CharactersFitsTheStackAndOneOf255DoesNot)
{
    for (const std::size_t length : {254u, 255u}) {
        set_name(std::u16string(length, u'n'));
        jvm.run(to_c, self);
        const std::size_t made = heap.made();
        jvm.run(to_java, self);
        EXPECT_EQ(heap.made() - made, length == 254 ? 0U : 1U);
        EXPECT_EQ(name().size(), length);
        jvm.run(free_record, self);
    }
}

TEST_F(InitializationOperandTest, MoreThan255UnitsTakeAHeapAreaOfTheirSizeAndATerminator)
{
    OPRA* made = bind_engine_record();
    std::vector<std::size_t> areas;
    engine.Cnv_Utf8ToUtf16 = [&](char16_t* area, std::int64_t capacity, auto, auto, std::int64_t* length) {
        areas.push_back(heap.size_of(area));
        for (std::int64_t i = 0; i <= capacity; ++i) EXPECT_EQ(area[i], 0);
        std::fill_n(area, capacity, u'u');
        *length = capacity;
        return 0;
    };
    engine.Cnv_WideToUtf16 = [&](auto, auto, char16_t* area, std::int64_t capacity, std::int64_t* length) {
        return engine.Cnv_Utf8ToUtf16(area, capacity, nullptr, 0, length);
    };
    wide_conversion = 1;
    for (const std::size_t units : {1u, 254u, 255u, 256u, 257u, 70000u}) {
        for (const bool wide : {false, true}) {
            if (wide) {
                put_wide_name(made, std::u16string(units, u'w'));
                put_wide_value(made, std::u16string(units, u'w'));
            } else {
                put_utf8_name(made, std::string(units, 'm'));
                put_utf8_value(made, std::string(units, 'm'));
            }
            areas.clear();
            const Sizes held = heap.sizes();
            EXPECT_EQ(jvm.run(to_java, self), 0);
            const std::size_t area = units > 255 ? 2 * units + 2 : 0;
            EXPECT_EQ(areas, (Sizes{area, area}));
            EXPECT_EQ(name(), std::u16string(units, u'u'));
            EXPECT_EQ(value(), std::u16string(units, u'u'));
            EXPECT_EQ(heap.sizes(), held);
            std::free(made->PN.pWC->pParmName);
            std::free(made->PN.pWC);
            std::free(made->PV.pWC->pParamVal);
            std::free(made->PV.pWC);
        }
    }
    made->PN.pWC = nullptr;
    made->PV.pWC = nullptr;
}

TEST_F(InitializationOperandTest, PlainCopiesTakeTheirAreaFromTheHeapAbove255Units)
{
    OPRA* made = bind_engine_record();
    for (const std::size_t units : {254u, 255u, 256u, 257u}) {
        put_wide_name(made, std::u16string(units, u'w'));
        const std::size_t allocated = heap.made();
        const Sizes held = heap.sizes();
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(heap.made() - allocated, units > 255 ? 1U : 0U);
        EXPECT_EQ(heap.sizes(), held);
        EXPECT_EQ(name(), std::u16string(units, u'w'));
        std::free(made->PN.pWC->pParmName);
        std::free(made->PN.pWC);
    }
    made->PN.pWC = nullptr;
}

TEST_F(InitializationOperandTest, WithoutMemoryForTheAreaToJavaThrowsAndLeavesTheText)
{
    OPRA* made = bind_engine_record();
    put_wide_name(made, std::u16string(256, u'w'));
    put_utf8_value(made, std::string(300, 'm'));
    set_name(u"old");
    set_value(u"old");
    heap.fail(1);
    EXPECT_EQ(jvm.run(to_java, self), 0);
    expect_throw_at_the_end(1243, "InitializationOperand.toJava: out of memory for a text of 514 bytes");
    EXPECT_EQ(name(), u"old");
    EXPECT_EQ(value(), u"old");
    heap.fail(2);
    EXPECT_EQ(jvm.run(to_java, self), 0);
    expect_throw_at_the_end(1243, "InitializationOperand.toJava: out of memory for a text of 602 bytes");
    EXPECT_EQ(name(), std::u16string(256, u'w'));
    EXPECT_EQ(value(), u"old");
}

TEST_F(InitializationOperandTest, AStringThatCannotBeMadeStopsToJava)
{
    OPRA* made = bind_engine_record();
    put_wide_name(made, std::u16string(300, u'w'));
    put_wide_value(made, std::u16string(300, u'w'));
    set_name(u"old");
    set_value(u"old");
    const Sizes held = heap.sizes();
    for (const int nth : {1, 2}) {
        log.clear();
        jvm.fail({.function = "NewString", .nth = nth});
        EXPECT_EQ(jvm.run(to_java, self), 0);
        expect_pending("java/lang/OutOfMemoryError");
        EXPECT_EQ(without_trace(log).back(), "NewString 300");
        EXPECT_EQ(name() == u"old", nth == 1);
        EXPECT_EQ(value(), u"old");
        EXPECT_EQ(heap.sizes(), held);
    }
    EXPECT_TRUE(engine.records.empty());
}

TEST_F(InitializationOperandTest, ALengthOfTheWholeAreaIsTaken)
{
    engine.trace.mask = trace_mask_data;
    OPRA* made = bind_engine_record();
    put_utf8_name(made, "name");
    put_utf8_value(made, std::string(300, 'm'));
    engine.Cnv_Utf8ToUtf16 = [](char16_t* to, std::int64_t capacity, auto, auto, std::int64_t* length) {
        for (std::int64_t i = 0; i <= capacity; ++i) to[i] = u'x';
        *length = capacity + 1;
        return 0;
    };
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(name(), u"xxxxx");
    EXPECT_EQ(value(), std::u16string(301, u'x'));
    EXPECT_EQ(engine.records.at(1).items.at(0), wide_item("jParameterNameCh", u"xxxxx"));
    EXPECT_EQ(engine.records.at(2).items.at(0), wide_item("jSValueChars", std::u16string(301, u'x')));
}

TEST_F(InitializationOperandTest, ALengthThatDoesNotFitTheAreaThrows)
{
    OPRA* made = bind_engine_record();
    put_utf8_name(made, std::string(300, 'm'));
    set_name(u"old");
    const Sizes held = heap.sizes();
    for (const std::int64_t reported : {std::int64_t{-1}, std::int64_t{302}, std::int64_t{1} << 32}) {
        engine.Cnv_Utf8ToUtf16 = [=](auto, auto, auto, auto, std::int64_t* length) {
            *length = reported;
            return 0;
        };
        EXPECT_EQ(jvm.run(to_java, self), 0);
        expect_throw_at_the_end(1243, "InitializationOperand.toJava: the engine's conversion reported " +
                                          std::to_string(reported) + " units for an area of 301");
        EXPECT_EQ(name(), u"old");
        EXPECT_EQ(heap.sizes(), held);
    }
}

// toJava's trace

TEST_F(InitializationOperandTest, ToJavaTracesIdNameAndInteger)
{
    engine.trace.mask = trace_all;
    OPRA* made = bind_engine_record();
    made->parameterId = 65535;
    put_wide_name(made, std::u16string(u"name\0", 5));
    made->valueType = 1;
    made->PV.integer = -7;
    jvm.run(to_java, self);
    const auto function = trace::InitializationOperand_toJava;
    EXPECT_EQ(engine.records,
              (std::vector<TracedRecord>{
                  entry_record(function, 1108, {pointer_item("env", jvm.env())}),
                  data_record(function, 1122, id_items(65535)),
                  data_record(function, 1162, {wide_item("jParameterNameCh", u"name")}),
                  data_record(function, 1180, {integer_item("jIValue", -7)}), exit_record(function, 1243)}));
    EXPECT_EQ(log,
              joined({{"Provider_TraceRegister C080F", "Provider_TraceBegin C080F",
                       "Provider_TraceWrite entry 1108", back_calls.front(), "Provider_TraceWrite data 1122",
                       back_calls.back(), "Provider_TraceWrite data 1162"},
                      give_calls(4, "parameterName"),
                      {"Provider_TraceWrite data 1180", "SetIntField InitializationOperand.iValue",
                       "Provider_TraceWrite exit 1243", "Provider_TraceEnd"}}));
}

TEST_F(InitializationOperandTest, ToJavaTracesAStringByItsKindUpToItsZeroUnit)
{
    engine.trace.mask = trace_mask_data;
    OPRA* made = bind_engine_record();
    const auto function = trace::InitializationOperand_toJava;
    put_utf8_value(made, std::string_view("ab\0c", 4));
    jvm.run(to_java, self);
    EXPECT_EQ(value().size(), 4U);
    EXPECT_EQ(engine.records.back(), data_record(function, 1225, {wide_item("jSValueChars", u"ab")}));
    made->PV.pWC->pParamVal = engine_text(std::u16string_view(u"wide"));
    made->valueType = 2;
    made->valueSize = 8;
    jvm.run(to_java, self);
    EXPECT_EQ(engine.records.back(), data_record(function, 1202, {wide_item("jSValueChars", u"wide")}));
    EXPECT_EQ(summaries(engine.records), (CallLog{"data 1122", "data 1225", "data 1122", "data 1202"}));
}

TEST_F(InitializationOperandTest, ToJavaTracesNoTextThatItDoesNotSet)
{
    engine.trace.mask = trace_mask_data;
    bind_engine_record();
    jvm.run(to_java, self);
    EXPECT_EQ(summaries(engine.records), CallLog{"data 1122"});
}

TEST_F(InitializationOperandTest, AnEmptyTextIsTracedWithLengthZero)
{
    engine.trace.mask = trace_mask_data;
    OPRA* made = bind_engine_record();
    made->valueType = 3;
    jvm.run(to_java, self);
    EXPECT_EQ(engine.records.back(),
              data_record(trace::InitializationOperand_toJava, 1225, {wide_item("jSValueChars", u"")}));
}

// free

TEST_F(InitializationOperandTest, FreeReleasesTheRecordItsBlocksAndTheirWideTexts)
{
    set_name(u"name");
    set_value(u"value");
    jvm.run(to_c, self);
    log.clear();
    jvm.run(free_record, self);
    EXPECT_EQ(log, bind_calls);
    EXPECT_EQ(jvm.get_long(self, "pointer"), 0);
    EXPECT_EQ(heap.sizes(), Sizes{});
}

TEST_F(InitializationOperandTest, FreeLeavesTextInTheSecondSlotToItsOwner)
{
    OPRA* made = bind_engine_record();
    put_utf8_name(made, "name");
    put_utf8_value(made, "value!");
    jvm.run(free_record, self);
    EXPECT_EQ(heap.sizes(), (Sizes{4, 6}));
}

TEST_F(InitializationOperandTest, FreeReleasesBlocksWithoutTexts)
{
    OPRA* made = bind_engine_record();
    made->PN.pWC = engine_record<TextBlock>();
    made->valueType = 2;
    made->PV.pWC = engine_record<TextBlock>();
    jvm.run(free_record, self);
    EXPECT_EQ(heap.sizes(), Sizes{});
}

TEST_F(InitializationOperandTest, FreeTakesAValueForABlockOnlyAboveTypeOne)
{
    for (const std::int32_t type : {-1, 0, 1}) {
        OPRA* made = bind_engine_record();
        put_wide_value(made, u"kept");
        made->valueType = type;
        jvm.run(free_record, self);
        expect_kept({16, 8});
    }
    OPRA* made = bind_engine_record();
    put_wide_value(made, u"gone");
    made->valueType = 4;
    jvm.run(free_record, self);
    EXPECT_EQ(heap.sizes(), Sizes{});
}

TEST_F(InitializationOperandTest, FreeDoesNotTouchTheNextRecord)
{
    auto* next = engine_record<OPRA>();
    jvm.run(to_c, self);
    record()->next = next;
    jvm.run(free_record, self);
    EXPECT_EQ(bytes_of(next, 48), Image(48).bytes);
    expect_kept({48});
}

TEST_F(InitializationOperandTest, FreeTwiceIsHarmless)
{
    set_name(u"name");
    jvm.run(to_c, self);
    jvm.run(free_record, self);
    const std::size_t freed = heap.freed();
    log.clear();
    jvm.run(free_record, self);
    EXPECT_EQ(log, CallLog{"GetLongField InitializationOperand.pointer"});
    EXPECT_EQ(heap.freed(), freed);
}

// The frame

TEST_F(InitializationOperandTest, WhereTheScopeDoesNotOpenItsStatusIsReturnedAndNothingDone)
{
    expect_status_alone(to_c, self);
    put_wide_name(bind_engine_record(), u"name");
    expect_status_alone(to_java, self);
}

TEST_F(InitializationOperandTest, BeforeInit0ToCDoesNothing)
{
    expect_no_work_before_init0(to_c, self, {"entry 1015", "exit 1082"});
}

TEST_F(InitializationOperandTest, BeforeInit0ToJavaDoesNothing)
{
    expect_no_work_before_init0(to_java, self, {"entry 1108", "exit 1243"});
}

TEST_F(InitializationOperandTest, BeforeInit0FreeDoesNothing)
{
    expect_no_call_before_init0(free_record, self);
    jvm.set_long(self, "pointer", 0);
}

TEST_F(InitializationOperandTest, WhatIsTracedChangesNothingInWhatIsDone)
{
    expect_same_calls_however_traced([&] {
        set_name(u"name");
        set_value(u"value");
        EXPECT_EQ(jvm.run(to_c, self), 0);
        EXPECT_EQ(jvm.run(to_java, self), 0);
        jvm.run(free_record, self);
    });
}

} // namespace
} // namespace velk::test
