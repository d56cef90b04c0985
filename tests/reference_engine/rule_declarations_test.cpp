#include "masking/rules.h"
#include "rules.h"
#include "text/failure.h"

namespace velk::test {
namespace {

TEST(RuleDeclarations, say_which_functions_are_one_to_one)
{
    for (const char* name : {"keep", "card", "ff1"}) EXPECT_TRUE(is_one_to_one(name)) << name;
    for (const char* name :
         {"null", "fixed", "partial", "classes", "hash", "email", "dict", "dateshift", "noise"})
        EXPECT_FALSE(is_one_to_one(name)) << name;
    EXPECT_THROW(is_one_to_one("encrypt"), Failure);
}

TEST(RuleDeclarations, say_the_longest_result_where_it_may_exceed_the_value)
{
    const auto longest = [](const char* function, const char* arguments, const char* type = "text") {
        return longest_result(read_rule(function, arguments, parse_type(type)));
    };
    EXPECT_EQ(longest("fixed", "'a😀b'"), 3u);
    EXPECT_EQ(longest("hash", ""), 32u);
    EXPECT_EQ(longest("hash", "length=12, scope=x"), 12u);
    EXPECT_EQ(longest("email", ""), 24u);
    EXPECT_EQ(longest("email", "domain=x.de"), 17u);
    EXPECT_EQ(longest("dict", "list=cities"), 16u);
    EXPECT_EQ(longest("dict", "scope=x, list=streets"), 20u);
    for (const char* name : {"keep", "null", "partial", "classes", "card", "ff1"})
        EXPECT_EQ(longest(name, ""), 0u) << name;
    EXPECT_EQ(longest("dateshift", "days=3", "date"), 0u);
    EXPECT_EQ(longest("noise", "percent=3", "integer"), 0u);
    EXPECT_THROW(longest("encrypt", ""), Failure);
    EXPECT_THROW(longest("hash", "length=x"), Failure);
    EXPECT_THROW(longest("dict", ""), Failure);
}

} // namespace
} // namespace velk::test
