// Arbitrary bytes as a masking string, driven as the bridge drives it: two passes, one build, and the text of
// an error. Beside what the sanitizers see, this checks what must hold whatever the bytes are.

#include "engine/adapter.h"
#include "engine/parser.h"
#include "parser/pairs.h"
#include "text/error_codes.h"
#include "text/unicode.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace velk;

void require(bool holds, const char* what)
{
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

template <typename Record> void head(Record& record, const char* eye_catcher)
{
    std::memcpy(record.eyeCatcher, eye_catcher, 4);
    record.version = record_version;
    record.length = sizeof(Record);
}

struct Request {
    explicit Request(std::string_view text) : bytes(text.begin(), text.end())
    {
        bytes.shrink_to_fit();
        static const char empty[1] = {};
        input = {'N', {}, 65001, bytes.empty() ? empty : bytes.data()};
        head(record, "PRMA");
        record.mode = 'M';
        record.iParmStrBytes = static_cast<std::int32_t>(bytes.size());
        record.input = &input;
    }
    ~Request()
    {
        for (const KVPA& entry : entries) {
            std::free(entry.key);
            std::free(entry.value);
        }
    }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    std::vector<char> bytes; // no byte longer than the text, so that reading on is noticed
    InputDescriptor input{};
    PRMA record{};
    std::vector<KVPA> entries;
};

std::int32_t measure(Request& request)
{
    const std::int32_t code = Parser_ParseParameters(&request.record);
    if (code != 0) return code;
    request.record.entryCount = request.record.pairCount;
    request.entries.resize(static_cast<std::size_t>(request.record.pairCount));
    for (KVPA& entry : request.entries) {
        head(entry, "KVPA");
        entry.keySize = request.record.keySize;
        entry.key = static_cast<char*>(std::malloc(static_cast<std::size_t>(entry.keySize)));
        entry.valueSize = request.record.valueSize;
        entry.value = static_cast<char*>(std::malloc(static_cast<std::size_t>(entry.valueSize)));
    }
    request.record.entries = request.entries.data();
    return 0;
}

void extract(Request& request)
{
    request.record.extractionMode = 'A';
    require(Parser_ParseParameters(&request.record) == 0, "what was measured can be extracted");
    require(request.record.failed == 0, "the extraction's flag agrees with its result");
    const std::string_view text(request.bytes.data(), request.bytes.size());
    for (const KVPA& entry : request.entries) {
        const engine::Pair pair = engine::place_of(entry);
        require(text.substr(pair.key.start, pair.key.length) == entry.key, "a key is a part of the text");
        require(text.substr(pair.value.start, pair.value.length) == entry.value,
                "a value is a part of the text");
    }
}

std::string printed(const Request& request)
{
    std::string text;
    for (const KVPA& entry : request.entries)
        text.append(entry.key).append("=").append(entry.value).append("\n");
    return text;
}

// What is printed may be longer than what was read, where pairs stood apart by one byte as well.
void check_printing(const Request& request)
{
    const std::string text = printed(request);
    if (text.size() > engine::longest_string) return;
    Request again(text);
    require(measure(again) == 0, "what is printed parses");
    extract(again);
    require(printed(again) == text, "what is printed parses to the same pairs");
}

void check_error(std::int32_t code)
{
    std::int16_t count = 0;
    std::int32_t size = 0;
    require(Parser_GetErrorInfoSize(&count, &size) == 0 && count == 1, "every error has details");
    auto* details = static_cast<ECBD*>(std::calloc(1, static_cast<std::size_t>(size)));
    head(*details, "ECBD");
    require(Parser_GetErrorInfo(details) == 0 && details->errorCode == code, "the details are of this error");
    std::vector<char16_t> texts[] = {std::vector<char16_t>(message_capacity1 / 2),
                                     std::vector<char16_t>(message_capacity2 / 2),
                                     std::vector<char16_t>(message_capacity3 / 2)};
    MessageBuffers buffers{message_capacity1, message_capacity2, message_capacity3, {},
                           texts[0].data(),   texts[1].data(),   texts[2].data()};
    EMSG request{};
    head(request, "EMSG");
    request.details = details;
    request.textEncoding = wide_message;
    request.buffers = &buffers;
    require(Parser_FormatErrorText(&request) == 0, "the details can be formatted");
    std::free(details);
    std::string whole;
    for (const std::vector<char16_t>& text : texts) whole += engine::to_utf8(text.data()) + "\n";
    require(whole.size() < 3000, "a message is short");
    if (code == engine::entry_outside_string || code == engine::build_request_damaged) return;
    require(whole.find(" (byte ") != std::string::npos && whole.find('^') != std::string::npos,
            "an error has a place");
}

void free_text(TextBlock* block)
{
    std::free(block->pParmName);
    std::free(block);
}

void free_records(const SVCA& service)
{
    for (OPRA* operand = service.firstOperand; operand != nullptr;) {
        free_text(operand->PN.pWC);
        free_text(operand->PV.pWC);
        std::free(std::exchange(operand, operand->next));
    }
    for (FLDA* field = service.firstField; field != nullptr;) {
        std::free(field->nameBlock->utf8Name);
        std::free(field->nameBlock);
        std::free(std::exchange(field, field->next));
    }
}

void build(Request& request)
{
    SVCA service{};
    char id[10] = {};
    PGDA build{};
    head(build, "PGDA");
    build.parameters = &request.record;
    build.pSvcDef = &service;
    build.pSvcId = id;
    build.iSvcIdBytes = sizeof id;
    if (const std::int32_t code = Adapter_BuildServiceDefinition(&build)) {
        check_error(code);
        require(Adapter_FreeServiceDefinition(&service) == 0, "a failed build can be released");
        return;
    }
    require(id[0] != 0 && service.firstField != nullptr, "a service has an id and columns");
    free_records(service);
}

// Bytes of an entry that are the parser's, and the text that it extracted, as somebody else might have left
// them: the adapter reads nothing of the string and of the buffers that is not there.
void damage(Request& request, std::string_view bytes)
{
    for (std::size_t i = 0; i + 2 < bytes.size() && !request.entries.empty(); i += 3) {
        const auto number = [&bytes](std::size_t index) { return static_cast<std::uint8_t>(bytes[index]); };
        KVPA& entry = request.entries[number(i) % request.entries.size()];
        const std::uint8_t place = number(i + 1);
        if (place < 8) entry.reserved0[place] = number(i + 2);
        if (place >= 8 && place < 16) entry.reserved32[place - 8] = number(i + 2);
        if (place == 16) entry.reserved24[0] = number(i + 2);
        if (place == 17) entry.key[number(i + 2) % static_cast<std::size_t>(entry.keySize)] ^= 1;
        if (place == 18) entry.value[number(i + 2) % static_cast<std::size_t>(entry.valueSize)] ^= 1;
        if (place == 19 && entry.keySize > 0) --entry.keySize;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    // A list may be read from any file of the machine: not from what chance names.
    if (text.find("file") != std::string_view::npos) return -1;
    Request request(text);
    if (const std::int32_t code = measure(request)) {
        check_error(code);
        return 0;
    }
    extract(request);
    check_printing(request);
    build(request);
    damage(request, text.substr(0, 60));
    build(request);
    return 0;
}
