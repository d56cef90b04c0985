// What the keyed functions make of some values, worked out by another program from what each of them draws
// from the keyed hash. Whoever changes a result here changes it for everyone who has masked data.

#include "datacnv/unicode.h"
#include "support.h"

namespace velk::test {
namespace {

class KnownResults : public FrameworkTest {};

TEST_F(KnownResults, are_the_same_in_every_release_and_on_every_platform)
{
    const struct {
        const char* rule;
        const char* arguments;
        const char* type;
        std::int32_t length;
        const char* value;
        const char* result;
    } rows[] = {
        {"classes", "", "", 0, "Anna Smith, 42 Main St", "Qidy Kjhws, 10 Kecs Au"},
        {"classes", "scope=s", "", 0, "Anna Smith, 42 Main St", "Wqyi Vsudb, 23 Bzwo Vv"},
        {"classes", "", "", 0, "Анна 김민준 山田太郎 ٤٢ 😀", "Ӗҭӱҁ 쿻옴뾸 円瀕硐雼 ٩٤ 😀"},
        {"classes", "", "decimal(6,2)", 8, "-1002.10", "-3110.91"},
        {"hash", "", "", 32, "Zoë 😀", "b68a1e6ff4bc5be563d2e1c1eb648f7d"},
        {"email", "", "", 24, "zoe@example.org", "z1yndfsd4cto@example.com"},
        {"email", "domain=x.de", "", 17, "zoe@example.org", "z1yndfsd4cto@x.de"},
        {"dict", "list=first_names", "", 20, "Anna", "شیرین"},
        {"dict", "list=cities", "", 20, "Anna", "مسقط"},
        {"dateshift", "days=30", "date", 10, "2024-02-29", "2024-02-25"},
        {"dateshift", "days=1000", "timestamp", 29, "1999-12-31T23:59:59.5", "2000-05-04T23:59:59.5"},
        {"noise", "percent=10", "integer", 20, "123456", "116975"},
        {"noise", "percent=50", "decimal(9,2)", 11, "-98765.43", "-69349.86"},
        {"noise", "percent=100", "integer", 20, "1234567890123456", "336206305820100"},
        {"card", "keep_first=6", "", 0, "4012 8888 8888 1881", "4012 8871 0791 6098"},
        {"card", "", "", 0, "4012888888881881", "5185954766806222"},
        {"ff1", "", "", 0, "123-45-6789", "615-46-8649"},
        {"ff1", "alphabet=letters", "", 0, "Anna Maria", "BLIC QRYOo"},
    };
    for (const auto& [rule, arguments, type, length, value, result] : rows) {
        const Outcome outcome = mask(rule, arguments, to_utf16(value), type, length);
        EXPECT_EQ(outcome.error, 0);
        EXPECT_EQ(to_utf8(outcome.text.value_or(u"<null>")), result) << rule << "(" << arguments << ")";
    }
}

} // namespace
} // namespace velk::test
