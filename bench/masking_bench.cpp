// What each masking function costs, against the bare keyed hash of the same values in the same run: only the
// ratio of the two says something on any machine.

#include "engine_call.h"
#include "masking/keyed.h"
#include "masking/masks.h"
#include "text/unicode.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <random>
#include <string>
#include <vector>

namespace velk::bench {

namespace {

using namespace engine;

constexpr std::size_t batch_size = 1000;

const HmacKey& service_key()
{
    static const HmacKey key(std::span(reinterpret_cast<const std::uint8_t*>("0123456789abcdef"), 16));
    return key;
}

// One value from its number; all have 12 to 20 characters.
using Make = std::u16string (*)(std::mt19937& random);

std::u16string drawn(std::mt19937& random, std::u16string_view characters, std::size_t count)
{
    std::u16string text;
    while (text.size() < count) text += characters[random() % characters.size()];
    return text;
}

std::u16string word(std::mt19937& random, std::size_t from, std::size_t to)
{
    return drawn(random, u"ABCDEFGHIJKLMNOPQRSTUVWXYZ", 1) +
           drawn(random, u"abcdefghijklmnopqrstuvwxyz", from - 1 + random() % (to - from + 1));
}

std::u16string digits(std::mt19937& random, std::size_t count)
{
    return drawn(random, u"123456789", 1) + drawn(random, u"0123456789", count - 1);
}

std::u16string name(std::mt19937& random)
{
    return word(random, 5, 9) + u" " + word(random, 6, 10);
}

std::u16string greek_name(std::mt19937& random)
{
    constexpr std::u16string_view letters = u"αβγδεζηθικλμνξοπρστυφχψω";
    return drawn(random, u"ΑΒΓΔΕΖΗΘ", 1) + drawn(random, letters, 5) + u" " + drawn(random, letters, 8);
}

std::u16string address(std::mt19937& random)
{
    return drawn(random, u"abcdefghijklmnopqrstuvwxyz", 4 + random() % 5) + u"@" +
           drawn(random, u"abcdefghijklmnopqrstuvwxyz", 4 + random() % 4) + u".org";
}

std::u16string amount(std::mt19937& random)
{
    return digits(random, 9 + random() % 8) + u"." + digits(random, 2);
}

std::u16string moment(std::mt19937& random)
{
    const auto two = [&](unsigned from, unsigned count) {
        const unsigned number = from + static_cast<unsigned>(random() % count);
        return to_utf16(std::to_string(number / 10) + std::to_string(number % 10));
    };
    return u"19" + two(10, 90) + u"-" + two(1, 12) + u"-" + two(1, 28) + u" " + two(0, 24) + u":" +
           two(0, 60) + u":" + two(0, 60);
}

std::u16string account(std::mt19937& random)
{
    return digits(random, 12 + random() % 9);
}

std::u16string card_number(std::mt19937& random)
{
    return digits(random, 13 + random() % 7);
}

struct Case {
    const char* function;
    const char* arguments;
    const char* type;
    Make make;
    const char* values = ""; // what they are, where that is not what the function is for
};

constexpr Case cases[] = {
    {"keep", "", "text", name},
    {"null", "", "text", name},
    {"fixed", "'gone'", "text", name},
    {"partial", "keep_first=1, keep_last=4", "text", name},
    {"classes", "", "text", name},
    {"classes", "", "text", greek_name, "Greek"},
    {"classes", "", "text", account, "numbers"},
    {"hash", "", "text", name},
    {"email", "", "text", address},
    {"dict", "list=last_names", "text", name},
    {"dateshift", "days=30", "timestamp", moment},
    {"noise", "percent=10", "decimal(18,2)", amount},
    {"ff1", "", "text", account},
    {"card", "keep_first=6", "text", card_number},
};

std::string name_of(const Case& said)
{
    return std::string(said.function) + (*said.values == 0 ? "" : std::string(", ") + said.values);
}

struct Column {
    explicit Column(Make make)
    {
        std::mt19937 random(1);
        for (std::size_t i = 0; i < batch_size; ++i) texts.push_back(make(random));
        values.assign(texts.begin(), texts.end());
    }

    std::vector<std::u16string> texts;
    std::vector<std::u16string_view> values;
};

void per_value(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(batch_size));
}

Rule rule_of(const Case& said)
{
    return read_rule(said.function, said.arguments, parse_type(said.type));
}

void mask_column(benchmark::State& state, const Case& said)
{
    const Column column(said.make);
    const Mask mask = make_mask(rule_of(said), &service_key());
    Results checked;
    mask({column.values}, checked);
    for (const Result& result : checked.list)
        if (result.error != 0) return state.SkipWithError("a value was not masked");
    for (auto _ : state) {
        Results results;
        mask({column.values}, results);
        benchmark::DoNotOptimize(results.text.data());
    }
    per_value(state);
}

// Whole calls of the engine, with what it does to read the records and to write them. The values are laid out
// anew each time, which is not measured.
void call_engine(benchmark::State& state, const Case& said)
{
    const Column column(said.make);
    const std::size_t length = std::max<std::size_t>(longest_result(rule_of(said)), 29);
    const Framework framework;
    EngineCall call(said.function, said.arguments, said.type, length, column.values);
    for (auto _ : state) {
        state.PauseTiming();
        call.lay_out_values();
        state.ResumeTiming();
        if (!call.mask()) return state.SkipWithError("a value was not masked");
    }
    per_value(state);
}

// The hash alone, of values that stand there in UTF-8.
void hash_column(benchmark::State& state, const Case& said)
{
    std::vector<std::string> texts;
    for (const std::u16string& text : Column(said.make).texts) texts.push_back(to_utf8(text));
    const auto key = derive_key(service_key(), said.function, said.function);
    for (auto _ : state)
        for (const std::string& text : texts) {
            const Digest digest =
                key->digest({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
            benchmark::DoNotOptimize(digest.data());
        }
    per_value(state);
}

const bool registered = [] {
    for (const Case& said : cases) {
        if (make_mask(rule_of(said), &service_key()))
            benchmark::RegisterBenchmark(name_of(said).c_str(), mask_column, said);
        benchmark::RegisterBenchmark(("call of " + name_of(said)).c_str(), call_engine, said);
        benchmark::RegisterBenchmark(("hmac of " + name_of(said)).c_str(), hash_column, said);
    }
    return true;
}();

} // namespace

} // namespace velk::bench

BENCHMARK_MAIN();
