#include "parser/error_text.h"

#include "parser/findings.h"
#include "parser/place_text.h"
#include "text/excerpt.h"

#include <algorithm>
#include <array>

namespace velk::engine {

namespace {

bool holds(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

// Whether the heading may quote the failure's subject: what was wrong inside a secret, or next to it, may be
// a part of it, and so may be what reads like one.
bool may_be_quoted(const Failure& failure, std::string_view source)
{
    std::string_view subject = failure.subject;
    if (subject.ends_with("...")) subject.remove_suffix(3); // which marks a cut
    const std::size_t start = failure.place ? failure.place->start : source.size();
    const std::size_t end = failure.place ? start + std::max<std::size_t>(failure.place->length, 1) : 0;
    const bool told_there = failure.code != equals_sign_missing; // which tells of the key before its place
    const std::vector<Place> secrets = secret_places(source);
    return std::none_of(secrets.begin(), secrets.end(), [&](const Place& secret) {
        const std::string_view raw = source.substr(secret.start, secret.length);
        const std::string text = shown(raw, raw.size());
        const bool touches = told_there && start <= secret.start + secret.length && secret.start < end;
        return touches || holds(raw, subject) || holds(text, subject) || holds(subject, raw);
    });
}

// As much of the source as may be shown. A key itself may stand where `key` has no sign behind it, and behind
// a word that was probably meant as `key`.
std::string_view showable(const Failure& failure, std::string_view source)
{
    const Place& place = *failure.place;
    if (ends_with_key(source.substr(0, place.start))) return source.substr(0, place.start);
    constexpr std::array<std::string_view, 1> word{"key"};
    const std::size_t end = place.start + place.length;
    const bool meant =
        failure.code == key_unknown && !nearest(source.substr(place.start, place.length), word).empty();
    return meant ? source.substr(0, end) : source;
}

const Message& message_of(const Failure& failure)
{
    static const Message unknown{internal_error, "internal error", "", ""};
    const Message* found = find_message(static_cast<std::uint32_t>(failure.code));
    return found != nullptr ? *found : unknown;
}

std::string heading_text(const Failure& failure, std::string_view source)
{
    const bool quotes = !failure.subject.empty() && may_be_quoted(failure, source);
    return heading_of(message_of(failure), quotes ? std::string_view(failure.subject) : std::string_view());
}

// In one line: its place and its heading, and where else to look.
std::string line_text(const Failure& failure, std::string_view source)
{
    std::string line = failure.place ? position_text(source, failure.place->start) + ": " : "";
    line += heading_text(failure, source);
    return failure.detail.empty() ? line : line + ", " + failure.detail;
}

// Adds what else was found, a line each, as far as there is room for whole lines and for how many are left.
void add_others(const Failure& failure, std::string_view source, std::string& text)
{
    constexpr std::size_t room =
        trailing_bytes - std::string_view("\nand 100 more, or more than these").size();
    std::size_t left = failure.others.size() + failure.untold;
    if (left > 0) text += text.empty() ? "Also:" : "\nAlso:";
    for (const Failure& other : failure.others) {
        const std::string line = "\n" + line_text(other, source);
        if (text.size() + line.size() > room) break;
        text += line;
        --left;
    }
    if (left > 0) text += "\nand " + std::to_string(left) + " more";
    if (failure.untold == most_found - most_told) text += ", or more than these";
}

} // namespace

MessageText error_text(const Failure& failure, std::string_view source)
{
    const Message& message = message_of(failure);
    MessageText text{heading_text(failure, source), failure.detail, failure.advice};
    if (failure.place) {
        text.detail = position_text(source, failure.place->start) + "\n" +
                      excerpt_text(showable(failure, source), *failure.place);
        if (!failure.detail.empty()) text.detail += "\n" + failure.detail;
    }
    if (text.detail.empty()) text.detail = message.detail;
    if (text.trailing.empty()) text.trailing = message.trailing;
    add_others(failure, source, text.trailing);
    return text;
}

} // namespace velk::engine
