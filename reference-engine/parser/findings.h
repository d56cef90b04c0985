#pragma once

// What is wrong with one masking string, so that all of it is told at once: the first ten failures, and how
// many more there are.

#include "text/failure.h"

#include <utility>
#include <vector>

namespace velk::engine {

inline constexpr std::size_t most_told = 10;

struct Findings {
    std::vector<Failure> told{};
    std::size_t untold = 0;
};

// What was found at the same place already, or is the want of a key once more, is not counted again.
void add(Findings& findings, Failure&& failure);

bool has_code(const Findings& findings, ErrorCode code);

// Whether the work found nothing wrong.
template <typename Work> bool check(Findings& findings, Work&& work)
{
    try {
        std::forward<Work>(work)();
        return true;
    } catch (Failure& failure) {
        add(findings, std::move(failure));
        return false;
    }
}

// Throws the first failure, if there is one, and with it the others.
void throw_any(Findings& findings);

} // namespace velk::engine
