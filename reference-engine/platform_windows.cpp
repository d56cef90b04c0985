// The narrow functions of the C runtime take the code page of the machine: a key would be other bytes there
// than everywhere else, and a file another one. The wide ones take what is meant.

#include "platform.h"

#include <algorithm>
#include <vector>

#include <windows.h>

#include <aclapi.h>

namespace velk::engine {

namespace {

std::wstring wide(const std::string& utf8)
{
    const int length = static_cast<int>(utf8.size());
    const int size = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, text.data(), size);
    return text;
}

// Wiped when it goes.
struct WideSecret {
    std::vector<wchar_t> units;

    explicit WideSecret(std::size_t size) : units(size) {}
    ~WideSecret() { SecureZeroMemory(units.data(), units.size() * sizeof(wchar_t)); }
    WideSecret(const WideSecret&) = delete;
    WideSecret& operator=(const WideSecret&) = delete;
};

// Without its zero unit; nothing: no such variable. The buffer is as long as the value was a moment ago.
std::optional<std::size_t> read_variable(const std::wstring& name, WideSecret& value)
{
    SetLastError(ERROR_SUCCESS);
    const auto capacity = static_cast<DWORD>(value.units.size());
    const DWORD units = GetEnvironmentVariableW(name.c_str(), value.units.data(), capacity);
    if (units == 0 && GetLastError() != ERROR_SUCCESS) return std::nullopt;
    return units;
}

} // namespace

std::optional<std::string> environment_variable(const std::string& name)
{
    std::string value;
    for (std::size_t size = 256;;) {
        value.resize(size);
        const std::optional<std::size_t> needed =
            environment_variable(name, {reinterpret_cast<std::uint8_t*>(value.data()), value.size()});
        if (!needed) return std::nullopt;
        value.resize(std::min(*needed, size));
        if (*needed <= size) return value;
        size = *needed;
    }
}

std::optional<std::size_t> environment_variable(const std::string& name, std::span<std::uint8_t> bytes)
{
    const std::wstring wide_name = wide(name);
    for (std::size_t capacity = 256;;) {
        WideSecret value(capacity);
        const std::optional<std::size_t> units = read_variable(wide_name, value);
        if (!units) return std::nullopt;
        if (*units >= capacity) {
            capacity = *units;
            continue;
        }
        const auto length = static_cast<int>(*units);
        const int size =
            WideCharToMultiByte(CP_UTF8, 0, value.units.data(), length, nullptr, 0, nullptr, nullptr);
        if (static_cast<std::size_t>(size) <= bytes.size())
            WideCharToMultiByte(CP_UTF8, 0, value.units.data(), length, reinterpret_cast<char*>(bytes.data()),
                                size, nullptr, nullptr);
        return static_cast<std::size_t>(size);
    }
}

namespace {

constexpr DWORD to_write =
    FILE_WRITE_DATA | FILE_APPEND_DATA | WRITE_DAC | WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;
constexpr DWORD to_read = FILE_READ_DATA | GENERIC_READ | GENERIC_ALL;

// Whoever runs this process.
bool is_user(PSID id)
{
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return false;
    alignas(TOKEN_USER) std::uint8_t user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = 0;
    const bool known = GetTokenInformation(token, TokenUser, user, sizeof user, &size);
    CloseHandle(token);
    return known && EqualSid(id, reinterpret_cast<const TOKEN_USER*>(user)->User.Sid);
}

// Whom a file cannot be kept from, or need not.
bool is_trusted(PSID id, PSID owner)
{
    return EqualSid(id, owner) || IsWellKnownSid(id, WinLocalSystemSid) ||
           IsWellKnownSid(id, WinBuiltinAdministratorsSid) || IsWellKnownSid(id, WinCreatorOwnerRightsSid) ||
           is_user(id);
}

// What an entry of an access list allows to others. What another entry may deny them is not taken off.
DWORD allowed_to_others(const ACE_HEADER& entry, PSID owner)
{
    const bool allows =
        entry.AceType == ACCESS_ALLOWED_ACE_TYPE || entry.AceType == ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
    if (!allows || (entry.AceFlags & INHERIT_ONLY_ACE) != 0) return 0;
    const auto& allowed = reinterpret_cast<const ACCESS_ALLOWED_ACE&>(entry);
    return is_trusted(const_cast<DWORD*>(&allowed.SidStart), owner) ? 0 : allowed.Mask;
}

// A file system without access lists keeps a file from nobody; that it may be written is not held against it.
DWORD allowed_to_others(HANDLE file)
{
    PSID owner = nullptr;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR all = nullptr;
    if (GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner,
                        nullptr, &list, nullptr, &all) != ERROR_SUCCESS)
        return GENERIC_READ;
    DWORD allowed = list == nullptr ? GENERIC_ALL : 0; // without a list everybody may do everything
    for (DWORD i = 0; list != nullptr && i < list->AceCount; ++i) {
        void* entry = nullptr;
        if (GetAce(list, i, &entry))
            allowed |= allowed_to_others(*static_cast<const ACE_HEADER*>(entry), owner);
    }
    LocalFree(all);
    return allowed;
}

} // namespace

std::FILE* create_file(const std::string& path)
{
    return _wfopen(wide(path).c_str(), L"wb");
}

InputFile::InputFile(const std::string& path)
    : handle_(reinterpret_cast<std::intptr_t>(CreateFileW(
          wide(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)))
{
    auto* const file = reinterpret_cast<HANDLE>(handle_);
    LARGE_INTEGER size{};
    if (file == INVALID_HANDLE_VALUE || GetFileType(file) != FILE_TYPE_DISK || !GetFileSizeEx(file, &size))
        return;
    is_open_ = true;
    size_ = static_cast<std::uint64_t>(size.QuadPart);
    const DWORD allowed = allowed_to_others(file);
    others_may_write_ = (allowed & to_write) != 0;
    others_may_read_ = (allowed & to_read) != 0;
}

InputFile::~InputFile()
{
    auto* const file = reinterpret_cast<HANDLE>(handle_);
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
}

std::optional<std::size_t> InputFile::read(std::span<std::uint8_t> bytes)
{
    const auto most = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1u << 30));
    DWORD count = 0;
    if (!ReadFile(reinterpret_cast<HANDLE>(handle_), bytes.data(), most, &count, nullptr))
        return std::nullopt;
    return count;
}

} // namespace velk::engine
