#pragma once

// Where an operation of the engine ends: no exception gets out of it.

#include "text/failure.h"

#include <cstdint>
#include <new>
#include <utility>

namespace velk::engine {

// Runs the work of an operation. Nothing: it went well.
template <typename Work> std::optional<Failure> failure_of(Work&& work) noexcept
{
    try {
        std::forward<Work>(work)();
        return std::nullopt;
    } catch (Failure& failure) {
        return std::move(failure);
    } catch (const std::bad_alloc&) {
        return Failure{out_of_memory};
    } catch (...) {
        return Failure{internal_error};
    }
}

// Whether more may be said of it than its code: the two failures that nobody threw on purpose say nothing.
inline bool is_told(const std::optional<Failure>& failure) noexcept
{
    return failure && failure->code != out_of_memory && failure->code != internal_error;
}

// The operation's result.
inline std::int32_t code_of(const std::optional<Failure>& failure) noexcept
{
    return failure ? failure->code : 0;
}

} // namespace velk::engine
