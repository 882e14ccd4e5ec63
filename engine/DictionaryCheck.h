// Dictionary checks: every entry line of the dictionaries of a run expanded
// as lexpand expands it, each one that fails explained at its line and
// column, and the warnings of those that expand; then the entries given
// twice, and the whole run checked as lexpand would end it.

#ifndef LEXPAND_ENGINE_DICTIONARYCHECK_H
#define LEXPAND_ENGINE_DICTIONARYCHECK_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "ALU.h"
#include "Diagnostics.h"
#include "Lexicon.h"
#include "MGFSA.h"

namespace lexpand {

class GrammarChecker;

class DictionaryChecker {
public:
    // `definitionsComplete` is false when the definitions lack rules that
    // failed: the warnings that depend on them are then left out. Every
    // argument must outlive the checker.
    DictionaryChecker(const PropertiesDefinitions& definitions, bool definitionsComplete, GrammarChecker& grammars,
                      Reporter& reporter, const ExploreOptions& options = {});
    DictionaryChecker(const DictionaryChecker&) = delete; // holds caches tied to one grammar
    DictionaryChecker& operator=(const DictionaryChecker&) = delete;
    ~DictionaryChecker();

    // Checks every entry line of the dictionary text `text` (well-formed
    // UTF-8, named `path`), which must outlive the checker; marks the rules
    // its entries use. Answers how many form lines lexpand prints for the
    // entries that expand. The lines are checked in chunks on as many
    // threads as the process may run on, each with caches of its own, and
    // what they find is reported from the calling thread in text order,
    // until the reporter stops. Cost: that of expanding the dictionary, plus
    // the diagnosis of each failing entry; memory: a few words per entry, for
    // finding entries given twice, and what is found until it is reported.
    std::int64_t check(const std::string& path, std::string_view text);

    // Reports every entry given again (the same canonical entry) in the
    // dictionaries checked, with the place of its first occurrence.
    void reportDuplicates();

    std::int64_t entriesChecked() const;
    // False when a line is no entry: the rules it meant to use are unknown.
    bool everyEntryRead() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

// What checking a whole lexicon found, besides its diagnostics.
struct CheckSummary {
    std::int64_t entries = 0; // entry lines checked
    std::int64_t forms = 0;   // form lines lexpand prints for the entries that expand
    bool stopped = false;     // the sink asked to stop before the end
};

// Adds to `grammars` the grammars that the "#use" lines of the dictionary
// text `text` (of the file at `dictionaryPath`) name, as lexpand finds them.
void addUsedGrammars(GrammarChecker& grammars, const std::string& dictionaryPath, std::string_view text);

// Checks the lexicon of `files` in lexpand's order (grammars of the command
// line, each dictionary's "#use" grammars, the calls between rules, the
// properties definitions, each dictionary), sending every problem to `sink`.
// The files have been classified as lexpand classifies them; a missing file
// is reported like one that cannot be read. Cost: about that of expanding
// the lexicon, without printing it.
CheckSummary checkLexicon(const LexiconFiles& files, DiagnosticSink& sink, const ExploreOptions& options = {});

} // namespace lexpand

#endif // LEXPAND_ENGINE_DICTIONARYCHECK_H
