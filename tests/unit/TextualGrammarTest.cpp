// Tests of the rule reader, the grammar loop and the expression compiler.

#include "TextualGrammar.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

namespace lexpand {
namespace {

// ---- Helpers ---------------------------------------------------------------

GFSA labelAutomaton(std::string_view token) {
    return GFSA::init(Label::init(token, "").value());
}

// Two automata are the same when their dumps and every transition list, in
// list order, agree.
::testing::AssertionResult sameAutomaton(const GFSA& expected, const GFSA& actual) {
    if (expected.description() != actual.description())
        return ::testing::AssertionFailure() << "expected\n"
                                             << expected.description() << "got\n"
                                             << actual.description();
    for (std::size_t s = 0; s < expected.states.size(); ++s) {
        if (expected.states[s].outGoingTransitions != actual.states[s].outGoingTransitions)
            return ::testing::AssertionFailure() << "transition order differs at state " << s;
    }
    for (std::size_t i = 0; expected.alphabet && i < expected.alphabet->array.size(); ++i) {
        const Label& a = expected.alphabet->array[i];
        const Label& b = actual.alphabet->array[i];
        if (a.input != b.input || a.output != b.output)
            return ::testing::AssertionFailure() << "label text differs at index " << i;
    }
    return ::testing::AssertionSuccess();
}

std::string show(const TokenList& tokens) {
    std::string text;
    for (const std::string& token : tokens) text += "[" + token + "]";
    return text;
}

// ---- Reference compiler ------------------------------------------------------
// The recursive descent written plainly, building every construct with the
// construction operations; the compiler under test must give the same
// automata and indices.

struct Reference {
    const TokenList& tokens;

    static bool is(const std::string& token, std::string_view text) { return token == text; }

    std::optional<ParseResult> expression(std::size_t i) const {
        if (tokens.empty()) return std::nullopt;
        auto t = term(i);
        if (!t) return std::nullopt;
        const std::size_t n = t->nextTokenIndex;
        if (n >= tokens.size()) return t;
        if (is(tokens[n], "|") || is(tokens[n], "&")) {
            auto e = expression(n + 1);
            if (!e) return std::nullopt;
            GFSA g = is(tokens[n], "|") ? GFSA::disjunction(t->gfsa, e->gfsa) : GFSA::collocation(t->gfsa, e->gfsa);
            return ParseResult{std::move(g), e->nextTokenIndex};
        }
        return t;
    }

    std::optional<ParseResult> term(std::size_t i) const {
        auto f = factor(i);
        if (!f) return std::nullopt;
        const std::size_t n = f->nextTokenIndex;
        if (n >= tokens.size() || is(tokens[n], "|") || is(tokens[n], "&") || is(tokens[n], ")")) return f;
        auto t = term(n);
        if (!t) return f;
        return ParseResult{GFSA::concatenation(f->gfsa, t->gfsa), t->nextTokenIndex};
    }

    std::optional<ParseResult> factor(std::size_t i) const {
        if (i >= tokens.size()) return std::nullopt;
        GFSA g;
        std::size_t k = 0;
        if (is(tokens[i], "(")) {
            auto e = expression(i + 1);
            if (!e) return std::nullopt;
            g = std::move(e->gfsa);
            k = e->nextTokenIndex + 1;
        } else {
            const auto label = Label::init(tokens[i], "");
            if (!label) return std::nullopt;
            g = GFSA::init(*label);
            k = i + 1;
        }
        if (k >= tokens.size()) return ParseResult{std::move(g), k};
        if (tokens[k].front() == '/') return ParseResult{GFSA::outputOperation(g, tokens[k].substr(1)), k + 1};
        if (is(tokens[k], "*")) return ParseResult{GFSA::kleeneOperation(g), k + 1};
        return ParseResult{std::move(g), k};
    }
};

// ---- Rule reader -------------------------------------------------------------

struct RuleRow {
    std::vector<std::string> lines;
    std::size_t iLine;
    std::optional<GrammarRule> expected;
};

TEST(GetOneRule, ReadsAndRejects) {
    const std::vector<RuleRow> rows = {
        {{"A=x;"}, 0, GrammarRule{"A", "x", 1}},
        {{"A = x ; y"}, 0, std::nullopt},
        {{"A = x ; #y"}, 0, GrammarRule{"A", "x", 1}},
        {{"My Rule = x ;"}, 0, std::nullopt},
        {{"My\tRule = x ;"}, 0, GrammarRule{"My\tRule", "x", 1}},
        {{"\xC2\xA0 N1\t= a ;\xE2\x80\x83"}, 0, GrammarRule{"N1", "a", 1}}, // blanks of category Zs
        {{"A = \"a;b\" ;"}, 0, std::nullopt},
        {{"A = x = y ;"}, 0, GrammarRule{"A", "x = y", 1}},
        {{"A = # not a comment ;"}, 0, GrammarRule{"A", "# not a comment", 1}},
        {{"A x ;"}, 0, std::nullopt},
        {{"A = a", "# b ;", "b", "  c ; # end", "D = d ;"}, 0, GrammarRule{"A", "a b c", 4}},
        {{"A = a", "   ", "b ;"}, 0, GrammarRule{"A", "a  b", 3}},
        {{"A = a ;", "B = b ;"}, 1, GrammarRule{"B", "b", 2}},
        {{"# one", "  # two", "A = a ;"}, 0, GrammarRule{"A", "a", 3}},
        {{"A = a", "b"}, 0, std::nullopt},     // the ";" never comes
        {{"A = a", "# b ;"}, 0, std::nullopt}, // a ";" in a comment does not end the rule
        {{"A = a ;"}, 1, std::nullopt},
    };
    for (const RuleRow& row : rows) {
        const std::vector<std::string_view> lines(row.lines.begin(), row.lines.end());
        const std::optional<GrammarRule> rule = getOneRule(lines, row.iLine);
        std::string input;
        for (const std::string& line : row.lines) input += line + "⏎";
        ASSERT_EQ(rule.has_value(), row.expected.has_value()) << "lines: " << input << " from " << row.iLine;
        if (!rule) continue;
        EXPECT_EQ(rule->ruleName, row.expected->ruleName) << "lines: " << input;
        EXPECT_EQ(rule->ruleBody, row.expected->ruleBody) << "lines: " << input;
        EXPECT_EQ(rule->nextLineIndex, row.expected->nextLineIndex) << "lines: " << input;
    }
}

// ---- Grammar texts -------------------------------------------------------------

std::vector<std::string> graphNames(const MGFSA& grammar) {
    std::vector<std::string> names;
    for (const auto& [name, graph] : grammar.graphs) names.push_back(name);
    return names;
}

TEST(TextualGrammarToMgfsa, RulesBecomeGraphs) {
    struct Row {
        std::string text;
        std::optional<std::vector<std::string>> names;
    };
    const std::vector<Row> rows = {
        {"", std::vector<std::string>{}},
        {"# only a comment\n\n   \n\t# another\n", std::vector<std::string>{}},
        {"# Nouns\nN1 = <E>/s | s/p ;\n\nN2 = :N1 | es/p ;   # plural in -es\nVerb = <B>ing/G\n"
         "     # present participle above, past below\n     | <B>ed/P ;\n",
         std::vector<std::string>{"N1", "N2", "Verb"}},
        {"B = b ;\r\nA = a ;\r\n", std::vector<std::string>{"A", "B"}},
        {"A = a ;\nA = b c ;\n", std::vector<std::string>{"A"}}, // the later rule replaces the earlier
        {"A = a ;\nB = b", std::nullopt},                        // unterminated last rule
        {"A = a ;\nB b ;", std::nullopt},                        // no "="
        {"A = a ;\nB = \"b ;", std::nullopt},                    // a rejected label
        {"A = ;", std::nullopt},                                 // an empty body
        {"A = \\a ;", std::nullopt},                             // the tokenizer fails
    };
    for (const Row& row : rows) {
        const auto grammar = textualGrammarToMgfsa(row.text, LinguisticLevel::orthographic);
        ASSERT_EQ(grammar.has_value(), row.names.has_value()) << "text: " << row.text;
        if (!grammar) continue;
        EXPECT_EQ(graphNames(*grammar), *row.names) << "text: " << row.text;
        EXPECT_EQ(grammar->linguisticLevel, LinguisticLevel::orthographic);
        for (const auto& [name, graph] : grammar->graphs) EXPECT_FALSE(graph.alphabet.has_value()) << name;
    }
}

// Rules compiled on several threads make the grammar that one thread makes,
// and one rule that fails anywhere fails the whole grammar.
TEST(TextualGrammarToMgfsa, EveryThreadCountCompilesWhatOneThreadCompiles) {
    std::string text;
    for (int r = 0; r < 60; ++r)
        text += "R" + std::to_string(r) + " = <B" + std::to_string(r % 7 + 1) + ">й" + std::to_string(r) +
                "/+Case=" + std::to_string(r) + " | :R" + std::to_string(r / 2) + " ;\n";
    const auto description = [](const MGFSA& grammar) {
        std::string all = grammar.alphabet.description();
        for (const auto& [name, graph] : grammar.graphs) all += name + graph.description();
        return all;
    };
    const std::optional<MGFSA> one = textualGrammarToMgfsa(text, LinguisticLevel::orthographic);
    ASSERT_TRUE(one);
    for (const unsigned threads : {0u, 2u, 5u}) {
        const CompileOptions options{.threads = threads};
        const std::optional<MGFSA> several = textualGrammarToMgfsa(text, LinguisticLevel::orthographic, options);
        ASSERT_TRUE(several) << threads;
        EXPECT_EQ(description(*several), description(*one)) << threads;
        EXPECT_FALSE(textualGrammarToMgfsa(text + "Bad = \"b ;\n" + text, LinguisticLevel::orthographic, options));
    }
}

TEST(TextualGrammarToMgfsa, CarriageReturnsReadLikeLineFeeds) {
    const std::string lf = "N1 = <E>/s\n | s/p ;\nN2 = :N1 | es/p ;\n";
    const std::string crlf = "N1 = <E>/s\r\n | s/p ;\r\nN2 = :N1 | es/p ;\r\n";
    const auto a = textualGrammarToMgfsa(lf, LinguisticLevel::orthographic);
    const auto b = textualGrammarToMgfsa(crlf, LinguisticLevel::orthographic);
    ASSERT_TRUE(a && b);
    EXPECT_EQ(a->alphabet.description(), b->alphabet.description());
    for (const auto& [name, graph] : a->graphs) EXPECT_EQ(graph.description(), b->graphs.at(name).description());
}

TEST(TextualGrammarToMgfsa, LevelDictionaryCompilesNothing) {
    EXPECT_FALSE(textualGrammarToMgfsa("A = a ;", LinguisticLevel::dictionary));
    EXPECT_TRUE(textualGrammarToMgfsa("# nothing", LinguisticLevel::dictionary));
}

// ---- Expressions -----------------------------------------------------------------

struct CompileRow {
    std::string expression;
    LinguisticLevel level;
    std::function<GFSA()> expected; // empty: the expression does not compile
};

GFSA a() {
    return labelAutomaton("a");
}
GFSA b() {
    return labelAutomaton("b");
}
GFSA c() {
    return labelAutomaton("c");
}

TEST(Expression2Gfsa, CompilesLikeTheConstructionOperations) {
    using G = GFSA;
    const auto orth = LinguisticLevel::orthographic;
    const auto syntax = LinguisticLevel::syntax;
    const std::vector<CompileRow> rows = {
        {"abc", orth, [] { return G::concatenation(a(), G::concatenation(b(), c())); }},
        {"abc", syntax, [] { return labelAutomaton("abc"); }},
        {"a | b c", orth, [] { return G::disjunction(a(), G::concatenation(b(), c())); }},
        {"a/x*", orth, [] { return G::outputOperation(a(), "x*"); }},
        {" \t ", orth, nullptr},
        {"a b", LinguisticLevel::dictionary, nullptr},
        {"\\a", syntax, nullptr},
        {":N1 | es/p", orth,
         [] {
             return G::disjunction(labelAutomaton(":N1"),
                                   G::concatenation(labelAutomaton("e"), G::outputOperation(labelAutomaton("s"), "p")));
         }},
        {":Gender(m|f) Tense=pres", LinguisticLevel::propertyDefinition,
         [] {
             return G::concatenation(labelAutomaton(":Gender"),
                                     G::concatenation(G::disjunction(labelAutomaton("m"), labelAutomaton("f")),
                                                      labelAutomaton("Tense=pres")));
         }},
    };
    for (const CompileRow& row : rows) {
        const std::optional<GFSA> gfsa = expression2Gfsa(row.expression, row.level);
        ASSERT_EQ(gfsa.has_value(), static_cast<bool>(row.expected)) << "expression: " << row.expression;
        if (gfsa) {
            EXPECT_TRUE(sameAutomaton(row.expected(), *gfsa)) << "expression: " << row.expression;
        }
    }
}

TEST(ParseFunctions, AnswerTheAutomatonAndTheNextIndex) {
    struct Row {
        TokenList tokens;
        std::size_t index;
        std::optional<ParseResult> (*parse)(const TokenList&, std::size_t, LinguisticLevel);
        std::optional<std::size_t> next;
    };
    const std::vector<Row> rows = {
        {{"(", "a"}, 0, ParseFactor, 3}, // the missing ")" is skipped all the same
        {{"a", "b", "|", "c"}, 0, ParseTerm, 2}, {{"a", "b", "|", "c"}, 0, expression2GFSA, 4},
        {{"a"}, 5, ParseTerm, std::nullopt},     {{}, 0, expression2GFSA, std::nullopt},
    };
    for (const Row& row : rows) {
        const auto result = row.parse(row.tokens, row.index, LinguisticLevel::orthographic);
        ASSERT_EQ(result.has_value(), row.next.has_value()) << show(row.tokens) << " at " << row.index;
        if (result) {
            EXPECT_EQ(result->nextTokenIndex, *row.next) << show(row.tokens) << " at " << row.index;
        }
    }
}

// Random token lists, balanced or not, with every tolerance of the parse:
// the compiler gives exactly what the plain construction gives, from every
// index and for each of the three parse functions.
TEST(ParseFunctions, AgreeWithThePlainConstructionOnRandomTokenLists) {
    const std::vector<std::string> pool = {"a", "b",         "\xC3\xA9",   "e\xCC\x81", "<E>",   "/x", "/y",
                                           "/", "/\xC3\xA9", "/e\xCC\x81", "*",         "(",     "(",  ")",
                                           ")", "|",         "|",          "&",         "\"bad", ":P", "<ANY>"};
    std::mt19937 random(20240611);
    for (int round = 0; round < 600; ++round) {
        TokenList tokens{"("};
        const int length = 1 + static_cast<int>(random() % 9);
        int collocations = 0;
        for (int i = 0; i < length; ++i) {
            std::string token = pool[random() % pool.size()];
            if (token == "&" && ++collocations > 2) token = "|";
            tokens.push_back(token);
        }
        tokens.push_back(")");
        const Reference reference{tokens};
        for (std::size_t index = 0; index <= tokens.size(); ++index) {
            const std::pair<decltype(&ParseTerm), std::optional<ParseResult> (Reference::*)(std::size_t) const>
                functions[] = {{expression2GFSA, &Reference::expression},
                               {ParseTerm, &Reference::term},
                               {ParseFactor, &Reference::factor}};
            for (const auto& [parse, plain] : functions) {
                const auto expected = (reference.*plain)(index);
                const auto actual = parse(tokens, index, LinguisticLevel::syntax);
                ASSERT_EQ(actual.has_value(), expected.has_value()) << show(tokens) << " at " << index;
                if (!actual) continue;
                ASSERT_EQ(actual->nextTokenIndex, expected->nextTokenIndex) << show(tokens) << " at " << index;
                ASSERT_TRUE(sameAutomaton(expected->gfsa, actual->gfsa)) << show(tokens) << " at " << index;
            }
        }
    }
}

// ---- Sizes beyond the ordinary ---------------------------------------------------
// The compiler's depth does not grow with the input's: long and deep
// expressions compile like short ones.

TEST(Expression2Gfsa, LongAndDeepExpressionsCompile) {
    std::string alternatives = "a";
    for (int i = 1; i < 20000; ++i) alternatives += " | a" + std::to_string(i % 10);
    for (const std::string& expression :
         {std::string(200000, 'a'), alternatives, std::string(10000, '(') + "a" + std::string(10000, ')')}) {
        const auto gfsa = expression2Gfsa(expression, LinguisticLevel::orthographic);
        ASSERT_TRUE(gfsa.has_value()) << expression.substr(0, 40);
        EXPECT_TRUE(gfsa->states[1].isTerminal);
    }
    EXPECT_TRUE(sameAutomaton(
        a(), *expression2Gfsa(std::string(10000, '(') + "a" + std::string(10000, ')'), LinguisticLevel::orthographic)));
}

// A failing token deep inside nested groups makes every enclosing group fail
// and the parse resume inside it, at every level.
TEST(Expression2Gfsa, TenThousandNestedGroupsAroundAFailureDoNotCrash) {
    const std::string expression = std::string(10000, '(') + "\"bad";
    EXPECT_FALSE(expression2Gfsa(expression, LinguisticLevel::orthographic));
    const std::string tolerated = "x " + std::string(10000, '(') + "a b | \"bad";
    (void)expression2Gfsa(tolerated, LinguisticLevel::orthographic);
}

TEST(Expression2Gfsa, ACollocationChainThatWouldDoubleFortyTimesFails) {
    std::string expression = "a";
    for (int i = 0; i < 40; ++i) expression += " & a";
    EXPECT_FALSE(expression2Gfsa(expression, LinguisticLevel::orthographic));
}

// The caller's bound is the size of the automaton as written, known before
// it is built.
TEST(Expression2Gfsa, TheCallersStateBoundIsTheAutomatonsSize) {
    const auto orth = LinguisticLevel::orthographic;
    const std::uint64_t size = expression2Gfsa("a & b", orth).value().states.size();
    EXPECT_TRUE(expression2Gfsa("a & b", orth, CompileOptions{.maxStates = size}));
    const CompiledExpression below = compileExpression("a & b", orth, CompileOptions{.maxStates = size - 1});
    ASSERT_TRUE(below.fault);
    EXPECT_EQ(below.fault->kind, ExpressionFault::Kind::tooLarge);
    EXPECT_FALSE(textualGrammarToMgfsa("A = a ;\nB = a & b ;", orth, CompileOptions{.maxStates = size - 1}));
}

} // namespace
} // namespace lexpand
