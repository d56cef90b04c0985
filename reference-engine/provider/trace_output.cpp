#include "provider/trace_output.h"

#include "platform.h"

namespace velk::engine {

namespace {

// Digits only, never a locale's decimal point.
std::string microseconds(std::uint64_t nanoseconds)
{
    std::string fraction = std::to_string(1000 + nanoseconds % 1000);
    fraction.front() = '.';
    return std::to_string(nanoseconds / 1000) + fraction;
}

std::string escaped(unsigned char control)
{
    constexpr char digits[] = "0123456789abcdef";
    return std::string("\\u00") + digits[control >> 4] + digits[control & 0xF];
}

std::string quoted(std::string_view text)
{
    std::string result = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') result += '\\';
        if (static_cast<unsigned char>(character) < 0x20)
            result += escaped(static_cast<unsigned char>(character));
        else
            result += character;
    }
    return result + '"';
}

std::string json_of(const TraceEvent& event)
{
    std::string json = "{\"name\":" + quoted(event.name) + ",\"cat\":\"velk\",\"ph\":\"" +
                       static_cast<char>(event.phase) + "\",\"ts\":" + microseconds(event.nanoseconds) +
                       ",\"pid\":1,\"tid\":" + std::to_string(event.thread);
    if (event.phase == TracePhase::instant) json += ",\"s\":\"t\"";
    if (!event.arguments.empty()) {
        json += ",\"args\":{";
        for (std::size_t i = 0; i < event.arguments.size(); ++i) {
            const TraceArgument& argument = event.arguments[i];
            if (i > 0) json += ',';
            json += quoted(argument.name) + ":";
            json += argument.is_number ? argument.text : quoted(argument.text);
        }
        json += "}";
    }
    return json + "}";
}

std::string line_of(const TraceEvent& event)
{
    const char* sign = event.phase == TracePhase::begin ? ">" : event.phase == TracePhase::end ? "<" : "-";
    std::string line = "velk " + microseconds(event.nanoseconds) + " us [" + std::to_string(event.thread) +
                       "] " + sign + " " + event.name;
    for (const TraceArgument& argument : event.arguments)
        line += " " + argument.name + "=" + (argument.is_number ? argument.text : quoted(argument.text));
    return line + "\n";
}

void write(TraceOutput& output, const std::string& text)
{
    if (std::fwrite(text.data(), 1, text.size(), output.file) != text.size()) output.failed = true;
}

} // namespace

bool open_output(TraceOutput& output, const std::string& path)
{
    output = {};
    output.is_json = path != "-";
    output.file = output.is_json ? create_file(path) : stderr;
    if (output.file != nullptr && output.is_json) write(output, "[");
    return output.file != nullptr;
}

void write_event(TraceOutput& output, const TraceEvent& event)
{
    if (output.is_json)
        write(output, std::string(output.is_empty ? "\n" : ",\n").append(json_of(event)));
    else
        write(output, line_of(event));
    output.is_empty = false;
}

bool close_output(TraceOutput& output)
{
    std::FILE* file = output.file;
    if (file == nullptr) return true;
    if (output.is_json) write(output, "\n]\n");
    // Asked for by itself: not every C runtime tells at closing what could not be written.
    bool written = std::fflush(file) == 0 && !output.failed;
    if (output.is_json) written = std::fclose(file) == 0 && written;
    output.file = nullptr;
    return written;
}

} // namespace velk::engine
