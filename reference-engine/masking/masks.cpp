#include "masking/masks.h"

#include "text/failure.h"

namespace velk::engine {

Mask make_mask(const Rule& rule, const HmacKey* key)
{
    return std::visit(
        [key](const auto& said) {
            if constexpr (requires { said.scope; }) {
                if (key == nullptr) throw Failure{key_missing, std::string(said.function)};
                return mask_of(said, *key);
            } else {
                return mask_of(said);
            }
        },
        rule);
}

} // namespace velk::engine
