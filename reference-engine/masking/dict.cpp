// `dict` puts an entry of a list in the place of a value, chosen by the value's keyed hash.

#include "masking/draws.h"
#include "masking/keyed.h"
#include "masking/masks.h"

namespace velk::engine {

namespace {

// A value that is an entry itself gets another one: a list has at least two that differ.
const std::u16string& entry_for(const Entries& entries, const Digest& hash, std::u16string_view value)
{
    std::size_t index = Draws(hash).below(static_cast<std::uint32_t>(entries.size()));
    while (entries[index] == value) index = (index + 1) % entries.size();
    return entries[index];
}

} // namespace

Mask mask_of(const DictRule& rule, const HmacKey& key)
{
    return [entries = rule.entries, own_key = derive_key(key, rule.function, rule.scope)](const Batch& batch,
                                                                                          Results& results) {
        const std::vector<Digest> hashes = digests(*own_key, batch.values);
        for (std::size_t i = 0; i < hashes.size(); ++i) {
            const std::u16string_view value = batch.values[i];
            add_result(results, value.empty() ? value : entry_for(*entries, hashes[i], value));
        }
    };
}

} // namespace velk::engine
