#include "text/records.h"

#include "text/excerpt.h"
#include "text/unicode.h"

#include <algorithm>
#include <optional>

namespace velk::engine {

namespace {

void require_text(const void* text, std::int32_t size, ErrorCode code)
{
    if (size < 0 || (size > 0 && text == nullptr)) throw Failure{code};
}

// What a message calls an ill-formed text; nothing: a name, which is shown as far as it can be read.
using Subject = std::optional<std::string>;

std::string utf8_from(const char16_t* text, std::int32_t size, const Subject& subject)
{
    const auto units = static_cast<std::size_t>(size) / 2;
    const std::u16string_view wide(text, static_cast<std::size_t>(std::find(text, text + units, 0) - text));
    if (!is_well_formed(wide))
        throw Failure{operand_text_ill_formed, subject ? *subject : shown(to_utf8(wide))};
    return to_utf8(wide);
}

std::string utf8_from(const char* text, std::int32_t size, const Subject& subject)
{
    const auto bytes = static_cast<std::size_t>(size);
    const std::string_view utf8(text, static_cast<std::size_t>(std::find(text, text + bytes, 0) - text));
    if (!is_well_formed(utf8)) throw Failure{operand_text_ill_formed, subject ? *subject : shown(utf8)};
    return std::string(utf8);
}

// The second slot is read only where it must be there: blocks of wide text may end behind the first.
std::string text_in(const TextBlock* block, bool wide, std::int32_t size, const Subject& subject)
{
    require_text(block, size, operand_record_damaged);
    if (size == 0) return {};
    if (wide) {
        require_text(block->pParmName, size, operand_record_damaged);
        return utf8_from(block->pParmName, size, subject);
    }
    require_text(block->utf8Text, size, operand_record_damaged);
    return utf8_from(block->utf8Text, size, subject);
}

} // namespace

std::string name_of(const OPRA& operand)
{
    return text_in(operand.PN.pWC, operand.nameType == wide_name, operand.nameSize, std::nullopt);
}

std::string text_of(const OPRA& operand)
{
    // The value may be a key that was given instead of its source, so only its name is told.
    return text_in(operand.PV.pWC, operand.valueType == wide_value, operand.valueSize,
                   "value of " + shown(name_of(operand)));
}

std::string name_of(const FLDA& field)
{
    require_text(field.nameBlock, field.nameSize, field_record_damaged);
    if (field.nameSize == 0) return {};
    if (field.nameEncoding == utf8_name) {
        require_text(field.nameBlock->utf8Name, field.nameSize, field_record_damaged);
        return utf8_from(field.nameBlock->utf8Name, field.nameSize, std::nullopt);
    }
    require_text(field.nameBlock->wideName, field.nameSize, field_record_damaged);
    return utf8_from(field.nameBlock->wideName, field.nameSize, std::nullopt);
}

} // namespace velk::engine
