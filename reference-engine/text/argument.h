#pragma once

// The arguments of a rule, `keep_last=4, with='#'`:
//
//     arguments = ws [ arg { ws "," ws arg } ws ]
//     arg       = [ name ws "=" ws ] ( bare | squoted | dquoted )
//     name      = ALPHA *( ALPHA | DIGIT | "_" | "-" )
//     pattern   = 1*( ALPHA | DIGIT | "_" | "-" | "*" ), at least one "*"
//     position  = "$" DIGIT *DIGIT, the first one no 0
//     bare      = 1*( any but blank , ; ( ) = ' " # and controls )
//     squoted   = "'" *( any but "'" | "''" ) "'"            literal; '' is one quote
//     dquoted   = DQ *( any but DQ and "\" | escape ) DQ     escapes \\ \" \n \r \t \u{1-6 hex}

#include "text/failure.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

inline constexpr std::size_t argument_limit = 64;

struct Argument {
    std::string name;  // empty: known by its place
    std::string value; // UTF-8, quotes and escapes resolved
    Place place{};     // of name and value in the text that was read
};

// A text and how far it is read. The scan functions move the position behind what they read and throw a
// Failure with the place where they could not go on.
struct Scanner {
    std::string_view text; // UTF-8
    std::size_t position = 0;
};

bool is_white_space(char32_t code_point); // other than a blank
bool is_name_character(char character);
bool is_key_character(char character); // of a name, a pattern or a position

bool at_end(const Scanner& scanner);
bool next_is(const Scanner& scanner, char character);
bool scan_character(Scanner& scanner, char character);
void scan_blanks(Scanner& scanner);
char32_t peek(const Scanner& scanner);     // the character here, without moving on
std::string scan_name(Scanner& scanner);   // empty if none starts here
std::string scan_column(Scanner& scanner); // a name, a pattern or a position; empty if none starts here
std::string scan_value(Scanner& scanner);  // bare or quoted
Argument scan_argument(Scanner& scanner);
void scan_call(Scanner& scanner); // from the opening parenthesis to the closing one

// Says why nothing can start or go on here.
[[noreturn]] void fail(const Scanner& scanner, ErrorCode code, std::string subject = {},
                       std::string advice = {});
[[noreturn]] void fail_at_character(const Scanner& scanner, ErrorCode unexpected = character_unexpected);

// Whether it is a pattern or a position: it stands for columns that only who has a table knows.
bool stands_for_columns(std::string_view name);

// The whole of a text.
std::string value_of(std::string_view text); // bare or quoted
std::vector<Argument> parse_arguments(std::string_view text);

} // namespace velk::engine
