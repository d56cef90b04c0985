#pragma once

// The state of the process: the framework, its providers and the calls that are under way. Its lock is held
// for moments only, never while a value is masked.

#include "provider/last_failure.h"
#include "provider/provider.h"
#include "provider/service.h"
#include "text/boundary.h"

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

namespace velk::engine {

// A provider between its start and its end. Whoever uses it holds a reference, so that it outlives a call
// that another thread ends it under.
struct OpenProvider {
    explicit OpenProvider(Provider made) : provider(std::move(made)) {}

    const Provider provider;
    std::mutex mutex; // threads that use the same provider take turns: they share its scratch memory
    Scratch scratch;
};

enum class Life : unsigned char { ended, started, ending };

struct State {
    std::mutex mutex;
    std::condition_variable call_ended;
    Life life = Life::ended;
    std::size_t calls = 0;                                           // under way
    std::map<std::int32_t, std::shared_ptr<OpenProvider>> providers; // by handle
    std::int32_t next_handle = 1;
};

State& state();

// A call that needs the framework, which does not end before it. Throws a Failure where it is not started
// or about to end.
class FrameworkCall {
public:
    FrameworkCall();
    ~FrameworkCall();
    FrameworkCall(const FrameworkCall&) = delete;
    FrameworkCall& operator=(const FrameworkCall&) = delete;
};

// Runs an operation. Its failure is the result, and the thread's last.
template <typename Work> std::int32_t guarded(Work&& work) noexcept
{
    const std::optional<Failure> failure = failure_of(std::forward<Work>(work));
    remember(failure);
    return code_of(failure);
}

} // namespace velk::engine
