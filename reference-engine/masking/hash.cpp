// `hash` writes the first digits of the value's keyed hash.

#include "masking/keyed.h"
#include "masking/masks.h"

#include <algorithm>
#include <array>

namespace velk::engine {

namespace {

// The two digits of each byte.
constexpr auto digits_of = [] {
    std::array<std::array<char16_t, 2>, 256> digits;
    for (std::size_t byte = 0; byte < digits.size(); ++byte)
        digits[byte] = {u"0123456789abcdef"[byte >> 4], u"0123456789abcdef"[byte & 0xF]};
    return digits;
}();

void write_digits(const Digest& digest, char16_t* digits, std::size_t length)
{
    for (std::size_t i = 0; i + 1 < length; i += 2)
        std::copy_n(digits_of[digest[i / 2]].begin(), 2, digits + i);
    if (length % 2 != 0) digits[length - 1] = digits_of[digest[length / 2]][0];
}

void mask_value(const HmacKey& key, const Digest& hash, std::u16string_view value, std::size_t length,
                Results& results)
{
    if (value.empty()) return add_result(results, {}); // empty stays empty
    const std::size_t offset = results.text.size();
    results.text.resize(offset + length);
    char16_t* digits = results.text.data() + offset;
    write_digits(hash, digits, length);
    // Of some 4 billion values of eight digits one or another is its own hash; it gets the hash of that.
    for (Digest next = hash; std::u16string_view(digits, length) == value;) {
        next = key.digest(next);
        write_digits(next, digits, length);
    }
    close_result(results, offset);
}

} // namespace

// The length is no part of what is hashed: it decides how much of the hash is written and nothing else.
Mask mask_of(const HashRule& rule, const HmacKey& key)
{
    return [length = rule.length, own_key = derive_key(key, rule.function, rule.scope)](const Batch& batch,
                                                                                        Results& results) {
        const std::vector<Digest> hashes = digests(*own_key, batch.values);
        make_room(results, batch.values, length);
        for (std::size_t i = 0; i < hashes.size(); ++i)
            mask_value(*own_key, hashes[i], batch.values[i], length, results);
    };
}

} // namespace velk::engine
