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

// The forms of one query found in a dictionary, with the place of their
// analysis in the form's list.
class FormCollector {
public:
    FormCollector(const CompactDictionary& dictionary, const GenerationQuery& query)
        : dictionary_(dictionary), query_(query) {}

    // Collects the forms of the analysis, whose reverse command only deletes
    // and types at the end: the lemma is the form without its last k
    // characters, then the typed text, so the form is the lemma's stem
    // followed by k characters. Cost: the states below the stem within
    // about k characters.
    void collectSuffixEdited(std::uint32_t analysis, const ReverseCommand& command) {
        if (!std::string_view(query_.lemma).ends_with(command.typed())) return;
        const std::string_view stem =
            std::string_view(query_.lemma).substr(0, query_.lemma.size() - command.typed().size());
        const std::vector<std::uint32_t> wanted{analysis};
        dictionary_.walk(stem, [&](std::string_view text, const CompactDictionary::Position& at) {
            if (leastCharacters(text.substr(stem.size())) > command.deletions()) return Walk::skipBelow;
            if (at.isFinal) collect(text, at, wanted);
            return Walk::descend;
        });
    }

    // Collects the forms of the analyses `wanted` over every form of the dictionary.
    void collectAnywhere(const std::vector<std::uint32_t>& wanted) {
        dictionary_.walk("", [&](std::string_view text, const CompactDictionary::Position& at) {
            if (at.isFinal) collect(text, at, wanted);
            return Walk::descend;
        });
    }

    // The forms collected, in ascending order, the analyses of one form in
    // their order in its list, each once.
    std::vector<GeneratedForm> takeForms() {
        std::sort(found_.begin(), found_.end(), [](const Found& a, const Found& b) {
            return a.form != b.form ? a.form < b.form : a.place < b.place;
        });
        found_.erase(std::unique(found_.begin(), found_.end(),
                                 [](const Found& a, const Found& b) { return a.form == b.form && a.place == b.place; }),
                     found_.end());
        std::vector<GeneratedForm> forms;
        forms.reserve(found_.size());
        for (Found& f : found_) forms.push_back(GeneratedForm{std::move(f.form), f.analysis});
        return forms;
    }

private:
    // Records the form at `at` when one of `wanted` gives the query's lemma.
    void collect(std::string_view form, const CompactDictionary::Position& at,
                 const std::vector<std::uint32_t>& wanted) {
        analyses_.clear();
        dictionary_.analysesAt(at, analyses_);
        for (std::size_t place = 0; place < analyses_.size(); ++place) {
            if (std::find(wanted.begin(), wanted.end(), analyses_[place]) == wanted.end()) continue;
            lemma_.clear();
            if (dictionary_.appendLemma(lemma_, form, at, analyses_[place]) && lemma_ == query_.lemma)
                found_.push_back(Found{std::string(form), place, analyses_[place]});
        }
    }

    struct Found {
        std::string form;
        std::size_t place; // of the analysis in the form's list
        std::uint32_t analysis;
    };
    const CompactDictionary& dictionary_;
    const GenerationQuery& query_;
    std::vector<Found> found_;
    std::vector<std::uint32_t> analyses_; // scratch
    std::string lemma_;                   // scratch
};

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

std::vector<std::uint32_t> FormGenerator::candidatesOf(const GenerationQuery& query) const {
    std::vector<std::uint32_t> candidates;
    for (std::uint32_t analysis = 0; analysis < items_.size(); ++analysis) {
        const std::optional<AnalysisItems>& items = items_[analysis];
        if (!items || items->category != query.category) continue;
        const bool hasAll = std::all_of(query.properties.begin(), query.properties.end(), [&](const std::string& p) {
            return std::find(items->properties.begin(), items->properties.end(), p) != items->properties.end();
        });
        if (hasAll) candidates.push_back(analysis);
    }
    return candidates;
}

std::vector<GeneratedForm> FormGenerator::generate(const GenerationQuery& query) const {
    FormCollector collector(dictionary_, query);
    std::vector<std::uint32_t> anywhere; // analyses whose forms may lie anywhere
    for (const std::uint32_t analysis : candidatesOf(query)) {
        const ReverseCommand& command = dictionary_.preparedCommandOf(analysis);
        if (command.isSuffixEdit())
            collector.collectSuffixEdited(analysis, command);
        else
            anywhere.push_back(analysis);
    }
    if (!anywhere.empty()) collector.collectAnywhere(anywhere);
    return collector.takeForms();
}

} // namespace lexpand
