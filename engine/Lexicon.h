// Lexicon: the grammars and the properties definitions of a run, loaded in
// lexpand's order, and the dictionaries' texts, each read once. Every program
// of the family loads its inputs through this class, so that each refuses the
// same inputs with the same words.

#ifndef LEXPAND_ENGINE_LEXICON_H
#define LEXPAND_ENGINE_LEXICON_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ALU.h"
#include "DictionaryExpansion.h"
#include "GrammarFiles.h"
#include "LineSink.h"
#include "MGFSA.h"

namespace lexpand {

class EntryLineExpander;

// The input files of a run, by kind, each list in command-line order.
struct LexiconFiles {
    std::vector<std::string> dictionaryPaths; // ".dic"
    std::vector<std::string> grammarPaths;    // ".pdg"
    std::optional<std::string> definitionsPath;
};

// The extension of the last path component of `argument`, without its period:
// "b.txt" gives "txt"; "README", ".dic", "a." and "a.b/c" give "". Trailing
// "/" separators do not make a component of their own, so "x.dic/" names the
// component "x.dic" (whose existence test then asks for a directory).
std::string extensionOf(std::string_view argument);

// The kind of input file an extension names: "dic"/"DIC", "pdg"/"PDG" and
// "def"/"DEF" exactly; absent for any other.
enum class InputKind { dictionary, grammar, definitions };
std::optional<InputKind> inputKindOf(std::string_view extension);

// Adds the command-line argument `argument` to `files`, as the kind of file
// its extension names. Absent when it was added; otherwise why it cannot be,
// in lexpand's words without its "*** ": "Cannot handle file extension type
// "EXT" for argument ARG", or "Can handle only one properties definition .def
// file" for a second ".def".
std::optional<std::string> addFileArgument(LexiconFiles& files, const std::string& argument);

// Why `files` are not a lexicon to expand, in lexpand's words without its
// "*** ": "Need at least one dictionary .dic file", or "Need at least one
// properties definition .def file"; absent when they are one.
std::optional<std::string> incompleteLexicon(const LexiconFiles& files);

// Why a lexicon cannot be loaded: the step that failed, and the line that
// lexpand prints for it ("*** " included where lexpand writes it).
struct LexiconFailure {
    enum class Step {
        missingFile,        // a named file does not exist
        grammar,            // a grammar of the command line
        dictionaryGrammars, // the "#use" grammars of a dictionary
        definitions,        // the properties definitions
    };
    Step step;
    std::string message;
};

// The bounds of loading a lexicon and of expanding its entry lines. The
// defaults are lexpand's limits.
struct LexiconOptions {
    // Each grammar of the command line and of "#use", its rules compiled and
    // determinized on every processor; the definitions' compilation.
    GrammarOptions grammars{.compile = {.threads = 0}, .determinize = {.threads = 0}};
    ExploreOptions explore; // the enumeration of the definitions, and each paradigm the lexicon expands
};

class Lexicon {
public:
    explicit Lexicon(LexiconFiles files, const LexiconOptions& options = {});
    Lexicon(const Lexicon&) = delete; // expanders refer to the grammar in place
    Lexicon& operator=(const Lexicon&) = delete;
    ~Lexicon();

    // The steps of loading, in this order; each answers the failure that
    // ends the run, if any. checkFiles tests that every named file exists
    // (dictionaries, then grammars, then the definitions). loadGrammars reads,
    // compiles, determinizes and merges each grammar of the command line (one
    // that defines "Main" or a rule defined before is refused), then reads
    // each dictionary once and merges the grammars it names with "#use".
    // loadDefinitions reads the properties definitions and sets up the caches
    // of explored paradigms and assembled shapes. Memory that runs out
    // is a failure of the step, for the file it was working on, and so is a
    // bound of the options that is passed. Cost: linear in the files, plus
    // the compilation and determinization of the grammars and the
    // enumeration of the definitions, each bounded by the options.
    std::optional<LexiconFailure> checkFiles() const;
    std::optional<LexiconFailure> loadGrammars();
    std::optional<LexiconFailure> loadDefinitions();

    // The three steps in order; the first failure ends them.
    std::optional<LexiconFailure> load();

    // Every paradigm graph, merged and determinized.
    const MGFSA& paradigms() const { return paradigms_; }
    // Present once loadDefinitions succeeded.
    const std::optional<PropertiesDefinitions>& definitions() const { return definitions_; }
    const LexiconFiles& files() const { return files_; }
    // The texts of the dictionaries, in command-line order, once loadGrammars
    // succeeded (it reads them, since a dictionary may be a pipe).
    const std::vector<std::string>& dictionaryTexts() const { return dictionaryTexts_; }

    // Sends to `sink` what lexpand prints for the entry line `line` (well-formed
    // UTF-8) and answers how many form lines it sent; absent when the entry
    // fails (lines sent stay sent) or the definitions are not loaded. Not for
    // several threads at once. Cost: that of the entry's paradigms.
    std::optional<std::int64_t> expandEntryLine(std::string_view line, LineSink& sink);

    // Expands dictionaryTexts()[i] as expandDictionaryText does (the
    // lexicon's own bounds of exploration apply, not options.explore);
    // absent when an entry fails or the definitions are not loaded. Safe to
    // call from several threads, and beside expandEntryLine: both share the
    // paradigms explored and the shapes assembled, kept from call to call.
    std::optional<std::int64_t> expandDictionary(std::size_t i, LineSink& sink,
                                                 const ExpansionOptions& options = {}) const;

private:
    class DictionaryReadAhead;
    std::optional<LexiconFailure> loadGrammarsOfCommandLine();
    std::optional<LexiconFailure> loadGrammarsOfDictionaries(DictionaryReadAhead& readAhead);

    LexiconFiles files_;
    const LexiconOptions options_;
    std::size_t grammarsMerged_ = 0; // grammars of the command line merged so far
    MGFSA paradigms_{LinguisticLevel::orthographic};
    std::optional<PropertiesDefinitions> definitions_;
    std::vector<std::string> dictionaryTexts_;
    std::unique_ptr<const EntryLineExpander> caches_; // made by loadDefinitions
    std::unique_ptr<EntryLineExpander> expander_;     // of entry lines, made on the first
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_LEXICON_H
