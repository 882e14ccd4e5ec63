// loadDictionary, inflectAndDerive and EntryExpander: the significant lines of
// a dictionary file, and every form of one entry with its category and sorted
// properties.

#include "Dictionary.h"

#include <algorithm>
#include <unordered_map>

#include "Morphology.h"
#include "TextServices.h"
#include "TextualGrammar.h"

namespace lexpand {

namespace {

constexpr std::string_view grammarReferencePrefix = "#use ";

// The "FLX=" and "DRV=" items of `alu`, which every form of the entry lists.
void appendParadigmItems(std::vector<std::string>& listed, const ALU& alu) {
    for (const std::string& value : alu.flxParadigms) listed.push_back("FLX=" + value);
    for (const std::string& value : alu.drvParadigms) listed.push_back("DRV=" + value);
}

} // namespace

std::string inflectionalExpression(const std::string& value) {
    if (!value.empty() && (value.front() == ':' || value.front() == '<')) return value;
    return ":" + value;
}

std::vector<std::string> sortedPropertyList(std::vector<std::string> properties, const std::string& reverseCommand) {
    std::stable_sort(properties.begin(), properties.end(), CanonicalLess());
    properties.erase(std::unique(properties.begin(), properties.end(),
                                 [](const std::string& a, const std::string& b) { return canonicallyEqual(a, b); }),
                     properties.end());
    std::string lexProperty = "_LEX=\"" + reverseCommand + "\"";
    const auto position = std::upper_bound(properties.begin(), properties.end(), lexProperty, CanonicalLess());
    properties.insert(position, std::move(lexProperty));
    return properties;
}

std::vector<std::string> inflectedFormProperties(const ALU& alu, const std::vector<std::string>& pathProperties) {
    std::vector<std::string> listed;
    listed.reserve(alu.lexicalProperties.size() + alu.flxParadigms.size() + alu.drvParadigms.size() +
                   pathProperties.size() + 1);
    listed.insert(listed.end(), alu.lexicalProperties.begin(), alu.lexicalProperties.end());
    appendParadigmItems(listed, alu);
    listed.insert(listed.end(), pathProperties.begin(), pathProperties.end());
    return listed;
}

std::vector<std::string> derivedFormProperties(const ALU& alu, const std::string& derivedCategory,
                                               const std::vector<std::string>& derivationProperties,
                                               const std::vector<std::string>* inflectionProperties) {
    std::vector<std::string> listed;
    if (!canonicallyEqual(derivedCategory, alu.category)) listed.push_back("InitialCategory=" + alu.category);
    listed.insert(listed.end(), alu.lexicalProperties.begin(), alu.lexicalProperties.end());
    appendParadigmItems(listed, alu);
    listed.insert(listed.end(), alu.morphologicalProperties.begin(), alu.morphologicalProperties.end());
    listed.insert(listed.end(), derivationProperties.begin(), derivationProperties.end());
    if (inflectionProperties != nullptr)
        listed.insert(listed.end(), inflectionProperties->begin(), inflectionProperties->end());
    return listed;
}

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

std::optional<std::vector<std::string>> loadDictionary(const std::string& path) {
    const std::optional<std::string> text = readUtf8File(path);
    if (!text) return std::nullopt;
    const std::vector<std::string_view> lines = significantLines(*text);
    return std::vector<std::string>(lines.begin(), lines.end());
}

// ---- EntryExpander -----------------------------------------------------------

struct EntryExpander::Caches {
    // Paths of each inflectional value of an entry, explored as the graph
    // "_Main" of a grammar that holds every paradigm besides. One copy of the
    // grammar serves every value: adding "_Main" again replaces it, and labels
    // left behind by earlier values do not change what a path reads.
    std::optional<MGFSA> grammarWithMain;
    std::unordered_map<std::string, std::optional<Morphology::ParadigmPaths>> byInflectionalValue;
    // Paths of each graph of the grammar itself, by name.
    std::unordered_map<std::string, std::optional<Morphology::ParadigmPaths>> byGraphName;
};

EntryExpander::EntryExpander(const MGFSA& allParadigms)
    : allParadigms_(allParadigms), caches_(std::make_unique<Caches>()) {}

EntryExpander::~EntryExpander() = default;

namespace {

const Morphology::ParadigmPaths* found(const std::optional<Morphology::ParadigmPaths>& paths) {
    return paths ? &*paths : nullptr;
}

} // namespace

const Morphology::ParadigmPaths* EntryExpander::pathsOfInflectionalValue(const std::string& value) {
    const auto cached = caches_->byInflectionalValue.find(value);
    if (cached != caches_->byInflectionalValue.end()) return found(cached->second);
    std::optional<Morphology::ParadigmPaths> paths;
    if (std::optional<GFSA> main = expression2Gfsa(inflectionalExpression(value), LinguisticLevel::syntax)) {
        if (!caches_->grammarWithMain) caches_->grammarWithMain = allParadigms_;
        caches_->grammarWithMain->addGraph("_Main", std::move(*main));
        paths = Morphology::exploreParadigm("_Main", *caches_->grammarWithMain);
    }
    return found(caches_->byInflectionalValue.emplace(value, std::move(paths)).first->second);
}

const Morphology::ParadigmPaths* EntryExpander::pathsOfGraph(const std::string& name) {
    const auto cached = caches_->byGraphName.find(name);
    if (cached != caches_->byGraphName.end()) return found(cached->second);
    return found(caches_->byGraphName.emplace(name, Morphology::exploreParadigm(name, allParadigms_)).first->second);
}

std::optional<EntryExpander::EntryParadigms> EntryExpander::paradigmsOf(const ALU& alu) {
    EntryParadigms paradigms;
    paradigms.inflections.reserve(alu.flxParadigms.size());
    for (const std::string& value : alu.flxParadigms) {
        const Morphology::ParadigmPaths* paths = pathsOfInflectionalValue(value);
        if (paths == nullptr) return std::nullopt;
        paradigms.inflections.push_back(paths);
    }
    for (const std::string& value : alu.drvParadigms) {
        std::string derivationalName = value;
        std::string inflectionalName;
        if (const std::size_t colon = value.rfind(':'); colon != std::string::npos) {
            derivationalName = value.substr(0, colon);
            inflectionalName = value.substr(colon + 1);
        } else if (alu.flxParadigms.empty()) {
            return std::nullopt;
        } else {
            inflectionalName = alu.flxParadigms.front();
        }
        DerivationParadigms derivation;
        derivation.derivation = pathsOfGraph(derivationalName);
        if (derivation.derivation == nullptr) return std::nullopt;
        if (!inflectionalName.empty()) {
            derivation.inflection = pathsOfGraph(inflectionalName);
            if (derivation.inflection == nullptr) return std::nullopt;
        }
        paradigms.derivations.push_back(derivation);
    }
    return paradigms;
}

std::optional<EntryForms> EntryExpander::inflectAndDerive(const ALU& alu) {
    const std::optional<EntryParadigms> paradigms = paradigmsOf(alu);
    if (!paradigms) return std::nullopt;

    EntryForms forms;
    const auto addForm = [&](std::string wordForm, const std::string& category, std::vector<std::string> listed,
                             const std::string& reverseCommand) {
        forms.wordForms.push_back(std::move(wordForm));
        forms.categories.push_back(category);
        forms.properties.push_back(sortedPropertyList(std::move(listed), reverseCommand));
    };

    for (const Morphology::ParadigmPaths* paradigm : paradigms->inflections) {
        std::optional<Morphology::Inflection> inflection = Morphology::inflect(alu.entry, *paradigm);
        if (!inflection) return std::nullopt;
        for (std::size_t i = 0; i < inflection->wordForms.size(); ++i) {
            addForm(std::move(inflection->wordForms[i]), alu.category,
                    inflectedFormProperties(alu, inflection->inflectionalProperties[i]),
                    inflection->reverseCommands[i]);
        }
    }

    for (const DerivationParadigms& paradigm : paradigms->derivations) {
        std::optional<Morphology::Derivation> derived =
            Morphology::deriveThenInflect(alu.entry, *paradigm.derivation, paradigm.inflection);
        if (!derived) return std::nullopt;
        for (std::size_t i = 0; i < derived->wordForms.size(); ++i) {
            addForm(std::move(derived->wordForms[i]), derived->categories[i],
                    derivedFormProperties(alu, derived->categories[i], derived->properties[i], nullptr),
                    derived->reverseCommands[i]);
        }
    }
    return forms;
}

std::optional<EntryForms> inflectAndDerive(const ALU& alu, const MGFSA& allParadigms) {
    EntryExpander expander(allParadigms);
    return expander.inflectAndDerive(alu);
}

} // namespace lexpand
