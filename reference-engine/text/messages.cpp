#include "text/messages.h"

#include "text/records.h"
#include "text/unicode.h"

#include <algorithm>
#include <iterator>

namespace velk::engine {

namespace {

constexpr Message table[] = {
    {framework_already_started, "the framework is already started", "A process starts it once.",
     "End it before it is started again."},
    {framework_not_started, "the framework is not started", "Providers run only while the framework does.",
     "Start the framework first."},
    {framework_record_damaged, "not a framework definition record",
     "Its eye-catcher, version or length is not that of an FRPA record.",
     "Build it with FrameworkDefinition.toC."},
    {framework_operand_count_differs, "the framework's operand count differs from its chain",
     "The count and the length of the chain must agree in their low 16 bits.",
     "Run FrameworkDefinition.toC again after the operands changed."},
    {operand_record_damaged, "not an operand record",
     "Its eye-catcher, version or length is not that of an OPRA record, or a text is missing.",
     "Build it with InitializationOperand.toC."},
    {operand_text_ill_formed, "a name or value is not well-formed text",
     "It holds a lone surrogate or bytes that are not UTF-8.", "Correct the text."},
    {framework_operand_unknown, "unknown framework operand", "The framework does not know this name.",
     "Remove the operand or correct its name."},
    {framework_operand_repeated, "framework operand given twice", "Each operand may stand once.",
     "Remove one of the two."},
    {trace_file_not_text, "framework operand has no text value", "A file is named by a text.",
     "Set the operand's text value; - writes the trace to standard error."},
    {trace_mask_unknown, "unknown word in the trace mask", "A mask is made of words or of a number.",
     "Words: all, data, entry, message. Number: decimal, or hexadecimal behind 0x."},
    {trace_file_not_opened, "the trace file cannot be opened",
     "It could not be opened for writing, or it is a link or a file of someone else.",
     "Check the path and its permissions; - writes the trace to standard error."},
    {trace_file_not_written, "the trace is not complete",
     "Not every event could be written to the trace file.",
     "Check the space left where the file is. The trace is given up; end the framework once more."},
    {providers_still_open, "providers are still open", "The framework cannot end before its providers.",
     "End every provider first."},
    {message_request_damaged, "not a message request",
     "Its eye-catcher, version, length or encoding is not that of an EMSG record, or it has no buffers.",
     "Ask for 16-bit text with a complete EMSG record."},
    {message_unknown, "no text for this error code", "The engine has no such code.",
     "Look at the code itself."},
    {trace_argument_missing, "a trace operation misses an argument",
     "The address of a context, a control block or a record is null.", "Pass the address."},
    {trace_scope_unknown, "no open trace scope", "The context or the record belongs to no open scope.",
     "Begin the scope first and end it once."},
    {out_of_memory, "out of memory", "The engine could not allocate what it needs.",
     "Use smaller row sets or give the process more memory."},
    {internal_error, "internal error", "The engine met a state that it does not know.",
     "Report this with the trace of the run."},

    {service_record_damaged, "not a service definition record",
     "Its eye-catcher, version or length is not that of an SVCA record.",
     "Build it with ServiceDefinition.toC."},
    {operand_count_differs, "the service's operand count differs from its chain",
     "The count and the length of the chain must agree in their low 16 bits.",
     "Run ServiceDefinition.toC again after the operands changed."},
    {field_count_differs, "the service's field count differs from its chain",
     "The count and the length of the chain must agree in their low 16 bits.",
     "Run ServiceDefinition.toC again after the field definitions changed."},
    {no_columns, "the service has no columns", "There is nothing to mask.",
     "Add a field definition for each column."},
    {field_record_damaged, "not a field definition record",
     "Its eye-catcher, version or length is not that of an FLDA record, or its name is missing.",
     "Build it with FieldDefinition.toC."},
    {column_name_missing, "no name for a column", "Every column needs a name of at least one character.",
     "Set the column's name."},
    {data_type_unsupported, "data type not supported", "Every column is exchanged as data type 6.",
     "Set the field definition's id to 6 and say the declared type in the operand \"type\"."},
    {field_length_negative, "a column's length is negative", "It is a number of characters, 0 for no limit.",
     "Set a length of 0 or more."},
    {service_operand_unknown, "unknown service operand", "The service does not know this name.",
     "Remove the operand, correct its name, or give it the number of the column that it is for."},
    {operand_repeated, "operand given twice",
     "Each operand may stand once for the service and once for a column.", "Remove one of the two."},
    {rule_without_column, "an operand speaks of a column that is not there",
     "Its parameter id is above the number of columns.", "Correct the parameter id; the first column has 1."},
    {column_without_rule, "no rule for a column", "A column is left as it is only where a rule says so.",
     "Give the column a rule; keep leaves it as it is."},
    {column_with_two_rules, "a column has two rules", "A column is masked by one rule.",
     "Remove one of the two."},
    {operand_not_text, "an operand's value is not text", "Keys, rules and attributes are given as text.",
     "Set the operand's text value; without arguments it is empty."},
    {type_unknown, "unknown column type", "The type is not one of the known ones, or not written as such.",
     "Write for instance varchar(20), char(2), decimal(9,2), integer, date, timestamp or text."},
    {type_out_of_range, "a column type's size is out of range", "The engine knows no column of that size.",
     "A length is from 1 to 1000000, a precision from 1 to 1000, a scale from 0 to the precision."},
    {field_length_contradicts_type, "a column's length contradicts its type",
     "The field definition's length must be the n of char(n) or varchar(n).", "Make the two the same."},
    {unique_not_true, "unknown value of unique", "A column that need not be unique has no such attribute.",
     "Write true or remove the attribute."},
    {service_id_invalid, "the service id is not valid", "It is too long, empty, or has other characters.",
     "Choose 1 to 9 ASCII letters, digits, _ and -."},
    {on_error_unknown, "unknown way to treat an error", "on_error is one of null, fixed('...') and stop.",
     "Correct it, or remove it: a value in error then comes back empty."},
    {on_null_unknown, "unknown way to treat a null", "on_null is keep or mask.", "Correct it, or remove it."},
    {key_missing, "no key for a function that needs one",
     "Only keep, null, fixed and partial work without one.",
     "Add the operand key=env:NAME or key=file:PATH."},
    {key_source_unknown, "the key is not named by its source",
     "A key itself never stands here, only where it is to be found.", "Write key=env:NAME or key=file:PATH."},
    {key_variable_unset, "the key's environment variable is not set", "The key is read from this variable.",
     "Set the variable before the process starts."},
    {key_file_unreadable, "the key file cannot be read",
     "It is not there, not a file, longer than 65536 bytes, or may not be opened.",
     "Check the path and its permissions."},
    {key_too_short, "the key is too short", "A key has at least 16 bytes.", "Use a longer key."},
    {parse_request_damaged, "not a parse request",
     "A record's eye-catcher, version or length is not the expected one, or the text is missing.",
     "Pass a complete PRMA record with its input, mode and entries."},
    {code_page_unsupported, "code page not supported", "Masking strings are read as UTF-8.",
     "Pass the text in UTF-8 and the code page 65001."},
    {dbms_type_unsupported, "DBMS type not supported", "Masking strings speak of no database.",
     "Pass the type N."},
    {pair_buffer_missing, "a pair has no buffer", "The buffer of a key or a value is null.",
     "Give each entry both buffers; there may be too little memory for them."},
    {pair_buffer_too_small, "a pair's buffer is too small",
     "A key or a value does not fit with its terminator.", "Use the sizes that the sizing pass gives."},
    {pair_count_differs, "the number of entries is not that of the pairs",
     "Both passes must read the same text.", "Use the count that the sizing pass gives."},
    {build_request_damaged, "not a build request",
     "A record's eye-catcher, version or length is not the expected one, or a part is missing.",
     "Pass a complete PGDA record with the parsed entries."},
    {service_id_buffer_too_small, "the buffer for the service id is too small",
     "The id does not fit with its terminator.", "Use a buffer of 10 bytes."},
    {error_details_missing, "there is no error to tell of", "No parse failed since the last error was read.",
     "Ask for the size first: it says whether there is one."},
    {error_details_damaged, "not a block of error details",
     "Its eye-catcher, version or length is not that of an ECBD record, or it was not filled.",
     "Fill the block with the parser's details first."},
    {column_is_pattern, "a pattern or a position in place of a column",
     "It stands for columns of a file or a table that only the caller knows.",
     "Start the provider with the name of each column."},
    {column_unknown, "no such column", "A rule decides by a column that the service does not have.",
     "Name one of the other columns."},
    {key_file_writable, "others may write the key file",
     "Whoever can exchange the key decides what every value is masked with.",
     "Take the right from them: chmod 600 FILE, or icacls on Windows."},
    {key_of_one_byte, "the key repeats a single byte", "It is no key but a place where one should stand.",
     "Use 32 bytes made by chance."},
    {key_with_byte_order_mark, "the key starts with a byte-order mark",
     "An editor has put it there; on another machine the same key would be without it.",
     "Write the file without the mark."},
    {entry_outside_string, "an entry speaks of a place that the masking string does not have",
     "It was not filled by the parser from this string.", "Extract the pairs of the same text again."},

    {function_unknown, "unknown function", "No masking function has this name.",
     "Correct the function's name."},
    {argument_unknown, "unknown argument", "The function does not take it.",
     "Remove it or correct its name."},
    {argument_repeated, "argument given twice", "Each argument may stand once.", "Remove one of the two."},
    {argument_missing, "an argument is missing", "The function cannot work without it.", "Add the argument."},
    {argument_not_in_range, "an argument is not a number in its range", "It is written in ASCII digits.",
     "Correct the number."},
    {quote_not_closed, "a quoted text does not end", "Its closing quote is missing.",
     "Close the text. A single quote inside single quotes is written twice."},
    {character_unexpected, "unexpected character", "It cannot stand here outside quotes.",
     "Quote the value, or set arguments apart by commas."},
    {escape_unknown, "unknown escape",
     "Between double quotes \\ starts one of \\\\ \\\" \\n \\r \\t and \\u{...}.",
     "Write \\\\ for the character itself, or use single quotes."},
    {number_sign_unquoted, "a # must be quoted", "Outside quotes it would start a comment.", "Write '#'."},
    {white_space_unquoted, "unexpected white space",
     "Outside quotes only blank, tab and line ends set words apart.",
     "Replace it by a blank, or quote the value."},
    {text_ill_formed, "not well-formed text", "A byte is zero or not part of UTF-8 text.",
     "Correct the text."},
    {too_many_arguments, "too many arguments", "No function takes so many.", "Leave at most 64."},
    {argument_unusable, "an argument cannot be used", "Its value is not of the kind that the function needs.",
     "Correct the value."},
    {function_unfit_for_type, "the column's type cannot be masked by this function",
     "Its results would be no values of the column's type.", "Choose another function or another type."},
    {result_longer_than_column, "the rule's result is longer than the column",
     "The first number is the result's length in characters, the second the column's.",
     "Shorten the result or declare a longer column."},
    {fixed_text_unfit, "the column's type has no such value",
     "The fixed text is not written as the type's values are.", "Choose another text or another type."},
    {value_missing, "a value is missing", "The text ends where a value should stand.",
     "Add the value; an empty one is written ''."},
    {list_file_unreadable, "the list file cannot be read", "The values of dict come from this file.",
     "Check the path and its permissions."},
    {list_file_unusable, "not a list",
     "A list has one entry in each line, in UTF-8, and at least two entries that differ.",
     "Correct the file."},

    {string_too_long, "the masking string is too long", "The rest of it was not read.",
     "Shorten it to 1048576 bytes; comments count as well."},
    {too_many_pairs, "too many pairs", "The rest of them was not read.",
     "Leave at most 20000, and the other columns to another service."},
    {key_character_unexpected, "unexpected character where a key stands",
     "A key is a name, or a text between double quotes.",
     "A name has ASCII letters, digits, _ and - and starts with a letter. Put any other key between double "
     "quotes."},
    {key_part_missing, "a key ends behind its point", "The name of an attribute should follow.",
     "Attributes: type, unique."},
    {key_with_three_parts, "a key has one part too many", "It has two at most: a column and an attribute.",
     "Put a column's name that has a point in it between double quotes."},
    {equals_sign_missing, "no = behind a key", "A pair is a key, = and a value.",
     "Write key = value. A value of several words is quoted."},
    {call_not_closed, "a parenthesis is not closed", "The function's arguments do not end.", "Add the )."},
    {key_repeated, "key given twice", "Each column, attribute and word of the service may stand once.",
     "Remove one of the two."},
    {key_unknown, "unknown key", "It is no word of the service, and its value is no rule of a column.",
     "Correct the key."},
    {attribute_unknown, "unknown attribute of a column", "A column has a type and may be unique.",
     "Remove it or correct its name."},
    {reserved_word_with_attribute, "a word of the service has no attributes",
     "service, key, on_error and on_null speak of the service.",
     "Put the word between double quotes where it is the name of a column."},
    {rule_quoted, "a rule is not quoted", "It is a function with or without arguments.",
     "Write the function without quotes; a text for every value is fixed('...')."},
    {service_missing, "the masking string does not name its service", "The service's id is required.",
     "Add service=..., 1 to 9 ASCII letters, digits, _ and -."},
    {pairs_too_large, "a key or a value is too long for so many pairs",
     "Every pair is given room for the longest key and the longest value, together at most 256 MiB.",
     "Shorten it, or divide the columns among several services."},

    {handle_address_missing, "no place for the provider's handle", "The address for the handle is null.",
     "Pass the address of a 32-bit integer."},
    {provider_unknown, "unknown provider", "No open provider has this handle.",
     "Use the handle that the provider's start gave, and only until its end."},
    {request_unknown, "unknown request code", "The service call knows one request, 5128.", "Pass 5128."},
    {row_set_damaged, "not a row set record",
     "Its eye-catcher, version or length is not that of an RWST record.", "Build it with RowSet.toC."},
    {row_count_differs, "the row count differs from its chain",
     "The count and the length of the chain must agree.", "Run RowSet.toC again after the rows changed."},
    {row_damaged, "not a row record", "Its eye-catcher, version or length is not that of an ROWD record.",
     "Build it with Row.toC."},
    {field_damaged, "not a field record", "Its eye-catcher, version or length is not that of a DATA record.",
     "Build it with Field.toC."},
    {service_differs, "the service definition is not the provider's",
     "The name, type, rule or limit of a column is another one, or there are more or fewer of them.",
     "Pass the definition that the provider was started with."},

    {value_ill_formed, "the value is not well-formed text", "It holds half of a surrogate pair.",
     "The value was not masked and is not given back."},
    {value_too_long, "the value is longer than its column", "It has more characters than the column holds.",
     "The value was not masked and is not given back."},
    {value_not_of_type, "the value is not of its column's type",
     "It is not written as the type's values are.", "The value was not masked and is not given back."},
    {value_not_terminated, "the value does not end inside its buffer", "The buffer holds no zero unit.",
     "The value was not masked and is not given back."},
    {result_does_not_fit, "the masked value does not fit its column",
     "It is too long, or out of the range of the column's type.", "The value is not given back."},
    {row_width_differs, "the row does not have one field for each column",
     "It has more or fewer fields than the service has columns.", "No field of the row is given back."},
    {row_field_count_differs, "the row's field count differs from its chain",
     "The count and the length of the chain must agree in their low 16 bits.",
     "No field of the row is given back."},
    {value_buffer_missing, "the value has no usable buffer",
     "The record gives the buffer a size but no address, or no size, or a negative one.",
     "The value was not masked."},
    {value_no_card_number, "the value is not a card number",
     "It does not have 12 to 19 digits, fewer than 6 of them would be hidden beside the check digit, or a "
     "character is no digit, blank or punctuation.",
     "The value was not masked and is not given back."},
    {value_no_address, "the value is not an e-mail address",
     "An address is a name, an @ and a domain, without blanks.",
     "The value was not masked and is not given back."},
    {value_outside_alphabet, "the value has a character that is not of the rule's alphabet",
     "Only blanks and punctuation stay where they are.", "Name an alphabet that has it."},
    {value_too_short_to_encrypt, "the value is too short to be encrypted",
     "There are fewer than a million values of its length, which are found by trying.",
     "Choose a function that need not be undone."},
    {value_too_long_to_encrypt, "the value is too long to be encrypted",
     "It has more than 256 characters of the alphabet.", "Choose another function for long texts."},
    {date_without_choice, "the date cannot be moved",
     "No other date within its reach lies in the rule's bounds.", "Allow more days or wider bounds."},
    {date_moved_out_of_bounds, "the date cannot be moved as far as the others of its row's person",
     "It would leave the rule's bounds or the calendar; moved less, it would not keep its distance to them.",
     "Allow wider bounds."},
    {other_value_missing, "the value that decides about this one is missing",
     "The column that the rule names by its argument by is null, empty or in error in this row.",
     "The value was not masked and is not given back."},
    {value_of_short_list, "the value is itself an entry of a short list",
     "It becomes another entry, and of fewer than 10 different ones that tells what it was.",
     "Take a longer list, one that holds no value of the column, or null or fixed."},
    {character_without_like, "a character cannot be exchanged",
     "It has no other character of its kind, or is none that this version knows; or nothing else of the "
     "value "
     "is exchanged, and it has one other alone, which would tell it.",
     "Choose another function for such values."},
    {conversion_replaced, "text was repaired in a conversion", "What was ill-formed became U+FFFD.",
     "Correct the text before it is converted."},
    {conversion_truncated, "text was cut in a conversion", "The result does not fit its buffer.",
     "Use a longer buffer."},
    {conversion_source_missing, "a conversion has no text",
     "The address of the text is null, its length is not 0.", "Pass the address of the text."},
};

// As many whole characters as fit, and a terminator.
void write_text(char16_t* buffer, std::uint32_t capacity, std::string_view text, std::size_t bytes)
{
    std::size_t room = capacity / sizeof(char16_t);
    if (buffer == nullptr || room == 0) return;
    for (std::size_t position = 0; position < text.size();) {
        char16_t units[2];
        const std::size_t size = encode(next_code_point(text, position), units);
        if (size >= room || position > bytes) break;
        buffer = std::copy_n(units, size, buffer);
        room -= size;
    }
    *buffer = 0;
}

} // namespace

std::span<const Message> messages()
{
    return table;
}

const Message* find_message(std::uint32_t code)
{
    const auto* found = std::find_if(std::begin(table), std::end(table), [code](const Message& message) {
        return static_cast<std::uint32_t>(message.code) == code;
    });
    return found == std::end(table) ? nullptr : found;
}

std::string heading_of(const Message& message, std::string_view subject)
{
    std::string heading = std::to_string(message.code) + " " + std::string(message.heading);
    if (!subject.empty()) heading.append(" \"").append(subject).append("\"");
    return heading;
}

bool is_message_request(const EMSG* request)
{
    return request != nullptr && has_header(*request, "EMSG") && request->textEncoding == wide_message &&
           request->buffers != nullptr;
}

void write_message(const MessageText& text, const MessageBuffers& buffers)
{
    write_text(buffers.text1, buffers.capacity1, text.heading, heading_bytes);
    write_text(buffers.text2, buffers.capacity2, text.detail, detail_bytes);
    write_text(buffers.text3, buffers.capacity3, text.trailing, trailing_bytes);
}

} // namespace velk::engine
