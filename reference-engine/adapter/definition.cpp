#include "adapter/definition.h"

#include "masking/rules.h"
#include "masking/service_options.h"
#include "text/excerpt.h"
#include "text/key_source.h"
#include "text/unicode.h"

#include <algorithm>
#include <array>
#include <optional>
#include <set>

namespace velk::engine {

namespace {

// Runs what reads a value: what is wrong with it is wrong at its place.
template <typename Work> auto at(const Place& place, Work work)
{
    try {
        return work();
    } catch (Failure& failure) {
        failure.place = place;
        failure.detail.clear();
        throw;
    }
}

std::string read_id(const Entry& entry)
{
    std::string id = text_of(entry);
    if (!is_service_id(id)) throw Failure{service_id_invalid, shown(id), {}, {}, entry.value_place};
    return id;
}

std::string read_key_source(const Entry& entry)
{
    std::string source = text_of(entry);
    const std::optional<KeySource> named = key_source(source);
    if (!named || named->name.empty()) throw Failure{key_source_unknown, {}, {}, {}, entry.value_place};
    return source;
}

// What holds for every column.
struct Common {
    const ServiceEntries& service;
    ErrorWay on_error;
    bool has_key;
    std::set<std::string_view> columns{};
};

std::size_t longest_text(const ColumnType& type)
{
    switch (type.name) {
    case TypeName::decimal: // sign, digits, point, and a 0 before the point where all digits stand behind it
        return static_cast<std::size_t>(1 + type.length + (type.scale > 0 ? 1 : 0) +
                                        (type.scale == type.length ? 1 : 0));
    case TypeName::integer:
        return std::string_view("-9223372036854775808").size();
    case TypeName::date:
        return std::string_view("YYYY-MM-DD").size();
    case TypeName::timestamp:
        return std::string_view("YYYY-MM-DD hh:mm:ss.123456789+hh:mm").size();
    default:
        return static_cast<std::size_t>(type.length);
    }
}

void read_attributes(const ColumnEntries& entries, ColumnDefinition& column)
{
    if (const Entry* type = entries.type)
        column.type = at(type->value_place, [type] { return parse_type(text_of(*type)); });
    if (const Entry* unique = entries.unique) {
        if (const std::string text = text_of(*unique); text != "true")
            throw Failure{unique_not_true, shown(text), {}, {}, unique->value_place};
        column.unique = true;
    }
}

void split_rule(const Entry& rule, ColumnDefinition& column)
{
    if (rule.kind == ValueKind::single_quoted || rule.kind == ValueKind::double_quoted)
        throw Failure{rule_quoted, {}, {}, {}, rule.value_place};
    column.function = rule.value.substr(0, rule.value.find('('));
    if (rule.kind == ValueKind::call)
        column.arguments =
            rule.value.substr(column.function.size() + 1, rule.value.size() - column.function.size() - 2);
}

// The part of a rule that a failure is about: its function, one of its arguments, or all of it.
Place place_in_rule(const Failure& failure, const Entry& rule, const ColumnDefinition& column)
{
    const std::size_t start = rule.value_place.start;
    if (failure.code == function_unknown || failure.code == function_unfit_for_type ||
        failure.code == key_missing)
        return {start, column.function.size()};
    const std::size_t arguments_start = start + column.function.size() + 1;
    if (failure.place) return {arguments_start + failure.place->start, failure.place->length};
    if (failure.code != fixed_text_unfit) return rule.value_place;
    const Place text = parse_arguments(column.arguments).front().place;
    return {arguments_start + text.start, text.length};
}

// A misspelt word of the service looks like a column with a rule that nobody knows.
void refuse_misspelt_word(const Entry& rule, const ColumnDefinition& column, const ServiceEntries& service)
{
    if (resembles_function(column.function)) return;
    if (const std::string_view word = probable_word(rule, service); !word.empty())
        throw Failure{key_unknown,
                      shown(column.name),
                      {},
                      "Did you mean \"" + std::string(word) + "\"?",
                      rule.key_place};
}

// Of a text column the length is that of the longest text that replaces a value, whatever the value.
std::size_t length_of(const ColumnDefinition& column, const Rule& rule, const ErrorWay& on_error)
{
    if (column.type.name != TypeName::text) return longest_text(column.type);
    return std::max(longest_result(rule), code_point_count(on_error.text));
}

// The column by whose value a rule decides must be another one of the service. Whether a table has it beside
// those that a pattern or a position stands for, only the provider knows.
void require_other_column(const Rule& rule, const ColumnDefinition& column, const Common& common)
{
    const std::string_view name = other_column(rule);
    if (name.empty()) return;
    const bool known = common.columns.contains(name);
    if (name != column.name && (known || common.service.is_open)) return;
    Failure failure{column_unknown, shown(name)};
    if (name == column.name) {
        failure = {argument_unusable, "by=" + shown(name), {}, "It is the column itself: leave by out."};
    } else {
        const std::vector<std::string_view> names(common.columns.begin(), common.columns.end());
        if (const std::string_view near = nearest(name, names); !near.empty())
            failure.advice = "Did you mean \"" + shown(near) + "\"?";
    }
    for (const Argument& argument : parse_arguments(column.arguments))
        if (argument.name == "by") failure.place = argument.place;
    throw failure;
}

void check_rule(const Entry& rule, ColumnDefinition& column, const Common& common)
{
    refuse_misspelt_word(rule, column, common.service);
    try {
        const Rule said = read_rule(column.function, column.arguments, column.type);
        const std::size_t length = length_of(column, said, common.on_error);
        require_fit(said, {column.type, length});
        require_other_column(said, column, common);
        if (needs_key(said) && !common.has_key) throw Failure{key_missing, column.function};
        column.length = static_cast<std::int32_t>(length);
    } catch (Failure& failure) {
        failure.place = place_in_rule(failure, rule, column);
        throw;
    }
}

// The text of values in error must be one that the column can hold.
void check_error_text(const ColumnDefinition& column, const Common& common)
{
    if (common.on_error.way != OnError::fixed || column.type.name == TypeName::text) return;
    try {
        require_fit(common.on_error.text, {column.type, static_cast<std::size_t>(column.length)});
    } catch (Failure& failure) {
        failure.place = common.service.on_error->value_place;
        failure.detail = "column \"" + shown(column.name) + "\"";
        throw;
    }
}

ColumnDefinition define_column(const ColumnEntries& entries, const Common& common)
{
    ColumnDefinition column{entries.name, {}, {}, {}, 0, false};
    read_attributes(entries, column);
    split_rule(*entries.rule, column);
    check_rule(*entries.rule, column, common);
    check_error_text(column, common);
    return column;
}

// The operands of the service as a whole, and what the columns need to know of them.
Common define_operands(const ServiceEntries& entries, ServiceDefinition& definition, Findings& findings)
{
    Common common{entries, {}, entries.key != nullptr};
    for (const ColumnEntries& column : entries.columns) common.columns.insert(column.name);
    if (const Entry* entry = entries.key)
        check(findings, [&] { definition.operands.push_back({"key", read_key_source(*entry)}); });
    if (const Entry* entry = entries.on_error) {
        definition.operands.push_back({"on_error", text_of(*entry)});
        check(findings, [&] {
            common.on_error =
                at(entry->value_place, [&] { return parse_on_error(definition.operands.back().text); });
        });
    }
    if (const Entry* entry = entries.on_null) {
        definition.operands.push_back({"on_null", text_of(*entry)});
        check(findings,
              [&] { at(entry->value_place, [&] { return masks_null(definition.operands.back().text); }); });
    }
    return common;
}

void define_columns(const Common& common, ServiceDefinition& definition, Findings& findings)
{
    for (const ColumnEntries& column : common.service.columns)
        if (column.rule != nullptr)
            check(findings, [&] { definition.columns.push_back(define_column(column, common)); });
}

// What is missing may be what a misspelt key was meant as.
void define_id(const ServiceEntries& entries, ServiceDefinition& definition, Findings& findings)
{
    if (entries.id == nullptr) {
        if (!has_code(findings, key_unknown) && !has_code(findings, reserved_word_with_attribute))
            add(findings, Failure{service_missing, {}, {}, {}, Place{}});
        return;
    }
    check(findings, [&] { definition.id = read_id(*entries.id); });
    if (definition.columns.empty() && findings.told.empty())
        add(findings,
            Failure{no_columns, {}, {}, "Give each column a rule: name = function.", entries.id->key_place});
}

// Where a key is misspelt, the want of one is told by that.
void drop_consequences(Findings& findings)
{
    if (has_code(findings, key_unknown) && findings.told.front().code != key_missing)
        std::erase_if(findings.told, [](const Failure& told) { return told.code == key_missing; });
}

} // namespace

ServiceDefinition define_service(const std::vector<Entry>& entries, std::string_view source)
{
    Findings findings;
    const ServiceEntries sorted = sort_entries(entries, source, findings);
    ServiceDefinition definition;
    const Common common = define_operands(sorted, definition, findings);
    define_columns(common, definition, findings);
    define_id(sorted, definition, findings);
    drop_consequences(findings);
    throw_any(findings);
    return definition;
}

std::string type_text(const ColumnType& type)
{
    switch (type.name) {
    case TypeName::character:
        return "char(" + std::to_string(type.length) + ")";
    case TypeName::varying:
        return "varchar(" + std::to_string(type.length) + ")";
    case TypeName::decimal:
        return "decimal(" + std::to_string(type.length) + "," + std::to_string(type.scale) + ")";
    case TypeName::integer:
        return "integer";
    case TypeName::date:
        return "date";
    case TypeName::timestamp:
        return "timestamp";
    default:
        return "text";
    }
}

} // namespace velk::engine
