#pragma once

// What the engine's tests share: records as the bridge would build them, and the texts of failures.
//
//     Service service;
//     service.column("name", "classes");
//     service.operand(0, "key", "env:VELK_TEST_KEY");
//     Rows rows(1);
//     rows.add({u"Anna"});
//     const std::int32_t handle = start(service);
//     EXPECT_EQ(run(handle, service, rows), 0);
//     EXPECT_NE(rows.text(0, 0), u"Anna");

#include "engine/adapter.h"
#include "engine/datacnv.h"
#include "engine/parser.h"
#include "engine/provider.h"
#include "text/error_codes.h"

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace velk::test {

using namespace engine;
using Value = std::optional<std::u16string>;

// How the texts of a definition's records are held.
enum class Held { wide, utf8 };

class Service {
public:
    explicit Service(Held held = Held::wide) : held_(held) {}

    OPRA& operand(std::uint16_t id, const std::string& name, const std::string& value);
    FLDA& field(const std::string& name, std::int32_t length);

    // A column with its rule and, unless it is text, its type.
    void column(const std::string& name, const std::string& rule, const std::string& arguments = "",
                std::int32_t length = 0, const std::string& type = "");

    SVCA* record(); // chains what was added; its counts are right until a test changes them

    std::deque<OPRA> operands;
    std::deque<FLDA> fields;

private:
    TextBlock* text(const std::string& utf8, std::int32_t& size);

    Held held_;
    SVCA record_{};
    std::deque<std::u16string> wide_texts_;
    std::deque<std::string> utf8_texts_;
    std::deque<TextBlock> blocks_;
    std::deque<NameBlock> names_;
};

class Rows {
public:
    explicit Rows(std::size_t columns) : columns_(columns) {}

    // Buffers get the given number of units, filled behind the value, to show that the rest is zeroed.
    void add(const std::vector<Value>& values, std::size_t units = 64);

    RWST* record();

    DATA& field(std::size_t row, std::size_t column) { return fields_[row * columns_ + column]; }
    ROWD& row(std::size_t row) { return rows_[row]; }

    bool is_null(std::size_t row, std::size_t column) { return field(row, column).isNull != 0; }
    std::u16string text(std::size_t row, std::size_t column = 0); // up to the zero unit
    std::u16string buffer(std::size_t row, std::size_t column = 0);
    bool is_cleared(std::size_t row, std::size_t column);
    bool all_cleared();

private:
    std::size_t columns_;
    RWST record_{};
    std::deque<ROWD> rows_;
    std::deque<DATA> fields_;
    std::deque<std::u16string> buffers_;
};

struct Texts {
    std::u16string heading;
    std::u16string detail;
    std::u16string trailing;
};

// The texts of a code; all three must be there.
Texts texts_of(std::int32_t code);

// Notes that a test reached a code, and compares. At the end of a whole run every code must have been.
void expect_code(std::int32_t actual, ErrorCode expected);
void note_reached(std::int32_t code);
const std::set<std::int32_t>& reached_codes();

bool contains(const std::u16string& text, const std::u16string& part);

// The handle of a provider that starts; 0 and a failed test if it does not.
std::int32_t start(Service& service);
std::int32_t try_start(Service& service); // the code
std::int32_t run(std::int32_t handle, Service& service, Rows& rows);

// How a file is named to the engine.
std::string utf8(const std::filesystem::path& path);

void set_environment(const char* name, const char* value); // null: unset

inline constexpr char test_key[] = "0123456789abcdef";
inline constexpr char other_key[] = "fedcba9876543210";

// A started framework, with the test's keys in VELK_TEST_KEY and VELK_OTHER_KEY.
class FrameworkTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};

struct Outcome {
    Value text;
    std::int32_t error;
};

// One value through one rule, with a provider of its own.
Outcome mask(const std::string& rule, const std::string& arguments, const Value& value,
             const std::string& type = "", std::int32_t length = 0, const std::string& key = "VELK_TEST_KEY");

} // namespace velk::test
