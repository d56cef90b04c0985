#pragma once

// What is wrong with one masking string, so that all of it is told at once: the first ten failures, and how
// many more there are, up to a hundred.

#include "text/failure.h"

#include <utility>
#include <vector>

namespace velk::engine {

inline constexpr std::size_t most_told = 10;

// With so many the search ends: some take as long as the whole string to be told.
inline constexpr std::size_t most_found = 100;

struct Findings {
    std::vector<Failure> told{};
    std::size_t untold = 0;
};

// What was found at the same place already, or is the want of a key once more, is not counted again.
void add(Findings& findings, Failure&& failure);

bool has_code(const Findings& findings, ErrorCode code);

bool is_full(const Findings& findings);

// Does the work, unless enough was found, and adds what is wrong there.
template <typename Work> void check(Findings& findings, Work&& work)
{
    if (is_full(findings)) return;
    try {
        std::forward<Work>(work)();
    } catch (Failure& failure) {
        add(findings, std::move(failure));
    }
}

// Throws the first failure, if there is one, and with it the others.
void throw_any(Findings& findings);

} // namespace velk::engine
