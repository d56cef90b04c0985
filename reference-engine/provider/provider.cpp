#include "provider/provider.h"

#include "masking/key.h"
#include "provider/trace.h"
#include "text/argument.h"
#include "text/excerpt.h"
#include "text/failure.h"
#include "text/key_source.h"
#include "text/records.h"
#include "text/unicode.h"

#include <algorithm>
#include <array>
#include <set>

namespace velk::engine {

namespace {

struct Operand {
    std::string name;
    std::string text;
};

// The operands of the service (first) and of each column, in the order of their definition.
using Operands = std::vector<std::vector<Operand>>;

void read_operand(const OPRA& record, Operands& operands)
{
    if (!has_header(record, "OPRA")) throw Failure{operand_record_damaged};
    std::string name = name_of(record);
    if (record.parameterId >= operands.size())
        throw Failure{rule_without_column, shown(name) + " of column " + std::to_string(record.parameterId)};
    if (!is_text(record)) throw Failure{operand_not_text, shown(name)};
    operands[record.parameterId].push_back({std::move(name), text_of(record)});
}

Operands read_operands(const SVCA& service, const std::vector<Column>& columns)
{
    Operands operands(columns.size() + 1);
    for (const OPRA* record = service.firstOperand; record != nullptr; record = record->next) {
        try {
            read_operand(*record, operands);
        } catch (Failure& failure) {
            const std::size_t id = record->parameterId;
            if (id > 0 && id <= columns.size()) add_place(failure, columns[id - 1]);
            throw;
        }
    }
    return operands;
}

// The text of the operand with that name; null if there is none.
const std::string* find_text(const std::vector<Operand>& operands, std::string_view name)
{
    const auto found = std::find_if(operands.begin(), operands.end(),
                                    [name](const Operand& operand) { return operand.name == name; });
    return found == operands.end() ? nullptr : &found->text;
}

void refuse_repetition(const std::vector<Operand>& operands)
{
    std::set<std::string_view> names;
    for (const Operand& operand : operands)
        if (!names.insert(operand.name).second) throw Failure{operand_repeated, shown(operand.name)};
}

Column read_column(const FLDA& field, std::size_t number)
{
    if (!has_header(field, "FLDA")) throw Failure{field_record_damaged, std::to_string(number)};
    Column column;
    column.name = name_of(field);
    if (column.name.empty()) throw Failure{column_name_missing, std::to_string(number)};
    if (stands_for_columns(column.name)) throw Failure{column_is_pattern, shown(column.name)};
    try {
        if (field.dataType != exchanged_type)
            throw Failure{data_type_unsupported, std::to_string(field.dataType)};
        if (field.fieldLength < 0) throw Failure{field_length_negative, std::to_string(field.fieldLength)};
    } catch (Failure& failure) {
        add_place(failure, column);
        throw;
    }
    column.limits.length = static_cast<std::size_t>(field.fieldLength);
    return column;
}

std::vector<Column> read_columns(const SVCA& service)
{
    std::vector<Column> columns;
    for (const FLDA* field = service.firstField; field != nullptr; field = field->next)
        columns.push_back(read_column(*field, columns.size() + 1));
    if (columns.empty()) throw Failure{no_columns};
    return columns;
}

void read_attributes(const std::vector<Operand>& operands, ColumnLimits& limits)
{
    if (const std::string* text = find_text(operands, type_attribute)) limits.type = parse_type(*text);
    const bool sized = limits.type.name == TypeName::character || limits.type.name == TypeName::varying;
    if (sized && limits.length != static_cast<std::size_t>(limits.type.length))
        throw Failure{field_length_contradicts_type,
                      std::to_string(limits.length) + " and " + std::to_string(limits.type.length)};
    const std::string* unique = find_text(operands, unique_attribute);
    if (unique != nullptr && *unique != "true") throw Failure{unique_not_true, shown(*unique)};
}

// The one operand that is no attribute.
const Operand& rule_of(const std::vector<Operand>& operands)
{
    const Operand* rule = nullptr;
    for (const Operand& operand : operands) {
        if (std::ranges::find(column_attributes, operand.name) != column_attributes.end()) continue;
        if (rule != nullptr)
            throw Failure{column_with_two_rules, shown(rule->name) + " and " + shown(operand.name)};
        rule = &operand;
    }
    if (rule == nullptr) throw Failure{column_without_rule, {}, {}, function_advice("")};
    return *rule;
}

// Its text may be a key, so it does not become a rule that messages show.
void refuse_service_operand(const Operand& rule)
{
    if (is_service_operand(rule.name))
        throw Failure{
            function_unknown, rule.name, {}, "It speaks of the whole service: give it parameter id 0."};
}

[[noreturn]] void refuse_other_column(std::string_view name, const char* reason)
{
    throw Failure{argument_unusable, "by=" + shown(name), {}, reason};
}

// The place of the column that a rule names; nothing if it names none.
std::optional<std::size_t> find_other_column(const Rule& rule, const Column& own,
                                             const std::vector<Column>& columns)
{
    const std::string_view name = other_column(rule);
    if (name.empty()) return std::nullopt;
    if (name == own.name) refuse_other_column(name, "It is the column itself: leave by out.");
    const auto has_name = [name](const Column& column) { return column.name == name; };
    const auto found = std::find_if(columns.begin(), columns.end(), has_name);
    if (found == columns.end()) {
        std::vector<std::string_view> names;
        for (const Column& column : columns)
            if (&column != &own) names.push_back(column.name);
        throw Failure{column_unknown, shown(name), {}, advice(name, "Columns", names)};
    }
    if (std::any_of(found + 1, columns.end(), has_name))
        refuse_other_column(name, "Several columns have this name: give them names of their own.");
    return static_cast<std::size_t>(found - columns.begin());
}

void compile_column(Provider& provider, Column& column, const std::vector<Operand>& operands,
                    const HmacKey* key)
{
    try {
        refuse_repetition(operands);
        const Operand& rule = rule_of(operands);
        refuse_service_operand(rule);
        column.rule = without_key(rule.name + "(" + rule.text + ")");
        read_attributes(operands, column.limits);
        const Rule said = read_rule(rule.name, rule.text, column.limits.type);
        require_fit(said, column.limits);
        column.by = find_other_column(said, column, provider.columns);
        provider.has_named_columns |= column.by.has_value();
        column.may_leave_type = may_leave_type(said);
        column.mask = make_mask(said, key);
    } catch (Failure& failure) {
        add_place(failure, column);
        throw;
    }
}

// Null: the service has none.
std::unique_ptr<const HmacKey> read_service_key(const std::vector<Operand>& operands)
{
    const std::string* source = find_text(operands, "key");
    if (source == nullptr) return nullptr;
    auto key = std::make_unique<const HmacKey>(read_key(*source));
    if (others_may_read_key(*source))
        trace_note("key file", "others may read " + shown_key_source(*source) +
                                   "; if nothing of the system needs that: chmod 600");
    return key;
}

void read_service_operands(const std::vector<Operand>& operands, Provider& provider)
{
    for (const Operand& operand : operands) require_service_operand(operand.name);
    refuse_repetition(operands);
    if (const std::string* way = find_text(operands, "on_error")) provider.on_error = parse_on_error(*way);
    if (const std::string* way = find_text(operands, "on_null")) provider.masks_null = masks_null(*way);
}

// Of a text column the limit speaks of its rule only; a longer error text is judged value by value.
void require_error_text_fits(const Provider& provider, const Column& column)
{
    if (provider.on_error.way != OnError::fixed || column.limits.type.name == TypeName::text) return;
    try {
        require_fit(provider.on_error.text, column.limits);
    } catch (Failure& failure) {
        add_detail(failure, "on_error = fixed(...)");
        add_place(failure, column);
        throw;
    }
}

} // namespace

void add_place(Failure& failure, const Column& column)
{
    add_detail(failure, "column \"" + shown(column.name) + "\"");
    if (!column.rule.empty()) add_detail(failure, "rule " + shown(column.rule, rule_excerpt));
}

void require_service(const SVCA* service)
{
    if (service == nullptr || !has_header(*service, "SVCA")) throw Failure{service_record_damaged};
    require_count(service->firstOperand, service->operandCount, operand_count_differs);
    require_count(service->firstField, service->fieldCount, field_count_differs);
}

Provider make_provider(const SVCA* service)
{
    require_service(service);
    Provider provider;
    provider.columns = read_columns(*service);
    const Operands operands = read_operands(*service, provider.columns);
    read_service_operands(operands.front(), provider);
    const std::unique_ptr<const HmacKey> key = read_service_key(operands.front());
    for (std::size_t i = 0; i < provider.columns.size(); ++i) {
        compile_column(provider, provider.columns[i], operands[i + 1], key.get());
        require_error_text_fits(provider, provider.columns[i]);
    }
    provider.definition = keep_definition(*service);
    return provider;
}

} // namespace velk::engine
