#pragma once

// What the operating systems do differently. All texts are UTF-8.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>

namespace velk::engine {

// The value of an environment variable; nothing if there is none of that name.
std::optional<std::string> environment_variable(const std::string& name);

// The same for a value that is a secret: it is written where the caller says, as far as it fits, and nowhere
// else. The result is the number of its bytes.
std::optional<std::size_t> environment_variable(const std::string& name, std::span<std::uint8_t> bytes);

// A file for writing that its owner alone may read, where the system knows of owners; a former one is
// emptied. Null if it cannot be opened, is another one's or a link.
std::FILE* create_file(const std::string& path);

// A file to read, without a buffer of its own. Only a regular one, or a link to one, is opened: a device may
// never end.
class InputFile {
public:
    explicit InputFile(const std::string& path);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    bool is_open() const { return is_open_; }
    std::uint64_t size() const { return size_; }

    // Whether anyone but its owner may, as its mode says, or on Windows its access list: besides the owner,
    // whoever runs this process, the system and its administrators.
    bool others_may_write() const { return others_may_write_; }
    bool others_may_read() const { return others_may_read_; }

    // The number of bytes that were read, 0 at the end; nothing if it fails.
    std::optional<std::size_t> read(std::span<std::uint8_t> bytes);

private:
    std::intptr_t handle_;
    std::uint64_t size_ = 0;
    bool is_open_ = false;
    bool others_may_write_ = false;
    bool others_may_read_ = false;
};

} // namespace velk::engine
