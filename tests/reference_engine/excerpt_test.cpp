#include "text/excerpt.h"

#include "text/key_source.h"

#include <gtest/gtest.h>

#include <array>

namespace velk::engine {
namespace {

TEST(Excerpts, are_clipped_by_characters)
{
    EXPECT_EQ(shown("short"), "short");
    EXPECT_EQ(shown(std::string(40, 'a')), std::string(40, 'a'));
    EXPECT_EQ(shown(std::string(41, 'a')), std::string(40, 'a') + "...");
    EXPECT_EQ(shown("日本語", 2), "日本...");
}

TEST(Excerpts, show_controls_and_four_byte_characters_by_number)
{
    EXPECT_EQ(shown("a\tb\x7F"), "a\\u{9}b\\u{7F}");
    EXPECT_EQ(shown("😀"), "\\u{1F600}");
    EXPECT_EQ(shown("\u2028"), "\\u{2028}");
    EXPECT_EQ(shown("a\xFFz"), "a\uFFFDz");
    EXPECT_EQ(code_point_name(0xA0), "U+00A0");
    EXPECT_EQ(code_point_name(0x1F600), "U+1F600");
}

TEST(Excerpts, never_show_a_key)
{
    struct Row {
        std::string text;
        std::string result;
    };
    const Row rows[] = {
        {"", ""},
        {"no secret here", "no secret here"},
        {"key=env:MASK_KEY", "key=env:MASK_KEY"},
        {"key='file:/a b'", "key='file:/a b'"},
        {"key=topsecret", "key=***"},
        {"service=s key = topsecret name=keep", "service=s key = *** name=keep"},
        {"key='top secret', on_null=mask", "key=***, on_null=mask"},
        {"key=\"top secret\" x", "key=***"},
        {"key='never closed", "key=***"},
        {"key: topsecret", "key: ***"},
        {"key\u00A0=\u2003topsecret", "key\u00A0=\u2003***"},
        {"monkey=banana", "monkey=***"}, // as would apikey
        {"money=banana", "money=banana"},
        {"mask_key=topsecret name=keep", "mask_key=*** name=keep"},
        {"kee=topsecret", "kee=***"},
        {"KEY=topsecret", "KEY=***"},
        {"kye = topsecret", "kye = ***"},
        {"key.value=topsecret", "key.value=***"},
        {"key . value = topsecret", "key ***"},
        {"\"key\"=topsecret name=keep", "\"key\"=*** name=keep"},
        {"'key'=topsecret", "'key'=***"},
        {"\"my key\" = topsecret", "\"my key\" = ***"},
        {"\"k\\u{65}y\"=topsecret", "\"k\\u{65}y\"=***"},
        {"key\n=topsecret", "key\n=***"},
        {"key=\"\" \"topsecret\"", "key=***"},
        {"key topsecret name=keep", "key ***"},
        {"key topsecret", "key ***"},
        {"--key topsecret\nname=keep", "--key ***\nname=keep"},
        {"{\"key\": \"topsecret\"}", "{\"key\": ***"},
        {"export MASK_KEY=topsecret", "export MASK_KEY=***"},
        {"name=fixed('the key is here') other=keep", "name=fixed('the key is here') other=keep"},
        {"a=hash key topsecret b=keep", "a=hash key ***"},
        {"hash(kee=topsecret, length=3) name=keep", "hash(kee=***, length=3) name=keep"},
        {"key(topsecret) name=keep", "key(***) name=keep"},
        {"# key=topsecret\nname=keep", "# key=***\nname=keep"},
        {"# the key\nname=keep", "# the key\nname=keep"},
        {"name=fixed('the key') other=keep", "name=fixed('the key') other=keep"},
        {"born=dateshift(by=key, days=3) name=keep", "born=dateshift(by=key, days=3) name=keep"},
        {"a='key=topsecret'", "a='key=***"},
        {"key=env:MASK_KEY name=keep", "key=env:MASK_KEY name=keep"},
        {"key=env:MASK_KEY_OF_PEOPLE name=keep", "key=env:MASK_KEY*** name=keep"},
        {"key='env:MASK_KEYS', name=keep", "key='env:MASK_KEY***', name=keep"},
        {"key=env:topsecret name=keep", "key=*** name=keep"},
        {"key=env:1TOPSECRET name=keep", "key=*** name=keep"},
        {"key=env:" + std::string(65, 'A'), "key=***"},
        {"key=env: topsecret name=keep", "key=*** name=keep"},
        {"key=env:MASK_KEY topsecret name=keep", "key=*** name=keep"},
        {"key=env: name=keep", "key=env: name=keep"},
        {"key=env: #topsecret", "key=***"},
        {"key=file:topsecret", "key=***"},
        {"key=file:TOPSECRET", "key=file:TOPSECRE***"},
        {"key=file:keys/mask", "key=file:keys/mask"},
        {"hash(key=topsecret)", "hash(key=***)"},
        {"key=one key=two", "key=*** key=***"},
        {"key='top''secret' x=y", "key=*** x=y"},
        {"key=\"top\\\"secret\" x=y", "key=*** x=y"},
        {"key=top;secret", "key=***"},
        {"key=top, secret)er name=keep", "key=*** name=keep"},
        {"key=top secret \"order no\".type = date", "key=*** \"order no\".type = date"},
        {"key=env:X'secret'", "key=***"},
        {"key='env:X'secret name=keep", "key=*** name=keep"},
        {"key=env:X # comment", "key=env:X # comment"},
        {"key=x('a', b=secret) name=keep", "key=*** name=keep"},
        {"key=", "key="},
        {"key", "key"},
    };
    for (const Row& row : rows) EXPECT_EQ(without_key(row.text), row.result) << row.text;
}

TEST(Excerpts, know_a_key_without_its_sign)
{
    for (const char* text :
         {"key", "a=b key", "a=b;key \t\n", "key\u00A0 \u3000", "\"key\"", "keys", "monkey", "a=b Kee "})
        EXPECT_TRUE(ends_with_key(text)) << text;
    for (const char* text : {"", "money", "key=", "key x", "by=key", "key = env:MASK_KEY ", "key\u200B"})
        EXPECT_FALSE(ends_with_key(text)) << text;
}

TEST(Excerpts, know_a_name_like_key)
{
    for (const char* name : {"key", "KEY", "mask_key", "apikey", "Keys", "kee", "ke", "ky", "hey", "kye",
                             "eky", "my kez", "x.kay", "k\\u{65}y"})
        EXPECT_TRUE(looks_like_key(name)) << name;
    for (const char* name : {"", "k", "name", "type", "unique", "keep", "sex", "day", "by", "days", "kette",
                             "k e y", "list", "file", "with"})
        EXPECT_FALSE(looks_like_key(name)) << name;
}

TEST(Excerpts, show_of_a_source_what_can_be_no_key)
{
    EXPECT_EQ(shown_key_source("env:MASK_KEY"), "env:MASK_KEY");
    EXPECT_EQ(shown_key_source("env:MASK_KEY_2"), "env:MASK_KEY***");
    EXPECT_EQ(shown_key_source("env:Mask"), "***");
    EXPECT_EQ(shown_key_source("env:"), "env:");
    EXPECT_EQ(shown_key_source("file:/run/secrets/the mask"), "file:/run/secrets/the mask");
    EXPECT_EQ(shown_key_source("file:mask.key"), "file:mask.key");
    EXPECT_EQ(shown_key_source("file:topsecret"), "***");
    EXPECT_EQ(shown_key_source("topsecret"), "***");
    EXPECT_EQ(shown_key_source(""), "***");
}

TEST(Excerpts, hide_a_key_before_they_are_cut)
{
    EXPECT_EQ(shown("hash(key=topsecret)"), "hash(key=***)");
    EXPECT_EQ(shown("stop key=topsecret"), "stop key=***");
    EXPECT_EQ(shown("key=" + std::string(100, 's'), 10), "key=***");
}

TEST(Excerpts, name_the_nearest_known_word)
{
    constexpr std::array<std::string_view, 4> known{"classes", "fixed", "hash", "partial"};
    EXPECT_EQ(nearest("clases", known), "classes");
    EXPECT_EQ(nearest("hsah", known), "hash");
    EXPECT_EQ(nearest("partials", known), "partial");
    EXPECT_EQ(nearest("encrypt", known), "");
    EXPECT_EQ(nearest("", known), "");
    EXPECT_EQ(nearest("HASH", known), "hash");
    EXPECT_EQ(nearest("Clases(x)", known), "classes");
    EXPECT_EQ(nearest(std::string(1000, 'h'), known), "");
    EXPECT_EQ(advice("hsah", "Functions", known),
              "Did you mean \"hash\"? Functions: classes, fixed, hash, partial.");
    EXPECT_EQ(advice("HASH", "Functions", known),
              "Did you mean \"hash\"? Functions: classes, fixed, hash, partial.");
    EXPECT_EQ(advice("hash", "Functions", known), "Functions: classes, fixed, hash, partial.")
        << "nothing is meant but what is written";
    EXPECT_EQ(advice("zzz", "Functions", known), "Functions: classes, fixed, hash, partial.");
}

} // namespace
} // namespace velk::engine
