#include "masking/lists.h"
#include "masking/unicode_classes.h"
#include "rules.h"
#include "text/unicode.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

namespace velk::test {
namespace {

class Dictionaries : public FrameworkTest {
protected:
    // A rule's argument that names a file with these bytes.
    std::string list(const std::string& bytes)
    {
        const std::filesystem::path path = folder_ / std::to_string(++count_) / u8"\u00e4.txt";
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << bytes;
        return "file='" + utf8(path) + "'";
    }

    void SetUp() override
    {
        FrameworkTest::SetUp();
        std::filesystem::create_directories(folder_);
    }
    void TearDown() override
    {
        FrameworkTest::TearDown();
        std::filesystem::remove_all(folder_);
    }

    std::filesystem::path folder_ =
        std::filesystem::temp_directory_path() / ("velk-lists-" + std::to_string(std::random_device{}()));

private:
    int count_ = 0;
};

const std::vector<std::u16string> names{u"Anna", u"Ελένη", u"Иван", u"محمد",
                                        u"太郎", u"😀",    u"x",    u"Anna Maria"};
constexpr const char* built_in[] = {"cities", "first_names", "last_names", "streets"};

std::set<std::u16string> set_of(const Entries& entries)
{
    return {entries.begin(), entries.end()};
}

TEST_F(Dictionaries, built_in_lists_have_at_least_500_different_entries_in_several_scripts)
{
    for (const char* name : built_in) {
        SCOPED_TRACE(name);
        const Entries entries = built_in_list(name);
        EXPECT_GE(entries.size(), 500u);
        EXPECT_EQ(set_of(entries).size(), entries.size());
        std::set<const CharacterClass*> first_letters;
        for (const std::u16string& entry : entries) {
            std::size_t position = 0;
            first_letters.insert(membership(next_code_point(std::u16string_view(entry), position)).of);
            EXPECT_FALSE(entry.starts_with(u' ') || entry.ends_with(u' ')) << to_utf8(entry);
            EXPECT_LE(code_point_count(entry), 20u) << to_utf8(entry);
        }
        for (const char32_t letter : {U'A', U'Б', U'Α', U'ا', U'א', U'ক', U'ก', U'가', U'漢'})
            EXPECT_TRUE(first_letters.contains(membership(letter).of)) << std::hex << std::uint32_t{letter};
    }
}

TEST_F(Dictionaries, every_result_is_an_entry)
{
    for (const char* name : built_in) {
        const auto entries = set_of(built_in_list(name));
        for (const std::u16string& text : results("dict", std::string("list=") + name, names, {"", 20}))
            EXPECT_TRUE(entries.contains(text)) << to_utf8(text);
    }
    for (const std::u16string& text : results("dict", list("one\ntwo\nthree\n"), names, {"", 5}))
        EXPECT_TRUE(text == u"one" || text == u"two" || text == u"three") << to_utf8(text);
}

TEST_F(Dictionaries, every_entry_is_about_as_frequent)
{
    std::vector<std::u16string> values;
    for (unsigned i = 0; i < 10'000; ++i) values.push_back(to_text(i, 6));
    std::map<std::u16string, int> counts;
    for (const std::u16string& text : results("dict", list("a\nb\nc\nd\n"), values, {"", 1})) ++counts[text];
    ASSERT_EQ(counts.size(), 4u);
    for (const auto& [text, count] : counts) {
        EXPECT_GT(count, 2'300) << to_utf8(text);
        EXPECT_LT(count, 2'700) << to_utf8(text);
    }
}

TEST_F(Dictionaries, an_entry_never_becomes_itself)
{
    const Entries entries = built_in_list("first_names");
    const auto masked = results("dict", "list=first_names", entries, {"", 20});
    for (std::size_t i = 0; i < entries.size(); ++i) EXPECT_NE(masked[i], entries[i]);
    EXPECT_EQ(results("dict", list("a\na\na\nb\n"), {u"a", u"b"}, {"", 1}),
              (std::vector<std::u16string>{u"b", u"a"}));
}

TEST_F(Dictionaries, files_may_have_a_mark_and_either_line_end)
{
    const auto expected = results("dict", list("Žofie\n太郎\n😀\n"), names, {"", 5});
    EXPECT_EQ(results("dict", list("Žofie\n太郎\n😀"), names, {"", 5}), expected);
    EXPECT_EQ(results("dict", list("Žofie\r\n太郎\r\n😀\r\n"), names, {"", 5}), expected);
    EXPECT_EQ(results("dict", list("\xEF\xBB\xBFŽofie\n太郎\n😀\n"), names, {"", 5}), expected);
}

TEST_F(Dictionaries, files_that_are_no_list_are_refused)
{
    const Column column{"", 20};
    expect_rule_refused("dict", list(""), list_file_unusable, u"it has fewer than two different entries",
                        column);
    expect_rule_refused("dict", list("\xEF\xBB\xBF"), list_file_unusable, u"fewer than two", column);
    expect_rule_refused("dict", list("one\n"), list_file_unusable, u"fewer than two", column);
    expect_rule_refused("dict", list("one\none\n"), list_file_unusable, u"fewer than two", column);
    expect_rule_refused("dict", list("one\n\ntwo\n"), list_file_unusable, u"line 2 is empty", column);
    expect_rule_refused("dict", list("one\ntwo\n\n"), list_file_unusable, u"line 3 is empty", column);
    expect_rule_refused("dict", list("one\ntwo\xFF\n"), list_file_unusable, u"line 2 is not UTF-8 text",
                        column);
    expect_rule_refused("dict", list("one\n\xED\xA0\x80\n"), list_file_unusable, u"line 2 is not UTF-8",
                        column);
    expect_rule_refused("dict", list(std::string("one\ntw\0o\n", 9)), list_file_unusable, u"line 2", column);
    expect_rule_refused("dict", "file='" + utf8(folder_ / "none") + "'", list_file_unreadable, u"", column);
    expect_rule_refused("dict", "file='" + utf8(folder_) + "'", list_file_unreadable, u"", column);
}

TEST_F(Dictionaries, follow_key_and_scope)
{
    expect_keyed("dict", "list=first_names", names, {"", 20});
    expect_keyed("dict", "list=cities", names, {"varchar(30)", 30});
    expect_keyed("dict", list("1\n2\n3\n4\n5\n6\n7\n8\n9\n"), names, {"varchar(10)", 10});
}

TEST_F(Dictionaries, unusable_rules_are_refused)
{
    const Column column{"", 20};
    expect_rule_refused("dict", "", argument_missing, u"", column);
    expect_rule_refused("dict", "cities", argument_unknown, u"Arguments: list, file.", column);
    expect_rule_refused("dict", "list=citys", argument_unusable,
                        u"Did you mean \"cities\"? Lists: cities, first_names, last_names, streets.", column);
    expect_rule_refused("dict", "list=cities, file=x", argument_unusable, u"Name one of the two.", column);
    for (const char* type : {"integer", "decimal(20,0)", "date", "timestamp"})
        expect_rule_refused("dict", "list=cities", function_unfit_for_type, u"", {type, 29});
}

TEST_F(Dictionaries, a_column_too_short_for_the_longest_entry_is_refused)
{
    expect_rule_refused("dict", "list=streets", result_longer_than_column, u"", {"varchar(5)", 5});
    expect_rule_refused("dict", list("a\nlong\n"), result_longer_than_column, u"", {"varchar(3)", 3});
    expect_rule_refused("dict", list("a\nb\n"), result_longer_than_column);
    EXPECT_EQ(mask("dict", list("a\n😀😀\n"), u"a", "varchar(2)", 2).text, u"😀😀")
        << "characters count, not units";
}

} // namespace
} // namespace velk::test
