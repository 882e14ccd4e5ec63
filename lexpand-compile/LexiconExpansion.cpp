// Exports expandLexicon: a lexicon loaded and expanded with the engine,
// exactly in lexpand's order.

#include "LexiconExpansion.h"

namespace lexpand {

std::optional<std::string> expandLexicon(const LexiconFiles& files, LineSink& sink) {
    Lexicon lexicon(files);
    if (const std::optional<LexiconFailure> failure = lexicon.load()) {
        std::string message = failure->message;
        if (message.starts_with("*** ")) message.erase(0, 4);
        return message;
    }
    for (std::size_t i = 0; i < lexicon.dictionaryTexts().size(); ++i) {
        if (!lexicon.expandDictionary(i, sink)) return "Cannot inflect/derive dictionary " + files.dictionaryPaths[i];
    }
    return std::nullopt;
}

} // namespace lexpand
