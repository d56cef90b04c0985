// The adapter out of memory, at each of its records and texts in turn.

#include "masking_string.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

// Allocations that still succeed; below 0: all of them.
int left = -1;

} // namespace

// The linker puts these in the place of the C library's.
extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size)
{
    if (left == 0) return nullptr;
    if (left > 0) --left;
    return __real_calloc(count, size);
}

namespace velk::test {
namespace {

std::int32_t build(ParseRequest& request, SVCA& service, int allocations)
{
    char id[10] = {};
    PGDA build{};
    std::memcpy(build.eyeCatcher, "PGDA", 4);
    build.version = 21;
    build.length = 48;
    build.parameters = &request.record;
    build.pSvcDef = &service;
    build.pSvcId = id;
    build.iSvcIdBytes = sizeof id;
    left = allocations;
    const std::int32_t code = Adapter_BuildServiceDefinition(&build);
    left = -1;
    return code;
}

TEST(AdapterMemory, that_runs_out_leaves_records_that_can_be_released)
{
    ParseRequest request("service=p on_null=mask name=keep name.unique=true born=null born.type=date");
    ASSERT_EQ(request.measure(), 0);
    request.allocate();
    ASSERT_EQ(request.extract(), 0);
    constexpr int needed = 6 * 3 + 2 * 3; // an operand and its two texts; a field, its block and its name
    for (int allocations = 0; allocations <= needed; ++allocations) {
        SVCA service{};
        EXPECT_EQ(build(request, service, allocations), allocations < needed ? out_of_memory : 0)
            << allocations;
        EXPECT_EQ(take_message(), "") << "the engine's own text of the code is told";
        EXPECT_EQ(Adapter_FreeServiceDefinition(&service), 0);
        EXPECT_EQ(service.firstOperand, nullptr);
        EXPECT_EQ(service.firstField, nullptr);
    }
}

} // namespace
} // namespace velk::test
