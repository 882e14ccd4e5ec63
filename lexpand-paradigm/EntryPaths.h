// EntryPaths: the forms of one entry, each with the paradigm path that made
// it, and why an entry fails.

#ifndef LEXPAND_PARADIGM_ENTRYPATHS_H
#define LEXPAND_PARADIGM_ENTRYPATHS_H

#include <memory>
#include <string>
#include <string_view>

#include "Lexicon.h"
#include "LineSink.h"

namespace lexpand {

// Sends to `out` the lines that lexpand prints for the entry line `line`
// (well-formed UTF-8), made form by form by the engine's own steps, each form
// followed by lines that describe its paths, indented by two spaces: the
// graphs that each path went through, its command and its outputs; the
// derivation path, then the inflection path, for a derived form. A form left
// out as inconsistent shows its paths too, after a line that says so. False
// when the entry fails: the lines sent before stay sent, as lexpand's do.
// Cost: one exploration of each paradigm of the entry, whose paths are all
// held while the entry is printed.
bool printEntryWithPaths(const Lexicon& lexicon, std::string_view line, LineSink& out);

// Why entry lines fail, in the words of lexpand-check. Loads the grammars of
// the lexicon's files again, once, on the first call.
class FailureReasons {
public:
    explicit FailureReasons(const Lexicon& lexicon);
    FailureReasons(const FailureReasons&) = delete; // holds a checker tied to its grammars
    FailureReasons& operator=(const FailureReasons&) = delete;
    ~FailureReasons();

    // Why the expansion of `line` fails. Cost: that of expanding the entry
    // form by form; the first call loads and checks every grammar.
    std::string reasonFor(std::string_view line);

private:
    struct State;
    const Lexicon& lexicon_;
    std::unique_ptr<State> state_;
};

} // namespace lexpand

#endif // LEXPAND_PARADIGM_ENTRYPATHS_H
