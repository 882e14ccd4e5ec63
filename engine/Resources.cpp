// Exports loadMorphologicalGrammarsFromDictionary (the "#use" grammars of a
// dictionary) and inflectAndDeriveDictionary (a whole dictionary into lines).

#include "Resources.h"

#include <cstddef>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "Dictionary.h"
#include "Morphology.h"
#include "TextServices.h"
#include "TextualGrammar.h"

namespace lexpand {
namespace {

constexpr std::string_view grammarReferencePrefix = "#use ";

// The directory that holds the dictionary at `dictionaryPath`, as an absolute
// path without a final "/" (except for the root itself). "." components are
// left out; ".." components are kept, since removing them is only right when
// no symbolic link is involved.
std::string resourceDirectoryOf(const std::string& dictionaryPath) {
    std::error_code error;
    std::filesystem::path absolutePath = std::filesystem::absolute(dictionaryPath, error);
    if (error) absolutePath = dictionaryPath; // no current directory: keep what was given
    std::filesystem::path directory;
    for (const std::filesystem::path& component : absolutePath.parent_path()) {
        if (component != "." && !component.empty()) directory /= component;
    }
    std::string text = directory.string();
    while (text.size() > 1 && text.back() == '/') text.pop_back();
    return text;
}

// `name` appended to `directory` as one more path component. Plain
// concatenation, so that a name beginning with "/" still stays below the
// directory.
std::string appendPathComponent(const std::string& directory, const std::string& name) {
    if (directory.empty()) return name;
    if (directory.back() == '/') return directory + name;
    return directory + "/" + name;
}

DictionaryGrammars refusal(std::string message) {
    return DictionaryGrammars{std::nullopt, std::move(message)};
}

// True for a line that the expansion passes over: an empty line, or one that
// begins with "#" in its first column (the "#use " lines that loadDictionary
// keeps; it drops every other line that begins with "#").
bool isSkippedLine(std::string_view line) {
    return line.empty() || line.front() == '#';
}

// The lines of `text` that begin with "#use " and name something, in order:
// the significant lines that name grammars, found by searching for the prefix at the start
// of a line rather than by splitting every line.
std::vector<std::string_view> grammarReferenceLines(std::string_view text) {
    std::vector<std::string_view> lines;
    for (std::size_t found = text.find(grammarReferencePrefix); found != std::string_view::npos;
         found = text.find(grammarReferencePrefix, found + 1)) {
        if (!startsLine(text, found)) continue;
        const std::string_view line = firstLine(text.substr(found));
        // A line of nothing but "#use" and white space is a comment.
        if (trimWhiteSpaceAndNewlines(line).starts_with(grammarReferencePrefix)) lines.push_back(line);
    }
    return lines;
}

} // namespace

DictionaryGrammars loadMorphologicalGrammarsFromDictionary(const std::string& path) {
    MGFSA accumulated(LinguisticLevel::orthographic);
    const std::optional<std::string> text = readUtf8File(path);
    if (!text) return refusal("Cannot load dictionary " + path);

    std::optional<std::string> resourceDirectory; // computed on the first "#use" line
    for (const std::string_view line : grammarReferenceLines(*text)) {
        if (!resourceDirectory) resourceDirectory = resourceDirectoryOf(path);
        // The name is kept exactly as written, inner and trailing spaces included.
        const std::string name(line.substr(grammarReferencePrefix.size()));
        const std::string grammarPath = appendPathComponent(*resourceDirectory, name);

        const std::optional<std::string> grammarText = loadGrammar(grammarPath);
        std::optional<MGFSA> grammar;
        if (grammarText) grammar = textualGrammarToMgfsa(*grammarText, LinguisticLevel::orthographic);
        // A grammar past the bounds of determinization does not compile either.
        if (grammar && !grammar->determinize()) grammar.reset();
        if (!grammar) {
            return refusal("Cannot handle morphological grammar in: " + name + " in resource directory " +
                           *resourceDirectory);
        }
        if (!accumulated.mergeWith(*grammar)) {
            return refusal("Cannot merge morphological grammar in: " + name + " in resource directory " +
                           *resourceDirectory);
        }
    }
    return DictionaryGrammars{std::move(accumulated), std::string()};
}

std::optional<std::int64_t> inflectAndDeriveDictionary(const std::string& dictionaryPath,
                                                       const PropertiesDefinitions& propertiesDefinitions,
                                                       const MGFSA& morphologicalParadigms, LineSink& sink) {
    const std::optional<std::string> text = readUtf8File(dictionaryPath);
    if (!text) return std::nullopt;

    // Paradigms are compiled and explored once for the whole dictionary, and
    // the lines of each entry shape assembled once.
    EntryLineExpander expander(propertiesDefinitions, morphologicalParadigms);
    std::int64_t count = 0;
    for (const std::string_view line : significantLines(*text)) {
        if (isSkippedLine(line)) continue; // comments, and the "#use " lines
        const std::optional<std::int64_t> sent = expander.expand(line, sink);
        if (!sent) return std::nullopt;
        count += *sent;
    }
    return count;
}

} // namespace lexpand
