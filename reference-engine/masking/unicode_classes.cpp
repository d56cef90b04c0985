#include "masking/unicode_classes.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace velk::engine {

namespace {

using Class = CharacterClass;

// Adjacent members of one class.
struct Run {
    std::uint32_t first;
    std::uint32_t last;
    std::uint16_t of;    // in classes
    std::uint32_t index; // of the first member in its class
};

#include "masking/unicode_classes.inc"

constexpr std::size_t page_size = 256;
constexpr std::size_t page_count = 0x110000 / page_size;

// For each page of code points the first run that does not end before it.
constexpr auto page_starts = [] {
    std::array<std::uint16_t, page_count + 1> starts{};
    std::size_t run = 0;
    for (std::size_t page = 0; page < starts.size(); ++page) {
        while (run < std::size(runs) && runs[run].last < page * page_size) ++run;
        starts[page] = static_cast<std::uint16_t>(run);
    }
    return starts;
}();

constexpr Membership found_in(const Run* run, char32_t code_point)
{
    if (run == std::end(runs) || code_point < run->first) return {nullptr, 0};
    return {&classes[run->of], run->index + (code_point - run->first)};
}

constexpr auto ascii_memberships = [] {
    std::array<Membership, 128> memberships{};
    const Run* run = runs;
    for (char32_t code_point = 0; code_point < memberships.size(); ++code_point) {
        while (run->last < code_point) ++run;
        memberships[code_point] = found_in(run, code_point);
    }
    return memberships;
}();

} // namespace

Membership membership(char32_t code_point)
{
    if (code_point < ascii_memberships.size()) return ascii_memberships[code_point];
    const std::size_t page = code_point / page_size;
    if (page >= page_count) return {nullptr, 0};
    const Run* run =
        std::partition_point(runs + page_starts[page], runs + page_starts[page + 1],
                             [code_point](const Run& before) { return before.last < code_point; });
    return found_in(run, code_point);
}

char32_t member(const CharacterClass& of, std::uint32_t index)
{
    if (of.run_count == 1) return of.first + index;
    const std::uint16_t* first = runs_by_class + of.first_run;
    const std::uint16_t* behind =
        std::upper_bound(first, first + of.run_count, index, [](std::uint32_t value, std::uint16_t position) {
            return value < runs[position].index;
        });
    const Run& run = runs[behind[-1]];
    return run.first + (index - run.index);
}

const char* classes_version()
{
    return unicode_version;
}

} // namespace velk::engine
