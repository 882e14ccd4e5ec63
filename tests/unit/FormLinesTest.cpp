// EntryLineExpander against the form-by-form assembly it replaces: random
// dictionaries over a grammar of every kind of command (suffix edits, cursor
// moves, word moves, case switches, derivations) and over lemmas and
// properties full of the characters that make the assembly differ (commas,
// quotes, brackets, backslashes, "+", "_LEX", combining marks, white space)
// must print the same lines and fail on the same entries.

#include "FormLines.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "FormByForm.h"
#include "TextualGrammar.h"

namespace lexpand {
namespace {

using formbyform::expandFormByForm;
using formbyform::Lines;

// A random entry line. Lemmas and properties are drawn from small sets so
// that shapes repeat and the assembled templates are reused.
std::string randomEntry(std::mt19937& random) {
    static const std::vector<std::string> lemmas = {"table",
                                                    "box",
                                                    "city",
                                                    "x",
                                                    "ab",
                                                    "кошка",
                                                    "e\xCC\x81t\xC3\xA9",
                                                    "a\\,b",
                                                    "wo\"rd",
                                                    "a<b",
                                                    "back\\slash",
                                                    "two words",
                                                    "a+b",
                                                    "caf\xC3\xA9",
                                                    "ZEBRA",
                                                    "_LEX",
                                                    "tab\tle",
                                                    "a:b",
                                                    "\xD0\x81\xD0\xB6",
                                                    "a\vb",
                                                    "q"};
    static const std::vector<std::string> categories = {"N", "N", "N", "ADJ", "V", "Q"};
    static const std::vector<std::string> properties = {"FLX=SG",
                                                        "FLX=PL2",
                                                        "FLX=TYPED",
                                                        "FLX=MARK",
                                                        "FLX=CUT3",
                                                        "FLX=MOVES",
                                                        "FLX=CASE",
                                                        "FLX=WORDS",
                                                        "FLX=SPECIAL",
                                                        "FLX=CALLS",
                                                        "FLX=EXCL",
                                                        "FLX=<B>s",
                                                        "FLX=MISSING",
                                                        "DRV=NESS",
                                                        "DRV=ABLE:SG",
                                                        "DRV=AGAIN:CALLS",
                                                        "DRV=TYPEDD:PL2",
                                                        "DRV=NESS:",
                                                        "m",
                                                        "f",
                                                        "Gender=m",
                                                        "s",
                                                        "Nb=p",
                                                        "Hum",
                                                        "_LEX=\"x\"",
                                                        "Note=\"a+b\"",
                                                        "<br>",
                                                        "Tense=PT",
                                                        "e\xCC\x81",
                                                        "=v",
                                                        "Other=s"};
    std::string entry = lemmas[random() % lemmas.size()];
    entry += ",";
    entry += categories[random() % categories.size()];
    const std::size_t count = random() % 4;
    for (std::size_t i = 0; i < count; ++i) entry += "+" + properties[random() % properties.size()];
    return entry;
}

TEST(EntryLineExpander, PrintsWhatTheFormByFormAssemblyPrints) {
    std::optional<MGFSA> grammar = textualGrammarToMgfsa(formbyform::paradigms, LinguisticLevel::orthographic);
    ASSERT_TRUE(grammar.has_value());
    grammar->determinize();
    const std::optional<PropertiesDefinitions> properties = PropertiesDefinitions::init(formbyform::definitions);
    ASSERT_TRUE(properties.has_value());

    for (const unsigned seed : {1u, 2u, 3u, 4u}) {
        std::mt19937 random(seed);
        EntryLineExpander expander(*properties, *grammar);
        ParadigmCache reference(*grammar);
        for (int i = 0; i < 1500; ++i) {
            const std::string entry = randomEntry(random);
            Lines fast;
            Lines expected;
            const std::optional<std::int64_t> sent = expander.expand(entry, fast);
            const std::optional<std::int64_t> expectedSent = expandFormByForm(entry, *properties, reference, expected);
            ASSERT_EQ(sent, expectedSent) << entry;
            ASSERT_EQ(fast.lines, expected.lines) << entry;
        }
        // Every way ran: the comparison above tested the lines of shapes, and
        // of entries expanded form by form both lines completed from a
        // template and lines assembled whole.
        EXPECT_GT(expander.counts().assembled, 500) << seed;
        EXPECT_GT(expander.counts().formByForm, 50) << seed;
        EXPECT_GT(expander.counts().formsFromTemplates, 5) << seed;
    }
}

// Which way each entry goes: the lines of its shape are completed unless its
// word forms, reverse commands or items could change the assembly.
TEST(EntryLineExpander, GoesFormByFormExactlyWhereTheAssemblyCouldDiffer) {
    std::optional<MGFSA> grammar = textualGrammarToMgfsa(formbyform::paradigms, LinguisticLevel::orthographic);
    ASSERT_TRUE(grammar.has_value());
    grammar->determinize();
    const std::optional<PropertiesDefinitions> properties = PropertiesDefinitions::init(formbyform::definitions);
    ASSERT_TRUE(properties.has_value());
    // Of an entry that goes form by form, the forms that fit a template are
    // still completed from one.
    const struct {
        std::string entry;
        bool assembled;
        std::int64_t formsFromTemplates;
    } rows[] = {
        {"table,N+FLX=SG", true, 0},
        {"table,N+FLX=PL2+DRV=NESS", true, 0},
        {"кошка,N+FLX=MARK", true, 0},
        {"e\xCC\x81t\xC3\xA9,N+FLX=CASE", true, 0}, // combining marks: characters found by the editor
        {"two words,N+FLX=WORDS", true, 0},
        {"a\\,b,N+FLX=SG", false, 0},        // a comma in the word forms
        {"a\vb,N+FLX=SG", false, 0},         // a line terminator in the word forms
        {"wo\"rd,N+FLX=CUT3", false, 0},     // a quote in a reverse command
        {"ba\\ck,N+FLX=CUT3", false, 0},     // a backslash in a reverse command
        {"ab\\k,N+FLX=PL2", false, 2},       // the same in one reverse command of three
        {"x,N+FLX=SG+_LEX=\"x\"", false, 0}, // an item that mentions "_LEX"
    };
    for (const auto& row : rows) {
        EntryLineExpander expander(*properties, *grammar);
        Lines fast;
        Lines expected;
        ParadigmCache reference(*grammar);
        ASSERT_EQ(expander.expand(row.entry, fast), expandFormByForm(row.entry, *properties, reference, expected))
            << row.entry;
        EXPECT_EQ(fast.lines, expected.lines) << row.entry;
        EXPECT_EQ(expander.counts().assembled, row.assembled ? 1 : 0) << row.entry;
        EXPECT_EQ(expander.counts().formByForm, row.assembled ? 0 : 1) << row.entry;
        EXPECT_EQ(expander.counts().formsFromTemplates, row.formsFromTemplates) << row.entry;
    }
}

} // namespace
} // namespace lexpand
