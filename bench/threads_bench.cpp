// How much more two threads with a provider each mask than one, and what a row costs that is masked by
// itself.

#include "engine/provider.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

namespace velk::bench {

namespace {

using Seconds = std::chrono::duration<double>;

constexpr std::size_t column_count = 8;
constexpr std::size_t rounds = 9;

void require(std::int32_t code)
{
    if (code == 0) return;
    std::fprintf(stderr, "the engine failed with %d\n", code);
    std::exit(1);
}

template <typename Record> void set_header(Record& record, const char (&eye_catcher)[5])
{
    std::memcpy(record.eyeCatcher, eye_catcher, 4);
    record.version = record_version;
    record.length = sizeof(Record);
}

// A text block that points at a text in UTF-8.
TextBlock block_of(std::string& text)
{
    TextBlock block{};
    block.utf8Text = text.data();
    return block;
}

// A service of hashed columns.
class Service {
public:
    Service()
    {
        set_header(service_, "SVCA");
        add_operand(0, key_, source_);
        for (std::size_t i = 0; i < column_count; ++i) add_column(i);
    }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    SVCA* record() { return &service_; }

private:
    void add_operand(std::size_t id, TextBlock& name, TextBlock& text)
    {
        OPRA& operand = operands_[id];
        set_header(operand, "OPRA");
        operand.parameterId = static_cast<std::uint16_t>(id);
        operand.nameType = utf8_name;
        operand.nameSize = static_cast<std::int32_t>(std::strlen(name.utf8Text));
        operand.PN.pWC = &name;
        operand.valueType = utf8_value;
        operand.valueSize = static_cast<std::int32_t>(std::strlen(text.utf8Text));
        operand.PV.pWC = &text;
        (id == 0 ? service_.firstOperand : operands_[id - 1].next) = &operand;
        ++service_.operandCount;
    }

    void add_column(std::size_t index)
    {
        add_operand(index + 1, rule_, arguments_);
        FLDA& field = fields_[index];
        set_header(field, "FLDA");
        field.dataType = wide_text_type;
        field.fieldLength = 12;
        field.nameEncoding = utf8_name;
        field.nameSize = static_cast<std::int32_t>(name_text_.size());
        field.nameBlock = &name_;
        (index == 0 ? service_.firstField : fields_[index - 1].next) = &field;
        ++service_.fieldCount;
    }

    std::string key_text_ = "key";
    std::string source_text_ = "env:VELK_BENCH_KEY";
    std::string rule_text_ = "hash";
    std::string arguments_text_ = "length=12";
    std::string name_text_ = "column";
    TextBlock key_ = block_of(key_text_);
    TextBlock source_ = block_of(source_text_);
    TextBlock rule_ = block_of(rule_text_);
    TextBlock arguments_ = block_of(arguments_text_);
    NameBlock name_{nullptr, name_text_.data()};
    SVCA service_{};
    OPRA operands_[column_count + 1]{};
    FLDA fields_[column_count]{};
};

// A row set whose values are put back before each call.
class Rows {
public:
    explicit Rows(std::size_t count)
        : rows_(count), fields_(count * column_count), buffers_(fields_.size() * units)
    {
        set_header(set_, "RWST");
        set_.rowCount = static_cast<std::int32_t>(count);
        set_.firstRow = rows_.data();
        for (std::size_t i = 0; i < fields_.size(); ++i) add_field(i);
        values_ = buffers_;
    }

    RWST* refilled()
    {
        std::copy(values_.begin(), values_.end(), buffers_.begin());
        return &set_;
    }

private:
    static constexpr std::size_t units = 32;

    void add_field(std::size_t index)
    {
        ROWD& row = rows_[index / column_count];
        const bool is_first = index % column_count == 0;
        if (is_first) {
            set_header(row, "ROWD");
            row.fieldCount = column_count;
            row.firstField = &fields_[index];
            if (index > 0) rows_[index / column_count - 1].next = &row;
        } else {
            fields_[index - 1].next = &fields_[index];
        }
        DATA& field = fields_[index];
        set_header(field, "DATA");
        field.buffer = &buffers_[index * units];
        field.bufferSize = units * sizeof(char16_t);
        const std::string value = "a value, " + std::to_string(1'000'000 + index);
        std::copy(value.begin(), value.end(), &buffers_[index * units]);
    }

    RWST set_{};
    std::vector<ROWD> rows_;
    std::vector<DATA> fields_;
    std::vector<char16_t> buffers_;
    std::vector<char16_t> values_;
};

// Masks so many row sets with a provider of its own.
class Worker {
public:
    explicit Worker(std::size_t rows) : rows_(rows)
    {
        require(Provider_Init(&handle_, "bench", 5, service_.record(), 0));
    }
    ~Worker() { require(Provider_Term(handle_)); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void work(std::size_t calls)
    {
        for (std::size_t i = 0; i < calls; ++i)
            require(Provider_Service(handle_, provider_service_request, service_.record(), rows_.refilled()));
    }

private:
    Service service_;
    Rows rows_;
    std::int32_t handle_ = 0;
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
    constexpr std::size_t calls = 100;
    Worker one(1000);
    Worker other(1000);
    const Cost threads = median_ratios(
        [&] {
            std::thread second([&] { other.work(calls); });
            one.work(calls);
            second.join();
        },
        [&] { one.work(calls); });
    std::printf(
        "two threads             mask %.2f times as much as one, at %.2f times its processor time a value\n",
        2 / threads.seconds, threads.processor_seconds / 2);
    Worker row(1);
    const Cost calls_of_one = median_ratios([&] { row.work(100 * calls); }, [&] { one.work(calls / 10); });
    std::printf("a call of one row       costs %.2f times what a row of a thousand does\n",
                calls_of_one.processor_seconds);
}

} // namespace

} // namespace velk::bench

int main()
{
#if defined(_WIN32)
    _putenv_s("VELK_BENCH_KEY", "a key for measuring alone");
#else
    setenv("VELK_BENCH_KEY", "a key for measuring alone", 1);
#endif
    velk::bench::require(velk::Provider_FrmwInit(nullptr));
    velk::bench::measure();
    velk::bench::require(velk::Provider_FrmwTerm());
}
