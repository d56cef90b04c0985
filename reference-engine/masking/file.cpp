#include "masking/file.h"

#include "platform.h"

#include <algorithm>

namespace velk::engine {

std::optional<std::string> read_file(std::string_view path)
{
    constexpr std::uint64_t largest_file = 64 * 1024 * 1024;
    constexpr std::size_t block = 64 * 1024;
    InputFile file{std::string(path)};
    if (!file.is_open() || file.size() > largest_file) return std::nullopt;
    std::string bytes;
    for (std::size_t size = 0; size <= largest_file;) {
        bytes.resize(size + block);
        const auto count = file.read({reinterpret_cast<std::uint8_t*>(bytes.data()) + size, block});
        if (!count) return std::nullopt;
        size += *count;
        bytes.resize(size);
        if (*count == 0) return bytes;
    }
    return std::nullopt; // it has grown meanwhile
}

} // namespace velk::engine
