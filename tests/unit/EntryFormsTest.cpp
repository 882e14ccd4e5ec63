// Tests of the forms that inflectAndDerive generates for one entry
// (inflection, derivation, property lists, reverse commands).

#include "EntryForms.h"

#include <gtest/gtest.h>

#include "TextualGrammar.h"

namespace lexpand {
namespace {

MGFSA compiledGrammar(const std::string& text) {
    std::optional<MGFSA> grammar = textualGrammarToMgfsa(text, LinguisticLevel::orthographic);
    EXPECT_TRUE(grammar.has_value()) << text;
    if (!grammar) return MGFSA();
    grammar->determinize();
    return *grammar;
}

struct Form {
    std::string wordForm;
    std::string category;
    std::vector<std::string> properties;
    bool operator==(const Form&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Form& form) {
    out << form.wordForm << "," << form.category;
    for (const std::string& property : form.properties) out << " [" << property << "]";
    return out;
}

std::optional<std::vector<Form>> formsOf(const std::string& entry, const MGFSA& grammar) {
    const std::optional<ALU> alu = ALU::init(entry, nullptr);
    EXPECT_TRUE(alu.has_value()) << entry;
    if (!alu) return std::nullopt;
    const std::optional<EntryForms> forms = inflectAndDerive(*alu, grammar);
    if (!forms) return std::nullopt;
    std::vector<Form> result;
    for (std::size_t i = 0; i < forms->wordForms.size(); ++i)
        result.push_back({forms->wordForms[i], forms->categories[i], forms->properties[i]});
    return result;
}

const char* const grammarText = R"(
NOUN = <E>/s | s/p ;
VERB = <E>/INF | s/PR3S ;
ADJ  = <E>/POS | er/COMP ;
ABLE = able/ADJ ;
NESS = ness/N+Abstract ;
X:Y  = er/N ;
UN   = <LW>un<RW>/ADJ+Neg ;
CUT  = <B2>x/N ;
)";

TEST(InflectAndDerive, GeneratesEveryForm) {
    const MGFSA grammar = compiledGrammar(grammarText);
    const struct {
        std::string entry;
        std::vector<Form> forms;
    } rows[] = {
        {"table,N+FLX=NOUN",
         {{"table", "N", {"FLX=NOUN", "_LEX=\"<E>\"", "s"}}, {"tables", "N", {"FLX=NOUN", "_LEX=\"<B>\"", "p"}}}},
        // An expression in place of a paradigm name.
        {"sheep,N+FLX=<E>/s|<E>/p",
         {{"sheep", "N", {"FLX=<E>/s|<E>/p", "_LEX=\"<E>\"", "s"}},
          {"sheep", "N", {"FLX=<E>/s|<E>/p", "_LEX=\"<E>\"", "p"}}}},
        {"x,N+FLX=:NOUN",
         {{"x", "N", {"FLX=:NOUN", "_LEX=\"<E>\"", "s"}}, {"xs", "N", {"FLX=:NOUN", "_LEX=\"<B>\"", "p"}}}},
        // A property that the entry and a path both give occurs once; every
        // paradigm value of the entry is listed on every form, and the values
        // are used in their sorted order.
        {"x,N+s+Hum+FLX=NOUN+FLX=<E>/p",
         {{"x", "N", {"FLX=<E>/p", "FLX=NOUN", "Hum", "_LEX=\"<E>\"", "p", "s"}},
          {"x", "N", {"FLX=<E>/p", "FLX=NOUN", "Hum", "_LEX=\"<E>\"", "s"}},
          {"xs", "N", {"FLX=<E>/p", "FLX=NOUN", "Hum", "_LEX=\"<B>\"", "p", "s"}}}},
        // Derivation without inflection, changing the category.
        {"read,V+FLX=VERB+DRV=ABLE:",
         {{"read", "V", {"DRV=ABLE:", "FLX=VERB", "INF", "_LEX=\"<E>\""}},
          {"reads", "V", {"DRV=ABLE:", "FLX=VERB", "PR3S", "_LEX=\"<B>\""}},
          {"readable", "ADJ", {"DRV=ABLE:", "FLX=VERB", "InitialCategory=V", "_LEX=\"<B4>\""}}}},
        // "A:B:C": derivational graph "A:B", inflectional graph "C"; the
        // reverse commands of inflection and derivation are merged.
        {"teach,V+DRV=X:Y:NOUN",
         {{"teacher", "N", {"DRV=X:Y:NOUN", "InitialCategory=V", "_LEX=\"<B2>\"", "s"}},
          {"teachers", "N", {"DRV=X:Y:NOUN", "InitialCategory=V", "_LEX=\"<B3>\"", "p"}}}},
        // A value without ":" is inflected by the first inflectional value.
        {"kind,ADJ+FLX=ADJ+DRV=NESS",
         {{"kind", "ADJ", {"DRV=NESS", "FLX=ADJ", "POS", "_LEX=\"<E>\""}},
          {"kinder", "ADJ", {"COMP", "DRV=NESS", "FLX=ADJ", "_LEX=\"<B2>\""}},
          {"kindness", "N", {"Abstract", "DRV=NESS", "FLX=ADJ", "InitialCategory=ADJ", "POS", "_LEX=\"<B4>\""}},
          {"kindnesser", "N", {"Abstract", "COMP", "DRV=NESS", "FLX=ADJ", "InitialCategory=ADJ", "_LEX=\"<B6>\""}}}},
        // Same category: no "InitialCategory="; the derivation's reverse
        // moves the cursor back over the prefix.
        {"kind,ADJ+DRV=UN:", {{"unkind", "ADJ", {"DRV=UN:", "Neg", "_LEX=\"<L4><B2><R4>\""}}}},
        // Without inflection a reverse holding white space is kept as it is.
        {"a b,N+DRV=CUT:", {{"ax", "N", {"DRV=CUT:", "_LEX=\"<B> b\""}}}},
        {"ok,ADV", {}},
    };
    for (const auto& row : rows) {
        const std::optional<std::vector<Form>> forms = formsOf(row.entry, grammar);
        ASSERT_TRUE(forms.has_value()) << row.entry;
        EXPECT_EQ(*forms, row.forms) << row.entry;
    }
}

TEST(InflectAndDerive, FailsTheWholeEntry) {
    const MGFSA grammar = compiledGrammar(grammarText);
    const char* const entries[] = {
        "x,N+FLX=MISSING",           // no such graph
        "x,N+FLX=<B9>",              // the command does not apply
        "x,N+FLX=\\a",               // the expression does not compile
        "x,N+FLX=NOUN+DRV=MISSING:", // no such derivation
        "x,N+DRV=ABLE",              // a derivation to inflect, but no inflectional value
        "x,N+FLX=<E>/s+DRV=ABLE",    // the first inflectional value is not a graph name
        "a b,N+DRV=CUT:NOUN",        // the merged reverse command loses its white space
    };
    for (const char* entry : entries) EXPECT_EQ(formsOf(entry, grammar), std::nullopt) << entry;
}

TEST(InflectAndDerive, LeavesTheGrammarUnchanged) {
    const MGFSA grammar = compiledGrammar(grammarText);
    const std::size_t labels = grammar.alphabet.array.size();
    ASSERT_TRUE(formsOf("x,N+FLX=<E>/z", grammar).has_value());
    EXPECT_EQ(grammar.alphabet.array.size(), labels);
    EXPECT_EQ(grammar.graphs.count("_Main"), 0u);
}

TEST(InflectAndDerive, ExpanderAgreesWithSingleEntries) {
    // Cached explorations must not leak from one entry into the next.
    const MGFSA grammar = compiledGrammar(grammarText);
    ParadigmCache cache(grammar);
    const char* const entries[] = {"table,N+FLX=NOUN", "x,N+FLX=MISSING",           "sheep,N+FLX=<E>/s|<E>/p",
                                   "table,N+FLX=NOUN", "kind,ADJ+FLX=ADJ+DRV=NESS", "x,N+FLX=<E>/s+DRV=ABLE"};
    for (const char* entry : entries) {
        const std::optional<ALU> alu = ALU::init(entry, nullptr);
        ASSERT_TRUE(alu.has_value()) << entry;
        const std::optional<EntryParadigms> paradigms = cache.paradigmsOf(*alu);
        const std::optional<EntryForms> cached = paradigms ? inflectAndDerive(*alu, *paradigms) : std::nullopt;
        const std::optional<EntryForms> fresh = inflectAndDerive(*alu, grammar);
        ASSERT_EQ(cached.has_value(), fresh.has_value()) << entry;
        if (cached) {
            EXPECT_EQ(cached->wordForms, fresh->wordForms) << entry;
            EXPECT_EQ(cached->properties, fresh->properties) << entry;
        }
    }
}

} // namespace
} // namespace lexpand
