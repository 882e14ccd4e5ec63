// Tests of the three tokenizers: token shapes, modes, escapes and failure.

#include "Tokenizers.h"

#include <gtest/gtest.h>

#include <random>

namespace lexpand {
namespace {

using Tokens = std::optional<TokenList>;

std::string show(const Tokens& tokens) {
    if (!tokens) return "(absent)";
    std::string text;
    for (const std::string& token : *tokens) text += "[" + token + "]";
    return text;
}

struct Row {
    std::string text;
    Tokens tokens;
};

void expectRows(const std::vector<Row>& rows, Tokens (*tokenize)(std::string_view)) {
    for (const Row& row : rows) {
        const Tokens tokens = tokenize(row.text);
        EXPECT_EQ(tokens, row.tokens) << "input: " << row.text << "\n got: " << show(tokens);
    }
}

TEST(Tokenizer, Syntactic) {
    expectRows(
        {
            {R"(<B2>"es" /PL | :Sing (a|b)*)",
             TokenList{"<B2>", "\"es\"", "/PL", "|", ":Sing", "(", "a", "|", "b", ")", "*"}},
            {"ing/Pres ab12", TokenList{"ing", "/Pres", "ab", "1", "2"}},
            {":Noun/x(y)", TokenList{":Noun", "/x", "(", "y", ")"}},
            {R"(<L "a b">c)", TokenList{"<L \"a b\">", "c"}},
            {"$(Var x $) $ab z", TokenList{"$(Var", "x", "$)", "$", "a", "b", "z"}},
            {R"(\* \(x)", TokenList{"\\*", "\\(x"}},
            {R"(\a)", std::nullopt},
            {R"("a\zb")", std::nullopt},                          // an escape inside a quoted string is checked too
            {" \t\n\r\xC2\x85\xC2\xA0\xE2\x80\x83", TokenList{}}, // every kind of white space
            {R"(ab"c")", TokenList{"ab", "\"c\""}},
            {R"(/x"y z"w q)", TokenList{"/x\"y z\"w", "q"}},
            {R"(<"a>b">c)", TokenList{"<\"a>b\">", "c"}}, // a quoted ">" does not close
            {":A+", TokenList{":A+"}},
            {":A<B>:C/x", TokenList{":A", "<B>", ":C", "/x"}},
            {"$x", TokenList{"$x"}},
            {"$x ", TokenList{"$", "x"}},
            {"$ab/x", TokenList{"$ab", "/x"}},
            {R"(\|)", TokenList{"\\|"}},
            {R"(\)", TokenList{"\\"}},
            {R"("a\"b")", TokenList{"\"a\"b\""}},
            {R"(/a\z :b\z)", TokenList{"/a\\z", ":b\\z"}}, // a backslash is plain in these modes
            {R"("ab)", TokenList{"\"ab"}},                 // unterminated tokens stand as they are
            {"<ab", TokenList{"<ab"}},
            {"a+b=c;", TokenList{"a", "+", "b", "=", "c", ";"}},
            {"e\xCC\x81t \xD0\xB6-", TokenList{"e\xCC\x81t", "\xD0\xB6", "-"}}, // marks are letters
            {"a\xFF"
             "b",
             TokenList{"a", "\xFF", "b"}}, // a malformed byte is a symbol
        },
        &Tokenizer::textualSyntacticGrammar);
}

TEST(Tokenizer, Orthographic) {
    expectRows(
        {
            {R"(ing <E> "xy" :N)", TokenList{"i", "n", "g", "<E>", "\"xy\"", ":N"}},
            {"  \n", TokenList{}},
            {"cafe\xCC\x81s", TokenList{"c", "a", "f", "e\xCC\x81", "s"}},
            {"\xD0\xB6\xD0\x94"
             "1",
             TokenList{"\xD0\xB6", "\xD0\x94", "1"}},
            {"$ab ", TokenList{"$", "a", "b"}},
            {R"(\(x <B2>)", TokenList{"\\(x", "<B2>"}}, // a protected pair stays whole
            {R"(\a)", std::nullopt},
        },
        &Tokenizer::textualOrthographicGrammar);
}

TEST(Tokenizer, PropertiesDefinitions) {
    expectRows(
        {
            {":Gender(m|f) Tense=pres", TokenList{":Gender", "(", "m", "|", "f", ")", "Tense=pres"}},
            {"", TokenList{}},
            {R"(a\b "c <d;)", TokenList{"a\\b", "\"c", "<d;"}},
            {":A:B|c x:y", TokenList{":A:B", "|", "c", "x", ":y"}},
        },
        [](std::string_view text) -> Tokens { return Tokenizer::textualPropertiesDefinitionsGrammar(text); });
}

// Any byte string: no crash, no empty token.
TEST(Tokenizer, RandomTextGivesNonEmptyTokens) {
    const std::vector<std::string> pieces = {"a",         "Z",        " ",    "\"",   "$",    "(", ")", "*",
                                             "/",         "<",        ">",    "\\",   "|",    ":", "1", "+",
                                             "e\xCC\x81", "\xD0\xB6", "\xFF", "\xC3", "\r\n", "\t"};
    std::mt19937 random(20240601);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        const int length = static_cast<int>(random() % 12);
        for (int i = 0; i < length; ++i) text += pieces[random() % pieces.size()];
        const Tokens syntactic = Tokenizer::textualSyntacticGrammar(text);
        const Tokens orthographic = Tokenizer::textualOrthographicGrammar(text);
        const TokenList properties = Tokenizer::textualPropertiesDefinitionsGrammar(text);
        for (const Tokens& tokens : {syntactic, orthographic, Tokens(properties)}) {
            if (!tokens) continue;
            for (const std::string& token : *tokens) EXPECT_FALSE(token.empty()) << "input: " << text;
        }
    }
}

} // namespace
} // namespace lexpand
