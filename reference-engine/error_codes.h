#pragma once

// The engine's error codes, one per cause. Their texts stand in provider/messages.cpp. The codes 7219
// to 7222 are left out on purpose: the bridge reports failures of its own under them.

#include <cstdint>

namespace velk::engine {

enum ErrorCode : std::int32_t {
    // Framework and trace.
    framework_already_started = 7101,
    framework_not_started = 7102,
    framework_record_damaged = 7103,
    framework_operand_count_differs = 7104,
    operand_record_damaged = 7105,
    operand_text_ill_formed = 7106,
    framework_operand_unknown = 7107,
    framework_operand_repeated = 7108,
    trace_file_not_text = 7109,
    trace_mask_unknown = 7110,
    trace_file_not_opened = 7111,
    trace_file_not_written = 7112,
    providers_still_open = 7113,
    message_request_damaged = 7114,
    message_unknown = 7115,
    trace_argument_missing = 7116,
    trace_scope_unknown = 7117,
    out_of_memory = 7190,
    internal_error = 7191,

    // Service definition.
    service_record_damaged = 7201,
    operand_count_differs = 7202,
    field_count_differs = 7203,
    no_columns = 7204,
    field_record_damaged = 7205,
    column_name_missing = 7206,
    data_type_unsupported = 7207,
    field_length_negative = 7208,
    service_operand_unknown = 7209,
    operand_repeated = 7210,
    rule_without_column = 7211,
    column_without_rule = 7212,
    column_with_two_rules = 7213,
    operand_not_text = 7214,
    type_unknown = 7215,
    type_out_of_range = 7216,
    field_length_contradicts_type = 7217,
    unique_not_true = 7218,
    service_id_invalid = 7223,
    on_error_unknown = 7224,
    on_null_unknown = 7225,
    key_missing = 7226,
    key_source_unknown = 7227,
    key_variable_unset = 7228,
    key_file_unreadable = 7229,
    key_too_short = 7230,
    masking_strings_unavailable = 7290,

    // Rules and their arguments.
    function_unknown = 7301,
    argument_unknown = 7302,
    argument_repeated = 7303,
    argument_missing = 7304,
    argument_not_in_range = 7305,
    quote_not_closed = 7306,
    character_unexpected = 7307,
    escape_unknown = 7308,
    number_sign_unquoted = 7309,
    white_space_unquoted = 7310,
    text_ill_formed = 7311,
    too_many_arguments = 7312,
    argument_unusable = 7313,
    function_unfit_for_type = 7314,
    result_longer_than_column = 7315,
    fixed_text_unfit = 7316,
    value_missing = 7317,
    list_file_unreadable = 7318,
    list_file_unusable = 7319,

    // Provider.
    handle_address_missing = 7401,
    provider_unknown = 7402,
    request_unknown = 7403,
    row_set_damaged = 7404,
    row_count_differs = 7405,
    row_damaged = 7406,
    field_damaged = 7407,
    service_differs = 7408,

    // A single value or row.
    value_ill_formed = 7501,
    value_too_long = 7502,
    value_not_of_type = 7503,
    value_not_terminated = 7504,
    result_does_not_fit = 7505,
    row_width_differs = 7506,
    row_field_count_differs = 7507,
    value_buffer_missing = 7508,
    value_no_card_number = 7509,
    value_no_address = 7510,
    value_outside_alphabet = 7511,
    value_too_short_to_encrypt = 7512,
    value_too_long_to_encrypt = 7513,
    date_without_choice = 7514,

    // A text conversion.
    conversion_replaced = 7591,
    conversion_truncated = 7592,
    conversion_source_missing = 7593,
};

} // namespace velk::engine
