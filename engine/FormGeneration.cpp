// Exports parseGenerationQuery and FormGenerator: forms of lemmas from a
// compact dictionary.

#include "FormGeneration.h"

#include <algorithm>
#include <functional>

#include "ALU.h"
#include "SuffixEdit.h"
#include "TextServices.h"

namespace lexpand {
namespace {

using Walk = CompactDictionary::Walk;

// True when every scalar of `character` (one scalar) is a character of its
// own whatever surrounds it.
bool standsAlone(char32_t scalar) {
    std::string text;
    appendScalar(text, scalar);
    return suitsSuffixEdits(text);
}

// A lower bound of the characters of `completion`, when a character begins
// where it begins: its first scalar, and every scalar that stands alone after
// one that does, begin a character.
std::size_t leastCharacters(std::string_view completion) {
    std::size_t count = 0;
    bool previousAlone = false;
    bool first = true;
    for (std::size_t position = 0; position < completion.size();) {
        const bool alone = standsAlone(decodeScalar(completion, position));
        if (first || (alone && previousAlone)) ++count;
        previousAlone = alone;
        first = false;
    }
    return count;
}

} // namespace

std::optional<GenerationQuery> parseGenerationQuery(std::string_view line) {
    const std::optional<LexemeView> views = parseLexemeView(line);
    if (!views) return std::nullopt;
    std::optional<std::vector<std::string>> properties = splitProperties(views->properties, false);
    if (!properties) return std::nullopt;
    return GenerationQuery{std::string(views->entry), std::string(views->category), std::move(*properties)};
}

FormGenerator::FormGenerator(const CompactDictionary& dictionary) : dictionary_(dictionary) {
    items_.reserve(dictionary.info().analyses);
    for (std::uint32_t analysis = 0; analysis < dictionary.info().analyses; ++analysis) {
        // The properties are what follows a form; any form makes them an entry.
        std::string line(1, 'x');
        line += dictionary.propertiesOf(analysis);
        const std::optional<LexemeView> views = parseLexemeView(line);
        std::optional<std::vector<std::string>> properties =
            views ? splitProperties(views->properties, false) : std::nullopt;
        if (!properties) {
            items_.emplace_back();
            continue;
        }
        items_.emplace_back(AnalysisItems{std::string(views->category), std::move(*properties)});
    }
}

std::vector<GeneratedForm> FormGenerator::generate(const GenerationQuery& query) const {
    std::vector<std::uint32_t> candidates;
    for (std::uint32_t analysis = 0; analysis < items_.size(); ++analysis) {
        const std::optional<AnalysisItems>& items = items_[analysis];
        if (!items || items->category != query.category) continue;
        const bool hasAll = std::all_of(query.properties.begin(), query.properties.end(), [&](const std::string& p) {
            return std::find(items->properties.begin(), items->properties.end(), p) != items->properties.end();
        });
        if (hasAll) candidates.push_back(analysis);
    }

    // (form, place of the analysis in the form's list, analysis)
    struct Found {
        std::string form;
        std::size_t place;
        std::uint32_t analysis;
    };
    std::vector<Found> found;
    std::vector<std::uint32_t> analyses;
    std::string lemma;
    // Records the form at `at` when one of `wanted` gives the query's lemma.
    const auto collect = [&](std::string_view form, const CompactDictionary::Position& at,
                             const std::vector<std::uint32_t>& wanted) {
        analyses.clear();
        dictionary_.analysesAt(at, analyses);
        for (std::size_t place = 0; place < analyses.size(); ++place) {
            if (std::find(wanted.begin(), wanted.end(), analyses[place]) == wanted.end()) continue;
            lemma.clear();
            if (dictionary_.appendLemma(lemma, form, at, analyses[place]) && lemma == query.lemma)
                found.push_back(Found{std::string(form), place, analyses[place]});
        }
    };

    std::vector<std::uint32_t> anywhere; // analyses whose forms may lie anywhere
    for (const std::uint32_t analysis : candidates) {
        const ReverseCommand& command = dictionary_.preparedCommandOf(analysis);
        if (!command.isSuffixEdit()) {
            anywhere.push_back(analysis);
            continue;
        }
        // The lemma is the form without its last k characters, then the typed
        // text: the form is the lemma's stem followed by k characters.
        if (!std::string_view(query.lemma).ends_with(command.typed())) continue;
        const std::string_view stem =
            std::string_view(query.lemma).substr(0, query.lemma.size() - command.typed().size());
        const std::vector<std::uint32_t> wanted{analysis};
        dictionary_.walk(stem, [&](std::string_view text, const CompactDictionary::Position& at) {
            if (leastCharacters(text.substr(stem.size())) > command.deletions()) return Walk::skipBelow;
            if (at.isFinal) collect(text, at, wanted);
            return Walk::descend;
        });
    }
    if (!anywhere.empty()) {
        dictionary_.walk("", [&](std::string_view text, const CompactDictionary::Position& at) {
            if (at.isFinal) collect(text, at, anywhere);
            return Walk::descend;
        });
    }

    std::sort(found.begin(), found.end(),
              [](const Found& a, const Found& b) { return a.form != b.form ? a.form < b.form : a.place < b.place; });
    found.erase(std::unique(found.begin(), found.end(),
                            [](const Found& a, const Found& b) { return a.form == b.form && a.place == b.place; }),
                found.end());
    std::vector<GeneratedForm> forms;
    forms.reserve(found.size());
    for (Found& f : found) forms.push_back(GeneratedForm{std::move(f.form), f.analysis});
    return forms;
}

} // namespace lexpand
