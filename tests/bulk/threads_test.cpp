// Lanes of different providers on several threads, as Java runs them: each thread has a lane and a provider
// of its own. Where the engine does not allow its calls to run at the same time they take turns, and all else
// overlaps.

#include "bulk/engine_threads.h"
#include "bulk/pipeline.h"
#include "bulk/service.h"

#include <memory>
#include <mutex>
#include <thread>

namespace velk::bulk::test {
namespace {

const char* const rules = "service=s key=env:VELK_TEST_KEY a=hash b=classes c=dict(list=cities) d=ff1 e=keep";

std::string table(int seed)
{
    std::string text;
    for (int row = 0; row < 3000; ++row) {
        const std::string number = std::to_string(row * 7919 + seed);
        text += number + ",\"Zoë " + number + "\"," + number + ",1234567" + number + ",\n";
    }
    return text;
}

void open(Lane& lane, const Service& service)
{
    const std::int32_t order[] = {0, 1, 2, 3, 4};
    const LaneDefinition definition{service.handle,
                                    const_cast<SVCA*>(&service.record),
                                    order,
                                    5,
                                    service.sizes.data(),
                                    service.sizes.size(),
                                    nullptr,
                                    0};
    ASSERT_TRUE(bulk::open(lane, definition));
}

// The steps one by one, so that only the call of the engine is guarded.
std::string run(Lane& lane, const std::string& text, std::mutex* turn)
{
    CsvBlock block;
    Output output;
    EXPECT_TRUE(begin(block, lane, {}, text.data(), text.size(), LineEnd::lf, output));
    while (load(block, lane) > 0) {
        auto lock = turn == nullptr ? std::unique_lock<std::mutex>() : std::unique_lock(*turn);
        EXPECT_EQ(mask(lane), 0);
        if (lock.owns_lock()) lock.unlock();
        EXPECT_EQ(write(block, lane), 0);
    }
    std::string written(output.memory.start, output.bytes);
    release(output.memory);
    close(block);
    return written;
}

TEST(Threads, lanes_of_their_own_write_what_one_lane_writes)
{
    constexpr std::size_t count = 4;
    std::vector<std::unique_ptr<Service>> services;
    for (std::size_t i = 0; i < count; ++i) services.push_back(std::make_unique<Service>(rules));
    std::vector<std::string> expected, written(count);
    Lane alone;
    open(alone, *services[0]);
    for (std::size_t i = 0; i < count; ++i)
        expected.push_back(run(alone, table(static_cast<int>(i)), nullptr));
    close(alone);
    std::mutex turn;
    std::mutex* const lock = engine_allows_threads() ? nullptr : &turn;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            Lane lane;
            open(lane, *services[i]);
            for (int round = 0; round < 3; ++round) written[i] = run(lane, table(static_cast<int>(i)), lock);
            close(lane);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(written, expected);
}

} // namespace
} // namespace velk::bulk::test
