#pragma once

// The arguments of a rule, taken one by one by the function that they are for. What no function took is
// refused at the end.

#include "text/argument.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

struct RuleArguments {
    std::vector<Argument> left;
    std::vector<std::string_view> known{}; // names asked for so far
    std::optional<Place> taken{};          // of the last one that was there: what is wrong is wrong with it
};

std::optional<std::string> take_text(RuleArguments& arguments, std::string_view name);
std::size_t take_number(RuleArguments& arguments, std::string_view name, std::size_t unsaid, std::size_t from,
                        std::size_t to);
// An argument that must be said; from is at least 1.
std::size_t take_needed_number(RuleArguments& arguments, std::string_view name, std::size_t from,
                               std::size_t to);
// The argument known by its place; the advice is for where it is missing.
std::string take_only(RuleArguments& arguments, std::string_view advice);
inline constexpr std::string_view fixed_form = "Write fixed('...') with the text between the quotes.";
std::string take_scope(RuleArguments& arguments, std::string_view function);
void refuse_rest(const RuleArguments& arguments);

} // namespace velk::engine
