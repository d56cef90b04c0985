#include "masking/file.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace velk::engine {

namespace {

constexpr std::uintmax_t largest_file = 64 * 1024 * 1024;

} // namespace

std::optional<std::string> read_file(std::string_view path)
{
    const std::u8string utf8(path.begin(), path.end());
    const std::filesystem::path name(utf8);
    std::error_code error;
    if (!std::filesystem::is_regular_file(name, error)) return std::nullopt; // a device may never end
    if (std::filesystem::file_size(name, error) > largest_file) return std::nullopt;
    std::ifstream file(name, std::ios::binary);
    if (!file.is_open()) return std::nullopt;
    std::string bytes;
    std::array<char, 4096> block;
    while (file.read(block.data(), block.size()), file.gcount() > 0)
        bytes.append(block.data(), static_cast<std::size_t>(file.gcount()));
    return file.bad() ? std::nullopt : std::optional(std::move(bytes));
}

} // namespace velk::engine
