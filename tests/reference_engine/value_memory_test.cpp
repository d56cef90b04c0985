// What a call has read is gone when it has ended, but for the caller's own buffer.

#include "memory_search.h"
#include "support.h"

#include <gtest/gtest.h>

#include <array>

namespace velk::test {
namespace {

#if VELK_MEMORY_CAN_BE_SEARCHED

constexpr char pattern = 0x5A;

// Never as it is: what is searched for must not be found because of the search.
std::string masked_bytes(const char16_t* units, std::size_t count)
{
    std::string bytes(count * sizeof(char16_t), '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(reinterpret_cast<const char*>(units)[i] ^ pattern);
    return bytes;
}

std::string masked_ascii(const char16_t* units, std::size_t count)
{
    std::string bytes(count, '\0');
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<char>(units[i] ^ pattern);
    return bytes;
}

// Letters and digits of the form are drawn, zeros and all else stay. Nothing but the buffer ever holds them.
void draw_value(std::string_view form, char16_t* buffer)
{
    for (std::size_t i = 0; i < form.size(); ++i) {
        const unsigned drawn = byte_made_by_chance();
        const char unit = form[i];
        if (unit == '9')
            buffer[i] = static_cast<char16_t>('1' + drawn % 9);
        else if (unit == 'x')
            buffer[i] = static_cast<char16_t>('a' + drawn % 26);
        else
            buffer[i] = static_cast<char16_t>(unit);
    }
}

class ValuesInMemory : public FrameworkTest {
protected:
    // The start of freed memory is often written over, so its end is looked for as well.
    void expect_gone(const std::string& rule, const std::string& arguments, std::string_view form,
                     const std::string& type, std::int32_t length)
    {
        SCOPED_TRACE(rule + "(" + arguments + ") " + std::string(form));
        static std::array<char16_t, 256> buffer;
        buffer.fill(u'\0');
        draw_value(form, buffer.data());
        const std::size_t half = form.size() / 2;
        const std::string sought[] = {
            masked_bytes(buffer.data(), form.size()), masked_bytes(buffer.data() + half, form.size() - half),
            masked_ascii(buffer.data(), form.size()), masked_ascii(buffer.data() + half, form.size() - half)};
        Service service;
        service.operand(0, "key", "env:VELK_TEST_KEY");
        service.column("value", rule, arguments, length, type);
        const std::int32_t handle = start(service);
        // Beside another one, with which a short one is hashed at a time.
        Rows rows(1);
        rows.add({u""});
        rows.add({u"2000000000"});
        rows.field(0, 0).buffer = buffer.data();
        rows.field(0, 0).bufferSize = sizeof buffer;
        EXPECT_EQ(copies_in_memory(sought[0], pattern), 1u) << "the buffer itself";
        EXPECT_EQ(run(handle, service, rows), 0);
        EXPECT_EQ(rows.field(0, 0).errorCode, 0);
        for (const std::string& bytes : sought) EXPECT_EQ(copies_in_memory(bytes, pattern), 0u);
        EXPECT_EQ(Provider_Term(handle), 0);
    }
};

TEST_F(ValuesInMemory, are_gone_after_a_call)
{
    const std::string name(40, 'x');
    expect_gone("classes", "", name, "varchar(40)", 40);
    expect_gone("hash", "", name, "varchar(40)", 40);
    expect_gone("partial", "", name, "varchar(40)", 40);
    expect_gone("dict", "list=cities", name, "varchar(40)", 40);
    expect_gone("fixed", "gone", name, "varchar(40)", 40);
    expect_gone("email", "", name + "@" + name + ".example", "varchar(99)", 99);
    expect_gone("card", "", std::string(19, '9'), "varchar(40)", 40);
    expect_gone("ff1", "", std::string(40, '9'), "varchar(99)", 99);
    expect_gone("ff1", "alphabet=letters", name + name + name, "varchar(120)", 120);
}

TEST_F(ValuesInMemory, of_numbers_that_are_put_together_are_gone_after_a_call)
{
    expect_gone("noise", "percent=10", "-00" + std::string(30, '9') + ".99", "decimal(60,2)", 62);
    expect_gone("noise", "percent=10", "-00" + std::string(14, '9') + ".99", "decimal(60,2)", 62);
    expect_gone("noise", "percent=10", std::string(40, '9'), "decimal(60,0)", 62);
}

#endif

} // namespace
} // namespace velk::test
