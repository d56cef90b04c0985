#include "parser/error_text.h"

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

} // namespace

MessageText error_text(const Failure& failure, std::string_view source)
{
    static const Message unknown{internal_error, "internal error", "", ""};
    const Message* found = find_message(static_cast<std::uint32_t>(failure.code));
    const Message& message = found != nullptr ? *found : unknown;
    MessageText text{heading_of(message, failure.subject), failure.detail, failure.advice};
    if (!failure.subject.empty() && !may_be_quoted(failure, source)) text.heading = heading_of(message, {});
    if (failure.place) {
        text.detail = position_text(source, failure.place->start) + "\n" +
                      excerpt_text(showable(failure, source), *failure.place);
        if (!failure.detail.empty()) text.detail += "\n" + failure.detail;
    }
    if (text.detail.empty()) text.detail = message.detail;
    if (text.trailing.empty()) text.trailing = message.trailing;
    return text;
}

} // namespace velk::engine
