// Grammar files: a morphological grammar file loaded into a determinized
// grammar, and the grammars that a dictionary names with "#use" lines. Both
// the command line and "#use" load a grammar file through loadGrammarFile.

#ifndef LEXPAND_ENGINE_GRAMMARFILES_H
#define LEXPAND_ENGINE_GRAMMARFILES_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "GFSA.h"
#include "MGFSA.h"
#include "TextualGrammar.h"

namespace lexpand {

// A dictionary line that begins with this names a grammar (the rest of the line).
inline constexpr std::string_view grammarReferencePrefix = "#use ";

// The bounds of loading a grammar: each rule's automaton as written, then
// determinized. The defaults are lexpand's limits.
struct GrammarOptions {
    CompileOptions compile;
    DeterminizeOptions determinize;
};

// The grammar file at `path` read, compiled at the orthographic level and
// determinized; absent when the file cannot be read as UTF-8 or a rule does
// not compile, or passes a bound of `options`. Cost: linear in the file, plus
// the automata built (each at most options.compile.maxStates states) and their
// determinization (each at most options.determinize.maxStates states;
// exponential in the rule's size below that bound).
std::optional<MGFSA> loadGrammarFile(const std::string& path, const GrammarOptions& options = {});

struct DictionaryGrammars {
    std::optional<MGFSA> grammar; // every graph of every "#use" grammar, merged
    std::string errorMessage;     // empty on success
};

// Loads and merges the grammars named by the "#use" lines of the dictionary at
// `path`, resolved against the dictionary's directory, each by
// loadGrammarFile with `options`. On failure the grammar is absent and the
// message says why ("Cannot load dictionary ..." when the dictionary itself
// cannot be read). Cost: reading the dictionary, plus loading each grammar.
DictionaryGrammars loadMorphologicalGrammarsFromDictionary(const std::string& path, const GrammarOptions& options = {});

// A dictionary read once (it may be a pipe), with the grammars it names: its
// text then serves the expansion too.
struct LoadedDictionary {
    std::string text; // empty when it cannot be read
    DictionaryGrammars grammars;
};
LoadedDictionary loadDictionaryAndGrammars(const std::string& path, const GrammarOptions& options = {});
// The same for the dictionary at `path` whose text was read already, by
// readUtf8File (absent when it could not be read).
LoadedDictionary loadDictionaryAndGrammars(const std::string& path, std::optional<std::string> text,
                                           const GrammarOptions& options = {});

// Where a dictionary at `dictionaryPath` finds the grammar that a "#use" line
// names `name`: its resource directory (absolute, without a final "/") and
// the grammar's path in it.
struct UsedGrammarPath {
    std::string resourceDirectory;
    std::string path;
};
UsedGrammarPath usedGrammarPath(const std::string& dictionaryPath, const std::string& name);

// The "#use" lines of `text` that name something, in order, as views into it.
// Cost: one search of the text for the prefix.
std::vector<std::string_view> grammarReferenceLines(std::string_view text);

} // namespace lexpand

#endif // LEXPAND_ENGINE_GRAMMARFILES_H
