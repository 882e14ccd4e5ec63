// Lexical entries: the entry syntax, the parsed entry ALU and its canonical
// text, the properties definitions, and the normalisation of properties.

#ifndef LEXPAND_ENGINE_ALU_H
#define LEXPAND_ENGINE_ALU_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "MGFSA.h"
#include "TextServices.h"
#include "TextualGrammar.h"

namespace lexpand {

// The parsed ".def" file.
struct PropertiesDefinitions {
    // category -> property name -> allowed values (in enumeration order).
    // Inner maps are visited in ascending order of property names, which
    // decides between two properties of one category that list the same value.
    std::map<std::string, std::map<std::string, std::vector<std::string>>, std::less<>> categoryProperties;
    std::vector<std::string> exclusivePropertyNames;
    std::vector<std::string> morphologicalPropertyNames;
    // For each category of categoryProperties, the canonical (NFC) form of
    // every value it lists, with the first name that lists it: a property
    // written without its name is found in one step. init() builds it; while
    // it is empty (definitions assembled by hand), categoryProperties is
    // searched instead.
    std::map<std::string, std::unordered_map<std::string, std::string, TextHash, std::equal_to<>>> propertyNameOfValue;
    // The canonical (NFC) forms of exclusivePropertyNames and of
    // morphologicalPropertyNames, built by init() like propertyNameOfValue;
    // while one is empty, its list is searched instead. Change the lists only
    // in definitions assembled by hand.
    std::unordered_set<std::string, TextHash, std::equal_to<>> exclusiveNameIndex;
    std::unordered_set<std::string, TextHash, std::equal_to<>> morphologicalNameIndex;

    // True when `name` is canonically equivalent to a name of
    // exclusivePropertyNames (of morphologicalPropertyNames). Cost: one hash
    // look-up and the NFC form of a name not in NFC; with an empty index, a
    // comparison with every name of the list.
    bool isExclusivePropertyName(std::string_view name) const;
    bool isMorphologicalPropertyName(std::string_view name) const;

    // Compiles `grammarString` at level propertyDefinition and enumerates every
    // rule. Absent when the text does not compile, a rule name is neither
    // "EXCLUSIVEPROPERTIES", "MORPHOLOGICALPROPERTIES" nor holds a "_", or a
    // rule cannot be enumerated (an undefined reference, for instance). The
    // options bound the compilation of each rule and the enumeration of each
    // rule, which explores its paths at level syntax (a rule without calls or
    // loops is enumerated directly, in at most the steps its exploration
    // would count). Cost: that of compiling the text, plus that of exploring
    // each rule; with the default options, the paths of a rule that calls
    // others can be exponentially many in its size, and are absent past
    // explore.maxPaths.
    static std::optional<PropertiesDefinitions> init(std::string_view grammarString, const ExploreOptions& explore = {},
                                                     const CompileOptions& compile = {});
};

// The value first seen for each exclusive property name of one form, names
// and values compared by canonical equivalence. Cost of a record: a
// comparison with each name seen, up to 16 names; past them, one hash
// look-up of the NFC forms.
class ExclusiveValues {
public:
    enum class Outcome { fresh, repeated, contradicted };

    // Records `value` for `name` when the name is new; otherwise tells
    // whether the value is the one recorded.
    Outcome record(std::string_view name, std::string_view value);
    void clear();

private:
    std::vector<std::pair<std::string, std::string>> few_;
    std::unordered_map<std::string, std::string> many_; // NFC name -> NFC value, once past `few_`
};

// A lexical entry or a generated form.
struct ALU {
    std::string entry;
    std::string category;
    std::vector<std::string> lexicalProperties;
    std::vector<std::string> morphologicalProperties;
    std::vector<std::string> flxParadigms;
    std::vector<std::string> drvParadigms;

    // Parses one entry line; absent when it is not an entry. The definitions
    // (null for none) classify and normalise the properties.
    static std::optional<ALU> init(std::string_view lexeme, const PropertiesDefinitions* propertiesDefinitions);

    // The canonical text: entry, ",", category, then "+" and each lexical
    // property, "+FLX=" and each flxParadigm, "+DRV=" and each drvParadigm,
    // "+" and each morphological property.
    std::string description() const;
};

// The three parts of an entry line.
struct Lexeme {
    std::string entry;
    std::string category;
    std::string properties; // empty, or "+" followed by at least one character
};

// Matches the entry syntax "(([^,]|\\,)+),([A-Z]+)(\+.+$)?" in `lexeme`;
// absent unless there is exactly one match.
std::optional<Lexeme> parseLexeme(std::string_view lexeme);

// The same parts as views into `lexeme`, without copying them.
struct LexemeView {
    std::string_view entry;
    std::string_view category;
    std::string_view properties;
};
std::optional<LexemeView> parseLexemeView(std::string_view lexeme);

// Cuts "+a+b..." into its items (quoted, bracketed and backslash-protected
// "+" do not cut). Duplicates are dropped (the first stays); when `sort` is
// true the items are sorted. An empty string gives no item; absent when the
// string does not begin with "+" or ends inside a quoted or bracketed part or
// right after a backslash.
std::optional<std::vector<std::string>> splitProperties(std::string_view propertiesString, bool sort);

// Where `propertiesString` (beginning with "+") stops splitting: the offset
// of the double quote or "<" whose part is never closed, or of a final
// backslash; absent when it splits or does not begin with "+".
std::optional<std::size_t> propertiesSplitFailure(std::string_view propertiesString);

struct LexicalInformation {
    std::string category;
    std::vector<std::string> properties;
};

// Joins the strings; the first item is the category, the rest (duplicates
// dropped, sorted) the properties. Absent when the joined text is empty,
// begins with "+" or does not split.
std::optional<LexicalInformation> splitLexicalInformation(const std::vector<std::string>& categoryAndPropertiesStrings);

struct NormalizedProperty {
    std::string name; // empty when no name is written or known
    std::string value;
};

// The canonical (name, value) of one property item of an entry of `category`.
// `propertiesDefinitions` may be null.
NormalizedProperty normalize(std::string_view category, std::string_view property,
                             const PropertiesDefinitions* propertiesDefinitions);

struct ClassifiedProperties {
    std::vector<std::string> lexProperties;
    std::vector<std::string> morphoProperties;
    std::vector<std::string> flxParadigms;
    std::vector<std::string> drvParadigms;
};

// Sorts property items into the four lists of an ALU, each sorted ascending.
// `propertiesDefinitions` may be null.
ClassifiedProperties parseProperties(std::string_view category, const std::vector<std::string>& properties,
                                     const PropertiesDefinitions* propertiesDefinitions);

} // namespace lexpand

#endif // LEXPAND_ENGINE_ALU_H
