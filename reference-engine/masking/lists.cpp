#include "masking/lists.h"

#include "masking/file.h"
#include "text/excerpt.h"
#include "text/failure.h"
#include "text/unicode.h"

#include <algorithm>
#include <array>
#include <limits>

namespace velk::engine {

namespace {

struct BuiltInList {
    std::string_view name;
    std::string_view text; // as a list file
};

// The constants built_in_..., made of the files in lists/.
#include "built_in_lists.inc"

constexpr std::array<BuiltInList, 4> built_in_lists{{{"cities", built_in_cities},
                                                     {"first_names", built_in_first_names},
                                                     {"last_names", built_in_last_names},
                                                     {"streets", built_in_streets}}};

[[noreturn]] void refuse_list(std::string_view name, const std::string& reason)
{
    throw Failure{list_file_unusable, shown(name), reason};
}

Entries parse_list(std::string_view name, std::string_view text)
{
    constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
    if (text.starts_with(byte_order_mark)) text.remove_prefix(byte_order_mark.size());
    Entries entries;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.ends_with('\r')) line.remove_suffix(1);
        const std::string place = "line " + std::to_string(entries.size() + 1);
        if (line.empty()) refuse_list(name, place + " is empty");
        if (!is_well_formed(line) || line.find('\0') != std::string_view::npos)
            refuse_list(name, place + " is not UTF-8 text");
        entries.push_back(to_utf16(line));
    }
    // With one entry alone a value that is that entry could not be masked.
    if (std::all_of(entries.begin(), entries.end(),
                    [&](const std::u16string& entry) { return entry == entries.front(); }))
        refuse_list(name, "it has fewer than two different entries");
    if (entries.size() > std::numeric_limits<std::uint32_t>::max()) refuse_list(name, "it is too long");
    return entries;
}

} // namespace

Entries built_in_list(std::string_view name)
{
    for (const auto& [known, text] : built_in_lists)
        if (name == known) return parse_list(known, text);
    std::array<std::string_view, built_in_lists.size()> names;
    std::transform(built_in_lists.begin(), built_in_lists.end(), names.begin(),
                   [](const BuiltInList& list) { return list.name; });
    throw Failure{argument_unusable, "list=" + shown(name), {}, advice(name, "Lists", names)};
}

Entries list_file(std::string_view path)
{
    const std::optional<std::string> text = read_file(path);
    if (!text) throw Failure{list_file_unreadable, shown(path)};
    return parse_list(path, *text);
}

} // namespace velk::engine
