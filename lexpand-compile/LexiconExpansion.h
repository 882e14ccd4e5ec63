// lexpand's expansion of a lexicon, run inside lexpand-compile: the one place
// where the program calls the engine's run sequence.

#ifndef LEXPAND_COMPILE_LEXICONEXPANSION_H
#define LEXPAND_COMPILE_LEXICONEXPANSION_H

#include <optional>
#include <string>

#include "Lexicon.h"
#include "LineSink.h"

namespace lexpand {

// Loads the grammars of the command line and of every dictionary's "#use"
// lines, then the definitions, and expands every dictionary in order, sending
// each line that lexpand would print for it (echoed entries and form lines,
// not the summary) to `sink`. Answers nothing on success, or the message of
// the first failure (lexpand's own wording, without its "*** ").
std::optional<std::string> expandLexicon(const LexiconFiles& files, LineSink& sink);

} // namespace lexpand

#endif // LEXPAND_COMPILE_LEXICONEXPANSION_H
