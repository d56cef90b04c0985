#include "masking/rules.h"
#include "rules.h"
#include "text/unicode.h"

#include <algorithm>

namespace velk::test {
namespace {

class Emails : public FrameworkTest {};

const std::vector<std::u16string> addresses{u"anna@example.org",
                                            u"Anna.Maria+news@mail.example.org",
                                            u"o'neill_42@example-mail.de",
                                            u"анна@пример.рф",
                                            u"用户@例子.公司",
                                            u"😀@example.org",
                                            u"a@localhost",
                                            u"محمد@مثال.إختبار"};

TEST_F(Emails, become_a_drawn_name_at_the_domain_that_is_asked_for)
{
    for (const std::string domain : {"example.com", "x.de", "пример.рф", "mail.😀.org"}) {
        const std::u16string ending = u"@" + to_utf16(domain);
        const auto length = static_cast<std::int32_t>(12 + code_point_count(ending));
        for (const std::u16string& text :
             results("email", "domain='" + domain + "'", addresses, {"", length})) {
            EXPECT_TRUE(text.ends_with(ending)) << to_utf8(text);
            const std::u16string name = text.substr(0, text.size() - ending.size());
            EXPECT_EQ(name.size(), 12u);
            EXPECT_EQ(name.find_first_not_of(u"abcdefghijklmnopqrstuvwxyz0123456789"), std::u16string::npos);
            EXPECT_FALSE(name[0] >= u'0' && name[0] <= u'9');
        }
    }
}

TEST_F(Emails, get_a_domain_that_receives_nothing_unless_one_is_said)
{
    EXPECT_EQ(results("email", "", addresses, {"", 24}),
              results("email", "domain=example.com", addresses, {"", 24}));
}

TEST_F(Emails, different_addresses_hardly_ever_meet)
{
    std::vector<std::u16string> values;
    for (unsigned i = 0; i < 5000; ++i) values.push_back(u"user" + to_text(i) + u"@example.org");
    for (unsigned i = 0; i < 5000; ++i) values.push_back(u"user" + to_text(i) + u"@example.net");
    const auto masked = results("email", "", values, {"", 24});
    EXPECT_EQ(std::set(masked.begin(), masked.end()).size(), values.size());
}

TEST_F(Emails, whatever_is_no_address_is_an_error)
{
    const std::u16string at = u"@";
    expect_errors("email", "",
                  {u"anna",
                   u"@",
                   u"anna@",
                   u"@example.org",
                   u"anna@@example.org",
                   u"a@b@c",
                   u"anna maria@example.org",
                   u"anna@exa mple.org",
                   u"anna@example..org",
                   u"anna@.org",
                   u"anna@example.",
                   u".anna@example.org",
                   u"anna.@example.org",
                   u"an..na@example.org",
                   u"<anna@example.org>",
                   u"a@b.de,c@d.de",
                   u"\"a\"@b.de",
                   u"anna@example.org\n",
                   u"anna\u00A0@example.org",
                   u"anna@exam\u200Bple.org",
                   u"anna\u3000@b.de",
                   u"日本語",
                   u"😀",
                   std::u16string(65, u'a') + u"@b.de",
                   u"a@" + std::u16string(254, u'b')},
                  value_no_address, {"", 24});
    EXPECT_EQ(mask("email", "", std::u16string(64, u'a') + u"@b.de", "", 24).error, 0);
    EXPECT_EQ(mask("email", "", u"a@" + std::u16string(253, u'b'), "", 24).error, 0);
}

TEST_F(Emails, follow_key_and_scope)
{
    expect_keyed("email", "", addresses, {"", 24});
    expect_keyed("email", "domain=x.de", addresses, {"varchar(40)", 40});
    EXPECT_NE(results("email", "", {u"anna@x.de"}, {"", 24}), results("email", "", {u"Anna@x.de"}, {"", 24}));
}

TEST_F(Emails, a_domain_that_is_none_is_refused)
{
    for (const char* domain : {"''", "'a b'", "'@x.de'", "x..de", "'.de'", "'x.de.'", "\"a\\nb\"", "'a,b'"})
        expect_rule_refused("email", std::string("domain=") + domain, argument_unusable,
                            u"A domain as it stands behind the @ of an address.", {"", 99});
    expect_rule_refused("email", "example.com", argument_unknown, u"Arguments: domain, scope.", {"", 99});
}

TEST_F(Emails, a_column_too_short_for_the_result_is_refused)
{
    expect_rule_refused("email", "", result_longer_than_column, u"", {"varchar(23)", 23});
    expect_rule_refused("email", "domain=x.de", result_longer_than_column, u"", {"char(16)", 16});
    expect_rule_refused("email", "", result_longer_than_column);
    EXPECT_EQ(mask("email", "", u"a@b.de", "varchar(24)", 24).error, 0);
    for (const char* type : {"integer", "decimal(20,0)", "date", "timestamp"})
        expect_rule_refused("email", "", function_unfit_for_type, u"", {type, 29});
}

} // namespace
} // namespace velk::test
