// The framework: started once per process, the trace facility with it.

#include "engine/provider.h"

#include "platform.h"
#include "provider/state.h"
#include "provider/trace.h"
#include "text/excerpt.h"
#include "text/records.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <new>

namespace velk {

namespace engine {

// Never destroyed: threads may still be inside while the process exits.
State& state()
{
    alignas(State) static std::byte storage[sizeof(State)];
    static State& process = *new (storage) State;
    return process;
}

FrameworkCall::FrameworkCall()
{
    const std::lock_guard lock(state().mutex);
    // It cannot end before its providers, not even one that was opened while it was about to.
    const bool runs =
        state().life == Life::started || (state().life == Life::ending && !state().providers.empty());
    if (!runs) throw Failure{framework_not_started};
    ++state().calls;
}

FrameworkCall::~FrameworkCall()
{
    const std::lock_guard lock(state().mutex);
    --state().calls;
    if (state().life == Life::ending) state().call_ended.notify_all();
}

} // namespace engine

namespace {

using namespace engine;

struct FrameworkOptions {
    std::optional<std::string> trace;
    std::optional<std::string> trace_file;
};

struct MaskWord {
    std::string_view word;
    std::uint32_t bits;
};

constexpr std::uint32_t every_bit = trace_mask_entry | trace_mask_data | trace_mask_message;
constexpr MaskWord mask_words[] = {{"all", every_bit},
                                   {"data", trace_mask_data},
                                   {"entry", trace_mask_entry},
                                   {"message", trace_mask_message}};
constexpr std::array<std::string_view, 4> mask_word_names{"all", "data", "entry", "message"};
constexpr std::array<std::string_view, 2> operand_names{"trace", "trace_file"};

std::optional<std::uint32_t> mask_number(std::string_view text)
{
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (hexadecimal) text.remove_prefix(2);
    std::uint32_t number = 0;
    const char* end = text.data() + text.size();
    const auto [read_to, error] = std::from_chars(text.data(), end, number, hexadecimal ? 16 : 10);
    if (error != std::errc{} || read_to != end || text.empty()) return std::nullopt;
    return number;
}

std::uint32_t mask_of_word(std::string_view word)
{
    for (const MaskWord& known : mask_words)
        if (known.word == word) return known.bits;
    if (const std::optional<std::uint32_t> number = mask_number(word)) return *number;
    throw Failure{trace_mask_unknown, shown(word), {}, advice(word, "Words", mask_word_names)};
}

// Words or numbers, set apart by commas or blanks.
std::uint32_t parse_mask(std::string_view text)
{
    constexpr std::string_view separators = ", \t";
    std::uint32_t mask = 0;
    while (true) {
        text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
        if (text.empty()) return mask;
        const std::string_view word = text.substr(0, text.find_first_of(separators));
        mask |= mask_of_word(word);
        text.remove_prefix(word.size());
    }
}

std::string option_text(const OPRA& operand, const std::string& name)
{
    if (is_text(operand)) return text_of(operand);
    if (operand.valueType == integer_value && name == "trace")
        return std::to_string(static_cast<std::uint32_t>(operand.PV.integer));
    throw Failure{trace_file_not_text, shown(name)};
}

void read_operand(const OPRA& operand, FrameworkOptions& options)
{
    if (!has_header(operand, "OPRA")) throw Failure{operand_record_damaged};
    const std::string name = name_of(operand);
    const bool known = std::find(operand_names.begin(), operand_names.end(), name) != operand_names.end();
    if (!known)
        throw Failure{framework_operand_unknown, shown(name), {}, advice(name, "Operands", operand_names)};
    std::optional<std::string>& option = name == "trace" ? options.trace : options.trace_file;
    if (option) throw Failure{framework_operand_repeated, shown(name)};
    option = option_text(operand, name);
}

FrameworkOptions read_options(const FRPA* definition)
{
    FrameworkOptions options;
    if (definition == nullptr) return options;
    if (!has_header(*definition, "FRPA")) throw Failure{framework_record_damaged};
    require_count(definition->firstOperand, definition->operandCount, framework_operand_count_differs);
    for (const OPRA* operand = definition->firstOperand; operand != nullptr; operand = operand->next)
        read_operand(*operand, options);
    return options;
}

std::string or_environment(const std::optional<std::string>& option, const char* variable, const char* unsaid)
{
    if (option) return *option;
    const std::optional<std::string> value = environment_variable(variable);
    return value && !value->empty() ? *value : unsaid;
}

// A file alone traces nothing: it says where a trace goes, the mask whether there is one.
void start_trace(const FrameworkOptions& options)
{
    const std::uint32_t mask = parse_mask(or_environment(options.trace, "VELK_TRACE", ""));
    if (mask != 0)
        trace_start(mask, or_environment(options.trace_file, "VELK_TRACE_FILE", "velk-trace.json"));
}

void require_no_providers()
{
    if (!state().providers.empty())
        throw Failure{providers_still_open, std::to_string(state().providers.size())};
}

} // namespace

std::int32_t Provider_FrmwInit(FRPA* definition)
{
    return guarded([=] {
        const std::lock_guard lock(state().mutex);
        if (state().life != Life::ended) throw Failure{framework_already_started};
        start_trace(read_options(definition));
        state().life = Life::started;
    });
}

// Calls that are under way end first, and no other begins. A trace that could not be written to its end makes
// the call fail. It is closed all the same, so a second call ends the framework.
std::int32_t Provider_FrmwTerm()
{
    return guarded([] {
        std::unique_lock lock(state().mutex);
        if (state().life != Life::started) throw Failure{framework_not_started};
        require_no_providers();
        state().life = Life::ending;
        state().call_ended.wait(lock, [] { return state().calls == 0 || !state().providers.empty(); });
        state().life = Life::started; // unless all goes well, and the lock is held until then
        require_no_providers();
        if (!trace_stop()) throw Failure{trace_file_not_written};
        state().life = Life::ended;
    });
}

} // namespace velk
