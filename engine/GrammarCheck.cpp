// Exports checkRules, readCheckedFile and GrammarChecker: grammars read,
// compiled, determinized and merged rule by rule, with every problem reported.

#include "GrammarCheck.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <system_error>
#include <tuple>
#include <utility>

#include "Exploration.h"
#include "StrongComponents.h"
#include "TextServices.h"
#include "TextualGrammar.h"

namespace lexpand {

namespace {

// Determinization answers an automaton, or nothing past its bounds; both
// forms of the answer are taken.
[[maybe_unused]] std::optional<GFSA> determinized(GFSA gfsa) {
    return gfsa;
}
[[maybe_unused]] std::optional<GFSA> determinized(std::optional<GFSA> gfsa) {
    return gfsa;
}

// The location of `place` (a line of `lines`, which are views into the
// source text, and an offset in it).
SourceLocation locationOf(const SourceText& source, const std::vector<std::string_view>& lines,
                          RuleReading::Place place) {
    if (place.line >= lines.size()) return source.locate(source.text().size());
    return source.locate(source.offsetOf(lines[place.line]) + place.offset);
}

// True for the characters that end a token of a rule body.
bool endsToken(char c) {
    return c == ' ' || c == '\t' || c == '|' || c == '&' || c == '(' || c == ')' || c == '/' || c == '*';
}

// The offset in `body` of the token `token`, standing whole; the body's size
// when it is not found.
std::size_t findToken(std::string_view body, std::string_view token) {
    for (std::size_t at = body.find(token); at != std::string_view::npos; at = body.find(token, at + 1)) {
        const std::size_t end = at + token.size();
        if (end == body.size() || endsToken(body[end])) return at;
    }
    return body.size();
}

std::string ruleFaultMessage(const RuleReading& reading) {
    switch (reading.fault) {
    case RuleReading::Fault::noEqualSign:
        return message::noEqualSign();
    case RuleReading::Fault::spaceInName:
        return message::spaceInRuleName(reading.name);
    case RuleReading::Fault::textAfterSemicolon:
        return message::textAfterSemicolon(reading.faultText);
    case RuleReading::Fault::noSemicolon:
        return message::unterminatedRule(reading.name);
    case RuleReading::Fault::none:
        break;
    }
    return std::string();
}

std::string expressionFaultMessage(std::string_view ruleName, const ExpressionFault& fault) {
    switch (fault.kind) {
    case ExpressionFault::Kind::badEscape:
        return message::ruleDoesNotCompile(ruleName, message::badEscape(fault.token));
    case ExpressionFault::Kind::empty:
    case ExpressionFault::Kind::dictionaryLevel:
        return message::ruleDoesNotCompile(ruleName, message::emptyExpression());
    case ExpressionFault::Kind::rejectedLabel:
        return message::ruleDoesNotCompile(ruleName, message::rejectedLabel(fault.token));
    case ExpressionFault::Kind::rejectedOutput:
        return message::ruleDoesNotCompile(ruleName, message::rejectedOutput(fault.token));
    case ExpressionFault::Kind::endsEarly:
        return message::ruleDoesNotCompile(ruleName, message::expressionEndsEarly(fault.token));
    case ExpressionFault::Kind::tooLarge:
        return message::tooManyStates(ruleName, maximalExpressionStates);
    }
    return std::string();
}

Diagnostic remarkDiagnostic(const ExpressionRemark& remark, SourceLocation location) {
    switch (remark.kind) {
    case ExpressionRemark::Kind::unbalancedClosing:
        return makeDiagnostic(DiagnosticCode::unbalancedParenthesis, std::move(location), message::unbalancedClosing());
    case ExpressionRemark::Kind::unbalancedOpening:
        return makeDiagnostic(DiagnosticCode::unbalancedParenthesis, std::move(location), message::unbalancedOpening());
    case ExpressionRemark::Kind::skippedToken:
        return makeDiagnostic(DiagnosticCode::ignoredToken, std::move(location), message::ignoredToken(remark.token));
    case ExpressionRemark::Kind::danglingOperator:
        return makeDiagnostic(DiagnosticCode::danglingOperator, std::move(location),
                              message::danglingOperator(remark.token));
    }
    return makeDiagnostic(DiagnosticCode::ignoredToken, std::move(location), message::ignoredToken(remark.token));
}

Diagnostic withNote(Diagnostic diagnostic, std::string note, SourceLocation location) {
    diagnostic.notes.push_back(RelatedNote{std::move(note), std::move(location)});
    return diagnostic;
}

bool isEarlier(const SourceLocation& a, const SourceLocation& b) {
    return std::tie(a.line, a.column) < std::tie(b.line, b.column);
}

// The check of the rules of one text, rule by rule, for one call of
// checkRules.
class RuleChecker {
public:
    RuleChecker(const SourceText& source, LinguisticLevel level, Reporter& reporter)
        : source_(source), level_(level), reporter_(reporter), lines_(splitAtNewlines(source.text())) {
        std::erase_if(lines_, [](std::string_view line) { return line.empty(); });
    }

    // Reads every rule, skipping comments, until the reporter stops.
    CheckedRules checkAll() {
        std::size_t i = 0;
        while (i < lines_.size() && !reporter_.stopped()) {
            const std::string_view line = trimWhiteSpaceAndNewlines(lines_[i]);
            if (line.empty() || line.front() == '#') {
                ++i;
                continue;
            }
            const RuleReading reading = readOneRule(lines_, i);
            i = std::max(reading.resumeAt, i + 1);
            const SourceLocation site = locationOf(source_, lines_, reading.namePlace);
            if (reading.rule)
                checkRule(reading, site);
            else
                reportUnread(reading, site);
        }
        return std::move(checked_);
    }

private:
    // Reports a rule that cannot be read, at its name or at the text after
    // its semicolon; its name, when it has one, fails.
    void reportUnread(const RuleReading& reading, const SourceLocation& site) {
        const bool unterminated = reading.fault == RuleReading::Fault::noSemicolon;
        const SourceLocation at = reading.fault == RuleReading::Fault::textAfterSemicolon
                                      ? locationOf(source_, lines_, reading.faultPlace)
                                      : site;
        reporter_.report(makeDiagnostic(unterminated ? DiagnosticCode::unterminatedRule : DiagnosticCode::malformedRule,
                                        at, ruleFaultMessage(reading)));
        if (!reading.name.empty()) checked_.failedNames.push_back(reading.name);
    }

    // Compiles a rule read whole: reports why it does not compile, or each
    // remark of its compilation and a redefinition, and keeps it.
    void checkRule(const RuleReading& reading, const SourceLocation& site) {
        const GrammarRule& rule = *reading.rule;
        CompiledExpression compiled = compileExpression(rule.ruleBody, level_);
        if (!compiled.gfsa) {
            const ExpressionFault& fault = *compiled.fault;
            const bool tooLarge = fault.kind == ExpressionFault::Kind::tooLarge;
            reporter_.report(makeDiagnostic(
                tooLarge ? DiagnosticCode::ruleTooLarge : DiagnosticCode::ruleDoesNotCompile,
                tooLarge ? site : bodyLocation(reading, fault.offset), expressionFaultMessage(rule.ruleName, fault)));
            checked_.failedNames.push_back(rule.ruleName);
            return;
        }
        for (const ExpressionRemark& remark : compiled.remarks)
            reporter_.report(remarkDiagnostic(remark, bodyLocation(reading, remark.offset)));
        if (const auto earlier = defined_.find(rule.ruleName); earlier != defined_.end()) {
            reporter_.report(
                withNote(makeDiagnostic(DiagnosticCode::ruleRedefined, site, message::ruleRedefined(rule.ruleName)),
                         message::earlierDefinition(), earlier->second));
        }
        defined_[rule.ruleName] = site;
        std::vector<CheckedRule::Call> calls = callsOf(reading, *compiled.gfsa);
        checked_.rules.push_back(
            CheckedRule{rule.ruleName, site, rule.ruleBody, std::move(*compiled.gfsa), std::move(calls)});
    }

    // The location of the offset `offset` of the body of the rule read.
    SourceLocation bodyLocation(const RuleReading& reading, std::size_t offset) const {
        return locationOf(source_, lines_, reading.placeOfBodyOffset(offset));
    }

    // The calls of the compiled rule, in label order, each at its token.
    std::vector<CheckedRule::Call> callsOf(const RuleReading& reading, const GFSA& gfsa) const {
        std::vector<CheckedRule::Call> calls;
        if (!gfsa.alphabet) return calls;
        for (const Label& label : gfsa.alphabet->array) {
            const std::optional<std::string_view> called = calledName(label.input);
            if (called)
                calls.push_back(
                    {std::string(*called), bodyLocation(reading, findToken(reading.rule->ruleBody, label.input))});
        }
        return calls;
    }

    const SourceText& source_;
    const LinguisticLevel level_;
    Reporter& reporter_;
    std::vector<std::string_view> lines_; // the lines of the text, the empty ones left out
    CheckedRules checked_;
    std::map<std::string, SourceLocation> defined_; // where each rule kept was defined last
};

// The strongly connected components of the graph of `successors` that hold
// a cycle (several vertices, or one that is its own successor), in the order
// they close, each as its vertices, the last discovered first. Cost: linear
// in the vertices and edges.
std::vector<std::vector<std::size_t>> cyclesOf(const std::vector<std::vector<std::size_t>>& successors) {
    std::vector<std::vector<std::size_t>> cycles;
    const auto edgeCount = [&](std::size_t v) { return successors[v].size(); };
    const auto edge = [&](std::size_t v, std::size_t i) -> std::optional<std::size_t> { return successors[v][i]; };
    forEachStrongComponent(successors.size(), edgeCount, edge, [&](std::span<const std::size_t> members) {
        const std::size_t root = members.front();
        const bool selfCall =
            std::find(successors[root].begin(), successors[root].end(), root) != successors[root].end();
        if (members.size() > 1 || selfCall) cycles.emplace_back(members.rbegin(), members.rend());
    });
    return cycles;
}

// A shortest way from `first` back to itself within `component`, by
// breadth-first search: the vertices after `first` up to the last before
// coming back, in order.
std::vector<std::size_t> shortestWayBack(const std::vector<std::vector<std::size_t>>& successors,
                                         const std::vector<std::size_t>& component, std::size_t first) {
    std::map<std::size_t, std::size_t> cameFrom;
    std::vector<std::size_t> queue{first};
    std::optional<std::size_t> closing;
    for (std::size_t q = 0; q < queue.size() && !closing; ++q) {
        for (const std::size_t w : successors[queue[q]]) {
            if (std::find(component.begin(), component.end(), w) == component.end()) continue;
            if (w == first) {
                closing = queue[q];
                break;
            }
            if (cameFrom.emplace(w, queue[q]).second) queue.push_back(w);
        }
    }
    std::vector<std::size_t> way;
    for (std::size_t v = closing.value_or(first); v != first; v = cameFrom[v]) way.insert(way.begin(), v);
    return way;
}

} // namespace

// The rules of paradigms_ numbered in name order, with the rules each calls.
struct GrammarChecker::CallGraph {
    std::vector<std::string> names;
    std::map<std::string, std::size_t, std::less<>> indexOf;
    std::vector<std::vector<std::size_t>> callees;
};

std::string canonicalPath(const std::string& path) {
    std::error_code error;
    const std::filesystem::path canonical = std::filesystem::weakly_canonical(path, error);
    return error ? path : canonical.string();
}

std::optional<std::string> readCheckedFile(const std::string& path, const std::string& shownPath, Reporter& reporter,
                                           const GrammarUse* use) {
    std::optional<std::string> text = readUtf8File(path);
    if (text) return text;
    std::ifstream file(path, std::ios::binary);
    std::string bytes;
    const bool readable =
        file && !std::filesystem::is_directory(path) &&
        (bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()), !file.bad());
    if (readable) {
        std::string_view view(bytes);
        if (view.starts_with("\xEF\xBB\xBF")) view.remove_prefix(3);
        const std::size_t offset = firstInvalidUtf8Offset(view);
        if (offset < view.size()) {
            SourceLocation location = SourceText(shownPath, view).locate(offset);
            if (bytes.size() != view.size() && location.line == 1) ++location.column; // the byte-order mark
            reporter.report(makeDiagnostic(DiagnosticCode::notUtf8, std::move(location),
                                           message::notUtf8(static_cast<unsigned char>(view[offset]))));
            return std::nullopt;
        }
    }
    if (use != nullptr) {
        reporter.report(
            makeDiagnostic(DiagnosticCode::missingGrammar, use->location, message::missingGrammar(use->name, path)));
    } else {
        reporter.report(
            makeDiagnostic(DiagnosticCode::unreadableFile, SourceLocation{shownPath, 0, 0}, message::unreadableFile()));
    }
    return std::nullopt;
}

CheckedRules checkRules(const SourceText& source, LinguisticLevel level, Reporter& reporter) {
    return RuleChecker(source, level, reporter).checkAll();
}

bool GrammarChecker::addGrammarFile(const std::string& path, const std::string& shownPath, const GrammarUse* use) {
    const SourceLocation here = use != nullptr ? use->location : SourceLocation{shownPath, 0, 0};
    const std::string canonical = canonicalPath(path);
    if (const auto loaded = loadedFiles_.find(canonical); loaded != loadedFiles_.end()) {
        reporter_.report(
            withNote(makeDiagnostic(DiagnosticCode::grammarUsedTwice, here, message::grammarUsedTwice(shownPath)),
                     message::firstUse(), loaded->second));
        return true;
    }
    const std::optional<std::string> text = readCheckedFile(path, shownPath, reporter_, use);
    if (!text) {
        someGrammarUnread_ = true;
        return false;
    }
    loadedFiles_.emplace(canonical, here);

    const SourceText source(shownPath, *text);
    MGFSA fileGrammar(LinguisticLevel::orthographic);
    std::map<std::string, RuleInfo> infos;
    CheckedRules checked = checkRules(source, LinguisticLevel::orthographic, reporter_);
    for (std::string& name : checked.failedNames) {
        broken_.insert(name);
        definedNames_.push_back(std::move(name));
    }
    for (CheckedRule& rule : checked.rules) {
        definedNames_.push_back(rule.name);
        infos[rule.name] = RuleInfo{rule.site, std::move(rule.calls), false};
        fileGrammar.addGraph(rule.name, std::move(rule.gfsa));
    }
    const std::set<std::string> excluded = excludedRules(fileGrammar, infos, use);
    mergeRules(fileGrammar, infos, excluded);
    return true;
}

std::set<std::string> GrammarChecker::excludedRules(MGFSA& fileGrammar, std::map<std::string, RuleInfo>& infos,
                                                    const GrammarUse* use) {
    std::set<std::string> excluded;
    for (auto& [name, graph] : fileGrammar.graphs) {
        const SourceLocation& site = infos[name].site;
        if (!determinizeRule(name, graph, site) || !admitsRule(name, site, use)) excluded.insert(name);
    }
    return excluded;
}

bool GrammarChecker::determinizeRule(const std::string& name, GFSA& graph, const SourceLocation& site) {
    if (graph.states.empty()) return true;
    std::optional<GFSA> deterministic = determinized(graph.determinize());
    if (!deterministic) {
        reporter_.report(makeDiagnostic(DiagnosticCode::ruleTooLarge, site, message::pastDeterminizationBound(name)));
        broken_.insert(name);
        return false;
    }
    graph = std::move(*deterministic);
    return true;
}

bool GrammarChecker::admitsRule(const std::string& name, const SourceLocation& site, const GrammarUse* use) {
    if (use == nullptr && name == "Main") {
        reporter_.report(makeDiagnostic(DiagnosticCode::ruleNamedMain, site, message::ruleNamedMain()));
        return false;
    }
    if (paradigms_.graphNamed(name) == nullptr) return true;
    const SourceLocation* first = siteOf(name);
    Diagnostic diagnostic = makeDiagnostic(DiagnosticCode::ruleDefinedElsewhere, site,
                                           message::ruleDefinedElsewhere(name, first ? first->file : ""));
    if (first != nullptr) diagnostic = withNote(std::move(diagnostic), message::firstDefinition(), *first);
    reporter_.report(std::move(diagnostic));
    return false;
}

void GrammarChecker::mergeRules(MGFSA& fileGrammar, std::map<std::string, RuleInfo>& infos,
                                const std::set<std::string>& excluded) {
    if (excluded.empty()) {
        paradigms_.mergeWith(fileGrammar);
    } else {
        MGFSA kept(LinguisticLevel::orthographic);
        for (auto& [name, graph] : fileGrammar.graphs)
            if (excluded.count(name) == 0) kept.addGraph(name, std::move(graph), fileGrammar.alphabet);
        paradigms_.mergeWith(kept);
    }
    for (auto& [name, info] : infos)
        if (excluded.count(name) == 0) rules_[name] = std::move(info);
}

bool GrammarChecker::isBroken(std::string_view name) const {
    return broken_.count(name) != 0;
}

const SourceLocation* GrammarChecker::siteOf(std::string_view name) const {
    const auto found = rules_.find(name);
    return found == rules_.end() ? nullptr : &found->second.site;
}

void GrammarChecker::checkCalls() {
    reportMissingCalls();
    const CallGraph graph = callGraph();
    for (const std::vector<std::size_t>& component : cyclesOf(graph.callees)) reportCycle(graph, component);
    spreadBroken(graph);
}

void GrammarChecker::reportMissingCalls() {
    for (const auto& [name, info] : rules_) {
        for (const CheckedRule::Call& call : info.calls) {
            if (paradigms_.graphNamed(call.name) != nullptr) continue;
            broken_.insert(name);
            if (broken_.count(call.name) != 0 || someGrammarUnread_) continue; // reported, or perhaps in it
            if (std::find(definedNames_.begin(), definedNames_.end(), call.name) != definedNames_.end()) continue;
            reporter_.report(
                makeDiagnostic(DiagnosticCode::undefinedCall, call.location,
                               message::undefinedCall(name, call.name, closestNames(call.name, definedNames_))));
        }
    }
}

GrammarChecker::CallGraph GrammarChecker::callGraph() const {
    CallGraph graph;
    for (const auto& [name, info] : rules_) {
        graph.indexOf.emplace(name, graph.names.size());
        graph.names.push_back(name);
    }
    graph.callees.resize(graph.names.size());
    for (std::size_t v = 0; v < graph.names.size(); ++v) {
        for (const CheckedRule::Call& call : rules_.find(graph.names[v])->second.calls)
            addCallees(graph, call.name, graph.callees[v]);
    }
    return graph;
}

void GrammarChecker::addCallees(const CallGraph& graph, const std::string& called,
                                std::vector<std::size_t>& callees) const {
    if (const auto exact = graph.indexOf.find(called); exact != graph.indexOf.end()) {
        callees.push_back(exact->second);
        return;
    }
    const GFSA* target = paradigms_.graphNamed(called); // written in another normal form
    for (const auto& [name, g] : paradigms_.graphs)
        if (&g == target && graph.indexOf.count(name) != 0) callees.push_back(graph.indexOf.find(name)->second);
}

void GrammarChecker::reportCycle(const CallGraph& graph, const std::vector<std::size_t>& component) {
    const auto siteAt = [&](std::size_t v) -> const SourceLocation& {
        return rules_.find(graph.names[v])->second.site;
    };
    const std::size_t first = *std::min_element(component.begin(), component.end(), [&](std::size_t a, std::size_t b) {
        return isEarlier(siteAt(a), siteAt(b));
    });
    std::vector<std::string> cycle{graph.names[first]};
    for (const std::size_t v : shortestWayBack(graph.callees, component, first)) cycle.push_back(graph.names[v]);
    cycle.push_back(graph.names[first]);
    reporter_.report(makeDiagnostic(DiagnosticCode::recursiveRule, siteAt(first),
                                    message::recursiveRule(graph.names[first], cycle)));
    for (const std::size_t v : component) broken_.insert(graph.names[v]);
}

void GrammarChecker::spreadBroken(const CallGraph& graph) {
    const auto callsBroken = [&](std::size_t v) {
        return std::any_of(graph.callees[v].begin(), graph.callees[v].end(),
                           [&](std::size_t w) { return broken_.count(graph.names[w]) != 0; });
    };
    for (bool changed = true; changed;) {
        changed = false;
        for (std::size_t v = 0; v < graph.names.size(); ++v) {
            if (broken_.count(graph.names[v]) != 0 || !callsBroken(v)) continue;
            broken_.insert(graph.names[v]);
            changed = true;
        }
    }
}

void GrammarChecker::markUsed(std::string_view name) {
    std::vector<std::string> pending{std::string(name)};
    while (!pending.empty()) {
        const std::string current = std::move(pending.back());
        pending.pop_back();
        auto found = rules_.find(current);
        if (found == rules_.end()) {
            const GFSA* graph = paradigms_.graphNamed(current);
            if (graph == nullptr) continue;
            for (auto it = rules_.begin(); it != rules_.end(); ++it)
                if (paradigms_.graphNamed(it->first) == graph) found = it;
            if (found == rules_.end()) continue;
        }
        if (found->second.used) continue;
        found->second.used = true;
        for (const CheckedRule::Call& call : found->second.calls) pending.push_back(call.name);
    }
}

void GrammarChecker::reportUnused() {
    std::vector<std::pair<const SourceLocation*, const std::string*>> unused;
    for (const auto& [name, info] : rules_)
        if (!info.used && broken_.count(name) == 0) unused.emplace_back(&info.site, &name);
    std::stable_sort(unused.begin(), unused.end(), [](const auto& a, const auto& b) {
        return std::tie(a.first->file, a.first->line, a.first->column) <
               std::tie(b.first->file, b.first->line, b.first->column);
    });
    for (const auto& [site, name] : unused)
        reporter_.report(makeDiagnostic(DiagnosticCode::unusedRule, *site, message::unusedRule(*name)));
}

} // namespace lexpand
