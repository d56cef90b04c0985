#include "parser/error_text.h"

#include "parser/place_text.h"
#include "text/excerpt.h"

#include <algorithm>
#include <array>

namespace velk::engine {

namespace {

// What was wrong inside a secret may be a part of it.
bool is_secret(std::string_view source, const Place& place)
{
    const std::vector<Place> secrets = secret_places(source);
    return std::any_of(secrets.begin(), secrets.end(), [&](const Place& secret) {
        return place.start < secret.start + secret.length && secret.start < place.start + place.length;
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
    if (failure.place) {
        if (is_secret(source, *failure.place)) text.heading = heading_of(message, {});
        text.detail = position_text(source, failure.place->start) + "\n" +
                      excerpt_text(showable(failure, source), *failure.place);
        if (!failure.detail.empty()) text.detail += "\n" + failure.detail;
    }
    if (text.detail.empty()) text.detail = message.detail;
    if (text.trailing.empty()) text.trailing = message.trailing;
    return text;
}

} // namespace velk::engine
