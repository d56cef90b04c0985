// The path of a value, which every value of every row takes twice, against straightforward code that does
// the same in the same run: only the ratio of the two says something on any machine.

#include "bridge/natives.h"
#include "frame/text16.h"
#include "minimal_jvm.h"
#include "plain_field.h"
#include "records/rowdata.h"

#include <benchmark/benchmark.h>
#include <cstring>
#include <string>

namespace velk::bench {

namespace {

using Native = jint(JNIEnv*, jobject);

std::u16string units_of_text(std::size_t length)
{
    std::u16string text;
    for (std::size_t i = 0; i < length; ++i) text += static_cast<char16_t>(u'a' + i % 26);
    return text;
}

// A field whose record and buffer are made, sized as for a column of as many characters.
class Value {
public:
    explicit Value(std::int64_t units) : text(units_of_text(static_cast<std::size_t>(units)))
    {
        string = {text.data(), static_cast<jsize>(text.size())};
        field.id = wide_text_type;
        field.sourceSize = static_cast<jint>(4 * units + 4);
        field.source = &string;
        Java_com_brel_sorn_velk_Field_toC(env(), object(field));
    }
    ~Value() { Java_com_brel_sorn_velk_Field_free(env(), object(field)); }
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;

    // What a native leaves in a buffer that was full of something else.
    std::u16string buffer_after(Native native)
    {
        auto* record = reinterpret_cast<DATA*>(field.pointer);
        std::memset(record->buffer, 0xAA, static_cast<std::size_t>(record->bufferSize));
        native(env(), object(field));
        return {static_cast<char16_t*>(record->buffer), static_cast<std::size_t>(record->bufferSize) / 2};
    }
    std::u16string string_after(Native native)
    {
        native(env(), object(field));
        return last_string();
    }

    std::u16string text;
    String string;
    Field field;
};

template <Native native> void measure_toC(benchmark::State& state)
{
    Value value(state.range(0));
    std::u16string expected = value.text;
    expected.resize(static_cast<std::size_t>(value.field.sourceSize) / 2);
    if (value.buffer_after(native) != expected) state.SkipWithError("the buffer holds something else");
    for (auto _ : state) {
        benchmark::DoNotOptimize(native(env(), object(value.field)));
        benchmark::ClobberMemory();
    }
}

template <Native native> void measure_toJava(benchmark::State& state)
{
    Value value(state.range(0));
    if (value.string_after(native) != value.text) state.SkipWithError("the string is another");
    for (auto _ : state) {
        benchmark::DoNotOptimize(native(env(), object(value.field)));
        benchmark::ClobberMemory();
    }
}

template <std::size_t (*length)(const char16_t*, std::size_t)> void measure_length(benchmark::State& state)
{
    const std::u16string text = units_of_text(static_cast<std::size_t>(state.range(0)));
    const char16_t* start = text.c_str();
    if (length(start, text.size() + 1) != text.size()) state.SkipWithError("the length is another");
    for (auto _ : state) {
        benchmark::DoNotOptimize(start);
        benchmark::DoNotOptimize(length(start, text.size() + 1));
    }
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgName("units")->Arg(8)->Arg(64)->Arg(1000);
}

BENCHMARK(measure_toC<Java_com_brel_sorn_velk_Field_toC>)->Name("Field.toC")->Apply(sizes);
BENCHMARK(measure_toC<plain_toC>)->Name("plain Field.toC")->Apply(sizes);
BENCHMARK(measure_toJava<Java_com_brel_sorn_velk_Field_toJava>)->Name("Field.toJava")->Apply(sizes);
BENCHMARK(measure_toJava<plain_toJava>)->Name("plain Field.toJava")->Apply(sizes);
BENCHMARK(measure_length<text16::length>)->Name("text16::length")->Apply(sizes);
BENCHMARK(measure_length<plain_length>)->Name("plain text16::length")->Apply(sizes);

} // namespace
} // namespace velk::bench

int main(int count, char** arguments)
{
    Java_com_brel_sorn_velk_VELK_init0(velk::bench::env(), nullptr);
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
}
