// Exports loadGrammarFile, loadMorphologicalGrammarsFromDictionary,
// loadDictionaryAndGrammars, grammarReferenceLines and usedGrammarPath.

#include "GrammarFiles.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "TextServices.h"
#include "TextualGrammar.h"

namespace lexpand {

namespace {

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

} // namespace

UsedGrammarPath usedGrammarPath(const std::string& dictionaryPath, const std::string& name) {
    std::string directory = resourceDirectoryOf(dictionaryPath);
    std::string path = appendPathComponent(directory, name);
    return UsedGrammarPath{std::move(directory), std::move(path)};
}

std::optional<MGFSA> loadGrammarFile(const std::string& path, const GrammarOptions& options) {
    const std::optional<std::string> text = loadGrammar(path);
    if (!text) return std::nullopt;
    std::optional<MGFSA> grammar = textualGrammarToMgfsa(*text, LinguisticLevel::orthographic, options.compile);
    if (!grammar) return std::nullopt;
    // A grammar past the bounds of determinization does not compile either.
    if (!grammar->determinize(options.determinize)) return std::nullopt;
    return grammar;
}

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

namespace {

DictionaryGrammars loadGrammarsUsedBy(const std::string& dictionaryPath, std::string_view dictionaryText,
                                      const GrammarOptions& options) {
    MGFSA accumulated(LinguisticLevel::orthographic);
    std::optional<std::string> resourceDirectory; // computed on the first "#use" line
    for (const std::string_view line : grammarReferenceLines(dictionaryText)) {
        if (!resourceDirectory) resourceDirectory = resourceDirectoryOf(dictionaryPath);
        // The name is kept exactly as written, inner and trailing spaces included.
        const std::string name(line.substr(grammarReferencePrefix.size()));
        const std::optional<MGFSA> grammar = loadGrammarFile(appendPathComponent(*resourceDirectory, name), options);
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

} // namespace

LoadedDictionary loadDictionaryAndGrammars(const std::string& path, const GrammarOptions& options) {
    return loadDictionaryAndGrammars(path, readUtf8File(path), options);
}

LoadedDictionary loadDictionaryAndGrammars(const std::string& path, std::optional<std::string> text,
                                           const GrammarOptions& options) {
    if (!text) return LoadedDictionary{std::string(), refusal("Cannot load dictionary " + path)};
    DictionaryGrammars grammars = loadGrammarsUsedBy(path, *text, options);
    return LoadedDictionary{std::move(*text), std::move(grammars)};
}

DictionaryGrammars loadMorphologicalGrammarsFromDictionary(const std::string& path, const GrammarOptions& options) {
    return loadDictionaryAndGrammars(path, options).grammars;
}

} // namespace lexpand
