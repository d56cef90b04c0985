// `noise` moves a number by up to so many percent of itself, at least by one in its last place and never by
// nothing. Sign and scale stay, so do leading zeros; the result is a number of the column's type and not
// zero.
//
// The number is what decides, not how it is written: 5, 5.0 and 05 move by the same share. Where the type's
// largest number cuts off a part of what could be reached, the type decides as well: of one share drawn for a
// column that cuts and for one that does not, the two results together would give the number back.

#include "masking/draws.h"
#include "masking/keyed.h"
#include "masking/large_number.h"
#include "masking/masks.h"

#include <algorithm>
#include <array>
#include <deque>
#include <optional>
#include <vector>

namespace velk::engine {

namespace {

__extension__ using Word = unsigned __int128;

constexpr std::uint64_t largest_small = (std::uint64_t{1} << 63) - 1; // twice as much still fits
constexpr std::size_t small_digits = 19;

using SecretUnits = std::vector<char16_t, WipingAllocator<char16_t>>;

// A number as it is written.
struct Written {
    bool negative;
    std::u16string_view whole; // digits before the point, at least one
    std::u16string_view fraction;
};

Written read_number(std::u16string_view text)
{
    const bool negative = text.starts_with(u'-');
    if (negative) text.remove_prefix(1);
    const std::size_t point = text.rfind(u'.'); // from behind it is always as near
    if (point == std::u16string_view::npos) return {negative, text, {}};
    return {negative, text.substr(0, point), text.substr(point + 1)};
}

std::size_t leading_zeros(std::u16string_view digits)
{
    return std::min(digits.find_first_not_of(u'0'), digits.size());
}

// The number without what its spelling adds: zeros in front and behind. Zero keeps its sign: there is only
// one number that it can become. What has to be put together is kept in the store.
std::u16string_view plain(std::u16string_view text, const Written& number, std::deque<SecretUnits>& store)
{
    if (text.empty()) return text;
    const std::size_t kept = number.fraction.find_last_not_of(u'0') + 1; // digits; 0 where all are zeros
    const std::size_t zeros = std::min(leading_zeros(number.whole), number.whole.size() - 1);
    text.remove_suffix(number.fraction.size() - kept);
    if (text.ends_with(u'.')) text.remove_suffix(1);
    if (zeros == 0) return text;
    if (!number.negative) return text.substr(zeros);
    SecretUnits& joined = store.emplace_back(text.begin() + static_cast<std::ptrdiff_t>(zeros), text.end());
    joined.front() = u'-';
    return {joined.data(), joined.size()};
}

// Numbers below 2^63 and what they move to.

std::uint64_t hundredths(std::uint64_t number, std::uint32_t count)
{
    return number / 100 * count + number % 100 * count / 100;
}

// Each number below size has the same chance, but for less than one in 2^64.
std::uint64_t draw_below(std::uint64_t size, Draws& draws)
{
    const auto two_words = [&draws] {
        const std::uint64_t high = draws.word();
        return high << 32 | draws.word();
    };
    const Word high = Word{two_words()} * size;
    const Word low = Word{two_words()} * size;
    return static_cast<std::uint64_t>((high + (low >> 64)) >> 64);
}

// The hash of a number with its type's limit, which is the same for all scales with as many digits before the
// point.
Digest with_limit(const Digest& hash, const ColumnType& type)
{
    const auto digits = static_cast<unsigned>(type.name == TypeName::integer ? largest_precision + 1
                                                                             : type.length - type.scale);
    SecretArray<digest_size + 2> seed;
    std::copy(hash.begin(), hash.end(), seed.begin());
    seed[digest_size] = static_cast<std::uint8_t>(digits >> 8);
    seed[digest_size + 1] = static_cast<std::uint8_t>(digits);
    return sha256(seed);
}

// As many digits as the type allows where so many stand behind the point.
std::size_t most_digits(const ColumnType& type, std::size_t fraction)
{
    return static_cast<std::size_t>(type.length - type.scale) + fraction;
}

std::u16string_view largest_integer(bool negative)
{
    return negative ? u"9223372036854775808" : u"9223372036854775807";
}

constexpr auto powers_of_ten = [] {
    std::array<std::uint64_t, small_digits + 1> powers;
    std::uint64_t power = 1;
    for (std::uint64_t& entry : powers) {
        entry = power;
        power *= 10; // the last one is not used
    }
    return powers;
}();

std::uint64_t largest_of(const ColumnType& type, const Written& number)
{
    if (type.name == TypeName::integer) return largest_small + (number.negative ? 1 : 0);
    const std::size_t digits = most_digits(type, number.fraction.size());
    return digits <= small_digits ? powers_of_ten[digits] - 1 : UINT64_MAX;
}

LargeNumber largest_of(const ColumnType& type, const Written& number, const LargeNumber& like)
{
    if (type.name == TypeName::integer) return {largest_integer(number.negative), like};
    return LargeNumber::nines(most_digits(type, number.fraction.size()), like);
}

// Sign, point and the width of a number with leading zeros are its value's.
void add_number(const Written& value, std::u16string_view digits, Results& results)
{
    const std::size_t offset = results.text.size();
    const std::size_t places = value.fraction.size();
    const std::u16string_view whole = digits.substr(0, digits.size() - std::min(places, digits.size()));
    const std::u16string_view fraction = digits.substr(whole.size());
    const std::size_t width = std::max(value.whole.starts_with(u'0') ? value.whole.size() : 1, whole.size());
    const std::size_t sign = value.negative ? 1 : 0;
    const std::size_t point = places > 0 ? 1 : 0;
    results.text.append(sign + width + point + places, u'0');
    char16_t* const begin = results.text.data() + offset;
    char16_t* const end = begin + sign + width + point + places;
    if (value.negative) *begin = u'-';
    std::copy(whole.begin(), whole.end(), begin + sign + width - whole.size());
    if (places > 0) begin[sign + width] = u'.';
    std::copy(fraction.begin(), fraction.end(), end - fraction.size());
    close_result(results, offset);
}

using SmallDigits = std::array<char16_t, 24>; // eight at a time

constexpr auto digit_pairs = [] {
    std::array<std::array<char16_t, 2>, 100> pairs;
    for (std::size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = {static_cast<char16_t>('0' + i / 10), static_cast<char16_t>('0' + i % 10)};
    return pairs;
}();

// By pairs that do not wait for one another.
void write_eight(std::uint32_t number, char16_t* digits)
{
    const std::uint32_t high = number / 10'000;
    const std::uint32_t low = number % 10'000;
    for (const std::uint32_t pair : {high / 100, high % 100, low / 100, low % 100})
        digits = std::copy_n(digit_pairs[pair].begin(), 2, digits);
}

// The number is not zero.
std::u16string_view write_digits(std::uint64_t number, SmallDigits& digits)
{
    constexpr std::uint32_t eight_digits = 100'000'000;
    std::size_t first = digits.size();
    for (; number > 0; number /= eight_digits) {
        first -= 8;
        write_eight(static_cast<std::uint32_t>(number % eight_digits), digits.data() + first);
    }
    const std::u16string_view text(digits.begin() + first, digits.end());
    return text.substr(leading_zeros(text));
}

// The number without point and sign where it is below 2^63.
std::optional<std::uint64_t> small_number(const Written& value)
{
    const std::u16string_view whole = value.whole.substr(leading_zeros(value.whole));
    if (whole.size() + value.fraction.size() > small_digits) return std::nullopt;
    std::uint64_t number = 0;
    for (const char16_t digit : whole) number = number * 10 + (digit - u'0');
    for (const char16_t digit : value.fraction) number = number * 10 + (digit - u'0');
    return number <= largest_small ? std::optional(number) : std::nullopt;
}

struct Noise {
    ColumnType type;
    std::uint32_t percent;

    // A number that stands for its value without point and sign, moved; nothing where it has no other. It can
    // become any from first to reach or to the largest, itself apart.
    template <typename Number>
    std::optional<Number> moved(const Number& number, const Number& largest, const Digest& hash) const
    {
        const Number none = number - number;
        const Number one = none + 1;
        const Number move = std::max(hundredths(number, percent), one);
        const Number first = number > move ? number - move : std::min(number, one);
        const Number reach = number + move;
        const Number choices = std::min(reach, largest) - first;
        if (choices == none) return std::nullopt;
        const Digest seed = reach > largest ? with_limit(hash, type) : hash;
        Draws draws(seed);
        const Number result = first + draw_below(choices, draws);
        return result >= number ? result + 1 : result;
    }

    void mask_small(std::uint64_t number, const Written& value, const Digest& hash, Results& results) const
    {
        const std::optional<std::uint64_t> result = moved(number, largest_of(type, value), hash);
        if (!result) return add_error(results, result_does_not_fit);
        SmallDigits digits;
        add_number(value, write_digits(*result, digits), results);
    }

    void mask_large(const Written& value, const Digest& hash, Results& results) const
    {
        SecretUnits digits(value.whole.begin(), value.whole.end());
        digits.insert(digits.end(), value.fraction.begin(), value.fraction.end());
        const std::u16string_view all(digits.data(), digits.size());
        const LargeNumber number(all.substr(leading_zeros(all)));
        const std::optional<LargeNumber> result = moved(number, largest_of(type, value, number), hash);
        if (!result) return add_error(results, result_does_not_fit);
        add_number(value, digits_of(*result), results);
    }

    void mask_value(const Digest& hash, const Written& value, Results& results) const
    {
        if (const std::optional<std::uint64_t> number = small_number(value))
            mask_small(*number, value, hash, results);
        else
            mask_large(value, hash, results);
    }
};

} // namespace

Mask mask_of(const NoiseRule& rule, const HmacKey& key)
{
    auto own_key = derive_key(key, rule.function, rule.scope, {std::to_string(rule.percent)});
    return [noise = Noise{rule.type, rule.percent}, own_key](const Batch& batch, Results& results) {
        make_room(results, batch.values);
        std::deque<SecretUnits> store;
        std::vector<Written> numbers;
        std::vector<std::u16string_view> texts;
        numbers.reserve(batch.values.size());
        texts.reserve(batch.values.size());
        for (const std::u16string_view value : batch.values) {
            numbers.push_back(read_number(value));
            texts.push_back(plain(value, numbers.back(), store));
        }
        const std::vector<Digest> hashes = digests(*own_key, texts);
        for (std::size_t i = 0; i < hashes.size(); ++i) {
            if (batch.values[i].empty())
                add_result(results, batch.values[i]);
            else
                noise.mask_value(hashes[i], numbers[i], results);
        }
    };
}

} // namespace velk::engine
