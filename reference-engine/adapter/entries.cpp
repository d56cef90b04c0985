#include "adapter/entries.h"

#include "parser/place_text.h"
#include "text/excerpt.h"
#include "text/records.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace velk::engine {

namespace {

constexpr std::array<std::string_view, 2> attributes{"type", "unique"};

struct Word {
    std::string_view name;
    const Entry* ServiceEntries::* entry;
};

// What these words say is said of the service, unless they are quoted.
constexpr std::array<Word, 4> reserved{{{"service", &ServiceEntries::id},
                                        {"key", &ServiceEntries::key},
                                        {"on_error", &ServiceEntries::on_error},
                                        {"on_null", &ServiceEntries::on_null}}};

std::string text_in(const char* buffer, std::int32_t capacity)
{
    if (buffer == nullptr || capacity <= 0) throw Failure{build_request_damaged};
    const auto size = static_cast<std::size_t>(capacity);
    return {buffer, static_cast<std::size_t>(std::find(buffer, buffer + size, '\0') - buffer)};
}

std::vector<KeyPart> read_key(const std::string& text, std::size_t start)
{
    Scanner scanner{text};
    std::vector<KeyPart> parts = scan_key(scanner);
    if (!at_end(scanner)) throw Failure{build_request_damaged};
    for (KeyPart& part : parts) part.place.start += start;
    return parts;
}

Entry read_entry(const KVPA& record)
{
    if (!has_header(record, "KVPA")) throw Failure{build_request_damaged};
    const Pair pair = place_of(record);
    const std::string key = text_in(record.key, record.keySize);
    return {read_key(key, pair.key.start), text_in(record.value, record.valueSize), pair.kind, pair.key,
            pair.value};
}

const Word* reserved_word(const KeyPart& part)
{
    const auto* found = std::find_if(reserved.begin(), reserved.end(),
                                     [&](const Word& word) { return word.name == part.text; });
    return part.quoted || found == reserved.end() ? nullptr : found;
}

ColumnEntries& column_named(ServiceEntries& service, const KeyPart& part)
{
    if (part.text.empty()) throw Failure{column_name_missing, {}, {}, {}, part.place};
    const auto found = std::find_if(service.columns.begin(), service.columns.end(),
                                    [&](const ColumnEntries& column) { return column.name == part.text; });
    return found != service.columns.end() ? *found : service.columns.emplace_back(ColumnEntries{part.text});
}

// What the key speaks of.
const Entry*& slot_of(ServiceEntries& service, const Entry& entry)
{
    const KeyPart& first = entry.key.front();
    const bool has_attribute = entry.key.size() > 1;
    if (const Word* word = reserved_word(first)) {
        if (has_attribute) throw Failure{reserved_word_with_attribute, first.text, {}, {}, first.place};
        return service.*word->entry;
    }
    ColumnEntries& column = column_named(service, first);
    if (!has_attribute) return column.rule;
    const KeyPart& attribute = entry.key.back();
    if (attribute.text == "type") return column.type;
    if (attribute.text == "unique") return column.unique;
    throw Failure{attribute_unknown,
                  shown(attribute.text),
                  {},
                  advice(attribute.text, "Attributes", attributes),
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
    const Entry& attribute = column.type != nullptr ? *column.type : *column.unique;
    throw Failure{column_without_rule, shown(column.name), {}, {}, attribute.key_place};
}

} // namespace

std::vector<Entry> read_entries(const PRMA& request)
{
    if (request.entryCount < 0 || (request.entryCount > 0 && request.entries == nullptr))
        throw Failure{build_request_damaged};
    std::vector<Entry> entries;
    for (std::int32_t i = 0; i < request.entryCount; ++i) entries.push_back(read_entry(request.entries[i]));
    return entries;
}

std::string text_of(const Entry& entry)
{
    return entry.kind == ValueKind::call ? entry.value : value_of(entry.value);
}

ServiceEntries sort_entries(const std::vector<Entry>& entries, std::string_view source)
{
    ServiceEntries service;
    for (const Entry& entry : entries) {
        const Entry*& slot = slot_of(service, entry);
        if (slot != nullptr)
            throw Failure{key_repeated,
                          shown_key(entry),
                          "first given at " + position_text(source, slot->key_place.start),
                          {},
                          entry.key_place};
        slot = &entry;
    }
    for (const ColumnEntries& column : service.columns) require_rule(column);
    std::sort(service.columns.begin(), service.columns.end(),
              [](const ColumnEntries& a, const ColumnEntries& b) { return a.rule < b.rule; });
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
