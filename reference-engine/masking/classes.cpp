// `classes` exchanges every character for one of its class; white space, punctuation, currency and format
// characters stay. All choices of a value are drawn from the keyed hash of the whole value.

#include "masking/draws.h"
#include "masking/keyed.h"
#include "masking/masks.h"
#include "masking/unicode_classes.h"
#include "text/unicode.h"

#include <algorithm>

namespace velk::engine {

namespace {

constexpr std::u16string_view largest_integer = u"9223372036854775807";  // of 64 bits
constexpr std::u16string_view smallest_integer = u"9223372036854775808"; // without its sign

constexpr std::uint32_t first_digits = 9; // none is 0

// One place with two choices: the value could become one other alone, from which everybody has it back.
constexpr std::size_t only_other = 2;

// A value that reads as a number is masked to one that is as wide. Only the value itself tells, not its
// column: the same value is masked alike in every column, whatever its type.
struct NumberForm {
    std::size_t kept = 0; // units that stay: the sign, and zeros that say nothing but how small it is
    bool first_is_not_zero = false; // of the digit behind them
};

std::size_t skip_digits(std::u16string_view text, std::size_t position)
{
    while (position < text.size() && text[position] >= '0' && text[position] <= '9') ++position;
    return position;
}

// [-]digits[.digits], without a decimal point no leading zero: 0000000007 is an account, not a number. Of a
// zero the last digit is exchanged.
NumberForm number_form(std::u16string_view value)
{
    const std::size_t whole = value.starts_with(u'-') ? 1 : 0;
    const std::size_t whole_end = skip_digits(value, whole);
    if (whole_end == whole) return {};
    if (whole_end == value.size()) {
        if (value[whole] == '0' && whole_end > whole + 1) return {};
    } else {
        const std::size_t fraction = whole_end + 1;
        if (value[whole_end] != '.' || fraction == value.size() ||
            skip_digits(value, fraction) < value.size())
            return {};
    }
    const std::size_t first = std::min(value.find_first_not_of(u"0.", whole), value.size() - 1);
    return {first, true};
}

// Of 19 digits some numbers fit into 64 bits and some do not. One that does is masked to one that does.
bool is_integer_of_19_digits(std::u16string_view value)
{
    const bool negative = value.starts_with(u'-');
    if (negative) value.remove_prefix(1);
    return value.size() == largest_integer.size() && skip_digits(value, 0) == value.size() &&
           value <= (negative ? smallest_integer : largest_integer);
}

bool is_surrogate(char16_t unit)
{
    return (unit & 0xF800) == 0xD800;
}

void put(char32_t code_point, char16_t* units)
{
    if (code_point < 0x10000)
        *units = static_cast<char16_t>(code_point);
    else
        encode(code_point, units);
}

enum class Outcome { nothing_to_exchange, exchanged, impossible };

// Writes as many units as the value has.
Outcome exchange(SmallDraws& draws, std::u16string_view value, const NumberForm& form, char16_t* masked)
{
    std::size_t choices = 0; // of all places together
    std::size_t position = form.kept;
    std::copy_n(value.data(), position, masked);
    if (form.first_is_not_zero) {
        masked[position++] = static_cast<char16_t>('1' + draws.below(first_digits));
        choices = first_digits;
    }
    while (position < value.size()) {
        const std::size_t at = position;
        const char32_t code_point =
            is_surrogate(value[at]) ? next_code_point(value, position) : value[position++];
        const auto [of, index] = membership(code_point);
        if (of == nullptr) return Outcome::impossible;
        if (of->size == 1) {
            put(code_point, masked + at);
            continue;
        }
        put(member(*of, draws.below(of->size)), masked + at);
        choices += of->size;
    }
    if (choices == 0) return Outcome::nothing_to_exchange;
    return choices == only_other ? Outcome::impossible : Outcome::exchanged;
}

void mask_value(const Digest& hash, std::u16string_view value, Results& results)
{
    const std::size_t offset = results.text.size();
    results.text.resize(offset + value.size());
    const std::u16string_view masked(results.text.data() + offset, value.size());
    const NumberForm form = number_form(value);
    const bool stays_integer = is_integer_of_19_digits(value);
    SmallDraws draws(hash);
    Outcome outcome;
    do {
        outcome = exchange(draws, value, form, results.text.data() + offset);
        // Chance may draw every character as it was, but a value that can be changed never comes back as it
        // was.
    } while (outcome == Outcome::exchanged &&
             (masked == value || (stays_integer && !is_integer_of_19_digits(masked))));
    if (outcome != Outcome::impossible) return close_result(results, offset);
    results.text.resize(offset);
    add_error(results, character_without_like);
}

} // namespace

Mask mask_of(const ClassesRule& rule, const HmacKey& key)
{
    return [own_key = derive_key(key, rule.function, rule.scope)](const Batch& batch, Results& results) {
        const std::vector<Digest> hashes = digests(*own_key, batch.values);
        make_room(results, batch.values);
        for (std::size_t i = 0; i < hashes.size(); ++i) mask_value(hashes[i], batch.values[i], results);
    };
}

} // namespace velk::engine
