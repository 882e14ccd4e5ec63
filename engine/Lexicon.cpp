// Exports Lexicon (the inputs of a run loaded in lexpand's order),
// extensionOf and inputKindOf.

#include "Lexicon.h"

#include <filesystem>
#include <future>
#include <new>
#include <system_error>
#include <utility>

#include "FormLines.h"
#include "GrammarFiles.h"
#include "TextServices.h"
#include "TextualGrammar.h"

namespace lexpand {

namespace {

// True when something (a file or a directory) exists at `path`; any error of
// the file system counts as absence.
bool pathExists(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(std::filesystem::path(path), error);
}

LexiconFailure failure(LexiconFailure::Step step, std::string message) {
    return LexiconFailure{step, std::move(message)};
}

bool isRegularFile(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(std::filesystem::path(path), error);
}

} // namespace

// The dictionaries that are regular files, read on a thread of their own
// while the grammars of the command line compile: reading and checking a
// large dictionary takes about as long as compiling a grammar, and neither
// needs the other. Other files (pipes, devices) are read in their turn, as
// they would be without reading ahead: reading one early could wait for its
// writer, or take input that a run failing on a grammar never needed.
class Lexicon::DictionaryReadAhead {
public:
    explicit DictionaryReadAhead(const std::vector<std::string>& paths) : paths_(paths) {
        try {
            reading_ = std::async(std::launch::async, [&paths] { return readRegularFiles(paths); });
        } catch (const std::system_error&) {
            // No thread for it: every dictionary is read in its turn.
        } catch (const std::bad_alloc&) {
        }
    }

    // The text of the dictionary paths[i], as readUtf8File reads it: read
    // ahead, or now. Each i once.
    std::optional<std::string> take(std::size_t i) {
        if (reading_.valid()) read_ = reading_.get();
        if (i < read_.size() && read_[i].readAhead) return std::move(read_[i].text);
        return readUtf8File(paths_[i]);
    }

private:
    struct Read {
        bool readAhead = false;
        std::optional<std::string> text; // absent when the file cannot be read as UTF-8
    };

    static std::vector<Read> readRegularFiles(const std::vector<std::string>& paths) {
        std::vector<Read> read(paths.size());
        for (std::size_t i = 0; i < paths.size(); ++i) {
            if (!isRegularFile(paths[i])) continue;
            read[i].readAhead = true;
            try {
                read[i].text = readUtf8File(paths[i]);
            } catch (const std::bad_alloc&) {
                // The dictionary cannot be loaded, as when it is read in its turn.
            }
        }
        return read;
    }

    const std::vector<std::string>& paths_;
    std::future<std::vector<Read>> reading_; // joined when taken or destroyed
    std::vector<Read> read_;
};

std::string extensionOf(std::string_view argument) {
    while (argument.size() > 1 && argument.back() == '/') argument.remove_suffix(1);
    std::string extension = std::filesystem::path(argument).extension().string();
    if (!extension.empty()) extension.erase(0, 1); // the period
    return extension;
}

std::optional<InputKind> inputKindOf(std::string_view extension) {
    if (extension == "dic" || extension == "DIC") return InputKind::dictionary;
    if (extension == "pdg" || extension == "PDG") return InputKind::grammar;
    if (extension == "def" || extension == "DEF") return InputKind::definitions;
    return std::nullopt;
}

std::optional<std::string> addFileArgument(LexiconFiles& files, const std::string& argument) {
    const std::string extension = extensionOf(argument);
    const std::optional<InputKind> kind = inputKindOf(extension);
    if (!kind) return "Cannot handle file extension type \"" + extension + "\" for argument " + argument;
    if (*kind == InputKind::dictionary) {
        files.dictionaryPaths.push_back(argument);
    } else if (*kind == InputKind::grammar) {
        files.grammarPaths.push_back(argument);
    } else if (files.definitionsPath) {
        return "Can handle only one properties definition .def file";
    } else {
        files.definitionsPath = argument;
    }
    return std::nullopt;
}

std::optional<std::string> incompleteLexicon(const LexiconFiles& files) {
    if (files.dictionaryPaths.empty()) return "Need at least one dictionary .dic file";
    if (!files.definitionsPath) return "Need at least one properties definition .def file";
    return std::nullopt;
}

Lexicon::Lexicon(LexiconFiles files, const LexiconOptions& options) : files_(std::move(files)), options_(options) {}

Lexicon::~Lexicon() = default;

std::optional<LexiconFailure> Lexicon::checkFiles() const {
    constexpr auto missing = LexiconFailure::Step::missingFile;
    for (const std::string& path : files_.dictionaryPaths)
        if (!pathExists(path)) return failure(missing, "*** Cannot find dictionary file " + path);
    for (const std::string& path : files_.grammarPaths)
        if (!pathExists(path)) return failure(missing, "*** Cannot find morphological grammar file " + path);
    if (files_.definitionsPath && !pathExists(*files_.definitionsPath))
        return failure(missing, "*** Cannot find properties definitions file " + *files_.definitionsPath);
    return std::nullopt;
}

std::optional<LexiconFailure> Lexicon::loadGrammarsOfCommandLine() {
    constexpr auto step = LexiconFailure::Step::grammar;
    for (const std::string& path : files_.grammarPaths) {
        const std::optional<MGFSA> grammar = loadGrammarFile(path, options_.grammars);
        if (!grammar) return failure(step, "*** Cannot handle morphological grammar in: " + path);
        // The rule name "Main" is reserved: no grammar of the command line may define it.
        if (grammar->graphs.count("Main") != 0)
            return failure(step, "*** Grammar " + path + " should not contain a rule named \"Main\"");
        if (!paradigms_.mergeWith(*grammar))
            return failure(step, "*** Grammar " + path + " should not contain a rule already defined elsewhere");
        ++grammarsMerged_;
    }
    return std::nullopt;
}

std::optional<LexiconFailure> Lexicon::loadGrammarsOfDictionaries(DictionaryReadAhead& readAhead) {
    constexpr auto step = LexiconFailure::Step::dictionaryGrammars;
    for (const std::string& path : files_.dictionaryPaths) {
        LoadedDictionary dictionary =
            loadDictionaryAndGrammars(path, readAhead.take(dictionaryTexts_.size()), options_.grammars);
        if (!dictionary.grammars.grammar) return failure(step, std::move(dictionary.grammars.errorMessage));
        if (!paradigms_.mergeWith(*dictionary.grammars.grammar))
            return failure(step, "*** Cannot merge grammars used in " + path +
                                     " (a rule is probably defined more than once)");
        dictionaryTexts_.push_back(std::move(dictionary.text));
    }
    return std::nullopt;
}

// Memory that runs out while a step works on a file is a failure of that
// step, in its own words for that file; what the step held is freed by then.
std::optional<LexiconFailure> Lexicon::loadGrammars() {
    DictionaryReadAhead readAhead(files_.dictionaryPaths);
    try {
        if (std::optional<LexiconFailure> failed = loadGrammarsOfCommandLine()) return failed;
    } catch (const std::bad_alloc&) {
        return failure(LexiconFailure::Step::grammar,
                       "*** Cannot handle morphological grammar in: " + files_.grammarPaths[grammarsMerged_]);
    }
    try {
        return loadGrammarsOfDictionaries(readAhead);
    } catch (const std::bad_alloc&) {
        return failure(LexiconFailure::Step::dictionaryGrammars,
                       "Cannot load dictionary " + files_.dictionaryPaths[dictionaryTexts_.size()]);
    }
}

std::optional<LexiconFailure> Lexicon::loadDefinitions() {
    if (!files_.definitionsPath) return std::nullopt;
    try {
        const std::optional<std::string> text = loadGrammar(*files_.definitionsPath);
        if (text) definitions_ = PropertiesDefinitions::init(*text, options_.explore, options_.grammars.compile);
        if (definitions_)
            caches_ = std::make_unique<const EntryLineExpander>(*definitions_, paradigms_, options_.explore);
    } catch (const std::bad_alloc&) {
        definitions_.reset();
    }
    if (!definitions_)
        return failure(LexiconFailure::Step::definitions,
                       "*** Cannot process properties definitions in file " + *files_.definitionsPath);
    return std::nullopt;
}

std::optional<LexiconFailure> Lexicon::load() {
    if (std::optional<LexiconFailure> failed = checkFiles()) return failed;
    if (std::optional<LexiconFailure> failed = loadGrammars()) return failed;
    return loadDefinitions();
}

std::optional<std::int64_t> Lexicon::expandEntryLine(std::string_view line, LineSink& sink) {
    if (!definitions_) return std::nullopt;
    if (!expander_) expander_ = std::make_unique<EntryLineExpander>(*caches_, EntryLineExpander::SharingCaches::with);
    return expander_->expand(line, sink);
}

std::optional<std::int64_t> Lexicon::expandDictionary(std::size_t i, LineSink& sink,
                                                      const ExpansionOptions& options) const {
    if (!definitions_) return std::nullopt;
    return expandDictionaryText(dictionaryTexts_[i], *caches_, sink, options);
}

} // namespace lexpand
