// FieldDefinition and its FLDA record.

#include "bridge/definitions.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace velk::test {

namespace {

constexpr auto to_c = Java_com_brel_sorn_velk_internal_FieldDefinition_toC;
constexpr auto to_java = Java_com_brel_sorn_velk_internal_FieldDefinition_toJava;
constexpr auto free_record = Java_com_brel_sorn_velk_internal_FieldDefinition_free;

using Sizes = std::vector<std::size_t>;

class FieldDefinitionTest : public DefinitionTest {
protected:
    FieldDefinitionTest()
    {
        jvm.may_leave = {"columnName"}; // toC deletes no local reference of a string
        set_name(u"abc");
    }
    ~FieldDefinitionTest() override
    {
        jvm.take_exception();
        jvm.run(free_record, self);
    }

    void set_numbers(jint id, jint length, jint precision, jint scale)
    {
        jvm.set_int(self, "id", id);
        jvm.set_int(self, "length", length);
        jvm.set_int(self, "precision", precision);
        jvm.set_int(self, "scale", scale);
    }
    std::vector<jint> numbers()
    {
        return {jvm.get_int(self, "id"), jvm.get_int(self, "length"), jvm.get_int(self, "precision"),
                jvm.get_int(self, "scale")};
    }
    void set_name(std::u16string_view text) { set_string(self, "columnName", text); }
    std::u16string name() { return get_string(self, "columnName"); }

    FLDA* record() { return jvm.record<FLDA>(self); }

    // A record as the engine's adapter makes one, with a name block but no name yet.
    FLDA* bind_engine_record()
    {
        auto* made = engine_record<FLDA>();
        *made = {nullptr, {'F', 'L', 'D', 'A'}, 21, 56, 0, {}, 0, 0, 0, {}, 0, 0, {}, nullptr};
        made->nameBlock = engine_record<NameBlock>();
        jvm.set_record(self, made);
        return made;
    }
    FLDA* bind_wide_name(std::u16string_view text)
    {
        FLDA* made = bind_engine_record();
        made->nameEncoding = 'W';
        made->nameSize = static_cast<std::int32_t>(2 * text.size());
        made->nameBlock->wideName = engine_text(text);
        return made;
    }
    FLDA* bind_utf8_name(std::string_view text)
    {
        FLDA* made = bind_engine_record();
        made->nameEncoding = 'M';
        made->nameSize = static_cast<std::int32_t>(text.size());
        made->nameBlock->utf8Name = engine_text(text);
        return made;
    }

    // What both natives trace of a definition.
    std::vector<TracedItem> items(std::vector<jint> values, const TracedItem& name_item)
    {
        return {pointer_item("jPointer", record()),          integer_item("pDpFieldDef->sDa", values[0]),
                integer_item("pDpFieldDef->iLe", values[1]), integer_item("pDpFieldDef->iPr", values[2]),
                integer_item("pDpFieldDef->sSc", values[3]), name_item};
    }

    // Return-code record, throw and end, in this order, are the last calls.
    void expect_throw_at_the_end(std::uint32_t line, const std::string& message)
    {
        const CallLog end = joined({{"Provider_TraceWrite return code -1 at " + std::to_string(line)},
                                    throw_calls(message),
                                    {"Provider_TraceEnd"}});
        ASSERT_GE(log.size(), end.size());
        EXPECT_EQ(CallLog(log.end() - static_cast<std::ptrdiff_t>(end.size()), log.end()), end);
        EXPECT_EQ(engine.records.size(), 1U);
        engine.records.clear();
        expect_thrown(message);
    }

    jobject self = jvm.object(field_definition_class);
};

const CallLog bind_calls = {"GetLongField FieldDefinition.pointer", "SetLongField FieldDefinition.pointer"};
const CallLog number_calls = {"GetIntField FieldDefinition.id", "GetIntField FieldDefinition.length",
                              "GetIntField FieldDefinition.precision", "GetIntField FieldDefinition.scale"};
const CallLog take_calls = {"GetObjectField FieldDefinition.columnName", "GetStringLength columnName",
                            "GetStringChars columnName"};
const CallLog give_back_call = {"ReleaseStringChars columnName"};

// toC

TEST_F(FieldDefinitionTest, ToCStoresTheNumbersAndTheName)
{
    set_numbers(4, 100000, -3, 2);
    EXPECT_EQ(jvm.run(to_c, self), 0);
    const FLDA* made = record();
    EXPECT_EQ(bytes_of(made, 56), Image(56)
                                      .header(8, "FLDA")
                                      .put(16, std::int16_t{4})
                                      .put(20, std::int32_t{100000})
                                      .put(24, std::int32_t{-3})
                                      .put(28, std::int16_t{2})
                                      .put(40, std::int32_t{8})
                                      .put(44, 'W')
                                      .put(48, made->nameBlock)
                                      .bytes);
    EXPECT_EQ(bytes_of(made->nameBlock, 16), Image(16).put(0, made->nameBlock->wideName).bytes);
    EXPECT_EQ(std::u16string(made->nameBlock->wideName, 4), std::u16string(u"abc\0", 4));
    EXPECT_EQ(heap.sizes(), (Sizes{56, 16, 8}));
    EXPECT_EQ(without_trace(log), joined({bind_calls, number_calls, take_calls, give_back_call}));
    EXPECT_EQ(jvm.left(), std::vector<std::string>{"columnName"});
}

struct Narrowing {
    jint given;
    std::int16_t stored;
};

TEST_F(FieldDefinitionTest, IdAndScaleAreKeptInSixteenBitsAndComeBackSigned)
{
    for (const Narrowing number :
         {Narrowing{0, 0}, Narrowing{-1, -1}, Narrowing{4464, 4464}, Narrowing{70000, 4464},
          Narrowing{40000, -25536}, Narrowing{32767, 32767}, Narrowing{32768, -32768}, Narrowing{65536, 0}}) {
        set_numbers(number.given, number.given, number.given, number.given);
        jvm.run(to_c, self);
        EXPECT_EQ(record()->dataType, number.stored);
        EXPECT_EQ(record()->scale, number.stored);
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(numbers(), (std::vector<jint>{number.stored, number.given, number.given, number.stored}));
    }
}

TEST_F(FieldDefinitionTest, NamesOfAllLengthsEndWithAZeroUnit)
{
    for (const std::size_t length : {0u, 1u, 3u, 254u, 255u, 256u, 257u, 70000u}) {
        for (const std::uint8_t flag : conversion_flags) {
            wide_conversion = flag;
            const std::u16string text(length, u'\u20ac');
            set_name(text);
            EXPECT_EQ(jvm.run(to_c, self), 0);
            EXPECT_EQ(record()->nameSize, static_cast<std::int32_t>(2 * length + 2));
            EXPECT_EQ(std::u16string(record()->nameBlock->wideName, length + 1), text + u'\0');
            EXPECT_EQ(heap.sizes(), (Sizes{56, 16, 2 * length + 2}));
        }
    }
}

TEST_F(FieldDefinitionTest, APlainCopyStopsAtAZeroUnit)
{
    set_name(std::u16string(u"ab\0cd", 5));
    jvm.run(to_c, self);
    EXPECT_EQ(record()->nameSize, 12);
    EXPECT_EQ(std::u16string(record()->nameBlock->wideName, 6), std::u16string(u"ab\0\0\0\0", 6));
}

TEST_F(FieldDefinitionTest, WithTheFlagSetTheEngineConvertsIntoZeroedRoom)
{
    wide_conversion = 1;
    std::u16string source_text;
    engine.Cnv_Utf16ToWide = [&](const char16_t* source, std::int64_t length, char16_t* destination,
                                 std::int64_t, std::int64_t* output_length) {
        for (std::int64_t i = 0; i <= length; ++i) EXPECT_EQ(destination[i], 0);
        source_text.assign(source, source + length);
        destination[0] = u'#';
        *output_length = 1;
        return -9; // nobody looks at it, nor at the length
    };
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(source_text, u"abc");
    EXPECT_EQ(record()->nameSize, 8);
    EXPECT_EQ(std::u16string(record()->nameBlock->wideName, 4), std::u16string(u"#\0\0\0", 4));
    EXPECT_EQ(
        without_trace(log),
        joined(
            {bind_calls, number_calls, take_calls, {"Cnv_Utf16ToWide length 3 capacity 3"}, give_back_call}));
}

TEST_F(FieldDefinitionTest, ToCAgainKeepsRecordAndBlockAndReplacesTheName)
{
    set_numbers(1, 2, 3, 4);
    jvm.run(to_c, self);
    const FLDA* first = record();
    const NameBlock* block = first->nameBlock;
    set_numbers(5, 6, 7, 8);
    set_name(u"a longer name");
    log.clear();
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(record(), first);
    EXPECT_EQ(first->nameBlock, block);
    EXPECT_EQ(std::u16string(block->wideName), u"a longer name");
    EXPECT_EQ(first->dataType, 5);
    EXPECT_EQ(first->fieldLength, 6);
    EXPECT_EQ(first->precision, 7);
    EXPECT_EQ(first->scale, 8);
    EXPECT_EQ(first->nameSize, 28);
    EXPECT_EQ(heap.sizes(), (Sizes{56, 16, 28}));
    EXPECT_EQ(without_trace(log), joined({{bind_calls.front()}, number_calls, take_calls, give_back_call}));
}

TEST_F(FieldDefinitionTest, ToCKeepsNextAndReservedBytesOfTheEnginesRecord)
{
    FLDA* made = bind_wide_name(u"old");
    FLDA next{};
    made->next = &next;
    std::memset(made->reserved18, 0x11, sizeof made->reserved18);
    std::memset(made->reserved30, 0x22, sizeof made->reserved30);
    std::memset(made->reserved45, 0x33, sizeof made->reserved45);
    jvm.run(to_c, self);
    Image expected(56);
    expected.header(8, "FLDA").put(0, &next).put(40, std::int32_t{8}).put(44, 'W').put(48, made->nameBlock);
    expected.text(18, "\x11\x11").text(30, std::string(10, '\x22')).text(45, "\x33\x33\x33");
    EXPECT_EQ(bytes_of(made, 56), expected.bytes);
}

TEST_F(FieldDefinitionTest, ToCOnAUtf8RecordWritesAWideNameAndFreeLeavesTheOtherOne)
{
    FLDA* made = bind_utf8_name("engine");
    const char* utf8 = made->nameBlock->utf8Name;
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(made->nameEncoding, 'W');
    EXPECT_EQ(made->nameSize, 8);
    EXPECT_EQ(made->nameBlock->utf8Name, utf8);
    EXPECT_EQ(std::u16string(made->nameBlock->wideName), u"abc");
    jvm.run(free_record, self);
    EXPECT_EQ(heap.size_of(utf8), 6U);
    expect_kept({6});
}

TEST_F(FieldDefinitionTest, ToCTracesTheRecordAsItStandsAndTheJavaName)
{
    engine.trace.mask = trace_all;
    set_numbers(70000, -1, 7, 40000);
    const std::u16string text(u"a\0b", 3);
    set_name(text);
    jvm.run(to_c, self);
    const auto function = trace::FieldDefinition_toC;
    EXPECT_EQ(
        engine.records,
        (std::vector<TracedRecord>{
            entry_record(function, 1311, {pointer_item("env", jvm.env())}),
            data_record(function, 1352, items({4464, -1, 7, -25536}, wide_item("jColumnNameChars", text))),
            exit_record(function, 1361)}));
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C0811", "Provider_TraceBegin C0811",
                            "Provider_TraceWrite entry 1311"},
                           bind_calls,
                           number_calls,
                           take_calls,
                           {"Provider_TraceWrite data 1352"},
                           give_back_call,
                           {"Provider_TraceWrite exit 1361", "Provider_TraceEnd"}}));
}

// toC that fails

TEST_F(FieldDefinitionTest, ANullNameThrowsAndKeepsTheFormerOne)
{
    jvm.run(to_c, self);
    jvm.set_object(self, "columnName", nullptr);
    log.clear();
    EXPECT_EQ(jvm.run(to_c, self), 0);
    EXPECT_EQ(without_trace(log), joined({{bind_calls.front()},
                                          number_calls,
                                          {take_calls.front()},
                                          throw_calls("FieldDefinition.toC: columnName is null")}));
    expect_throw_at_the_end(1361, "FieldDefinition.toC: columnName is null");
    EXPECT_EQ(heap.sizes(), (Sizes{56, 16, 8}));
}

TEST_F(FieldDefinitionTest, ANullNameOfANewRecordLeavesItWithoutAName)
{
    jvm.set_object(self, "columnName", nullptr);
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_throw_at_the_end(1361, "FieldDefinition.toC: columnName is null");
    ASSERT_NE(record(), nullptr);
    EXPECT_EQ(record()->nameSize, 0);
    EXPECT_EQ(heap.sizes(), (Sizes{56, 16}));
}

struct LackOfMemory {
    std::size_t nth;
    const char* message;
    Sizes held;
};

TEST_F(FieldDefinitionTest, WithoutMemoryToCThrowsAndLeavesThePieceEmpty)
{
    const LackOfMemory table[] = {
        {1, "FieldDefinition.toC: out of memory for the FLDA record", {}},
        {2, "FieldDefinition.toC: out of memory for the name block", {56}},
        {3, "FieldDefinition.toC: out of memory for columnName", {56, 16}},
    };
    for (const LackOfMemory& lack : table) {
        heap.fail(lack.nth);
        EXPECT_EQ(jvm.run(to_c, self), 0);
        EXPECT_TRUE(heap.has_failed());
        expect_throw_at_the_end(1361, lack.message);
        EXPECT_EQ(heap.sizes(), lack.held);
        EXPECT_EQ(record() == nullptr, lack.nth == 1);
        if (record() != nullptr) {
            EXPECT_EQ(record()->nameSize, 0);
            EXPECT_EQ(record()->nameBlock == nullptr, lack.nth == 2);
        }
        jvm.run(free_record, self);
        EXPECT_EQ(heap.sizes(), Sizes{});
    }
}

TEST_F(FieldDefinitionTest, ALaterToCMakesUpForTheMissingPiece)
{
    for (const std::size_t nth : {2u, 3u}) {
        heap.fail(nth);
        jvm.run(to_c, self);
        EXPECT_TRUE(jvm.take_exception().has_value());
        EXPECT_EQ(jvm.run(to_c, self), 0);
        EXPECT_EQ(std::u16string(record()->nameBlock->wideName), u"abc");
        EXPECT_EQ(heap.sizes(), (Sizes{56, 16, 8}));
        jvm.run(free_record, self);
    }
}

TEST_F(FieldDefinitionTest, WithoutMemoryForANewNameTheFormerOneIsGone)
{
    jvm.run(to_c, self);
    heap.fail(1);
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_throw_at_the_end(1361, "FieldDefinition.toC: out of memory for columnName");
    EXPECT_EQ(record()->nameSize, 0);
    EXPECT_EQ(record()->nameBlock->wideName, nullptr);
    EXPECT_EQ(heap.sizes(), (Sizes{56, 16}));
}

TEST_F(FieldDefinitionTest, ANameWhoseSizeDoesNotFitThirtyTwoBitsThrows)
{
    for (const jint length : {INT32_MAX, INT32_MAX / 2}) {
        jvm.fail({.function = "GetStringLength", .exception = nullptr, .result = length});
        EXPECT_EQ(jvm.run(to_c, self), 0);
        expect_throw_at_the_end(1361, "FieldDefinition.toC: columnName is too long");
        EXPECT_EQ(record()->nameSize, 0);
        EXPECT_EQ(record()->nameBlock->wideName, nullptr);
    }
}

TEST_F(FieldDefinitionTest, CharactersThatCannotBeHadStopToC)
{
    engine.trace.mask = trace_mask_data;
    jvm.fail({.function = "GetStringChars"});
    EXPECT_EQ(jvm.run(to_c, self), 0);
    expect_pending("java/lang/OutOfMemoryError");
    EXPECT_EQ(without_trace(log), joined({bind_calls, number_calls, take_calls}));
    EXPECT_EQ(log.back(), "Provider_TraceEnd");
    EXPECT_TRUE(engine.records.empty());
    jvm.run(free_record, self);
    EXPECT_EQ(heap.sizes(), Sizes{});
}

TEST_F(FieldDefinitionTest, ToCReturnsWhatThrowReturned)
{
    heap.fail(3);
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -2});
    EXPECT_EQ(jvm.run(to_c, self), -2);
}

// toJava

const CallLog back_calls = {"GetLongField FieldDefinition.pointer", "SetIntField FieldDefinition.id",
                            "SetIntField FieldDefinition.length", "SetIntField FieldDefinition.precision",
                            "SetIntField FieldDefinition.scale"};

CallLog give_calls(std::size_t length)
{
    return {"NewString " + std::to_string(length), "SetObjectField FieldDefinition.columnName",
            "DeleteLocalRef columnName"};
}

TEST_F(FieldDefinitionTest, ToJavaWithoutARecordChangesNothing)
{
    set_numbers(1, 2, 3, 4);
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(without_trace(log), CallLog{"GetLongField FieldDefinition.pointer"});
    EXPECT_EQ(numbers(), (std::vector<jint>{1, 2, 3, 4}));
    EXPECT_EQ(name(), u"abc");
}

TEST_F(FieldDefinitionTest, ToJavaSetsTheNumbersAndAWideName)
{
    FLDA* made = bind_wide_name(std::u16string(u"\u00e4\U0001F600\0", 4));
    made->dataType = -1;
    made->fieldLength = 100000;
    made->precision = -5;
    made->scale = -25536;
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(numbers(), (std::vector<jint>{-1, 100000, -5, -25536}));
    EXPECT_EQ(name(), u"\u00e4\U0001F600");
    EXPECT_EQ(without_trace(log), joined({back_calls, give_calls(3)}));
    EXPECT_TRUE(jvm.left().empty());
}

TEST_F(FieldDefinitionTest, ToJavaReadsTheEnginesUtf8WhateverTheFlag)
{
    bind_utf8_name("\xC3\xA4\xF0\x9F\x98\x80");
    for (const std::uint8_t flag : conversion_flags) {
        wide_conversion = flag;
        set_name(u"old");
        log.clear();
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(name(), u"\u00e4\U0001F600");
        EXPECT_EQ(without_trace(log),
                  joined({back_calls, {"Cnv_Utf8ToUtf16 length 6 capacity 6"}, give_calls(3)}));
    }
}

TEST_F(FieldDefinitionTest, WithTheFlagSetTheEngineConvertsTheWholeWideName)
{
    wide_conversion = 1;
    bind_wide_name(std::u16string(u"name\0", 5));
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(name(), std::u16string(u"name\0", 5)) << "as long as the conversion says";
    EXPECT_EQ(without_trace(log),
              joined({back_calls, {"Cnv_WideToUtf16 length 5 capacity 5"}, give_calls(5)}));
}

TEST_F(FieldDefinitionTest, AConversionThatFailsGivesTheLengthItReports)
{
    engine.Cnv_Utf8ToUtf16 = [](char16_t* to, auto...) {
        to[0] = u'x';
        return -1;
    };
    bind_utf8_name("name");
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(name(), u"");
    EXPECT_TRUE(engine.records.empty());
}

TEST_F(FieldDefinitionTest, ANameThatIsNotUtf8IsWide)
{
    FLDA* made = bind_wide_name(u"wide");
    for (const char encoding : {'\0', 'W', 'm', 'U'}) {
        made->nameEncoding = encoding;
        set_name(u"old");
        jvm.run(to_java, self);
        EXPECT_EQ(name(), u"wide");
    }
}

TEST_F(FieldDefinitionTest, APlainCopyEndsAtAZeroUnit)
{
    bind_wide_name(std::u16string(u"ab\0cd", 5));
    jvm.run(to_java, self);
    EXPECT_EQ(name(), u"ab");
}

TEST_F(FieldDefinitionTest, HalfAUnitAtTheEndOfAWideNameIsNotRead)
{
    FLDA* made = bind_wide_name(u"abcd");
    made->nameSize = 7;
    jvm.run(to_java, self);
    EXPECT_EQ(name(), u"abc");
    made->nameSize = 1;
    jvm.run(to_java, self);
    EXPECT_EQ(name(), u"");
}

TEST_F(FieldDefinitionTest, ANameOfNoSizeStaysUnchanged)
{
    engine.trace.mask = trace_mask_data;
    FLDA* made = bind_wide_name(u"new");
    for (const std::int32_t size : {0, -1, INT32_MIN}) {
        made->nameSize = size;
        log.clear();
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(name(), u"abc");
        EXPECT_EQ(without_trace(log), back_calls);
    }
    EXPECT_TRUE(engine.records.empty()) << "the data record belongs to the name";
}

TEST_F(FieldDefinitionTest, WithoutBothTextsOrTheirBlockTheNameStaysUnchanged)
{
    FLDA* made = bind_engine_record();
    made->nameSize = 8;
    for (const char encoding : {'W', 'M'}) {
        made->nameEncoding = encoding;
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(name(), u"abc");
    }
    std::free(made->nameBlock);
    made->nameBlock = nullptr;
    for (const char encoding : {'W', 'M'}) {
        made->nameEncoding = encoding;
        log.clear();
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(name(), u"abc");
        EXPECT_EQ(without_trace(log), back_calls);
    }
}

TEST_F(FieldDefinitionTest, ANameThatIsNotWhereItsEncodingSaysReadsAsEmpty)
{
    for (const std::uint8_t flag : conversion_flags) {
        wide_conversion = flag;
        for (const char encoding : {'W', 'M'}) {
            FLDA* made = encoding == 'M' ? bind_wide_name(u"wide") : bind_utf8_name("utf8");
            const char owned = std::exchange(made->nameEncoding, encoding);
            set_name(u"old");
            log.clear();
            EXPECT_EQ(jvm.run(to_java, self), 0);
            EXPECT_EQ(name(), u"");
            EXPECT_EQ(without_trace(log), joined({back_calls, give_calls(0)}));
            EXPECT_TRUE(engine.records.empty());
            made->nameEncoding = owned;
            jvm.run(free_record, self);
        }
    }
}

TEST_F(FieldDefinitionTest, WhatToCStoredComesBack)
{
    for (const std::u16string& text :
         {std::u16string(), std::u16string(u"\u00e4\U0001F600"), std::u16string(1000, u'z')}) {
        set_name(text);
        jvm.run(to_c, self);
        jvm.set_object(self, "columnName", nullptr);
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(name(), text);
    }
}

// The conversion area of toJava

TEST_F(FieldDefinitionTest, AUtf8NameOf300BytesUsesAHeapAreaOf602)
{
    std::size_t area = 0;
    engine.Cnv_Utf8ToUtf16 = [&](char16_t* to, auto...) {
        area = heap.size_of(to);
        return 0;
    };
    bind_utf8_name(std::string(300, 'm'));
    EXPECT_EQ(jvm.run(to_java, self), 0);
    EXPECT_EQ(area, 602U);
    EXPECT_EQ(heap.sizes(), (Sizes{56, 16, 300}));
}

TEST_F(FieldDefinitionTest, AUtf8NameTakesItsAreaFromTheHeapAbove255Bytes)
{
    engine.Cnv_Utf8ToUtf16 = [&](char16_t* area, std::int64_t capacity, auto, auto, std::int64_t* length) {
        EXPECT_EQ(heap.size_of(area), capacity > 255 ? static_cast<std::size_t>(2 * capacity + 2) : 0U);
        for (std::int64_t i = 0; i <= capacity; ++i) EXPECT_EQ(area[i], 0);
        std::fill_n(area, capacity, u'u');
        *length = capacity;
        return 0;
    };
    for (const std::size_t size : {1u, 254u, 255u, 256u, 257u, 70000u}) {
        bind_utf8_name(std::string(size, 'm'));
        const std::size_t allocated = heap.made();
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(heap.made() - allocated, size > 255 ? 1U : 0U);
        EXPECT_EQ(name(), std::u16string(size, u'u'));
        EXPECT_EQ(heap.sizes(), (Sizes{56, 16, size}));
        jvm.run(free_record, self);
    }
}

TEST_F(FieldDefinitionTest, AWideNameTakesItsAreaFromTheHeapWhateverItsSize)
{
    engine.Cnv_WideToUtf16 = [&](auto, auto, char16_t* area, std::int64_t capacity, std::int64_t* length) {
        EXPECT_EQ(heap.size_of(area), static_cast<std::size_t>(2 * capacity + 2));
        for (std::int64_t i = 0; i <= capacity; ++i) EXPECT_EQ(area[i], 0);
        std::fill_n(area, capacity, u'w');
        *length = capacity;
        return 0;
    };
    for (const std::size_t units : {1u, 254u, 255u, 256u, 257u, 70000u}) {
        for (const std::uint8_t flag : conversion_flags) {
            wide_conversion = flag;
            bind_wide_name(std::u16string(units, u'w'));
            const std::size_t allocated = heap.made();
            EXPECT_EQ(jvm.run(to_java, self), 0);
            EXPECT_EQ(heap.made() - allocated, 1U) << "no second area";
            EXPECT_EQ(name(), std::u16string(units, u'w'));
            EXPECT_EQ(heap.sizes(), (Sizes{56, 16, 2 * units}));
            jvm.run(free_record, self);
        }
    }
}

TEST_F(FieldDefinitionTest, WithoutMemoryForTheAreaToJavaThrowsAndLeavesTheName)
{
    bind_wide_name(u"wide");
    heap.fail(1);
    EXPECT_EQ(jvm.run(to_java, self), 0);
    expect_throw_at_the_end(1462, "FieldDefinition.toJava: out of memory for a text of 10 bytes");
    EXPECT_EQ(name(), u"abc");
    jvm.run(free_record, self);

    bind_utf8_name(std::string(300, 'm'));
    heap.fail(1);
    EXPECT_EQ(jvm.run(to_java, self), 0);
    expect_throw_at_the_end(1462, "FieldDefinition.toJava: out of memory for a text of 602 bytes");
    EXPECT_EQ(name(), u"abc");
}

TEST_F(FieldDefinitionTest, AStringThatCannotBeMadeStopsToJavaAndKeepsNothing)
{
    bind_wide_name(u"wide");
    const Sizes held = heap.sizes();
    jvm.fail({.function = "NewString"});
    EXPECT_EQ(jvm.run(to_java, self), 0);
    expect_pending("java/lang/OutOfMemoryError");
    EXPECT_EQ(without_trace(log), joined({back_calls, {"NewString 4"}}));
    EXPECT_EQ(log.back(), "Provider_TraceEnd");
    EXPECT_TRUE(engine.records.empty());
    EXPECT_EQ(name(), u"abc");
    EXPECT_EQ(heap.sizes(), held);
}

TEST_F(FieldDefinitionTest, ALengthOfTheWholeAreaIsTaken)
{
    engine.trace.mask = trace_mask_data;
    for (const std::size_t size : {4U, 300U}) {
        bind_utf8_name(std::string(size, 'm'));
        engine.Cnv_Utf8ToUtf16 = [=](char16_t* to, auto, auto, auto, std::int64_t* length) {
            for (std::size_t i = 0; i <= size; ++i) to[i] = u'x';
            *length = static_cast<std::int64_t>(size + 1);
            return 0;
        };
        EXPECT_EQ(jvm.run(to_java, self), 0);
        EXPECT_EQ(name(), std::u16string(size + 1, u'x'));
        EXPECT_EQ(engine.records.back().items.at(5),
                  wide_item("jColumnNameChars", std::u16string(size + 1, u'x')));
        jvm.run(free_record, self);
    }
}

TEST_F(FieldDefinitionTest, ALengthThatDoesNotFitTheAreaThrows)
{
    bind_utf8_name(std::string(300, 'm'));
    const Sizes held = heap.sizes();
    for (const std::int64_t reported : {std::int64_t{-1}, std::int64_t{302}, std::int64_t{1} << 32}) {
        engine.Cnv_Utf8ToUtf16 = [=](auto, auto, auto, auto, std::int64_t* length) {
            *length = reported;
            return 0;
        };
        EXPECT_EQ(jvm.run(to_java, self), 0);
        expect_throw_at_the_end(1462, "FieldDefinition.toJava: the engine's conversion reported " +
                                          std::to_string(reported) + " units for an area of 301");
        EXPECT_EQ(name(), u"abc");
        EXPECT_EQ(heap.sizes(), held);
    }
}

// toJava's trace

TEST_F(FieldDefinitionTest, ToJavaTracesTheRecordAndTheConvertedName)
{
    engine.trace.mask = trace_all;
    FLDA* made = bind_wide_name(std::u16string(u"name\0", 5));
    made->dataType = -1;
    made->fieldLength = 8;
    made->precision = -9;
    made->scale = 2;
    jvm.run(to_java, self);
    const auto function = trace::FieldDefinition_toJava;
    EXPECT_EQ(engine.records,
              (std::vector<TracedRecord>{
                  entry_record(function, 1388, {pointer_item("env", jvm.env())}),
                  data_record(function, 1446, items({-1, 8, -9, 2}, wide_item("jColumnNameChars", u"name"))),
                  exit_record(function, 1462)}));
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C0812", "Provider_TraceBegin C0812",
                            "Provider_TraceWrite entry 1388"},
                           back_calls,
                           {"Provider_TraceWrite data 1446"},
                           give_calls(4),
                           {"Provider_TraceWrite exit 1462", "Provider_TraceEnd"}}));
}

TEST_F(FieldDefinitionTest, ToJavaTracesAUtf8NameUpToItsZeroUnit)
{
    engine.trace.mask = trace_mask_data;
    bind_utf8_name(std::string_view("ab\0c", 4));
    jvm.run(to_java, self);
    EXPECT_EQ(name().size(), 4U);
    EXPECT_EQ(engine.records.back().items.back(), wide_item("jColumnNameChars", u"ab"));
}

// free

TEST_F(FieldDefinitionTest, FreeReleasesNameBlockAndRecord)
{
    jvm.run(to_c, self);
    log.clear();
    jvm.run(free_record, self);
    EXPECT_EQ(log, bind_calls);
    EXPECT_EQ(jvm.get_long(self, "pointer"), 0);
    EXPECT_EQ(heap.sizes(), Sizes{});
}

struct Ownership {
    char encoding;
    Sizes kept; // of a 10-byte wide and a 4-byte UTF-8 name
};

TEST_F(FieldDefinitionTest, FreeReleasesTheTextThatTheEncodingDesignates)
{
    for (const Ownership& ownership : {Ownership{'M', {10}}, Ownership{'W', {4}}, Ownership{'\0', {4}}}) {
        FLDA* made = bind_wide_name(u"wide!");
        made->nameBlock->utf8Name = engine_text(std::string_view("utf8"));
        made->nameEncoding = ownership.encoding;
        jvm.run(free_record, self);
        expect_kept(ownership.kept);
    }
}

TEST_F(FieldDefinitionTest, FreeNeedsNeitherTextsNorABlock)
{
    for (const char encoding : {'M', 'W'}) {
        bind_engine_record()->nameEncoding = encoding;
        jvm.run(free_record, self);
        EXPECT_EQ(heap.sizes(), Sizes{});
        FLDA* made = bind_engine_record();
        made->nameEncoding = encoding;
        std::free(std::exchange(made->nameBlock, nullptr));
        jvm.run(free_record, self);
        EXPECT_EQ(heap.sizes(), Sizes{});
    }
}

TEST_F(FieldDefinitionTest, FreeTwiceIsHarmless)
{
    jvm.run(to_c, self);
    jvm.run(free_record, self);
    log.clear();
    jvm.run(free_record, self);
    EXPECT_EQ(log, CallLog{"GetLongField FieldDefinition.pointer"});
    EXPECT_EQ(heap.freed(), 3U);
}

TEST_F(FieldDefinitionTest, FreeDoesNotTouchTheNextRecord)
{
    auto* next = engine_record<FLDA>();
    jvm.run(to_c, self);
    record()->next = next;
    jvm.run(free_record, self);
    EXPECT_EQ(bytes_of(next, 56), Image(56).bytes);
    expect_kept({56});
}

// The frame

TEST_F(FieldDefinitionTest, WhereTheScopeDoesNotOpenItsStatusIsReturnedAndNothingDone)
{
    expect_status_alone(to_c, self);
    bind_wide_name(u"name");
    expect_status_alone(to_java, self);
}

TEST_F(FieldDefinitionTest, BeforeInit0ToCDoesNothing)
{
    expect_no_work_before_init0(to_c, self, {"entry 1311", "exit 1361"});
}

TEST_F(FieldDefinitionTest, BeforeInit0ToJavaDoesNothing)
{
    expect_no_work_before_init0(to_java, self, {"entry 1388", "exit 1462"});
}

TEST_F(FieldDefinitionTest, BeforeInit0FreeDoesNothing)
{
    expect_no_call_before_init0(free_record, self);
    jvm.set_long(self, "pointer", 0);
}

TEST_F(FieldDefinitionTest, WhatIsTracedChangesNothingInWhatIsDone)
{
    expect_same_calls_however_traced([&] {
        set_name(u"name");
        EXPECT_EQ(jvm.run(to_c, self), 0);
        EXPECT_EQ(jvm.run(to_java, self), 0);
        jvm.run(free_record, self);
    });
}

} // namespace
} // namespace velk::test
