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
        EntryExpander reference(*grammar);
        for (int i = 0; i < 1500; ++i) {
            const std::string entry = randomEntry(random);
            Lines fast;
            Lines expected;
            const std::optional<std::int64_t> sent = expander.expand(entry, fast);
            const std::optional<std::int64_t> expectedSent = expandFormByForm(entry, *properties, reference, expected);
            ASSERT_EQ(sent, expectedSent) << entry;
            ASSERT_EQ(fast.lines, expected.lines) << entry;
        }
    }
}

} // namespace
} // namespace lexpand
