#include "support/scripted_engine.h"

#include "support/conversions.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace velk::test {

namespace {

Engine* current = nullptr;

Engine& engine()
{
    if (current != nullptr) return *current;
    std::fputs("an engine operation was called, but the test has made no engine\n", stderr);
    std::abort();
}

Engine& logged(const std::string& line)
{
    Engine& called = engine();
    called.log.push_back(line);
    return called;
}

std::string hexadecimal(std::uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "%X", value);
    return text;
}

void fill_with_garbage(TraceRecord& record)
{
    std::memset(static_cast<void*>(&record), 0xAA, sizeof record);
}

} // namespace

Engine::Engine(CallLog& calls) : log(calls)
{
    if (current != nullptr) violation(log, "there is an engine already");
    current = this;
}

Engine::~Engine()
{
    for (const Scope& scope : scopes)
        if (scope.handle != 0 && !scope.may_stay_open) violation(log, "a trace scope was not closed");
    // The blocks live as long as the process: the next test finds them as they were at load.
    for (const auto& block : blocks) *block.first = {};
    current = nullptr;
}

const TraceAnswers& Engine::answers_for(std::uint32_t function) const
{
    const auto found = trace_of.find(function);
    return found == trace_of.end() ? trace : found->second;
}

std::int32_t Engine::trace_register(std::uint32_t function, TraceBlock* block, std::uint64_t reserved)
{
    if (reserved != 0) violation(log, "the third argument of Provider_TraceRegister is not 0");
    const auto known = blocks.emplace(block, function).first;
    if (known->second != function) violation(log, "a control block serves two functions");
    for (const auto& [other, owner] : blocks)
        if (owner == function && other != block) violation(log, "a function has two control blocks");
    if (block->state == trace_block_registered) violation(log, "a block is registered again");
    block->state = answers_for(function).registered_word;
    return -1; // nobody may look at it
}

void Engine::check_begin(const TraceContext& context, TraceBlock* block)
{
    TraceContext expected{};
    expected.function = context.function;
    if (std::memcmp(&context, &expected, sizeof context) != 0)
        violation(log, "the trace context is not zero but for the function id");
    const auto known = blocks.find(block);
    if (known == blocks.end())
        violation(log, "a trace scope begins on a block that was not registered");
    else if (known->second != context.function)
        violation(log, "a trace scope begins on another function's block");
}

std::int32_t Engine::trace_begin(TraceContext* context, TraceBlock* block)
{
    check_begin(*context, block);
    const TraceAnswers& answers = answers_for(context->function);
    if (answers.begin_status != 0) return answers.begin_status;
    Scope scope{context, answers.gives_handle ? 0x7000000000 + ++last_handle : 0, nullptr, false,
                std::string(answers.behind_context, '\x5A')};
    scope.behind.copy(reinterpret_cast<char*>(context + 1), scope.behind.size());
    if (answers.lends_record) {
        scope.lent = std::make_unique<TraceRecord>();
        fill_with_garbage(*scope.lent);
    }
    context->handle = scope.handle;
    context->reserved8 = 0xAAAAAAAAAAAAAAAA;
    context->record = scope.lent.get();
    context->mask = answers.mask;
    scopes.push_back(std::move(scope));
    return 0;
}

// The native must not use the memory for anything else.
void Engine::check_behind(const Scope& scope)
{
    if (std::memcmp(scope.context + 1, scope.behind.data(), scope.behind.size()) != 0)
        violation(log, "what the facility keeps behind the trace context was written");
}

std::int32_t Engine::trace_write(TraceRecord* record)
{
    const auto of_record = [record](const Scope& scope) { return scope.lent.get() == record; };
    if (record == nullptr || std::none_of(scopes.begin(), scopes.end(), of_record)) {
        log.push_back("Provider_TraceWrite");
        violation(log, "a trace record is not the one that was lent");
        return -1;
    }
    std::string fault;
    records.push_back(decode(*record, fault));
    log.push_back("Provider_TraceWrite " + summary(records.back()));
    if (!fault.empty()) violation(log, "a trace record has " + fault);
    const auto scope = std::find_if(scopes.begin(), scopes.end(), of_record);
    if (scope->context->function != record->function) violation(log, "a trace record of another function");
    check_behind(*scope);
    fill_with_garbage(*record);
    return -1;
}

std::int32_t Engine::trace_end(TraceContext* context)
{
    if (scopes.empty() || scopes.back().context != context || scopes.back().handle != context->handle ||
        context->handle == 0) {
        violation(log, "a trace scope ends that is not the innermost open one");
        return -1;
    }
    check_behind(scopes.back());
    scopes.pop_back();
    return -1;
}

// The facility ends with the framework: its scopes are gone, or nobody has to close them any more.
void Engine::framework_ended(std::int32_t status)
{
    if (status == 0) scopes.clear();
    for (Scope& scope : scopes) scope.may_stay_open = true;
}

namespace {

// Writes at most what the capacity says, with a terminator.
void put_text(char16_t* buffer, std::uint32_t capacity, const std::u16string& text)
{
    const std::size_t units = std::min<std::size_t>(text.size(), capacity / sizeof(char16_t));
    text.copy(buffer, units);
    if (units < capacity / sizeof(char16_t)) buffer[units] = 0;
}

std::int32_t put_message(const MessageAnswer& message, const EMSG& request)
{
    if (message.status != 0) return message.status;
    const MessageBuffers& buffers = *request.buffers;
    put_text(buffers.text1, buffers.capacity1, message.text1);
    put_text(buffers.text2, buffers.capacity2, message.text2);
    put_text(buffers.text3, buffers.capacity3, message.text3);
    return 0;
}

Engine& conversion(const char* name, std::int64_t length, std::int64_t capacity,
                   const std::int64_t* output_length)
{
    Engine& called = logged(std::string(name) + " length " + std::to_string(length) + " capacity " +
                            std::to_string(capacity) + (output_length == nullptr ? " no output length" : ""));
    if (output_length != nullptr && *output_length != 0)
        violation(called.log, "the output length is not 0 before the conversion");
    return called;
}

std::int32_t converted(std::int64_t written, std::int64_t* output_length)
{
    if (output_length != nullptr) *output_length = written;
    return 0;
}

// Without a hook an operation succeeds.
template <class Hook, class... Arguments> std::int32_t answer(const Hook& hook, Arguments... arguments)
{
    return hook ? hook(arguments...) : 0;
}

} // namespace
} // namespace velk::test

namespace velk {

using namespace test;

std::int32_t Provider_FrmwInit(FRPA* definition)
{
    return answer(
        logged(definition == nullptr ? "Provider_FrmwInit null" : "Provider_FrmwInit FRPA").Provider_FrmwInit,
        definition);
}

std::int32_t Provider_Init(std::int32_t* handle, const char* service_id, std::int32_t service_id_length,
                           SVCA* service, std::uint8_t flag)
{
    Engine& called =
        logged("Provider_Init \"" + std::string(service_id) + "\" " + std::to_string(service_id_length) +
               (service == nullptr ? " null " : " SVCA ") + std::to_string(flag));
    return answer(called.Provider_Init, handle, service_id, service_id_length, service, flag);
}

std::int32_t Provider_Service(std::int32_t handle, std::uint16_t request, SVCA* service, RWST* rows)
{
    Engine& called = logged("Provider_Service " + std::to_string(handle) + " " + hexadecimal(request) +
                            (service == nullptr ? " null" : " SVCA") + (rows == nullptr ? " null" : " RWST"));
    return answer(called.Provider_Service, handle, request, service, rows);
}

std::int32_t Provider_Term(std::int32_t handle)
{
    return answer(logged("Provider_Term " + std::to_string(handle)).Provider_Term, handle);
}

std::int32_t Provider_FrmwTerm()
{
    Engine& called = logged("Provider_FrmwTerm");
    const std::int32_t status = answer(called.Provider_FrmwTerm);
    called.framework_ended(status);
    return status;
}

std::int32_t Provider_GetErrorMessage(EMSG* request)
{
    Engine& called =
        logged("Provider_GetErrorMessage " + std::to_string(static_cast<std::int32_t>(request->errorCode)));
    if (called.Provider_GetErrorMessage) return called.Provider_GetErrorMessage(request);
    return put_message(called.message, *request);
}

std::int32_t Provider_TraceBegin(TraceContext* context, TraceBlock* block)
{
    return logged("Provider_TraceBegin " + hexadecimal(context->function)).trace_begin(context, block);
}

std::int32_t Provider_TraceEnd(TraceContext* context)
{
    return logged("Provider_TraceEnd").trace_end(context);
}

std::int32_t Provider_TraceWrite(TraceRecord* record)
{
    return engine().trace_write(record);
}

std::int32_t Provider_TraceRegister(std::uint32_t function, TraceBlock* block, std::uint64_t reserved)
{
    return logged("Provider_TraceRegister " + hexadecimal(function))
        .trace_register(function, block, reserved);
}

std::int32_t Parser_Init()
{
    return answer(logged("Parser_Init").Parser_Init);
}

std::int32_t Parser_ParseParameters(PRMA* request)
{
    const bool extracts = request->extractionMode == 'A';
    return answer(logged(extracts ? "Parser_ParseParameters extraction" : "Parser_ParseParameters sizing")
                      .Parser_ParseParameters,
                  request);
}

std::int32_t Parser_GetErrorInfoSize(std::int16_t* count, std::int32_t* size)
{
    return answer(logged("Parser_GetErrorInfoSize").Parser_GetErrorInfoSize, count, size);
}

std::int32_t Parser_GetErrorInfo(ECBD* details)
{
    return answer(logged("Parser_GetErrorInfo").Parser_GetErrorInfo, details);
}

std::int32_t Parser_FormatErrorText(EMSG* request)
{
    Engine& called = logged("Parser_FormatErrorText");
    if (called.Parser_FormatErrorText) return called.Parser_FormatErrorText(request);
    return put_message(called.message, *request);
}

std::int32_t Adapter_Init()
{
    return answer(logged("Adapter_Init").Adapter_Init);
}

std::int32_t Adapter_BuildServiceDefinition(PGDA* request)
{
    return answer(logged("Adapter_BuildServiceDefinition").Adapter_BuildServiceDefinition, request);
}

std::int32_t Adapter_FreeServiceDefinition(SVCA* service)
{
    return answer(logged("Adapter_FreeServiceDefinition").Adapter_FreeServiceDefinition, service);
}

std::int32_t Cnv_Utf16ToUtf8(char* destination, std::int64_t capacity, const char16_t* source,
                             std::int64_t length, std::int64_t* output_length)
{
    Engine& called = conversion("Cnv_Utf16ToUtf8", length, capacity, output_length);
    if (called.Cnv_Utf16ToUtf8)
        return called.Cnv_Utf16ToUtf8(destination, capacity, source, length, output_length);
    return converted(utf16_to_utf8(destination, capacity, source, length), output_length);
}

std::int32_t Cnv_WideToUtf8(char* destination, std::int64_t capacity, const char16_t* source,
                            std::int64_t length, std::int64_t* output_length)
{
    Engine& called = conversion("Cnv_WideToUtf8", length, capacity, output_length);
    if (called.Cnv_WideToUtf8)
        return called.Cnv_WideToUtf8(destination, capacity, source, length, output_length);
    return converted(utf16_to_utf8(destination, capacity, source, length), output_length);
}

std::int32_t Cnv_Utf8ToUtf16(char16_t* destination, std::int64_t capacity, const char* source,
                             std::int64_t length, std::int64_t* output_length)
{
    Engine& called = conversion("Cnv_Utf8ToUtf16", length, capacity, output_length);
    if (called.Cnv_Utf8ToUtf16)
        return called.Cnv_Utf8ToUtf16(destination, capacity, source, length, output_length);
    return converted(utf8_to_utf16(destination, capacity, source, length), output_length);
}

std::int32_t Cnv_Utf16ToWide(const char16_t* source, std::int64_t length, char16_t* destination,
                             std::int64_t capacity, std::int64_t* output_length)
{
    Engine& called = conversion("Cnv_Utf16ToWide", length, capacity, output_length);
    if (called.Cnv_Utf16ToWide)
        return called.Cnv_Utf16ToWide(source, length, destination, capacity, output_length);
    return converted(copy_units(destination, capacity, source, length), output_length);
}

std::int32_t Cnv_WideToUtf16(const char16_t* source, std::int64_t length, char16_t* destination,
                             std::int64_t capacity, std::int64_t* output_length)
{
    Engine& called = conversion("Cnv_WideToUtf16", length, capacity, output_length);
    if (called.Cnv_WideToUtf16)
        return called.Cnv_WideToUtf16(source, length, destination, capacity, output_length);
    return converted(copy_units(destination, capacity, source, length), output_length);
}

} // namespace velk
