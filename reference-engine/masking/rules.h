#pragma once

// What a rule says, as data: which function with which arguments. Nothing here masks or knows a key, so that
// a rule can be checked where its key is not known.

#include "masking/alphabet.h"
#include "masking/column_type.h"
#include "masking/lists.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

namespace velk::engine {

struct KeepRule {
    static constexpr std::string_view function = "keep";
};

struct NullRule {
    static constexpr std::string_view function = "null";
};

struct FixedRule {
    static constexpr std::string_view function = "fixed";
    std::u16string text;
};

struct PartialRule {
    static constexpr std::string_view function = "partial";
    std::size_t keep_first; // code points
    std::size_t keep_last;
    std::size_t hide_least; // a value of which less would be hidden is masked whole
    char16_t with;
};

// The keyed ones have a scope: columns with the same one share their mapping.
struct ClassesRule {
    static constexpr std::string_view function = "classes";
    std::string scope;
};

struct HashRule {
    static constexpr std::string_view function = "hash";
    std::string scope;
    std::size_t length; // hexadecimal digits
};

struct CardRule {
    static constexpr std::string_view function = "card";
    std::string scope;
    std::size_t keep_first; // digits
};

struct EmailRule {
    static constexpr std::string_view function = "email";
    std::string scope;
    std::u16string domain;
};

struct DictRule {
    static constexpr std::string_view function = "dict";
    std::string scope;
    std::shared_ptr<const List> list;
};

struct DateShiftRule {
    static constexpr std::string_view function = "dateshift";
    std::string scope;
    std::uint32_t days; // at most so many back or forth
    std::u16string min; // dates, as they are written
    std::u16string max;
    std::string by; // the column that decides how far; empty: the date itself
};

struct NoiseRule {
    static constexpr std::string_view function = "noise";
    std::string scope;
    std::uint32_t percent;
    ColumnType type;
};

struct Ff1Rule {
    static constexpr std::string_view function = "ff1";
    std::string scope;
    std::shared_ptr<const Alphabet> alphabet;
};

using Rule = std::variant<KeepRule, NullRule, FixedRule, PartialRule, ClassesRule, HashRule, CardRule,
                          EmailRule, DictRule, DateShiftRule, NoiseRule, Ff1Rule>;

// Throws a Failure where there is no such function, where it takes no such arguments or not that type.
Rule read_rule(std::string_view function, std::string_view arguments, const ColumnType& type);

bool needs_key(const Rule& rule);

// The longest result in code points where it may exceed the value, else 0: the length that a column of type
// text is declared with.
std::size_t longest_result(const Rule& rule);

// Whether of a value of its column's type it may make one that is none.
bool may_leave_type(const Rule& rule);

// The column by whose value a rule decides; empty: none.
std::string_view other_column(const Rule& rule);

// What a column can hold.
struct ColumnLimits {
    ColumnType type;
    std::size_t length = 0; // longest text in code points; for type text the longest result that its rule
                            // may give whatever the input; 0: no limit
};

// Throw a Failure where what a rule gives cannot stand in its column: its longest result, one text.
void require_fit(const Rule& rule, const ColumnLimits& column);
void require_fit(std::u16string_view text, const ColumnLimits& column);

bool is_function(std::string_view name);
bool resembles_function(std::string_view name); // is one, or a slip away from it

// Whether different values get different results. Of `card` that holds for numbers whose check digit is
// right. Throws a Failure if there is no such function.
bool is_one_to_one(std::string_view function);

std::string function_advice(std::string_view name);

} // namespace velk::engine
