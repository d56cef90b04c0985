#pragma once

// Two blocks of SHA-256 at a time, by instructions that not all processors have. Each of them waits for the
// one before, and the other block's runs meanwhile: the two take little longer than one.

#include "masking/hmac.h"

namespace velk::engine {

// Between two blocks; behind the last one it is the digest.
using HashState = Digest;

// Whether this processor can; where not, nothing else here may be called.
bool can_hash_pairs();

// The state before the first block.
HashState first_hash_state();

// Takes each block into a state like start.
void hash_pair(const HashState& start, const HashBlock& one, const HashBlock& other, HashState& one_end,
               HashState& other_end);

} // namespace velk::engine
