#include "failure.h"
#include "masking/functions.h"
#include "rules.h"

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
    EXPECT_EQ(longest_result("fixed", "'a😀b'"), 3u);
    EXPECT_EQ(longest_result("hash", ""), 32u);
    EXPECT_EQ(longest_result("hash", "length=12, scope=x"), 12u);
    EXPECT_EQ(longest_result("email", ""), 24u);
    EXPECT_EQ(longest_result("email", "domain=x.de"), 17u);
    EXPECT_EQ(longest_result("dict", "list=cities"), 16u);
    EXPECT_EQ(longest_result("dict", "scope=x, list=streets"), 20u);
    for (const char* name : {"keep", "null", "partial", "classes", "card", "dateshift", "noise", "ff1"})
        EXPECT_EQ(longest_result(name, ""), 0u) << name;
    EXPECT_THROW(longest_result("encrypt", ""), Failure);
    EXPECT_THROW(longest_result("hash", "length=x"), Failure);
    EXPECT_THROW(longest_result("dict", ""), Failure);
}

} // namespace
} // namespace velk::test
