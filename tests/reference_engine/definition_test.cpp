// A service call takes the definition that its provider was started with and no other: another one's rules
// could give back clear what the provider's hide, or the other way round.

#include "support.h"
#include "text/unicode.h"

#include <algorithm>
#include <cstring>

namespace velk::test {
namespace {

class Definitions : public FrameworkTest {
protected:
    // The first column is kept clear: values under the wrong rule would be seen.
    static Service people(Held held = Held::wide)
    {
        Service service(held);
        service.operand(0, "key", "env:VELK_TEST_KEY");
        service.column("město", "keep", "", 20, "varchar(20)");
        service.column("name", "partial", "keep_first=1", 20, "varchar(20)");
        return service;
    }

    void expect_refused(std::int32_t handle, Service& service, const std::u16string& place)
    {
        Rows rows(2);
        rows.add({u"Brno", u"Anna Smith"});
        rows.add({u"Praha", u"Berta"});
        expect_code(run(handle, service, rows), service_differs);
        EXPECT_TRUE(contains(texts_of(service_differs).heading, place))
            << to_utf8(texts_of(service_differs).heading);
        EXPECT_TRUE(rows.all_cleared());
        for (std::size_t row = 0; row < 2; ++row) {
            EXPECT_EQ(rows.row(row).hasError, 1);
            for (std::size_t column = 0; column < 2; ++column)
                EXPECT_EQ(rows.field(row, column).errorCode, service_differs);
        }
    }

    void expect_taken(std::int32_t handle, Service& service)
    {
        Rows rows(2);
        rows.add({u"Brno", u"Anna Smith"});
        EXPECT_EQ(run(handle, service, rows), 0);
        EXPECT_EQ(rows.text(0, 0), u"Brno");
        EXPECT_EQ(rows.text(0, 1), u"A*********");
    }
};

// Writes over a text where it stands.
void overwrite(char16_t* text, const std::u16string& other)
{
    std::copy_n(other.c_str(), other.size() + 1, text);
}

TEST_F(Definitions, that_exchange_two_columns_are_refused)
{
    Service service = people();
    const std::int32_t handle = start(service);
    Service exchanged;
    exchanged.operand(0, "key", "env:VELK_TEST_KEY");
    exchanged.column("name", "partial", "keep_first=1", 20, "varchar(20)");
    exchanged.column("město", "keep", "", 20, "varchar(20)");
    expect_refused(handle, exchanged, u"\"column 1\"");
    std::swap(service.fields[0].nameBlock, service.fields[1].nameBlock);
    std::swap(service.fields[0].nameSize, service.fields[1].nameSize);
    expect_refused(handle, service, u"\"column 1\"");
}

TEST_F(Definitions, that_exchange_two_rules_are_refused)
{
    Service service = people();
    const std::int32_t handle = start(service);
    for (OPRA& operand : service.operands)
        if (operand.parameterId > 0)
            operand.parameterId = static_cast<std::uint16_t>(3 - operand.parameterId);
    expect_refused(handle, service, u"\"operand 2\"");
}

TEST_F(Definitions, that_change_a_rule_in_its_place_are_refused)
{
    Service service = people();
    const std::int32_t handle = start(service);
    char16_t* arguments = service.operands[3].PV.pWC->pParamVal;
    overwrite(arguments, u"keep_first=9");
    expect_refused(handle, service, u"\"operand 4\"");
    overwrite(arguments, u"keep_first=");
    expect_refused(handle, service, u"\"operand 4\"");
    overwrite(arguments, u"keep_first=1");
    expect_taken(handle, service);
    overwrite(service.operands[3].PN.pWC->pParmName, u"keep");
    expect_refused(handle, service, u"\"operand 4\"");
}

TEST_F(Definitions, that_change_a_limit_in_its_place_are_refused)
{
    Service service = people();
    const std::int32_t handle = start(service);
    service.fields[1].fieldLength = 19;
    expect_refused(handle, service, u"\"column 2\"");
    service.fields[1].fieldLength = 20;
    expect_taken(handle, service);
}

TEST_F(Definitions, with_an_operand_or_a_column_more_or_less_are_refused)
{
    Service service = people();
    const std::int32_t handle = start(service);
    Service more = people();
    more.operand(1, "unique", "true");
    expect_refused(handle, more, u"\"operand 6\"");
    Service less = people();
    less.operands.pop_back();
    expect_refused(handle, less, u"\"operand 5\"");
    Service wider = people();
    wider.field("note", 0);
    expect_refused(handle, wider, u"\"column 3\"");
    Service narrower = people();
    narrower.fields.pop_back();
    expect_refused(handle, narrower, u"\"column 2\"");
}

TEST_F(Definitions, that_differ_in_anything_else_that_is_said_are_refused)
{
    Service service = people();
    const std::int32_t handle = start(service);
    const auto attempt = [&](const std::u16string& place, auto change) {
        for (const Held held : {Held::wide, Held::utf8}) {
            Service changed = people(held);
            change(changed);
            expect_refused(handle, changed, place);
        }
    };
    attempt(u"column 1", [](Service& changed) { changed.fields[0].dataType = 5; });
    attempt(u"column 1", [](Service& changed) { changed.fields[0].eyeCatcher[0] = 'X'; });
    attempt(u"column 1", [](Service& changed) { changed.fields[0].nameSize = -1; });
    attempt(u"column 1", [](Service& changed) { changed.fields[0].nameSize = 0; });
    attempt(u"column 1", [](Service& changed) { changed.fields[0].nameSize -= 4; });
    attempt(u"column 1", [](Service& changed) { changed.fields[0].nameBlock = nullptr; });
    attempt(u"column 1", [](Service& changed) { *changed.fields[0].nameBlock = {}; });
    attempt(u"operand 1", [](Service& changed) { changed.operands[0].parameterId = 1; });
    attempt(u"operand 1", [](Service& changed) { changed.operands[0].valueType = integer_value; });
    attempt(u"operand 1", [](Service& changed) { changed.operands[0].version = 20; });
    attempt(u"operand 1", [](Service& changed) { changed.operands[0].PN.pWC = nullptr; });
    attempt(u"operand 1", [](Service& changed) { changed.operands[0].PV = changed.operands[1].PV; });
    expect_taken(handle, service);
}

TEST_F(Definitions, that_change_one_character_of_a_name_are_refused)
{
    Service service = people();
    const std::int32_t handle = start(service);
    for (const char* name : {"mesto", "měst", "městoo", "mešto", "", "MĚSTO"}) {
        for (const Held held : {Held::wide, Held::utf8}) {
            Service changed(held);
            changed.operand(0, "key", "env:VELK_TEST_KEY");
            changed.column(name, "keep", "", 20, "varchar(20)");
            changed.column("name", "partial", "keep_first=1", 20, "varchar(20)");
            expect_refused(handle, changed, u"\"column 1\"");
        }
    }
    Service surrogate = people();
    surrogate.fields[0].nameBlock->wideName[1] = u'\xD800';
    expect_refused(handle, surrogate, u"\"column 1\"");
}

TEST_F(Definitions, that_say_the_same_are_taken_wherever_and_however_they_are_held)
{
    for (const Held started : {Held::wide, Held::utf8}) {
        Service service = people(started);
        const std::int32_t handle = start(service);
        for (const Held held : {Held::wide, Held::utf8}) {
            Service other = people(held);
            expect_taken(handle, other);
        }
        EXPECT_EQ(Provider_Term(handle), 0);
    }
}

} // namespace
} // namespace velk::test
