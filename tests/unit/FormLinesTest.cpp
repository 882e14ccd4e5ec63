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

#include "ALU.h"
#include "Dictionary.h"
#include "Morphology.h"
#include "TextualGrammar.h"

namespace lexpand {
namespace {

const char* const paradigms = R"(
SG     = <E>/Nb=s | s/p ;
PL2    = <E>/s | <B2>en/p+Irr | <B>ies/p ;
TYPED  = <E>/s | ab/p | <B><B>c/p | <E><B>é/s ;
MARK   = <E>/s | <B>é/p | ́/s ;
CUT3   = <B3>/s | <B3>xyz/p ;
MOVES  = <E>/s | <L><B>ee<R>/p | <L2><D><R2>/p ;
CASE   = <E>/s | <LW><C><RW>/p ;
WORDS  = <E>/s | <PW>s/p | <P><B>/p ;
SPECIAL = <E>/s | \"/p | \</p | a b/p ;
CALLS  = :SG | :PL2 ;
EXCL   = <E>/s | s/p+s | s/Nb=p+Nb=s ;
NESS   = ness/N+Abs | <B>ity/N+Abs+p ;
ABLE   = able/ADJ ;
AGAIN  = re<B>/V+Iter ;
TYPEDD = <B2>\//N ;
)";

const char* const definitions = R"(
N_Nb = s | p ;
N_Gender = m | f ;
N_Other = s ;
ADJ_Degree = POS | CMP ;
V_Tense = PR | PT ;
MORPHOLOGICALPROPERTIES = Nb | Tense | Degree ;
EXCLUSIVEPROPERTIES = Nb | Gender | Tense ;
)";

// Collects the printed lines.
class Lines final : public LineSink {
public:
    void printLine(std::string_view line) override { lines.emplace_back(line); }
    std::vector<std::string> lines;
};

// What one entry line prints, assembled form by form from the public steps:
// the entry parsed, every form generated, each form's properties assembled,
// the assembled line parsed again and written canonically.
std::optional<std::int64_t> expandFormByForm(std::string_view line, const PropertiesDefinitions& definitions,
                                             EntryExpander& expander, LineSink& sink) {
    const std::optional<ALU> entry = ALU::init(line, &definitions);
    if (!entry) return std::nullopt;
    if (entry->flxParadigms.empty()) sink.printLine(line);
    const std::optional<EntryForms> forms = expander.inflectAndDerive(*entry);
    if (!forms) return std::nullopt;
    std::int64_t count = 0;
    for (std::size_t i = 0; i < forms->wordForms.size(); ++i) {
        const std::optional<std::string> assembled = Morphology::addCategoryAndAllProperties(
            forms->categories[i], &entry->morphologicalProperties, forms->properties[i], definitions);
        if (!assembled) return std::nullopt;
        if (*assembled == "*INCONSISTENT*") continue;
        const std::optional<ALU> form = ALU::init(forms->wordForms[i] + "," + *assembled, &definitions);
        if (!form) return std::nullopt;
        sink.printLine(form->description());
        ++count;
    }
    return count;
}

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
    std::optional<MGFSA> grammar = textualGrammarToMgfsa(paradigms, LinguisticLevel::orthographic);
    ASSERT_TRUE(grammar.has_value());
    grammar->determinize();
    const std::optional<PropertiesDefinitions> properties = PropertiesDefinitions::init(definitions);
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
