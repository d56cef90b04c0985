// What the keyed functions for texts make of some values, worked out by another program from the words that
// their sources describe them with. Whoever changes a result here changes it for everyone who has masked
// data.

#include "support.h"
#include "text/unicode.h"

namespace velk::test {
namespace {

class TextKnownResults : public FrameworkTest {};

TEST_F(TextKnownResults, are_the_same_in_every_release_and_on_every_platform)
{
    const struct {
        const char* rule;
        const char* arguments;
        std::int32_t length;
        const char* value;
        const char* result;
    } rows[] = {
        {"classes", "", 0, "Anna Smith, 42 Main St", "Ciru Jvgni, 91 Eiaa Gv"},
        {"classes", "", 0, "Anna 김민준 山田太郎 ٤٢ 😀", "Oelw 휟숡콹 擔矊貒馅 ٣٣ 😨"},
        {"classes", "", 0, "-1002.10", "-9474.26"},
        {"classes", "", 0, "0000000007", "7457122140"},
        {"classes", "", 0, "9223372036854775807", "8029087495461161877"},
        {"classes", "", 0, "हिन्दी ½ ♀♂ 🇩🇪", "ङॏठु\u095Eी ³ ♧☑ 🇪🇫"},
        {"classes", "", 0, "5", "6"},
        {"hash", "", 32, "Zoë 😀", "8baa43798f21f85b180f17c8980b5c98"},
        {"email", "", 24, "zoe@example.org", "hvvwnfv6ok8c@example.com"},
        {"email", "domain=x.de", 17, "zoe@example.org", "q2kijsp1kjad@x.de"},
        {"dict", "list=first_names", 20, "Anna", "Luísa"},
        {"dict", "list=cities", 20, "Anna", "Bacău"},
    };
    for (const auto& [rule, arguments, length, value, result] : rows) {
        const Outcome outcome = mask(rule, arguments, to_utf16(value), "", length);
        EXPECT_EQ(outcome.error, 0);
        EXPECT_EQ(to_utf8(outcome.text.value_or(u"<null>")), result) << rule << "(" << arguments << ")";
    }
}

} // namespace
} // namespace velk::test
