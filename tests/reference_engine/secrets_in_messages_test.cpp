// No message tells what stands where a key might: every spelling that once did, and many made by chance.

#include "masking_string.h"
#include "support.h"

#include "text/excerpt.h"
#include "text/unicode.h"

#include <gtest/gtest.h>

#include <random>

namespace velk::test {
namespace {

// A string has one of them in the place of S.
const std::string secrets[] = {"Tops3cret", "TOPSECRET", "0123456789abcdef", "tops3cretTOPSECRET+/=="};

std::string filled(std::string text, const std::string& secret)
{
    for (std::size_t position = 0; (position = text.find('%', position)) != std::string::npos;
         position += secret.size())
        text.replace(position, 1, secret);
    return text;
}

// The message has three parts in one: heading, detail with its excerpt, trailing.
void expect_hidden(const std::string& text)
{
    for (const std::string& secret : secrets) {
        const std::string whole = filled(text, secret);
        const std::string message = message_of(whole);
        EXPECT_NE(message, "") << whole;
        EXPECT_EQ(message.find(secret), std::string::npos) << whole << "\n" << message;
        EXPECT_EQ(without_key(whole).find(secret), std::string::npos) << without_key(whole);
    }
}

TEST(Secrets, of_an_attribute_of_key_are_hidden)
{
    expect_hidden("service=p key.value=% name=keep");
    EXPECT_EQ(message_of("service=p key.value=Tops3cret name=keep").substr(0, 55),
              "7330 a word of the service has no attributes \"key\"\nline");
}

TEST(Secrets, of_a_quoted_key_are_hidden)
{
    expect_hidden("service=p \"key\"=% name=keep");
    expect_hidden("service=p 'key'=% name=keep");
}

TEST(Secrets, of_a_name_with_key_in_it_are_hidden)
{
    expect_hidden("service=p mask_key=% name=keep");
    expect_hidden("service=p apikey=% name=keep");
}

TEST(Secrets, of_a_misspelt_key_are_hidden)
{
    expect_hidden("service=p kee=% name=keep");
    expect_hidden("service=p kye=% name=keep");
    expect_hidden("service=p KEY=% name=keep");
    expect_hidden("service=p ke=% name=hash");
}

TEST(Secrets, behind_the_start_of_a_source_are_hidden)
{
    expect_hidden("service=p key=env: % name=kep");
    expect_hidden("service=p key=file: % name=kep");
    expect_hidden("service=p key=env:% name=kep");
    expect_hidden("service=p key=env:MASK_KEY % name=kep");
}

TEST(Secrets, behind_an_empty_value_are_hidden)
{
    expect_hidden("service=p key=\"\" \"%\"");
    expect_hidden("service=p key='' '%' name=kep");
}

TEST(Secrets, among_the_arguments_of_a_function_are_hidden)
{
    expect_hidden("service=p key=env:K name=hash(kee=%)");
    expect_hidden("service=p key=env:K name=hash(length=4, key=%)");
    expect_hidden("service=p key=env:K name=hash(kee='%)");
}

TEST(Secrets, are_hidden_in_the_message_about_another_pair)
{
    for (const char* spelling : {"key.value", "\"key\"", "mask_key", "kee", "KEY"})
        expect_hidden("service=p name=kep " + std::string(spelling) + "=%");
}

TEST(Secrets, are_not_quoted_by_a_heading_whose_excerpt_hides_them)
{
    EXPECT_EQ(message_of("service=p mask_key=Tops3cret").substr(0, 22), "7301 unknown function\n");
    EXPECT_EQ(message_of("service=p order=Tops3cret").substr(0, 33), "7301 unknown function \"Tops3cret\"")
        << "a column whose name has nothing of a key";
}

class KeySources : public FrameworkTest {};

std::string message_about(const std::string& source, ErrorCode code)
{
    Service service;
    service.operand(0, "key", source);
    service.column("name", "hash", "", 32);
    expect_code(try_start(service), code);
    const Texts texts = texts_of(code);
    return to_utf8(texts.heading + u"\n" + texts.detail + u"\n" + texts.trailing);
}

TEST_F(KeySources, that_are_not_there_are_named_by_their_first_characters_at_most)
{
    for (const std::string& secret : secrets) {
        EXPECT_EQ(message_about("env:" + secret, key_variable_unset).find(secret), std::string::npos);
        const std::string name = secret.substr(0, secret.find('/')); // else it looks like a path
        EXPECT_EQ(message_about("file:" + name, key_file_unreadable).find(name), std::string::npos);
    }
    EXPECT_NE(message_about("env:VELK_NO_SUCH_KEY", key_variable_unset).find("not set \"env:VELK_NO_***\""),
              std::string::npos);
    EXPECT_NE(message_about("file:/no/such/key", key_file_unreadable).find("\"file:/no/such/key\""),
              std::string::npos);
}

// Text by chance, from the pieces that a masking string is made of.
class Chance {
public:
    explicit Chance(std::uint32_t seed) : random_(seed) {}

    template <std::size_t count> std::string one_of(const char* const (&pieces)[count])
    {
        return pieces[random_() % count];
    }

    // No equals sign: what stands before one is a name, and behind it the value of that name.
    std::string noise()
    {
        static constexpr const char* pieces[] = {
            " ",      ",",    ";",          "\n",   "\t",   "(",     ")", "'",  "\"",
            "#",      ".",    "a",          "hash", "env:", "file:", "*", "$1", "\\",
            "\u00A0", "\xFF", "\U0001F600", "x y",  "''",   "\"\"",  "-", "/"};
        std::string text;
        for (std::size_t left = random_() % 5; left > 0; --left) text += one_of(pieces);
        return text;
    }

    std::mt19937& random() { return random_; }

private:
    std::mt19937 random_;
};

TEST(Secrets, that_chance_puts_behind_a_name_like_key_are_hidden)
{
    static constexpr const char* names[] = {"key",     "KEY",   "kee",          "mask_key",   "key.value",
                                            "\"key\"", "'key'", "api-key",      "\"my key\"", "kye",
                                            "keys",    "a.key", "\"k\\u{65}y\""};
    static constexpr const char* signs[] = {"=", " = ", "=", " =\n", ": ", ":", "== "};
    static constexpr const char* before[] = {
        "",   "service=p ",  "service=p name=keep ", "service=p name=hash(",
        "# ", "service=p\n", "\xEF\xBB\xBF",         "service=p a=fixed('x') "};
    static constexpr const char* behind[] = {"", " name=kep", " name=keep", ") b=kep", "' name='kep'", "'\""};
    const std::string secret = "MARKERmarker";
    Chance chance(20);
    int tried = 0;
    for (int i = 0; i < 20'000; ++i) {
        const std::string noise = chance.noise();
        if (noise.find("file:") != std::string::npos) continue; // what looks like a path is shown
        const std::string text = chance.one_of(before) + chance.one_of(names) + chance.one_of(signs) + noise +
                                 secret + chance.noise() + chance.one_of(behind);
        const std::string message = Parsed(text).message;
        ASSERT_EQ(message.find(secret), std::string::npos) << text << "\n" << message;
        ASSERT_EQ(without_key(text).find(secret), std::string::npos) << text << "\n" << without_key(text);
        ++tried;
    }
    EXPECT_GT(tried, 10'000);
}

} // namespace
} // namespace velk::test
