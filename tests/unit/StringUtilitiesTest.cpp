// Tests of parseParenthesedPattern: capture order, skipped groups, anchors,
// compile failures and byte-exact captures of non-ASCII text.

#include "StringUtilities.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace lexpand {
namespace {

using Texts = std::vector<std::string>;

// The expression that recognizes a lexical entry line.
constexpr const char* entryExpression = "(([^,]|\\\\,)+),([A-Z]+)(\\+.+$)?";

struct Row {
    const char* text;
    const char* pattern;
    std::optional<Texts> expected;
};

std::string show(const std::optional<Texts>& texts) {
    if (!texts) return "nothing";
    std::string shown = "[";
    for (const std::string& text : *texts) shown += "\"" + text + "\" ";
    return shown + "]";
}

TEST(ParseParenthesedPattern, Table) {
    const Row rows[] = {
        // The entry expression: 4 texts without properties, 5 with.
        {"table,N", entryExpression, Texts{"table,N", "table", "e", "N"}},
        {"table,N+Hum", entryExpression, Texts{"table,N+Hum", "table", "e", "N", "+Hum"}},
        {"form,lemma,N", entryExpression, Texts{"lemma,N", "lemma", "a", "N"}},
        {"a\\,b,N", entryExpression, Texts{"a\\,b,N", "a\\,b", "b", "N"}},
        {"abc,N x,V", entryExpression, Texts{"abc,N", "abc", "c", "N", " x,V", " x", "x", "V"}},
        {"table,n", entryExpression, Texts{}},
        // Patterns that do not compile.
        {"abc", "(a", std::nullopt},
        // Two matches; an optional group that took no part is skipped.
        {"ab a", "a(b)?", Texts{"ab", "b", "a"}},
        // A group that matched the empty text is skipped.
        {"ac", "a(b*)c", Texts{"ac"}},
        // "." stops at line breaks.
        {"a\nb", "a.b", Texts{}},
        {"a\u2028b", "a.b", Texts{}},
        {"a\tb", "a.b", Texts{"a\tb"}},
        // "$" matches at the very end only, not before a final line break.
        {"baa", "a+$", Texts{"aa"}},
        {"aa\r\n", "(a+)$", Texts{}},
        {"ab\nab", "ab$", Texts{"ab"}},
        // An escaped "$", or one in a class, stays a literal dollar.
        {"a$x", "\\$x", Texts{"$x"}},
        {"a$", "[$]", Texts{"$"}},
        {"a$b", "\\Q$b\\E", Texts{"$b"}},
        // Case-sensitive.
        {"ABC", "b", Texts{}},
        // Non-ASCII text is cut at scalar boundaries, bytes kept as written.
        {"x\u00E9\u00E9y", "(\u00E9+)", Texts{"\u00E9\u00E9", "\u00E9\u00E9"}},
        {"\U0001D538b", "(.)", Texts{"\U0001D538", "\U0001D538", "b", "b"}},
        {"\xFF"
         "b",
         "(.)b",
         Texts{"\xFF"
               "b",
               "\xFF"}},
        {"caf\u00E9,N+\u00E9t\u00E9", entryExpression,
         Texts{"caf\u00E9,N+\u00E9t\u00E9", "caf\u00E9", "\u00E9", "N", "+\u00E9t\u00E9"}},
    };
    for (const Row& row : rows) {
        const auto actual = parseParenthesedPattern(row.text, row.pattern);
        EXPECT_EQ(show(actual), show(row.expected)) << "text \"" << row.text << "\", pattern \"" << row.pattern << "\"";
    }
}

// The same pattern used many times, and then other patterns, keeps giving
// the same answers (compiled patterns are reused).
TEST(ParseParenthesedPattern, RepeatedUseGivesTheSameAnswers) {
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 100; ++i) {
            const std::string pattern = "(x" + std::to_string(i) + ")";
            const auto texts = parseParenthesedPattern("ax" + std::to_string(i) + "b", pattern);
            ASSERT_TRUE(texts.has_value()) << pattern;
            EXPECT_EQ(texts->size(), 2u) << pattern;
        }
        EXPECT_FALSE(parseParenthesedPattern("a", "(").has_value());
        EXPECT_EQ(show(parseParenthesedPattern("table,N", entryExpression)), show(Texts{"table,N", "table", "e", "N"}));
    }
}

} // namespace
} // namespace lexpand
