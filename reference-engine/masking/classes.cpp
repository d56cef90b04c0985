// `classes` exchanges every letter and digit for one of its class and script block; the rest stays. All
// choices of a value are drawn from the keyed hash of the whole value.

#include "masking/draws.h"
#include "masking/keyed.h"
#include "masking/masks.h"
#include "masking/unicode_classes.h"
#include "text/unicode.h"

#include <algorithm>

namespace velk::engine {

namespace {

// What a character may be exchanged for: the members of a class, or the digits 1 to 9.
struct Choice {
    Membership membership;
    bool leading_digit;
};

std::uint32_t size_of(const Choice& choice)
{
    return choice.leading_digit ? 9 : choice.membership.of->size;
}

char32_t character(const Choice& choice, std::uint32_t index)
{
    return choice.leading_digit ? '1' + index : member(*choice.membership.of, index);
}

// Only for a character that was not exchanged, so that a leading digit is none of 0.
char32_t another(const Choice& choice)
{
    const std::uint32_t index = choice.membership.index - (choice.leading_digit ? 1 : 0);
    return character(choice, (index + 1) % size_of(choice));
}

std::size_t skip_digits(std::u16string_view text, std::size_t position)
{
    return std::min(text.find_first_not_of(u"0123456789", position), text.size());
}

// [-]digits[.digits]
bool is_plain_number(std::u16string_view text)
{
    const std::size_t whole = text.starts_with(u'-') ? 1 : 0;
    const std::size_t whole_end = skip_digits(text, whole);
    if (whole_end == whole) return false;
    if (whole_end == text.size()) return true;
    const std::size_t fraction = whole_end + 1;
    return text[whole_end] == '.' && fraction < text.size() && skip_digits(text, fraction) == text.size();
}

// Where the digits of a number start to count. Zeros before stay and the digit here gets no zero, so that
// a masked number is as wide as its value; of a zero the last digit is exchanged.
struct NumberStart {
    bool is_number;
    std::size_t position; // 0 in other text
};

// Only the value itself tells whether it is a number, not its column: the same value is masked alike in
// every column, whatever its type.
NumberStart start_of_number(std::u16string_view value)
{
    if (!is_plain_number(value)) return {false, 0};
    const std::size_t first = value.find_first_of(u"123456789");
    return {true,
            std::min(first != std::u16string_view::npos ? first : value.find_last_of(u'0'), value.size())};
}

Choice choice_at(char32_t code_point, std::size_t position, const NumberStart& start)
{
    if (position < start.position) return {{nullptr, 0}, false};
    return {membership(code_point), start.is_number && position == start.position};
}

// Chance may draw every character as it was. A value never comes back unmasked where it can be changed.
void change_first(std::u16string_view value, const NumberStart& start, std::u16string& text,
                  std::size_t offset)
{
    for (std::size_t position = 0; position < value.size();) {
        const std::size_t at = position;
        const Choice choice = choice_at(next_code_point(value, position), at, start);
        if (choice.membership.of == nullptr) continue;
        std::u16string replacement;
        append(replacement, another(choice));
        text.replace(offset + at, position - at, replacement);
        return;
    }
}

void mask_value(const Digest& hash, std::u16string_view value, const NumberStart& start, Results& results)
{
    const std::size_t offset = results.text.size();
    Draws draws(hash);
    for (std::size_t position = 0; position < value.size();) {
        const std::size_t at = position;
        const char32_t code_point = next_code_point(value, position);
        const Choice choice = choice_at(code_point, at, start);
        const bool stays = choice.membership.of == nullptr;
        append(results.text, stays ? code_point : character(choice, draws.below(size_of(choice))));
    }
    if (std::u16string_view(results.text).substr(offset) == value)
        change_first(value, start, results.text, offset);
    close_result(results, offset);
}

} // namespace

Mask mask_of(const ClassesRule& rule, const HmacKey& key)
{
    return [own_key = derive_key(key, rule.function, rule.scope)](const Batch& batch, Results& results) {
        const std::vector<Digest> hashes = digests(*own_key, batch.values);
        for (std::size_t i = 0; i < hashes.size(); ++i)
            mask_value(hashes[i], batch.values[i], start_of_number(batch.values[i]), results);
    };
}

} // namespace velk::engine
