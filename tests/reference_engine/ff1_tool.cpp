// Encrypts lines "key radix tweak text" by FF1, so that another implementation can be compared: key and
// tweak in hexadecimal digits, a dash for no tweak; text in the digits 0-9a-z of the radix.

#include "masking/ff1_cipher.h"

#include <iostream>
#include <sstream>
#include <string>

namespace {

using velk::engine::Numerals;

constexpr std::string_view digits = "0123456789abcdefghijklmnopqrstuvwxyz";

std::vector<std::uint8_t> bytes_of(const std::string& hexadecimal)
{
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < hexadecimal.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(hexadecimal.substr(i, 2), nullptr, 16)));
    return bytes;
}

std::string encrypt(const std::string& key, std::uint32_t radix, const std::string& tweak,
                    const std::string& text)
{
    Numerals numerals;
    for (const char digit : text) numerals.push_back(static_cast<std::uint16_t>(digits.find(digit)));
    const velk::engine::Ff1 cipher(bytes_of(key), radix);
    const std::vector<std::uint8_t> bytes = bytes_of(tweak);
    // As the masks do it: most numbers by way of their halves.
    if (cipher.can_split(numerals.size(), bytes.size())) {
        velk::engine::SplitNumber number = cipher.split(numerals);
        for (const std::uint8_t byte : bytes) number.tweak = number.tweak << 8 | byte;
        number.tweak_size = bytes.size();
        cipher.encrypt(std::span(&number, 1));
        cipher.join(number, numerals);
    } else {
        numerals = cipher.encrypt(numerals, bytes);
    }
    std::string result;
    for (const std::uint16_t numeral : numerals) result += digits[numeral];
    return result;
}

} // namespace

int main()
{
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string key;
        std::string tweak;
        std::string text;
        std::uint32_t radix = 0;
        if (!(words >> key >> radix >> tweak >> text)) return 2;
        std::cout << encrypt(key, radix, tweak, text) << '\n';
    }
    return 0;
}
