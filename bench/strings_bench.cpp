// How the time for a masking string grows: of twice the string it should be twice the time, not four times.

#include "parser/pairs.h"
#include "text/excerpt.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>

namespace velk::bench {

namespace {

using namespace engine;

constexpr int rounds = 9;

double seconds_for(const std::function<void()>& work)
{
    double least = 1e9;
    for (int round = 0; round < rounds; ++round) {
        const auto start = std::chrono::steady_clock::now();
        work();
        least =
            std::min(least, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return least;
}

std::string columns(int count)
{
    std::string text = "service=p";
    for (int i = 0; i < count; ++i) text += "\ncolumn_" + std::to_string(i) + "=keep";
    return text;
}

std::string comment(std::size_t bytes)
{
    return "service=p name=keep #" + std::string(bytes, 'x');
}

std::string repeated(std::size_t bytes, std::string_view part)
{
    std::string text;
    while (text.size() < bytes) text += part;
    return text;
}

void print(const char* what, double half, double whole)
{
    std::printf("%-44s %8.2f ms %8.2f ms   x%.2f\n", what, 1e3 * half, 1e3 * whole, whole / half);
}

void measure_parsing(const char* what, const std::string& half, const std::string& whole)
{
    const auto parse = [](const std::string& text) { return seconds_for([&] { parse_pairs(text); }); };
    print(what, parse(half), parse(whole));
}

void measure_search(const char* part)
{
    const auto search = [part](std::size_t bytes) {
        const std::string text = repeated(bytes, part);
        return seconds_for([&] { secret_places(text); });
    };
    const std::string what = std::string("search for secrets in ") + (*part == '\n' ? "line ends" : part);
    print(what.c_str(), search(400'000), search(800'000));
}

} // namespace

} // namespace velk::bench

int main()
{
    using namespace velk::bench;
    std::printf("masking strings: half, whole, ratio\n");
    measure_parsing("9,999 and 19,998 columns", columns(9'999), columns(19'998));
    measure_parsing("a comment of 0.5 and 1 MB", comment(500'000), comment(1'000'000));
    for (const char* part :
         {"key=a ", "\" ", "key=env:A \" ", "key=(", "key ", "'", "key.", "=", "\n", "a=' ", "key=\"\" "})
        measure_search(part);
    return 0;
}
