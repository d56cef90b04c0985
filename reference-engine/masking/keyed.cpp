#include "masking/keyed.h"

#include "masking/hmac_pairs.h"
#include "text/unicode.h"

#include <string>

namespace velk::engine {

namespace {

Digest digest_of(const HmacKey& key, std::string_view message)
{
    return key.digest({reinterpret_cast<const std::uint8_t*>(message.data()), message.size()});
}

} // namespace

std::shared_ptr<const HmacKey> derive_key(const HmacKey& key, std::string_view function,
                                          std::string_view scope,
                                          std::initializer_list<std::string_view> arguments)
{
    return std::make_shared<const HmacKey>(derive_secret(key, function, scope, arguments));
}

Digest derive_secret(const HmacKey& key, std::string_view function, std::string_view scope,
                     std::initializer_list<std::string_view> arguments)
{
    std::string message;
    message.append(function).append(1, '\0').append(scope).append(1, '\0');
    for (const std::string_view argument : arguments) message.append(argument).append(1, '\0');
    return digest_of(key, message);
}

std::string hexadecimal(const Digest& digest)
{
    std::string digits;
    for (const std::uint8_t byte : digest)
        digits.append(1, "0123456789abcdef"[byte >> 4]).append(1, "0123456789abcdef"[byte & 0xF]);
    return digits;
}

std::vector<Digest> digests(const HmacKey& key, Values values)
{
    std::vector<Digest> result(values.size());
    HmacPairs run(key);
    SecretBytes message;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (message.size() < most_bytes(values[i])) message.resize(most_bytes(values[i]));
        const std::size_t size = encode(values[i], reinterpret_cast<char*>(message.data()));
        run.digest({message.data(), size}, result[i]);
    }
    run.finish();
    return result;
}

} // namespace velk::engine
