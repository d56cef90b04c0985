#include "masking/unicode_classes.h"

#include <algorithm>
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

} // namespace

Membership membership(char32_t code_point)
{
    const Run* behind = std::upper_bound(std::begin(runs), std::end(runs), code_point,
                                         [](char32_t value, const Run& run) { return value < run.first; });
    if (behind == std::begin(runs)) return {nullptr, 0};
    const Run& run = behind[-1];
    if (code_point > run.last) return {nullptr, 0};
    return {&classes[run.of], run.index + (code_point - run.first)};
}

char32_t member(const CharacterClass& of, std::uint32_t index)
{
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
