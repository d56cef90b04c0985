#include "provider/definition.h"

#include "text/records.h"
#include "text/unicode.h"

namespace velk::engine {

namespace {

bool is_same(std::string_view kept, const char* utf8, std::size_t bytes)
{
    return bytes >= kept.size() && std::memcmp(utf8, kept.data(), kept.size()) == 0 &&
           (bytes == kept.size() || utf8[kept.size()] == '\0');
}

bool is_same(std::string_view kept, const char16_t* wide, std::size_t units)
{
    const std::u16string_view text(wide, units);
    std::size_t position = 0;
    for (std::size_t i = 0; i < units && text[i] != 0;) {
        if (position == kept.size()) return false;
        const bool ascii = text[i] < 0x80;
        const char32_t code_point = ascii ? text[i++] : next_code_point(text, i);
        const char32_t expected =
            ascii ? static_cast<unsigned char>(kept[position++]) : next_code_point(kept, position);
        if (code_point != expected) return false;
    }
    return position == kept.size();
}

// Block is a TextBlock or a NameBlock: the wide text first, the other one behind it.
template <typename Block>
bool is_same(std::string_view kept, const Block* block, char16_t* Block::* wide_text,
             char* Block::* utf8_text, bool is_wide, std::int32_t size)
{
    if (size < 0) return false;
    if (size == 0) return kept.empty();
    if (block == nullptr) return false;
    const auto bytes = static_cast<std::size_t>(size);
    if (!is_wide) return block->*utf8_text != nullptr && is_same(kept, block->*utf8_text, bytes);
    return block->*wide_text != nullptr && is_same(kept, block->*wide_text, bytes / sizeof(char16_t));
}

bool is_same(const KeptDefinition::Operand& kept, const OPRA& record)
{
    return has_header(record, "OPRA") && record.parameterId == kept.parameter_id && is_text(record) &&
           is_same(kept.name, record.PN.pWC, &TextBlock::pParmName, &TextBlock::utf8Text,
                   record.nameType == wide_name, record.nameSize) &&
           is_same(kept.text, record.PV.pWC, &TextBlock::pParamVal, &TextBlock::utf8Text,
                   record.valueType == wide_value, record.valueSize);
}

bool is_same(const KeptDefinition::Column& kept, const FLDA& record)
{
    return has_header(record, "FLDA") && record.dataType == kept.type && record.fieldLength == kept.length &&
           is_same(kept.name, record.nameBlock, &NameBlock::wideName, &NameBlock::utf8Name,
                   record.nameEncoding != utf8_name, record.nameSize);
}

template <typename Kept, typename Record>
void require_same(const std::vector<Kept>& kept, const Record* record, const char* what)
{
    std::size_t count = 0;
    for (; record != nullptr && count < kept.size() && is_same(kept[count], *record); record = record->next)
        ++count;
    if (record != nullptr || count < kept.size())
        throw Failure{service_differs, what + std::to_string(count + 1)};
}

} // namespace

KeptDefinition keep_definition(const SVCA& service)
{
    KeptDefinition kept;
    for (const OPRA* record = service.firstOperand; record != nullptr; record = record->next)
        kept.operands.push_back({record->parameterId, name_of(*record), text_of(*record)});
    for (const FLDA* record = service.firstField; record != nullptr; record = record->next)
        kept.columns.push_back({name_of(*record), record->fieldLength, record->dataType});
    return kept;
}

void require_same(const KeptDefinition& kept, const SVCA& service)
{
    require_same(kept.columns, service.firstField, "column ");
    require_same(kept.operands, service.firstOperand, "operand ");
}

} // namespace velk::engine
