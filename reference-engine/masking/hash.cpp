// `hash` writes the first digits of the value's keyed hash.

#include "masking/keyed.h"
#include "masking/masks.h"

namespace velk::engine {

namespace {

void add_digits(Results& results, const Digest& digest, std::size_t length)
{
    const std::size_t offset = results.text.size();
    for (std::size_t i = 0; i < length; ++i) {
        const unsigned digit = (i % 2 == 0 ? digest[i / 2] >> 4 : digest[i / 2]) & 0xFu;
        results.text += u"0123456789abcdef"[digit];
    }
    close_result(results, offset);
}

} // namespace

Mask mask_of(const HashRule& rule, const HmacKey& key)
{
    return [length = rule.length, own_key = derive_key(key, rule.function, rule.scope)](const Batch& batch,
                                                                                        Results& results) {
        const std::vector<Digest> hashes = digests(*own_key, batch.values);
        for (std::size_t i = 0; i < hashes.size(); ++i) {
            if (batch.values[i].empty())
                add_result(results, {}); // empty stays empty
            else
                add_digits(results, hashes[i], length);
        }
    };
}

} // namespace velk::engine
