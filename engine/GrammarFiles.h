// Grammar files: a morphological grammar file loaded into a determinized
// grammar, and the grammars that a dictionary names with "#use" lines. Both
// the command line and "#use" load a grammar file through loadGrammarFile.

#ifndef LEXPAND_ENGINE_GRAMMARFILES_H
#define LEXPAND_ENGINE_GRAMMARFILES_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MGFSA.h"

namespace lexpand {

// A dictionary line that begins with this names a grammar (the rest of the line).
inline constexpr std::string_view grammarReferencePrefix = "#use ";

// The grammar file at `path` read, compiled at the orthographic level and
// determinized; absent when the file cannot be read as UTF-8 or a rule does
// not compile. Cost: linear in the file, plus determinization (bounded).
std::optional<MGFSA> loadGrammarFile(const std::string& path);

struct DictionaryGrammars {
    std::optional<MGFSA> grammar; // every graph of every "#use" grammar, merged
    std::string errorMessage;     // empty on success
};

// Loads and merges the grammars named by the "#use" lines of the dictionary at
// `path`, resolved against the dictionary's directory. On failure the grammar
// is absent and the message says why ("Cannot load dictionary ..." when the
// dictionary itself cannot be read).
DictionaryGrammars loadMorphologicalGrammarsFromDictionary(const std::string& path);

// A dictionary read once (it may be a pipe), with the grammars it names: its
// text then serves the expansion too.
struct LoadedDictionary {
    std::string text; // empty when it cannot be read
    DictionaryGrammars grammars;
};
LoadedDictionary loadDictionaryAndGrammars(const std::string& path);

// The "#use" lines of `text` that name something, in order, as views into it.
// Cost: one search of the text for the prefix.
std::vector<std::string_view> grammarReferenceLines(std::string_view text);

} // namespace lexpand

#endif // LEXPAND_ENGINE_GRAMMARFILES_H
