#include "masking/keyed.h"

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

std::vector<Digest> digests(const HmacKey& key, Values values)
{
    std::vector<Digest> result;
    result.reserve(values.size());
    std::string message;
    for (const std::u16string_view value : values) {
        message.clear();
        for (std::size_t position = 0; position < value.size();)
            append(message, next_code_point(value, position));
        result.push_back(digest_of(key, message));
    }
    return result;
}

} // namespace velk::engine
