#include "provider/trace.h"

#include "engine/provider.h"

#include "provider/trace_output.h"
#include "text/boundary.h"
#include "text/characters.h"
#include "text/excerpt.h"
#include "text/failure.h"
#include "text/key_source.h"
#include "text/unicode.h"

#include <atomic>
#include <bit>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <span>
#include <thread>
#include <utility>

namespace velk {

namespace engine {

namespace {

using Clock = std::chrono::steady_clock;

// The traced operations, by function id from first_function on. An id without a name writes no records.
constexpr std::uint32_t first_function = 0xC0801;
constexpr const char* function_names[] = {
    "VELK.initializeFramework0",
    "VELK.parseVELKSyntaxString",
    "VELK.terminateFramework0",
    "VELK.destroy0",
    "NativeProvider.initializeProvider0",
    "NativeProvider.serviceProvider0",
    "NativeProvider.terminateProvider0",
    "FrameworkDefinition.toC",
    "FrameworkDefinition.toJava",
    nullptr,
    "ServiceDefinition.toC",
    "ServiceDefinition.toJava",
    nullptr,
    "InitializationOperand.toC",
    "InitializationOperand.toJava",
    nullptr,
    "FieldDefinition.toC",
    "FieldDefinition.toJava",
    nullptr,
    "RowSet.toC",
    "RowSet.toJava",
    nullptr,
    "Row.toC",
    "Row.toJava",
    nullptr,
    "Field.toC",
    "Field.toJava",
    nullptr,
    "GetErrorText",
    "parse error text",
    nullptr,
    "parameter parse",
};

struct Scope {
    TraceRecord record{};     // lent; it tells which scope a written record belongs to
    std::uint64_t handle = 0; // 0: free
    std::uint32_t function = 0;
    int thread = 0;
    std::thread::id owner{};
    bool is_abandoned = false; // the trace has ended before it; its record is still lent
    bool has_span = false;     // its begin was written
    bool name_seen = false;    // the next value of an operand is the named one's
    bool key_follows = false;  // the last text looked like the word "key", so the next is a source
};

struct Facility {
    std::mutex mutex;
    std::atomic<std::uint32_t> mask{0}; // 0: tracing is off
    TraceOutput output;
    Clock::time_point start;
    std::uint64_t last_handle = 0;
    std::map<std::thread::id, int> threads;
    // Kept for the life of the process: a scope that outlives the framework still holds its record.
    std::vector<std::unique_ptr<Scope>> scopes;
};

// Never destroyed: threads may still be tracing while the process exits.
Facility& facility()
{
    alignas(Facility) static std::byte storage[sizeof(Facility)];
    static Facility& process = *new (storage) Facility;
    return process;
}

std::string number_text(std::uint64_t number)
{
    return "0x" + hexadecimal(number, 1, lower_case_digits);
}

std::string function_name(std::uint32_t function)
{
    const std::uint32_t index = function - first_function; // an id below wraps to a large index
    const bool known = index < std::size(function_names) && function_names[index] != nullptr;
    return known ? function_names[index] : number_text(function);
}

int thread_number(Facility& facility)
{
    const int next = static_cast<int>(facility.threads.size()) + 1;
    return facility.threads.try_emplace(std::this_thread::get_id(), next).first->second;
}

void emit(Facility& facility, const Scope& scope, TracePhase phase, std::string name,
          std::vector<TraceArgument> arguments)
{
    const auto elapsed = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - facility.start);
    write_event(facility.output, {phase, std::move(name), static_cast<std::uint64_t>(elapsed.count()),
                                  scope.thread, std::move(arguments)});
}

void end_span(Facility& facility, Scope& scope, std::vector<TraceArgument> arguments)
{
    scope.has_span = false;
    emit(facility, scope, TracePhase::end, function_name(scope.function), std::move(arguments));
}

// Labels come cut to their limit.
bool is_operand_value(std::string_view label)
{
    return label.starts_with("pDpInitOpDef->PV") || label == "jSValueChars";
}

// Whether the text may be a key. One never stands in a trace, only where it comes from.
bool is_secret(std::string_view label, std::string_view text, Scope& scope)
{
    const bool nameless = is_operand_value(label) && !scope.name_seen;
    const bool is_name = text.find('=') == std::string_view::npos;
    const bool is_key = std::exchange(scope.key_follows, is_name && looks_like_key(text));
    scope.name_seen = !is_operand_value(label);
    return nameless || is_key;
}

std::string repaired(std::string_view text)
{
    return to_utf8(to_utf16(text));
}

// The text that the slot points at.
std::string item_text(const TraceItem& item, std::string_view label, Scope& scope)
{
    const auto* address = reinterpret_cast<const char*>(item.slot);
    if (address == nullptr) return "null";
    const bool wide = (item.type & ~trace_string_mark) == trace_type_wide;
    const std::string text =
        wide ? to_utf8({reinterpret_cast<const char16_t*>(address), item.length / sizeof(char16_t)})
             : repaired({address, item.length});
    return is_secret(label, text, scope) ? shown_key_source(text) : without_key(text);
}

TraceArgument argument_of(const TraceItem& item, std::string label, Scope& scope)
{
    switch (item.type) {
    case trace_type_integer:
        return {std::move(label), std::to_string(static_cast<std::int32_t>(item.slot)), true};
    case trace_type_byte:
        return {std::move(label), std::to_string(item.slot & 0xFF), true};
    case trace_type_narrow | trace_string_mark:
    case trace_type_wide | trace_string_mark: {
        std::string text = item_text(item, label, scope);
        return {std::move(label), std::move(text), false};
    }
    default:
        return {std::move(label), number_text(item.slot), false};
    }
}

std::vector<TraceArgument> arguments_of(const TraceRecord& record, Scope& scope)
{
    std::vector<TraceArgument> arguments{{"line", std::to_string(record.line), true}};
    for (unsigned i = 0; i < trace_item_limit; ++i) {
        if ((record.flags & trace_flag_value1 << i) == 0) continue;
        const bool labelled = (record.flags & trace_flag_label1 << i) != 0;
        const std::string_view label(record.labels[i], strnlen(record.labels[i], trace_label_limit));
        arguments.push_back(argument_of(record.items[i], labelled ? repaired(label) : "value", scope));
    }
    return arguments;
}

void write_record(Facility& facility, Scope& scope, const TraceRecord& record)
{
    const std::string name = function_name(scope.function);
    std::vector<TraceArgument> arguments = arguments_of(record, scope);
    switch (record.event) {
    case trace_event_entry:
        emit(facility, scope, TracePhase::begin, name, std::move(arguments));
        scope.has_span = true;
        return;
    case trace_event_exit:
        if (scope.has_span) end_span(facility, scope, std::move(arguments));
        return;
    case trace_event_data:
        return emit(facility, scope, TracePhase::instant, name, std::move(arguments));
    default:
        const auto code = static_cast<std::int32_t>(record.event);
        arguments.insert(arguments.begin(), {"code", std::to_string(code), true});
        return emit(facility, scope, TracePhase::instant, name + " failed", std::move(arguments));
    }
}

Scope& free_scope(Facility& facility)
{
    for (const std::unique_ptr<Scope>& scope : facility.scopes)
        if (scope->handle == 0) return *scope;
    return *facility.scopes.emplace_back(std::make_unique<Scope>());
}

void open_scope(Facility& facility, TraceContext& context)
{
    Scope& scope = free_scope(facility);
    const int thread = thread_number(facility);
    scope.handle = ++facility.last_handle;
    scope.function = context.function;
    scope.thread = thread;
    scope.owner = std::this_thread::get_id();
    scope.is_abandoned = false;
    scope.has_span = false;
    scope.name_seen = false;
    scope.key_follows = false;
    context.handle = scope.handle;
    context.record = &scope.record;
    context.mask = facility.mask.load(std::memory_order_relaxed);
}

void close_scope(Facility& facility, Scope& scope)
{
    scope.handle = 0; // free, whether its end can be written or not
    if (scope.has_span) end_span(facility, scope, {});
}

bool is_open(const Scope& scope)
{
    return scope.handle != 0 && !scope.is_abandoned;
}

// Null: none is open.
Scope* youngest_scope(Facility& facility)
{
    Scope* youngest = nullptr;
    for (const std::unique_ptr<Scope>& scope : facility.scopes)
        if (is_open(*scope) && (youngest == nullptr || scope->handle > youngest->handle))
            youngest = scope.get();
    return youngest;
}

// Another thread may fill the record that it was lent for as long as it has not ended its scope.
void abandon_scope(Facility& facility, Scope& scope)
{
    scope.is_abandoned = scope.owner != std::this_thread::get_id();
    if (!scope.is_abandoned) scope.handle = 0;
    if (scope.has_span) end_span(facility, scope, {});
}

template <typename Matches> Scope& find_scope(Facility& facility, Matches matches)
{
    for (const std::unique_ptr<Scope>& scope : facility.scopes)
        if (scope->handle != 0 && matches(*scope)) return *scope;
    throw Failure{trace_scope_unknown};
}

// Results of the trace operations carry no text of their own: nobody waits for one.
template <typename Work> std::int32_t traced(Work work) noexcept
{
    return code_of(failure_of([&work] {
        const std::lock_guard lock(facility().mutex);
        work(facility());
    }));
}

} // namespace

void trace_start(std::uint32_t mask, const std::string& path)
{
    Facility& trace = facility();
    const std::lock_guard lock(trace.mutex);
    if (!open_output(trace.output, path)) throw Failure{trace_file_not_opened, shown(path)};
    trace.start = Clock::now();
    trace.threads.clear();
    trace.mask.store(mask, std::memory_order_relaxed);
}

void trace_note(std::string_view name, std::string_view text) noexcept
{
    if (facility().mask.load(std::memory_order_relaxed) == 0) return;
    traced([&](Facility& trace) {
        if (trace.output.file == nullptr) return;
        Scope scope;
        scope.thread = thread_number(trace);
        emit(trace, scope, TracePhase::instant, std::string(name), {{"note", std::string(text), false}});
    });
}

bool trace_stop() noexcept
{
    Facility& trace = facility();
    const std::lock_guard lock(trace.mutex);
    trace.mask.store(0, std::memory_order_relaxed);
    // Spans nest, so the youngest ends first.
    while (Scope* scope = youngest_scope(trace)) {
        try {
            abandon_scope(trace, *scope);
        } catch (...) {
            trace.output.failed = true;
        }
    }
    return close_output(trace.output);
}

} // namespace engine

using namespace engine;

std::int32_t Provider_TraceRegister(std::uint32_t, TraceBlock* block, std::uint64_t)
{
    if (block == nullptr) return trace_argument_missing;
    std::atomic_ref(block->state).store(trace_block_registered, std::memory_order_relaxed);
    return 0;
}

// With tracing off a scope is never open: no handle, no record, nothing to close. The same without memory
// for it: the traced operation does not fail for want of a trace.
std::int32_t Provider_TraceBegin(TraceContext* context, TraceBlock*)
{
    if (context == nullptr) return trace_argument_missing;
    context->handle = 0;
    context->record = nullptr;
    context->mask = 0;
    if (facility().mask.load(std::memory_order_relaxed) == 0) return 0;
    const std::int32_t code = traced([context](Facility& trace) {
        if (trace.output.file != nullptr) open_scope(trace, *context);
    });
    return code == out_of_memory ? 0 : code;
}

std::int32_t Provider_TraceWrite(TraceRecord* record)
{
    if (record == nullptr) return trace_argument_missing;
    return traced([record](Facility& trace) {
        Scope& scope = find_scope(
            trace, [record](const Scope& open) { return &open.record == record && !open.is_abandoned; });
        write_record(trace, scope, *record);
    });
}

std::int32_t Provider_TraceEnd(TraceContext* context)
{
    if (context == nullptr) return trace_argument_missing;
    return traced([context](Facility& trace) {
        Scope& scope =
            find_scope(trace, [context](const Scope& open) { return open.handle == context->handle; });
        close_scope(trace, scope);
        if (scope.is_abandoned) throw Failure{trace_scope_unknown};
    });
}

} // namespace velk
