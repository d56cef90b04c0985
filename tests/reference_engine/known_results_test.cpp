// What every masking function makes of given values, worked out by a program of its own: vectors/README.md
// says how. Whoever changes a result here changes it for everyone who has masked data.

#include "masking/rules.h"
#include "masking_string.h"
#include "support.h"
#include "text/unicode.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>

namespace velk::test {
namespace {

using nlohmann::json;

#include "known_results.inc" // a line a case

constexpr char key_variable[] = "VELK_KNOWN_RESULTS_KEY";

std::string quoted(const std::string& text)
{
    std::string result = "'";
    for (const char byte : text) result.append(byte == '\'' ? 2 : 1, byte);
    return result + "'";
}

Value value_of(const json& text)
{
    return text.is_null() ? Value{} : Value{to_utf16(text.get<std::string>())};
}

class KnownResults : public FrameworkTest {
protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        std::filesystem::create_directories(folder_);
    }
    void TearDown() override
    {
        FrameworkTest::TearDown();
        set_environment(key_variable, nullptr);
        std::filesystem::remove_all(folder_);
    }

    Outcome mask(const json& line)
    {
        set_environment(key_variable, line.at("key").get<std::string>().c_str());
        Parsed parsed(masking_string(line));
        EXPECT_EQ(parsed.code, 0) << parsed.message;
        std::vector<Value> row{value_of(line.at("value"))};
        if (line.contains("by_value")) row.push_back(value_of(line.at("by_value")));
        Rows rows(row.size());
        rows.add(row, room(row, parsed.fields().front().length));
        std::int32_t handle = 0;
        EXPECT_EQ(Provider_Init(&handle, "people", 6, &parsed.service, 1), 0);
        EXPECT_EQ(Provider_Service(handle, provider_service_request, &parsed.service, rows.record()), 0);
        EXPECT_EQ(Provider_Term(handle), 0);
        return {rows.is_null(0, 0) ? Value{} : Value{rows.text(0)}, rows.field(0, 0).errorCode};
    }

private:
    // Units that hold the values and the longest result.
    static std::size_t room(const std::vector<Value>& row, std::int32_t length)
    {
        std::size_t units = 2 * static_cast<std::size_t>(length);
        for (const Value& value : row) units = std::max(units, value.value_or(u"").size());
        return units + 1;
    }

    std::string masking_string(const json& line)
    {
        const json& arguments = line.at("arguments");
        std::string text = std::string("service=people key=env:") + key_variable;
        text += " value=" + line.at("function").get<std::string>() + "(" + call_arguments(arguments) + ")";
        text += " value.type=" + line.at("type").get<std::string>();
        if (arguments.contains("by")) text += " " + arguments.at("by").get<std::string>() + "=keep";
        if (line.contains("on_null")) text += " on_null=" + line.at("on_null").get<std::string>();
        return text;
    }

    std::string call_arguments(const json& arguments)
    {
        std::string result;
        for (const auto& [name, value] : arguments.items()) {
            if (!result.empty()) result += ", ";
            if (name != "text") result += name + "="; // `fixed` names it not
            result += quoted(value.is_array()    ? file_of(value)
                             : value.is_string() ? value.get<std::string>()
                                                 : value.dump());
        }
        return result;
    }

    // One for each list: the engine reads a file once.
    std::string file_of(const json& entries)
    {
        const auto [file, is_new] =
            files_.try_emplace(entries, folder_ / (std::to_string(files_.size()) + ".txt"));
        if (is_new) {
            std::ofstream stream(file->second, std::ios::binary);
            for (const std::string entry : entries) stream << entry << '\n';
        }
        return utf8(file->second);
    }

    std::filesystem::path folder_ = std::filesystem::temp_directory_path() /
                                    ("velk-known-results-" + std::to_string(std::random_device{}()));
    std::map<json, std::filesystem::path> files_;
};

TEST_F(KnownResults, are_the_same_in_every_release_and_on_every_platform)
{
    std::set<std::string> functions;
    std::istringstream lines{std::string(known_results)};
    for (std::string text; std::getline(lines, text);) {
        SCOPED_TRACE(text);
        const json line = json::parse(text);
        functions.insert(line.at("function").get<std::string>());
        const Outcome outcome = mask(line);
        if (line.contains("error")) {
            expect_code(outcome.error, line.at("error").get<ErrorCode>());
            EXPECT_EQ(outcome.text, u"");
        } else {
            EXPECT_EQ(outcome.error, 0);
            EXPECT_EQ(outcome.text, value_of(line.at("result"))) << to_utf8(outcome.text.value_or(u"<null>"));
        }
    }
    EXPECT_EQ(functions.size(), std::variant_size_v<Rule>) << "each function has its cases";
}

} // namespace
} // namespace velk::test
