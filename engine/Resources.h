// The grammars that a dictionary names with "#use", and the expansion of a
// whole dictionary into its printed lines.

#ifndef LEXPAND_ENGINE_RESOURCES_H
#define LEXPAND_ENGINE_RESOURCES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ALU.h"
#include "FormLines.h"
#include "MGFSA.h"

namespace lexpand {

struct DictionaryGrammars {
    std::optional<MGFSA> grammar; // every graph of every "#use" grammar, merged
    std::string errorMessage;     // empty on success
};

// Loads, compiles, determinizes and merges the grammars named by the "#use"
// lines of the dictionary at `path`, resolved against the dictionary's
// directory. On failure the grammar is absent and the message says why.
DictionaryGrammars loadMorphologicalGrammarsFromDictionary(const std::string& path);

// Expands the dictionary at `dictionaryPath`: echoes entries without an
// inflectional paradigm, sends one canonical line per generated form to
// `sink`, and answers how many form lines it sent. Absent when the dictionary
// cannot be read or one of its entries cannot be processed (lines already
// sent stay sent).
std::optional<std::int64_t> inflectAndDeriveDictionary(const std::string& dictionaryPath,
                                                       const PropertiesDefinitions& propertiesDefinitions,
                                                       const MGFSA& morphologicalParadigms, LineSink& sink);

} // namespace lexpand

#endif // LEXPAND_ENGINE_RESOURCES_H
