#pragma once

// Rules made ready to mask.

#include "masking/hmac.h"
#include "masking/mask.h"
#include "masking/rules.h"

namespace velk::engine {

// A key that is null: the service has none, which is a Failure where the rule needs one. It is not referred
// to afterwards. Of values that stay as they are nothing is made: their mask is empty.
Mask make_mask(const Rule& rule, const HmacKey* key);

// One per function, in the source named after it.
Mask mask_of(const KeepRule& rule);
Mask mask_of(const NullRule& rule);
Mask mask_of(const FixedRule& rule);
Mask mask_of(const PartialRule& rule);
Mask mask_of(const ClassesRule& rule, const HmacKey& key);
Mask mask_of(const HashRule& rule, const HmacKey& key);
Mask mask_of(const CardRule& rule, const HmacKey& key);
Mask mask_of(const EmailRule& rule, const HmacKey& key);
Mask mask_of(const DictRule& rule, const HmacKey& key);
Mask mask_of(const DateShiftRule& rule, const HmacKey& key);
Mask mask_of(const NoiseRule& rule, const HmacKey& key);
Mask mask_of(const Ff1Rule& rule, const HmacKey& key);

} // namespace velk::engine
