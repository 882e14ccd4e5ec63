// Exports EntryDiagnoser, explainNotAnEntry and explainInconsistency: why an
// entry fails, step by step, through the functions that expand it.

#include "EntryCheck.h"

#include <algorithm>
#include <utility>

#include "EntryForms.h"
#include "Exploration.h"
#include "GrammarCheck.h"
#include "Morphology.h"
#include "TextServices.h"
#include "TextualGrammar.h"

namespace lexpand {

namespace {

using Owner = EntryFinding::Owner;

EntryFinding atEntry(DiagnosticCode code, std::string text, std::size_t offset) {
    return EntryFinding{Owner::entry, code, std::move(text), offset, {}};
}

EntryFinding atRule(DiagnosticCode code, std::string text, std::string ruleName) {
    return EntryFinding{Owner::rule, code, std::move(text), 0, std::move(ruleName)};
}

EntryFinding alreadyReported() {
    return EntryFinding{Owner::reported, DiagnosticCode::entryFails, {}, 0, {}};
}

bool isCapital(char c) {
    return c >= 'A' && c <= 'Z';
}

// The offset in `line` of the property item `item` ("FLX=NOUN"), which the
// line writes after a "+" in its properties; the properties' offset when it
// is not found as written.
std::size_t itemOffset(std::string_view line, const LexemeView& lexeme, std::string_view item) {
    const auto propertiesBegin = static_cast<std::size_t>(lexeme.properties.data() - line.data());
    for (std::size_t at = line.find(item, propertiesBegin); at != std::string_view::npos;
         at = line.find(item, at + 1)) {
        const std::size_t end = at + item.size();
        if (at > 0 && line[at - 1] == '+' && (end == line.size() || line[end] == '+')) return at;
    }
    return propertiesBegin;
}

// The first operator of `command` that cannot be applied to `wordForm`: the
// last one of the shortest prefix that the editor refuses.
std::optional<Morphology::Operator> failingOperator(std::string_view wordForm,
                                                    const std::vector<Morphology::Operator>& command) {
    std::vector<Morphology::Operator> prefix;
    for (const Morphology::Operator& op : command) {
        prefix.push_back(op);
        if (!Morphology::applyParsedCommand(wordForm, prefix)) return op;
    }
    return std::nullopt;
}

std::string editFailureOf(std::string_view wordForm, const std::vector<Morphology::Operator>& command) {
    const std::optional<Morphology::Operator> op = failingOperator(wordForm, command);
    if (!op) return message::entryFails();
    return message::editFailure(*op);
}

// True when `value` is a paradigm name rather than an expression.
bool isPlainName(const std::string& value) {
    return inflectionalExpression(value) != value;
}

} // namespace

// What is known of one paradigm: its paths, or why it cannot be explored;
// and, once a message needs them, the commands and outputs of its paths as
// the exploration writes them.
struct EntryDiagnoser::Explored {
    std::shared_ptr<const ParadigmPaths> paths;
    std::optional<EntryFinding> finding; // when it fails; an entry finding's offset is within the value
    bool haveTexts = false;
    ExplorationResult texts;
};

struct EntryDiagnoser::State {
    State(const PropertiesDefinitions& propertiesDefinitions, const GrammarChecker& grammarChecker,
          const ExploreOptions& exploreOptions)
        : definitions(propertiesDefinitions), grammars(grammarChecker), paradigms(grammarChecker.paradigms()),
          options(exploreOptions) {}

    const PropertiesDefinitions& definitions;
    const GrammarChecker& grammars;
    const MGFSA& paradigms;
    const ExploreOptions options;
    std::optional<MGFSA> grammarWithMain; // the paradigms and the "_Main" of the last value explored
    std::string mainValue;                // that value
    std::unordered_map<std::string, Explored> byValue;
    std::unordered_map<std::string, Explored> byGraph;

    bool setMain(const std::string& value);
    Explored& ofValue(const std::string& value);
    Explored& ofGraph(const std::string& name);
    const ExplorationResult& textsOfValue(const std::string& value);
    const ExplorationResult& textsOfGraph(const std::string& name);
    EntryFinding explorationFinding(const ExplorationFailure& failure, const std::string& start,
                                    const std::string& shown, bool ownedByRule);
    std::optional<EntryFinding> checkInflection(const std::string& value, const std::string& lemma, std::size_t at);
    std::optional<EntryFinding> checkDerivation(const std::string& derivationName, const std::string& inflectionName,
                                                const std::string& lemma, std::size_t at);
    std::optional<EntryParadigms> paradigmsOf(const ALU& alu);
};

// Puts the graph of the "FLX=" value `value` in grammarWithMain as "_Main";
// false when its expression does not compile.
bool EntryDiagnoser::State::setMain(const std::string& value) {
    if (grammarWithMain && mainValue == value) return true;
    std::optional<GFSA> main = expression2Gfsa(inflectionalExpression(value), LinguisticLevel::syntax);
    if (!main) return false;
    if (!grammarWithMain) grammarWithMain = paradigms;
    grammarWithMain->addGraph("_Main", std::move(*main));
    mainValue = value;
    return true;
}

namespace {

// Why exploring `start` in `grammar` fails; absent when it does not. The
// exploration runs without keeping its paths, so that a paradigm that fails
// late (past the path limit) costs one run here.
std::optional<ExplorationFailure> failureOf(const MGFSA& grammar, const std::string& start,
                                            const ExploreOptions& options) {
    ExplorationFailure failure;
    const auto ignore = [](const FoundPath&) { return true; };
    if (explorePaths(grammar, start, LinguisticLevel::orthographic, 1, options, ignore, &failure) ==
        ExplorationEnd::finished)
        return std::nullopt;
    return failure;
}

} // namespace

// What the exploration failure `failure` of `start` means: `shown` is what
// the entry names (a value or a graph); `ownedByRule` when `shown` is a rule
// whose own fault a limit is.
EntryFinding EntryDiagnoser::State::explorationFinding(const ExplorationFailure& failure, const std::string& start,
                                                       const std::string& shown, bool ownedByRule) {
    const auto limit = [&](std::string text) {
        return ownedByRule ? atRule(DiagnosticCode::ruleFails, std::move(text), shown)
                           : atEntry(DiagnosticCode::paradigmFails, std::move(text), 0);
    };
    for (const std::string& name : failure.calls)
        if (grammars.isBroken(name)) return alreadyReported();
    switch (failure.kind) {
    case ExplorationFailure::Kind::missingGraph: {
        // Missing below the entry's own reference: a call of a rule, reported with the rules.
        const bool named = failure.calls.empty() || (start == "_Main" && failure.calls.size() == 1);
        if (!named || grammars.isBroken(failure.graphName) || grammars.someGrammarUnread()) return alreadyReported();
        return atEntry(
            DiagnosticCode::undefinedParadigm,
            message::undefinedParadigm(failure.graphName, closestNames(failure.graphName, grammars.definedNames())), 0);
    }
    case ExplorationFailure::Kind::callDepth: {
        if (grammars.isBroken(failure.graphName)) return alreadyReported();
        std::vector<std::string> calls = failure.calls;
        calls.push_back(failure.graphName);
        if (start == "_Main") {
            calls.erase(calls.begin());
            if (std::find(calls.begin(), calls.end(), "_Main") != calls.end() || calls.empty())
                return atEntry(DiagnosticCode::paradigmFails, message::callsTooDeep(shown, options.maxCallDepth, calls),
                               0);
            if (grammars.siteOf(calls.front()) != nullptr)
                return atRule(DiagnosticCode::ruleFails,
                              message::callsTooDeep(calls.front(), options.maxCallDepth, calls), calls.front());
        }
        return limit(message::callsTooDeep(shown, options.maxCallDepth, calls));
    }
    case ExplorationFailure::Kind::pathLimit:
        return limit(message::tooManyPaths(shown, options.maxPaths));
    case ExplorationFailure::Kind::stepLimit:
    case ExplorationFailure::Kind::malformed:
        break;
    }
    return limit(message::tooManySteps(shown));
}

EntryDiagnoser::Explored& EntryDiagnoser::State::ofValue(const std::string& value) {
    if (const auto found = byValue.find(value); found != byValue.end()) return found->second;
    Explored explored;
    const std::string expression = inflectionalExpression(value);
    const CompiledExpression compiled = compileExpression(expression, LinguisticLevel::syntax);
    if (!compiled.gfsa) {
        const ExpressionFault& fault = *compiled.fault;
        std::string because = fault.kind == ExpressionFault::Kind::badEscape       ? message::badEscape(fault.token)
                              : fault.kind == ExpressionFault::Kind::rejectedLabel ? message::rejectedLabel(fault.token)
                              : fault.kind == ExpressionFault::Kind::empty         ? message::emptyExpression()
                                                                           : message::rejectedOutput(fault.token);
        const std::size_t shift = expression.size() - value.size(); // the ":" put before a name
        explored.finding =
            atEntry(DiagnosticCode::paradigmDoesNotCompile, message::paradigmDoesNotCompile(value, because),
                    fault.offset >= shift ? fault.offset - shift : 0);
    } else if (setMain(value)) {
        const bool plain = isPlainName(value) && grammars.siteOf(value) != nullptr;
        if (const std::optional<ExplorationFailure> failure = failureOf(*grammarWithMain, "_Main", options)) {
            explored.finding = explorationFinding(*failure, "_Main", value, plain);
        } else if (std::optional<ParadigmPaths> paths = exploreParadigm("_Main", *grammarWithMain, options)) {
            explored.paths = std::make_shared<const ParadigmPaths>(std::move(*paths));
        } else {
            explored.finding = plain ? atRule(DiagnosticCode::ruleFails, message::noPath(value), value)
                                     : atEntry(DiagnosticCode::paradigmFails, message::noPath(value), 0);
        }
    }
    return byValue.emplace(value, std::move(explored)).first->second;
}

EntryDiagnoser::Explored& EntryDiagnoser::State::ofGraph(const std::string& name) {
    if (const auto found = byGraph.find(name); found != byGraph.end()) return found->second;
    Explored explored;
    const bool defined = grammars.siteOf(name) != nullptr;
    if (const std::optional<ExplorationFailure> failure = failureOf(paradigms, name, options)) {
        explored.finding = explorationFinding(*failure, name, name, defined);
    } else if (std::optional<ParadigmPaths> paths = exploreParadigm(name, paradigms, options)) {
        explored.paths = std::make_shared<const ParadigmPaths>(std::move(*paths));
    } else {
        explored.finding = defined ? atRule(DiagnosticCode::ruleFails, message::noPath(name), name)
                                   : atEntry(DiagnosticCode::paradigmFails, message::noPath(name), 0);
    }
    return byGraph.emplace(name, std::move(explored)).first->second;
}

const ExplorationResult& EntryDiagnoser::State::textsOfValue(const std::string& value) {
    Explored& explored = ofValue(value);
    if (!explored.haveTexts && setMain(value)) {
        explored.texts =
            grammarWithMain->explore("_Main", LinguisticLevel::orthographic, 1, options).value_or(ExplorationResult());
        explored.haveTexts = true;
    }
    return explored.texts;
}

const ExplorationResult& EntryDiagnoser::State::textsOfGraph(const std::string& name) {
    Explored& explored = ofGraph(name);
    if (!explored.haveTexts) {
        explored.texts =
            paradigms.explore(name, LinguisticLevel::orthographic, 1, options).value_or(ExplorationResult());
        explored.haveTexts = true;
    }
    return explored.texts;
}

namespace {

std::string textAt(const std::vector<std::string>& texts, std::size_t i) {
    return i < texts.size() ? texts[i] : std::string();
}

} // namespace

// Applies each path of the inflection `value` to `lemma`; the first that
// fails, as a finding at `at`.
std::optional<EntryFinding> EntryDiagnoser::State::checkInflection(const std::string& value, const std::string& lemma,
                                                                   std::size_t at) {
    const ParadigmPaths& paths = *ofValue(value).paths;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const ParadigmPath& path = paths[i];
        if (!path.command) {
            const std::string command = textAt(textsOfValue(value).input, i);
            if (isPlainName(value) && grammars.siteOf(value) != nullptr)
                return atRule(DiagnosticCode::ruleFails, message::commandDoesNotParse(value, i + 1, command), value);
            return atEntry(DiagnosticCode::cannotInflect, message::commandDoesNotParse(value, i + 1, command), at);
        }
        if (Morphology::applyParsedCommand(lemma, *path.command)) continue;
        return atEntry(DiagnosticCode::cannotInflect,
                       message::cannotInflect(value, lemma, i + 1, textAt(textsOfValue(value).input, i),
                                              editFailureOf(lemma, *path.command)),
                       at);
    }
    return std::nullopt;
}

std::optional<EntryFinding> EntryDiagnoser::State::checkDerivation(const std::string& derivationName,
                                                                   const std::string& inflectionName,
                                                                   const std::string& lemma, std::size_t at) {
    const ParadigmPaths& derivation = *ofGraph(derivationName).paths;
    const ParadigmPaths* inflection = inflectionName.empty() ? nullptr : ofGraph(inflectionName).paths.get();
    const auto unparsable = [&](const std::string& graph, std::size_t i) {
        const std::string command = textAt(textsOfGraph(graph).input, i);
        return atRule(DiagnosticCode::ruleFails, message::commandDoesNotParse(graph, i + 1, command), graph);
    };
    for (std::size_t j = 0; j < derivation.size(); ++j) {
        const ParadigmPath& path = derivation[j];
        if (!path.derivedInformation) {
            const ExplorationResult& texts = textsOfGraph(derivationName);
            return atRule(
                DiagnosticCode::ruleFails,
                message::derivationDoesNotSplit(derivationName, j + 1,
                                                j < texts.output.size() ? texts.output[j] : std::vector<std::string>()),
                derivationName);
        }
        if (!path.command) return unparsable(derivationName, j);
        const std::optional<Morphology::EditResult> derived = Morphology::applyParsedCommand(lemma, *path.command);
        if (!derived) {
            return atEntry(DiagnosticCode::cannotDerive,
                           message::cannotDerive(derivationName, lemma, j + 1,
                                                 textAt(textsOfGraph(derivationName).input, j),
                                                 editFailureOf(lemma, *path.command)),
                           at);
        }
        if (inflection == nullptr) continue;
        for (std::size_t k = 0; k < inflection->size(); ++k) {
            const ParadigmPath& inflectionPath = (*inflection)[k];
            if (!inflectionPath.command) return unparsable(inflectionName, k);
            const std::string& derivedForm = derived->resultingWordForm;
            const std::optional<Morphology::EditResult> inflected =
                Morphology::applyParsedCommand(derivedForm, *inflectionPath.command);
            if (!inflected) {
                return atEntry(DiagnosticCode::cannotDerive,
                               message::cannotInflectDerived(inflectionName, derivedForm, k + 1,
                                                             textAt(textsOfGraph(inflectionName).input, k),
                                                             editFailureOf(derivedForm, *inflectionPath.command)),
                               at);
            }
            // The reverse command of this one form, made as the derivation makes it.
            const ParadigmPaths oneDerivation{path};
            const ParadigmPaths oneInflection{inflectionPath};
            if (!Morphology::deriveThenInflect(lemma, oneDerivation, &oneInflection)) {
                return atEntry(DiagnosticCode::cannotDerive,
                               message::unwritableReverseCommand(inflected->resultingWordForm, derivationName), at);
            }
        }
    }
    return std::nullopt;
}

std::optional<EntryParadigms> EntryDiagnoser::State::paradigmsOf(const ALU& alu) {
    EntryParadigms entryParadigms;
    for (const std::string& value : alu.flxParadigms) {
        std::shared_ptr<const ParadigmPaths> paths = ofValue(value).paths;
        if (!paths) return std::nullopt;
        entryParadigms.inflections.push_back(std::move(paths));
    }
    for (const std::string& value : alu.drvParadigms) {
        const std::size_t colon = value.rfind(':');
        if (colon == std::string::npos && alu.flxParadigms.empty()) return std::nullopt;
        const std::string derivationName = colon == std::string::npos ? value : value.substr(0, colon);
        const std::string inflectionName =
            colon == std::string::npos ? alu.flxParadigms.front() : value.substr(colon + 1);
        DerivationParadigms derivation{ofGraph(derivationName).paths, nullptr};
        if (!derivation.derivation) return std::nullopt;
        if (!inflectionName.empty()) {
            derivation.inflection = ofGraph(inflectionName).paths;
            if (!derivation.inflection) return std::nullopt;
        }
        entryParadigms.derivations.push_back(std::move(derivation));
    }
    return entryParadigms;
}

EntryDiagnoser::EntryDiagnoser(const PropertiesDefinitions& definitions, const GrammarChecker& grammars,
                               const ExploreOptions& options)
    : state_(std::make_unique<State>(definitions, grammars, options)) {}

EntryDiagnoser::~EntryDiagnoser() = default;

std::shared_ptr<const ParadigmPaths> EntryDiagnoser::inflectionPaths(const std::string& value) {
    return state_->ofValue(value).paths;
}

std::shared_ptr<const ParadigmPaths> EntryDiagnoser::graphPaths(const std::string& name) {
    return state_->ofGraph(name).paths;
}

std::vector<std::string> EntryDiagnoser::wordForms(const ALU& alu) {
    const std::optional<EntryParadigms> entryParadigms = state_->paradigmsOf(alu);
    if (!entryParadigms) return {};
    std::optional<EntryForms> forms = inflectAndDerive(alu, *entryParadigms);
    if (!forms) return {};
    return std::move(forms->wordForms);
}

EntryFinding EntryDiagnoser::diagnose(std::string_view line) {
    State& state = *state_;
    const std::optional<LexemeView> lexeme = parseLexemeView(line);
    if (!lexeme) return explainNotAnEntry(line);
    const auto propertiesBegin = static_cast<std::size_t>(lexeme->properties.data() - line.data());
    if (const std::optional<std::size_t> at = propertiesSplitFailure(lexeme->properties)) {
        const char c = lexeme->properties[*at];
        std::string text = c == '"'   ? message::unclosedQuote()
                           : c == '<' ? message::unclosedBracket()
                                      : message::backslashAtEnd();
        return atEntry(DiagnosticCode::malformedProperties, std::move(text), propertiesBegin + *at);
    }
    const std::optional<ALU> alu = ALU::init(line, &state.definitions);
    if (!alu) return atEntry(DiagnosticCode::entryFails, message::entryFails(), 0);

    // The paradigms are explored first, inflections then derivations, as
    // the paradigm cache explores them.
    const auto locatedAt = [&](const EntryFinding& finding, std::size_t at) {
        EntryFinding located = finding;
        if (located.owner == Owner::entry) located.offset += at;
        return located;
    };
    for (const std::string& value : alu->flxParadigms) {
        const std::size_t at = itemOffset(line, *lexeme, "FLX=" + value) + 4;
        const Explored& explored = state.ofValue(value);
        if (explored.finding) return locatedAt(*explored.finding, at);
    }
    struct Derivation {
        std::string derivationName;
        std::string inflectionName;
        std::size_t at;
    };
    std::vector<Derivation> derivations;
    for (const std::string& value : alu->drvParadigms) {
        const std::size_t at = itemOffset(line, *lexeme, "DRV=" + value) + 4;
        const std::size_t colon = value.rfind(':');
        if (colon == std::string::npos && alu->flxParadigms.empty())
            return atEntry(DiagnosticCode::derivationWithoutInflection, message::derivationWithoutInflection(value),
                           at);
        Derivation derivation{colon == std::string::npos ? value : value.substr(0, colon),
                              colon == std::string::npos ? alu->flxParadigms.front() : value.substr(colon + 1), at};
        if (const Explored& explored = state.ofGraph(derivation.derivationName); explored.finding)
            return locatedAt(*explored.finding, at);
        if (!derivation.inflectionName.empty()) {
            if (const Explored& explored = state.ofGraph(derivation.inflectionName); explored.finding)
                return locatedAt(*explored.finding, at);
        }
        derivations.push_back(std::move(derivation));
    }

    // Then every command is applied, inflections then derivations.
    for (const std::string& value : alu->flxParadigms) {
        const std::size_t at = itemOffset(line, *lexeme, "FLX=" + value) + 4;
        if (std::optional<EntryFinding> finding = state.checkInflection(value, alu->entry, at)) return *finding;
    }
    for (const Derivation& derivation : derivations) {
        if (std::optional<EntryFinding> finding =
                state.checkDerivation(derivation.derivationName, derivation.inflectionName, alu->entry, derivation.at))
            return *finding;
    }

    // Last, the line of each form.
    const std::optional<EntryParadigms> entryParadigms = state.paradigmsOf(*alu);
    const std::optional<EntryForms> forms = entryParadigms ? inflectAndDerive(*alu, *entryParadigms) : std::nullopt;
    if (!forms) return atEntry(DiagnosticCode::entryFails, message::entryFails(), 0);
    std::size_t inflectedForms = 0;
    for (const auto& paths : entryParadigms->inflections) inflectedForms += paths->size();
    for (std::size_t i = 0; i < forms->wordForms.size(); ++i) {
        if (assembleFormLine(forms->wordForms[i], forms->categories[i], alu->morphologicalProperties,
                             forms->properties[i], state.definitions))
            continue;
        const std::optional<std::string> text = Morphology::addCategoryAndAllProperties(
            forms->categories[i], &alu->morphologicalProperties, forms->properties[i], state.definitions);
        if (text)
            return atEntry(DiagnosticCode::invalidForm, message::invalidForm(forms->wordForms[i] + "," + *text), 0);
        // Only a derivation gives a form a category of its own: find which.
        std::size_t first = inflectedForms;
        for (std::size_t d = 0; d < entryParadigms->derivations.size(); ++d) {
            const DerivationParadigms& derivation = entryParadigms->derivations[d];
            first += derivation.derivation->size() * (derivation.inflection ? derivation.inflection->size() : 1);
            if (i < first) {
                const std::string& name = derivations[d].derivationName;
                return atRule(DiagnosticCode::ruleFails, message::derivedCategoryNotCapital(name, forms->categories[i]),
                              name);
            }
        }
        return atEntry(DiagnosticCode::invalidForm, message::invalidForm(forms->wordForms[i]), 0);
    }
    return atEntry(DiagnosticCode::entryFails, message::entryFails(), 0);
}

EntryFinding explainNotAnEntry(std::string_view line) {
    const std::string_view trimmed = trimWhiteSpaceAndNewlines(line);
    if (trimmed.data() != line.data() && trimmed.starts_with("#use"))
        return atEntry(DiagnosticCode::notAnEntry, message::indentedUse(),
                       static_cast<std::size_t>(trimmed.data() - line.data()));
    // The comma after the lemma: the first one that a backslash does not
    // protect, else the first one.
    std::size_t comma = line.find(',');
    if (comma == std::string_view::npos) return atEntry(DiagnosticCode::notAnEntry, message::noComma(), 0);
    for (std::size_t at = comma; at != std::string_view::npos; at = line.find(',', at + 1)) {
        if (at == 0 || line[at - 1] != '\\') {
            comma = at;
            break;
        }
    }
    if (comma == 0) return atEntry(DiagnosticCode::notAnEntry, message::emptyLemma(), 0);
    const std::size_t after = comma + 1;
    if (after == line.size() || line[after] == '+' || isBlank(static_cast<unsigned char>(line[after])))
        return atEntry(DiagnosticCode::notAnEntry, message::missingCategory(), after);
    if (!isCapital(line[after])) {
        if (line[after] == ',') return atEntry(DiagnosticCode::notAnEntry, message::missingCategory(), after);
        const std::size_t end = std::min(line.find('+', after), line.size());
        return atEntry(DiagnosticCode::notAnEntry, message::categoryNotCapital(line.substr(after, end - after)), after);
    }
    std::size_t categoryEnd = after;
    while (categoryEnd < line.size() && isCapital(line[categoryEnd])) ++categoryEnd;
    const std::string_view rest = line.substr(categoryEnd);
    for (std::size_t at = rest.find(','); at != std::string_view::npos; at = rest.find(',', at + 1)) {
        if (at > 0 && at + 1 < rest.size() && isCapital(rest[at + 1]))
            return atEntry(DiagnosticCode::notAnEntry, message::secondEntry(), categoryEnd);
    }
    return atEntry(DiagnosticCode::notAnEntry, message::notAnEntry(), 0);
}

std::optional<Inconsistency> explainInconsistency(const std::string& category,
                                                  const std::vector<std::string>& morphological,
                                                  const std::vector<std::string>& properties,
                                                  const PropertiesDefinitions& definitions) {
    std::vector<std::string> all = morphological;
    all.insert(all.end(), properties.begin(), properties.end());
    std::vector<std::string> prefix;
    for (const std::string& property : all) {
        prefix.push_back(property);
        const std::optional<std::string> text =
            Morphology::addCategoryAndAllProperties(category, nullptr, prefix, definitions);
        if (!text || *text != Morphology::inconsistentMarker) continue;
        const auto bare = [](std::string_view item) {
            if (item.starts_with('+')) item.remove_prefix(1);
            return item;
        };
        const NormalizedProperty second = normalize(category, bare(property), &definitions);
        for (const std::string& earlier : prefix) {
            const NormalizedProperty first = normalize(category, bare(earlier), &definitions);
            if (first.name == second.name && !canonicallyEqual(first.value, second.value))
                return Inconsistency{second.name, first.value, second.value};
        }
        return Inconsistency{second.name, std::string(), second.value};
    }
    return std::nullopt;
}

} // namespace lexpand
