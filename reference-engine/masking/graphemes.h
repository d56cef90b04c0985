#pragma once

// What a reader takes for one character: a letter with its marks, an emoji with its modifiers and joiners,
// the two letters of a flag, the parts of a syllable.

#include <cstdint>

namespace velk::engine {

// What a code point does to its neighbours. `other` joins nothing by itself.
enum class Break : std::uint8_t {
    other,
    control,
    extend, // marks, variation selectors, modifiers and the like belong to what stands before them
    joiner,
    linker, // joins the consonants of a syllable
    prepend,
    flag,
    pictograph,
    consonant,
    leading, // Hangul: from here on
    vowel,
    trailing,
    leading_vowel,
    leading_trailing,
};

Break break_of(char32_t code_point);

// Finds where characters begin, given the code points of a text one after the other.
class GraphemeScanner {
public:
    // Whether a character begins with this code point, the next of the text.
    bool begins_with(char32_t code_point);

private:
    bool is_joined_by(Break next, char32_t code_point) const;

    char32_t before_ = 0; // 0: the text begins here
    Break last_ = Break::control;
    bool flag_is_open_ = false;     // one letter of a flag
    bool after_pictograph_ = false; // with marks and a joiner at most
    bool after_consonant_ = false;  // with marks at most
    bool linked_ = false;           // and a linker among them
};

// Whether the code point can stand for others: it is no part of another character, no control or format
// character, no surrogate, and a character at all.
bool stands_alone(char32_t code_point);

} // namespace velk::engine
