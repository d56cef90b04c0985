// Field.toC, toJava and free, and the DATA record: the path of every value into the engine and back.

#include "bridge/row_data.h"
#include "engine/datacnv.h"
#include "frame/errors.h"

namespace velk::test {

namespace {

class FieldTest : public RowDataTest {
protected:
    void TearDown() override
    {
        if (cache.Field.pointer != nullptr) free();
    }

    void set(jint id, jint source_size, jobject source)
    {
        jvm.set_int(field, "id", id);
        jvm.set_int(field, "sourceSize", source_size);
        jvm.set_object(field, "source", source);
    }
    // Sends a value and expects it to go.
    void send(jint id, jint source_size, std::u16string_view source)
    {
        set(id, source_size, jvm.string(source));
        ASSERT_EQ(to_c(), 0);
    }
    // Gives the object a record as the engine may have made it, with a buffer of the test's bytes.
    void set_foreign_record(jint id, const Bytes& buffer, std::int32_t size)
    {
        free();
        auto* made = foreign_record<DATA>(0);
        made->buffer = std::malloc(size > 0 ? static_cast<std::size_t>(size) : 1);
        if (size > 0) std::memcpy(made->buffer, buffer.data(), static_cast<std::size_t>(size));
        made->bufferSize = size;
        jvm.set_record(field, made);
        jvm.set_int(field, "id", id);
    }
    void set_foreign_text(jint id, const std::u16string& units)
    {
        const std::size_t size = 2 * units.size();
        set_foreign_record(id, Bytes::of(units.data(), size), static_cast<std::int32_t>(size));
    }

    jint to_c() { return jvm.run(Java_com_brel_sorn_velk_Field_toC, field); }
    jint to_java() { return jvm.run(Java_com_brel_sorn_velk_Field_toJava, field); }
    void free() { jvm.run(Java_com_brel_sorn_velk_Field_free, field); }

    DATA* record() { return jvm.record<DATA>(field); }
    Bytes bytes() { return Bytes::of(*record()); }
    Bytes buffer() { return Bytes::of(record()->buffer, static_cast<std::size_t>(record()->bufferSize)); }
    std::u16string buffer_units()
    {
        std::u16string units(static_cast<std::size_t>(record()->bufferSize) / 2, u'?');
        std::memcpy(units.data(), record()->buffer, 2 * units.size());
        return units;
    }
    jobject source() { return jvm.get_object(field, "source"); }
    std::u16string source_text() { return jvm.text(static_cast<jstring>(source())); }
    jobject message() { return jvm.get_object(field, "errorMessage"); }
    std::u16string message_text() { return jvm.text(static_cast<jstring>(message())); }

    // The record as the engine expects it.
    Bytes layout(bool is_null, std::int32_t size, std::int32_t error = 0)
    {
        return Bytes(56)
            .text(8, "DATA")
            .put<std::uint16_t>(12, 21)
            .put<std::uint16_t>(14, 56)
            .put<std::uint8_t>(16, is_null)
            .put<std::int32_t>(20, size)
            .put<std::int32_t>(32, error)
            .put<void*>(40, record()->buffer);
    }

    jobject field = jvm.object(field_class);
};

std::u16string padded(std::u16string text, std::size_t units)
{
    text.resize(units, u'\0');
    return text;
}

bool is_utf8(jint id)
{
    return 1 <= id && id <= 3;
}

bool is_wide(jint id)
{
    return 4 <= id && id <= 6;
}

const jint all_ids[] = {INT32_MIN, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, INT32_MAX};

// toC: the record.

TEST_F(FieldTest, ToCMakesARecordOfFiftySixBytesAndABuffer)
{
    set(6, 10, nullptr);
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(heap.sizes(), (std::vector<std::size_t>{56, 10}));
    EXPECT_EQ(heap.size_of(record()), 56U);
    EXPECT_EQ(heap.size_of(record()->buffer), 10U);
    EXPECT_EQ(bytes(), layout(true, 10));
    EXPECT_EQ(buffer(), Bytes(10));
}

TEST_F(FieldTest, ToCOfANullReadsTheFieldsInTheirOrder)
{
    set(6, 10, nullptr);
    to_c();
    EXPECT_EQ(without_trace(log), (CallLog{"GetLongField Field.pointer", "SetLongField Field.pointer",
                                           "GetIntField Field.id", "GetIntField Field.sourceSize",
                                           "GetObjectField Field.source", "GetIntField Field.errorCode"}));
}

TEST_F(FieldTest, ToCOfAStringTakesItsCharactersAndGivesThemBack)
{
    send(6, 10, u"abc");
    EXPECT_EQ(without_trace(log),
              (CallLog{"GetLongField Field.pointer", "SetLongField Field.pointer", "GetIntField Field.id",
                       "GetIntField Field.sourceSize", "GetObjectField Field.source",
                       "IsInstanceOf source String", "GetStringLength source", "GetStringChars source",
                       "ReleaseStringChars source", "DeleteLocalRef source", "GetIntField Field.errorCode"}));
    EXPECT_TRUE(jvm.left().empty());
    EXPECT_EQ(bytes(), layout(false, 10));
    EXPECT_EQ(buffer_units(), padded(u"abc", 5));
}

TEST_F(FieldTest, ASecondToCUsesTheSameRecordAndBuffer)
{
    send(6, 10, u"abc");
    const DATA* const first = record();
    const void* const first_buffer = record()->buffer;
    log.clear();
    to_c();
    EXPECT_EQ(record(), first);
    EXPECT_EQ(record()->buffer, first_buffer);
    EXPECT_EQ(heap.made(), 2U);
    EXPECT_EQ(without_trace(log),
              (CallLog{"GetLongField Field.pointer", "GetIntField Field.id", "GetIntField Field.sourceSize",
                       "GetObjectField Field.source", "IsInstanceOf source String", "GetStringLength source",
                       "GetStringChars source", "ReleaseStringChars source", "DeleteLocalRef source",
                       "GetIntField Field.errorCode"}));
}

TEST_F(FieldTest, ARecordThatIsThereKeepsWhatToCDoesNotSet)
{
    auto* foreign = foreign_record<DATA>(0xEE);
    foreign->buffer = nullptr;
    jvm.set_record(field, foreign);
    jvm.set_int(field, "errorCode", 7);
    send(6, 4, u"a");
    EXPECT_EQ(bytes(), Bytes(56, 0xEE)
                           .put<std::uint8_t>(16, 0)
                           .put<std::int32_t>(20, 4)
                           .put<std::int32_t>(32, 7)
                           .put(40, record()->buffer)
                           .put<void*>(48, nullptr));
}

TEST_F(FieldTest, IsNullFollowsTheSource)
{
    set(6, 10, nullptr);
    to_c();
    EXPECT_EQ(record()->isNull, 1);
    send(6, 10, u"");
    EXPECT_EQ(record()->isNull, 0);
    set(6, 10, nullptr);
    to_c();
    EXPECT_EQ(record()->isNull, 1);
}

TEST_F(FieldTest, ToCCopiesTheErrorCode)
{
    for (const jint code : {7501, -1, 0}) {
        jvm.set_int(field, "errorCode", code);
        set(6, 10, nullptr);
        to_c();
        EXPECT_EQ(bytes(), layout(true, 10, code));
    }
}

TEST_F(FieldTest, ToCForgetsTheAuxiliaryBufferAndDoesNotFreeIt)
{
    set(6, 10, nullptr);
    to_c();
    void* auxiliary = std::malloc(33);
    record()->auxBuffer = auxiliary;
    to_c();
    EXPECT_EQ(record()->auxBuffer, nullptr);
    EXPECT_EQ(heap.size_of(auxiliary), 33U);
    std::free(auxiliary);
}

TEST_F(FieldTest, ASourceThatIsNoStringIsNotConverted)
{
    for (const jint id : all_ids) {
        SCOPED_TRACE(id);
        send(6, 10, u"old!");
        set(id, 10, jvm.object("[B"));
        log.clear();
        EXPECT_EQ(to_c(), 0);
        EXPECT_EQ(without_trace(log),
                  (CallLog{"GetLongField Field.pointer", "GetIntField Field.id",
                           "GetIntField Field.sourceSize", "GetObjectField Field.source",
                           "IsInstanceOf [B String", "DeleteLocalRef [B", "GetIntField Field.errorCode"}));
        EXPECT_EQ(bytes(), layout(false, 10));
        EXPECT_EQ(buffer(), Bytes(10));
    }
}

// toC: the size of the buffer.

struct Resizing {
    jint first, second;
    bool kept;
    std::int32_t size; // after the second
};

const Resizing resizings[] = {
    {10, 10, true, 10},  {10, 9, true, 10},       {10, 0, true, 10},       {10, -1, true, 10},
    {10, 11, false, 11}, {1, 2, false, 2},        {10, 1000, false, 1000}, {0, 8, false, 8},
    {-5, 8, false, 8},   {8, INT32_MIN, true, 8},
};

TEST_F(FieldTest, ABufferNeverShrinksAndIsReplacedByALargerOne)
{
    for (const Resizing& resizing : resizings) {
        SCOPED_TRACE(std::to_string(resizing.first) + " then " + std::to_string(resizing.second));
        set(6, resizing.first, nullptr);
        to_c();
        const std::size_t made = heap.made();
        set(6, resizing.second, nullptr);
        to_c();
        EXPECT_EQ(record()->bufferSize, resizing.size);
        EXPECT_EQ(heap.made(), made + (resizing.kept ? 0 : 1));
        EXPECT_EQ(heap.size_of(record()->buffer), static_cast<std::size_t>(resizing.size));
        EXPECT_EQ(heap.held().size(), 2U); // the replaced one is gone
        EXPECT_EQ(buffer(), Bytes(static_cast<std::size_t>(resizing.size)));
        free();
    }
}

TEST_F(FieldTest, WithoutASizeThereIsNoBuffer)
{
    for (const jint size : {0, -1, INT32_MIN}) {
        SCOPED_TRACE(size);
        set(6, size, nullptr);
        to_c();
        EXPECT_EQ(record()->buffer, nullptr);
        EXPECT_EQ(bytes(), layout(true, size));
        EXPECT_EQ(heap.sizes(), std::vector<std::size_t>{56});
        free();
    }
}

TEST_F(FieldTest, ABufferThatIsMissingIsMadeWhateverTheRecordsSize)
{
    auto* foreign = foreign_record<DATA>(0);
    foreign->bufferSize = 1000;
    jvm.set_record(field, foreign);
    send(6, 10, u"abc");
    EXPECT_EQ(record()->bufferSize, 10);
    EXPECT_EQ(heap.size_of(record()->buffer), 10U);
}

TEST_F(FieldTest, ABufferOfANegativeSizeIsNeverWritten)
{
    for (const jint size : {-5, -3, 0, 10}) {
        SCOPED_TRACE(size);
        set_foreign_record(6, Bytes(1), -3);
        set(6, size, nullptr);
        EXPECT_EQ(to_c(), 0);
        EXPECT_EQ(heap.size_of(record()->buffer), static_cast<std::size_t>(std::max(size, 0)));
        EXPECT_EQ(record()->isNull, 1);
        EXPECT_EQ(record()->bufferSize, size);
    }
}

TEST_F(FieldTest, ABufferThatIsKeptIsClearedBehindTheNewText)
{
    for (const int wide : {0, 1}) {
        SCOPED_TRACE(wide);
        wide_conversion = static_cast<std::uint8_t>(wide);
        set(6, 21, nullptr);
        to_c();
        std::memset(record()->buffer, 0xAA, 21);
        send(6, 21, u"xy");
        EXPECT_EQ(buffer(), Bytes(21).put(0, u'x').put(2, u'y'));
        std::memset(record()->buffer, 0xAA, 21);
        send(1, 10, u"xy");
        EXPECT_EQ(buffer(), Bytes(21).text(0, "xy"));
        for (const jint id : {0, 7}) {
            std::memset(record()->buffer, 0xAA, 21);
            send(id, 21, u"xy");
            EXPECT_EQ(buffer(), Bytes(21));
        }
        std::memset(record()->buffer, 0xAA, 21);
        set(6, 21, nullptr);
        to_c();
        EXPECT_EQ(buffer(), Bytes(21));
    }
}

// toC: the value.

// Which conversion takes a text of three units into a buffer of ten bytes.
std::string conversion_of(jint id, bool flag)
{
    if (is_utf8(id)) return "Cnv_Utf16ToUtf8 length 3 capacity 10";
    return is_wide(id) && flag ? "Cnv_Utf16ToWide length 3 capacity 4" : "";
}

TEST_F(FieldTest, TheIdAndTheFlagDecideWhichConversionTakesTheValue)
{
    for (const bool flag : {false, true}) {
        for (const jint id : all_ids) {
            SCOPED_TRACE(std::to_string(id) + (flag ? " with the flag" : ""));
            wide_conversion = flag;
            set(id, 10, jvm.string(u"a\u00E4z"));
            log.clear();
            EXPECT_EQ(to_c(), 0);
            CallLog expected = {"IsInstanceOf source String", "GetStringLength source",
                                "GetStringChars source",      conversion_of(id, flag),
                                "ReleaseStringChars source",  "DeleteLocalRef source",
                                "GetIntField Field.errorCode"};
            std::erase(expected, "");
            const CallLog calls = without_trace(log);
            ASSERT_GE(calls.size(), expected.size());
            EXPECT_EQ(CallLog(calls.end() - static_cast<std::ptrdiff_t>(expected.size()), calls.end()),
                      expected);
            EXPECT_EQ(std::count_if(calls.begin(), calls.end(),
                                    [](const std::string& call) { return call.starts_with("Cnv_"); }),
                      conversion_of(id, flag).empty() ? 0 : 1);
        }
    }
}

TEST_F(FieldTest, TheIdDecidesHowTheValueStandsInTheBuffer)
{
    const Bytes utf8 = Bytes(10).text(0, "a\xC3\xA4z");
    const Bytes wide = Bytes(10).put(0, u'a').put(2, u'\u00E4').put(4, u'z');
    for (const bool flag : {false, true}) {
        for (const jint id : all_ids) {
            SCOPED_TRACE(std::to_string(id) + (flag ? " with the flag" : ""));
            wide_conversion = flag;
            send(id, 10, u"a\u00E4z");
            EXPECT_EQ(buffer(), is_utf8(id) ? utf8 : is_wide(id) ? wide : Bytes(10));
            EXPECT_EQ(bytes(), layout(false, 10));
        }
    }
}

TEST_F(FieldTest, OfEightCharactersABufferOfTenBytesTakesFourAndATerminator)
{
    for (const jint id : {4, 5, 6}) {
        send(id, 10, u"abcdefgh");
        EXPECT_EQ(buffer_units(), padded(u"abcd", 5));
    }
}

TEST_F(FieldTest, ATextIsCutBeforeTheLastUnitOfEveryBuffer)
{
    const std::u16string text = units_of_text(12);
    for (const bool flag : {false, true}) {
        wide_conversion = flag;
        for (jint size = 2; size <= 30; ++size) {
            for (std::size_t length = 0; length <= text.size(); ++length) {
                SCOPED_TRACE(std::to_string(length) + " units into " + std::to_string(size) + " bytes");
                free();
                send(4 + size % 3, size, text.substr(0, length));
                const std::size_t units = static_cast<std::size_t>(size) / 2;
                Bytes expected(static_cast<std::size_t>(size));
                for (std::size_t i = 0; i < std::min(length, units - 1); ++i) expected.put(2 * i, text[i]);
                ASSERT_EQ(buffer(), expected);
            }
        }
    }
}

TEST_F(FieldTest, ATextOfAnyLengthFitsABufferOfOneUnitMore)
{
    for (const bool flag : {false, true}) {
        wide_conversion = flag;
        for (const std::size_t length : {0U, 1U, 7U, 8U, 9U, 253U, 254U, 255U, 256U, 257U, 258U, 70000U}) {
            SCOPED_TRACE(length);
            const std::u16string text = units_of_text(length);
            send(6, static_cast<jint>(2 * (length + 1)), text);
            EXPECT_EQ(buffer_units().substr(0, length), text);
            EXPECT_EQ(buffer_units()[length], u'\0');
            free();
        }
    }
}

TEST_F(FieldTest, APlainCopyStopsAtAZeroUnitAndClearsTheRest)
{
    wide_conversion = 0;
    for (std::size_t length = 1; length <= 40; ++length) {
        for (std::size_t zero = 0; zero < length; ++zero) {
            std::u16string text = units_of_text(length);
            text[zero] = u'\0';
            send(6, 90, text);
            std::memset(record()->buffer, 0xAA, 90);
            send(6, 90, text);
            ASSERT_EQ(buffer_units(), padded(text.substr(0, zero), 45)) << zero << " of " << length;
        }
    }
}

TEST_F(FieldTest, AConversionIsGivenTheUnitsBehindAZeroUnitToo)
{
    wide_conversion = 1;
    send(6, 20, std::u16string(u"ab\0cd", 5));
    EXPECT_EQ(buffer_units(), padded(std::u16string(u"ab\0cd", 5), 10));
    send(1, 20, std::u16string(u"ab\0cd", 5));
    EXPECT_EQ(buffer(), Bytes(20).text(0, std::string_view("ab\0cd", 5)));
}

TEST_F(FieldTest, Utf8MayFillTheWholeBuffer)
{
    send(2, 3, u"abcdef");
    EXPECT_EQ(buffer(), Bytes(3).text(0, "abc"));
    send(3, 12, u"\u00E4\u20AC\U0001F600!");
    EXPECT_EQ(buffer(), Bytes(12).text(0, "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80!"));
}

TEST_F(FieldTest, Utf8WithoutABufferIsConvertedIntoACapacityOfZero)
{
    set(1, 0, jvm.string(u"abc"));
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Cnv_Utf16ToUtf8 length 3 capacity 0"), 1);
    EXPECT_EQ(record()->buffer, nullptr);
    EXPECT_EQ(bytes(), layout(false, 0));
}

TEST_F(FieldTest, TheUtf8ConversionIsGivenTheBufferAndTheCharacters)
{
    int calls = 0;
    engine.Cnv_Utf16ToUtf8 = [&](char* destination, std::int64_t, const char16_t* source, std::int64_t length,
                                 std::int64_t* output_length) {
        ++calls;
        EXPECT_EQ(destination, record()->buffer);
        EXPECT_EQ(buffer(), Bytes(10));
        EXPECT_EQ(std::u16string(source, static_cast<std::size_t>(length)), u"abc");
        EXPECT_NE(output_length, nullptr);
        *output_length = -9;
        return -5;
    };
    send(1, 10, u"abc");
    EXPECT_EQ(calls, 1);
}

TEST_F(FieldTest, TheWideConversionIsGivenTheCharactersAndTheBuffer)
{
    int calls = 0;
    wide_conversion = 1;
    engine.Cnv_Utf16ToWide = [&](const char16_t* source, std::int64_t length, char16_t* destination,
                                 std::int64_t, std::int64_t* output_length) {
        ++calls;
        EXPECT_EQ(destination, record()->buffer);
        EXPECT_EQ(buffer(), Bytes(10));
        EXPECT_EQ(std::u16string(source, static_cast<std::size_t>(length)), u"abc");
        EXPECT_NE(output_length, nullptr);
        *output_length = 1000000;
        return -5;
    };
    send(6, 10, u"abc");
    EXPECT_EQ(calls, 1);
}

TEST_F(FieldTest, ABufferOfOneUnitTakesNoCharacter)
{
    for (const jint size : {2, 3}) {
        free();
        send(6, size, u"abc");
        EXPECT_EQ(buffer(), Bytes(static_cast<std::size_t>(size)));
    }
    wide_conversion = 1;
    log.clear();
    to_c();
    EXPECT_EQ(std::count(log.begin(), log.end(), "Cnv_Utf16ToWide length 3 capacity 0"), 1);
    EXPECT_EQ(buffer(), Bytes(3));
}

TEST_F(FieldTest, ABufferOfTwoBytesIsFilledByAPlainCopyWhereTheFlagIsClear)
{
    for (const jint id : {4, 5, 6}) {
        for (const char16_t* text : {u"", u"a", u"abc"}) {
            SCOPED_TRACE(id);
            free();
            set(id, 2, jvm.string(text));
            log.clear();
            EXPECT_EQ(to_c(), 0);
            EXPECT_EQ(buffer(), Bytes(2));
            EXPECT_EQ(without_trace(log),
                      (CallLog{"GetLongField Field.pointer", "SetLongField Field.pointer",
                               "GetIntField Field.id", "GetIntField Field.sourceSize",
                               "GetObjectField Field.source", "IsInstanceOf source String",
                               "GetStringLength source", "GetStringChars source", "ReleaseStringChars source",
                               "DeleteLocalRef source", "GetIntField Field.errorCode"}));
        }
    }
}

// toC: buffers that can take no text at all.

struct Refusal {
    jint id, size;
    const char16_t* source;
    bool throws;
};

std::vector<Refusal> refusals()
{
    std::vector<Refusal> all;
    for (const jint id : all_ids) {
        for (const jint size : {INT32_MIN, -2, -1, 0, 1}) {
            const bool has_no_room_for_units = is_wide(id);
            const bool has_no_room_at_all = is_utf8(id) && size < 0;
            all.push_back({id, size, u"", has_no_room_at_all});
            all.push_back({id, size, u"a", has_no_room_at_all || has_no_room_for_units});
        }
    }
    return all;
}

std::optional<Thrown> exception_of(const Refusal& refusal)
{
    if (!refusal.throws) return {};
    return velk_exception("Field.toC: a value buffer of " + std::to_string(refusal.size) +
                              " bytes has no room for a string of type " + std::to_string(refusal.id),
                          -1);
}

TEST_F(FieldTest, AStringThatHasNoRoomAtAllThrowsAndAnEmptyOneNeedsNone)
{
    for (const bool flag : {false, true}) {
        for (const Refusal& refusal : refusals()) {
            SCOPED_TRACE(std::to_string(refusal.size) + " bytes for id " + std::to_string(refusal.id) +
                         (*refusal.source == 0 ? ", empty" : "") + (flag ? ", with the flag" : ""));
            wide_conversion = flag;
            set(refusal.id, refusal.size, jvm.string(refusal.source));
            log.clear();
            EXPECT_EQ(to_c(), 0);
            EXPECT_EQ(jvm.take_exception(), exception_of(refusal));
            const bool converted = std::any_of(
                log.begin(), log.end(), [](const std::string& call) { return call.starts_with("Cnv_"); });
            EXPECT_EQ(converted, is_utf8(refusal.id) && !refusal.throws);
            EXPECT_EQ(record()->isNull, 0);
            EXPECT_EQ(record()->bufferSize, refusal.size);
            free();
        }
    }
}

TEST_F(FieldTest, ABufferOfOneByteTakesOneByteOfUtf8AndNothingElse)
{
    for (const jint id : all_ids) {
        SCOPED_TRACE(id);
        set(id, 1, jvm.string(u"a"));
        to_c();
        EXPECT_EQ(jvm.take_exception().has_value(), is_wide(id));
        EXPECT_EQ(buffer(), is_utf8(id) ? Bytes(1).text(0, "a") : Bytes(1));
        free();
    }
}

TEST_F(FieldTest, WithoutRoomNullsAndOtherObjectsPass)
{
    for (const jint id : all_ids) {
        for (const jint size : {-1, 0, 1}) {
            SCOPED_TRACE(std::to_string(size) + " bytes for id " + std::to_string(id));
            set(id, size, nullptr);
            EXPECT_EQ(to_c(), 0);
            EXPECT_EQ(record()->isNull, 1);
            set(id, size, jvm.object("[B"));
            EXPECT_EQ(to_c(), 0);
            EXPECT_EQ(record()->isNull, 0);
            free();
        }
    }
}

TEST_F(FieldTest, ASmallSourceSizeIsNoMatterWhereALargerBufferIsKept)
{
    send(6, 10, u"old");
    send(6, 0, u"abc");
    EXPECT_EQ(buffer_units(), padded(u"abc", 5));
    send(1, -1, u"xyz");
    EXPECT_EQ(buffer(), Bytes(10).text(0, "xyz"));
}

TEST_F(FieldTest, AStringWithoutRoomIsReportedBeforeTheThrowAndGivesItsReferenceBack)
{
    set(6, 0, jvm.string(u"abc"));
    engine.trace.mask = trace_mask_entry;
    to_c();
    jvm.take_exception();
    EXPECT_EQ(log,
              joined({{"Provider_TraceRegister C081A", "Provider_TraceBegin C081A",
                       "Provider_TraceWrite entry 1759", "GetLongField Field.pointer",
                       "SetLongField Field.pointer", "GetIntField Field.id", "GetIntField Field.sourceSize",
                       "GetObjectField Field.source", "IsInstanceOf source String", "GetStringLength source",
                       "Provider_TraceWrite return code -1 at 1855"},
                      throw_calls("Field.toC: a value buffer of 0 bytes has no room for a string of type 6"),
                      {"DeleteLocalRef source", "Provider_TraceWrite exit 1855", "Provider_TraceEnd"}}));
    EXPECT_TRUE(record() != nullptr);
}

// toC: failures.

TEST_F(FieldTest, WithoutMemoryForTheRecordToCThrowsAndThePointerStaysZero)
{
    set(6, 10, jvm.string(u"abc"));
    heap.fail(1);
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("Field.toC: out of memory for the DATA record", -1));
    EXPECT_TRUE(heap.has_failed());
    EXPECT_EQ(jvm.get_long(field, "pointer"), 0);
    EXPECT_EQ(without_trace(log), joined({{"GetLongField Field.pointer"},
                                          throw_calls("Field.toC: out of memory for the DATA record")}));
    EXPECT_TRUE(heap.held().empty());
}

TEST_F(FieldTest, WithoutMemoryForTheBufferTheRecordStaysWithNoBuffer)
{
    set(6, 10, jvm.string(u"abc"));
    heap.fail(2);
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(jvm.take_exception(),
              velk_exception("Field.toC: out of memory for a value buffer of 10 bytes", -1));
    EXPECT_EQ(record()->buffer, nullptr);
    EXPECT_EQ(bytes(), layout(false, 0));
    EXPECT_EQ(heap.sizes(), std::vector<std::size_t>{56});
}

TEST_F(FieldTest, WithoutMemoryForALargerBufferTheSmallerOneIsGone)
{
    send(6, 10, u"abc");
    set(6, 20, jvm.string(u"abcdefgh"));
    heap.fail(1);
    to_c();
    EXPECT_EQ(jvm.take_exception(),
              velk_exception("Field.toC: out of memory for a value buffer of 20 bytes", -1));
    EXPECT_EQ(record()->buffer, nullptr);
    EXPECT_EQ(record()->bufferSize, 0);
    EXPECT_EQ(heap.sizes(), std::vector<std::size_t>{56});
    EXPECT_EQ(to_c(), 0); // and the next attempt succeeds
    EXPECT_EQ(buffer_units(), padded(u"abcdefgh", 10));
}

TEST_F(FieldTest, WithoutTheCharactersToCStopsAndTheJvmsExceptionSurfaces)
{
    for (const jint id : all_ids) {
        SCOPED_TRACE(id);
        send(6, 10, u"old");
        const DATA* const bound = record();
        set(id, 10, jvm.string(u"abc"));
        jvm.set_int(field, "errorCode", 9);
        jvm.fail({.function = "GetStringChars"});
        engine.trace.mask = trace_all;
        engine.records.clear();
        log.clear();
        EXPECT_EQ(to_c(), 0);
        EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
        EXPECT_EQ(record(), bound);
        EXPECT_EQ(buffer(), Bytes(10)); // the old value is not sent in its place
        EXPECT_EQ(CallLog(log.end() - 4, log.end()),
                  (CallLog{"GetStringChars source", "DeleteLocalRef source", "Provider_TraceWrite exit 1855",
                           "Provider_TraceEnd"}));
        EXPECT_EQ(engine.records.size(), 4U); // no return code
        engine.trace.mask = 0;
        jvm.set_int(field, "errorCode", 0);
    }
}

TEST_F(FieldTest, ToCReturnsWhatAFailedThrowReturned)
{
    set(6, 0, jvm.string(u"abc"));
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -6});
    EXPECT_EQ(to_c(), -6);
}

TEST_F(FieldTest, WhereTheExceptionCannotBeMadeTheJvmsOwnSurfaces)
{
    set(6, 0, jvm.string(u"abc"));
    jvm.fail({.function = "NewObject"});
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
}

TEST_F(FieldTest, WhereTheMessageCannotBeMadeTheExceptionHasNone)
{
    set(6, 0, jvm.string(u"abc"));
    jvm.may_run_pending = {"NewObject", "Throw"};
    jvm.fail({.function = "NewStringUTF"});
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception(std::nullopt, -1));
}

// toJava: the value.

TEST_F(FieldTest, ToJavaStoresTheErrorCodeAndThenTheValue)
{
    send(6, 10, u"abc");
    log.clear();
    EXPECT_EQ(to_java(), 0);
    EXPECT_EQ(without_trace(log),
              (CallLog{"GetLongField Field.pointer", "GetIntField Field.id", "SetIntField Field.errorCode",
                       "NewString 3", "SetObjectField Field.source", "DeleteLocalRef source"}));
    EXPECT_TRUE(jvm.left().empty());
    EXPECT_EQ(source_text(), u"abc");
}

TEST_F(FieldTest, ToJavaWithoutARecordChangesNothing)
{
    const jobject before = jvm.string(u"abc");
    set(6, 10, before);
    jvm.set_int(field, "errorCode", 5);
    EXPECT_EQ(to_java(), 0);
    EXPECT_EQ(without_trace(log), CallLog{"GetLongField Field.pointer"});
    EXPECT_EQ(source(), before);
    EXPECT_EQ(jvm.get_int(field, "errorCode"), 5);
}

TEST_F(FieldTest, TypesFourAndFiveComeBackAtTheLengthOfTheBuffer)
{
    for (const bool flag : {false, true}) {
        for (const jint id : {4, 5}) {
            wide_conversion = flag;
            send(id, 10, u"abcdefgh");
            to_java();
            EXPECT_EQ(source_text(), padded(u"abcd", 5));
        }
    }
}

TEST_F(FieldTest, TypeSixComesBackUpToItsFirstZeroUnit)
{
    for (const bool flag : {false, true}) {
        wide_conversion = flag;
        send(6, 10, u"abcdefgh");
        to_java();
        EXPECT_EQ(source_text(), u"abcd");
    }
}

TEST_F(FieldTest, Utf8ValuesAndThoseOfOtherTypesStayAsTheyAre)
{
    for (const bool flag : {false, true}) {
        for (const jint id : all_ids) {
            if (is_wide(id)) continue;
            SCOPED_TRACE(id);
            wide_conversion = flag;
            const jobject before = jvm.string(u"abc");
            set(id, 10, before);
            to_c();
            log.clear();
            EXPECT_EQ(to_java(), 0);
            EXPECT_EQ(source(), before);
            EXPECT_EQ(without_trace(log), (CallLog{"GetLongField Field.pointer", "GetIntField Field.id",
                                                   "SetIntField Field.errorCode"}));
        }
    }
}

TEST_F(FieldTest, ANullComesBackAsNullWhateverItsType)
{
    for (const jint id : all_ids) {
        for (const int is_null : {1, 2, 0xFF}) {
            SCOPED_TRACE(id);
            send(id, 10, u"abc");
            record()->isNull = static_cast<std::uint8_t>(is_null);
            log.clear();
            EXPECT_EQ(to_java(), 0);
            EXPECT_EQ(source(), nullptr);
            EXPECT_EQ(without_trace(log),
                      (CallLog{"GetLongField Field.pointer", "GetIntField Field.id",
                               "SetIntField Field.errorCode", "SetObjectField Field.source"}));
        }
    }
}

TEST_F(FieldTest, ANullSourceIsANullAfterToCAndToJava)
{
    set(6, 10, nullptr);
    to_c();
    jvm.set_object(field, "source", jvm.string(u"stale"));
    to_java();
    EXPECT_EQ(source(), nullptr);
}

TEST_F(FieldTest, TheTypeIsReadFromJavaAgain)
{
    send(4, 10, u"abc");
    jvm.set_int(field, "id", 6);
    to_java();
    EXPECT_EQ(source_text(), u"abc");
}

TEST_F(FieldTest, WithoutABufferTheSourceStays)
{
    for (const bool flag : {false, true}) {
        for (const jint id : {4, 5, 6}) {
            wide_conversion = flag;
            const jobject before = jvm.string(u"");
            set(id, 0, before);
            to_c();
            EXPECT_EQ(to_java(), 0);
            EXPECT_EQ(source(), before);
        }
    }
}

TEST_F(FieldTest, ABufferWithoutAWholeUnitGivesAnEmptyString)
{
    for (const bool flag : {false, true}) {
        for (const jint id : {4, 5, 6}) {
            for (const std::int32_t size : {0, 1}) {
                SCOPED_TRACE(std::to_string(size) + " bytes for id " + std::to_string(id));
                wide_conversion = flag;
                set_foreign_record(id, Bytes(1, 0xAA), size);
                EXPECT_EQ(to_java(), 0);
                EXPECT_EQ(source_text(), u"");
                EXPECT_EQ(buffer(), Bytes(static_cast<std::size_t>(size), 0xAA));
            }
        }
    }
}

TEST_F(FieldTest, TheLastUnitOfATypeSixBufferIsMadeItsTerminator)
{
    for (const bool flag : {false, true}) {
        for (std::size_t units = 1; units <= 40; ++units) {
            SCOPED_TRACE(units);
            wide_conversion = flag;
            const std::u16string full = units_of_text(units);
            set_foreign_text(6, full);
            EXPECT_EQ(to_java(), 0);
            EXPECT_EQ(source_text(), full.substr(0, units - 1));
            EXPECT_EQ(buffer_units(), padded(full.substr(0, units - 1), units));
        }
    }
}

TEST_F(FieldTest, AnOddByteBehindTheUnitsIsNeitherReadNorWritten)
{
    for (const jint id : {4, 5, 6}) {
        set_foreign_record(id, Bytes(7, 0xAA).put(0, u'a').put(2, u'b').put(4, u'c'), 7);
        to_java();
        EXPECT_EQ(source_text(), id == 6 ? u"ab" : u"abc");
        EXPECT_EQ(buffer(), Bytes(7, 0xAA).put(0, u'a').put(2, u'b').put(4, id == 6 ? u'\0' : u'c'));
    }
}

TEST_F(FieldTest, AZeroUnitAnywhereEndsATypeSixText)
{
    for (const bool flag : {false, true}) {
        wide_conversion = flag;
        for (std::size_t zero = 0; zero < 40; ++zero) {
            std::u16string text = units_of_text(40);
            text[zero] = u'\0';
            set_foreign_text(6, text);
            to_java();
            ASSERT_EQ(source_text(), text.substr(0, zero));
        }
    }
}

TEST_F(FieldTest, ToJavaWritesNothingIntoTheRecord)
{
    send(6, 10, u"abc");
    const Bytes before = bytes();
    to_java();
    EXPECT_EQ(bytes(), before);
    EXPECT_EQ(buffer_units(), padded(u"abc", 5));
}

// toJava: the conversion area.

TEST_F(FieldTest, TheConversionAreaIsOnTheHeapOnlyAboveFiveHundredAndTwelveBytes)
{
    wide_conversion = 1;
    for (const jint id : {4, 5, 6}) {
        for (std::size_t length = 250; length <= 260; ++length) {
            SCOPED_TRACE(std::to_string(length) + " units of id " + std::to_string(id));
            const std::u16string text = units_of_text(length);
            set_foreign_text(id, id == 6 ? text + u'\0' : text);
            const std::size_t made = heap.made();
            log.clear();
            EXPECT_EQ(to_java(), 0);
            EXPECT_EQ(source_text(), text);
            EXPECT_EQ(heap.made() - made, (length + 1) * 2 > 512 ? 1U : 0U);
            EXPECT_EQ(heap.held().size(), 2U);
            const std::string units = std::to_string(length);
            EXPECT_EQ(
                without_trace(log),
                (CallLog{"GetLongField Field.pointer", "GetIntField Field.id", "SetIntField Field.errorCode",
                         "Cnv_WideToUtf16 length " + units + " capacity " + units, "NewString " + units,
                         "SetObjectField Field.source", "DeleteLocalRef source"}));
        }
    }
}

TEST_F(FieldTest, WithTheFlagClearThereIsNoConversionArea)
{
    for (const std::size_t length : {255U, 256U, 257U, 70000U}) {
        const std::u16string text = units_of_text(length);
        set_foreign_text(5, text);
        const std::size_t made = heap.made();
        to_java();
        EXPECT_EQ(source_text(), text);
        EXPECT_EQ(heap.made(), made);
    }
}

TEST_F(FieldTest, TheConversionAreaHoldsZeroUnitsWhereTheConversionWritesNone)
{
    wide_conversion = 1;
    for (const std::size_t length : {3U, 255U, 256U, 400U}) {
        SCOPED_TRACE(length);
        set_foreign_text(5, units_of_text(length));
        engine.Cnv_WideToUtf16 = [&](const char16_t* from, std::int64_t, char16_t* destination, std::int64_t,
                                     std::int64_t* output_length) {
            EXPECT_EQ(from, record()->buffer);
            EXPECT_NE(static_cast<void*>(destination), record()->buffer);
            EXPECT_NE(output_length, nullptr);
            for (std::size_t i = 0; i <= length; ++i) EXPECT_EQ(destination[i], u'\0');
            destination[0] = u'x';
            *output_length = 1; // nobody asks for it, nor for the status
            return -5;
        };
        EXPECT_EQ(to_java(), 0);
        EXPECT_EQ(source_text(), padded(u"x", length));
    }
}

TEST_F(FieldTest, WithoutMemoryForTheConversionAreaToJavaThrowsAndTheSourceStays)
{
    wide_conversion = 1;
    const jobject before = jvm.string(u"before");
    set_foreign_text(5, units_of_text(256));
    jvm.set_object(field, "source", before);
    record()->errorCode = 7;
    heap.fail(1);
    log.clear();
    EXPECT_EQ(to_java(), 0);
    EXPECT_EQ(jvm.take_exception(),
              velk_exception("Field.toJava: out of memory for a text of 514 bytes", -1));
    EXPECT_EQ(source(), before);
    EXPECT_EQ(heap.held().size(), 2U);
    EXPECT_EQ(without_trace(log),
              joined({{"GetLongField Field.pointer", "GetIntField Field.id", "SetIntField Field.errorCode"},
                      throw_calls("Field.toJava: out of memory for a text of 514 bytes")}));
}

TEST_F(FieldTest, WithoutAStringToJavaStopsAndTheJvmsExceptionSurfaces)
{
    for (const bool flag : {false, true}) {
        for (const std::size_t length : {3U, 300U}) {
            SCOPED_TRACE(std::to_string(length) + (flag ? " with the flag" : ""));
            wide_conversion = flag;
            const jobject before = jvm.string(u"before");
            set_foreign_text(5, units_of_text(length));
            jvm.set_object(field, "source", before);
            record()->errorCode = 7; // its text is not fetched any more
            jvm.fail({.function = "NewString"});
            log.clear();
            EXPECT_EQ(to_java(), 0);
            EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
            EXPECT_EQ(source(), before);
            EXPECT_EQ(without_trace(log).back(), "NewString " + std::to_string(length));
            EXPECT_EQ(heap.held().size(), 2U);
        }
    }
}

TEST_F(FieldTest, ARecordWhoseBufferHasANegativeSizeThrows)
{
    for (const bool flag : {false, true}) {
        for (const jint id : {4, 5, 6}) {
            SCOPED_TRACE(id);
            wide_conversion = flag;
            const jobject before = jvm.string(u"before");
            set_foreign_record(id, Bytes(1), -3);
            jvm.set_object(field, "source", before);
            EXPECT_EQ(to_java(), 0);
            EXPECT_EQ(jvm.take_exception(),
                      velk_exception("Field.toJava: the record's buffer has the size -3", -1));
            EXPECT_EQ(source(), before);
        }
    }
}

// toJava: the error.

TEST_F(FieldTest, ToJavaFetchesTheTextOfAnErrorCode)
{
    jvm.may_leave = {"errorMessage"};
    engine.message = {0, u"heading", u"detail", u"trailing"};
    send(6, 10, u"abc");
    record()->errorCode = 7501;
    log.clear();
    EXPECT_EQ(to_java(), 0);
    EXPECT_EQ(jvm.get_int(field, "errorCode"), 7501);
    EXPECT_EQ(message_text(), u"heading:\ndetail\ntrailing");
    EXPECT_EQ(
        without_trace(log),
        (CallLog{"GetLongField Field.pointer", "GetIntField Field.id", "SetIntField Field.errorCode",
                 "NewString 3", "SetObjectField Field.source", "DeleteLocalRef source",
                 "Provider_GetErrorMessage 7501", "NewString 24", "SetObjectField Field.errorMessage"}));
    EXPECT_EQ(jvm.left(), std::vector<std::string>{"errorMessage"});
}

TEST_F(FieldTest, WithTheFlagTheErrorTextIsConvertedInPlace)
{
    wide_conversion = 1;
    jvm.may_leave = {"errorMessage"};
    engine.message = {0, u"h", u"d", u"t"};
    set(6, 10, nullptr);
    to_c();
    record()->errorCode = -5;
    int calls = 0;
    engine.Cnv_WideToUtf16 = [&](const char16_t* from, std::int64_t, char16_t* destination, std::int64_t,
                                 std::int64_t* output_length) {
        ++calls;
        EXPECT_EQ(from, error_text);
        EXPECT_EQ(destination, error_text);
        EXPECT_NE(output_length, nullptr);
        destination[0] = u'H';
        *output_length = 1;
        return -5;
    };
    log.clear();
    EXPECT_EQ(to_java(), 0);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(message_text(), u"H:\nd\nt");
    EXPECT_EQ(
        without_trace(log),
        (CallLog{"GetLongField Field.pointer", "GetIntField Field.id", "SetIntField Field.errorCode",
                 "SetObjectField Field.source", "Provider_GetErrorMessage -5",
                 "Cnv_WideToUtf16 length 6 capacity 6", "NewString 6", "SetObjectField Field.errorMessage"}));
}

TEST_F(FieldTest, EveryValueMayHaveAnErrorWhateverItsType)
{
    jvm.may_leave = {"errorMessage"};
    for (const bool flag : {false, true}) {
        for (const jint id : all_ids) {
            SCOPED_TRACE(id);
            wide_conversion = flag;
            engine.message = {0, u"heading", u"", units_of_text(1500)};
            send(id, 10, u"abc");
            record()->errorCode = 42;
            to_java();
            EXPECT_EQ(jvm.get_int(field, "errorCode"), 42);
            EXPECT_EQ(message_text(), u"heading:\n\n" + units_of_text(1500));
        }
    }
}

TEST_F(FieldTest, AnErrorWithoutABufferHasItsTextToo)
{
    jvm.may_leave = {"errorMessage"};
    engine.message = {0, u"h", u"d", u"t"};
    set(6, 0, jvm.string(u""));
    to_c();
    record()->errorCode = 3;
    to_java();
    EXPECT_EQ(message_text(), u"h:\nd\nt");
}

TEST_F(FieldTest, WithoutAnErrorTheMessageStaysAsItWas)
{
    const jobject before = jvm.string(u"earlier");
    jvm.set_object(field, "errorMessage", before);
    jvm.set_int(field, "errorCode", 5);
    send(6, 10, u"abc");
    record()->errorCode = 0;
    to_java();
    EXPECT_EQ(jvm.get_int(field, "errorCode"), 0);
    EXPECT_EQ(message(), before);
}

TEST_F(FieldTest, WithoutATextForTheCodeTheMessageStaysAsItWas)
{
    const jobject before = jvm.string(u"earlier");
    jvm.set_object(field, "errorMessage", before);
    send(6, 10, u"abc");
    record()->errorCode = 7501;
    engine.message = {8, u"unused", u"", u""};
    log.clear();
    EXPECT_EQ(to_java(), 0);
    EXPECT_EQ(message(), before);
    EXPECT_EQ(jvm.get_int(field, "errorCode"), 7501);
    EXPECT_EQ(without_trace(log).back(), "Provider_GetErrorMessage 7501");
}

TEST_F(FieldTest, WhereTheTextsScopeDoesNotOpenItsStatusIsNotTakenForText)
{
    for (const std::int32_t status : {1, -1}) {
        SCOPED_TRACE(status);
        const jobject before = jvm.string(u"earlier");
        jvm.set_object(field, "errorMessage", before);
        send(6, 10, u"abc");
        record()->errorCode = 7501;
        refuse_scope(trace::GetErrorText, status);
        EXPECT_EQ(to_java(), 0);
        EXPECT_EQ(message(), before);
        EXPECT_EQ(std::count(log.begin(), log.end(), "Provider_GetErrorMessage 7501"), 0);
    }
}

TEST_F(FieldTest, WithoutAStringForTheMessageTheJvmsExceptionSurfaces)
{
    const jobject before = jvm.string(u"earlier");
    jvm.set_object(field, "errorMessage", before);
    send(6, 10, u"abc");
    record()->errorCode = 7501;
    jvm.fail({.function = "NewString", .nth = 2});
    EXPECT_EQ(to_java(), 0);
    EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
    EXPECT_EQ(message(), before);
    EXPECT_EQ(source_text(), u"abc");
}

TEST_F(FieldTest, ToJavaReturnsWhatAFailedThrowReturned)
{
    set_foreign_record(6, Bytes(1), -3);
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -6});
    EXPECT_EQ(to_java(), -6);
}

// free.

TEST_F(FieldTest, FreeReleasesBothBuffersAndTheRecord)
{
    send(6, 10, u"abc");
    record()->auxBuffer = std::malloc(33);
    log.clear();
    free();
    EXPECT_EQ(log, (CallLog{"GetLongField Field.pointer", "SetLongField Field.pointer"}));
    EXPECT_EQ(jvm.get_long(field, "pointer"), 0);
    EXPECT_TRUE(heap.held().empty());
    EXPECT_EQ(heap.freed(), 3U);
}

TEST_F(FieldTest, FreeReleasesARecordWithoutBuffers)
{
    set(6, 0, nullptr);
    to_c();
    free();
    EXPECT_TRUE(heap.held().empty());
    EXPECT_EQ(heap.freed(), 1U);
}

TEST_F(FieldTest, FreeLeavesTheNextRecordAlone)
{
    DATA next{};
    send(6, 10, u"abc");
    record()->next = &next;
    free();
    EXPECT_EQ(Bytes::of(next), Bytes(56));
    EXPECT_EQ(heap.freed(), 2U);
}

TEST_F(FieldTest, FreeWithoutARecordDoesNothing)
{
    free();
    EXPECT_EQ(log, CallLog{"GetLongField Field.pointer"});
}

TEST_F(FieldTest, FreeTwiceIsHarmless)
{
    send(6, 10, u"abc");
    free();
    log.clear();
    free();
    EXPECT_EQ(log, CallLog{"GetLongField Field.pointer"});
    EXPECT_EQ(heap.freed(), 2U);
}

TEST_F(FieldTest, AfterFreeToCMakesANewRecord)
{
    send(6, 10, u"abc");
    free();
    send(6, 6, u"xy");
    EXPECT_EQ(heap.sizes(), (std::vector<std::size_t>{56, 6}));
    EXPECT_EQ(bytes(), layout(false, 6));
}

// A cache that is not filled, a scope that does not open, the trace.

TEST_F(FieldTest, BeforeInit0NothingIsDone)
{
    cache = {};
    engine.trace.mask = trace_all;
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(to_java(), 0);
    free();
    EXPECT_EQ(without_trace(log), CallLog{});
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC081A, 1759, {pointer_item("env", jvm.env())}),
                                           exit_record(0xC081A, 1855),
                                           entry_record(0xC081B, 1879, {pointer_item("env", jvm.env())}),
                                           exit_record(0xC081B, 1963)}));
}

TEST_F(FieldTest, WhereTheScopeDoesNotOpenItsStatusIsReturnedAndNothingDone)
{
    set(6, 10, jvm.string(u"abc"));
    refuse_scope(trace::Field_toC, 77);
    refuse_scope(trace::Field_toJava, -2);
    EXPECT_EQ(to_c(), 77);
    EXPECT_EQ(to_java(), -2);
    EXPECT_EQ(log, (CallLog{"Provider_TraceRegister C081A", "Provider_TraceBegin C081A",
                            "Provider_TraceRegister C081B", "Provider_TraceBegin C081B"}));
    EXPECT_EQ(jvm.get_long(field, "pointer"), 0);
    EXPECT_EQ(heap.made(), 0U);
}

TEST_F(FieldTest, ToCTracesTheRecordTheIdAndTheSize)
{
    for (const jint id : {6, -1}) {
        for (const jint size : {10, -7}) {
            SCOPED_TRACE(std::to_string(id) + " " + std::to_string(size));
            set(id, size, nullptr);
            to_c();
            expect_traced(engine, log,
                          {entry_record(0xC081A, 1759, {pointer_item("env", jvm.env())}),
                           data_record(0xC081A, 1772, {pointer_item("jPointer", record())}),
                           data_record(0xC081A, 1778,
                                       {pointer_item("jPointer", record()), integer_item("jId", id),
                                        integer_item("jSourceSize", size)}),
                           exit_record(0xC081A, 1855)},
                          [&] { EXPECT_EQ(to_c(), 0); });
        }
    }
}

TEST_F(FieldTest, ToCTracesAStringWithoutRoomBeforeItThrows)
{
    set(6, 1, jvm.string(u"abc"));
    to_c();
    jvm.take_exception();
    expect_traced(engine, log,
                  {entry_record(0xC081A, 1759, {pointer_item("env", jvm.env())}),
                   data_record(0xC081A, 1772, {pointer_item("jPointer", record())}),
                   data_record(0xC081A, 1778,
                               {pointer_item("jPointer", record()), integer_item("jId", 6),
                                integer_item("jSourceSize", 1)}),
                   return_code_record(0xC081A, 1855, -1), exit_record(0xC081A, 1855)},
                  [&] {
                      to_c();
                      jvm.take_exception();
                  });
}

TEST_F(FieldTest, ToCTracesWhereMemoryIsMissing)
{
    set(6, 10, nullptr);
    engine.trace.mask = trace_all;
    heap.fail(1);
    to_c();
    jvm.take_exception();
    const TracedRecord entry = entry_record(0xC081A, 1759, {pointer_item("env", jvm.env())});
    const TracedRecord failure = return_code_record(0xC081A, 1855, -1);
    EXPECT_EQ(engine.records, (std::vector{entry, failure, exit_record(0xC081A, 1855)}));
    engine.records.clear();
    heap.fail(2);
    to_c();
    jvm.take_exception();
    EXPECT_EQ(engine.records,
              (std::vector{entry, data_record(0xC081A, 1772, {pointer_item("jPointer", record())}),
                           data_record(0xC081A, 1778,
                                       {pointer_item("jPointer", record()), integer_item("jId", 6),
                                        integer_item("jSourceSize", 10)}),
                           failure, exit_record(0xC081A, 1855)}));
}

TEST_F(FieldTest, ToJavaTracesTheRecord)
{
    send(6, 10, u"abc");
    expect_traced(engine, log,
                  {entry_record(0xC081B, 1879, {pointer_item("env", jvm.env())}),
                   data_record(0xC081B, 1885, {pointer_item("jPointer", record())}),
                   exit_record(0xC081B, 1963)},
                  [&] { EXPECT_EQ(to_java(), 0); });
}

TEST_F(FieldTest, ToJavaTracesThatThereIsNoRecord)
{
    expect_traced(engine, log,
                  {entry_record(0xC081B, 1879, {pointer_item("env", jvm.env())}),
                   data_record(0xC081B, 1885, {pointer_item("jPointer", nullptr)}),
                   exit_record(0xC081B, 1963)},
                  [&] { EXPECT_EQ(to_java(), 0); });
}

TEST_F(FieldTest, TheTextOfAnErrorIsTracedWithinToJava)
{
    jvm.may_leave = {"errorMessage"};
    engine.message = {0, u"h", u"d", u"t"};
    send(6, 10, u"abc");
    record()->errorCode = 7501;
    expect_traced(engine, log,
                  {entry_record(0xC081B, 1879, {pointer_item("env", jvm.env())}),
                   data_record(0xC081B, 1885, {pointer_item("jPointer", record())}),
                   entry_record(0xC081D, 1980, {integer_item("errCode", 7501)}),
                   data_record(0xC081D, 2016, {wide_item("retmsg", u"h:\nd\nt")}, trace_mask_message),
                   exit_record(0xC081D, 2025), exit_record(0xC081B, 1963)},
                  [&] { EXPECT_EQ(to_java(), 0); });
}

TEST_F(FieldTest, ToJavaTracesANegativeSizeBeforeItThrows)
{
    set_foreign_record(6, Bytes(1), -3);
    expect_traced(engine, log,
                  {entry_record(0xC081B, 1879, {pointer_item("env", jvm.env())}),
                   data_record(0xC081B, 1885, {pointer_item("jPointer", record())}),
                   return_code_record(0xC081B, 1963, -1), exit_record(0xC081B, 1963)},
                  [&] {
                      to_java();
                      jvm.take_exception();
                  });
}

TEST_F(FieldTest, AFailingBeginOfToJavaLeavesTheSourceAlone)
{
    send(6, 10, u"abc");
    const jobject before = source();
    refuse_scope(trace::Field_toJava, 3);
    log.clear();
    EXPECT_EQ(to_java(), 3);
    EXPECT_EQ(without_trace(log), CallLog{});
    EXPECT_EQ(source(), before);
}

} // namespace
} // namespace velk::test
