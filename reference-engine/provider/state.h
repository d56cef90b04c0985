#pragma once

// The state of the process: the framework, its providers and the last failure. Every operation but those
// of the trace facility holds the lock from start to end.

#include "provider/provider.h"
#include "text/failure.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <new>
#include <optional>

namespace velk::engine {

struct State {
    std::mutex mutex;
    bool started = false;
    std::map<std::int32_t, Provider> providers; // by handle
    std::int32_t next_handle = 1;
    std::optional<Failure> last_failure; // of the last operation, if it failed
};

State& state();

// Runs an operation and turns its failure into the operation's result.
template <typename Work> std::int32_t guarded(Work work) noexcept
{
    const std::lock_guard lock(state().mutex);
    std::optional<Failure>& last = state().last_failure;
    last.reset();
    try {
        work();
        return 0;
    } catch (Failure& failure) {
        last = std::move(failure);
    } catch (const std::bad_alloc&) {
        last = Failure{out_of_memory};
    } catch (...) {
        last = Failure{internal_error};
    }
    return last->code;
}

inline void require_framework()
{
    if (!state().started) throw Failure{framework_not_started};
}

} // namespace velk::engine
