// Morphology: the operator language of morphological commands, the editor
// that applies a command to a word form and records its reverse, and the
// stateless operations of the layers above it: the inflection and derivation
// of one word form by a paradigm, and the assembly of a form's category and
// properties.
//
// This header is the editor layer: it needs only the tokenizer. The members
// of the upper layers are defined with their layers, in Paradigms.cpp (they
// need the grammar graphs) and PropertyAssembly.cpp (it needs the properties
// definitions); their types are only declared here.

#ifndef LEXPAND_ENGINE_MORPHOLOGY_H
#define LEXPAND_ENGINE_MORPHOLOGY_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lexpand {

struct MGFSA;                 // MGFSA.h
struct ParadigmPath;          // Paradigms.h
struct PropertiesDefinitions; // ALU.h

class Morphology {
public:
    Morphology() = delete; // a namespace of stateless functions

    // ---- Operators --------------------------------------------------------

    // A parsed command token: plain text is (token, 0); "<B>" is ("B", 1),
    // "<BW>" ("B", -1), "<B3>" ("B", 3).
    struct Operator {
        std::string type;
        std::int64_t parameter = 0;
    };

    // The character set that property strings are trimmed of.
    static constexpr std::string_view plusSign = "+";

    // Parses one token (on grapheme clusters). Absent for an operator token
    // without its closing ">", for parameter text that is neither "W" nor a
    // decimal integer that fits, for "<>" and for an empty token.
    static std::optional<Operator> parseMorphologicalOperator(std::string_view token);

    // Appends the canonical token of the operator (type, parameter) to `out`:
    // "<" type, then "W" for -1, nothing for 1, else the decimal count, then
    // ">"; a parameter of 0 is plain text, `type` itself. Every reverse
    // command is written through this function.
    static void appendOperatorText(std::string& out, std::string_view type, std::int64_t parameter);

    // Writes (op, parameter) back as its canonical token and appends it to
    // `commands` (in place); appends nothing for an "E" operator.
    static void appendCommand(std::vector<std::string>& commands, std::string_view op, std::int64_t parameter);

    // Merges adjacent operators of one type, drops "<E>" operators and cancels
    // adjacent "<Rn><Ln>" / "<Ln><Rn>" pairs; a list of fewer than two tokens
    // comes back unchanged, an emptied list as ["<E>"]. Absent when a token
    // does not parse.
    static std::optional<std::vector<std::string>> simplifySuffixCommand(const std::vector<std::string>& commands);

    // ---- Editor -------------------------------------------------------------

    struct EditResult {
        std::string resultingWordForm;
        std::string reverseCommand;             // the tokens below, joined
        std::vector<std::string> reverseTokens; // the simplified reverse list
    };

    // Runs `morphologicalCommand` over `wordForm` like keystrokes, the cursor
    // starting at the end, and records the command that undoes it. Absent when
    // the command cannot be applied or either text is not well-formed UTF-8.
    // Cost: linear in the word form and the command.
    static std::optional<EditResult> applySuffixCommandToWordForm(std::string_view wordForm,
                                                                  std::string_view morphologicalCommand);

    // The same in two steps, so that a command applied to many word forms is
    // tokenized and parsed once: parseCommand is absent exactly when the text
    // is not UTF-8, the tokenizer fails or a token does not parse (then the
    // command applies to no word form), and applyParsedCommand(w,
    // *parseCommand(c)) equals applySuffixCommandToWordForm(w, c) for every
    // well-formed w. applyParsedCommand takes well-formed UTF-8 (a word form of
    // a dictionary read by readUtf8File) and does not check it again.
    static std::optional<std::vector<Operator>> parseCommand(std::string_view morphologicalCommand);
    static std::optional<EditResult> applyParsedCommand(std::string_view wordForm,
                                                        const std::vector<Operator>& command);

    // ---- Inflection and derivation -----------------------------------------

    struct Inflection {
        std::vector<std::string> wordForms;
        std::vector<std::vector<std::string>> inflectionalProperties;
        std::vector<std::string> reverseCommands;
    };

    struct Derivation {
        std::vector<std::string> wordForms;
        std::vector<std::string> categories;
        std::vector<std::vector<std::string>> properties;
        std::vector<std::string> reverseCommands;
    };

    // Every form of `lexicalEntry` by the paradigm graph `inflectionalParadigmName`
    // of `paradigms`, in path order. Absent when the graph cannot be explored,
    // has no path, or a path's command does not apply.
    static std::optional<Inflection> inflect(const std::string& lexicalEntry,
                                             const std::string& inflectionalParadigmName, const MGFSA& paradigms);
    // The same with the paths already explored.
    static std::optional<Inflection> inflect(const std::string& lexicalEntry,
                                             const std::vector<ParadigmPath>& paradigm);

    // Every derived form of `lexicalEntry` by `derivationalParadigmName`, each
    // inflected by `inflectionalParadigmName` unless that name is empty. The
    // reverse command of an inflected derived form undoes the inflection, then
    // the derivation. Absent when anything fails, including a combined reverse
    // command that does not tokenize back into the tokens it was built from.
    static std::optional<Derivation> deriveThenInflect(const std::string& lexicalEntry,
                                                       const std::string& derivationalParadigmName,
                                                       const std::string& inflectionalParadigmName,
                                                       const MGFSA& paradigms);
    // The same with the paths already explored; `inflection` null for none.
    static std::optional<Derivation> deriveThenInflect(const std::string& lexicalEntry,
                                                       const std::vector<ParadigmPath>& derivation,
                                                       const std::vector<ParadigmPath>* inflection);

    // ---- Category and properties -------------------------------------------

    // What addCategoryAndAllProperties answers for a form whose exclusive
    // properties disagree: the form is left out.
    static constexpr std::string_view inconsistentMarker = "*INCONSISTENT*";

    // "CATEGORY+p1+p2..." for one form, or "*INCONSISTENT*" when two exclusive
    // properties disagree; absent when the category is not all upper-case
    // letters. `morphologicalProperties` may be null.
    static std::optional<std::string>
    addCategoryAndAllProperties(std::string_view category, const std::vector<std::string>* morphologicalProperties,
                                const std::vector<std::string>& inflectionalProperties,
                                const PropertiesDefinitions& propertiesDefinitions);
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_MORPHOLOGY_H
