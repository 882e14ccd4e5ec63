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

// A "DRV=" item of an entry: the derivation, the inflection of what it
// derives (empty for none), and the offset of its value in the line.
struct DerivationItem {
    std::string derivationName;
    std::string inflectionName;
    std::size_t at;
};

// `finding` with an offset within a value moved to the value's offset `at`
// in the line.
EntryFinding locatedAt(const EntryFinding& finding, std::size_t at) {
    EntryFinding located = finding;
    if (located.owner == Owner::entry) located.offset += at;
    return located;
}

// Where the property items of `line` cannot be split: an unclosed quote or
// bracket, or a backslash at the end; absent when they can.
std::optional<EntryFinding> propertiesSyntaxFinding(std::string_view line, const LexemeView& lexeme) {
    const std::optional<std::size_t> at = propertiesSplitFailure(lexeme.properties);
    if (!at) return std::nullopt;
    const auto propertiesBegin = static_cast<std::size_t>(lexeme.properties.data() - line.data());
    const char c = lexeme.properties[*at];
    std::string text = c == '"'   ? message::unclosedQuote()
                       : c == '<' ? message::unclosedBracket()
                                  : message::backslashAtEnd();
    return atEntry(DiagnosticCode::malformedProperties, std::move(text), propertiesBegin + *at);
}

// The offset of the value of the item `key` + `value` ("FLX=" and a name) in `line`.
std::size_t valueOffset(std::string_view line, const LexemeView& lexeme, std::string_view key,
                        const std::string& value) {
    return itemOffset(line, lexeme, std::string(key) + value) + key.size();
}

} // namespace

// What is known of one paradigm: its paths (held while few, explored again
// on each use past that, as the paradigm cache does), or why it cannot be
// explored.
struct EntryDiagnoser::Explored {
    std::optional<Paradigm> paradigm;
    std::optional<EntryFinding> finding; // when it fails; an entry finding's offset is within the value
};

struct EntryDiagnoser::State {
    State(const PropertiesDefinitions& propertiesDefinitions, const GrammarChecker& grammarChecker,
          const ExploreOptions& exploreOptions)
        : definitions(propertiesDefinitions), grammars(grammarChecker), paradigms(grammarChecker.paradigms()),
          options(exploreOptions) {}

    // A path's command and outputs as the exploration writes them, for messages.
    struct PathText {
        std::string input;
        std::vector<std::string> outputs;
    };

    const PropertiesDefinitions& definitions;
    const GrammarChecker& grammars;
    const MGFSA& paradigms;
    const ExploreOptions options;
    std::optional<MGFSA> grammarWithMain; // the paradigms and the "_Main" of the last value set
    std::string mainValue;                // that value
    std::unordered_map<std::string, Explored> byValue;
    std::unordered_map<std::string, Explored> byGraph;

    bool setMain(const std::string& value);
    Explored explore(const MGFSA& grammar, const std::string& start, const std::string& shown, bool ownedByRule);
    Explored& ofValue(const std::string& value);
    Explored& ofGraph(const std::string& name);
    PathText pathText(const MGFSA& grammar, const std::string& start, std::size_t index) const;
    PathText textOfValuePath(const std::string& value, std::size_t index);
    PathText textOfGraphPath(const std::string& name, std::size_t index) const;
    EntryFinding explorationFinding(const ExplorationFailure& failure, const std::string& start,
                                    const std::string& shown, bool ownedByRule);
    std::optional<EntryFinding> checkInflection(const std::string& value, const std::string& lemma, std::size_t at);
    std::optional<EntryFinding> checkDerivation(const std::string& derivationName, const std::string& inflectionName,
                                                const std::string& lemma, std::size_t at);
    std::optional<EntryParadigms> paradigmsOf(const ALU& alu);

    // The steps of diagnose, each the first finding of its step or absent.
    // paradigmFinding: every paradigm explored, inflections then
    // derivations, as the paradigm cache explores them; fills
    // `derivations`. commandFinding: every command applied, inflections
    // then derivations. formLineFinding (last, never absent): the line of
    // each form.
    std::optional<EntryFinding> paradigmFinding(std::string_view line, const LexemeView& lexeme, const ALU& alu,
                                                std::vector<DerivationItem>& derivations);
    std::optional<EntryFinding> derivationFinding(const DerivationItem& derivation);
    std::optional<EntryFinding> commandFinding(std::string_view line, const LexemeView& lexeme, const ALU& alu,
                                               const std::vector<DerivationItem>& derivations);
    EntryFinding formLineFinding(const ALU& alu, const std::vector<DerivationItem>& derivations);
    std::optional<EntryFinding> derivedCategoryFinding(const EntryParadigms& entryParadigms,
                                                       const std::vector<DerivationItem>& derivations,
                                                       const std::string& category) const;
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

// Explores `start` in `grammar`, counting its paths without keeping them;
// the failure when it fails. A paradigm that fails late (past the path
// limit) costs one run here.
std::optional<ExplorationFailure> failureOf(const MGFSA& grammar, const std::string& start,
                                            const ExploreOptions& options, std::size_t& paths) {
    ExplorationFailure failure;
    paths = 0;
    const auto count = [&](const FoundPath&) {
        ++paths;
        return true;
    };
    if (explorePaths(grammar, start, LinguisticLevel::orthographic, 1, options, count, &failure) ==
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

// Explores `start` in `grammar`: its paradigm (its paths held while they are
// few, else a copy of the grammar to explore again), or why it fails.
EntryDiagnoser::Explored EntryDiagnoser::State::explore(const MGFSA& grammar, const std::string& start,
                                                        const std::string& shown, bool ownedByRule) {
    Explored explored;
    std::size_t paths = 0;
    if (const std::optional<ExplorationFailure> failure = failureOf(grammar, start, options, paths)) {
        explored.finding = explorationFinding(*failure, start, shown, ownedByRule);
    } else if (paths == 0) {
        explored.finding = ownedByRule ? atRule(DiagnosticCode::ruleFails, message::noPath(shown), shown)
                                       : atEntry(DiagnosticCode::paradigmFails, message::noPath(shown), 0);
    } else if (paths <= ParadigmCache::defaultHeldPaths) {
        if (std::optional<ParadigmPaths> held = exploreParadigm(start, grammar, options))
            explored.paradigm = Paradigm(std::make_shared<const ParadigmPaths>(std::move(*held)));
    } else {
        explored.paradigm = Paradigm(std::make_shared<const MGFSA>(grammar), start, options);
    }
    return explored;
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
        explored = explore(*grammarWithMain, "_Main", value, isPlainName(value) && grammars.siteOf(value) != nullptr);
    }
    return byValue.emplace(value, std::move(explored)).first->second;
}

EntryDiagnoser::Explored& EntryDiagnoser::State::ofGraph(const std::string& name) {
    if (const auto found = byGraph.find(name); found != byGraph.end()) return found->second;
    return byGraph.emplace(name, explore(paradigms, name, name, grammars.siteOf(name) != nullptr)).first->second;
}

// The text of path `index` of `start` in `grammar`, found again by exploring.
EntryDiagnoser::State::PathText EntryDiagnoser::State::pathText(const MGFSA& grammar, const std::string& start,
                                                                std::size_t index) const {
    PathText text;
    std::size_t seen = 0;
    explorePaths(grammar, start, LinguisticLevel::orthographic, 1, options, [&](const FoundPath& path) {
        if (seen++ < index) return true;
        text.input = std::string(trimWhiteSpaceAndNewlines(path.input));
        for (const std::string* output : path.outputs) text.outputs.push_back(*output);
        return false;
    });
    return text;
}

EntryDiagnoser::State::PathText EntryDiagnoser::State::textOfValuePath(const std::string& value, std::size_t index) {
    if (!setMain(value)) return PathText();
    return pathText(*grammarWithMain, "_Main", index);
}

EntryDiagnoser::State::PathText EntryDiagnoser::State::textOfGraphPath(const std::string& name,
                                                                       std::size_t index) const {
    return pathText(paradigms, name, index);
}

// Applies each path of the inflection `value` to `lemma`; the first that
// fails, as a finding at `at`.
std::optional<EntryFinding> EntryDiagnoser::State::checkInflection(const std::string& value, const std::string& lemma,
                                                                   std::size_t at) {
    std::optional<EntryFinding> finding;
    std::size_t i = 0;
    ofValue(value).paradigm->forEachPath([&](const ParadigmPath& path) {
        if (!path.command) {
            const std::string text = message::commandDoesNotParse(value, i + 1, textOfValuePath(value, i).input);
            finding = isPlainName(value) && grammars.siteOf(value) != nullptr
                          ? atRule(DiagnosticCode::ruleFails, text, value)
                          : atEntry(DiagnosticCode::cannotInflect, text, at);
        } else if (!applyPath(lemma, path)) {
            finding = atEntry(DiagnosticCode::cannotInflect,
                              message::cannotInflect(value, lemma, i + 1, textOfValuePath(value, i).input,
                                                     editFailureOf(lemma, *path.command)),
                              at);
        }
        ++i;
        return !finding;
    });
    return finding;
}

std::optional<EntryFinding> EntryDiagnoser::State::checkDerivation(const std::string& derivationName,
                                                                   const std::string& inflectionName,
                                                                   const std::string& lemma, std::size_t at) {
    const Paradigm& derivation = *ofGraph(derivationName).paradigm;
    const Paradigm* inflection = inflectionName.empty() ? nullptr : &*ofGraph(inflectionName).paradigm;
    const auto unparsable = [&](const std::string& graph, std::size_t i) {
        const std::string command = textOfGraphPath(graph, i).input;
        return atRule(DiagnosticCode::ruleFails, message::commandDoesNotParse(graph, i + 1, command), graph);
    };
    std::optional<EntryFinding> finding;
    std::size_t j = 0;
    derivation.forEachPath([&](const ParadigmPath& path) {
        if (!path.derivedInformation) {
            finding = atRule(
                DiagnosticCode::ruleFails,
                message::derivationDoesNotSplit(derivationName, j + 1, textOfGraphPath(derivationName, j).outputs),
                derivationName);
            return false;
        }
        if (!path.command) {
            finding = unparsable(derivationName, j);
            return false;
        }
        const std::optional<Morphology::EditResult> derived = applyPath(lemma, path);
        if (!derived) {
            finding =
                atEntry(DiagnosticCode::cannotDerive,
                        message::cannotDerive(derivationName, lemma, j + 1, textOfGraphPath(derivationName, j).input,
                                              editFailureOf(lemma, *path.command)),
                        at);
            return false;
        }
        ++j;
        if (inflection == nullptr) return true;
        std::size_t k = 0;
        const std::string& derivedForm = derived->resultingWordForm;
        inflection->forEachPath([&](const ParadigmPath& inflectionPath) {
            if (!inflectionPath.command) {
                finding = unparsable(inflectionName, k);
                return false;
            }
            const std::optional<Morphology::EditResult> inflected = applyPath(derivedForm, inflectionPath);
            if (!inflected) {
                finding = atEntry(DiagnosticCode::cannotDerive,
                                  message::cannotInflectDerived(inflectionName, derivedForm, k + 1,
                                                                textOfGraphPath(inflectionName, k).input,
                                                                editFailureOf(derivedForm, *inflectionPath.command)),
                                  at);
                return false;
            }
            if (!combinedReverseCommand(*inflected, *derived)) {
                finding = atEntry(DiagnosticCode::cannotDerive,
                                  message::unwritableReverseCommand(inflected->resultingWordForm, derivationName), at);
                return false;
            }
            ++k;
            return true;
        });
        return !finding;
    });
    return finding;
}

std::optional<EntryParadigms> EntryDiagnoser::State::paradigmsOf(const ALU& alu) {
    EntryParadigms entryParadigms;
    for (const std::string& value : alu.flxParadigms) {
        const std::optional<Paradigm>& paradigm = ofValue(value).paradigm;
        if (!paradigm) return std::nullopt;
        entryParadigms.inflections.push_back(*paradigm);
    }
    for (const std::string& value : alu.drvParadigms) {
        const std::optional<DerivationNames> names = derivationNamesOf(value, alu);
        if (!names) return std::nullopt;
        const std::string& inflectionName = names->inflection;
        const std::optional<Paradigm>& derivation = ofGraph(names->derivation).paradigm;
        if (!derivation) return std::nullopt;
        DerivationParadigms derived{*derivation, std::nullopt};
        if (!inflectionName.empty()) {
            derived.inflection = ofGraph(inflectionName).paradigm;
            if (!derived.inflection) return std::nullopt;
        }
        entryParadigms.derivations.push_back(std::move(derived));
    }
    return entryParadigms;
}

EntryDiagnoser::EntryDiagnoser(const PropertiesDefinitions& definitions, const GrammarChecker& grammars,
                               const ExploreOptions& options)
    : state_(std::make_unique<State>(definitions, grammars, options)) {}

EntryDiagnoser::~EntryDiagnoser() = default;

std::optional<EntryParadigms> EntryDiagnoser::paradigmsOf(const ALU& alu) {
    return state_->paradigmsOf(alu);
}

std::optional<EntryFinding> EntryDiagnoser::State::paradigmFinding(std::string_view line, const LexemeView& lexeme,
                                                                   const ALU& alu,
                                                                   std::vector<DerivationItem>& derivations) {
    for (const std::string& value : alu.flxParadigms) {
        const Explored& explored = ofValue(value);
        if (explored.finding) return locatedAt(*explored.finding, valueOffset(line, lexeme, "FLX=", value));
    }
    for (const std::string& value : alu.drvParadigms) {
        const std::size_t at = valueOffset(line, lexeme, "DRV=", value);
        std::optional<DerivationNames> names = derivationNamesOf(value, alu);
        if (!names)
            return atEntry(DiagnosticCode::derivationWithoutInflection, message::derivationWithoutInflection(value),
                           at);
        DerivationItem derivation{std::move(names->derivation), std::move(names->inflection), at};
        if (std::optional<EntryFinding> finding = derivationFinding(derivation)) return finding;
        derivations.push_back(std::move(derivation));
    }
    return std::nullopt;
}

// Why the derivation or the inflection of `derivation` cannot be explored;
// absent when both can.
std::optional<EntryFinding> EntryDiagnoser::State::derivationFinding(const DerivationItem& derivation) {
    if (const Explored& explored = ofGraph(derivation.derivationName); explored.finding)
        return locatedAt(*explored.finding, derivation.at);
    if (derivation.inflectionName.empty()) return std::nullopt;
    if (const Explored& explored = ofGraph(derivation.inflectionName); explored.finding)
        return locatedAt(*explored.finding, derivation.at);
    return std::nullopt;
}

std::optional<EntryFinding> EntryDiagnoser::State::commandFinding(std::string_view line, const LexemeView& lexeme,
                                                                  const ALU& alu,
                                                                  const std::vector<DerivationItem>& derivations) {
    for (const std::string& value : alu.flxParadigms) {
        if (std::optional<EntryFinding> finding =
                checkInflection(value, alu.entry, valueOffset(line, lexeme, "FLX=", value)))
            return finding;
    }
    for (const DerivationItem& derivation : derivations) {
        if (std::optional<EntryFinding> finding =
                checkDerivation(derivation.derivationName, derivation.inflectionName, alu.entry, derivation.at))
            return finding;
    }
    return std::nullopt;
}

// Only a derivation gives a form a category of its own: the finding of the
// first derivation with a path that gives `category`, which is not a
// category; absent when none gives it.
std::optional<EntryFinding>
EntryDiagnoser::State::derivedCategoryFinding(const EntryParadigms& entryParadigms,
                                              const std::vector<DerivationItem>& derivations,
                                              const std::string& category) const {
    std::optional<EntryFinding> finding;
    for (std::size_t d = 0; d < derivations.size() && !finding; ++d) {
        entryParadigms.derivations[d].derivation.forEachPath([&](const ParadigmPath& path) {
            if (path.derivedInformation && path.derivedInformation->category == category) {
                const std::string& name = derivations[d].derivationName;
                finding = atRule(DiagnosticCode::ruleFails, message::derivedCategoryNotCapital(name, category), name);
            }
            return !finding;
        });
    }
    return finding;
}

EntryFinding EntryDiagnoser::State::formLineFinding(const ALU& alu, const std::vector<DerivationItem>& derivations) {
    const std::optional<EntryParadigms> entryParadigms = paradigmsOf(alu);
    if (!entryParadigms) return atEntry(DiagnosticCode::entryFails, message::entryFails(), 0);
    std::optional<EntryFinding> finding;
    forEachForm(alu, *entryParadigms, [&](const EntryForm& form) {
        const std::vector<std::string> properties = formPropertyList(alu, form);
        if (assembleFormLine(form.wordForm, *form.category, alu.morphologicalProperties, properties, definitions))
            return true;
        const std::optional<std::string> text = Morphology::addCategoryAndAllProperties(
            *form.category, &alu.morphologicalProperties, properties, definitions);
        if (text || form.derivationProperties == nullptr) {
            finding = atEntry(DiagnosticCode::invalidForm,
                              message::invalidForm(std::string(form.wordForm) + "," + text.value_or("")), 0);
            return false;
        }
        finding = derivedCategoryFinding(*entryParadigms, derivations, *form.category);
        return false;
    });
    return finding.value_or(atEntry(DiagnosticCode::entryFails, message::entryFails(), 0));
}

EntryFinding EntryDiagnoser::diagnose(std::string_view line) {
    State& state = *state_;
    const std::optional<LexemeView> lexeme = parseLexemeView(line);
    if (!lexeme) return explainNotAnEntry(line);
    if (std::optional<EntryFinding> finding = propertiesSyntaxFinding(line, *lexeme)) return *finding;
    const std::optional<ALU> alu = ALU::init(line, &state.definitions);
    if (!alu) return atEntry(DiagnosticCode::entryFails, message::entryFails(), 0);
    std::vector<DerivationItem> derivations;
    if (std::optional<EntryFinding> finding = state.paradigmFinding(line, *lexeme, *alu, derivations)) return *finding;
    if (std::optional<EntryFinding> finding = state.commandFinding(line, *lexeme, *alu, derivations)) return *finding;
    return state.formLineFinding(*alu, derivations);
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
