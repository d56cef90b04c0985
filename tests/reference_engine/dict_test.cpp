#include "masking/lists.h"
#include "masking/unicode_classes.h"
#include "rules.h"
#include "text/unicode.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

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

std::vector<std::u16string> entries_of(const char* name)
{
    const auto list = built_in_list(name);
    std::vector<std::u16string> entries;
    for (std::size_t i = 0; i < list->size(); ++i) entries.emplace_back((*list)[i]);
    return entries;
}

std::set<std::u16string> set_of(const std::vector<std::u16string>& entries)
{
    return {entries.begin(), entries.end()};
}

TEST_F(Dictionaries, built_in_lists_have_at_least_500_different_entries_in_several_scripts)
{
    for (const char* name : built_in) {
        SCOPED_TRACE(name);
        const std::vector<std::u16string> entries = entries_of(name);
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
        const auto entries = set_of(entries_of(name));
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
    const std::vector<std::u16string> entries = entries_of("first_names");
    const auto masked = results("dict", "list=first_names", entries, {"", 20});
    for (std::size_t i = 0; i < entries.size(); ++i) EXPECT_NE(masked[i], entries[i]);
    const auto repeated =
        results("dict", list("a\na\na\nb\nc\nd\ne\nf\ng\nh\ni\nj\n"), {u"a", u"j"}, {"", 1});
    EXPECT_NE(repeated[0], u"a");
    EXPECT_NE(repeated[1], u"j");
}

// Of two entries each would become the other under every key.
TEST_F(Dictionaries, a_value_that_is_an_entry_of_a_short_list_is_an_error)
{
    const std::string nine = "1\n2\n3\n4\n5\n6\n7\n8\n9\n";
    expect_errors("dict", list("M\nF\n"), {u"M", u"F"}, value_of_short_list, {"", 1});
    expect_errors("dict", list(nine), {u"1", u"9"}, value_of_short_list, {"", 1});
    expect_errors("dict", list(nine + nine), {u"1", u"9"}, value_of_short_list, {"", 1});
    EXPECT_NE(results("dict", list(nine + "0\n"), {u"1"}, {"", 1}).front(), u"1");
    EXPECT_NE(results("dict", list("M\nF\n"), {u"x"}, {"", 1}).front(), u"x");
    EXPECT_EQ(results("dict", list("M\nF\n"), {u""}, {"", 1}).front(), u"");
}

TEST_F(Dictionaries, files_may_have_a_mark_and_either_line_end)
{
    const auto expected = results("dict", list("Žofie\n花子\n😂\n"), names, {"", 5});
    EXPECT_EQ(results("dict", list("Žofie\n花子\n😂"), names, {"", 5}), expected);
    EXPECT_EQ(results("dict", list("Žofie\r\n花子\r\n😂\r\n"), names, {"", 5}), expected);
    EXPECT_EQ(results("dict", list("\xEF\xBB\xBFŽofie\n花子\n😂\n"), names, {"", 5}), expected);
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

TEST_F(Dictionaries, a_file_is_read_once_however_many_columns_name_it)
{
    const std::string file = list("one\ntwo\nthree\n");
    const std::filesystem::path path = folder_ / "1" / u8"\u00e4.txt";
    const auto before = results("dict", file, names, {"", 5});
    std::filesystem::remove(path);
    EXPECT_EQ(results("dict", file, names, {"", 5}), before) << "the file is gone, its list is not";

    Service service;
    service.operand(0, "key", "env:VELK_TEST_KEY");
    Rows rows(1000);
    for (int column = 0; column < 1000; ++column)
        service.column("c" + std::to_string(column), "dict", file, 5);
    rows.add(std::vector<Value>(1000, u"Anna"));
    const std::int32_t handle = start(service);
    EXPECT_EQ(run(handle, service, rows), 0);
    EXPECT_EQ(Provider_Term(handle), 0);
    for (std::size_t column = 0; column < 1000; ++column) EXPECT_EQ(rows.text(0, column), before.front());
}

TEST_F(Dictionaries, lists_are_shared_by_all_threads)
{
    list("one\ntwo\n");
    const std::string path = utf8(folder_ / "1" / u8"\u00e4.txt");
    std::vector<std::shared_ptr<const List>> found(8);
    std::vector<std::thread> threads;
    for (auto& place : found) threads.emplace_back([&] { place = list_file(path); });
    for (std::thread& thread : threads) thread.join();
    for (const auto& place : found) EXPECT_EQ(place, found.front());
    EXPECT_EQ(built_in_list("cities"), built_in_list("cities"));
}

TEST_F(Dictionaries, a_file_that_was_not_there_is_looked_for_again)
{
    const std::filesystem::path path = folder_ / "late.txt";
    const std::string file = "file='" + utf8(path) + "'";
    expect_rule_refused("dict", file, list_file_unreadable, u"", {"", 5});
    std::ofstream(path) << "one\ntwo\n";
    EXPECT_NE(results("dict", file, {u"x"}, {"", 5}).front(), u"x");
}

// Two releases with lists of which one has grown draw nothing in common.
TEST_F(Dictionaries, the_list_shapes_what_is_drawn_and_its_path_does_not)
{
    std::string lines;
    for (int i = 0; i < 1000; ++i) lines += std::to_string(i) + "\n";
    std::vector<std::u16string> values;
    for (unsigned i = 0; i < 1000; ++i) values.push_back(u"value" + to_text(i));
    const auto one = results("dict", list(lines), values, {"", 4});
    EXPECT_EQ(results("dict", list(lines), values, {"", 4}), one);
    const auto longer = results("dict", list(lines + "1000\n"), values, {"", 4});
    std::size_t same = 0;
    for (std::size_t i = 0; i < values.size(); ++i) same += one[i] == longer[i] ? 1u : 0u;
    EXPECT_LT(same, 10u) << "1 on average, nearly all if the same were drawn";
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
    EXPECT_EQ(mask("dict", list("😀\n😀😀\n"), u"x", "varchar(2)", 2).error, 0)
        << "characters count, not units";
}

} // namespace
} // namespace velk::test
