#include "masking/service_options.h"

#include "masking/rule_arguments.h"
#include "text/excerpt.h"
#include "text/failure.h"
#include "text/unicode.h"

#include <algorithm>
#include <array>

namespace velk::engine {

namespace {

constexpr std::array<std::string_view, 3> operands{"key", "on_error", "on_null"};
constexpr std::array<std::string_view, 3> error_ways{"null", "fixed('...')", "stop"};
constexpr std::array<std::string_view, 2> null_ways{"keep", "mask"};

// `fixed('...')`: the text between the parentheses, as a rule's argument.
std::u16string parse_error_text(std::string_view text)
{
    constexpr std::string_view opening = "fixed(";
    if (!text.starts_with(opening) || !text.ends_with(')'))
        throw Failure{on_error_unknown, shown(text), {}, advice(text, "Ways", error_ways)};
    RuleArguments arguments{parse_arguments(text.substr(opening.size(), text.size() - opening.size() - 1))};
    std::string value = take_only(arguments, fixed_form);
    refuse_rest(arguments);
    return to_utf16(value);
}

} // namespace

bool is_service_id(std::string_view id)
{
    return !id.empty() && id.size() <= longest_service_id && std::ranges::all_of(id, is_name_character);
}

ErrorWay parse_on_error(std::string_view text)
{
    if (text == "stop") return {OnError::stop};
    if (text == "null") return {OnError::null};
    return {OnError::fixed, parse_error_text(text)};
}

bool masks_null(std::string_view text)
{
    if (std::find(null_ways.begin(), null_ways.end(), text) == null_ways.end())
        throw Failure{on_null_unknown, shown(text), {}, advice(text, "Ways", null_ways)};
    return text == "mask";
}

bool is_service_operand(std::string_view name)
{
    return std::find(operands.begin(), operands.end(), name) != operands.end();
}

void require_service_operand(std::string_view name)
{
    if (!is_service_operand(name))
        throw Failure{service_operand_unknown, shown(name), {}, advice(name, "Operands", operands)};
}

} // namespace velk::engine
