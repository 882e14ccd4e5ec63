// Exports loadDictionary, significantLines, isExpandedLine,
// inflectAndDeriveDictionary and expandDictionaryText.

#include "DictionaryExpansion.h"

#include <algorithm>

#include "FormLines.h"
#include "GrammarFiles.h"
#include "TextServices.h"

namespace lexpand {

std::vector<std::string_view> significantLines(std::string_view text) {
    std::vector<std::string_view> lines;
    lines.reserve(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
    forEachLineOf(text, [&](std::string_view line) {
        const std::string_view trimmed = trimWhiteSpaceAndNewlines(line);
        if (trimmed.empty()) return;
        if (trimmed.front() == '#' && !trimmed.starts_with(grammarReferencePrefix)) return;
        lines.push_back(line);
    });
    return lines;
}

bool isExpandedLine(std::string_view significantLine) {
    // significantLines drops every other line that begins with "#".
    return !significantLine.empty() && significantLine.front() != '#';
}

std::optional<std::vector<std::string>> loadDictionary(const std::string& path) {
    const std::optional<std::string> text = readUtf8File(path);
    if (!text) return std::nullopt;
    const std::vector<std::string_view> lines = significantLines(*text);
    return std::vector<std::string>(lines.begin(), lines.end());
}

std::optional<std::int64_t> expandDictionaryText(std::string_view dictionaryText,
                                                 const PropertiesDefinitions& propertiesDefinitions,
                                                 const MGFSA& morphologicalParadigms, LineSink& sink,
                                                 const ExploreOptions& options) {
    // Paradigms are explored once for the whole dictionary, and the lines of
    // each entry shape assembled once.
    EntryLineExpander expander(propertiesDefinitions, morphologicalParadigms, options);
    std::int64_t count = 0;
    for (const std::string_view line : significantLines(dictionaryText)) {
        if (!isExpandedLine(line)) continue; // the "#use " lines
        const std::optional<std::int64_t> sent = expander.expand(line, sink);
        if (!sent) return std::nullopt;
        count += *sent;
    }
    return count;
}

std::optional<std::int64_t> inflectAndDeriveDictionary(const std::string& dictionaryPath,
                                                       const PropertiesDefinitions& propertiesDefinitions,
                                                       const MGFSA& morphologicalParadigms, LineSink& sink) {
    const std::optional<std::string> text = readUtf8File(dictionaryPath);
    if (!text) return std::nullopt;
    return expandDictionaryText(*text, propertiesDefinitions, morphologicalParadigms, sink);
}

} // namespace lexpand
