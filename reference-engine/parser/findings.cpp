#include "parser/findings.h"

#include <algorithm>
#include <iterator>

namespace velk::engine {

namespace {

std::size_t start_of(const Failure& failure)
{
    return failure.place ? failure.place->start : 0;
}

} // namespace

void add(Findings& findings, Failure&& failure)
{
    const auto is_same = [&](const Failure& told) {
        return told.code == failure.code &&
               (start_of(told) == start_of(failure) || failure.code == key_missing);
    };
    if (std::ranges::any_of(findings.told, is_same)) return;
    if (findings.told.size() < most_told)
        findings.told.push_back(std::move(failure));
    else
        ++findings.untold;
}

bool is_full(const Findings& findings)
{
    return findings.told.size() + findings.untold >= most_found;
}

bool has_code(const Findings& findings, ErrorCode code)
{
    return std::ranges::any_of(findings.told, [code](const Failure& told) { return told.code == code; });
}

void throw_any(Findings& findings)
{
    if (findings.told.empty()) return;
    Failure first = std::move(findings.told.front());
    first.others.assign(std::make_move_iterator(findings.told.begin() + 1),
                        std::make_move_iterator(findings.told.end()));
    const auto place = [](const Failure& other) { return std::pair(start_of(other), other.code); };
    std::ranges::sort(first.others, {}, place);
    first.untold = findings.untold;
    throw first;
}

} // namespace velk::engine
