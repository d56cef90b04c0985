#include "support.h"
#include "text/unicode.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace velk::test {
namespace {

// A framework definition over the operands of a service.
struct Framework {
    Service operands;
    FRPA record{{'F', 'R', 'P', 'A'}, 21, 24, 0, {}, nullptr};

    OPRA& add(const std::string& name, const std::string& value) { return operands.operand(0, name, value); }

    std::int32_t start()
    {
        const SVCA* chained = operands.record();
        record.operandCount = chained->operandCount;
        record.firstOperand = chained->firstOperand;
        return Provider_FrmwInit(&record);
    }
};

class FrameworkLife : public testing::Test {
protected:
    void SetUp() override
    {
        set_environment("VELK_TRACE", nullptr);
        set_environment("VELK_TRACE_FILE", nullptr);
        file_ = (std::filesystem::path(testing::TempDir()) / "velk_framework_test.json").string();
        std::filesystem::remove(file_);
    }

    void TearDown() override
    {
        SetUp();
        EXPECT_EQ(Provider_FrmwTerm(), framework_not_started) << "a test left the framework open";
    }

    // Starts, reports the mask that scopes get, and ends.
    std::uint32_t mask_of(Framework& framework)
    {
        EXPECT_EQ(framework.start(), 0);
        TraceContext context{};
        EXPECT_EQ(Provider_TraceBegin(&context, nullptr), 0);
        if (context.handle != 0) {
            EXPECT_EQ(Provider_TraceEnd(&context), 0);
        }
        EXPECT_EQ(Provider_FrmwTerm(), 0);
        return context.mask;
    }

    std::string file_;
};

TEST_F(FrameworkLife, starts_once_and_ends_once)
{
    expect_code(Provider_FrmwTerm(), framework_not_started);
    EXPECT_EQ(Provider_FrmwInit(nullptr), 0);
    expect_code(Provider_FrmwInit(nullptr), framework_already_started);
    EXPECT_EQ(Provider_FrmwTerm(), 0);
    expect_code(Provider_FrmwTerm(), framework_not_started);
    EXPECT_EQ(Provider_FrmwInit(nullptr), 0) << "a framework may start again";
    EXPECT_EQ(Provider_FrmwTerm(), 0);
}

TEST_F(FrameworkLife, does_not_end_while_providers_are_open)
{
    EXPECT_EQ(Provider_FrmwInit(nullptr), 0);
    Service service;
    service.column("name", "keep");
    const std::int32_t handle = start(service);
    expect_code(Provider_FrmwTerm(), providers_still_open);
    EXPECT_EQ(Provider_Term(handle), 0);
    EXPECT_EQ(Provider_FrmwTerm(), 0);
}

TEST_F(FrameworkLife, refuses_a_damaged_definition)
{
    for (int damage = 0; damage < 3; ++damage) {
        Framework framework;
        if (damage == 0) framework.record.eyeCatcher[3] = 'X';
        if (damage == 1) framework.record.version = 22;
        if (damage == 2) framework.record.length = 40;
        expect_code(framework.start(), framework_record_damaged);
    }
    Framework framework;
    framework.add("trace", "0");
    framework.record.firstOperand = framework.operands.record()->firstOperand;
    framework.record.operandCount = 2;
    expect_code(Provider_FrmwInit(&framework.record), framework_operand_count_differs);
    EXPECT_TRUE(contains(texts_of(framework_operand_count_differs).heading, u"\"2 and 1\""));
}

TEST_F(FrameworkLife, refuses_operands_that_it_does_not_know)
{
    Framework framework;
    framework.add("trase", "all");
    expect_code(framework.start(), framework_operand_unknown);
    EXPECT_TRUE(contains(texts_of(framework_operand_unknown).heading, u"\"trase\""));
    EXPECT_TRUE(contains(texts_of(framework_operand_unknown).trailing, u"Did you mean \"trace\"?"));
    Framework nameless;
    nameless.add("", "all");
    expect_code(nameless.start(), framework_operand_unknown);
    Framework twice;
    twice.add("trace", "0");
    twice.add("trace", "0");
    expect_code(twice.start(), framework_operand_repeated);
}

TEST_F(FrameworkLife, refuses_damaged_operands)
{
    Framework wrong_record;
    wrong_record.add("trace", "0").eyeCatcher[0] = 'X';
    expect_code(wrong_record.start(), operand_record_damaged);
    Framework no_block;
    no_block.add("trace", "0").PV.pWC = nullptr;
    expect_code(no_block.start(), operand_record_damaged);
    Framework negative;
    negative.add("trace", "0").nameSize = -2;
    expect_code(negative.start(), operand_record_damaged);
    TextBlock empty{};
    Framework no_text;
    no_text.add("trace", "0").PN.pWC = &empty;
    expect_code(no_text.start(), operand_record_damaged);
    Framework ill_formed;
    ill_formed.add("trace", "0").PV.pWC->pParamVal[0] = u'\xD800';
    expect_code(ill_formed.start(), operand_text_ill_formed);
}

TEST_F(FrameworkLife, reads_the_mask_as_words_or_a_number)
{
    struct Row {
        const char* text;
        std::uint32_t mask;
    };
    const Row rows[] = {{"all", 0x8C000000},
                        {"entry", 0x80000000},
                        {"data", 0x08000000},
                        {"message", 0x04000000},
                        {"entry, data", 0x88000000},
                        {"entry data\tmessage", 0x8C000000},
                        {"0x80000000", 0x80000000},
                        {"2147483648", 0x80000000},
                        {"0X8000000,message", 0x0C000000},
                        {"0", 0},
                        {"", 0}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        Framework framework;
        framework.add("trace", row.text);
        framework.add("trace_file", file_);
        EXPECT_EQ(mask_of(framework), row.mask);
    }
    for (const char* text : {"everything", "-1", "4294967296", "0x", "entry+data", "1x"}) {
        Framework framework;
        framework.add("trace", text);
        expect_code(framework.start(), trace_mask_unknown);
        EXPECT_TRUE(contains(texts_of(trace_mask_unknown).heading, to_utf16(text)));
    }
}

TEST_F(FrameworkLife, takes_the_mask_as_an_integer_as_well)
{
    Framework framework;
    OPRA& operand = framework.add("trace", "");
    operand.valueType = integer_value;
    operand.PV.integer = static_cast<std::int32_t>(0x88000000);
    framework.add("trace_file", file_);
    EXPECT_EQ(mask_of(framework), 0x88000000);
    Framework file;
    file.add("trace_file", "").valueType = integer_value;
    expect_code(file.start(), trace_file_not_text);
    Framework none;
    none.add("trace", "").valueType = 0;
    expect_code(none.start(), trace_file_not_text);
}

TEST_F(FrameworkLife, reads_operands_in_utf8_as_well)
{
    Framework framework{Service(Held::utf8)};
    framework.add("trace", "data");
    framework.add("trace_file", file_);
    EXPECT_EQ(mask_of(framework), 0x08000000u);
}

TEST_F(FrameworkLife, falls_back_on_the_environment)
{
    set_environment("VELK_TRACE", "data");
    set_environment("VELK_TRACE_FILE", file_.c_str());
    Framework unsaid;
    EXPECT_EQ(mask_of(unsaid), 0x08000000u);
    EXPECT_TRUE(std::filesystem::exists(file_));
    Framework said;
    said.add("trace", "entry");
    EXPECT_EQ(mask_of(said), 0x80000000u) << "an operand goes before the environment";
    Framework off;
    off.add("trace", "0");
    EXPECT_EQ(mask_of(off), 0u);
    Framework empty;
    empty.add("trace", "");
    EXPECT_EQ(mask_of(empty), 0u) << "what is said to be nothing is said";
    set_environment("VELK_TRACE", "nonsense");
    expect_code(Provider_FrmwInit(nullptr), trace_mask_unknown);
}

TEST_F(FrameworkLife, writes_a_trace_without_a_file_into_the_working_directory)
{
    const std::filesystem::path before = std::filesystem::current_path();
    const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / "velk_trace_folder";
    std::filesystem::create_directories(folder);
    std::filesystem::current_path(folder);
    std::filesystem::remove("velk-trace.json");
    Framework framework;
    framework.add("trace", "all");
    EXPECT_EQ(mask_of(framework), 0x8C000000u);
    EXPECT_TRUE(std::filesystem::exists("velk-trace.json"));
    std::filesystem::current_path(before);
    std::filesystem::remove_all(folder);
}

TEST_F(FrameworkLife, a_file_without_a_mask_traces_nothing)
{
    Framework framework;
    framework.add("trace_file", file_);
    EXPECT_EQ(mask_of(framework), 0u);
    EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(FrameworkLife, does_not_start_when_the_trace_file_cannot_be_opened)
{
    Framework framework;
    framework.add("trace", "all");
    framework.add("trace_file", "/no such folder/trace.json");
    expect_code(framework.start(), trace_file_not_opened);
    EXPECT_TRUE(contains(texts_of(trace_file_not_opened).heading, u"/no such folder/trace.json"));
    EXPECT_EQ(Provider_FrmwTerm(), framework_not_started);
}

TEST_F(FrameworkLife, ends_at_the_second_call_when_the_trace_could_not_be_written)
{
    if (std::FILE* full = std::fopen("/dev/full", "wb"))
        std::fclose(full);
    else
        GTEST_SKIP() << "no file that refuses what is written";
    Framework framework;
    framework.add("trace", "all");
    framework.add("trace_file", "/dev/full");
    EXPECT_EQ(framework.start(), 0);
    expect_code(Provider_FrmwTerm(), trace_file_not_written);
    expect_code(Provider_FrmwInit(nullptr), framework_already_started);
    TraceContext context{};
    EXPECT_EQ(Provider_TraceBegin(&context, nullptr), 0);
    EXPECT_EQ(context.handle, 0u) << "the trace is given up";
    EXPECT_EQ(Provider_FrmwTerm(), 0);
    EXPECT_EQ(Provider_FrmwInit(nullptr), 0) << "it has ended";
    EXPECT_EQ(Provider_FrmwTerm(), 0);
}

} // namespace
} // namespace velk::test
