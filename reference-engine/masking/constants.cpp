// The functions that look at no value: `keep`, `null` and `fixed`.

#include "masking/masks.h"

namespace velk::engine {

Mask mask_of(const KeepRule&)
{
    return {};
}

Mask mask_of(const NullRule&)
{
    return [](const Batch& batch, Results& results) {
        for (std::size_t i = 0; i < batch.values.size(); ++i) add_null(results);
    };
}

// An empty value gets the text as well: a rule that says the result says it for every value.
Mask mask_of(const FixedRule& rule)
{
    return [text = rule.text](const Batch& batch, Results& results) {
        for (std::size_t i = 0; i < batch.values.size(); ++i) add_result(results, text);
    };
}

} // namespace velk::engine
