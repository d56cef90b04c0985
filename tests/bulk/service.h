#pragma once

// A service of the reference engine as the lane meets it: parsed, described by records, its provider started.

#include "bulk/lane.h"

#include <string>
#include <vector>

namespace velk::bulk::test {

// The buffers of a column whose type has a limit, in code points.
inline BufferSizes limited(std::int32_t limit)
{
    return {4 * limit + 4, 4 * limit + 4};
}

// Those of a column without one, of a rule whose longest result has so many code points.
inline BufferSizes unlimited(std::int32_t longest_result)
{
    return {4 * longest_result + 2, INT32_MAX - 1};
}

// A running provider of a masking string. The framework runs while there is one.
class Service {
public:
    explicit Service(const std::string& masking_string);
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    std::size_t width() const { return sizes.size(); }

    std::int32_t handle = 0;
    SVCA record{};
    std::vector<BufferSizes> sizes;
    std::vector<std::string> names;

private:
    void start(const char* id);
};

} // namespace velk::bulk::test
