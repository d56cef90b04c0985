#include "masking/list_file.h"

#include "masking/lists.h"
#include "platform.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace velk {

namespace {

using namespace engine;

std::optional<std::string> read_file(const std::string& path)
{
    constexpr std::uint64_t largest_file = 64 * 1024 * 1024;
    constexpr std::size_t block = 64 * 1024;
    InputFile file(path);
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

// Null: it cannot be read now.
const std::string* kept_file(const std::string& path)
{
    static std::mutex mutex;
    static auto& files =
        *new std::map<std::string, std::string>; // threads may still ask while the process exits
    const std::lock_guard lock(mutex);
    const auto known = files.find(path);
    if (known != files.end()) return &known->second;
    std::optional<std::string> text = read_file(path);
    if (!text) return nullptr;
    if (is_list(*text)) return &files.emplace(path, *std::move(text)).first->second;
    thread_local std::string refused; // until it is corrected
    refused = *std::move(text);
    return &refused;
}

} // namespace

// No exception may pass into the library that asks.
const char* Provider_ListFile(const char* path, std::size_t* size)
try {
    const std::string* text = kept_file(path);
    if (text == nullptr) return nullptr;
    *size = text->size();
    return text->data();
} catch (...) {
    return nullptr;
}

} // namespace velk
