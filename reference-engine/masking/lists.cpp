#include "masking/lists.h"

#include "masking/list_file.h"
#include "text/characters.h"
#include "text/excerpt.h"
#include "text/failure.h"
#include "text/unicode.h"

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <mutex>
#include <set>

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

void refuse_unusable_line(std::string_view name, std::string_view line, std::size_t number)
{
    const std::string place = "line " + std::to_string(number);
    if (line.empty()) refuse_list(name, place + " is empty");
    if (!is_well_formed(line) || line.find('\0') != std::string_view::npos)
        refuse_list(name, place + " is not UTF-8 text");
}

List parse_list(std::string_view name, std::string_view text)
{
    text.remove_prefix(text_start(text));
    List list;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.ends_with('\r')) line.remove_suffix(1);
        refuse_unusable_line(name, line, list.size() + 1);
        list.add(to_utf16(line));
    }
    // With one entry alone a value that is that entry could not be masked.
    if (!list.has_choice()) refuse_list(name, "it has fewer than two different entries");
    return list;
}

using SharedList = std::shared_ptr<const List>;

// Lists that were asked for are kept until the process ends: each is read once, however many columns and
// services take their values from it, and all of them see the same.
SharedList kept_list(const std::string& name, const std::function<List()>& read)
{
    static std::mutex mutex;
    static auto& lists =
        *new std::map<std::string, SharedList>; // threads may still ask while the process exits
    const std::lock_guard lock(mutex);
    SharedList& list = lists[name];
    if (list == nullptr) list = std::make_shared<const List>(read());
    return list;
}

} // namespace

void List::add(std::u16string_view entry)
{
    text_ += entry;
    ends_.push_back(static_cast<std::uint32_t>(text_.size()));
    longest_ = std::max(longest_, code_point_count(entry));
}

bool List::has_choice() const
{
    for (std::size_t i = 1; i < size(); ++i)
        if ((*this)[i] != (*this)[0]) return true;
    return false;
}

std::vector<std::u16string_view> List::few() const
{
    constexpr std::size_t enough = 10;
    std::set<std::u16string_view> different;
    for (std::size_t i = 0; i < size() && different.size() < enough; ++i) different.insert((*this)[i]);
    if (different.size() == enough) return {};
    return {different.begin(), different.end()};
}

bool is_list(std::string_view text)
try {
    parse_list({}, text);
    return true;
} catch (const Failure&) {
    return false;
}

std::shared_ptr<const List> built_in_list(std::string_view name)
{
    for (const auto& [known, text] : built_in_lists)
        if (name == known)
            return kept_list("list:" + std::string(name), [&] { return parse_list(known, text); });
    std::array<std::string_view, built_in_lists.size()> names;
    std::transform(built_in_lists.begin(), built_in_lists.end(), names.begin(),
                   [](const BuiltInList& list) { return list.name; });
    throw Failure{argument_unusable, "list=" + shown(name), {}, advice(name, "Lists", names)};
}

std::shared_ptr<const List> list_file(std::string_view path)
{
    return kept_list("file:" + std::string(path), [path] {
        std::size_t size = 0;
        const char* text = Provider_ListFile(std::string(path).c_str(), &size);
        if (text == nullptr) throw Failure{list_file_unreadable, shown(path)};
        return parse_list(path, {text, size});
    });
}

} // namespace velk::engine
