// Operations on several threads at once. Run under the thread sanitizer as well.

#include "masking_string.h"
#include "provider/state.h"
#include "provider/threads.h"
#include "support.h"
#include "text/unicode.h"

#include <nlohmann/json.hpp>

#include <atomic>
#include <bit>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

namespace velk::test {
namespace {

constexpr std::size_t thread_count = 4;

// Runs the work, given its number, on several threads that start together.
template <typename Work> void on_threads(std::size_t count, Work work)
{
    std::atomic<std::size_t> waiting{count};
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < count; ++number) {
        threads.emplace_back([&, number] {
            --waiting;
            while (waiting != 0) std::this_thread::yield();
            work(number);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

class Threads : public FrameworkTest {
protected:
    // Every function that one value of its column shows.
    static Service every_function(std::size_t number)
    {
        Service service;
        service.operand(0, "key", number % 2 == 0 ? "env:VELK_TEST_KEY" : "env:VELK_OTHER_KEY");
        service.column("keep", "keep");
        service.column("partial", "partial", "keep_first=1");
        service.column("classes", "classes");
        service.column("hash", "hash", "", 32);
        service.column("card", "card", "keep_first=6");
        service.column("email", "email", "", 100);
        service.column("dict", "dict", "list=first_names", 40);
        service.column("dateshift", "dateshift", "days=30", 10, "date");
        service.column("noise", "noise", "percent=10", 20, "integer");
        service.column("ff1", "ff1");
        return service;
    }

    static Rows values(std::size_t number, std::size_t rows = 20)
    {
        Rows filled(10);
        for (std::size_t i = 0; i < rows; ++i) {
            const std::u16string text = to_utf16(std::to_string(1'000'000 + 1000 * number + i));
            filled.add({text, text, u"Zoë " + text, text, u"4012888888" + text.substr(1),
                        text + u"@example.org", text, u"2024-02-29", text, text + text},
                       210);
        }
        return filled;
    }

    static std::vector<std::u16string> texts_in(Rows& rows, std::size_t count = 20)
    {
        std::vector<std::u16string> texts;
        for (std::size_t i = 0; i < count * 10; ++i) texts.push_back(rows.text(i / 10, i % 10));
        return texts;
    }

    static std::vector<std::u16string> masked(std::int32_t handle, Service& service, std::size_t number)
    {
        Rows rows = values(number);
        EXPECT_EQ(run(handle, service, rows), 0);
        return texts_in(rows);
    }

    // What each thread must get, from one thread alone.
    static std::vector<std::vector<std::u16string>> expected(std::size_t count = thread_count)
    {
        std::vector<std::vector<std::u16string>> results;
        for (std::size_t number = 0; number < count; ++number) {
            Service service = every_function(number);
            const std::int32_t handle = start(service);
            results.push_back(masked(handle, service, number));
            EXPECT_EQ(Provider_Term(handle), 0);
        }
        EXPECT_NE(results[0], results[1]);
        return results;
    }
};

TEST_F(Threads, are_allowed)
{
    EXPECT_EQ(Provider_AllowsThreads(), 1);
}

TEST_F(Threads, with_providers_of_their_own_mask_as_one_thread_does)
{
    const auto one_by_one = expected();
    on_threads(thread_count, [&](std::size_t number) {
        for (int round = 0; round < 10; ++round) {
            Service service = every_function(number);
            const std::int32_t handle = start(service);
            for (int call = 0; call < 5; ++call)
                EXPECT_EQ(masked(handle, service, number), one_by_one[number]);
            EXPECT_EQ(Provider_Term(handle), 0);
        }
    });
    EXPECT_TRUE(state().providers.empty());
}

TEST_F(Threads, on_one_provider_take_turns)
{
    Service service = every_function(0);
    const std::int32_t handle = start(service);
    std::vector<std::vector<std::u16string>> one_by_one;
    for (std::size_t number = 0; number < thread_count; ++number)
        one_by_one.push_back(masked(handle, service, number));
    on_threads(thread_count, [&](std::size_t number) {
        Service own = every_function(0);
        for (int call = 0; call < 20; ++call) EXPECT_EQ(masked(handle, own, number), one_by_one[number]);
    });
}

TEST_F(Threads, have_failures_of_their_own)
{
    on_threads(thread_count, [](std::size_t number) {
        const auto handle = static_cast<std::int32_t>(1'000'000 + number);
        for (int round = 0; round < 200; ++round) {
            EXPECT_EQ(Provider_Term(handle), provider_unknown);
            std::this_thread::yield();
            EXPECT_TRUE(contains(texts_of(provider_unknown).heading, to_utf16(std::to_string(handle))));
        }
    });
    EXPECT_FALSE(contains(texts_of(provider_unknown).heading, u"\""))
        << "another thread's failure is none of this one's";
}

TEST_F(Threads, parse_at_the_same_time)
{
    on_threads(thread_count, [](std::size_t number) {
        const std::string name = "column" + std::to_string(number);
        const std::string text = "service=people key=env:VELK_TEST_KEY " + name + "=hash(length=12)";
        for (int round = 0; round < 50; ++round) {
            Parsed parsed(text);
            ASSERT_EQ(parsed.code, 0) << parsed.message;
            EXPECT_EQ(parsed.fields(), (std::vector<FieldText>{{name, 12}}));
            std::int32_t handle = 0;
            EXPECT_EQ(Provider_Init(&handle, "people", 6, &parsed.service, 1), 0);
            Rows rows(1);
            rows.add({u"Anna"});
            EXPECT_EQ(Provider_Service(handle, provider_service_request, &parsed.service, rows.record()), 0);
            EXPECT_EQ(rows.text(0).size(), 12u);
            EXPECT_EQ(Provider_Term(handle), 0);
        }
    });
}

// A call that waits for its turn on a provider until the test lets it go.
class CallUnderWay : public Threads {
protected:
    void SetUp() override
    {
        Threads::SetUp();
        service_.column("name", "fixed", "'masked'", 6);
        rows_.add({u"Anna"});
        handle_ = start(service_);
        std::shared_ptr<OpenProvider> provider = state().providers.at(handle_);
        turn_ = std::unique_lock(provider->mutex);
        SVCA* definition = service_.record();
        RWST* rows = rows_.record();
        call_ = std::thread([this, definition, rows] {
            code_ = Provider_Service(handle_, provider_service_request, definition, rows);
        });
        provider.reset();
        wait_until([] { return state().calls == 1; });
        wait_until(
            [this] { return state().providers.at(handle_).use_count() == 2; }); // it has found its provider
    }

    template <typename Holds> static void wait_until(Holds holds)
    {
        while (true) {
            const std::lock_guard lock(state().mutex);
            if (holds()) return;
            std::this_thread::yield();
        }
    }

    void let_go()
    {
        turn_.unlock();
        call_.join();
        EXPECT_EQ(code_, 0);
        EXPECT_EQ(rows_.text(0), u"masked");
    }

    Service service_;
    Rows rows_{1};
    std::int32_t handle_ = 0;
    std::int32_t code_ = -1;
    std::unique_lock<std::mutex> turn_;
    std::thread call_;
};

TEST_F(CallUnderWay, keeps_a_provider_that_is_ended_meanwhile)
{
    EXPECT_EQ(Provider_Term(handle_), 0);
    EXPECT_EQ(Provider_Term(handle_), provider_unknown);
    Rows rows(1);
    rows.add({u"Berta"});
    EXPECT_EQ(run(handle_, service_, rows), provider_unknown) << "no other call begins on it";
    EXPECT_TRUE(rows.all_cleared());
    let_go();
}

TEST_F(CallUnderWay, is_waited_for_by_the_end_of_the_framework)
{
    EXPECT_EQ(Provider_FrmwTerm(), providers_still_open);
    EXPECT_EQ(Provider_Term(handle_), 0);
    std::atomic<bool> has_ended{false};
    std::thread end([&] {
        EXPECT_EQ(Provider_FrmwTerm(), 0);
        has_ended = true;
    });
    wait_until([] { return state().life == Life::ending; });
    Service service;
    service.column("name", "keep");
    EXPECT_EQ(try_start(service), framework_not_started) << "no other call begins";
    EXPECT_EQ(Provider_FrmwTerm(), framework_not_started);
    EXPECT_EQ(Provider_FrmwInit(nullptr), framework_already_started);
    EXPECT_FALSE(has_ended);
    let_go();
    end.join();
    EXPECT_EQ(Provider_FrmwInit(nullptr), 0) << "what TearDown ends";
}

// Frameworks that come and go under working threads: every call does its work or is refused.
TEST(FrameworkThreads, come_and_go)
{
    set_environment("VELK_TEST_KEY", test_key);
    std::atomic<int> worked{0};
    std::atomic<bool> done{false};
    std::thread framework([&] {
        while (worked < 50) {
            const std::int32_t started = Provider_FrmwInit(nullptr);
            EXPECT_EQ(started, 0);
            while (Provider_FrmwTerm() == providers_still_open) std::this_thread::yield();
        }
        done = true;
    });
    on_threads(2, [&](std::size_t) {
        while (!done) {
            Service service;
            service.operand(0, "key", "env:VELK_TEST_KEY");
            service.column("name", "hash", "length=12", 12);
            Rows rows(1);
            rows.add({u"Anna"});
            std::int32_t handle = 0;
            if (Provider_Init(&handle, "people", 6, service.record(), 1) != 0) continue;
            EXPECT_EQ(run(handle, service, rows), 0) << "an open provider holds the framework";
            EXPECT_EQ(rows.text(0).size(), 12u);
            EXPECT_EQ(Provider_Term(handle), 0);
            ++worked;
        }
    });
    framework.join();
}

using nlohmann::json;

class TraceThreads : public testing::Test {
protected:
    void SetUp() override
    {
        file_ = std::filesystem::path(testing::TempDir()) / "velk_trace_threads_test.json";
        set_environment("VELK_TRACE", "all");
        set_environment("VELK_TRACE_FILE", utf8(file_).c_str());
        EXPECT_EQ(Provider_FrmwInit(nullptr), 0);
    }

    void TearDown() override
    {
        set_environment("VELK_TRACE", nullptr);
        set_environment("VELK_TRACE_FILE", nullptr);
        std::filesystem::remove(file_);
    }

    static TraceContext begin()
    {
        static TraceBlock block{};
        TraceContext context{};
        context.function = 0xC0814;
        EXPECT_EQ(Provider_TraceRegister(context.function, &block, 0), 0);
        EXPECT_EQ(Provider_TraceBegin(&context, &block), 0);
        return context;
    }

    static std::int32_t write(const TraceContext& context, std::uint32_t event, std::uint32_t line,
                              const char* text)
    {
        TraceRecord& record = *context.record;
        record = {};
        record.event = event;
        record.line = line;
        record.flags = trace_flag_line | trace_flag_value1 | trace_flag_label1;
        record.items[0] = {static_cast<std::uint32_t>(std::strlen(text)),
                           trace_type_narrow | trace_string_mark, std::bit_cast<std::uint64_t>(text)};
        std::strcpy(record.labels[0], "whose");
        return Provider_TraceWrite(&record);
    }

    std::vector<json> events() const
    {
        std::ifstream file(file_, std::ios::binary);
        return json::parse(file).get<std::vector<json>>();
    }

    std::filesystem::path file_;
};

TEST_F(TraceThreads, write_whole_events_in_spans_of_their_own)
{
    constexpr std::uint32_t rounds = 100;
    on_threads(thread_count, [](std::size_t number) {
        const std::string name = "thread " + std::to_string(number);
        for (std::uint32_t round = 0; round < rounds; ++round) {
            const TraceContext outer = begin();
            EXPECT_EQ(write(outer, trace_event_entry, 4 * round, name.c_str()), 0);
            TraceContext inner = begin();
            EXPECT_NE(inner.record, outer.record);
            EXPECT_EQ(write(inner, trace_event_entry, 4 * round + 1, name.c_str()), 0);
            EXPECT_EQ(write(inner, trace_event_exit, 4 * round + 2, name.c_str()), 0);
            EXPECT_EQ(Provider_TraceEnd(&inner), 0);
            EXPECT_EQ(write(outer, trace_event_exit, 4 * round + 3, name.c_str()), 0);
            TraceContext ended = outer;
            EXPECT_EQ(Provider_TraceEnd(&ended), 0);
        }
    });
    EXPECT_EQ(Provider_FrmwTerm(), 0);
    std::map<int, std::vector<json>> by_thread;
    for (const json& event : events()) by_thread[event["tid"].get<int>()].push_back(event);
    ASSERT_EQ(by_thread.size(), thread_count);
    for (const auto& [thread, own] : by_thread) {
        ASSERT_EQ(own.size(), 4 * rounds);
        for (std::uint32_t line = 0; line < own.size(); ++line) {
            EXPECT_EQ(own[line]["args"]["line"], line);
            EXPECT_EQ(own[line]["args"]["whose"], own[0]["args"]["whose"]);
            EXPECT_EQ(own[line]["ph"], line % 4 < 2 ? "B" : "E");
        }
    }
}

TEST_F(TraceThreads, keep_the_record_that_they_were_lent_beyond_the_framework)
{
    std::atomic<int> step{0};
    const auto wait_for = [&](int number) {
        while (step != number) std::this_thread::yield();
    };
    TraceContext held{};
    std::thread other([&] {
        held = begin();
        EXPECT_EQ(write(held, trace_event_entry, 1, "other"), 0);
        step = 1;
        wait_for(2);
        EXPECT_EQ(write(held, trace_event_data, 2, "other"), trace_scope_unknown) << "its trace has ended";
        step = 3;
        wait_for(4);
        EXPECT_EQ(Provider_TraceEnd(&held), trace_scope_unknown);
        EXPECT_EQ(Provider_TraceEnd(&held), trace_scope_unknown);
        step = 5;
    });
    wait_for(1);
    EXPECT_EQ(Provider_FrmwTerm(), 0);
    EXPECT_EQ(events().size(), 2u) << "its span was closed";
    EXPECT_EQ(Provider_FrmwInit(nullptr), 0);
    TraceContext first = begin();
    EXPECT_NE(first.record, held.record) << "the other thread may still write into it";
    step = 2;
    wait_for(3);
    step = 4;
    wait_for(5);
    other.join();
    TraceContext second = begin();
    EXPECT_EQ(second.record, held.record) << "given back, it is used again";
    EXPECT_EQ(Provider_TraceEnd(&second), 0);
    EXPECT_EQ(Provider_TraceEnd(&first), 0);
    EXPECT_EQ(Provider_FrmwTerm(), 0);
    EXPECT_EQ(events().size(), 0u);
}

TEST_F(TraceThreads, do_not_hold_up_the_end_of_the_framework)
{
    std::atomic<bool> done{false};
    std::thread tracing([&] {
        while (!done) {
            TraceContext context = begin();
            if (context.handle == 0) continue;
            write(context, trace_event_entry, 1, "tracing");
            Provider_TraceEnd(&context);
        }
    });
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(Provider_FrmwTerm(), 0);
        for (const json& event : events()) EXPECT_EQ(event["name"], "RowSet.toC");
        EXPECT_EQ(Provider_FrmwInit(nullptr), 0);
        std::this_thread::yield();
    }
    EXPECT_EQ(Provider_FrmwTerm(), 0);
    done = true;
    tracing.join();
}

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
// A sanitizer that is silent would prove nothing.
TEST(ThreadSanitizer, notices_a_planted_race)
{
    const auto race = [] {
        int shared = 0;
        on_threads(2, [&](std::size_t) { ++shared; });
        std::exit(0);
    };
    EXPECT_EXIT(race(), testing::ExitedWithCode(66), "data race");
}
#endif
#endif

} // namespace
} // namespace velk::test
