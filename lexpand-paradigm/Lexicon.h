// The grammars and definitions lexpand-paradigm works on, loaded as lexpand
// loads them, and the expansion of single entry lines. This module is the
// program's only road into the engine's dictionary layer.

#ifndef LEXPAND_PARADIGM_LEXICON_H
#define LEXPAND_PARADIGM_LEXICON_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ALU.h"
#include "MGFSA.h"

namespace lexpand {

class EntryLineExpander;

// The files of a command line, by kind, each list in command-line order.
struct LexiconFiles {
    std::vector<std::string> grammarPaths;    // ".pdg"
    std::vector<std::string> dictionaryPaths; // ".dic": only their "#use" grammars are loaded
    std::optional<std::string> definitionsPath;
};

// What one entry line prints.
struct EntryLines {
    std::vector<std::string> lines; // exactly the lines lexpand prints for it, in order
    bool expanded = false;          // false: the entry failed after `lines`
};

class Lexicon;

// The result of loading: a lexicon, or the message that says why not.
struct LexiconLoad {
    std::unique_ptr<Lexicon> lexicon;
    std::string errorMessage; // empty on success
};

class Lexicon {
public:
    // Loads, in lexpand's order: each grammar (compiled at the orthographic
    // level, determinized, refused when it defines "Main" or a rule already
    // defined, merged), the "#use" grammars of each dictionary, then the
    // definitions, when there are some. The message of a failure is lexpand's
    // for it, without the "*** " prefix. Cost: that of compiling the grammars.
    static LexiconLoad load(const LexiconFiles& files);

    // No grammar, no definitions.
    Lexicon() = default;
    Lexicon(const Lexicon&) = delete; // the expander refers to the grammar in place
    Lexicon& operator=(const Lexicon&) = delete;
    ~Lexicon();

    // Every paradigm graph, merged and determinized.
    const MGFSA& paradigms() const { return paradigms_; }
    bool hasDefinitions() const { return definitions_.has_value(); }

    // What lexpand prints for the entry line `line` of a dictionary, through
    // the same expander; without definitions, a failure. Paradigms explored for one
    // line are kept for the next ones. Cost: that of the entry's paradigms.
    EntryLines expandEntryLine(std::string_view line);

private:
    MGFSA paradigms_{LinguisticLevel::orthographic};
    std::optional<PropertiesDefinitions> definitions_;
    std::unique_ptr<EntryLineExpander> expander_; // made on the first entry
};

// The entry lines of `text` read as lines of a dictionary (split at every
// line break; blank lines, comment lines and "#use" lines left out), as views
// into it; absent when `text` is not UTF-8.
std::optional<std::vector<std::string_view>> entryLinesOf(std::string_view text);

} // namespace lexpand

#endif // LEXPAND_PARADIGM_LEXICON_H
