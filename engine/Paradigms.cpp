// Exports preparePath, applyPath, combinedReverseCommand, exploreParadigm,
// inflectionalExpression, Paradigm, ParadigmCache, and the Morphology members
// inflect and deriveThenInflect: the forms of one word form by one paradigm
// graph.

#include "Paradigms.h"

#include <utility>

#include "Exploration.h"
#include "TextServices.h"
#include "TextualGrammar.h"
#include "Tokenizers.h"

namespace lexpand {

namespace {

// `text` without any leading or trailing "+".
std::string trimPlusSigns(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(Morphology::plusSign);
    if (begin == std::string_view::npos) return std::string();
    const std::size_t end = text.find_last_not_of(Morphology::plusSign);
    return std::string(text.substr(begin, end - begin + 1));
}

std::string join(const std::vector<std::string>& tokens) {
    std::size_t size = 0;
    for (const std::string& token : tokens) size += token.size();
    std::string joined;
    joined.reserve(size);
    for (const std::string& token : tokens) joined += token;
    return joined;
}

// Explores the graph `graphName` of `grammar` as paradigms are explored
// (orthographic level, loops travelled once), calling visit with each path
// prepared; false when the exploration fails or visit stops it.
bool visitPreparedPaths(const MGFSA& grammar, const std::string& graphName, const ExploreOptions& options,
                        const std::function<bool(const ParadigmPath&)>& visit) {
    std::vector<std::string_view> outputs;
    const ExplorationEnd end = explorePaths(
        grammar, graphName, LinguisticLevel::orthographic, /*repetitionLimit=*/1, options, [&](const FoundPath& found) {
            outputs.clear();
            for (const std::string* output : found.outputs) outputs.emplace_back(*output);
            return visit(preparePath(trimWhiteSpaceAndNewlines(found.input), outputs));
        });
    return end == ExplorationEnd::finished;
}

// `path` as a paradigm holds it: with its command as a suffix edit, when it
// is one, for the expansion's fast lanes.
ParadigmPath heldPath(ParadigmPath path) {
    if (path.command) path.suffixEdit = suffixEditOf(*path.command);
    return path;
}

// About the bytes that a prepared path holds.
std::size_t bytesOf(const ParadigmPath& path) {
    std::size_t bytes = sizeof(ParadigmPath);
    if (path.command) bytes += path.command->size() * sizeof(Morphology::Operator);
    for (const std::string& property : path.properties) bytes += sizeof(std::string) + property.size();
    if (path.derivedInformation)
        for (const std::string& property : path.derivedInformation->properties)
            bytes += sizeof(std::string) + property.size();
    return bytes;
}

} // namespace

ParadigmPath preparePath(std::string_view input, const std::vector<std::string_view>& outputs) {
    ParadigmPath path;
    path.command = Morphology::parseCommand(input);
    path.properties.reserve(outputs.size());
    for (const std::string_view output : outputs) path.properties.push_back(trimPlusSigns(output));
    path.derivedInformation = splitLexicalInformation(std::vector<std::string>(outputs.begin(), outputs.end()));
    return path;
}

std::optional<Morphology::EditResult> applyPath(std::string_view word, const ParadigmPath& path) {
    if (!path.command) return std::nullopt;
    return Morphology::applyParsedCommand(word, *path.command);
}

std::optional<std::string> combinedReverseCommand(const Morphology::EditResult& inflected,
                                                  const Morphology::EditResult& derived) {
    std::vector<std::string> built;
    built.reserve(inflected.reverseTokens.size() + derived.reverseTokens.size());
    built.insert(built.end(), inflected.reverseTokens.begin(), inflected.reverseTokens.end());
    built.insert(built.end(), derived.reverseTokens.begin(), derived.reverseTokens.end());
    const std::optional<TokenList> tokens = Tokenizer::textualOrthographicGrammar(join(built));
    if (!tokens || *tokens != built) return std::nullopt;
    const std::optional<std::vector<std::string>> simplified = Morphology::simplifySuffixCommand(*tokens);
    if (!simplified) return std::nullopt;
    return join(*simplified);
}

std::optional<ParadigmPaths> exploreParadigm(const std::string& paradigmName, const MGFSA& paradigms,
                                             const ExploreOptions& options) {
    ParadigmPaths paths;
    const bool finished = visitPreparedPaths(paradigms, paradigmName, options, [&](const ParadigmPath& path) {
        paths.push_back(heldPath(path));
        return true;
    });
    if (!finished || paths.empty()) return std::nullopt;
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
        std::optional<EditResult> edited = applyPath(lexicalEntry, path);
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
        if (!path.derivedInformation) return std::nullopt;
        const LexicalInformation& information = *path.derivedInformation;
        std::optional<EditResult> derived = applyPath(lexicalEntry, path);
        if (!derived) return std::nullopt;
        if (inflection == nullptr) {
            result.wordForms.push_back(std::move(derived->resultingWordForm));
            result.categories.push_back(information.category);
            result.properties.push_back(information.properties);
            result.reverseCommands.push_back(std::move(derived->reverseCommand));
            continue;
        }
        for (const ParadigmPath& inflectionPath : *inflection) {
            std::optional<EditResult> inflected = applyPath(derived->resultingWordForm, inflectionPath);
            if (!inflected) return std::nullopt;
            std::optional<std::string> reverse = combinedReverseCommand(*inflected, *derived);
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

std::optional<DerivationNames> derivationNamesOf(const std::string& value, const ALU& alu) {
    if (const std::size_t colon = value.rfind(':'); colon != std::string::npos)
        return DerivationNames{value.substr(0, colon), value.substr(colon + 1)};
    if (alu.flxParadigms.empty()) return std::nullopt;
    return DerivationNames{value, alu.flxParadigms.front()};
}

// ---- Paradigm -----------------------------------------------------------------

Paradigm::Paradigm(std::shared_ptr<const ParadigmPaths> paths, std::size_t bytes)
    : paths_(std::move(paths)), bytes_(bytes) {}

Paradigm::Paradigm(std::shared_ptr<const MGFSA> grammar, std::string graphName, const ExploreOptions& options)
    : grammar_(std::move(grammar)), graphName_(std::move(graphName)), options_(options) {}

bool Paradigm::forEachPath(const std::function<bool(const ParadigmPath&)>& visit) const {
    if (paths_ != nullptr) {
        for (const ParadigmPath& path : *paths_)
            if (!visit(path)) return false;
        return true;
    }
    return visitPreparedPaths(*grammar_, graphName_, options_, visit);
}

// ---- ParadigmCache ----------------------------------------------------------

namespace {

// About the memory that a copy of `grammar` takes: its states, transitions,
// labels (each held twice, in the alphabet's array and in its index) and graph
// names. Cost: linear in the number of graphs and states.
std::size_t approximateBytes(const MGFSA& grammar) {
    std::size_t bytes = 0;
    for (const Label& label : grammar.alphabet.array)
        bytes += 2 * (sizeof(Label) + label.input.size() + label.output.size()) + 4 * sizeof(void*);
    for (const auto& [name, graph] : grammar.graphs) {
        bytes += name.size() + sizeof(GFSA) + 4 * sizeof(void*);
        for (const GFSA::State& state : graph.states)
            bytes += sizeof(GFSA::State) + state.outGoingTransitions.size() * sizeof(GFSA::Transition);
    }
    return bytes;
}

} // namespace

ParadigmCache::ParadigmCache(const MGFSA& paradigms, const ExploreOptions& options, std::size_t heldPaths,
                             std::size_t heldBytes)
    : paradigms_(paradigms), options_(options), heldPaths_(heldPaths), heldBytes_(heldBytes) {}

// Explores `graphName` once: a paradigm held when it has at most heldPaths_
// paths (its size in `bytes`), else one that `grammar` explores again on
// each use. The exploration of a paradigm too large to hold stops at its
// first path beyond the limit: each entry that uses it explores it whole
// first, and fails if the exploration does.
std::optional<Paradigm> ParadigmCache::explored(std::shared_ptr<const MGFSA> grammar, const MGFSA& grammarRef,
                                                const std::string& graphName, std::size_t& bytes) {
    // The paths are prepared once the exploration is known to end within
    // the limit; until then they are only copied.
    struct FoundCopy {
        std::string input;
        std::vector<std::string_view> outputs; // label outputs of `grammarRef`
    };
    std::vector<FoundCopy> found;
    const auto copy = [&](const FoundPath& path) {
        if (found.size() == heldPaths_) return false;
        found.push_back(FoundCopy{std::string(trimWhiteSpaceAndNewlines(path.input)), {}});
        for (const std::string* output : path.outputs) found.back().outputs.emplace_back(*output);
        return true;
    };
    const ExplorationEnd end =
        explorePaths(grammarRef, graphName, LinguisticLevel::orthographic, /*repetitionLimit=*/1, options_, copy);
    if (end == ExplorationEnd::finished) {
        if (found.empty()) return std::nullopt;
        auto paths = std::make_shared<ParadigmPaths>();
        paths->reserve(found.size());
        for (const FoundCopy& path : found) {
            paths->push_back(heldPath(preparePath(path.input, path.outputs)));
            bytes += bytesOf(paths->back());
        }
        return Paradigm(std::move(paths), bytes);
    }
    if (end == ExplorationEnd::failed) return std::nullopt;
    bytes = 0;
    if (grammar == nullptr) {
        // The copy of the grammar that such a paradigm keeps counts against
        // the cache's budget, so that the paradigms of many values too large
        // to hold do not keep a grammar each.
        grammar = std::make_shared<const MGFSA>(grammarRef);
        bytes = approximateBytes(*grammar);
    }
    return Paradigm(std::move(grammar), graphName, options_);
}

std::optional<std::optional<Paradigm>> ParadigmCache::cached(const std::string& key) {
    const std::lock_guard lock(mutex_);
    return cachedLocked(key);
}

std::optional<std::optional<Paradigm>> ParadigmCache::cachedLocked(const std::string& key) {
    const auto found = table_.find(key);
    if (found == table_.end()) return std::nullopt;
    recent_.splice(recent_.begin(), recent_, found->second.recent);
    return found->second.paradigm;
}

std::optional<Paradigm> ParadigmCache::remember(const std::string& key, std::optional<Paradigm> paradigm,
                                                std::size_t bytes) {
    const std::lock_guard lock(mutex_);
    // Another thread may have explored the same paradigm meanwhile: the
    // first result stays (both are the same).
    if (std::optional<std::optional<Paradigm>> found = cachedLocked(key)) return std::move(*found);
    recent_.push_front(key);
    bytes += key.size() + sizeof(Entry);
    table_.emplace(key, Entry{paradigm, bytes, recent_.begin()});
    bytes_ += bytes;
    // The least recently used go first; the paradigm just explored stays.
    while (bytes_ > heldBytes_ && recent_.size() > 1) {
        const auto oldest = table_.find(recent_.back());
        bytes_ -= oldest->second.bytes;
        table_.erase(oldest);
        recent_.pop_back();
    }
    return paradigm;
}

std::optional<Paradigm> ParadigmCache::paradigmOfInflectionalValue(const std::string& value) {
    const std::string key = "=" + value;
    if (std::optional<std::optional<Paradigm>> found = cached(key)) return std::move(*found);
    std::size_t bytes = 0;
    std::optional<Paradigm> paradigm;
    if (std::optional<GFSA> main = expression2Gfsa(inflectionalExpression(value), LinguisticLevel::syntax)) {
        std::unique_ptr<MGFSA> grammar = takeGrammarWithMain();
        grammar->addGraph("_Main", std::move(*main));
        // A paradigm explored on each use keeps a grammar of its own, since
        // "_Main" is replaced for the next value.
        paradigm = explored(nullptr, *grammar, "_Main", bytes);
        giveBack(std::move(grammar));
    }
    return remember(key, std::move(paradigm), bytes);
}

std::optional<Paradigm> ParadigmCache::paradigmOfGraph(const std::string& name) {
    const std::string key = ":" + name;
    if (std::optional<std::optional<Paradigm>> found = cached(key)) return std::move(*found);
    std::size_t bytes = 0;
    // The grammar outlives the cache: it is shared without an owner.
    const std::shared_ptr<const MGFSA> grammar(std::shared_ptr<const MGFSA>(), &paradigms_);
    return remember(key, explored(grammar, paradigms_, name, bytes), bytes);
}

// A copy of the paradigms in which a "_Main" graph may be replaced, one per
// thread exploring an inflectional value at the same time: made on first
// use, kept for the next value.
std::unique_ptr<MGFSA> ParadigmCache::takeGrammarWithMain() {
    {
        const std::lock_guard lock(mutex_);
        if (!grammarsWithMain_.empty()) {
            std::unique_ptr<MGFSA> grammar = std::move(grammarsWithMain_.back());
            grammarsWithMain_.pop_back();
            return grammar;
        }
    }
    return std::make_unique<MGFSA>(paradigms_);
}

void ParadigmCache::giveBack(std::unique_ptr<MGFSA> grammarWithMain) {
    const std::lock_guard lock(mutex_);
    grammarsWithMain_.push_back(std::move(grammarWithMain));
}

std::optional<EntryParadigms> ParadigmCache::paradigmsOf(const ALU& alu) {
    EntryParadigms paradigms;
    paradigms.inflections.reserve(alu.flxParadigms.size());
    for (const std::string& value : alu.flxParadigms) {
        std::optional<Paradigm> paradigm = paradigmOfInflectionalValue(value);
        if (!paradigm) return std::nullopt;
        paradigms.inflections.push_back(std::move(*paradigm));
    }
    for (const std::string& value : alu.drvParadigms) {
        const std::optional<DerivationNames> names = derivationNamesOf(value, alu);
        if (!names) return std::nullopt;
        std::optional<Paradigm> derivation = paradigmOfGraph(names->derivation);
        if (!derivation) return std::nullopt;
        std::optional<Paradigm> inflection;
        if (!names->inflection.empty()) {
            inflection = paradigmOfGraph(names->inflection);
            if (!inflection) return std::nullopt;
        }
        paradigms.derivations.push_back(DerivationParadigms{std::move(*derivation), std::move(inflection)});
    }
    return paradigms;
}

} // namespace lexpand
