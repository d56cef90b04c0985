#include "masking/graphemes.h"

#include <algorithm>
#include <iterator>

namespace velk::engine {

namespace {

struct Run {
    std::uint32_t first;
    std::uint32_t last;
    Break is;
};

#include "masking/grapheme_breaks.inc"

constexpr char32_t first_syllable = 0xAC00;
constexpr char32_t last_syllable = 0xD7A3;
constexpr char32_t syllables_of_a_vowel = 28; // the first of them has no trailing consonant

bool is_extending(Break next)
{
    return next == Break::extend || next == Break::joiner || next == Break::linker;
}

bool is_syllable_continued(Break last, Break next)
{
    const bool takes_vowel = last == Break::leading_vowel || last == Break::vowel;
    switch (next) {
    case Break::leading:
    case Break::leading_vowel:
    case Break::leading_trailing:
        return last == Break::leading;
    case Break::vowel:
        return last == Break::leading || takes_vowel;
    case Break::trailing:
        return takes_vowel || last == Break::leading_trailing || last == Break::trailing;
    default:
        return false;
    }
}

} // namespace

Break break_of(char32_t code_point)
{
    if (code_point < 0x7F) return code_point < ' ' ? Break::control : Break::other;
    if (code_point >= first_syllable && code_point <= last_syllable)
        return (code_point - first_syllable) % syllables_of_a_vowel == 0 ? Break::leading_vowel
                                                                         : Break::leading_trailing;
    const Run* run = std::partition_point(std::begin(runs), std::end(runs), [code_point](const Run& before) {
        return before.last < code_point;
    });
    return run == std::end(runs) || code_point < run->first ? Break::other : run->is;
}

bool GraphemeScanner::is_joined_by(Break next, char32_t code_point) const
{
    if (before_ == '\r' && code_point == '\n') return true;
    if (last_ == Break::control || next == Break::control) return false;
    return is_extending(next) || last_ == Break::prepend || is_syllable_continued(last_, next) ||
           (next == Break::consonant && linked_) ||
           (next == Break::pictograph && after_pictograph_ && last_ == Break::joiner) ||
           (next == Break::flag && flag_is_open_);
}

bool GraphemeScanner::begins_with(char32_t code_point)
{
    const Break next = break_of(code_point);
    const bool joined = is_joined_by(next, code_point);
    const bool extends = is_extending(next);
    flag_is_open_ = next == Break::flag && !(last_ == Break::flag && flag_is_open_);
    after_pictograph_ = next == Break::pictograph || (after_pictograph_ && extends);
    after_consonant_ = next == Break::consonant || (after_consonant_ && extends);
    linked_ = after_consonant_ && extends && (linked_ || next == Break::linker);
    last_ = next;
    before_ = code_point;
    return !joined;
}

bool stands_alone(char32_t code_point)
{
    const bool surrogate = code_point >= 0xD800 && code_point <= 0xDFFF;
    const bool no_character =
        (code_point & 0xFFFE) == 0xFFFE || (code_point >= 0xFDD0 && code_point <= 0xFDEF);
    if (surrogate || no_character || code_point > 0x10FFFF) return false;
    const Break is = break_of(code_point);
    return is == Break::other || is == Break::pictograph || is == Break::consonant ||
           is == Break::leading_vowel || is == Break::leading_trailing;
}

} // namespace velk::engine
