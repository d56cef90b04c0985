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

namespace {

// Whether what was opened is for its owner alone and can be emptied for him: a file of his own under no other
// name, or a device. Another one's file, or a link to one, may have been put there by whoever wants to read
// it.
bool make_private(int file)
{
    struct stat status;
    if (fstat(file, &status) != 0) return false;
    if (S_ISCHR(status.st_mode)) return true;
    if (!S_ISREG(status.st_mode) || status.st_uid != geteuid() || status.st_nlink != 1) return false;
    const bool is_private = (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
    return (is_private || fchmod(file, S_IRUSR | S_IWUSR) == 0) && ftruncate(file, 0) == 0;
}

} // namespace

// It is looked at before it is emptied, and nothing is waited for.
std::FILE* create_file(const std::string& path)
{
    const int file =
        open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file < 0) return nullptr;
    if (make_private(file) && fcntl(file, F_SETFL, 0) == 0)
        if (std::FILE* stream = fdopen(file, "wb")) return stream;
    close(file);
    return nullptr;
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
