// Grammar files, their rules, and the compiler of rule expressions into
// automata.

#ifndef LEXPAND_ENGINE_TEXTUALGRAMMAR_H
#define LEXPAND_ENGINE_TEXTUALGRAMMAR_H

#include <cstddef>
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

// Compiles every rule of `grammarString` at `linguisticLevel` into one graph of
// a new MGFSA (not determinized); absent when any rule cannot be read or
// compiled. A text without rules gives a grammar without graphs.
std::optional<MGFSA> textualGrammarToMgfsa(std::string_view grammarString, LinguisticLevel linguisticLevel);

// Compiles one expression; absent on any failure (level dictionary, tokenizer
// failure, no token, a rejected label, or an expression nested or chained
// beyond what the compiler handles safely).
std::optional<GFSA> expression2Gfsa(std::string_view expression, LinguisticLevel linguisticLevel);

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
