// Exports checkDefinitions: the properties definitions, rule by rule.

#include "DefinitionsCheck.h"

#include <map>
#include <set>
#include <utility>

#include "Exploration.h"
#include "GrammarCheck.h"

namespace lexpand {

namespace {

constexpr std::string_view exclusiveRule = "EXCLUSIVEPROPERTIES";
constexpr std::string_view morphologicalRule = "MORPHOLOGICALPROPERTIES";

// Why enumerating a rule failed, in words; empty when the failure comes
// from a rule already reported.
std::string enumerationFailure(const std::string& ruleName, const ExplorationFailure& failure,
                               const std::set<std::string>& leftOut, const ExploreOptions& options) {
    switch (failure.kind) {
    case ExplorationFailure::Kind::missingGraph:
        if (leftOut.count(failure.graphName) != 0) return std::string();
        return message::definitionCallsUndefined(failure.calls.empty() ? ruleName : failure.calls.back(),
                                                 failure.graphName);
    case ExplorationFailure::Kind::callDepth: {
        std::vector<std::string> calls = failure.calls;
        calls.push_back(failure.graphName);
        return message::definitionFails(ruleName, message::callsTooDeep(ruleName, options.maxCallDepth, calls));
    }
    case ExplorationFailure::Kind::pathLimit:
        return message::definitionFails(ruleName, message::tooManyPaths(ruleName, options.maxPaths));
    case ExplorationFailure::Kind::stepLimit:
    case ExplorationFailure::Kind::malformed:
        break;
    }
    return message::definitionFails(ruleName, message::tooManySteps(ruleName));
}

// The rules of a definitions file that may define something, as one
// grammar, with where each rule and each of its calls is.
struct RuleGrammar {
    MGFSA grammar{LinguisticLevel::propertyDefinition};
    std::map<std::string, SourceLocation> sites;
    std::map<std::string, std::vector<CheckedRule::Call>> calls;
    bool withoutCategory = false; // a rule was left out for lack of a category
};

// True when a rule named `name` may define something: a keyword rule, or a
// name with a category before its "_".
bool namesDefinition(const std::string& name) {
    return name == exclusiveRule || name == morphologicalRule || name.find('_') != std::string::npos;
}

// The grammar of the rules that may define something (their graphs moved
// out of `rules`); reports each other rule and adds it to `leftOut`.
RuleGrammar gatherRules(CheckedRules& rules, Reporter& reporter, std::set<std::string>& leftOut) {
    RuleGrammar gathered;
    for (CheckedRule& rule : rules.rules) {
        if (!namesDefinition(rule.name)) {
            reporter.report(makeDiagnostic(DiagnosticCode::definitionWithoutCategory, rule.site,
                                           message::definitionWithoutCategory(rule.name)));
            leftOut.insert(rule.name);
            gathered.withoutCategory = true;
            continue;
        }
        gathered.sites[rule.name] = rule.site;
        gathered.calls[rule.name] = rule.calls;
        gathered.grammar.addGraph(rule.name, std::move(rule.gfsa));
    }
    return gathered;
}

// Where the failure of the rule `name` shows: at the call of the missing
// rule when it fails through one, else at the rule.
SourceLocation failureSite(RuleGrammar& rules, const std::string& name, const ExplorationFailure& failure) {
    SourceLocation at = rules.sites[name];
    if (failure.kind != ExplorationFailure::Kind::missingGraph || failure.calls.empty()) return at;
    for (const CheckedRule::Call& call : rules.calls[failure.calls.back()])
        if (call.name == failure.graphName) at = call.location;
    return at;
}

// Enumerates the rule `name` as the definitions enumerate it; when that
// fails, reports why (silently when it fails through a rule in `leftOut`)
// and answers true. Cost: that of the enumeration, bounded by `options`.
bool failsToEnumerate(RuleGrammar& rules, const std::string& name, const std::set<std::string>& leftOut,
                      Reporter& reporter, const ExploreOptions& options) {
    ExplorationFailure failure;
    const auto ignore = [](const FoundPath&) { return true; };
    if (explorePaths(rules.grammar, name, LinguisticLevel::syntax, 1, options, ignore, &failure) ==
        ExplorationEnd::finished)
        return false;
    const std::string because = enumerationFailure(name, failure, leftOut, options);
    if (!because.empty())
        reporter.report(makeDiagnostic(DiagnosticCode::definitionFails, failureSite(rules, name, failure), because));
    return true;
}

// Adds to `leftOut` each rule that fails to enumerate, pass after pass until
// none more fails, since a rule may fail through one left out; true when it
// added one.
bool leaveOutFailingRules(RuleGrammar& rules, std::set<std::string>& leftOut, Reporter& reporter,
                          const ExploreOptions& options) {
    bool any = false;
    for (bool changed = true; changed;) {
        changed = false;
        for (const auto& [name, graph] : rules.grammar.graphs) {
            if (leftOut.count(name) != 0 || !failsToEnumerate(rules, name, leftOut, reporter, options)) continue;
            leftOut.insert(name);
            changed = true;
            any = true;
        }
    }
    return any;
}

// The definitions of the rules not in `leftOut`: their texts in file order,
// so that a later definition of a name still replaces an earlier one.
std::string usableDefinitions(const CheckedRules& rules, const std::set<std::string>& leftOut) {
    std::string usable;
    for (const CheckedRule& rule : rules.rules) {
        if (leftOut.count(rule.name) == 0) usable.append(rule.name).append(" = ").append(rule.body).append(" ;\n");
    }
    return usable;
}

} // namespace

CheckedDefinitions checkDefinitions(const std::string& path, Reporter& reporter, const ExploreOptions& options) {
    CheckedDefinitions checked;
    const std::optional<std::string> text = readCheckedFile(path, path, reporter);
    if (!text) return checked;
    const SourceText source(path, *text);
    CheckedRules rules = checkRules(source, LinguisticLevel::propertyDefinition, reporter);
    std::set<std::string> leftOut(rules.failedNames.begin(), rules.failedNames.end());
    RuleGrammar grammar = gatherRules(rules, reporter, leftOut);
    const bool failing = leaveOutFailingRules(grammar, leftOut, reporter, options);
    const bool complete = rules.failedNames.empty() && !grammar.withoutCategory && !failing;

    if (complete) {
        checked.definitions = PropertiesDefinitions::init(*text);
        checked.complete = checked.definitions.has_value();
    }
    if (!checked.definitions) checked.definitions = PropertiesDefinitions::init(usableDefinitions(rules, leftOut));
    return checked;
}

} // namespace lexpand
