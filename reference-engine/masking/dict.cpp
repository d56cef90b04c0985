// `dict` puts an entry of a list in the place of a value, chosen by the value's keyed hash.
//
// A value that is an entry itself becomes another one. Of a short list that tells too much, of two entries
// all: there it is an error, whatever it would have become.

#include "masking/draws.h"
#include "masking/keyed.h"
#include "masking/masks.h"
#include "text/unicode.h"

#include <algorithm>
#include <map>
#include <mutex>

namespace velk::engine {

namespace {

// SHA-256 of the entries in UTF-8, a line end behind each: a file's path and its way of ending lines do not
// matter.
std::string content_digest(const List& list)
{
    std::string lines;
    for (std::size_t i = 0; i < list.size(); ++i) lines.append(to_utf8(list[i])).append(1, '\n');
    return hexadecimal(sha256({reinterpret_cast<const std::uint8_t*>(lines.data()), lines.size()}));
}

// Lists live until the process ends, and a thousand columns may share one.
std::string known_digest(const List& list)
{
    static std::mutex mutex;
    static auto& digests = *new std::map<const List*, std::string>; // as long as the lists
    const std::lock_guard lock(mutex);
    std::string& digest = digests[&list];
    if (digest.empty()) digest = content_digest(list);
    return digest;
}

// A value that is an entry itself gets another one: a list has at least two that differ.
std::u16string_view entry_for(const List& list, const Digest& hash, std::u16string_view value)
{
    std::size_t index = Draws(hash).below(static_cast<std::uint32_t>(list.size()));
    while (list[index] == value) index = (index + 1) % list.size();
    return list[index];
}

} // namespace

Mask mask_of(const DictRule& rule, const HmacKey& key)
{
    auto own_key = derive_key(key, rule.function, rule.scope, {known_digest(*rule.list)});
    return [list = rule.list, few = rule.list->few(), own_key](const Batch& batch, Results& results) {
        const std::vector<Digest> hashes = digests(*own_key, batch.values);
        for (std::size_t i = 0; i < hashes.size(); ++i) {
            const std::u16string_view value = batch.values[i];
            if (std::find(few.begin(), few.end(), value) != few.end())
                add_error(results, value_of_short_list);
            else
                add_result(results, value.empty() ? value : entry_for(*list, hashes[i], value));
        }
    };
}

} // namespace velk::engine
