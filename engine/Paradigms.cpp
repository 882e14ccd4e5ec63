// Exports exploreParadigm, inflectionalExpression, ParadigmCache, and the
// Morphology members inflect and deriveThenInflect: the forms of one word
// form by one paradigm graph.

#include "Paradigms.h"

#include <utility>

#include "TextualGrammar.h"
#include "Tokenizers.h"

namespace lexpand {

namespace {

// `text` without any leading or trailing "+".
std::string trimPlusSigns(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(Morphology::plusSign);
    if (begin == std::string::npos) return std::string();
    const std::size_t end = text.find_last_not_of(Morphology::plusSign);
    return text.substr(begin, end - begin + 1);
}

std::string join(const std::vector<std::string>& tokens) {
    std::size_t size = 0;
    for (const std::string& token : tokens) size += token.size();
    std::string joined;
    joined.reserve(size);
    for (const std::string& token : tokens) joined += token;
    return joined;
}

// The reverse command of an inflected derived form: the inflection's reverse
// list followed by the derivation's, which must tokenize back into exactly
// these tokens (a lemma holding white space or a character that the tokenizer
// treats specially does not), then simplified.
std::optional<std::string> combineReverseCommands(const std::vector<std::string>& inflectionalTokens,
                                                  const std::vector<std::string>& derivationalTokens) {
    std::vector<std::string> built;
    built.reserve(inflectionalTokens.size() + derivationalTokens.size());
    built.insert(built.end(), inflectionalTokens.begin(), inflectionalTokens.end());
    built.insert(built.end(), derivationalTokens.begin(), derivationalTokens.end());
    const std::optional<TokenList> tokens = Tokenizer::textualOrthographicGrammar(join(built));
    if (!tokens || *tokens != built) return std::nullopt;
    const std::optional<std::vector<std::string>> simplified = Morphology::simplifySuffixCommand(*tokens);
    if (!simplified) return std::nullopt;
    return join(*simplified);
}

} // namespace

std::optional<ParadigmPaths> exploreParadigm(const std::string& paradigmName, const MGFSA& paradigms,
                                             const ExploreOptions& options) {
    const std::optional<ExplorationResult> explored =
        paradigms.explore(paradigmName, LinguisticLevel::orthographic, /*repetitionLimit=*/1, options);
    if (!explored || explored->input.empty() || explored->output.size() != explored->input.size()) return std::nullopt;
    ParadigmPaths paths;
    paths.reserve(explored->input.size());
    for (std::size_t i = 0; i < explored->input.size(); ++i) {
        ParadigmPath path;
        path.command = Morphology::parseCommand(explored->input[i]);
        if (path.command) path.suffixEdit = suffixEditOf(*path.command);
        const std::vector<std::string>& outputs = explored->output[i];
        path.properties.reserve(outputs.size());
        for (const std::string& output : outputs) path.properties.push_back(trimPlusSigns(output));
        path.derivedInformation = splitLexicalInformation(outputs);
        paths.push_back(std::move(path));
    }
    return paths;
}

std::optional<Morphology::Inflection> Morphology::inflect(const std::string& lexicalEntry,
                                                          const std::string& inflectionalParadigmName,
                                                          const MGFSA& paradigms) {
    const std::optional<ParadigmPaths> paradigm = lexpand::exploreParadigm(inflectionalParadigmName, paradigms);
    if (!paradigm) return std::nullopt;
    return inflect(lexicalEntry, *paradigm);
}

std::optional<Morphology::Inflection> Morphology::inflect(const std::string& lexicalEntry,
                                                          const ParadigmPaths& paradigm) {
    if (paradigm.empty()) return std::nullopt;
    Inflection inflection;
    inflection.wordForms.reserve(paradigm.size());
    inflection.inflectionalProperties.reserve(paradigm.size());
    inflection.reverseCommands.reserve(paradigm.size());
    for (const ParadigmPath& path : paradigm) {
        if (!path.command) return std::nullopt;
        std::optional<EditResult> edited = applyParsedCommand(lexicalEntry, *path.command);
        if (!edited) return std::nullopt;
        inflection.wordForms.push_back(std::move(edited->resultingWordForm));
        inflection.inflectionalProperties.push_back(path.properties);
        inflection.reverseCommands.push_back(std::move(edited->reverseCommand));
    }
    return inflection;
}

std::optional<Morphology::Derivation> Morphology::deriveThenInflect(const std::string& lexicalEntry,
                                                                    const std::string& derivationalParadigmName,
                                                                    const std::string& inflectionalParadigmName,
                                                                    const MGFSA& paradigms) {
    const std::optional<ParadigmPaths> derivation = lexpand::exploreParadigm(derivationalParadigmName, paradigms);
    if (!derivation) return std::nullopt;
    if (inflectionalParadigmName.empty()) return deriveThenInflect(lexicalEntry, *derivation, nullptr);
    const std::optional<ParadigmPaths> inflection = lexpand::exploreParadigm(inflectionalParadigmName, paradigms);
    if (!inflection) return std::nullopt;
    return deriveThenInflect(lexicalEntry, *derivation, &*inflection);
}

std::optional<Morphology::Derivation> Morphology::deriveThenInflect(const std::string& lexicalEntry,
                                                                    const ParadigmPaths& derivation,
                                                                    const ParadigmPaths* inflection) {
    if (derivation.empty() || (inflection != nullptr && inflection->empty())) return std::nullopt;
    Derivation result;
    for (const ParadigmPath& path : derivation) {
        if (!path.derivedInformation || !path.command) return std::nullopt;
        const LexicalInformation& information = *path.derivedInformation;
        std::optional<EditResult> derived = applyParsedCommand(lexicalEntry, *path.command);
        if (!derived) return std::nullopt;
        if (inflection == nullptr) {
            result.wordForms.push_back(std::move(derived->resultingWordForm));
            result.categories.push_back(information.category);
            result.properties.push_back(information.properties);
            result.reverseCommands.push_back(std::move(derived->reverseCommand));
            continue;
        }
        for (const ParadigmPath& inflectionPath : *inflection) {
            if (!inflectionPath.command) return std::nullopt;
            std::optional<EditResult> inflected =
                applyParsedCommand(derived->resultingWordForm, *inflectionPath.command);
            if (!inflected) return std::nullopt;
            std::optional<std::string> reverse =
                combineReverseCommands(inflected->reverseTokens, derived->reverseTokens);
            if (!reverse) return std::nullopt;
            std::vector<std::string> properties = information.properties;
            properties.insert(properties.end(), inflectionPath.properties.begin(), inflectionPath.properties.end());
            result.wordForms.push_back(std::move(inflected->resultingWordForm));
            result.categories.push_back(information.category);
            result.properties.push_back(std::move(properties));
            result.reverseCommands.push_back(std::move(*reverse));
        }
    }
    return result;
}

std::string inflectionalExpression(const std::string& value) {
    if (!value.empty() && (value.front() == ':' || value.front() == '<')) return value;
    return ":" + value;
}

// ---- ParadigmCache ----------------------------------------------------------

ParadigmCache::ParadigmCache(const MGFSA& paradigms, const ExploreOptions& options)
    : paradigms_(paradigms), options_(options) {}

namespace {

std::shared_ptr<const ParadigmPaths> shared(std::optional<ParadigmPaths> paths) {
    if (!paths) return nullptr;
    return std::make_shared<const ParadigmPaths>(std::move(*paths));
}

} // namespace

ParadigmCache::Paths ParadigmCache::pathsOfInflectionalValue(const std::string& value) {
    if (const auto cached = byInflectionalValue_.find(value); cached != byInflectionalValue_.end())
        return cached->second;
    Paths paths;
    if (std::optional<GFSA> main = expression2Gfsa(inflectionalExpression(value), LinguisticLevel::syntax)) {
        if (!grammarWithMain_) grammarWithMain_ = paradigms_;
        grammarWithMain_->addGraph("_Main", std::move(*main));
        paths = shared(exploreParadigm("_Main", *grammarWithMain_, options_));
    }
    return byInflectionalValue_.emplace(value, std::move(paths)).first->second;
}

ParadigmCache::Paths ParadigmCache::pathsOfGraph(const std::string& name) {
    if (const auto cached = byGraphName_.find(name); cached != byGraphName_.end()) return cached->second;
    return byGraphName_.emplace(name, shared(exploreParadigm(name, paradigms_, options_))).first->second;
}

std::optional<EntryParadigms> ParadigmCache::paradigmsOf(const ALU& alu) {
    EntryParadigms paradigms;
    paradigms.inflections.reserve(alu.flxParadigms.size());
    for (const std::string& value : alu.flxParadigms) {
        Paths paths = pathsOfInflectionalValue(value);
        if (paths == nullptr) return std::nullopt;
        paradigms.inflections.push_back(std::move(paths));
    }
    for (const std::string& value : alu.drvParadigms) {
        // "D:I" derives by D and inflects by I ("D:" does not inflect); a
        // value without ":" inflects by the entry's first "FLX=" value.
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
        paradigms.derivations.push_back(std::move(derivation));
    }
    return paradigms;
}

} // namespace lexpand
