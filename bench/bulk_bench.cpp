// A CSV file of a million rows of eight columns through the lane, against a program that only reads and
// writes it, in the same run: bulk_bench [ROWS]. CPU and wall seconds, medians of five turns. Each way takes
// its turn after the other, so that whatever else the machine does falls on all of them.

#include "bulk/csv_block.h"
#include "bulk/engine_threads.h"
#include "bulk/service.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <thread>

namespace velk::bulk::bench {

namespace {

using test::Service;

constexpr std::size_t block_bytes = std::size_t{1} << 18;
constexpr int turns = 5;

const char* const profile_a =
    "service=a key=env:VELK_TEST_KEY name=hash email=email phone=partial(keep_last=2) "
    "card=partial(keep_last=4) born=dateshift(days=30) born.type=date note=null";
const char* const profile_b = "service=b key=env:VELK_TEST_KEY name=hash email=email phone=classes card=card "
                              "born=dateshift(days=30) born.type=date note=hash";
// Columns of the file: id, name, email, phone, card, born, city, note. The first and the last but one are
// kept.
const std::vector<std::int32_t> order = {-1, 0, 1, 2, 3, 4, -1, 5};
const std::vector<std::int32_t> all_kept(8, -1);

void require(bool holds, const char* what)
{
    if (holds) return;
    std::fprintf(stderr, "bulk_bench: %s\n", what);
    std::exit(1);
}

struct File {
    explicit File(const char* path, const char* mode) : stream(std::fopen(path, mode))
    {
        require(stream != nullptr, path);
        std::setvbuf(stream, nullptr, _IONBF, 0);
    }
    ~File() { std::fclose(stream); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    void write(const char* text, std::size_t bytes)
    {
        require(std::fwrite(text, 1, bytes, stream) == bytes, "not written");
    }

    std::FILE* stream;
};

void make_input(const char* path, long rows)
{
    File file(path, "wb");
    std::string text;
    for (long row = 0; row < rows; ++row) {
        char line[300];
        const long spread = row * 2654435761L % 1'000'003;
        const int length = std::snprintf(
            line, sizeof line,
            "%08ld,Given%ld Family%ld,person.%ld@example.org,+49 30 %07ld,4%015ld,19%02ld-%02ld-%02ld,"
            "\"City, %05ld\",\"a note of some length about customer %ld, as there are many\"\n",
            row, spread % 977, spread, spread, spread * 7 % 10'000'000, spread * 99'991, 40 + spread % 60,
            1 + spread % 12, 1 + spread % 28, spread % 90'000, spread);
        text.append(line, static_cast<std::size_t>(length));
        if (text.size() < block_bytes && row + 1 < rows) continue;
        file.write(text.data(), text.size());
        text.clear();
    }
}

void copy(const char* from, const char* to)
{
    File in(from, "rb"), out(to, "wb");
    std::vector<char> block(block_bytes);
    while (const std::size_t bytes = std::fread(block.data(), 1, block.size(), in.stream))
        out.write(block.data(), bytes);
}

// What the threads share: the file in front of them, cut into blocks one after the other, and the order of
// the output.
struct Run {
    Run(const char* from, const char* to) : in(from, "rb"), out(to, "wb") {}

    File in, out;
    std::mutex reading, writing, engine;
    std::condition_variable turn;
    std::string rest; // read, and not yet part of a block
    bool ended = false;
    long next_block = 0, next_written = 0;
    std::int64_t rows = 0;
};

// The next block of whole rows and its number. False at the end.
bool take(Run& run, std::vector<char>& text, std::size_t& bytes, long& number)
{
    const std::lock_guard lock(run.reading);
    if (run.ended) return false;
    text.resize(std::max(text.size(), run.rest.size() + block_bytes));
    std::memcpy(text.data(), run.rest.data(), run.rest.size());
    std::size_t held = run.rest.size();
    CsvSplit found;
    do {
        text.resize(std::max(text.size(), held + block_bytes / 2));
        const std::size_t room = text.size() - held;
        const std::size_t read = std::fread(text.data() + held, 1, room, run.in.stream);
        held += read;
        run.ended = read < room;
        split(found, {}, text.data(), held, run.ended);
    } while (found.whole == 0 && !run.ended);
    run.rest.assign(text.data() + found.whole, held - found.whole);
    bytes = found.whole;
    number = run.next_block++;
    return bytes > 0;
}

void mask_block(Run& run, Lane& lane, CsvBlock& block, bool locked)
{
    std::int32_t count = 0;
    while ((count = load(block, lane)) > 0) {
        std::unique_lock lock(run.engine, std::defer_lock);
        if (locked) lock.lock();
        require(mask(lane) == 0, "not masked");
        if (locked) lock.unlock();
        require(write(block, lane) == 0, "out of memory");
    }
    require(count == 0 && block.problem.fault == CsvFault::none, "not read");
}

void work(Run& run, const Service* service, bool locked)
{
    const std::vector<std::int32_t>& columns = service == nullptr ? all_kept : order;
    Lane lane;
    const LaneDefinition definition{service == nullptr ? 0 : service->handle,
                                    service == nullptr ? nullptr : const_cast<SVCA*>(&service->record),
                                    columns.data(),
                                    columns.size(),
                                    service == nullptr ? nullptr : service->sizes.data(),
                                    service == nullptr ? 0 : service->sizes.size(),
                                    nullptr,
                                    0};
    require(open(lane, definition), "no lane");
    CsvBlock block;
    Output output;
    std::vector<char> text;
    std::size_t bytes = 0;
    for (long number = 0; take(run, text, bytes, number);) {
        output.bytes = 0;
        require(begin(block, lane, {}, text.data(), bytes, LineEnd::lf, output), "out of memory");
        mask_block(run, lane, block, locked);
        std::unique_lock lock(run.writing);
        run.turn.wait(lock, [&] { return run.next_written == number; });
        run.out.write(output.memory.start, output.bytes);
        run.rows += block.row_count;
        ++run.next_written;
        run.turn.notify_all();
    }
    release(output.memory);
    close(block);
    close(lane);
}

void mask_file(const char* from, const char* to, const char* rules, std::size_t jobs, long rows)
{
    Run run(from, to);
    std::vector<std::unique_ptr<Service>> services;
    for (std::size_t i = 0; i < jobs && rules != nullptr; ++i)
        services.push_back(std::make_unique<Service>(rules));
    const bool locked = jobs > 1 && !engine_allows_threads();
    std::vector<std::thread> threads;
    for (std::size_t i = 1; i < jobs; ++i)
        threads.emplace_back(work, std::ref(run), services.empty() ? nullptr : services[i].get(), locked);
    work(run, services.empty() ? nullptr : services[0].get(), locked);
    for (std::thread& thread : threads) thread.join();
    require(run.rows == rows, "rows are lost");
}

struct Time {
    double cpu, wall;
};

template <typename Work> Time measure(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    const std::clock_t cpu = std::clock();
    work();
    return {static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC,
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count()};
}

double median(std::vector<Time> times, double Time::* part)
{
    std::sort(times.begin(), times.end(), [=](const Time& a, const Time& b) { return a.*part < b.*part; });
    return times[times.size() / 2].*part;
}

bool same_bytes(const char* a, const char* b)
{
    File first(a, "rb"), second(b, "rb");
    std::vector<char> one(block_bytes), two(block_bytes);
    for (;;) {
        const std::size_t bytes = std::fread(one.data(), 1, one.size(), first.stream);
        if (std::fread(two.data(), 1, two.size(), second.stream) != bytes) return false;
        if (std::memcmp(one.data(), two.data(), bytes) != 0) return false;
        if (bytes == 0) return true;
    }
}

struct Way {
    const char* name;
    const char* rules; // null: all kept
    std::size_t jobs;  // 0: only read and write
    std::vector<Time> times;
};

void run_all(long rows)
{
    const char* const in = "bulk_bench_in.csv";
    const char* const out = "bulk_bench_out.csv";
    make_input(in, rows);
    Way ways[] = {{"read and write alone", nullptr, 0, {}}, {"all keep", nullptr, 1, {}},
                  {"profile A", profile_a, 1, {}},          {"profile B", profile_b, 1, {}},
                  {"all keep, 2 jobs", nullptr, 2, {}},     {"profile A, 2 jobs", profile_a, 2, {}}};
    for (int turn = 0; turn < turns; ++turn) {
        for (Way& way : ways) {
            way.times.push_back(measure([&] {
                if (way.jobs == 0)
                    copy(in, out);
                else
                    mask_file(in, out, way.rules, way.jobs, rows);
            }));
            if (way.rules == nullptr) require(same_bytes(in, out), "what is kept is not the same");
        }
    }
    std::remove(in);
    std::remove(out);
    const double floor = median(ways[0].times, &Time::cpu);
    for (const Way& way : ways) {
        const double cpu = median(way.times, &Time::cpu);
        std::printf("%-22s %.3f s CPU  %.3f s wall  %5.2f times reading and writing\n", way.name, cpu,
                    median(way.times, &Time::wall), cpu / floor);
    }
    std::printf("the engine %s threads\n", engine_allows_threads() ? "allows" : "does not allow");
}

} // namespace
} // namespace velk::bulk::bench

int main(int count, char** arguments)
{
    const long rows = count > 1 ? std::atol(arguments[1]) : 1'000'000;
    velk::bulk::bench::require(count <= 2 && rows > 0, "usage: bulk_bench [ROWS]");
    velk::bulk::bench::run_all(rows);
}
