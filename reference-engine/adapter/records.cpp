#include "adapter/records.h"

#include "text/records.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace velk::engine {

namespace {

void* allocate(std::size_t size)
{
    void* block = std::calloc(1, size);
    if (block == nullptr) throw std::bad_alloc{};
    return block;
}

template <typename Record> void set_header(Record& record, const char (&eye_catcher)[5])
{
    std::memcpy(record.eyeCatcher, eye_catcher, 4);
    record.version = record_version;
    record.length = sizeof(Record);
}

// The first slot stays empty: whoever releases the block would release a text there by itself.
TextBlock* make_text(std::string_view text)
{
    auto* block = static_cast<TextBlock*>(allocate(sizeof(TextBlock) + text.size() + 1));
    block->utf8Text = reinterpret_cast<char*>(block + 1);
    std::memcpy(block->utf8Text, text.data(), text.size());
    return block;
}

// Where the next record of each chain is hung.
struct Ends {
    OPRA** operand;
    FLDA** field;
};

void add_operand(Ends& ends, std::size_t id, std::string_view name, std::string_view text)
{
    auto* operand = static_cast<OPRA*>(allocate(sizeof(OPRA)));
    *ends.operand = operand;
    ends.operand = &operand->next;
    set_header(*operand, "OPRA");
    operand->parameterId = static_cast<std::uint16_t>(id);
    operand->PN.pWC = make_text(name);
    operand->nameType = utf8_name;
    operand->nameSize = static_cast<std::int32_t>(name.size());
    operand->PV.pWC = make_text(text);
    operand->valueType = utf8_value;
    operand->valueSize = static_cast<std::int32_t>(text.size());
}

void add_field(Ends& ends, const ColumnDefinition& column)
{
    auto* field = static_cast<FLDA*>(allocate(sizeof(FLDA)));
    *ends.field = field;
    ends.field = &field->next;
    set_header(*field, "FLDA");
    field->dataType = exchanged_type;
    field->fieldLength = column.length;
    if (column.type.name == TypeName::decimal) {
        field->precision = column.type.length;
        field->scale = static_cast<std::int16_t>(column.type.scale);
    }
    field->nameEncoding = utf8_name;
    field->nameBlock = static_cast<NameBlock*>(allocate(sizeof(NameBlock)));
    field->nameBlock->utf8Name = static_cast<char*>(allocate(column.name.size() + 1));
    std::memcpy(field->nameBlock->utf8Name, column.name.data(), column.name.size());
    field->nameSize = static_cast<std::int32_t>(column.name.size());
}

void add_column(Ends& ends, std::size_t number, const ColumnDefinition& column)
{
    add_field(ends, column);
    add_operand(ends, number, column.function, column.arguments);
    add_operand(ends, number, type_attribute, type_text(column.type));
    if (column.unique) add_operand(ends, number, unique_attribute, "true");
}

template <typename Record> std::uint16_t count(const Record* first)
{
    std::size_t length = 0;
    for (; first != nullptr; first = first->next) ++length;
    return static_cast<std::uint16_t>(length);
}

void free_operand(OPRA* operand)
{
    std::free(operand->PN.pWC);
    if (operand->valueType == utf8_value) std::free(operand->PV.pWC);
    std::free(operand);
}

void free_field(FLDA* field)
{
    if (field->nameBlock != nullptr) std::free(field->nameBlock->utf8Name);
    std::free(field->nameBlock);
    std::free(field);
}

template <typename Record> void free_chain(Record*& first, void (*free_record)(Record*))
{
    while (first != nullptr) {
        Record* record = first;
        first = record->next;
        free_record(record);
    }
}

} // namespace

void build_records(const ServiceDefinition& definition, SVCA& service)
{
    set_header(service, "SVCA");
    Ends ends{&service.firstOperand, &service.firstField};
    for (const ServiceOperand& operand : definition.operands)
        add_operand(ends, 0, operand.name, operand.text);
    for (std::size_t i = 0; i < definition.columns.size(); ++i)
        add_column(ends, i + 1, definition.columns[i]);
    service.operandCount = count(service.firstOperand);
    service.fieldCount = count(service.firstField);
}

void free_records(SVCA& service)
{
    free_chain(service.firstOperand, free_operand);
    free_chain(service.firstField, free_field);
    service.operandCount = 0;
    service.fieldCount = 0;
}

} // namespace velk::engine
