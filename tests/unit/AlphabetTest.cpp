// Tests of labels (classification, text form, equality, order, hash), EPSILON
// and the alphabet.

#include "Alphabet.h"
#include "StringUtilities.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>
#include <vector>

namespace lexpand {
namespace {

using Kind = Label::InputType;

std::string kindName(const std::optional<Kind>& kind) {
    if (!kind) return "rejected";
    switch (*kind) {
    case Kind::bracketSymbol:
        return "bracketSymbol";
    case Kind::colonSymbol:
        return "colonSymbol";
    case Kind::epsilon:
        return "epsilon";
    case Kind::protectedCharacter:
        return "protectedCharacter";
    case Kind::quotedString:
        return "quotedString";
    case Kind::standard:
        return "standard";
    case Kind::variableDefinition:
        return "variableDefinition";
    }
    return "?";
}

std::optional<Kind> classify(const std::string& input) {
    const auto label = Label::init(input, "");
    if (!label) return std::nullopt;
    return label->inputType;
}

TEST(Label, Classification) {
    const struct {
        const char* input;
        std::optional<Kind> expected;
    } rows[] = {
        {"", std::nullopt},
        {"a", Kind::standard},
        {"\\", std::nullopt},
        {"\"", Kind::standard},
        {":", Kind::standard},
        {"<", Kind::standard},
        {"\\n", Kind::protectedCharacter},
        {"\\ab", std::nullopt},
        {":Verb", Kind::colonSymbol},
        {":Ve\\rb", std::nullopt},
        {"$(", std::nullopt},
        {"$)", Kind::variableDefinition},
        {"$)Var", Kind::variableDefinition},
        {"$(a\\b", std::nullopt},
        {"$x", Kind::standard},
        {"<E>", Kind::epsilon},
        {"<E", std::nullopt},
        {"<>", std::nullopt},
        {"<a,b>", std::nullopt},
        {"<be,V+PR>", Kind::bracketSymbol},
        {"<B>", Kind::bracketSymbol},
        {"<a,b<c>", Kind::bracketSymbol}, // a match may begin at a later "<"
        {"<e>x", std::nullopt},
        {"x<be>", Kind::standard},
        {"\"\"", Kind::quotedString},
        {"\"a\"b\"", std::nullopt},
        {"\"a\\b\"", std::nullopt},
        {"\"ab", std::nullopt},
        {"a\"b", Kind::standard},
        // Characters are grapheme clusters.
        {"e\u0301", Kind::standard},
        {"\\e\u0301", Kind::protectedCharacter},
        {"\\\u0301", Kind::standard},  // a backslash with a mark is not a backslash
        {"<\u0301a>", Kind::standard}, // does not begin with "<"
        {"<a>\u0301", std::nullopt},   // does not end with ">"
        {"\"\u00E9t\u00E9\"", Kind::quotedString},
        {":a\\\u0301", Kind::colonSymbol}, // no character is a backslash
    };
    for (const auto& row : rows)
        EXPECT_EQ(kindName(classify(row.input)), kindName(row.expected)) << "input \"" << row.input << "\"";
}

TEST(Label, EqualityOrderAndHash) {
    const struct {
        const char* inputA;
        const char* outputA;
        const char* inputB;
        const char* outputB;
        int expected; // sign of A compared with B
    } rows[] = {
        {"a", "", "a", "", 0},
        {"a", "", "b", "", -1},
        {"Z", "", "a", "", -1},
        {"<E>", "", "<E>", "s", -1},
        {"a/b", "", "a", "b", 0},         // equal text forms
        {"\u00E9", "", "e\u0301", "", 0}, // canonically equivalent
        {"K", "", "\u212A", "", 0},       // Kelvin sign decomposes to K
        {"z", "", "\u00E9", "", -1},      // code point order
        {"e\u0301", "", "f", "", 1},      // compared in composed form
        {"ab", "", "a", "", 1},
        {"a", "", "a", "b", -1},
    };
    const LabelHash hash;
    for (const auto& row : rows) {
        const Label a{row.inputA, row.outputA, Kind::standard};
        const Label b{row.inputB, row.outputB, Kind::standard};
        const std::string shown = "\"" + a.description() + "\" vs \"" + b.description() + "\"";
        EXPECT_EQ(a == b, row.expected == 0) << shown;
        EXPECT_EQ(a != b, row.expected != 0) << shown;
        EXPECT_EQ(a < b, row.expected < 0) << shown;
        EXPECT_EQ(b<a, row.expected> 0) << shown;
        EXPECT_EQ(a <= b, row.expected <= 0) << shown;
        EXPECT_EQ(a >= b, row.expected >= 0) << shown;
        if (row.expected == 0) {
            EXPECT_EQ(hash(a), hash(b)) << shown;
        }
    }
    // The kind takes no part in equality.
    EXPECT_TRUE((Label{"<x>", "", Kind::bracketSymbol} == Label{"<x>", "", Kind::standard}));
}

TEST(Alphabet, AddLabelAndDescription) {
    Alphabet alphabet;
    EXPECT_EQ(alphabet.description(), "[<E> ]");
    EXPECT_EQ(alphabet.array.size(), 1u);
    EXPECT_EQ(alphabet.addLabel(EPSILON), 0);

    const Label a = *Label::init("a", "");
    EXPECT_EQ(alphabet.addLabel(a), 1);
    EXPECT_EQ(alphabet.addLabel(a), 1);
    EXPECT_EQ(alphabet.array.size(), 2u);

    EXPECT_EQ(alphabet.addLabel(*Label::init("<E>", "s")), 2);
    EXPECT_EQ(alphabet.addLabel(*Label::init("\u00E9", "")), 3);
    EXPECT_EQ(alphabet.addLabel(*Label::init("e\u0301", "")), 3); // canonically equal
    EXPECT_EQ(alphabet.addLabel(*Label::init("<E>", "")), 0);
    EXPECT_EQ(alphabet.description(), "[<E> a <E>/s \u00E9 ]");

    // Invariants: the map holds exactly the labels of the array, by position.
    ASSERT_EQ(alphabet.dictionary.size(), alphabet.array.size());
    for (std::size_t i = 0; i < alphabet.array.size(); ++i)
        EXPECT_EQ(alphabet.dictionary.at(alphabet.array[i]), static_cast<std::int64_t>(i)) << i;
}

// The symbol test of Label::init agrees with the three ICU expressions and
// their accepting counts on many random texts framed by "<" and ">".
TEST(Label, SymbolPatternsAgreeWithTheRegularExpressions) {
    const char* const pieces[] = {"<",  ">",  ",",  "\\", "+",      "A",      "Z",      "a",
                                  "\n", "\r", "\v", "\f", "\u0085", "\u2028", "\u00E9", " "};
    const char* const patterns[] = {"<(([^,]|\\\\,)+),([A-Z]+)(\\+.+)?>$", "<([A-Z]+)(\\+.+)?>$",
                                    "<(([^,]|\\\\,)+)(\\+.+)?>$"};
    std::mt19937 random(20240611);
    std::uniform_int_distribution<std::size_t> pieceOf(0, std::size(pieces) - 1);
    std::uniform_int_distribution<int> lengthOf(0, 9);
    int acceptedCount = 0;
    int rejectedCount = 0;
    for (int trial = 0; trial < 20000; ++trial) {
        std::string text = "<";
        for (int n = lengthOf(random); n > 0; --n) text += pieces[pieceOf(random)];
        text += ">";
        if (text == "<E>") continue;

        bool expected = false;
        for (int p = 0; p < 3 && !expected; ++p) {
            const auto texts = parseParenthesedPattern(text, patterns[p]);
            ASSERT_TRUE(texts.has_value());
            const std::size_t count = texts->size();
            expected = p == 0 ? count > 0 : p == 1 ? (count >= 1 && count <= 3) : (count == 3 || count == 4);
        }
        const auto label = Label::init(text, "");
        const bool accepted = label.has_value() && label->inputType == Kind::bracketSymbol;
        ASSERT_EQ(accepted, expected) << "input \"" << text << "\"";
        ++(accepted ? acceptedCount : rejectedCount);
    }
    // Both answers occur often enough for the comparison to mean something.
    EXPECT_GT(acceptedCount, 2000);
    EXPECT_GT(rejectedCount, 2000);
}

} // namespace
} // namespace lexpand
