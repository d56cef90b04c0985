#include "bulk/service.h"

#include "engine/adapter.h"
#include "engine/parser.h"
#include "engine/provider.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace velk::bulk::test {

namespace {

int frameworks = 0;

void start_framework()
{
    if (frameworks++ > 0) return;
#if defined(_WIN32)
    _putenv_s("VELK_TEST_KEY", "0123456789abcdef");
#else
    setenv("VELK_TEST_KEY", "0123456789abcdef", 1);
#endif
    if (Provider_FrmwInit(nullptr) != 0) throw std::runtime_error("no framework");
}

template <typename Record> void head(Record& record, const char* eye_catcher)
{
    std::memcpy(record.eyeCatcher, eye_catcher, 4);
    record.version = record_version;
    record.length = sizeof(Record);
}

// A parse request and its buffers, as the bridge drives it.
struct Request {
    explicit Request(const std::string& text)
    {
        input = {'N', {}, 65001, text.data()};
        head(parameters, "PRMA");
        parameters.mode = 'M';
        parameters.iParmStrBytes = static_cast<std::int32_t>(text.size());
        parameters.input = &input;
        if (Parser_ParseParameters(&parameters) != 0) throw std::runtime_error("not parsed: " + text);
        entries.resize(static_cast<std::size_t>(parameters.pairCount));
        for (KVPA& entry : entries) {
            head(entry, "KVPA");
            entry.keySize = parameters.keySize;
            entry.key = static_cast<char*>(std::calloc(1, static_cast<std::size_t>(entry.keySize)));
            entry.valueSize = parameters.valueSize;
            entry.value = static_cast<char*>(std::calloc(1, static_cast<std::size_t>(entry.valueSize)));
        }
        parameters.entryCount = parameters.pairCount;
        parameters.entries = entries.data();
        parameters.extractionMode = 'A';
        if (Parser_ParseParameters(&parameters) != 0) throw std::runtime_error("not extracted: " + text);
    }
    ~Request()
    {
        for (const KVPA& entry : entries) {
            std::free(entry.key);
            std::free(entry.value);
        }
    }

    InputDescriptor input{};
    PRMA parameters{};
    std::vector<KVPA> entries;
};

void free_text(TextBlock* block)
{
    if (block == nullptr) return;
    std::free(block->pParmName);
    std::free(block);
}

// Which columns were declared with a type other than text.
std::vector<bool> typed_columns(const SVCA& service, std::size_t width)
{
    std::vector<bool> typed(width);
    for (const OPRA* operand = service.firstOperand; operand != nullptr; operand = operand->next) {
        if (operand->parameterId == 0 || operand->PN.pWC == nullptr) continue;
        const std::string name(operand->PN.pWC->utf8Text, static_cast<std::size_t>(operand->nameSize));
        const bool is_text = operand->valueType == utf8_value && operand->valueSize == 4 &&
                             std::memcmp(operand->PV.pWC->utf8Text, "text", 4) == 0;
        if (name == "type" && !is_text) typed[operand->parameterId - 1U] = true;
    }
    return typed;
}

} // namespace

Service::Service(const std::string& masking_string)
{
    start_framework();
    const Request request(masking_string);
    char id[10] = {};
    PGDA build{};
    head(build, "PGDA");
    build.parameters = const_cast<PRMA*>(&request.parameters);
    build.pSvcDef = &record;
    build.pSvcId = id;
    build.iSvcIdBytes = sizeof id;
    if (Adapter_BuildServiceDefinition(&build) != 0) throw std::runtime_error("not built: " + masking_string);
    start(id);
}

void Service::start(const char* id)
{
    head(record, "SVCA");
    for (const FLDA* field = record.firstField; field != nullptr; field = field->next)
        names.emplace_back(field->nameBlock->utf8Name, static_cast<std::size_t>(field->nameSize));
    const std::vector<bool> typed = typed_columns(record, names.size());
    for (const FLDA* field = record.firstField; field != nullptr; field = field->next) {
        const bool of_type = typed[sizes.size()];
        sizes.push_back(of_type ? limited(field->fieldLength) : unlimited(field->fieldLength));
    }
    const auto length = static_cast<std::int32_t>(std::strlen(id));
    if (const std::int32_t status = Provider_Init(&handle, id, length, &record, 0))
        throw std::runtime_error("not started: " + std::to_string(status));
}

Service::~Service()
{
    if (Provider_Term(handle) != 0) std::abort();
    for (OPRA* operand = record.firstOperand; operand != nullptr;) {
        free_text(operand->PN.pWC);
        if (operand->valueType > integer_value) free_text(operand->PV.pWC);
        std::free(std::exchange(operand, operand->next));
    }
    for (FLDA* field = record.firstField; field != nullptr;) {
        std::free(field->nameBlock->utf8Name);
        std::free(field->nameBlock);
        std::free(std::exchange(field, field->next));
    }
    if (--frameworks == 0 && Provider_FrmwTerm() != 0) std::abort();
}

} // namespace velk::bulk::test
