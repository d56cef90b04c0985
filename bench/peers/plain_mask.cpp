// Masks the file with a program of its own for this one table: plain_mask PROFILE IN OUT. What the work costs
// at least: no schema, no checks, one thread. The profile `copy` reads and writes without a look at the
// bytes.

#define OPENSSL_API_COMPAT                                                                                   \
    0x10100000L // a key's state is kept by value, as the newer interface does not allow

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <openssl/sha.h>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_view_literals;

constexpr std::size_t block_bytes = std::size_t{1} << 20;
constexpr std::size_t columns = 8;

void require(bool holds, const char* what)
{
    if (holds) return;
    std::fprintf(stderr, "plain_mask: %s\n", what);
    std::exit(1);
}

struct File {
    File(const char* path, const char* mode) : stream(std::fopen(path, mode))
    {
        require(stream != nullptr, path);
        std::setvbuf(stream, nullptr, _IONBF, 0);
    }
    ~File() { std::fclose(stream); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::size_t read(char* to, std::size_t bytes) { return std::fread(to, 1, bytes, stream); }

    void write(std::string_view text)
    {
        require(std::fwrite(text.data(), 1, text.size(), stream) == text.size(), "not written");
    }

    std::FILE* stream;
};

// HMAC-SHA-256 with the states behind both pads computed once.
struct Key {
    explicit Key(std::string_view key)
    {
        require(key.size() <= SHA256_CBLOCK, "a key of up to 64 bytes");
        begin(inner, key, 0x36);
        begin(outer, key, 0x5c);
    }

    static void begin(SHA256_CTX& state, std::string_view key, unsigned char pad)
    {
        std::array<unsigned char, SHA256_CBLOCK> block{};
        std::copy(key.begin(), key.end(), block.begin());
        for (unsigned char& byte : block) byte ^= pad;
        SHA256_Init(&state);
        SHA256_Update(&state, block.data(), block.size());
    }

    std::array<unsigned char, SHA256_DIGEST_LENGTH> hash(std::string_view text) const
    {
        std::array<unsigned char, SHA256_DIGEST_LENGTH> digest;
        SHA256_CTX state = inner;
        SHA256_Update(&state, text.data(), text.size());
        SHA256_Final(digest.data(), &state);
        state = outer;
        SHA256_Update(&state, digest.data(), digest.size());
        SHA256_Final(digest.data(), &state);
        return digest;
    }

    // The first 15 hexadecimal digits.
    std::uint64_t number(std::string_view text) const
    {
        const auto digest = hash(text);
        std::uint64_t value = 0;
        for (int i = 0; i < 8; ++i) value = value << 8 | digest[static_cast<std::size_t>(i)];
        return value >> 4;
    }

    SHA256_CTX inner, outer;
};

void add_hashed(std::string& out, const Key& key, std::string_view text)
{
    constexpr auto digits = "0123456789abcdef"sv;
    const auto digest = key.hash(text);
    for (std::size_t i = 0; i < 16; ++i) {
        out += digits[digest[i] >> 4];
        out += digits[digest[i] & 15];
    }
}

void add_address(std::string& out, const Key& key, std::string_view text)
{
    add_hashed(out, key, text);
    out += "@example.com"sv;
}

void add_padded(std::string& out, std::uint64_t number, std::size_t width)
{
    std::array<char, 20> digits;
    for (std::size_t i = width; i-- > 0; number /= 10) digits[i] = static_cast<char>('0' + number % 10);
    out.append(digits.data(), width);
}

void add_phone(std::string& out, const Key& key, std::string_view text)
{
    const std::uint64_t number = key.number(text) % 100'000'000'000;
    out += '+';
    add_padded(out, number / 1'000'000'000, 2);
    out += ' ';
    add_padded(out, number / 10'000'000 % 100, 2);
    out += ' ';
    add_padded(out, number % 10'000'000, 7);
}

char luhn_digit(std::string_view number)
{
    int sum = 0;
    bool doubled = true;
    for (std::size_t i = number.size(); i-- > 0; doubled = !doubled) {
        const int digit = number[i] - '0';
        sum += doubled ? 2 * digit - (digit > 4 ? 9 : 0) : digit;
    }
    return static_cast<char>('0' + (10 - sum % 10) % 10);
}

void add_card(std::string& out, const Key& key, std::string_view text)
{
    const std::size_t start = out.size();
    out += text.substr(0, 6);
    add_padded(out, key.number(text), 9);
    out += luhn_digit(std::string_view(out).substr(start));
}

template <std::size_t Kept> void add_partial(std::string& out, const Key&, std::string_view text)
{
    const std::size_t kept = std::min(Kept, text.size());
    out.append(text.size() - kept, '*');
    out += text.substr(text.size() - kept);
}

unsigned number_at(std::string_view text, std::size_t from, std::size_t count)
{
    unsigned value = 0;
    for (const char digit : text.substr(from, count)) value = value * 10 + static_cast<unsigned>(digit - '0');
    return value;
}

void add_shifted(std::string& out, const Key& key, std::string_view text)
{
    using namespace std::chrono;
    require(text.size() == 10, "no date");
    const year_month_day date{year(static_cast<int>(number_at(text, 0, 4))), month(number_at(text, 5, 2)),
                              day(number_at(text, 8, 2))};
    const int shift = static_cast<int>(key.number(text) % 60) - 30;
    const year_month_day moved = sys_days(date) + days(shift + (shift >= 0));
    add_padded(out, static_cast<std::uint64_t>(static_cast<int>(moved.year())), 4);
    out += '-';
    add_padded(out, static_cast<unsigned>(moved.month()), 2);
    out += '-';
    add_padded(out, static_cast<unsigned>(moved.day()), 2);
}

void add_nothing(std::string&, const Key&, std::string_view) {}

using Mask = void (*)(std::string&, const Key&, std::string_view); // null: kept, quotes and all
using Profile = std::array<Mask, columns>;

constexpr Profile keep{};
constexpr Profile a = {nullptr,        add_hashed,  add_address, add_partial<2>,
                       add_partial<4>, add_shifted, nullptr,     add_nothing};
constexpr Profile b = {nullptr,  add_hashed,  add_address, add_phone,
                       add_card, add_shifted, nullptr,     add_hashed};

// A value without its quotes; `room` holds it where some were doubled.
std::string_view unquoted(std::string_view cell, std::string& room)
{
    if (cell.empty() || cell.front() != '"') return cell;
    cell = cell.substr(1, cell.size() - 2);
    if (cell.find('"') == cell.npos) return cell;
    room.clear();
    for (std::size_t i = 0; i < cell.size(); i += cell[i] == '"' ? 2 : 1) room += cell[i];
    return room;
}

// Where a cell ends: at the delimiter, the line end, or `end` where neither is in the text.
const char* end_of_cell(const char* at, const char* end)
{
    if (at < end && *at == '"') {
        for (++at; at < end; ++at) {
            if (*at != '"') continue;
            if (at + 1 == end || at[1] != '"') {
                ++at;
                break;
            }
            ++at;
        }
    }
    while (at < end && *at != ',' && *at != '\n') ++at;
    return at;
}

// Masks one row and gives what is behind it; `text` where no whole row is there.
const char* mask_row(const char* text, const char* end, const Profile& profile, const Key& key,
                     std::string& out)
{
    static std::string room;
    const std::size_t before = out.size();
    const char* at = text;
    for (const Mask mask : profile) {
        const char* const stop = end_of_cell(at, end);
        if (stop == end) {
            out.resize(before);
            return text;
        }
        const std::string_view cell(at, static_cast<std::size_t>(stop - at));
        if (mask == nullptr)
            out += cell;
        else if (!cell.empty()) // null stays null
            mask(out, key, unquoted(cell, room));
        out += *stop;
        at = stop + 1;
    }
    require(at[-1] == '\n', "a row of another width");
    return at;
}

void mask_file(File& in, File& out, const Profile& profile, const Key& key)
{
    std::vector<char> block(block_bytes);
    std::string masked;
    std::size_t held = 0;
    const Profile* row = &keep; // the header is kept
    while (const std::size_t bytes = in.read(block.data() + held, block.size() - held)) {
        const char* at = block.data();
        const char* const end = at + held + bytes;
        masked.clear();
        for (const char* next; (next = mask_row(at, end, *row, key, masked)) != at; at = next) row = &profile;
        out.write(masked);
        held = static_cast<std::size_t>(end - at);
        require(held < block.size(), "a row longer than a block");
        std::memmove(block.data(), at, held);
    }
    require(held == 0, "the last line has no end");
}

void copy_file(File& in, File& out)
{
    std::vector<char> block(block_bytes);
    while (const std::size_t bytes = in.read(block.data(), block.size())) out.write({block.data(), bytes});
}

} // namespace

int main(int count, char** arguments)
{
    require(count == 4, "usage: plain_mask copy|keep|a|b IN OUT");
    const std::string_view profile = arguments[1];
    const char* const key = std::getenv("MASK_KEY");
    require(key != nullptr, "no MASK_KEY");
    File in(arguments[2], "rb"), out(arguments[3], "wb");
    if (profile == "copy")
        copy_file(in, out);
    else if (profile == "keep" || profile == "a" || profile == "b")
        mask_file(in, out, profile == "keep" ? keep : profile == "a" ? a : b, Key(key));
    else
        require(false, "no such profile");
}
