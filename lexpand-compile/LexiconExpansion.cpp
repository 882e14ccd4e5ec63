// Exports expandLexicon: grammars, definitions and dictionaries loaded and
// expanded with the engine, exactly in lexpand's order.

#include "LexiconExpansion.h"

#include "ALU.h"
#include "MGFSA.h"
#include "Resources.h"
#include "TextualGrammar.h"

namespace lexpand {

std::optional<std::string> expandLexicon(const LexiconFiles& files, LineSink& sink) {
    MGFSA paradigms(LinguisticLevel::orthographic);
    for (const std::string& path : files.grammars) {
        const std::optional<std::string> text = loadGrammar(path);
        std::optional<MGFSA> grammar;
        if (text) grammar = textualGrammarToMgfsa(*text, LinguisticLevel::orthographic);
        if (!grammar) return "Cannot handle morphological grammar in: " + path;
        grammar->determinize();
        if (grammar->graphs.count("Main") != 0) return "Grammar " + path + " should not contain a rule named \"Main\"";
        if (!paradigms.mergeWith(*grammar))
            return "Grammar " + path + " should not contain a rule already defined elsewhere";
    }
    for (const std::string& path : files.dictionaries) {
        const DictionaryGrammars used = loadMorphologicalGrammarsFromDictionary(path);
        if (!used.grammar) return used.errorMessage;
        if (!paradigms.mergeWith(*used.grammar))
            return "Cannot merge grammars used in " + path + " (a rule is probably defined more than once)";
    }
    const std::optional<std::string> definitionsText = loadGrammar(files.definitions);
    std::optional<PropertiesDefinitions> definitions;
    if (definitionsText) definitions = PropertiesDefinitions::init(*definitionsText);
    if (!definitions) return "Cannot process properties definitions in file " + files.definitions;
    for (const std::string& path : files.dictionaries) {
        if (!inflectAndDeriveDictionary(path, *definitions, paradigms, sink))
            return "Cannot inflect/derive dictionary " + path;
    }
    return std::nullopt;
}

} // namespace lexpand
