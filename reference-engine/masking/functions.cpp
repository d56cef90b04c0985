#include "masking/functions.h"

#include "datacnv/unicode.h"
#include "failure.h"
#include "parser/excerpt.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace velk::engine {

namespace {

enum class Fits { every_type, numbers_and_text, text_only, numbers_only, dates_only };

enum class Mapping { one_to_one, lossy };

struct Function {
    std::string_view name;
    Mask (*make)(RuleArguments&, const RuleContext&);
    bool needs_key;
    Fits fits;
    Mapping mapping;
    std::size_t (*longest)(RuleArguments&) = nullptr; // null: no result is longer than its value
};

constexpr Function functions[] = {
    {"card", make_card, true, Fits::text_only, Mapping::one_to_one},
    {"classes", make_classes, true, Fits::numbers_and_text, Mapping::lossy},
    {"dateshift", make_dateshift, true, Fits::dates_only, Mapping::lossy},
    {"dict", make_dict, true, Fits::text_only, Mapping::lossy, longest_dict},
    {"email", make_email, true, Fits::text_only, Mapping::lossy, longest_email},
    {"ff1", make_ff1, true, Fits::text_only, Mapping::one_to_one},
    // The fixed text is checked against the type.
    {"fixed", make_fixed, false, Fits::every_type, Mapping::lossy, longest_fixed},
    {"hash", make_hash, true, Fits::text_only, Mapping::lossy, longest_hash},
    {"keep", make_keep, false, Fits::every_type, Mapping::one_to_one},
    {"noise", make_noise, true, Fits::numbers_only, Mapping::lossy},
    {"null", make_null, false, Fits::every_type, Mapping::lossy},
    {"partial", make_partial, true, Fits::text_only, Mapping::lossy},
};

constexpr auto function_names = [] {
    std::array<std::string_view, std::size(functions)> names;
    std::transform(std::begin(functions), std::end(functions), names.begin(),
                   [](const Function& function) { return function.name; });
    return names;
}();

const Function& function_named(std::string_view name)
{
    const auto* found = std::find_if(std::begin(functions), std::end(functions),
                                     [name](const Function& function) { return function.name == name; });
    if (found == std::end(functions)) throw Failure{function_unknown, shown(name), {}, function_advice(name)};
    return *found;
}

bool fits(Fits fits, const ColumnType& type)
{
    switch (fits) {
    case Fits::numbers_and_text:
        return is_number_type(type) || is_character_type(type);
    case Fits::text_only:
        return is_character_type(type);
    case Fits::numbers_only:
        return is_number_type(type);
    case Fits::dates_only:
        return is_date_type(type);
    default:
        return true;
    }
}

} // namespace

std::optional<std::string> take_text(RuleArguments& arguments, std::string_view name)
{
    arguments.known.push_back(name);
    const auto found = std::find_if(arguments.left.begin(), arguments.left.end(),
                                    [name](const Argument& argument) { return argument.name == name; });
    if (found == arguments.left.end()) return std::nullopt;
    std::string value = std::move(found->value);
    arguments.left.erase(found);
    return value;
}

std::size_t take_number(RuleArguments& arguments, std::string_view name, std::size_t unsaid, std::size_t from,
                        std::size_t to)
{
    const std::optional<std::string> text = take_text(arguments, name);
    if (!text) return unsaid;
    const bool digits =
        !text->empty() && text->size() <= 9 && text->find_first_not_of("0123456789") == std::string::npos;
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
    if (number == 0) throw Failure{argument_missing, std::string(name)};
    return number;
}

std::string take_only(RuleArguments& arguments, std::string_view advice)
{
    if (arguments.left.empty()) throw Failure{argument_missing, {}, {}, std::string(advice)};
    if (!arguments.left.front().name.empty()) refuse_rest(arguments);
    std::string value = std::move(arguments.left.front().value);
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

void require_length(std::size_t length, const ColumnLimits& column)
{
    // A text column without a limit holds what is as long as its value, but no longer result.
    const bool limited = column.length > 0 || column.type.name == TypeName::text;
    if (limited && length > column.length)
        throw Failure{result_longer_than_column,
                      std::to_string(length) + " > " + std::to_string(column.length)};
}

void require_fit(std::u16string_view text, const ColumnLimits& column)
{
    if (!is_value_of(column.type, text)) throw Failure{fixed_text_unfit, shown(to_utf8(text))};
    require_length(code_point_count(text), column);
}

Mask make_mask(std::string_view name, std::string_view text, const RuleContext& context)
{
    const Function& function = function_named(name);
    if (!fits(function.fits, context.column.type)) throw Failure{function_unfit_for_type, std::string(name)};
    RuleArguments arguments{parse_arguments(text)};
    if (function.needs_key && context.key == nullptr) throw Failure{key_missing, std::string(name)};
    Mask mask = function.make(arguments, context);
    refuse_rest(arguments);
    return mask;
}

bool is_function(std::string_view name)
{
    return std::find(function_names.begin(), function_names.end(), name) != function_names.end();
}

bool is_one_to_one(std::string_view function)
{
    return function_named(function).mapping == Mapping::one_to_one;
}

std::size_t longest_result(std::string_view name, std::string_view text)
{
    const Function& function = function_named(name);
    RuleArguments arguments{parse_arguments(text)};
    return function.longest == nullptr ? 0 : function.longest(arguments);
}

std::string function_advice(std::string_view name)
{
    return advice(name, "Functions", function_names);
}

KeyedInput::KeyedInput(const HmacKey& key, std::string_view function, std::string_view scope) : key_(&key)
{
    // Neither part holds a zero byte, so no other pair of them gives the same bytes.
    message_.append(function).append(1, '\0').append(scope).append(1, '\0');
    prefix_ = message_.size();
}

Digest KeyedInput::digest(std::u16string_view value)
{
    message_.resize(prefix_);
    for (std::size_t position = 0; position < value.size();)
        append(message_, next_code_point(value, position));
    return key_->digest({reinterpret_cast<const std::uint8_t*>(message_.data()), message_.size()});
}

} // namespace velk::engine
