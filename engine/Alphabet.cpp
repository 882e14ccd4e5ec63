// Exports Label (kinds, classification, text form, equality, order, hash), EPSILON and Alphabet.

#include "Alphabet.h"

#include "TextServices.h"

#include <algorithm>
#include <cstdint>

namespace lexpand {

namespace {

// ---- The three symbol patterns ----------------------------------------------
//
// A text that begins with "<" and ends with ">" is a symbol when one of these
// ICU expressions has a match in it:
//   1. <(([^,]|\\,)+),([A-Z]+)(\+.+)?>$
//   2. <([A-Z]+)(\+.+)?>$
//   3. <(([^,]|\\,)+)(\+.+)?>$
// The matcher below decides exactly that without a regex engine:
// - Every match ends at the final ">", so a match exists exactly when, for some
//   "<" at a position before the final ">", the middle text M between them
//   splits as the expression requires (the engine backtracks over every split).
// - "([^,]|\\,)+" (a lemma) matches exactly the non-empty texts in which every
//   comma is preceded by a backslash: each such pair is read as "\,", every
//   other scalar as "[^,]"; a comma first, or after anything but a backslash,
//   cannot be read.
// - "(\+.+)?" (a tail) matches the empty text or "+" followed by at least one
//   scalar that is not a line terminator ("." stops at line breaks).
// - Pattern 2 implies pattern 3 (capitals form a lemma), so it needs no test.
// - In pattern 1 the capitals after the comma run as far as they go: the tail
//   that follows is empty or begins with "+", never with a capital.
// Every character these tests name is ASCII, and ASCII bytes never occur
// inside a multi-byte UTF-8 sequence, so positions are taken in bytes; the
// tail's scalars are decoded as the regex engine reads them.

bool isLemma(std::string_view text) {
    if (text.empty() || text.front() == ',') return false;
    for (std::size_t i = 1; i < text.size(); ++i)
        if (text[i] == ',' && text[i - 1] != '\\') return false;
    return true;
}

bool isTail(std::string_view text) {
    if (text.empty()) return true;
    if (text.front() != '+' || text.size() < 2) return false;
    std::size_t position = 1;
    while (position < text.size())
        if (isNewline(decodeScalar(text, position))) return false;
    return true;
}

// Pattern 3 on the middle text: a lemma, then a tail.
bool isLemmaThenTail(std::string_view middle) {
    if (isLemma(middle)) return true;
    for (std::size_t plus = 1; plus < middle.size(); ++plus)
        if (middle[plus] == '+' && isLemma(middle.substr(0, plus)) && isTail(middle.substr(plus))) return true;
    return false;
}

// Pattern 1 on the middle text: a lemma, a comma, capitals, then a tail.
bool isLemmaCategoryThenTail(std::string_view middle) {
    for (std::size_t comma = 1; comma < middle.size(); ++comma) {
        if (middle[comma] != ',' || !isLemma(middle.substr(0, comma))) continue;
        std::size_t end = comma + 1;
        while (end < middle.size() && isAsciiCapital(middle[end])) ++end;
        if (end > comma + 1 && isTail(middle.substr(end))) return true;
    }
    return false;
}

// Precondition: `text` ends with the byte ">".
bool matchesSymbolPattern(std::string_view text) {
    const std::size_t closing = text.size() - 1;
    for (std::size_t opening = 0; opening < closing; ++opening) {
        if (text[opening] != '<') continue;
        const std::string_view middle = text.substr(opening + 1, closing - opening - 1);
        if (middle.empty()) continue;
        if (isLemmaThenTail(middle) || isLemmaCategoryThenTail(middle)) return true;
    }
    return false;
}

// ---- Text forms -------------------------------------------------------------

// The text form of a label as at most three pieces, so that ASCII labels can
// be compared and hashed without building the string.
struct TextFormPieces {
    std::string_view parts[3];
    std::size_t count = 0;

    explicit TextFormPieces(const Label& label) {
        parts[count++] = label.input;
        if (!label.output.empty()) {
            parts[count++] = "/";
            parts[count++] = label.output;
        }
    }

    bool isAscii() const {
        for (std::size_t i = 0; i < count; ++i)
            if (!lexpand::isAscii(parts[i])) return false;
        return true;
    }

    // The byte at `position` of the concatenation, or -1 past its end.
    int byteAt(std::size_t position) const {
        for (std::size_t i = 0; i < count; ++i) {
            if (position < parts[i].size()) return static_cast<unsigned char>(parts[i][position]);
            position -= parts[i].size();
        }
        return -1;
    }

    // Byte-wise three-way comparison of the concatenations.
    int compare(const TextFormPieces& other) const {
        for (std::size_t position = 0;; ++position) {
            const int byte = byteAt(position);
            const int otherByte = other.byteAt(position);
            if (byte != otherByte) return byte < otherByte ? -1 : 1;
            if (byte < 0) return 0;
        }
    }
};

// Three-way comparison of the NFC forms of the two text forms.
int compareTextForms(const Label& a, const Label& b) {
    const TextFormPieces piecesA(a);
    const TextFormPieces piecesB(b);
    // ASCII text is its own NFC form.
    if (piecesA.isAscii() && piecesB.isAscii()) return piecesA.compare(piecesB);
    // Equal bytes are canonically equivalent: the common case of a label
    // found again, decided without normalizing.
    if (a.input == b.input && a.output == b.output) return 0;
    return compareCanonical(a.description(), b.description());
}

// FNV-1a, 64 bits.
constexpr std::uint64_t fnvOffsetBasis = 14695981039346656037ULL;
constexpr std::uint64_t fnvPrime = 1099511628211ULL;

std::uint64_t hashBytes(std::uint64_t hash, std::string_view bytes) {
    for (const char c : bytes) {
        hash ^= static_cast<unsigned char>(c);
        hash *= fnvPrime;
    }
    return hash;
}

} // namespace

// ---- Label -------------------------------------------------------------------

// Constant-initialized, so that it is ready before any dynamic initializer of
// any other file runs; equal to Label::init("<E>", ""). Clang 14 cannot
// evaluate libstdc++'s std::string constructor at compile time, so there it
// is initialized dynamically; no object at namespace scope reads it.
#if defined(__clang__)
const Label EPSILON{"<E>", "", Label::InputType::epsilon};
#else
constinit const Label EPSILON{"<E>", "", Label::InputType::epsilon};
#endif

namespace {

using Characters = std::vector<std::string_view>;

bool holdsCharacter(const Characters& characters, std::string_view wanted) {
    return std::find(characters.begin(), characters.end(), wanted) != characters.end();
}

// The kind of a text of two characters or more that begins with "<".
std::optional<Label::InputType> bracketedKind(std::string_view text, const Characters& characters) {
    if (characters.back() != ">") return std::nullopt;
    if (text == "<E>") return Label::InputType::epsilon;
    if (!matchesSymbolPattern(text)) return std::nullopt;
    return Label::InputType::bracketSymbol;
}

// The kind of a text of two characters or more that begins with a double
// quote: exactly two quotes, at both ends, and no backslash.
std::optional<Label::InputType> quotedKind(const Characters& characters) {
    if (characters.back() != "\"" || holdsCharacter(characters, "\\")) return std::nullopt;
    if (std::count(characters.begin(), characters.end(), "\"") != 2) return std::nullopt;
    return Label::InputType::quotedString;
}

// The kind of a label's input text, told by its characters (the first rule
// that applies decides); absent when the text is rejected.
std::optional<Label::InputType> inputTypeOf(std::string_view text, const Characters& characters) {
    using Type = Label::InputType;
    const std::string_view first = characters.front();
    if (characters.size() == 1) return first == "\\" ? std::nullopt : std::optional(Type::standard);
    if (text == "$(") return std::nullopt;
    if (first == "\\") return characters.size() == 2 ? std::optional(Type::protectedCharacter) : std::nullopt;
    const bool holdsBackslash = holdsCharacter(characters, "\\");
    if (first == ":") return holdsBackslash ? std::nullopt : std::optional(Type::colonSymbol);
    if (first == "$" && (characters[1] == "(" || characters[1] == ")"))
        return holdsBackslash ? std::nullopt : std::optional(Type::variableDefinition);
    if (first == "<") return bracketedKind(text, characters);
    if (first == "\"") return quotedKind(characters);
    return Type::standard;
}

} // namespace

std::optional<Label> Label::init(std::string_view inputString, std::string_view outputString) {
    if (inputString.empty()) return std::nullopt;
    const std::optional<InputType> inputType = inputTypeOf(inputString, graphemeClusterViews(inputString));
    if (!inputType) return std::nullopt;
    return Label{std::string(inputString), std::string(outputString), *inputType};
}

std::string Label::description() const {
    if (output.empty()) return input;
    std::string text;
    text.reserve(input.size() + 1 + output.size());
    text.append(input).append("/").append(output);
    return text;
}

bool operator==(const Label& a, const Label& b) {
    return compareTextForms(a, b) == 0;
}

bool operator<(const Label& a, const Label& b) {
    return compareTextForms(a, b) < 0;
}

std::size_t LabelHash::operator()(const Label& label) const {
    const TextFormPieces pieces(label);
    std::uint64_t hash = fnvOffsetBasis;
    if (pieces.isAscii()) {
        for (std::size_t i = 0; i < pieces.count; ++i) hash = hashBytes(hash, pieces.parts[i]);
    } else {
        hash = hashBytes(hash, toNFC(label.description()));
    }
    return static_cast<std::size_t>(hash);
}

// ---- Alphabet ------------------------------------------------------------------

Alphabet::Alphabet() : array{EPSILON}, dictionary{{EPSILON, 0}} {}

std::int64_t Alphabet::addLabel(const Label& label) {
    if (const auto found = dictionary.find(label); found != dictionary.end()) return found->second;
    array.push_back(label);
    const auto index = static_cast<std::int64_t>(array.size()) - 1;
    dictionary.emplace(label, index);
    return index;
}

std::string Alphabet::description() const {
    std::string text = "[";
    for (const Label& label : array) text.append(label.description()).append(" ");
    text.append("]");
    return text;
}

} // namespace lexpand
