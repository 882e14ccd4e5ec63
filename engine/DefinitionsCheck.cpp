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

} // namespace

CheckedDefinitions checkDefinitions(const std::string& path, Reporter& reporter, const ExploreOptions& options) {
    CheckedDefinitions checked;
    const std::optional<std::string> text = readCheckedFile(path, path, reporter);
    if (!text) return checked;
    const SourceText source(path, *text);
    CheckedRules rules = checkRules(source, LinguisticLevel::propertyDefinition, reporter);
    std::set<std::string> leftOut(rules.failedNames.begin(), rules.failedNames.end());
    bool complete = rules.failedNames.empty();

    MGFSA grammar(LinguisticLevel::propertyDefinition);
    std::map<std::string, SourceLocation> sites;
    std::map<std::string, std::vector<CheckedRule::Call>> calls;
    for (CheckedRule& rule : rules.rules) {
        const bool keyword = rule.name == exclusiveRule || rule.name == morphologicalRule;
        if (!keyword && rule.name.find('_') == std::string::npos) {
            reporter.report(makeDiagnostic(DiagnosticCode::definitionWithoutCategory, rule.site,
                                           message::definitionWithoutCategory(rule.name)));
            leftOut.insert(rule.name);
            complete = false;
            continue;
        }
        sites[rule.name] = rule.site;
        calls[rule.name] = rule.calls;
        grammar.addGraph(rule.name, std::move(rule.gfsa));
    }
    // Each rule enumerated as the definitions enumerate it; a rule that
    // fails through a rule left out is left out silently.
    for (bool changed = true; changed;) {
        changed = false;
        for (const auto& [name, graph] : grammar.graphs) {
            if (leftOut.count(name) != 0) continue;
            ExplorationFailure failure;
            const auto ignore = [](const FoundPath&) { return true; };
            if (explorePaths(grammar, name, LinguisticLevel::syntax, 1, options, ignore, &failure) ==
                ExplorationEnd::finished)
                continue;
            const std::string because = enumerationFailure(name, failure, leftOut, options);
            SourceLocation at = sites[name];
            if (failure.kind == ExplorationFailure::Kind::missingGraph && !failure.calls.empty()) {
                // At the call of the missing rule.
                for (const CheckedRule::Call& call : calls[failure.calls.back()])
                    if (call.name == failure.graphName) at = call.location;
            }
            if (!because.empty()) reporter.report(makeDiagnostic(DiagnosticCode::definitionFails, at, because));
            leftOut.insert(name);
            complete = false;
            changed = true;
        }
    }

    if (complete) {
        checked.definitions = PropertiesDefinitions::init(*text);
        checked.complete = checked.definitions.has_value();
    }
    if (!checked.definitions) {
        // The definitions of the rules that work: their texts in file order,
        // so that a later definition of a name still replaces an earlier one.
        std::string usable;
        for (const CheckedRule& rule : rules.rules) {
            if (leftOut.count(rule.name) == 0) usable.append(rule.name).append(" = ").append(rule.body).append(" ;\n");
        }
        checked.definitions = PropertiesDefinitions::init(usable);
    }
    return checked;
}

} // namespace lexpand
