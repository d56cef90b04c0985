#include "masking_string.h"

#include "support.h"
#include "text/unicode.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace velk::test {

namespace {

template <typename Record> void head(Record& record, const char* eye_catcher)
{
    std::memcpy(record.eyeCatcher, eye_catcher, 4);
    record.version = record_version;
    record.length = sizeof(Record);
}

struct Release {
    void operator()(void* block) const { std::free(block); }
};

void free_text(TextBlock* block)
{
    if (block == nullptr) return;
    std::free(block->pParmName);
    std::free(block);
}

void free_operand(OPRA* operand)
{
    free_text(operand->PN.pWC);
    if (operand->valueType > integer_value) free_text(operand->PV.pWC);
    std::free(operand);
}

void free_field(FLDA* field)
{
    if (field->nameBlock != nullptr) std::free(field->nameBlock->utf8Name);
    std::free(field->nameBlock);
    std::free(field);
}

std::string format(ECBD* details)
{
    std::u16string heading(message_capacity1 / 2, u'#');
    std::u16string detail(message_capacity2 / 2, u'#');
    std::u16string trailing(message_capacity3 / 2, u'#');
    MessageBuffers buffers{message_capacity1, message_capacity2, message_capacity3, {},
                           heading.data(),    detail.data(),     trailing.data()};
    EMSG request{};
    head(request, "EMSG");
    request.errorCode = static_cast<std::uint32_t>(details->errorCode);
    request.details = details;
    request.textEncoding = wide_message;
    request.buffers = &buffers;
    EXPECT_EQ(Parser_FormatErrorText(&request), 0);
    return to_utf8(heading.c_str()) + "\n" + to_utf8(detail.c_str()) + "\n" + to_utf8(trailing.c_str());
}

} // namespace

ParseRequest::ParseRequest(std::string_view text) : text_(text.begin(), text.end())
{
    text_.shrink_to_fit();
    head(record, "PRMA");
    static const char empty[1] = {};
    input = {'N', {}, 65001, text_.empty() ? empty : text_.data()};
    record.mode = 'M';
    record.iParmStrBytes = static_cast<std::int32_t>(text_.size());
    record.input = &input;
}

ParseRequest::~ParseRequest()
{
    for (const KVPA& entry : entries_) {
        std::free(entry.key);
        std::free(entry.value);
    }
}

std::int32_t ParseRequest::measure()
{
    return Parser_ParseParameters(&record);
}

void ParseRequest::allocate()
{
    record.entryCount = record.pairCount;
    entries_.resize(static_cast<std::size_t>(record.pairCount));
    for (KVPA& entry : entries_) {
        head(entry, "KVPA");
        entry.keySize = record.keySize;
        entry.key = static_cast<char*>(std::calloc(1, static_cast<std::size_t>(record.keySize)));
        entry.valueSize = record.valueSize;
        entry.value = static_cast<char*>(std::calloc(1, static_cast<std::size_t>(record.valueSize)));
    }
    record.entries = entries_.data();
}

std::int32_t ParseRequest::extract()
{
    record.extractionMode = 'A';
    return Parser_ParseParameters(&record);
}

std::vector<PairText> ParseRequest::pairs() const
{
    std::vector<PairText> pairs;
    for (const KVPA& entry : entries_) pairs.push_back({entry.key, entry.value});
    return pairs;
}

Parsed::Parsed(std::string_view text)
{
    run(text);
    if (code == 0) {
        EXPECT_EQ(take_message(), "");
        return;
    }
    note_reached(code);
    message = take_message();
    EXPECT_NE(message, "") << "every error has a text";
    EXPECT_EQ(take_message(), "") << "reading empties the slot";
}

void Parsed::run(std::string_view text)
{
    ParseRequest request(text);
    if ((code = request.measure()) != 0) return;
    request.allocate();
    if ((code = request.extract()) != 0) return;
    EXPECT_EQ(request.record.failed, 0);
    EXPECT_EQ(Adapter_Init(), 0);
    char service_id[10] = {};
    BuildOutput output{};
    PGDA build{};
    head(build, "PGDA");
    build.parameters = &request.record;
    build.pSvcDef = &service;
    build.pSvcId = service_id;
    build.iSvcIdBytes = sizeof service_id;
    build.output = &output;
    code = Adapter_BuildServiceDefinition(&build);
    id = service_id;
    if (code == 0) return;
    EXPECT_EQ(Adapter_FreeServiceDefinition(&service), 0);
}

Parsed::~Parsed()
{
    for (OPRA* operand = service.firstOperand; operand != nullptr;)
        free_operand(std::exchange(operand, operand->next));
    for (FLDA* field = service.firstField; field != nullptr;) free_field(std::exchange(field, field->next));
}

std::vector<OperandText> Parsed::operands() const
{
    std::vector<OperandText> texts;
    for (const OPRA* operand = service.firstOperand; operand != nullptr; operand = operand->next)
        texts.push_back({operand->parameterId,
                         {operand->PN.pWC->utf8Text, static_cast<std::size_t>(operand->nameSize)},
                         {operand->PV.pWC->utf8Text, static_cast<std::size_t>(operand->valueSize)}});
    return texts;
}

std::vector<FieldText> Parsed::fields() const
{
    std::vector<FieldText> texts;
    for (const FLDA* field = service.firstField; field != nullptr; field = field->next)
        texts.push_back(
            {{field->nameBlock->utf8Name, static_cast<std::size_t>(field->nameSize)}, field->fieldLength});
    return texts;
}

std::string take_message()
{
    std::int16_t count = 0;
    std::int32_t size = 0;
    EXPECT_EQ(Parser_GetErrorInfoSize(&count, &size), 0);
    if (count <= 0) return {};
    const std::unique_ptr<ECBD, Release> details(
        static_cast<ECBD*>(std::calloc(1, static_cast<std::size_t>(size))));
    head(*details, "ECBD");
    EXPECT_EQ(Parser_GetErrorInfo(details.get()), 0);
    return format(details.get());
}

std::string message_of(std::string_view text)
{
    return Parsed(text).message;
}

std::vector<PairText> pairs_of(std::string_view text)
{
    ParseRequest request(text);
    EXPECT_EQ(request.measure(), 0) << text;
    request.allocate();
    EXPECT_EQ(request.extract(), 0) << text;
    return request.pairs();
}

} // namespace velk::test
