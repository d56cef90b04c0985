#pragma once

// The last failure of each thread, as far as its message tells of it.

#include "text/failure.h"
#include "text/messages.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace velk::engine {

// As many whole characters of a text as fit.
template <std::size_t Capacity> class ClippedText {
public:
    void assign(std::string_view text) noexcept
    {
        size_ = std::min(text.size(), Capacity);
        const auto continues = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
        while (size_ > 0 && size_ < text.size() && continues(text[size_])) --size_;
        std::copy_n(text.begin(), size_, bytes_.begin());
    }

    std::string_view view() const noexcept { return {bytes_.data(), size_}; }

private:
    std::size_t size_ = 0;
    std::array<char, Capacity> bytes_{};
};

// Bytes alone, with nothing to destroy: operations may run on a thread whose other objects are gone already.
struct LastFailure {
    std::int32_t code = 0; // 0: the thread's last operation went well
    ClippedText<heading_bytes> subject;
    ClippedText<detail_bytes> detail;
    ClippedText<trailing_bytes> advice;
};

// The calling thread's.
LastFailure& last_failure() noexcept;

// Nothing: the operation went well.
void remember(const std::optional<Failure>& failure) noexcept;

} // namespace velk::engine
