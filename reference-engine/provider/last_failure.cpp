#include "provider/last_failure.h"

#include "text/boundary.h"

namespace velk::engine {

LastFailure& last_failure() noexcept
{
    thread_local constinit LastFailure last{};
    return last;
}

void remember(const std::optional<Failure>& failure) noexcept
{
    LastFailure& last = last_failure();
    last.code = code_of(failure);
    if (!failure) return;
    last.subject.assign(failure->subject);
    last.detail.assign(failure->detail);
    last.advice.assign(failure->advice);
}

} // namespace velk::engine
