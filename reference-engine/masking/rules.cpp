#include "masking/rules.h"

#include "masking/address.h"
#include "masking/graphemes.h"
#include "masking/rule_arguments.h"
#include "text/excerpt.h"
#include "text/failure.h"
#include "text/unicode.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace velk::engine {

namespace {

// One reader per function.

constexpr std::size_t usually_hidden = 4; // code points
constexpr std::size_t usual_hash = 32;    // hexadecimal digits
constexpr std::size_t shortest_hash = 8;  // fewer would leave values that come back as they were
constexpr std::size_t whole_hash = 64;
constexpr std::size_t most_code_points_kept = 1'000'000;
constexpr std::size_t most_digits_kept = 8;  // of a card number: its issuer's
constexpr std::size_t most_days = 3'652'058; // from the first date to the last
constexpr std::size_t most_percent = 100;    // so that no number passes zero

Rule read_keep(RuleArguments&, const ColumnType&)
{
    return KeepRule{};
}

Rule read_null(RuleArguments&, const ColumnType&)
{
    return NullRule{};
}

Rule read_fixed(RuleArguments& arguments, const ColumnType&)
{
    return FixedRule{to_utf16(take_only(arguments, fixed_form))};
}

// One character of one unit, so that no result is longer than its value.
char16_t take_mask_character(RuleArguments& arguments)
{
    const std::u16string text = to_utf16(take_text(arguments, "with").value_or("*"));
    if (text.size() == 1 && stands_alone(text[0])) return text[0];
    throw Failure{argument_unusable,
                  "with=" + shown(to_utf8(text)),
                  {},
                  "One character up to U+FFFF, no mark, no control or format character."};
}

Rule read_partial(RuleArguments& arguments, const ColumnType&)
{
    const std::size_t keep_first = take_number(arguments, "keep_first", 0, 0, most_code_points_kept);
    const std::size_t keep_last = take_number(arguments, "keep_last", 0, 0, most_code_points_kept);
    const std::size_t hide_least =
        take_number(arguments, "hide_least", usually_hidden, 1, most_code_points_kept);
    return PartialRule{keep_first, keep_last, hide_least, take_mask_character(arguments)};
}

Rule read_classes(RuleArguments& arguments, const ColumnType&)
{
    return ClassesRule{take_scope(arguments, ClassesRule::function)};
}

Rule read_hash(RuleArguments& arguments, const ColumnType&)
{
    const std::size_t length = take_number(arguments, "length", usual_hash, shortest_hash, whole_hash);
    return HashRule{take_scope(arguments, HashRule::function), length};
}

Rule read_card(RuleArguments& arguments, const ColumnType&)
{
    const std::size_t keep_first = take_number(arguments, "keep_first", 0, 0, most_digits_kept);
    return CardRule{take_scope(arguments, CardRule::function), keep_first};
}

// Unsaid it is example.com, which is reserved and receives nothing, so that no masked address reaches anyone.
std::u16string take_domain(RuleArguments& arguments)
{
    std::u16string domain = to_utf16(take_text(arguments, "domain").value_or("example.com"));
    if (is_domain(domain)) return domain;
    throw Failure{argument_unusable,
                  "domain=" + shown(to_utf8(domain)),
                  {},
                  "A domain as it stands behind the @ of an address."};
}

Rule read_email(RuleArguments& arguments, const ColumnType&)
{
    std::u16string domain = take_domain(arguments);
    return EmailRule{take_scope(arguments, EmailRule::function), std::move(domain)};
}

std::shared_ptr<const List> take_list(RuleArguments& arguments)
{
    const std::optional<std::string> list = take_text(arguments, "list");
    const std::optional<std::string> file = take_text(arguments, "file");
    if (list && file) throw Failure{argument_unusable, "list and file", {}, "Name one of the two."};
    if (!list && !file) {
        refuse_rest(arguments);
        throw Failure{argument_missing, "list"};
    }
    return list ? built_in_list(*list) : list_file(*file);
}

Rule read_dict(RuleArguments& arguments, const ColumnType&)
{
    auto list = take_list(arguments);
    return DictRule{take_scope(arguments, DictRule::function), std::move(list)};
}

std::u16string take_date(RuleArguments& arguments, std::string_view name, std::u16string_view unsaid)
{
    const std::optional<std::string> said = take_text(arguments, name);
    if (!said) return std::u16string(unsaid);
    std::u16string date = to_utf16(*said);
    if (is_value_of({TypeName::date}, date)) return date;
    throw Failure{argument_unusable,
                  std::string(name) + "=" + shown(*said),
                  {},
                  "A date of the calendar, written YYYY-MM-DD."};
}

// Of two days each date between them would become the other one, which tells it.
void require_choice(const DateShiftRule& rule)
{
    if (to_day(rule.max) - to_day(rule.min) >= std::chrono::days{2}) return;
    throw Failure{argument_unusable, "min and max", {}, "max must be at least two days after min."};
}

Rule read_dateshift(RuleArguments& arguments, const ColumnType&)
{
    DateShiftRule rule;
    rule.days = static_cast<std::uint32_t>(take_needed_number(arguments, "days", 1, most_days));
    rule.min = take_date(arguments, "min", u"0001-01-01");
    rule.max = take_date(arguments, "max", u"9999-12-31");
    require_choice(rule);
    rule.by = take_text(arguments, "by").value_or("");
    rule.scope = take_scope(arguments, DateShiftRule::function);
    return rule;
}

Rule read_noise(RuleArguments& arguments, const ColumnType& type)
{
    const auto percent =
        static_cast<std::uint32_t>(take_needed_number(arguments, "percent", 1, most_percent));
    return NoiseRule{take_scope(arguments, NoiseRule::function), percent, type};
}

Rule read_ff1(RuleArguments& arguments, const ColumnType&)
{
    auto alphabet =
        std::make_shared<const Alphabet>(make_alphabet(take_text(arguments, "alphabet").value_or("digits")));
    return Ff1Rule{take_scope(arguments, Ff1Rule::function), std::move(alphabet)};
}

enum class Fits { every_type, numbers_and_text, text_only, numbers_only, dates_only };

enum class Mapping { one_to_one, lossy };

struct Function {
    std::string_view name;
    Rule (*read)(RuleArguments&, const ColumnType&);
    Fits fits;
    Mapping mapping;
};

constexpr Function functions[] = {
    {CardRule::function, read_card, Fits::text_only, Mapping::one_to_one},
    {ClassesRule::function, read_classes, Fits::numbers_and_text, Mapping::lossy},
    {DateShiftRule::function, read_dateshift, Fits::dates_only, Mapping::lossy},
    {DictRule::function, read_dict, Fits::text_only, Mapping::lossy},
    {EmailRule::function, read_email, Fits::text_only, Mapping::lossy},
    {Ff1Rule::function, read_ff1, Fits::text_only, Mapping::one_to_one},
    // The fixed text is checked against the type.
    {FixedRule::function, read_fixed, Fits::every_type, Mapping::lossy},
    {HashRule::function, read_hash, Fits::text_only, Mapping::lossy},
    {KeepRule::function, read_keep, Fits::every_type, Mapping::one_to_one},
    {NoiseRule::function, read_noise, Fits::numbers_only, Mapping::lossy},
    {NullRule::function, read_null, Fits::every_type, Mapping::lossy},
    {PartialRule::function, read_partial, Fits::text_only, Mapping::lossy},
};
static_assert(std::size(functions) == std::variant_size_v<Rule>);

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

// What a rule without a longer result has: nothing.
template <typename AnyRule> std::size_t longest_of(const AnyRule&)
{
    return 0;
}

std::size_t longest_of(const FixedRule& rule)
{
    return code_point_count(rule.text);
}

std::size_t longest_of(const HashRule& rule)
{
    return rule.length;
}

std::size_t longest_of(const EmailRule& rule)
{
    return masked_name_length + 1 + code_point_count(rule.domain);
}

std::size_t longest_of(const DictRule& rule)
{
    return rule.list->longest();
}

void require_length(std::size_t length, const ColumnLimits& column)
{
    // A text column without a limit holds what is as long as its value, but no longer result.
    const bool limited = column.length > 0 || column.type.name == TypeName::text;
    if (limited && length > column.length)
        throw Failure{result_longer_than_column,
                      std::to_string(length) + " > " + std::to_string(column.length)};
}

} // namespace

Rule read_rule(std::string_view name, std::string_view text, const ColumnType& type)
{
    const Function& function = function_named(name);
    if (!fits(function.fits, type)) throw Failure{function_unfit_for_type, std::string(name)};
    RuleArguments arguments{parse_arguments(text)};
    try {
        Rule rule = function.read(arguments, type);
        refuse_rest(arguments);
        return rule;
    } catch (Failure& failure) {
        if (!failure.place) failure.place = arguments.taken;
        throw;
    }
}

bool needs_key(const Rule& rule)
{
    return std::visit([](const auto& said) { return requires { said.scope; }; }, rule);
}

std::size_t longest_result(const Rule& rule)
{
    return std::visit([](const auto& said) { return longest_of(said); }, rule);
}

bool may_leave_type(const Rule& rule)
{
    // An exchange of digits can pass the largest integer. What noise makes it has compared with the largest.
    return !std::holds_alternative<NoiseRule>(rule);
}

std::string_view other_column(const Rule& rule)
{
    const auto* shift = std::get_if<DateShiftRule>(&rule);
    return shift == nullptr ? std::string_view() : shift->by;
}

void require_fit(const Rule& rule, const ColumnLimits& column)
{
    if (const auto* fixed = std::get_if<FixedRule>(&rule)) return require_fit(fixed->text, column);
    require_length(longest_result(rule), column);
}

void require_fit(std::u16string_view text, const ColumnLimits& column)
{
    if (!is_value_of(column.type, text)) throw Failure{fixed_text_unfit, shown(to_utf8(text))};
    require_length(code_point_count(text), column);
}

bool is_function(std::string_view name)
{
    return std::find(function_names.begin(), function_names.end(), name) != function_names.end();
}

bool resembles_function(std::string_view name)
{
    return !nearest(name, function_names).empty();
}

bool is_one_to_one(std::string_view function)
{
    return function_named(function).mapping == Mapping::one_to_one;
}

std::string function_advice(std::string_view name)
{
    return advice(name, "Functions", function_names);
}

} // namespace velk::engine
