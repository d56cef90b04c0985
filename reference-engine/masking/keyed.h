#pragma once

// What the keyed functions hash. Each rule has a key of its own, derived from the service's by its function,
// its scope and the arguments that shape its results, so that rules which differ in any of them have nothing
// in common, and a value is masked alike wherever they are the same.

#include "masking/hmac.h"
#include "masking/mask.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

// HMAC(key, function 0 scope 0 argument 0 ...): no part holds a zero byte, so no other parts give the same
// bytes.
std::shared_ptr<const HmacKey> derive_key(const HmacKey& key, std::string_view function,
                                          std::string_view scope,
                                          std::initializer_list<std::string_view> arguments = {});

// The same as bytes, for a cipher.
Digest derive_secret(const HmacKey& key, std::string_view function, std::string_view scope,
                     std::initializer_list<std::string_view> arguments = {});

// Lower-case digits, for a digest that is an argument.
std::string hexadecimal(const Digest& digest);

// HMAC(key, value in UTF-8) of each value, in order.
std::vector<Digest> digests(const HmacKey& key, Values values);

} // namespace velk::engine
