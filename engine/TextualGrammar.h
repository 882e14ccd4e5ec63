// Grammar files, their rules, and the compiler of rule expressions into
// automata.

#ifndef LEXPAND_ENGINE_TEXTUALGRAMMAR_H
#define LEXPAND_ENGINE_TEXTUALGRAMMAR_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Alphabet.h"
#include "GFSA.h"
#include "MGFSA.h"
#include "Tokenizers.h"

namespace lexpand {

// The whole text of the grammar file at `path` (byte-order mark removed), or
// absent when it does not exist or is not UTF-8.
std::optional<std::string> loadGrammar(const std::string& path);

// One rule as read from a grammar text.
struct GrammarRule {
    std::string ruleName;
    std::string ruleBody;
    std::size_t nextLineIndex = 0; // the line after the last line the rule used
};

// Reads the rule that starts at line `iLine` of `lines` (the non-empty pieces
// of the text); absent when it is malformed: no "=", a space in the name, text
// other than a comment after the ";", or no ";" before the end of the text.
std::optional<GrammarRule> getOneRule(const std::vector<std::string_view>& lines, std::size_t iLine);

// What getOneRule reads, with where each part comes from, or why the rule is
// malformed. Places are (index into `lines`, byte offset into that line).
struct RuleReading {
    enum class Fault { none, noEqualSign, spaceInName, textAfterSemicolon, noSemicolon };
    struct Place {
        std::size_t line = 0;
        std::size_t offset = 0;
    };
    std::optional<GrammarRule> rule; // present exactly when fault is none
    Fault fault = Fault::none;
    std::string name;         // the text before "=", trimmed (empty without "=")
    Place namePlace;          // where the name (or the line without "=") begins
    Place faultPlace;         // textAfterSemicolon: where that text begins
    std::string faultText;    // textAfterSemicolon: that text
    std::size_t resumeAt = 0; // where the next rule may begin, also after a fault

    // The place of byte `offset` of the rule's body. Cost: logarithmic in
    // the number of lines the rule spans.
    Place placeOfBodyOffset(std::size_t offset) const;

    // Where each piece of the gathered text comes from: a piece begins at
    // `gatheredOffset` (first the text after "=", then each following line,
    // after the space that joins it) and at `place` in the source.
    struct Piece {
        std::size_t gatheredOffset = 0;
        Place place;
    };
    std::vector<Piece> pieces;
    std::size_t bodyStart = 0; // the offset of the body in the gathered text
};

// Reads like getOneRule (which calls it), and also says where and why.
// Cost: linear in the lines the rule spans.
RuleReading readOneRule(const std::vector<std::string_view>& lines, std::size_t iLine);

// The largest automaton an expression may compile to, in states: the size of
// its automaton is known from its parse, before anything is built. Each "&"
// about doubles it, so this bounds what chains of "&" cost.
inline constexpr std::uint64_t maximalExpressionStates = std::uint64_t{1} << 21;

// The bound of compiling an expression. The default is lexpand's limit; a
// caller that must bound its time and memory more tightly (a fuzz target, an
// interactive tool) passes a smaller one. Values above maximalExpressionStates
// count as maximalExpressionStates.
struct CompileOptions {
    std::uint64_t maxStates = maximalExpressionStates; // states of one rule's automaton as written
    unsigned threads = 1;                              // rules of a grammar compiled at once; 0: one per processor
};

// Compiles every rule of `grammarString` at `linguisticLevel` into one graph of
// a new MGFSA (not determinized); absent when any rule cannot be read or
// compiled, or compiles to more than options.maxStates states. A text without
// rules gives a grammar without graphs. Cost: linear in the text plus the
// automata built, each at most options.maxStates states.
std::optional<MGFSA> textualGrammarToMgfsa(std::string_view grammarString, LinguisticLevel linguisticLevel,
                                           const CompileOptions& options = {});

// Compiles one expression; absent on any failure (level dictionary, tokenizer
// failure, no token, a rejected label, an automaton of more than
// options.maxStates states, or an expression nested or chained beyond what the
// compiler handles safely).
std::optional<GFSA> expression2Gfsa(std::string_view expression, LinguisticLevel linguisticLevel,
                                    const CompileOptions& options = {});

// Why an expression does not compile, with the offset (in the expression) of
// the token or character at fault.
struct ExpressionFault {
    enum class Kind { dictionaryLevel, badEscape, empty, rejectedLabel, rejectedOutput, endsEarly, tooLarge };
    Kind kind = Kind::empty;
    std::size_t offset = 0;
    std::string token; // the token at fault (badEscape: the character)
};

// A part of an expression that lexpand reads otherwise than it looks: a
// parenthesis without its partner, a token skipped as if it were ")", an
// expression that ends with "|" or "&" (the closing ")" is then read as a
// label).
struct ExpressionRemark {
    enum class Kind { unbalancedClosing, unbalancedOpening, skippedToken, danglingOperator };
    Kind kind = Kind::skippedToken;
    std::size_t offset = 0;
    std::string token;
};

struct CompiledExpression {
    std::optional<GFSA> gfsa;              // what expression2Gfsa answers
    std::optional<ExpressionFault> fault;  // present exactly when gfsa is absent
    std::vector<ExpressionRemark> remarks; // at most one, when gfsa is present
};

// Compiles `expression` exactly as expression2Gfsa does, and says why it
// fails or what it reads otherwise than it looks (tooLarge: past
// options.maxStates). Cost: that of expression2Gfsa, plus one pass over the
// tokens.
CompiledExpression compileExpression(std::string_view expression, LinguisticLevel linguisticLevel,
                                     const CompileOptions& options = {});

// The recursive-descent parse functions: each parses one construct starting at
// `tokenIndex` and answers the automaton and the index of the first token it
// did not consume, or absent.
struct ParseResult {
    GFSA gfsa;
    std::size_t nextTokenIndex = 0;
};
std::optional<ParseResult> expression2GFSA(const TokenList& tokensToParse, std::size_t tokenIndex,
                                           LinguisticLevel linguisticLevel);
std::optional<ParseResult> ParseTerm(const TokenList& tokensToParse, std::size_t tokenIndex,
                                     LinguisticLevel linguisticLevel);
std::optional<ParseResult> ParseFactor(const TokenList& tokensToParse, std::size_t tokenIndex,
                                       LinguisticLevel linguisticLevel);

} // namespace lexpand

#endif // LEXPAND_ENGINE_TEXTUALGRAMMAR_H
