#pragma once

// The lists that `dict` takes its values from.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

// Its entries stand one behind the other, so that a long list is no million allocations. At most 4 Gi units.
class List {
public:
    void add(std::u16string_view entry);

    std::size_t size() const { return ends_.size(); }
    std::size_t longest() const { return longest_; } // code points
    bool has_choice() const;                         // whether two entries differ
    // The different entries where they are so few that the others which one may become tell it; else nothing.
    std::vector<std::u16string_view> few() const;

    std::u16string_view operator[](std::size_t index) const
    {
        const std::size_t start = index == 0 ? 0 : ends_[index - 1];
        return std::u16string_view(text_).substr(start, ends_[index] - start);
    }

private:
    std::u16string text_;
    std::vector<std::uint32_t> ends_; // of the entries in the text, units
    std::size_t longest_ = 0;
};

// Whether a file with that text is a list.
bool is_list(std::string_view text);

// Both give the same list again whenever they are asked for it, by any thread: a process reads it once.

// A list that is built in. Throws a Failure if there is none of that name.
std::shared_ptr<const List> built_in_list(std::string_view name);

// A file in UTF-8 with an entry in each line. Throws a Failure where it is not that.
std::shared_ptr<const List> list_file(std::string_view path);

} // namespace velk::engine
