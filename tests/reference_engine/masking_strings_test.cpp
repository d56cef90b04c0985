#include "support.h"

namespace velk::test {
namespace {

TEST(MaskingStrings, are_refused_by_every_operation_with_a_text_of_its_own)
{
    PRMA parameters{};
    ECBD details{};
    EMSG message{};
    PGDA build{};
    SVCA service{};
    expect_code(Parser_Init(), masking_strings_unavailable);
    expect_code(Parser_ParseParameters(&parameters), masking_strings_unavailable);
    expect_code(Parser_GetErrorInfo(&details), masking_strings_unavailable);
    expect_code(Parser_FormatErrorText(&message), masking_strings_unavailable);
    expect_code(Adapter_Init(), masking_strings_unavailable);
    expect_code(Adapter_BuildServiceDefinition(&build), masking_strings_unavailable);
    expect_code(Adapter_FreeServiceDefinition(&service), masking_strings_unavailable);
    EXPECT_TRUE(contains(texts_of(masking_strings_unavailable).heading, u"not available in this build"));
}

TEST(MaskingStrings, have_no_error_details)
{
    std::int16_t count = 5;
    std::int32_t size = 5;
    EXPECT_EQ(Parser_GetErrorInfoSize(&count, &size), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(Parser_GetErrorInfoSize(nullptr, nullptr), 0);
}

} // namespace
} // namespace velk::test
