#include "masking/file.h"

#include <array>
#include <filesystem>
#include <fstream>

namespace velk::engine {

std::optional<std::string> read_file(std::string_view path)
{
    const std::u8string utf8(path.begin(), path.end());
    std::ifstream file(std::filesystem::path(utf8), std::ios::binary);
    if (!file.is_open()) return std::nullopt;
    std::string bytes;
    std::array<char, 4096> block;
    // A folder opens like a file and fails only here.
    while (file.read(block.data(), block.size()), file.gcount() > 0)
        bytes.append(block.data(), static_cast<std::size_t>(file.gcount()));
    return file.bad() ? std::nullopt : std::optional(std::move(bytes));
}

} // namespace velk::engine
