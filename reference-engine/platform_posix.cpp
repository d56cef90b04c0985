#include "platform.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velk::engine {

std::optional<std::string> environment_variable(const std::string& name)
{
    const char* value = std::getenv(name.c_str());
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

std::optional<std::size_t> environment_variable(const std::string& name, std::span<std::uint8_t> bytes)
{
    const char* value = std::getenv(name.c_str());
    if (value == nullptr) return std::nullopt;
    const std::size_t size = std::strlen(value);
    std::copy_n(value, std::min(size, bytes.size()), bytes.begin());
    return size;
}

std::FILE* create_file(const std::string& path)
{
    return std::fopen(path.c_str(), "wb");
}

// Without waiting: a pipe is no regular file, but opening one for reading waits for its writer.
InputFile::InputFile(const std::string& path)
    : handle_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
{
    struct stat file{};
    if (handle_ < 0 || ::fstat(static_cast<int>(handle_), &file) != 0 || !S_ISREG(file.st_mode)) return;
    is_open_ = true;
    size_ = static_cast<std::uint64_t>(file.st_size);
    others_may_write_ = (file.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    others_may_read_ = (file.st_mode & (S_IRGRP | S_IROTH)) != 0;
}

InputFile::~InputFile()
{
    if (handle_ >= 0) ::close(static_cast<int>(handle_));
}

std::optional<std::size_t> InputFile::read(std::span<std::uint8_t> bytes)
{
    ssize_t count = 0;
    do {
        count = ::read(static_cast<int>(handle_), bytes.data(), bytes.size());
    } while (count < 0 && errno == EINTR);
    return count < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(count));
}

} // namespace velk::engine
