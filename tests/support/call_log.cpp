#include "support/call_log.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <utility>

namespace velk::test {

CallLog take(CallLog& log)
{
    return std::exchange(log, {});
}

CallLog without_trace(const CallLog& log)
{
    CallLog rest;
    std::copy_if(log.begin(), log.end(), std::back_inserter(rest),
                 [](const std::string& line) { return !line.starts_with("Provider_Trace"); });
    return rest;
}

void violation(const CallLog& log, const std::string& what)
{
    constexpr std::size_t shown = 12;
    std::string calls;
    for (std::size_t i = log.size() > shown ? log.size() - shown : 0; i < log.size(); ++i)
        calls += "\n  " + log[i];
    ADD_FAILURE() << what << "; the last calls were:" << calls;
}

} // namespace velk::test
