#include "adapter/entries.h"

#include "parser/place_text.h"
#include "text/excerpt.h"
#include "text/records.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <unordered_map>

namespace velk::engine {

namespace {

struct Word {
    std::string_view name;
    const Entry* ServiceEntries::* entry;
};

// What these words say is said of the service, unless they are quoted.
constexpr std::array<Word, 4> reserved{{{"service", &ServiceEntries::id},
                                        {"key", &ServiceEntries::key},
                                        {"on_error", &ServiceEntries::on_error},
                                        {"on_null", &ServiceEntries::on_null}}};

// The part of the source that an entry says it holds. No more of its buffer is read than that, and nothing of
// the source that it does not have.
std::string_view part_of(std::string_view source, const Place& place, const char* buffer,
                         std::int32_t capacity)
{
    if (buffer == nullptr || capacity <= 0) throw Failure{build_request_damaged};
    const bool inside = place.start <= source.size() && place.length <= source.size() - place.start &&
                        place.length < static_cast<std::size_t>(capacity);
    const std::string_view part = inside ? source.substr(place.start, place.length) : std::string_view();
    if (!inside || std::memcmp(buffer, part.data(), part.size()) != 0 || buffer[part.size()] != '\0')
        throw Failure{entry_outside_string};
    return part;
}

std::vector<KeyPart> read_key(std::string_view text, std::size_t start)
{
    Scanner scanner{text};
    std::vector<KeyPart> parts = scan_key(scanner);
    if (!at_end(scanner)) throw Failure{entry_outside_string};
    for (KeyPart& part : parts) part.place.start += start;
    return parts;
}

void require_kind(std::string_view value, ValueKind kind)
{
    Scanner scanner{value};
    if (scan_pair_value(scanner) != kind || !at_end(scanner)) throw Failure{entry_outside_string};
}

Entry read_entry(const KVPA& record, std::string_view source)
{
    if (!has_header(record, "KVPA")) throw Failure{build_request_damaged};
    const Pair pair = place_of(record);
    const std::string_view key = part_of(source, pair.key, record.key, record.keySize);
    const std::string_view value = part_of(source, pair.value, record.value, record.valueSize);
    try {
        require_kind(value, pair.kind);
        return {read_key(key, pair.key.start), std::string(value), pair.kind, pair.key, pair.value};
    } catch (const Failure&) {
        throw Failure{entry_outside_string}; // the parser would have said what is wrong with it
    }
}

const Word* reserved_word(const KeyPart& part)
{
    const auto* found = std::find_if(reserved.begin(), reserved.end(),
                                     [&](const Word& word) { return word.name == part.text; });
    return part.quoted || found == reserved.end() ? nullptr : found;
}

// The columns by their names, while they are sorted.
struct Columns {
    ServiceEntries& service;
    std::unordered_map<std::string_view, std::size_t> indices{};
};

ColumnEntries& column_named(Columns& columns, const KeyPart& part)
{
    if (part.text.empty()) throw Failure{column_name_missing, {}, {}, {}, part.place};
    const bool stands_for_more = stands_for_columns(part.text);
    // It would mask columns of other names than the one that was meant.
    if (part.quoted && stands_for_more)
        throw Failure{
            column_is_pattern,
            shown(part.text),
            {},
            "Write it without quotes if it is meant as one. A column of that name has to get another.",
            part.place};
    columns.service.is_open = columns.service.is_open || stands_for_more;
    std::vector<ColumnEntries>& all = columns.service.columns;
    const auto [found, is_new] = columns.indices.try_emplace(part.text, all.size());
    return is_new ? all.emplace_back(ColumnEntries{part.text}) : all[found->second];
}

// What the key speaks of.
const Entry*& slot_of(Columns& columns, const Entry& entry)
{
    const KeyPart& first = entry.key.front();
    const bool has_attribute = entry.key.size() > 1;
    if (const Word* word = reserved_word(first)) {
        if (has_attribute) throw Failure{reserved_word_with_attribute, first.text, {}, {}, first.place};
        return columns.service.*word->entry;
    }
    ColumnEntries& column = column_named(columns, first);
    if (!has_attribute) return column.rule;
    const KeyPart& attribute = entry.key.back();
    if (attribute.text == type_attribute) return column.type;
    if (attribute.text == unique_attribute) return column.unique;
    throw Failure{attribute_unknown,
                  shown(attribute.text),
                  {},
                  advice(attribute.text, "Attributes", column_attributes),
                  attribute.place};
}

std::string shown_key(const Entry& entry)
{
    std::string text = shown(entry.key.front().text);
    if (entry.key.size() > 1) text += "." + entry.key.back().text;
    return text;
}

void require_rule(const ColumnEntries& column)
{
    if (column.rule != nullptr) return;
    // Without any entry it has one that was refused.
    if (const Entry* attribute = column.type != nullptr ? column.type : column.unique)
        throw Failure{column_without_rule, shown(column.name), {}, {}, attribute->key_place};
}

void sort_entry(Columns& columns, const Entry& entry, std::string_view source)
{
    const Entry*& slot = slot_of(columns, entry);
    if (slot != nullptr)
        throw Failure{key_repeated,
                      shown_key(entry),
                      "first given at " + position_text(source, slot->key_place.start),
                      {},
                      entry.key_place};
    slot = &entry;
}

} // namespace

std::vector<Entry> read_entries(const PRMA& request, std::string_view source)
{
    const bool counted =
        request.entryCount >= 0 && static_cast<std::size_t>(request.entryCount) <= pair_limit;
    if (!counted || (request.entryCount > 0 && request.entries == nullptr))
        throw Failure{build_request_damaged};
    std::vector<Entry> entries;
    for (std::int32_t i = 0; i < request.entryCount; ++i)
        entries.push_back(read_entry(request.entries[i], source));
    return entries;
}

std::string text_of(const Entry& entry)
{
    return entry.kind == ValueKind::call ? entry.value : value_of(entry.value);
}

ServiceEntries sort_entries(const std::vector<Entry>& entries, std::string_view source, Findings& findings)
{
    ServiceEntries service;
    Columns columns{service};
    for (const Entry& entry : entries) check(findings, [&] { sort_entry(columns, entry, source); });
    for (const ColumnEntries& column : service.columns) check(findings, [&] { require_rule(column); });
    const auto is_before = [](const ColumnEntries& a, const ColumnEntries& b) {
        return b.rule == nullptr ? a.rule != nullptr : a.rule != nullptr && a.rule < b.rule;
    };
    std::sort(service.columns.begin(), service.columns.end(), is_before);
    return service;
}

std::string_view probable_word(const Entry& entry, const ServiceEntries& service)
{
    if (entry.key.size() > 1 || entry.key.front().quoted) return {};
    std::vector<std::string_view> missing;
    for (const Word& word : reserved)
        if (service.*word.entry == nullptr) missing.push_back(word.name);
    return nearest(entry.key.front().text, missing);
}

} // namespace velk::engine
