// Exports Lexicon (grammars and definitions loaded as lexpand loads them, and
// the expansion of one entry line) and entryLinesOf.

#include "Lexicon.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "Dictionary.h"
#include "FormLines.h"
#include "Resources.h"
#include "TextServices.h"
#include "TextualGrammar.h"

namespace lexpand {
namespace {

// True when something exists at `path`; an error of the file system counts
// as absence.
bool pathExists(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(std::filesystem::path(path), error);
}

// The message for the first file of `files` that does not exist, checked in
// lexpand's order: dictionaries, grammars, then the definitions.
std::optional<std::string> missingFile(const LexiconFiles& files) {
    for (const std::string& path : files.dictionaryPaths)
        if (!pathExists(path)) return "Cannot find dictionary file " + path;
    for (const std::string& path : files.grammarPaths)
        if (!pathExists(path)) return "Cannot find morphological grammar file " + path;
    if (files.definitionsPath && !pathExists(*files.definitionsPath))
        return "Cannot find properties definitions file " + *files.definitionsPath;
    return std::nullopt;
}

// Loads, compiles, determinizes and merges one grammar into `paradigms`.
std::optional<std::string> mergeGrammar(MGFSA& paradigms, const std::string& path) {
    const std::optional<std::string> text = loadGrammar(path);
    std::optional<MGFSA> grammar;
    if (text) grammar = textualGrammarToMgfsa(*text, LinguisticLevel::orthographic);
    if (!grammar) return "Cannot handle morphological grammar in: " + path;
    grammar->determinize();
    if (grammar->graphs.count("Main") != 0) return "Grammar " + path + " should not contain a rule named \"Main\"";
    if (!paradigms.mergeWith(*grammar)) {
        return "Grammar " + path + " should not contain a rule already defined elsewhere";
    }
    return std::nullopt;
}

// Merges the grammars that the dictionary at `path` names with "#use".
std::optional<std::string> mergeDictionaryGrammars(MGFSA& paradigms, const std::string& path) {
    const DictionaryGrammars used = loadMorphologicalGrammarsFromDictionary(path);
    if (!used.grammar) return used.errorMessage;
    if (!paradigms.mergeWith(*used.grammar)) {
        return "Cannot merge grammars used in " + path + " (a rule is probably defined more than once)";
    }
    return std::nullopt;
}

// Collects the lines an expander sends.
class LineCollector final : public LineSink {
public:
    explicit LineCollector(std::vector<std::string>& lines) : lines_(lines) {}
    void printLine(std::string_view line) override { lines_.emplace_back(line); }

private:
    std::vector<std::string>& lines_;
};

} // namespace

LexiconLoad Lexicon::load(const LexiconFiles& files) {
    if (std::optional<std::string> message = missingFile(files)) return {nullptr, std::move(*message)};
    auto lexicon = std::make_unique<Lexicon>();
    for (const std::string& path : files.grammarPaths) {
        if (std::optional<std::string> message = mergeGrammar(lexicon->paradigms_, path))
            return {nullptr, std::move(*message)};
    }
    for (const std::string& path : files.dictionaryPaths) {
        if (std::optional<std::string> message = mergeDictionaryGrammars(lexicon->paradigms_, path))
            return {nullptr, std::move(*message)};
    }
    if (files.definitionsPath) {
        const std::optional<std::string> text = loadGrammar(*files.definitionsPath);
        if (text) lexicon->definitions_ = PropertiesDefinitions::init(*text);
        if (!lexicon->definitions_)
            return {nullptr, "Cannot process properties definitions in file " + *files.definitionsPath};
    }
    return {std::move(lexicon), std::string()};
}

Lexicon::~Lexicon() = default;

EntryLines Lexicon::expandEntryLine(std::string_view line) {
    if (!definitions_) return EntryLines{}; // entries cannot be read without them
    if (!expander_) expander_ = std::make_unique<EntryLineExpander>(*definitions_, paradigms_);
    EntryLines result;
    LineCollector collector(result.lines);
    result.expanded = expander_->expand(line, collector).has_value();
    return result;
}

std::optional<std::vector<std::string_view>> entryLinesOf(std::string_view text) {
    if (!isValidUtf8(text)) return std::nullopt;
    std::vector<std::string_view> lines;
    // An empty line or one that begins with "#" is passed over by the
    // expansion of a dictionary too ("#use" lines among them).
    for (const std::string_view line : significantLines(text))
        if (!line.empty() && line.front() != '#') lines.push_back(line);
    return lines;
}

} // namespace lexpand
