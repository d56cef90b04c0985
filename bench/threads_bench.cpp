// How much more two threads with a provider each mask than one, and what a row costs that is masked by
// itself.

#include "engine_call.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace velk::bench {

namespace {

using Seconds = std::chrono::duration<double>;

constexpr std::size_t rounds = 9;
constexpr std::size_t batch_size = 1000;

std::vector<std::u16string> texts_of(std::size_t count)
{
    std::vector<std::u16string> texts;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string text = "a value, " + std::to_string(1'000'000 + i);
        texts.emplace_back(text.begin(), text.end());
    }
    return texts;
}

// Masks the same values again and again.
class Worker {
public:
    explicit Worker(std::size_t count) : texts_(texts_of(count)) {}

    void work(std::size_t calls)
    {
        for (std::size_t i = 0; i < calls; ++i) {
            call_.lay_out_values();
            if (!call_.mask()) throw std::runtime_error("a value was not masked");
        }
    }

private:
    std::vector<std::u16string> texts_;
    EngineCall call_{"hash", "length=12", "text", 12, {texts_.begin(), texts_.end()}};
};

struct Cost {
    double seconds;
    double processor_seconds; // of all threads
};

template <typename Work> Cost cost_of(Work work)
{
    const std::clock_t processor = std::clock();
    const auto start = std::chrono::steady_clock::now();
    work();
    return {Seconds(std::chrono::steady_clock::now() - start).count(),
            static_cast<double>(std::clock() - processor) / CLOCKS_PER_SEC};
}

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + rounds / 2, values.end());
    return values[rounds / 2];
}

// Both take turns in the same run, so that whatever else the machine does burdens them alike.
template <typename First, typename Second> Cost median_ratios(First first, Second second)
{
    std::vector<double> seconds;
    std::vector<double> processor_seconds;
    for (std::size_t round = 0; round < rounds; ++round) {
        const Cost a = cost_of(first);
        const Cost b = cost_of(second);
        seconds.push_back(a.seconds / b.seconds);
        processor_seconds.push_back(a.processor_seconds / b.processor_seconds);
    }
    return {median(std::move(seconds)), median(std::move(processor_seconds))};
}

void measure()
{
    constexpr std::size_t calls = 1000;
    Worker one(batch_size);
    Worker other(batch_size);
    const Cost threads = median_ratios(
        [&] {
            std::thread second([&] { other.work(calls); });
            one.work(calls);
            second.join();
        },
        [&] { one.work(calls); });
    std::printf(
        "two threads       mask %.2f times as much as one, at %.2f times its processor time a value\n",
        2 / threads.seconds, threads.processor_seconds / 2);
    Worker row(1);
    const Cost calls_of_one = median_ratios([&] { row.work(100 * batch_size); }, [&] { one.work(100); });
    std::printf("a call of one value  costs %.2f times what one of a thousand does\n",
                calls_of_one.processor_seconds);
}

} // namespace

} // namespace velk::bench

int main()
{
    const velk::bench::Framework framework;
    velk::bench::measure();
}
