#include "support.h"
#include "text/messages.h"
#include "text/unicode.h"

#include <cstring>

namespace velk::test {
namespace {

EMSG request_for(std::int32_t code, MessageBuffers* buffers)
{
    EMSG request{};
    std::memcpy(request.eyeCatcher, "EMSG", 4);
    request.version = 21;
    request.length = 40;
    request.errorCode = static_cast<std::uint32_t>(code);
    request.textEncoding = 'W';
    request.buffers = buffers;
    return request;
}

class Messages : public FrameworkTest {};

TEST(MessageTable, has_three_parts_for_every_code_and_no_code_twice)
{
    std::set<std::int32_t> codes;
    for (const Message& message : messages()) {
        EXPECT_TRUE(codes.insert(message.code).second) << message.code;
        EXPECT_FALSE(message.heading.empty()) << message.code;
        EXPECT_FALSE(message.detail.empty()) << message.code;
        EXPECT_FALSE(message.trailing.empty()) << message.code;
        EXPECT_LT(message.heading.size() + message.detail.size() + message.trailing.size(), 1000u);
        EXPECT_TRUE(message.code < 7219 || message.code > 7222) << "these are the bridge's own";
        const int range = message.code / 100;
        EXPECT_TRUE(range >= 71 && range <= 75) << message.code;
    }
    EXPECT_GT(codes.size(), 80u);
}

TEST(MessageTable, knows_nothing_of_other_codes)
{
    MessageBuffers buffers{};
    for (const std::int32_t code : {-1, 0, 1, 7000, 7219, 7220, 7221, 7222, 9999}) {
        EMSG request = request_for(code, &buffers);
        EXPECT_EQ(Provider_GetErrorMessage(&request), message_unknown) << code;
    }
    EMSG request = request_for(-1, &buffers);
    expect_code(Provider_GetErrorMessage(&request), message_unknown);
}

TEST(MessageTable, refuses_a_damaged_request)
{
    MessageBuffers buffers{};
    expect_code(Provider_GetErrorMessage(nullptr), message_request_damaged);
    EMSG request = request_for(7101, nullptr);
    expect_code(Provider_GetErrorMessage(&request), message_request_damaged);
    request = request_for(7101, &buffers);
    request.eyeCatcher[0] = 'X';
    expect_code(Provider_GetErrorMessage(&request), message_request_damaged);
    request = request_for(7101, &buffers);
    request.version = 20;
    expect_code(Provider_GetErrorMessage(&request), message_request_damaged);
    request = request_for(7101, &buffers);
    request.length = 39;
    expect_code(Provider_GetErrorMessage(&request), message_request_damaged);
    request = request_for(7101, &buffers);
    request.textEncoding = 'M';
    expect_code(Provider_GetErrorMessage(&request), message_request_damaged);
}

TEST(MessageTable, writes_no_further_than_a_buffer_goes)
{
    const Texts whole = texts_of(framework_not_started);
    for (std::uint32_t capacity = 0; capacity < 12; ++capacity) {
        std::u16string text(8, u'#');
        MessageBuffers buffers{capacity, 0, 0, {}, text.data(), nullptr, nullptr};
        EMSG request = request_for(framework_not_started, &buffers);
        EXPECT_EQ(Provider_GetErrorMessage(&request), 0);
        const std::size_t room = capacity / 2;
        EXPECT_EQ(text.substr(room), std::u16string(8 - room, u'#')) << capacity;
        if (room > 0) {
            EXPECT_EQ(text.c_str(), whole.heading.substr(0, room - 1));
        }
    }
}

TEST_F(Messages, quote_what_was_wrong_for_the_last_failed_call_only)
{
    Service service;
    service.column("email", "emial", "domain=example.com");
    EXPECT_EQ(try_start(service), function_unknown);
    EXPECT_EQ(texts_of(function_unknown).heading, u"7301 unknown function \"emial\"");
    EXPECT_TRUE(
        texts_of(function_unknown).detail.starts_with(u"column \"email\"\nrule emial(domain=example.com)\n"));
    EXPECT_EQ(texts_of(function_unknown).heading, u"7301 unknown function \"emial\"")
        << "asking changes nothing";
    EXPECT_EQ(texts_of(argument_unknown).heading, u"7302 unknown argument") << "another code is not about it";
    EXPECT_EQ(Provider_Term(12345), provider_unknown);
    EXPECT_EQ(texts_of(function_unknown).heading, u"7301 unknown function")
        << "another call has failed since";
    EXPECT_EQ(texts_of(provider_unknown).heading, u"7402 unknown provider \"12345\"");
    Service good;
    good.column("email", "keep");
    EXPECT_EQ(try_start(good), 0);
    EXPECT_EQ(texts_of(provider_unknown).heading, u"7402 unknown provider");
}

TEST_F(Messages, clip_names_and_keep_below_3000_bytes)
{
    std::string name;
    for (int i = 0; i < 2000; ++i) name += "\u65E5";
    Service service;
    service.column(name, name, "'" + name + "'");
    EXPECT_EQ(try_start(service), function_unknown);
    const Texts texts = texts_of(function_unknown);
    EXPECT_TRUE(contains(texts.heading, std::u16string(40, u'\u65E5') + u"...\""));
    EXPECT_FALSE(contains(texts.heading, std::u16string(41, u'\u65E5')));
    EXPECT_TRUE(contains(texts.detail, u"rule " + std::u16string(60, u'\u65E5') + u"...\n"));
    const std::string whole = to_utf8(texts.heading + u":\n" + texts.detail + u"\n" + texts.trailing);
    EXPECT_LT(whole.size(), 3000u);
}

TEST_F(Messages, stay_below_3000_bytes_whatever_they_quote)
{
    std::string name;
    for (int i = 0; i < 300; ++i) name += "😀";
    Service service;
    service.column(name, name);
    service.operand(1, "x" + name, "'" + name + "'");
    EXPECT_EQ(try_start(service), column_with_two_rules);
    const Texts texts = texts_of(column_with_two_rules);
    EXPECT_TRUE(contains(texts.heading, u"\\u{1F600}")) << "four-byte characters are shown by number";
    EXPECT_FALSE(contains(texts.heading + texts.detail, u"😀"));
    EXPECT_EQ(texts.heading.size(), 500u) << "both names would take more than 700";
    EXPECT_LT(to_utf8(texts.heading + texts.detail + texts.trailing).size(), 3000u);
}

} // namespace
} // namespace velk::test
