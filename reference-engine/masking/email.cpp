// `email` replaces an address: its name by drawn letters and digits, its domain by one that the rule says.

#include "masking/address.h"
#include "masking/draws.h"
#include "masking/keyed.h"
#include "masking/masks.h"
#include "text/unicode.h"

#include <algorithm>

namespace velk::engine {

namespace {

constexpr std::u16string_view name_characters = u"abcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::uint32_t letter_count = 26;
constexpr auto character_count = static_cast<std::uint32_t>(name_characters.size());

void draw_name(SmallDraws& draws, char16_t* name)
{
    name[0] = name_characters[draws.below(letter_count)];
    for (std::size_t i = 1; i < masked_name_length; ++i)
        name[i] = name_characters[draws.below(character_count)];
}

void mask_value(const Digest& hash, std::u16string_view domain, std::u16string_view value, Results& results)
{
    if (value.empty()) return add_result(results, value);
    if (!is_address(value)) return add_error(results, value_no_address);
    const std::size_t offset = results.text.size();
    results.text.resize(offset + masked_name_length + 1 + domain.size());
    char16_t* masked = results.text.data() + offset;
    masked[masked_name_length] = u'@';
    std::copy(domain.begin(), domain.end(), masked + masked_name_length + 1);
    SmallDraws draws(hash);
    do {
        draw_name(draws, masked);
    } while (value == std::u16string_view(results.text).substr(offset));
    close_result(results, offset);
}

} // namespace

Mask mask_of(const EmailRule& rule, const HmacKey& key)
{
    auto own_key = derive_key(key, rule.function, rule.scope, {to_utf8(rule.domain)});
    return [domain = rule.domain, own_key](const Batch& batch, Results& results) {
        const std::vector<Digest> hashes = digests(*own_key, batch.values);
        for (std::size_t i = 0; i < hashes.size(); ++i)
            mask_value(hashes[i], domain, batch.values[i], results);
    };
}

} // namespace velk::engine
