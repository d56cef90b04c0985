#include "masking/hmac_pairs.h"

#include <algorithm>

namespace velk::engine {

namespace {

// Ends the last block of a message, of which it holds the last bytes: a one bit behind them, and at the end
// the length of the whole in bits.
void end_block(HashBlock& block, std::size_t bytes, std::size_t whole)
{
    block[bytes] = 0x80;
    std::fill(block.begin() + static_cast<std::ptrdiff_t>(bytes) + 1, block.end(), std::uint8_t{0});
    const std::size_t bits = 8 * whole; // of two blocks at most
    block[block.size() - 2] = static_cast<std::uint8_t>(bits >> 8);
    block[block.size() - 1] = static_cast<std::uint8_t>(bits);
}

} // namespace

HashBlock padded_key(std::span<const std::uint8_t> key, std::uint8_t pad)
{
    HashBlock block{};
    if (key.size() > block.size()) {
        const Digest digest = sha256(key);
        std::copy(digest.begin(), digest.end(), block.begin());
    } else {
        std::copy(key.begin(), key.end(), block.begin());
    }
    for (std::uint8_t& byte : block) byte ^= pad;
    return block;
}

PairStates::PairStates(std::span<const std::uint8_t> key)
{
    if (can_hash_pairs())
        hash_pair(first_hash_state(), padded_key(key, inner_pad), padded_key(key, outer_pad), inner, outer);
}

void HmacPairs::digest(std::span<const std::uint8_t> message, Digest& result)
{
    if (!pairs_ || message.size() > longest) return run_.digest(message, result);
    HashBlock& block = blocks_[waiting_ == nullptr ? 0 : 1];
    std::copy(message.begin(), message.end(), block.begin());
    end_block(block, message.size(), block.size() + message.size());
    if (waiting_ != nullptr) return hash_both(result);
    waiting_ = &result;
}

// The key's first block is hashed already, both inside and outside.
void HmacPairs::hash_both(Digest& result)
{
    const PairStates& key = key_->pair_states_;
    hash_pair(key.inner, blocks_[0], blocks_[1], *waiting_, result);
    for (const auto& [digest, block] : {std::pair(waiting_, &blocks_[0]), std::pair(&result, &blocks_[1])}) {
        std::copy(digest->begin(), digest->end(), block->begin());
        end_block(*block, digest_size, block->size() + digest_size);
    }
    hash_pair(key.outer, blocks_[0], blocks_[1], *waiting_, result);
    waiting_ = nullptr;
}

// A message without another one is hashed as both.
void HmacPairs::finish()
{
    if (waiting_ == nullptr) return;
    Digest same;
    blocks_[1] = blocks_[0];
    hash_both(same);
}

} // namespace velk::engine
