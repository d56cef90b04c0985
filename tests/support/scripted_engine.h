#pragma once

// An engine that a test scripts: all operations of the four libraries. Each call goes into the log, the
// one that the JVM writes, and then to the hook of the operation's name; without a hook the operation
// succeeds, and a conversion converts. The trace facility answers as `trace` says, decodes each record as
// it is handed over, and fails the test for a record, context or order of calls that is not as it must be.
//
//     Engine engine(log);
//     engine.trace.mask = trace_all;
//     engine.Provider_Service = [&](std::int32_t, std::uint16_t, SVCA*, RWST* rows) {
//         rows->firstRow->hasError = 1;
//         return 0;
//     };
//     jvm.run(Java_com_brel_sorn_velk_NativeProvider_serviceProvider0, 7, service, row_set);
//     EXPECT_EQ(engine.records.back(), exit_record(trace::NativeProvider_serviceProvider0, 618));

#include "engine/adapter.h"
#include "engine/datacnv.h"
#include "engine/parser.h"
#include "engine/provider.h"
#include "support/call_log.h"
#include "support/trace_decoding.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velk::test {

inline constexpr std::uint32_t trace_all = trace_mask_entry | trace_mask_data | trace_mask_message;

// How the trace facility answers.
struct TraceAnswers {
    std::int32_t begin_status = 0;                          // not 0: no scope is opened
    std::uint32_t mask = 0;                                 // 0: no entry, exit or data record is wanted
    bool gives_handle = true;                               // false: the scope's handle is 0
    bool lends_record = true;                               // false: the record buffer is null
    std::uint32_t registered_word = trace_block_registered; // what registering stores in the block
    std::size_t behind_context = 0; // bytes behind the trace context that are the facility's while it is open
};

// What the engine's text for any code is.
struct MessageAnswer {
    std::int32_t status = 0;
    std::u16string text1, text2, text3;
};

class Engine {
public:
    explicit Engine(CallLog& log);
    // Fails the test for a trace scope that was not closed.
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    // Hooks.
    std::function<decltype(velk::Provider_FrmwInit)> Provider_FrmwInit;
    std::function<decltype(velk::Provider_Init)> Provider_Init;
    std::function<decltype(velk::Provider_Service)> Provider_Service;
    std::function<decltype(velk::Provider_Term)> Provider_Term;
    std::function<decltype(velk::Provider_FrmwTerm)> Provider_FrmwTerm;
    std::function<decltype(velk::Provider_GetErrorMessage)> Provider_GetErrorMessage; // else: `message`
    std::function<decltype(velk::Parser_Init)> Parser_Init;
    std::function<decltype(velk::Parser_ParseParameters)> Parser_ParseParameters;
    std::function<decltype(velk::Parser_GetErrorInfoSize)> Parser_GetErrorInfoSize;
    std::function<decltype(velk::Parser_GetErrorInfo)> Parser_GetErrorInfo;
    std::function<decltype(velk::Parser_FormatErrorText)> Parser_FormatErrorText; // else: `message`
    std::function<decltype(velk::Adapter_Init)> Adapter_Init;
    std::function<decltype(velk::Adapter_BuildServiceDefinition)> Adapter_BuildServiceDefinition;
    std::function<decltype(velk::Adapter_FreeServiceDefinition)> Adapter_FreeServiceDefinition;
    std::function<decltype(velk::Cnv_Utf16ToUtf8)> Cnv_Utf16ToUtf8;
    std::function<decltype(velk::Cnv_WideToUtf8)> Cnv_WideToUtf8;
    std::function<decltype(velk::Cnv_Utf8ToUtf16)> Cnv_Utf8ToUtf16;
    std::function<decltype(velk::Cnv_Utf16ToWide)> Cnv_Utf16ToWide;
    std::function<decltype(velk::Cnv_WideToUtf16)> Cnv_WideToUtf16;

    MessageAnswer message;

    TraceAnswers trace;                             // of every function
    std::map<std::uint32_t, TraceAnswers> trace_of; // of single functions, by function id
    std::vector<TracedRecord> records;              // all that were written, in order

    // The trace operations, called by the engine operations of those names.
    std::int32_t trace_register(std::uint32_t function, TraceBlock* block, std::uint64_t reserved);
    std::int32_t trace_begin(TraceContext* context, TraceBlock* block);
    std::int32_t trace_write(TraceRecord* record);
    std::int32_t trace_end(TraceContext* context);
    void framework_ended(std::int32_t status);

    CallLog& log;

private:
    struct Scope {
        TraceContext* context;
        std::uint64_t handle;
        std::unique_ptr<TraceRecord> lent; // gone with the scope
        bool may_stay_open;
        std::string behind; // what the facility keeps behind the context
    };
    const TraceAnswers& answers_for(std::uint32_t function) const;
    void check_begin(const TraceContext& context, TraceBlock* block);
    void check_behind(const Scope& scope);

    std::map<TraceBlock*, std::uint32_t> blocks; // function ids
    std::vector<Scope> scopes;                   // open, the innermost last
    std::uint64_t last_handle = 0;
};

} // namespace velk::test
