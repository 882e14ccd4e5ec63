// Transition labels, their kinds, the linguistic levels and the label alphabet.

#ifndef LEXPAND_ENGINE_ALPHABET_H
#define LEXPAND_ENGINE_ALPHABET_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace lexpand {

// The level a grammar is written for; it chooses the tokenizer (and, during
// exploration, how the inputs of a path are joined).
enum class LinguisticLevel { orthographic, dictionary, syntax, propertyDefinition };

// A transition label: the text it reads, the text it writes and the kind of
// the text it reads (a function of `input`).
struct Label {
    enum class InputType {
        bracketSymbol,
        colonSymbol,
        epsilon,
        protectedCharacter,
        quotedString,
        standard,
        variableDefinition,
    };

    std::string input;
    std::string output;
    InputType inputType = InputType::standard;

    // Classifies `inputString` (lengths and positions in grapheme clusters) and
    // builds the label; absent when the input text is rejected. The output is
    // stored as given and plays no part in the classification.
    static std::optional<Label> init(std::string_view inputString, std::string_view outputString);

    // `input`, or `input` + "/" + `output` when the output is not empty.
    std::string description() const;
};

// Labels are equal exactly when their text forms are canonically equivalent;
// they are ordered by the code points of the NFC forms of their text forms.
bool operator==(const Label& a, const Label& b);
bool operator<(const Label& a, const Label& b);
inline bool operator!=(const Label& a, const Label& b) {
    return !(a == b);
}
inline bool operator>(const Label& a, const Label& b) {
    return b < a;
}
inline bool operator<=(const Label& a, const Label& b) {
    return !(b < a);
}
inline bool operator>=(const Label& a, const Label& b) {
    return !(a < b);
}

// Hashes the NFC form of the text form, so that equal labels hash alike.
struct LabelHash {
    std::size_t operator()(const Label& label) const;
};

// The empty-word label: input "<E>", no output, kind epsilon.
extern const Label EPSILON;

// An interned table of labels: a label's position in `array` is its index.
// Index 0 is always EPSILON; the table only grows.
struct Alphabet {
    std::vector<Label> array;
    std::unordered_map<Label, std::int64_t, LabelHash> dictionary;

    // A new alphabet holding only EPSILON, at index 0.
    Alphabet();

    // The index of `label`, appending it first when no equal label is present.
    std::int64_t addLabel(const Label& label);

    // "[" + the text form of each label followed by one space + "]".
    std::string description() const;
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_ALPHABET_H
