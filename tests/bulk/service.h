#pragma once

// A service of the reference engine as the lane meets it: parsed, described by records, its provider started.

#include "bulk/lane.h"

#include <string>
#include <vector>

namespace velk::bulk::test {

// A running provider of a masking string. The framework runs while there is one.
class Service {
public:
    explicit Service(const std::string& masking_string);
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    std::size_t width() const { return limits.size(); }

    std::int32_t handle = 0;
    SVCA record{};
    std::vector<ColumnLimit> limits;
    std::vector<std::string> names;

private:
    void start(const char* id);
};

} // namespace velk::bulk::test
