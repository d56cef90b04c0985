// The parser's operations.

#include "engine/parser.h"

#include "parser/error_slot.h"
#include "parser/error_text.h"
#include "parser/pairs.h"
#include "parser/report.h"
#include "text/boundary.h"
#include "text/records.h"

#include <algorithm>
#include <vector>

namespace velk {

namespace {

using namespace engine;

constexpr std::int32_t code_page_utf8 = 65001;
constexpr char dbms_type_none = 'N';
constexpr char sizing_mode = 'M';
constexpr char extraction_mode = 'A';

// The text of a request, once it is known to be one.
std::string_view source_of(const PRMA* request)
{
    if (request == nullptr || !has_header(*request, "PRMA") || request->mode != sizing_mode ||
        request->input == nullptr || request->iParmStrBytes < 0 || request->input->pParamString == nullptr)
        throw Failure{parse_request_damaged};
    return {request->input->pParamString, static_cast<std::size_t>(request->iParmStrBytes)};
}

void require_encoding(const InputDescriptor& input)
{
    if (input.iCodePage != code_page_utf8)
        throw Failure{code_page_unsupported, std::to_string(input.iCodePage)};
    if (input.cDBMSType != dbms_type_none)
        throw Failure{dbms_type_unsupported, std::to_string(static_cast<unsigned char>(input.cDBMSType))};
}

// The key or the value that makes the buffers as large as they are.
Place longest_pair(const std::vector<Pair>& pairs)
{
    Place longest{};
    for (const Pair& pair : pairs)
        for (const Place& place : {pair.key, pair.value})
            if (place.length > longest.length) longest = place;
    return longest;
}

void measure(const std::vector<Pair>& pairs, PRMA& request)
{
    std::size_t key = 0;
    std::size_t value = 0;
    for (const Pair& pair : pairs) {
        key = std::max(key, pair.key.length);
        value = std::max(value, pair.value.length);
    }
    if (pairs.size() * (key + value + 2) > largest_buffers)
        throw Failure{pairs_too_large, std::to_string(pairs.size()) + " pairs", {}, {}, longest_pair(pairs)};
    request.pairCount = static_cast<std::int32_t>(pairs.size());
    request.keySize = static_cast<std::int32_t>(key + 1); // with a terminator
    request.valueSize = static_cast<std::int32_t>(value + 1);
}

void copy_part(std::string_view part, char* buffer, std::int32_t capacity)
{
    if (buffer == nullptr) throw Failure{pair_buffer_missing};
    if (capacity < 0 || static_cast<std::size_t>(capacity) <= part.size())
        throw Failure{pair_buffer_too_small, std::to_string(capacity)};
    std::copy(part.begin(), part.end(), buffer);
    buffer[part.size()] = '\0';
}

void extract(std::string_view source, const std::vector<Pair>& pairs, const PRMA& request)
{
    if (request.entryCount < 0 || static_cast<std::size_t>(request.entryCount) != pairs.size())
        throw Failure{pair_count_differs,
                      std::to_string(request.entryCount) + " and " + std::to_string(pairs.size())};
    if (request.entries == nullptr && !pairs.empty()) throw Failure{parse_request_damaged};
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        KVPA& entry = request.entries[i];
        if (!has_header(entry, "KVPA")) throw Failure{parse_request_damaged};
        copy_part(source.substr(pairs[i].key.start, pairs[i].key.length), entry.key, entry.keySize);
        copy_part(source.substr(pairs[i].value.start, pairs[i].value.length), entry.value, entry.valueSize);
        store_place(entry, pairs[i]);
    }
}

void parse(std::string_view source, PRMA& request)
{
    require_encoding(*request.input);
    const std::vector<Pair> pairs = parse_pairs(source);
    if (request.extractionMode == extraction_mode)
        extract(source, pairs, request);
    else
        measure(pairs, request);
}

// They speak of a rule on its own.
void clear_details(Failure& failure)
{
    failure.detail.clear();
    for (Failure& other : failure.others) other.detail.clear();
}

// Keeps what is known of a failure for whoever asks for it.
void tell(const Failure& failure, std::string_view source)
{
    const MessageText text = error_text(failure, source);
    put_error(error_slot(), failure.code, text.heading, text.detail, text.trailing);
}

} // namespace

// Nothing has to be prepared.
std::int32_t Parser_Init()
{
    return 0;
}

std::int32_t Parser_ParseParameters(PRMA* request)
{
    error_slot().code = 0;
    std::string_view source;
    std::optional<Failure> failure = failure_of([&] {
        source = source_of(request);
        parse(source, *request);
    });
    if (is_told(failure)) {
        if (failure->place) clear_details(*failure);
        if (std::optional<Failure> untold = failure_of([&] { tell(*failure, source); })) failure = untold;
    }
    const bool extraction =
        request != nullptr && has_header(*request, "PRMA") && request->extractionMode == extraction_mode;
    if (failure && extraction) request->failed = 1;
    return code_of(failure);
}

std::int32_t Parser_GetErrorInfoSize(std::int16_t* count, std::int32_t* size)
{
    const bool there = error_slot().code != 0;
    if (count != nullptr) *count = there ? 1 : 0;
    if (size != nullptr) *size = there ? static_cast<std::int32_t>(details_size) : 0;
    return 0;
}

std::int32_t Parser_GetErrorInfo(ECBD* details)
{
    if (details == nullptr || !has_header(*details, "ECBD")) return error_details_damaged;
    ErrorSlot& slot = error_slot();
    if (slot.code == 0) return error_details_missing;
    write_details(slot, *details);
    slot.code = 0;
    return 0;
}

std::int32_t Parser_FormatErrorText(EMSG* request)
{
    return code_of(failure_of([=] {
        if (!is_message_request(request)) throw Failure{message_request_damaged};
        if (request->details == nullptr) throw Failure{error_details_damaged};
        write_message(read_details(*request->details), *request->buffers);
    }));
}

void Parser_ReportError(std::int32_t code, const char* heading, const char* detail, const char* trailing)
{
    put_error(error_slot(), code, heading, detail, trailing);
}

} // namespace velk
