#include "support.h"

#include <cstdint>
#include <cstring>

namespace velk::test {
namespace {

using Utf16 = std::u16string;

struct Conversion {
    std::int32_t status;
    std::int64_t length;
};

// Around the destination stand guards, to show that nothing is written beside it.
template <typename Unit> struct Guarded {
    explicit Guarded(std::size_t capacity) : units(capacity + 2, Unit{0x55}) {}
    Unit* data() { return units.data() + 1; }
    bool intact() const { return units.front() == Unit{0x55} && units.back() == Unit{0x55}; }
    std::basic_string<Unit> units;
};

std::string utf8_of(const Utf16& source, std::int32_t expected_status)
{
    Guarded<char> target(64);
    std::int64_t length = -1;
    EXPECT_EQ(
        Cnv_Utf16ToUtf8(target.data(), 64, source.data(), static_cast<std::int64_t>(source.size()), &length),
        expected_status);
    EXPECT_TRUE(target.intact());
    EXPECT_EQ(target.data()[length], 0) << "a terminator where there is room";
    std::string wide(64, ' ');
    std::int64_t wide_length = -1;
    EXPECT_EQ(Cnv_WideToUtf8(wide.data(), 64, source.data(), static_cast<std::int64_t>(source.size()),
                             &wide_length),
              expected_status);
    EXPECT_EQ(wide.substr(0, static_cast<std::size_t>(wide_length)),
              std::string(target.data(), static_cast<std::size_t>(length)));
    return {target.data(), static_cast<std::size_t>(length)};
}

Utf16 utf16_of(const std::string& source, std::int32_t expected_status)
{
    Guarded<char16_t> target(64);
    std::int64_t length = -1;
    EXPECT_EQ(
        Cnv_Utf8ToUtf16(target.data(), 64, source.data(), static_cast<std::int64_t>(source.size()), &length),
        expected_status);
    EXPECT_TRUE(target.intact());
    EXPECT_EQ(target.data()[length], 0);
    return {target.data(), static_cast<std::size_t>(length)};
}

using WideConversion = std::int32_t (*)(const char16_t*, std::int64_t, char16_t*, std::int64_t,
                                        std::int64_t*);
constexpr WideConversion wide_conversions[] = {Cnv_Utf16ToWide, Cnv_WideToUtf16};

TEST(Conversions, well_formed_text_passes_unchanged)
{
    struct Row {
        const char* utf8;
        const char16_t* utf16;
    };
    const Row rows[] = {{"", u""},
                        {"plain", u"plain"},
                        {"Žluťoučký", u"Žluťoučký"},
                        {"Ελλάδα Россия", u"Ελλάδα Россия"},
                        {"عربي עברית हिन्दी", u"عربي עברית हिन्दी"},
                        {"日本語 한국어 ไทย", u"日本語 한국어 ไทย"},
                        {"a😀𝒳b", u"a😀𝒳b"},
                        {"e\u0301", u"e\u0301"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.utf8);
        EXPECT_EQ(utf8_of(row.utf16, 0), row.utf8);
        EXPECT_EQ(utf16_of(row.utf8, 0), row.utf16);
    }
}

TEST(Conversions, each_maximal_subpart_of_ill_formed_utf8_becomes_one_replacement_character)
{
    struct Row {
        std::string source;
        Utf16 result;
    };
    const Row rows[] = {
        {"\x80", u"\uFFFD"},
        {"a\x80\x80z", u"a\uFFFD\uFFFDz"},
        {"\xC2", u"\uFFFD"},
        {"\xC2\x41", u"\uFFFDA"},
        {"\xC0\xAF", u"\uFFFD\uFFFD"},
        {"\xE0\x80\x80", u"\uFFFD\uFFFD\uFFFD"},
        {"\xE1\x80", u"\uFFFD"},
        {"\xE1\x80\x41", u"\uFFFDA"},
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
        {"\xF0\x80\x80\x41", u"\uFFFD\uFFFD\uFFFDA"},
        {"\xF0\x90\x80", u"\uFFFD"},
        {"\xF1\x80\x80\x41", u"\uFFFDA"},
        {"\xF4\x91\x92\x93", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"\xFF\x41\x80\xBF\x42", u"\uFFFD\x41\uFFFD\uFFFD\x42"},
        {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", u"\uFFFD\uFFFD\uFFFD\uFFFDA"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(utf16_of(row.source, conversion_replaced), row.result);
    }
}

TEST(Conversions, each_lone_surrogate_becomes_one_replacement_character)
{
    const Utf16 high(1, u'\xD83D');
    const Utf16 low(1, u'\xDE00');
    struct Row {
        Utf16 source;
        Utf16 result;
    };
    const Row rows[] = {{high, u"\uFFFD"},
                        {low + u"a", u"\uFFFDa"},
                        {high + high + low, u"\uFFFD😀"},
                        {low + high, u"\uFFFD\uFFFD"},
                        {u"a" + high + u"b", u"a\uFFFDb"}};
    for (const Row& row : rows) {
        EXPECT_EQ(utf16_of(utf8_of(row.source, conversion_replaced), 0), row.result);
        for (const WideConversion convert : wide_conversions) {
            Guarded<char16_t> target(8);
            std::int64_t length = -1;
            EXPECT_EQ(convert(row.source.data(), static_cast<std::int64_t>(row.source.size()), target.data(),
                              8, &length),
                      conversion_replaced);
            EXPECT_EQ(Utf16(target.data(), static_cast<std::size_t>(length)), row.result);
            EXPECT_EQ(target.data()[length], 0);
        }
    }
}

TEST(Conversions, a_result_stops_before_the_character_that_does_not_fit)
{
    const Utf16 source = u"aé😀z"; // 1, 2, 4 and 1 bytes
    const std::int64_t kept[] = {0, 1, 1, 3, 3, 3, 3, 7, 8, 8};
    for (std::int64_t capacity = 0; capacity < 10; ++capacity) {
        SCOPED_TRACE(capacity);
        Guarded<char> target(static_cast<std::size_t>(capacity));
        std::int64_t length = -1;
        const std::int32_t status = Cnv_Utf16ToUtf8(target.data(), capacity, source.data(), 5, &length);
        EXPECT_EQ(length, kept[capacity]);
        EXPECT_EQ(status, capacity < 8 ? conversion_truncated : 0);
        EXPECT_TRUE(target.intact());
        if (length < capacity) {
            EXPECT_EQ(target.data()[length], 0);
        }
    }
}

TEST(Conversions, no_surrogate_pair_is_cut)
{
    Guarded<char16_t> target(2);
    std::int64_t length = -1;
    expect_code(Cnv_Utf8ToUtf16(target.data(), 2, "a😀", 5, &length), conversion_truncated);
    EXPECT_EQ(length, 1);
    EXPECT_EQ(target.data()[1], 0);
    for (const WideConversion convert : wide_conversions) {
        EXPECT_EQ(convert(u"a😀", 3, target.data(), 2, &length), conversion_truncated);
        EXPECT_EQ(length, 1);
        EXPECT_TRUE(target.intact());
    }
}

TEST(Conversions, a_text_that_fills_its_buffer_gets_no_terminator)
{
    Guarded<char> target(3);
    std::int64_t length = -1;
    EXPECT_EQ(Cnv_Utf16ToUtf8(target.data(), 3, u"abc", 3, &length), 0);
    EXPECT_EQ(length, 3);
    EXPECT_EQ(std::string(target.data(), 3), "abc");
    EXPECT_TRUE(target.intact());
}

TEST(Conversions, a_capacity_of_nothing_or_less_writes_nothing)
{
    for (const std::int64_t capacity : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN}) {
        Guarded<char16_t> target(0);
        std::int64_t length = -1;
        EXPECT_EQ(Cnv_Utf8ToUtf16(target.data(), capacity, "a", 1, &length), conversion_truncated);
        EXPECT_EQ(length, 0);
        EXPECT_EQ(Cnv_Utf8ToUtf16(nullptr, capacity, "", 0, &length), 0);
        EXPECT_TRUE(target.intact());
    }
}

TEST(Conversions, a_missing_destination_takes_nothing)
{
    std::int64_t length = -1;
    EXPECT_EQ(Cnv_Utf16ToUtf8(nullptr, 16, u"a", 1, &length), conversion_truncated);
    EXPECT_EQ(length, 0);
}

TEST(Conversions, a_missing_source_is_an_error_unless_it_is_empty)
{
    char target[4] = "abc";
    std::int64_t length = -1;
    expect_code(Cnv_Utf16ToUtf8(target, 4, nullptr, 2, &length), conversion_source_missing);
    EXPECT_EQ(length, 0);
    EXPECT_STREQ(target, "") << "no earlier text passes for the result";
    target[0] = 'a';
    expect_code(Cnv_Utf16ToUtf8(target, 0, nullptr, 2, &length), conversion_source_missing);
    EXPECT_EQ(target[0], 'a') << "there is no room for a terminator";
    EXPECT_EQ(Cnv_Utf16ToUtf8(target, 4, nullptr, 0, &length), 0);
    EXPECT_STREQ(target, "");
    EXPECT_EQ(Cnv_Utf16ToUtf8(target, 4, u"x", -3, &length), 0) << "a negative length is nothing";
    EXPECT_EQ(length, 0);
}

TEST(Conversions, the_place_for_the_length_may_be_missing)
{
    char target[8];
    EXPECT_EQ(Cnv_Utf16ToUtf8(target, 8, u"abc", 3, nullptr), 0);
    EXPECT_STREQ(target, "abc");
    expect_code(Cnv_Utf16ToUtf8(target, 8, u"\xD800", 1, nullptr), conversion_replaced);
}

TEST(Conversions, a_zero_unit_is_a_character_as_any)
{
    Guarded<char> target(8);
    std::int64_t length = -1;
    EXPECT_EQ(Cnv_Utf16ToUtf8(target.data(), 8, u"a\0b", 3, &length), 0);
    EXPECT_EQ(std::string(target.data(), static_cast<std::size_t>(length)), std::string("a\0b", 3));
}

TEST(Conversions, source_and_destination_may_be_one_buffer)
{
    alignas(char16_t) char bytes[32] = "abé😀";
    auto* wide = reinterpret_cast<char16_t*>(bytes);
    std::int64_t length = -1;
    EXPECT_EQ(Cnv_Utf8ToUtf16(wide, 16, bytes, 8, &length), 0);
    EXPECT_EQ(Utf16(wide, static_cast<std::size_t>(length)), u"abé😀");
    EXPECT_EQ(Cnv_WideToUtf16(wide, 5, wide, 16, &length), 0);
    EXPECT_EQ(Utf16(wide, static_cast<std::size_t>(length)), u"abé😀");
    EXPECT_EQ(Cnv_Utf16ToUtf8(bytes, 32, wide, 5, &length), 0);
    EXPECT_EQ(std::string(bytes, static_cast<std::size_t>(length)), "abé😀");
    char16_t japanese[8] = u"日本語日本"; // grows from 10 bytes to 15
    EXPECT_EQ(Cnv_WideToUtf8(reinterpret_cast<char*>(japanese), 16, japanese, 5, &length), 0);
    EXPECT_STREQ(reinterpret_cast<char*>(japanese), "日本語日本");
}

TEST(Conversions, one_buffer_suffices_whatever_room_the_caller_says_there_is)
{
    for (const std::int64_t capacity : {INT64_MAX, INT64_MAX / 2 + 1, INT64_MAX / 2, std::int64_t{1} << 62}) {
        alignas(char16_t) char bytes[32] = "abcdefgh";
        auto* wide = reinterpret_cast<char16_t*>(bytes);
        std::int64_t length = -1;
        EXPECT_EQ(Cnv_Utf8ToUtf16(wide, capacity, bytes, 8, &length), 0);
        EXPECT_EQ(Utf16(wide, static_cast<std::size_t>(length)), u"abcdefgh") << capacity;
        char16_t japanese[8] = u"日本語日本";
        EXPECT_EQ(Cnv_Utf16ToUtf8(reinterpret_cast<char*>(japanese), capacity, japanese, 5, &length), 0);
        EXPECT_STREQ(reinterpret_cast<char*>(japanese), "日本語日本") << capacity;
    }
}

// An address that 16-bit units may not have: what reads them there as such is a fault on some machines, and
// noticed by a sanitizer on all.
char16_t* odd(char* bytes)
{
    const auto address = reinterpret_cast<std::uintptr_t>(bytes);
    return reinterpret_cast<char16_t*>(address + 1 - address % 2);
}

Utf16 units_at(const char16_t* address, std::int64_t count)
{
    Utf16 text(static_cast<std::size_t>(count), 0);
    std::memcpy(text.data(), static_cast<const void*>(address), text.size() * sizeof(char16_t));
    return text;
}

TEST(Conversions, buffers_may_stand_at_odd_addresses)
{
    const Utf16 text = u"abé日😀";
    char source_bytes[32] = {};
    char target_bytes[32] = {};
    char16_t* const source = odd(source_bytes);
    char16_t* const target = odd(target_bytes);
    const auto units = static_cast<std::int64_t>(text.size());
    std::memcpy(static_cast<void*>(source), text.data(), text.size() * sizeof(char16_t));
    std::int64_t length = -1;
    for (const WideConversion convert : wide_conversions) {
        EXPECT_EQ(convert(source, units, target, 12, &length), 0);
        EXPECT_EQ(units_at(target, length + 1), text + u'\0');
        EXPECT_EQ(convert(source, units, source, 12, &length), 0) << "one buffer";
        EXPECT_EQ(units_at(source, length + 1), text + u'\0');
    }
    char utf8[32] = {};
    EXPECT_EQ(Cnv_Utf16ToUtf8(utf8, 32, source, units, &length), 0);
    EXPECT_STREQ(utf8, "abé日😀");
    std::memset(target_bytes, 0x55, sizeof target_bytes);
    EXPECT_EQ(Cnv_Utf8ToUtf16(target, 12, utf8, length, &length), 0);
    EXPECT_EQ(units_at(target, length + 1), text + u'\0');
    EXPECT_EQ(Cnv_Utf8ToUtf16(target, 12, nullptr, 3, &length), conversion_source_missing);
    EXPECT_EQ(units_at(target, 1), Utf16(1, 0));
}

} // namespace
} // namespace velk::test
