#include "parse/parameter_parse.h"

#include "engine/adapter.h"
#include "engine/parser.h"
#include "frame/errors.h"
#include "frame/flags.h"
#include "frame/header.h"
#include "frame/text16.h"
#include "frame/trace.h"
#include "parse/parse_error_text.h"
#include "records/requests.h"

#include <cstdlib>
#include <cstring>

namespace velk {

namespace {

constexpr std::int32_t no_arguments = -1;
constexpr std::int32_t no_memory_for_input = 7219;
constexpr std::int32_t no_memory_for_entries = 7220;
constexpr std::int32_t no_memory_for_key = 7221;
constexpr std::int32_t no_memory_for_value = 7222;

// One run of the driver.
struct Run {
    const ParameterParse& parse;
    PRMA request{};
    KVPA* entries = nullptr; // whose buffers the clean-up frees, whatever the parser leaves in the request
    std::int32_t entry_count = 0;
    PGDA build{};
    BuildOutput output{};
    bool build_failed = false;
    trace::Scope scope{};
};

// Reports a failure at its trace line, and passes its result on.
std::int32_t report(const Run& run, std::uint32_t line, std::int32_t result)
{
    trace::return_code(run.scope, line, result);
    return result;
}

bool arguments_given(const ParameterParse& parse)
{
    return parse.pParamString != nullptr && parse.iParmStrBytes >= 1 && parse.pSvcDef != nullptr &&
           parse.pSvcId != nullptr && parse.iSvcIdBytes >= 1;
}

// malloc for a count that the parser gave: a negative one cannot be had. Products are 64 bits wide.
void* allocate(std::int64_t count, std::int64_t size)
{
    return count < 0 || size < 0 ? nullptr : std::malloc(static_cast<std::size_t>(count * size));
}

std::int32_t start_parser(const Run& run)
{
    if (parser_started != 0) return 0;
    const std::int32_t result = Parser_Init();
    if (result != 0) return report(run, 2261, result);
    parser_started = 1;
    return 0;
}

// The sizing pass: how many pairs there are, and what their buffers need.
std::int32_t measure(Run& run)
{
    run.request.input = static_cast<InputDescriptor*>(allocate(1, sizeof(InputDescriptor)));
    if (run.request.input == nullptr) return report(run, 2274, no_memory_for_input);
    *run.request.input = {run.parse.cDBMSType, {}, run.parse.iCodePage, run.parse.pParamString};
    run.request.mode = 'M';
    run.request.iParmStrBytes = run.parse.iParmStrBytes;
    const std::int32_t result = Parser_ParseParameters(&run.request);
    return result == 0 ? 0 : report(run, 2292, result);
}

std::int32_t make_entry(const PRMA& request, KVPA& entry)
{
    set_header(entry, "KVPA");
    entry.keySize = request.keySize;
    entry.key = static_cast<char*>(allocate(1, entry.keySize));
    if (entry.key == nullptr) return no_memory_for_key;
    std::memset(entry.key, 0, static_cast<std::size_t>(entry.keySize));
    entry.valueSize = request.valueSize;
    entry.value = static_cast<char*>(allocate(1, entry.valueSize));
    // The key again, not the value, so that 7222 never arises: the parser gets the entry without its value
    // buffer. The contract has it so.
    if (entry.key == nullptr) return no_memory_for_value;
    if (entry.value != nullptr) std::memset(entry.value, 0, static_cast<std::size_t>(entry.valueSize));
    return 0;
}

std::int32_t make_entries(Run& run)
{
    PRMA& request = run.request;
    request.entryCount = request.pairCount;
    request.entries = static_cast<KVPA*>(allocate(request.entryCount, sizeof(KVPA)));
    if (request.entries == nullptr && request.entryCount != 0)
        return report(run, 2302, no_memory_for_entries);
    if (request.entries != nullptr)
        std::memset(request.entries, 0, static_cast<std::size_t>(request.entryCount) * sizeof(KVPA));
    run.entries = request.entries;
    run.entry_count = request.entryCount;
    for (std::int32_t i = 0; i < request.entryCount; ++i) {
        const std::int32_t result = make_entry(request, request.entries[i]);
        if (result != 0) return result; // unreported: the contract has it so
    }
    return 0;
}

// The extraction pass. Whether the adapter is to run: a pass that returns 0 but sets its failure flag ends
// the run without it and with result 0. The contract has it so.
bool extract(Run& run, std::int32_t& result)
{
    run.request.extractionMode = 'A';
    result = Parser_ParseParameters(&run.request);
    if (result != 0) report(run, 2344, result);
    return result == 0 && run.request.failed == 0;
}

std::int32_t start_adapter(const Run& run)
{
    if (adapter_started != 0) return 0;
    const std::int32_t result = Adapter_Init();
    if (result != 0) return report(run, 2353, result);
    adapter_started = 1;
    return 0;
}

// The record is wiped first, its header included: it holds what the adapter writes and nothing else.
std::int32_t build(Run& run)
{
    const ParameterParse& parse = run.parse;
    std::memset(parse.pSvcDef, 0, sizeof(SVCA));
    std::memset(parse.pSvcId, 0, static_cast<std::size_t>(parse.iSvcIdBytes));
    set_header(run.build, "PGDA");
    run.build.parameters = &run.request;
    run.build.pSvcDef = parse.pSvcDef;
    run.build.pSvcId = parse.pSvcId;
    run.build.iSvcIdBytes = parse.iSvcIdBytes;
    run.build.output = &run.output;
    const std::int32_t result = Adapter_BuildServiceDefinition(&run.build);
    if (result == 0) return 0;
    run.build_failed = true;
    return report(run, 2375, result);
}

std::int32_t parse_and_build(Run& run)
{
    if (!arguments_given(run.parse)) return report(run, 2250, no_arguments);
    set_header(run.request, "PRMA");
    std::int32_t result = start_parser(run);
    if (result == 0) result = measure(run);
    if (result == 0) result = make_entries(run);
    if (result != 0 || !extract(run, result)) return result;
    result = start_adapter(run);
    return result == 0 ? build(run) : result;
}

// The array of entries is not freed. The contract has it so.
void clean_up(Run& run)
{
    for (std::int32_t i = 0; i < run.entry_count; ++i) {
        std::free(run.entries[i].key);
        std::free(run.entries[i].value);
    }
    run.output.mode = run.request.mode;
    std::free(run.request.input);
    if (!run.build_failed) return;
    const std::int32_t result = Adapter_FreeServiceDefinition(run.parse.pSvcDef);
    if (result != 0) report(run, 2421, result);
}

void trace_arguments(const Run& run)
{
    const ParameterParse& parse = run.parse;
    trace::entry(run.scope, 2227,
                 parse.pParamString == nullptr ? trace::pointer("pParamString", nullptr)
                                               : trace::narrow("pParamString", parse.pParamString),
                 trace::integer("iParmStrBytes", parse.iParmStrBytes),
                 trace::integer("iCodePage", parse.iCodePage), trace::byte("cDBMSType", parse.cDBMSType),
                 trace::pointer("pSvcDef", parse.pSvcDef), trace::pointer("pSvcId", parse.pSvcId),
                 trace::integer("iSvcIdBytes", parse.iSvcIdBytes));
}

} // namespace

std::int32_t parse_parameters(const ParameterParse& parse)
{
    static trace::Block block;
    Run run{.parse = parse};
    if (const std::int32_t status = trace::open(run.scope, block, trace::parse_parameters)) return status;
    trace_arguments(run);

    // The message of a failure that no one has a text for.
    error_text[0] = 0;
    text16::append(error_text, u"parseVELKSyntaxString VELKParseParameters failed");
    const std::int32_t result = parse_and_build(run);
    if (result != 0) compose_parse_error_text(result);
    clean_up(run);

    trace::close(run.scope, 2427, result);
    return result;
}

} // namespace velk
