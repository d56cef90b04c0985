#include "masking/rule_arguments.h"

#include "text/characters.h"
#include "text/excerpt.h"
#include "text/failure.h"

#include <algorithm>

namespace velk::engine {

std::optional<std::string> take_text(RuleArguments& arguments, std::string_view name)
{
    arguments.known.push_back(name);
    const auto found = std::find_if(arguments.left.begin(), arguments.left.end(),
                                    [name](const Argument& argument) { return argument.name == name; });
    if (found == arguments.left.end()) return std::nullopt;
    std::string value = std::move(found->value);
    arguments.taken = found->place;
    arguments.left.erase(found);
    return value;
}

std::size_t take_number(RuleArguments& arguments, std::string_view name, std::size_t unsaid, std::size_t from,
                        std::size_t to)
{
    const std::optional<std::string> text = take_text(arguments, name);
    if (!text) return unsaid;
    const bool digits = !text->empty() && text->size() <= 9 && std::ranges::all_of(*text, is_digit<char>);
    const std::size_t number = digits ? std::stoul(*text) : to + 1;
    if (number >= from && number <= to) return number;
    throw Failure{argument_not_in_range,
                  std::string(name) + "=" + shown(*text),
                  {},
                  "A whole number from " + std::to_string(from) + " to " + std::to_string(to) + "."};
}

std::size_t take_needed_number(RuleArguments& arguments, std::string_view name, std::size_t from,
                               std::size_t to)
{
    const std::size_t number = take_number(arguments, name, 0, from, to); // 0: not said
    if (number != 0) return number;
    arguments.taken.reset();
    throw Failure{argument_missing, std::string(name)};
}

std::string take_only(RuleArguments& arguments, std::string_view advice)
{
    if (arguments.left.empty()) throw Failure{argument_missing, {}, {}, std::string(advice)};
    if (!arguments.left.front().name.empty()) refuse_rest(arguments);
    std::string value = std::move(arguments.left.front().value);
    arguments.taken = arguments.left.front().place;
    arguments.left.erase(arguments.left.begin());
    return value;
}

std::string take_scope(RuleArguments& arguments, std::string_view function)
{
    std::string scope = take_text(arguments, "scope").value_or(std::string(function));
    if (scope.empty()) throw Failure{argument_unusable, "scope", {}, "A scope has at least one character."};
    return scope;
}

void refuse_rest(const RuleArguments& arguments)
{
    if (arguments.left.empty()) return;
    const Argument& argument = arguments.left.front();
    const std::string& shown_as = argument.name.empty() ? argument.value : argument.name;
    throw Failure{argument_unknown,
                  shown(shown_as),
                  {},
                  arguments.known.empty() ? "This function takes no such argument."
                                          : advice(argument.name, "Arguments", arguments.known),
                  argument.place};
}

} // namespace velk::engine
