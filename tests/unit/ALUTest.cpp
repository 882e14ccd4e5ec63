// Tests of lexical entries: the entry syntax and its matcher, property items,
// normalisation and classification, the canonical text of an ALU, and the
// properties definitions compiled from a ".def" text.

#include "ALU.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "MGFSA.h"
#include "StringUtilities.h"
#include "TextualGrammar.h"

namespace lexpand {
namespace {

constexpr std::string_view entryExpression = "(([^,]|\\\\,)+),([A-Z]+)(\\+.+$)?";

std::string dump(const std::optional<Lexeme>& lexeme) {
    if (!lexeme) return "absent";
    return "[" + lexeme->entry + "][" + lexeme->category + "][" + lexeme->properties + "]";
}

std::string dump(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) text += "[" + item + "]";
    return text;
}

std::string dump(const std::optional<std::vector<std::string>>& items) {
    return items ? dump(*items) : "absent";
}

std::string dump(const std::optional<ALU>& alu) {
    return alu ? alu->description() : "absent";
}

// The entry syntax read through the general regular-expression utility: four
// texts are an entry without properties, five one with properties.
std::optional<Lexeme> parseLexemeByRegex(std::string_view line) {
    const auto texts = parseParenthesedPattern(line, entryExpression);
    if (!texts) return std::nullopt;
    if (texts->size() == 4) return Lexeme{(*texts)[1], (*texts)[3], ""};
    if (texts->size() == 5) return Lexeme{(*texts)[1], (*texts)[3], (*texts)[4]};
    return std::nullopt;
}

// Definitions as the ".def" text "N_Gender = m | f ; N_Nb = s | p ;
// N_Type = m ; V_Tense = PR | PT ; MORPHOLOGICALPROPERTIES = Gender | Nb |
// Tense ; EXCLUSIVEPROPERTIES = Nb ;" gives them.
PropertiesDefinitions sampleDefinitions() {
    PropertiesDefinitions definitions;
    definitions.categoryProperties["N"]["Type"] = {"m"};
    definitions.categoryProperties["N"]["Gender"] = {"m", "f"};
    definitions.categoryProperties["N"]["Nb"] = {"s", "p"};
    definitions.categoryProperties["V"]["Tense"] = {"PR", "PT"};
    definitions.morphologicalPropertyNames = {"Gender", "Nb", "Tense"};
    definitions.exclusivePropertyNames = {"Nb"};
    return definitions;
}

TEST(ParseLexeme, EntrySyntax) {
    const struct {
        std::string line;
        std::string expected;
    } rows[] = {
        {"table,N+FLX=TABLE+Conc", "[table][N][+FLX=TABLE+Conc]"},
        {"a\\,b,N", "[a\\,b][N][]"},
        {"form,lemma,N", "[lemma][N][]"},     // text before the leftmost match is dropped
        {"table,Noun+FLX=X", "[table][N][]"}, // text after the category is ignored
        {"table,N+", "[table][N][]"},         // "+" alone is no properties group
        {"abc,N x,V", "absent"},              // a second match
        {"table,n", "absent"},
        {"a\\,B,N", "[a\\][B][]"},        // the backslash is first tried as a lemma character
        {"table,N+a\nb", "[table][N][]"}, // "." stops at a line break
        {"ta\nble,N", "[ta\nble][N][]"},  // the lemma may hold one
    };
    for (const auto& row : rows) {
        EXPECT_EQ(dump(parseLexeme(row.line)), row.expected) << "line: " << row.line;
        EXPECT_EQ(dump(parseLexemeByRegex(row.line)), row.expected) << "regex, line: " << row.line;
    }
}

TEST(ParseLexeme, AgreesWithRegularExpressionOnRandomLines) {
    const std::vector<std::string> pieces = {
        "a",
        "b",
        "ta",
        "N",
        "V",
        "AB",
        "n",
        ",",
        ",",
        "\\",
        "\\,",
        "+",
        "+",
        "=",
        " ",
        "\"",
        "<",
        ">",
        "\n",
        "\r",
        "\r\n",
        "\v",
        "\f",
        "\t",
        std::string(1, '\0'),
        "\xC2\x85",
        "\xE2\x80\xA8",
        "\xE2\x80\xA9", // U+0085, U+2028, U+2029
        "\xC3\xA9",
        "e\xCC\x81",
        "\xE6\x97\xA5",
        "\xF0\x9F\x98\x80", // é, e + U+0301, 日, an emoji
        ",N",
        ",AB+",
        "x,V",
        "+Hum",
        "\\,N",
        ",\xC3\x89",
        "\xFF",
        "\xE2\x80", // malformed bytes
    };
    std::mt19937 random(20240611);
    std::uniform_int_distribution<std::size_t> pieceCount(0, 12);
    std::uniform_int_distribution<std::size_t> pieceIndex(0, pieces.size() - 1);
    std::size_t entries = 0;
    for (int i = 0; i < 20000; ++i) {
        std::string line;
        for (std::size_t n = pieceCount(random); n > 0; --n) line += pieces[pieceIndex(random)];
        const auto expected = parseLexemeByRegex(line);
        ASSERT_EQ(dump(parseLexeme(line)), dump(expected)) << "line: " << line;
        entries += expected.has_value();
    }
    EXPECT_GT(entries, 2000u); // the lines exercise both outcomes
}

TEST(SplitProperties, Items) {
    const struct {
        std::string text;
        bool sort;
        std::string expected;
    } rows[] = {
        {"", true, ""},
        {"FLX=A", true, "absent"},
        {"+Gloss=\"salt+pepper\"+Hum", false, "[Gloss=\"salt+pepper\"][Hum]"},
        {"+b+a+b", false, "[b][a]"},
        {"+a++b+", true, "[][a][b]"},
        {"+Gloss=\"a+b", false, "absent"}, // unclosed quote
        {"+x=<a+b>+y", false, "[x=<a+b>][y]"},
        {"+x=<a+b", false, "absent"},            // unclosed bracket
        {"+x=<\"+y>+z", false, "[x=<\"+y>][z]"}, // a quote inside brackets is plain
        {"+x=\"<\"+y", false, "[x=\"<\"][y]"},   // a bracket inside quotes is plain
        {"+a\\+b+c", false, "[a\\+b][c]"},
        {"+a\\", false, "absent"}, // ends right after a backslash
        {"+q=\"a\\\"+b\"+c", false, "[q=\"a\\\"+b\"][c]"},
        {"+q=<a\\>+b>+c", false, "[q=<a\\>+b>][c]"},
        {"+b+Z+a+_x+1", true, "[1][Z][_x][a][b]"},
        {"+\xC3\xA9+e\xCC\x81", false, "[\xC3\xA9]"}, // canonically equal: the first stays
        {"+\\\xC3\xA9+x", false, "[\\\xC3\xA9][x]"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(dump(splitProperties(row.text, row.sort)), row.expected)
            << "properties: " << row.text << " sort: " << row.sort;
    }
}

TEST(SplitProperties, ManyItemsKeepFirstOfEqualOnes) {
    // 40 distinct items in a scrambled order, then all of them again reversed.
    std::vector<std::string> expected;
    for (int i = 1; i <= 40; ++i) expected.push_back("p" + std::to_string(i * 17 % 41));
    std::string text;
    for (const std::string& item : expected) text += "+" + item;
    for (auto item = expected.rbegin(); item != expected.rend(); ++item) text += "+" + *item;
    EXPECT_EQ(dump(splitProperties(text, false)), dump(expected)) << "properties: " << text;
}

TEST(SplitLexicalInformation, CategoryAndProperties) {
    const struct {
        std::vector<std::string> strings;
        std::string expected; // category, then the properties
    } rows[] = {
        {{"N", "+Nb=p", "+Nb=p"}, "N:[Nb=p]"},
        {{"+Nb=p"}, "absent"},
        {{}, "absent"},
        {{"V", "+b+a", "+Tr"}, "V:[Tr][a][b]"},
        {{"A", "DJ+x"}, "ADJ:[x]"},
        {{"N+G=\"x", "+y\""}, "N:[G=\"x+y\"]"},
        {{"N+G=\"x"}, "absent"},
        {{"N+N"}, "N:"}, // the repeated item is dropped before the category is taken
    };
    for (const auto& row : rows) {
        const auto information = splitLexicalInformation(row.strings);
        const std::string actual = information ? information->category + ":" + dump(information->properties) : "absent";
        EXPECT_EQ(actual, row.expected) << "strings: " << dump(row.strings);
    }
}

TEST(Normalize, NameAndValue) {
    const PropertiesDefinitions definitions = sampleDefinitions();
    const struct {
        std::string category;
        std::string property;
        const PropertiesDefinitions* definitions;
        std::string expected; // name "|" value
    } rows[] = {
        {"N", "s", &definitions, "Nb|s"},
        {"N", "m", &definitions, "Gender|m"}, // listed by Gender and Type: the first name wins
        {"N", "x", &definitions, "|x"},
        {"V", "s", &definitions, "|s"},
        {"ADJ", "s", &definitions, "|s"},
        {"N", "s", nullptr, "|s"},
        {"N", "Gender=x", &definitions, "Gender|x"}, // a written name is not checked
        {"N", "=m", &definitions, "|m"},
        {"N", "a=b=c", &definitions, "a|b=c"},
        {"V", "pr", &definitions, "|pr"}, // values are case-sensitive
    };
    for (const auto& row : rows) {
        const NormalizedProperty normalized = normalize(row.category, row.property, row.definitions);
        EXPECT_EQ(normalized.name + "|" + normalized.value, row.expected)
            << "category: " << row.category << " property: " << row.property;
    }
}

TEST(Normalize, ValuesCompareCanonically) {
    PropertiesDefinitions definitions;
    definitions.categoryProperties["N"]["Case"] = {"\xC3\xA9"}; // é
    const NormalizedProperty normalized = normalize("N", "e\xCC\x81", &definitions);
    EXPECT_EQ(normalized.name, "Case");
    EXPECT_EQ(normalized.value, "e\xCC\x81"); // kept as written
}

TEST(ParseProperties, FourLists) {
    const PropertiesDefinitions definitions = sampleDefinitions();
    PropertiesDefinitions noMorphologicalNames = sampleDefinitions();
    noMorphologicalNames.morphologicalPropertyNames.clear();
    PropertiesDefinitions emptyNameIsMorphological = sampleDefinitions();
    emptyNameIsMorphological.morphologicalPropertyNames.push_back("");
    const struct {
        std::string category;
        std::vector<std::string> items;
        const PropertiesDefinitions* definitions;
        std::string expected; // lex / morpho / flx / drv
    } rows[] = {
        {"N", {"Hum", "FLX=TABLE", "Nb=p"}, nullptr, "[Hum][Nb=p]//[TABLE]/"},
        {"N", {"p", "Conc"}, &definitions, "[Conc]/[Nb=p]//"},
        {"V", {"p", "Conc"}, &definitions, "[Conc][p]///"},
        {"N", {"FLX="}, &definitions, "//[]/"},
        {"N", {"Nb=p", "p"}, &definitions, "/[Nb=p]//"},      // written and bare collapse
        {"N", {"=m", "m"}, &definitions, "[m]/[Gender=m]//"}, // "=m" has no name
        {"N", {"flx=X", "drv=Y"}, &definitions, "[drv=Y][flx=X]///"},
        {"N", {"DRV=B", "DRV=A", "FLX=Z", "FLX=Y"}, &definitions, "//[Y][Z]/[A][B]"},
        {"N", {"FLX=A", "FLX=A"}, &definitions, "//[A][A]/"}, // paradigms are not made unique here
        {"N", {"p"}, &noMorphologicalNames, "[Nb=p]///"},
        {"N", {"x", "=y"}, &emptyNameIsMorphological, "[x][y]///"},
        {"N", {"\xC3\xA9", "e\xCC\x81"}, nullptr, "[\xC3\xA9]///"}, // canonically equal: the first stays
    };
    for (const auto& row : rows) {
        const ClassifiedProperties lists = parseProperties(row.category, row.items, row.definitions);
        EXPECT_EQ(dump(lists.lexProperties) + "/" + dump(lists.morphoProperties) + "/" + dump(lists.flxParadigms) +
                      "/" + dump(lists.drvParadigms),
                  row.expected)
            << "category: " << row.category << " items: " << dump(row.items);
    }
}

TEST(ALU, CanonicalText) {
    const PropertiesDefinitions definitions = sampleDefinitions();
    PropertiesDefinitions nbOnly;
    nbOnly.morphologicalPropertyNames = {"Nb"};
    const struct {
        std::string line;
        const PropertiesDefinitions* definitions;
        std::string expected;
    } rows[] = {
        {"table,N+FLX=TABLE+Conc", nullptr, "table,N+Conc+FLX=TABLE"},
        {"eat,V+DRV=ABLE+FLX=EAT+Tr", nullptr, "eat,V+Tr+FLX=EAT+DRV=ABLE"},
        {"tables,N+Nb=p+Conc", &nbOnly, "tables,N+Conc+Nb=p"},
        {"table,N+FLX=TABLE+m", &definitions, "table,N+FLX=TABLE+Gender=m"},
        {"tables,N+_LEX=\"<B>\"+FLX=NOUN+p", &definitions, "tables,N+_LEX=\"<B>\"+FLX=NOUN+Nb=p"},
        {"x,N+Hum+Hum", nullptr, "x,N+Hum"},
        {"x,N+FLX=A+FLX=A", nullptr, "x,N+FLX=A"},
        {"x,N+Gender=m+m", &definitions, "x,N+Gender=m"},
        {"table,N+", nullptr, "table,N"},
        {"table,N++", nullptr, "table,N+"},
        {"table,N+Gloss=\"a+b\"", nullptr, "table,N+Gloss=\"a+b\""},
        {"table,N+x<", nullptr, "absent"},
        {"table", nullptr, "absent"},
        {"b,XYZ+b+a+FLX=B+DRV=D+FLX=A", nullptr, "b,XYZ+a+b+FLX=A+FLX=B+DRV=D"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(dump(ALU::init(row.line, row.definitions)), row.expected) << "line: " << row.line;
    }
}

// ---- Properties definitions (compiled from ".def" texts) -----------------

std::string dump(const std::optional<PropertiesDefinitions>& definitions) {
    if (!definitions) return "absent";
    std::string text;
    for (const auto& [category, properties] : definitions->categoryProperties) {
        for (const auto& [name, values] : properties) text += category + "_" + name + ":" + dump(values) + " ";
    }
    return text + "X:" + dump(definitions->exclusivePropertyNames) +
           " M:" + dump(definitions->morphologicalPropertyNames);
}

TEST(PropertiesDefinitions, FromText) {
    const struct {
        std::string text;
        std::string expected;
    } rows[] = {
        {"N_Gender = m | f ;\nN_Number = s | p ;\nV_Tense = PR | PT ;\n"
         "MORPHOLOGICALPROPERTIES = Gender | Number | Tense ;\nEXCLUSIVEPROPERTIES = Gender | Number | Tense ;\n",
         "N_Gender:[m][f] N_Number:[s][p] V_Tense:[PR][PT] X:[Gender][Number][Tense] M:[Gender][Number][Tense]"},
        {"", "X: M:"},
        {"N_Sub_Type = a | b ;", "N_Sub_Type:[a][b] X: M:"},
        {"_Gender = m ;", "_Gender:[m] X: M:"},
        {"Gender = m | f ;", "absent"},
        {"MorphologicalProperties = Gender ;", "absent"},
        {"N_Gender = m | f ;\nN_All = :N_Gender | n ;", "N_All:[m][f][n] N_Gender:[m][f] X: M:"},
        {"N_Gloss = big cat ;", "N_Gloss:[big cat] X: M:"},
        {"N_A = :N_Missing ;", "absent"}, // refers to an undefined rule
        {"N_A = ;", "absent"},            // an empty expression
    };
    for (const auto& row : rows) {
        EXPECT_EQ(dump(PropertiesDefinitions::init(row.text)), row.expected) << "text: " << row.text;
    }
}

// A rule lists the inputs that exploring it gives, in the same order, for
// random rules: nested alternatives, sequences, outputs, the empty word,
// calls and loops (the last two explored, the others enumerated directly).
TEST(PropertiesDefinitions, ListWhatExploringEachRuleGives) {
    std::mt19937 random(2024);
    const std::vector<std::string> atoms = {"a", "b", "cc", "<E>", "d/o", ":N_Base", "a*", "e f"};
    std::function<std::string(int)> expression = [&](int depth) {
        std::string text;
        const int alternatives = 1 + static_cast<int>(random() % 6);
        for (int i = 0; i < alternatives; ++i) {
            if (i > 0) text += " | ";
            const int factors = 1 + static_cast<int>(random() % 2);
            for (int f = 0; f < factors; ++f) {
                if (f > 0) text += " ";
                if (depth > 0 && random() % 3 == 0)
                    text += "( " + expression(depth - 1) + " )";
                else
                    text += atoms[random() % (random() % 4 == 0 ? atoms.size() : 4)];
            }
        }
        return text;
    };
    for (int round = 0; round < 300; ++round) {
        const std::string text = "N_Base = x | y z ;\nN_Test = " + expression(3) + " ;\n";
        const std::optional<MGFSA> grammar = textualGrammarToMgfsa(text, LinguisticLevel::propertyDefinition);
        ASSERT_TRUE(grammar) << text;
        const std::optional<ExplorationResult> explored = grammar->explore("N_Test", LinguisticLevel::syntax, 1);
        const std::optional<PropertiesDefinitions> definitions = PropertiesDefinitions::init(text);
        ASSERT_EQ(definitions.has_value(), explored.has_value()) << text;
        if (!explored) continue;
        EXPECT_EQ(dump(definitions->categoryProperties.at("N").at("Test")), dump(explored->input)) << text;
    }
}

// The options bound both ways of enumerating a rule: directly (a rule
// without calls or loops) and by exploring it (the paths of the called rule
// count too: 2 + 2 here), and the compilation of every rule.
TEST(PropertiesDefinitions, TheOptionsBoundEveryRule) {
    const struct {
        std::string text;
        std::size_t pathsNeeded;
    } rows[] = {{"N_Nb = s | p ;", 2}, {"N_Base = x | y ;\nN_Test = :N_Base z ;", 4}};
    for (const auto& row : rows) {
        EXPECT_TRUE(PropertiesDefinitions::init(row.text, ExploreOptions{.maxPaths = row.pathsNeeded})) << row.text;
        EXPECT_FALSE(PropertiesDefinitions::init(row.text, ExploreOptions{.maxPaths = row.pathsNeeded - 1}))
            << row.text;
        EXPECT_FALSE(PropertiesDefinitions::init(row.text, ExploreOptions{.maxSteps = 1})) << row.text;
        EXPECT_FALSE(PropertiesDefinitions::init(row.text, {}, CompileOptions{.maxStates = 1})) << row.text;
    }
}

TEST(PropertiesDefinitions, NameListsCompareCanonically) {
    const std::string composed = "Cas\xC3\xA9", decomposed = "Case\xCC\x81";
    const auto compiled = PropertiesDefinitions::init("EXCLUSIVEPROPERTIES = " + composed +
                                                      " | Nb ;\nMORPHOLOGICALPROPERTIES = " + decomposed + " ;\n");
    ASSERT_TRUE(compiled);
    PropertiesDefinitions byHand;
    byHand.exclusivePropertyNames = compiled->exclusivePropertyNames;
    byHand.morphologicalPropertyNames = compiled->morphologicalPropertyNames;
    for (const PropertiesDefinitions* definitions : {&*compiled, static_cast<const PropertiesDefinitions*>(&byHand)}) {
        for (const std::string& name : {composed, decomposed}) {
            EXPECT_TRUE(definitions->isExclusivePropertyName(name));
            EXPECT_TRUE(definitions->isMorphologicalPropertyName(name));
        }
        EXPECT_TRUE(definitions->isExclusivePropertyName("Nb"));
        EXPECT_FALSE(definitions->isMorphologicalPropertyName("Nb"));
        EXPECT_FALSE(definitions->isExclusivePropertyName("Cas"));
    }
}

// Long random sequences of names and values, with canonically equivalent
// spellings: the outcomes are those of comparing with every pair seen.
TEST(ExclusiveValues, AgreesWithComparingEveryPair) {
    const std::vector<std::string> spellings = {"e\xCC\x81", "\xC3\xA9", "a"};
    std::mt19937 random(77);
    for (int round = 0; round < 50; ++round) {
        ExclusiveValues values;
        std::vector<std::pair<std::string, std::string>> seen;
        for (int i = 0; i < 60; ++i) {
            const std::string name = "N" + std::to_string(random() % 30) + spellings[random() % 2];
            const std::string value = spellings[random() % 3];
            auto expected = ExclusiveValues::Outcome::fresh;
            const auto same = std::find_if(seen.begin(), seen.end(),
                                           [&](const auto& pair) { return canonicallyEqual(pair.first, name); });
            if (same == seen.end())
                seen.emplace_back(name, value);
            else
                expected = canonicallyEqual(same->second, value) ? ExclusiveValues::Outcome::repeated
                                                                 : ExclusiveValues::Outcome::contradicted;
            ASSERT_EQ(values.record(name, value), expected) << "round " << round << ", record " << i;
        }
    }
}

TEST(PropertiesDefinitions, DrivesNormalisation) {
    const auto definitions =
        PropertiesDefinitions::init("N_Nb = s | p ;\nN_Kind = p ;\nMORPHOLOGICALPROPERTIES = Nb ;\n");
    ASSERT_TRUE(definitions);
    // "p" is listed by Kind and Nb: Kind sorts first.
    EXPECT_EQ(dump(ALU::init("tables,N+FLX=NOUN+s+p", &*definitions)), "tables,N+Kind=p+FLX=NOUN+Nb=s");
}

} // namespace
} // namespace lexpand
