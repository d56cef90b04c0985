// The narrow functions of the C runtime take the code page of the machine: a key would be other bytes there
// than everywhere else, and a file another one. The wide ones take what is meant.

#include "platform.h"

#include <filesystem>

#include <windows.h>

namespace velk::engine {

namespace {

std::wstring wide(const std::string& utf8)
{
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end())).wstring();
}

std::string narrow(const std::wstring& text)
{
    const int length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, utf8.data(), size, nullptr, nullptr);
    return utf8;
}

} // namespace

std::optional<std::string> environment_variable(const std::string& name)
{
    const std::wstring wide_name = wide(name);
    std::wstring value(256, L'\0');
    while (true) {
        SetLastError(ERROR_SUCCESS);
        const DWORD units =
            GetEnvironmentVariableW(wide_name.c_str(), value.data(), static_cast<DWORD>(value.size()));
        if (units == 0 && GetLastError() != ERROR_SUCCESS) return std::nullopt;
        const bool whole = units < value.size();
        value.resize(units); // else this is what it takes
        if (whole) return narrow(value);
    }
}

std::FILE* create_file(const std::string& path)
{
    return _wfopen(wide(path).c_str(), L"wb");
}

} // namespace velk::engine
