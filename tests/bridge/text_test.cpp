// Java strings to the text of a record and back.

#include "bridge/definitions.h"
#include "marshal/text.h"

#include <cstdint>

namespace velk::test {

namespace {

const jchar* chars(const char16_t* text)
{
    return reinterpret_cast<const jchar*>(text);
}

class TextTest : public DefinitionTest {
protected:
    // Runs a piece of a native on an object whose columnName takes the strings.
    template <class Work> auto run(Work work)
    {
        return jvm.run([&](JNIEnv* env) {
            Call call{.env = env, .self = self, .native = "Class.native", .exit_line = 9};
            call.scope.context = {};
            return work(call);
        });
    }

    // What the field holds after the text was read and handed over.
    std::u16string read(const text::Source& source)
    {
        EXPECT_TRUE(run([&](Call& call) {
            text::Buffer buffer;
            return text::read(call, source, buffer) &&
                   text::hand_over(call, buffer, cache.FieldDefinition.columnName);
        }));
        return get_string(self, "columnName");
    }

    jobject self = jvm.object(field_definition_class);
};

TEST_F(TextTest, TheSizeOfATextCountsTheTerminatorWhileThirtyTwoBitsHoldIt)
{
    EXPECT_EQ(text::wide_size(0), 2);
    EXPECT_EQ(text::wide_size(3), 8);
    EXPECT_EQ(text::wide_size(70000), 140002);
    EXPECT_EQ(text::wide_size(1073741822), 2147483646);
    EXPECT_EQ(text::wide_size(1073741823), 0);
    EXPECT_EQ(text::wide_size(INT32_MAX), 0);
}

TEST_F(TextTest, ThePlainCopyStopsAtAZeroUnitAndWritesNoFurtherThanTheLength)
{
    char16_t target[] = u"#######";
    text::to_wide(target, chars(u"ab\0cd"), 5);
    EXPECT_EQ(std::u16string(target, 7), std::u16string(u"ab\0\0\0##", 7));
    EXPECT_EQ(log, CallLog{});
}

TEST_F(TextTest, WithTheFlagSetTheEngineGetsLengthAndCapacity)
{
    wide_conversion = 1;
    char16_t target[6] = {};
    text::to_wide(target, chars(u"ab\0cd"), 5);
    EXPECT_EQ(std::u16string(target, 6), std::u16string(u"ab\0cd\0", 6));
    EXPECT_EQ(log, CallLog{"Cnv_Utf16ToWide length 5 capacity 5"});
}

TEST_F(TextTest, UpTo512BytesStandOnTheStackUnlessTheHeapIsAskedFor)
{
    for (const std::size_t units : {0u, 1u, 254u, 255u, 256u, 257u, 70000u}) {
        for (const text::Memory memory : {text::Memory::stack_or_heap, text::Memory::heap}) {
            run([&](Call& call) {
                text::Buffer buffer;
                std::memset(&buffer, 0x55, sizeof buffer);
                EXPECT_TRUE(text::acquire(call, buffer, units, memory));
                const bool stack = units <= 255 && memory == text::Memory::stack_or_heap;
                EXPECT_EQ(buffer.units == buffer.stack, stack);
                EXPECT_EQ(heap.size_of(buffer.units), stack ? 0U : 2 * units + 2);
                EXPECT_EQ(std::u16string(buffer.units, units + 1), std::u16string(units + 1, u'\0'));
                if (!stack) std::free(buffer.units);
            });
        }
    }
}

TEST_F(TextTest, WithoutMemoryAcquireThrowsAndHoldsNothing)
{
    heap.fail(1);
    EXPECT_FALSE(run([&](Call& call) {
        text::Buffer buffer;
        return text::acquire(call, buffer, 256);
    }));
    expect_thrown("Class.native: out of memory for a text of 514 bytes");
}

TEST_F(TextTest, EachKindOfTextIsReadByItsOwnConversion)
{
    EXPECT_EQ(read({u"wide", nullptr, 4}), u"wide");
    EXPECT_EQ(read({nullptr, "\xC3\xA4", 2}), u"\u00e4");
    EXPECT_EQ(read({nullptr, nullptr, 9}), u"");
    wide_conversion = 1;
    EXPECT_EQ(read({u"wide", nullptr, 4}), u"wide");
    EXPECT_EQ(read({nullptr, "\xC3\xA4", 2}), u"\u00e4");
    CallLog conversions;
    for (const std::string& line : log)
        if (line.starts_with("Cnv_")) conversions.push_back(line);
    EXPECT_EQ(conversions,
              (CallLog{"Cnv_Utf8ToUtf16 length 2 capacity 2", "Cnv_WideToUtf16 length 4 capacity 4",
                       "Cnv_Utf8ToUtf16 length 2 capacity 2"}));
}

TEST_F(TextTest, ALengthUpToTheTerminatorIsBelieved)
{
    for (const std::int64_t reported : {0, 4, 5}) {
        engine.Cnv_Utf8ToUtf16 = [=](char16_t* to, auto, auto, auto, std::int64_t* length) {
            std::u16string_view(u"abcde").copy(to, 5);
            *length = reported;
            return 0;
        };
        EXPECT_EQ(read({nullptr, "text", 4}), std::u16string(u"abcde", static_cast<std::size_t>(reported)));
    }
}

TEST_F(TextTest, ALengthBeyondTheBufferIsNotBelieved)
{
    for (const std::int64_t reported : {std::int64_t{-1}, std::int64_t{6}, INT64_MAX, INT64_MIN}) {
        engine.Cnv_Utf8ToUtf16 = [=](auto, auto, auto, auto, std::int64_t* length) {
            *length = reported;
            return 0;
        };
        EXPECT_FALSE(run([&](Call& call) {
            text::Buffer buffer;
            return text::read(call, {nullptr, "text", 4}, buffer, text::Memory::heap);
        }));
        expect_thrown("Class.native: the engine's conversion reported " + std::to_string(reported) +
                      " units for an area of 5");
        EXPECT_TRUE(heap.sizes().empty());
    }
}

TEST_F(TextTest, ATextIsMeasuredForTheTraceOnlyWhereDataIsWanted)
{
    for (const std::uint32_t mask : {0U, ~trace_mask_data, trace_mask_data}) {
        run([&](Call& call) {
            call.scope.context.mask = mask;
            text::Buffer buffer;
            EXPECT_TRUE(text::acquire(call, buffer, 3));
            std::u16string_view(u"abcd").copy(buffer.units, 4); // no terminator
            const trace::Item item = text::traced(call, "label", buffer);
            EXPECT_EQ(item.length, mask == trace_mask_data ? 8U : 0U);
            EXPECT_EQ(item.slot, reinterpret_cast<std::uintptr_t>(buffer.units));
        });
    }
}

TEST_F(TextTest, AStringThatCannotBeMadeLeavesTheFieldAndLetsGoOfTheBuffer)
{
    set_string(self, "columnName", u"old");
    jvm.fail({.function = "NewString"});
    EXPECT_FALSE(run([&](Call& call) {
        text::Buffer buffer;
        return text::read(call, {u"wide", nullptr, 4}, buffer, text::Memory::heap) &&
               text::hand_over(call, buffer, cache.FieldDefinition.columnName);
    }));
    expect_pending("java/lang/OutOfMemoryError");
    EXPECT_EQ(get_string(self, "columnName"), u"old");
    EXPECT_TRUE(heap.sizes().empty());
}

} // namespace
} // namespace velk::test
