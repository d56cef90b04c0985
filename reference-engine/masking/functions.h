#pragma once

// The masking functions. A rule names one with its arguments and becomes a mask for one column.

#include "masking/column_type.h"
#include "masking/hmac.h"
#include "masking/results.h"
#include "parser/argument.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace velk::engine {

// Masks one column of a row set.
using Mask = std::function<void(Values, Results&)>;

// What a rule may know of its column.
struct ColumnLimits {
    ColumnType type;
    std::size_t length = 0; // longest text in code points; for type text the longest result that its rule
                            // may give whatever the input; 0: no limit
};

// The arguments of a rule, taken one by one by the function that they are for. What no function took is
// refused at the end.
struct RuleArguments {
    std::vector<Argument> left;
    std::vector<std::string_view> known{}; // names asked for so far
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

struct RuleContext {
    ColumnLimits column;
    const HmacKey* key; // null: the service has none
};

// Throws a Failure where the rule cannot be carried out. The mask refers to the key, which must outlive it.
Mask make_mask(std::string_view function, std::string_view arguments, const RuleContext& context);

bool is_function(std::string_view name);

// Whether different values get different results. Of `card` that holds for numbers whose check digit is
// right. Throws a Failure if there is no such function.
bool is_one_to_one(std::string_view function);

// The longest result in code points where it may exceed the value, else 0: the length that a column of type
// text is declared with. Throws a Failure where the arguments do not say it.
std::size_t longest_result(std::string_view function, std::string_view arguments);

std::string function_advice(std::string_view name);

// Refuse a rule whose result cannot stand in its column: one of that length, one of that text.
void require_length(std::size_t length, const ColumnLimits& column);
void require_fit(std::u16string_view text, const ColumnLimits& column);

// What a keyed function hashes: its name, the scope and the value in UTF-8, so that the same value is
// masked alike wherever function, scope and key are the same.
class KeyedInput {
public:
    KeyedInput(const HmacKey& key, std::string_view function, std::string_view scope);
    Digest digest(std::u16string_view value);

private:
    const HmacKey* key_;
    std::string message_;
    std::size_t prefix_;
};

// One maker per function.
Mask make_keep(RuleArguments& arguments, const RuleContext& context);
Mask make_null(RuleArguments& arguments, const RuleContext& context);
Mask make_fixed(RuleArguments& arguments, const RuleContext& context);
Mask make_partial(RuleArguments& arguments, const RuleContext& context);
Mask make_classes(RuleArguments& arguments, const RuleContext& context);
Mask make_hash(RuleArguments& arguments, const RuleContext& context);
Mask make_card(RuleArguments& arguments, const RuleContext& context);
Mask make_email(RuleArguments& arguments, const RuleContext& context);
Mask make_dict(RuleArguments& arguments, const RuleContext& context);
Mask make_dateshift(RuleArguments& arguments, const RuleContext& context);
Mask make_noise(RuleArguments& arguments, const RuleContext& context);
Mask make_ff1(RuleArguments& arguments, const RuleContext& context);

// The longest result of each function whose result may be longer than its value.
std::size_t longest_fixed(RuleArguments& arguments);
std::size_t longest_hash(RuleArguments& arguments);
std::size_t longest_email(RuleArguments& arguments);
std::size_t longest_dict(RuleArguments& arguments);

} // namespace velk::engine
