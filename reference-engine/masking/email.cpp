// `email` replaces an address: its name by drawn letters and digits, its domain by one that the rule says.

#include "masking/address.h"
#include "masking/draws.h"
#include "masking/keyed.h"
#include "masking/masks.h"
#include "text/unicode.h"

#include <algorithm>
#include <array>

namespace velk::engine {

namespace {

constexpr std::u16string_view name_characters = u"abcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::uint32_t letter_count = 26;
constexpr auto character_count = static_cast<std::uint32_t>(name_characters.size());

// Half of a name is drawn at once: it is a number below 2^32 whose digits are the characters.
constexpr std::size_t half_length = masked_name_length / 2;
constexpr std::uint32_t ends_of_a_half = 60'466'176; // character_count to the power of half_length - 1
constexpr std::uint32_t first_halves = letter_count * ends_of_a_half;
constexpr std::uint32_t second_halves = character_count * ends_of_a_half;
static_assert(half_length == 6 && character_count == 36);

using Pair = std::array<char16_t, 2>;

// Each division waits for the one before: two characters take one.
constexpr auto pairs = [] {
    std::array<Pair, character_count * character_count> all{};
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] = {name_characters[i % character_count], name_characters[i / character_count]};
    return all;
}();

void write_half(std::uint32_t drawn, std::uint32_t first_count, char16_t* half)
{
    half[0] = name_characters[drawn % first_count];
    drawn /= first_count;
    for (std::size_t i = 1; i + 1 < half_length; i += 2, drawn /= pairs.size())
        std::copy_n(pairs[drawn % pairs.size()].begin(), 2, half + i);
    half[half_length - 1] = name_characters[drawn % character_count];
}

// It begins with a letter.
void draw_name(SmallDraws& draws, char16_t* name)
{
    write_half(draws.below(first_halves), letter_count, name);
    write_half(draws.below(second_halves), character_count, name + half_length);
}

// A masked address is the pattern, a name written over its beginning.
void mask_value(const Digest& hash, std::u16string_view pattern, std::u16string_view value, Results& results)
{
    if (value.empty()) return add_result(results, value);
    if (!is_address(value)) return add_error(results, value_no_address);
    const std::size_t offset = results.text.size();
    results.text += pattern;
    char16_t* masked = results.text.data() + offset;
    SmallDraws draws(hash);
    do {
        draw_name(draws, masked);
    } while (value == std::u16string_view(masked, pattern.size()));
    close_result(results, offset);
}

} // namespace

Mask mask_of(const EmailRule& rule, const HmacKey& key)
{
    auto own_key = derive_key(key, rule.function, rule.scope, {to_utf8(rule.domain)});
    std::u16string pattern = std::u16string(masked_name_length, u'x') + u"@" + rule.domain;
    return [pattern, own_key](const Batch& batch, Results& results) {
        const std::vector<Digest> hashes = digests(*own_key, batch.values);
        make_room(results, batch.values, pattern.size());
        for (std::size_t i = 0; i < hashes.size(); ++i)
            mask_value(hashes[i], pattern, batch.values[i], results);
    };
}

} // namespace velk::engine
