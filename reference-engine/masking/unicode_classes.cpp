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

constexpr std::uint16_t staying = 0; // in classes: what stays as it is
constexpr std::uint16_t no_class = 0xFFFF;

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

// The characters that most texts are written with are looked up in one step, as are their classes' members.
constexpr char32_t common_end = 0x1000; // where a block ends, and so every class

struct Place {
    std::uint16_t of; // in classes
    std::uint16_t index;
};

constexpr auto common_places = [] {
    std::array<Place, common_end> places{};
    places.fill({no_class, 0});
    for (const Run& run : runs)
        for (char32_t code_point = run.first; code_point <= run.last && code_point < common_end; ++code_point)
            places[code_point] = {run.of, static_cast<std::uint16_t>(run.index + (code_point - run.first))};
    return places;
}();

// Where the members of each class begin in common_members.
constexpr auto common_starts = [] {
    std::array<std::uint16_t, std::size(classes)> starts{};
    std::size_t start = 0;
    for (std::size_t of = 1; of < starts.size(); ++of) {
        starts[of] = static_cast<std::uint16_t>(start);
        if (classes[of].first < common_end) start += classes[of].size;
    }
    return starts;
}();

constexpr auto common_members = [] {
    std::array<char16_t, common_end> members{};
    for (char32_t code_point = 0; code_point < common_end; ++code_point) {
        const Place& place = common_places[code_point];
        if (place.of == staying || place.of == no_class) continue;
        members[std::size_t{common_starts[place.of]} + place.index] = static_cast<char16_t>(code_point);
    }
    return members;
}();

} // namespace

Membership membership(char32_t code_point)
{
    if (code_point < common_end) {
        const Place& place = common_places[code_point];
        return {place.of == no_class ? nullptr : &classes[place.of], place.index};
    }
    const std::size_t page = code_point / page_size;
    if (page >= page_count) return {nullptr, 0};
    const Run* run =
        std::partition_point(runs + page_starts[page], runs + page_starts[page + 1],
                             [code_point](const Run& before) { return before.last < code_point; });
    if (run == std::end(runs) || code_point < run->first) return {nullptr, 0};
    return {&classes[run->of], run->index + (code_point - run->first)};
}

char32_t member(const CharacterClass& of, std::uint32_t index)
{
    if (of.first < common_end)
        return common_members[common_starts[static_cast<std::size_t>(&of - classes)] + index];
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
