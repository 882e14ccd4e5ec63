// Exports checkRules, readCheckedFile and GrammarChecker: grammars read,
// compiled, determinized and merged rule by rule, with every problem reported.

#include "GrammarCheck.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <tuple>
#include <utility>

#include "Exploration.h"
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

} // namespace

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
    CheckedRules checkedRules;
    std::vector<CheckedRule>& rules = checkedRules.rules;
    std::map<std::string, SourceLocation> defined;
    std::vector<std::string_view> lines = splitAtNewlines(source.text());
    std::erase_if(lines, [](std::string_view line) { return line.empty(); });
    std::size_t i = 0;
    while (i < lines.size() && !reporter.stopped()) {
        const std::string_view line = trimWhiteSpaceAndNewlines(lines[i]);
        if (line.empty() || line.front() == '#') {
            ++i;
            continue;
        }
        const RuleReading reading = readOneRule(lines, i);
        i = std::max(reading.resumeAt, i + 1);
        const SourceLocation site = locationOf(source, lines, reading.namePlace);
        if (!reading.rule) {
            const bool unterminated = reading.fault == RuleReading::Fault::noSemicolon;
            const SourceLocation at = reading.fault == RuleReading::Fault::textAfterSemicolon
                                          ? locationOf(source, lines, reading.faultPlace)
                                          : site;
            reporter.report(
                makeDiagnostic(unterminated ? DiagnosticCode::unterminatedRule : DiagnosticCode::malformedRule, at,
                               ruleFaultMessage(reading)));
            if (!reading.name.empty()) checkedRules.failedNames.push_back(reading.name);
            continue;
        }
        const GrammarRule& rule = *reading.rule;
        const auto bodyLocation = [&](std::size_t offset) {
            return locationOf(source, lines, reading.placeOfBodyOffset(offset));
        };
        CompiledExpression compiled = compileExpression(rule.ruleBody, level);
        if (!compiled.gfsa) {
            const ExpressionFault& fault = *compiled.fault;
            const bool tooLarge = fault.kind == ExpressionFault::Kind::tooLarge;
            reporter.report(makeDiagnostic(tooLarge ? DiagnosticCode::ruleTooLarge : DiagnosticCode::ruleDoesNotCompile,
                                           tooLarge ? site : bodyLocation(fault.offset),
                                           expressionFaultMessage(rule.ruleName, fault)));
            checkedRules.failedNames.push_back(rule.ruleName);
            continue;
        }
        for (const ExpressionRemark& remark : compiled.remarks)
            reporter.report(remarkDiagnostic(remark, bodyLocation(remark.offset)));
        if (const auto earlier = defined.find(rule.ruleName); earlier != defined.end()) {
            reporter.report(
                withNote(makeDiagnostic(DiagnosticCode::ruleRedefined, site, message::ruleRedefined(rule.ruleName)),
                         message::earlierDefinition(), earlier->second));
        }
        defined[rule.ruleName] = site;
        std::vector<CheckedRule::Call> calls;
        if (compiled.gfsa->alphabet) {
            for (const Label& label : compiled.gfsa->alphabet->array) {
                const std::optional<std::string_view> called = calledName(label.input);
                if (called)
                    calls.push_back({std::string(*called), bodyLocation(findToken(rule.ruleBody, label.input))});
            }
        }
        rules.push_back(CheckedRule{rule.ruleName, site, rule.ruleBody, std::move(*compiled.gfsa), std::move(calls)});
    }
    return checkedRules;
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

    // Rules left out: those past the determinization bound, "Main" on the
    // command line, and those an earlier grammar defines.
    std::set<std::string> excluded;
    for (auto& [name, graph] : fileGrammar.graphs) {
        const SourceLocation& site = infos[name].site;
        if (!graph.states.empty()) {
            std::optional<GFSA> deterministic = determinized(graph.determinize());
            if (!deterministic) {
                reporter_.report(
                    makeDiagnostic(DiagnosticCode::ruleTooLarge, site, message::pastDeterminizationBound(name)));
                excluded.insert(name);
                broken_.insert(name);
                continue;
            }
            graph = std::move(*deterministic);
        }
        if (use == nullptr && name == "Main") {
            reporter_.report(makeDiagnostic(DiagnosticCode::ruleNamedMain, site, message::ruleNamedMain()));
            excluded.insert(name);
        } else if (paradigms_.graphNamed(name) != nullptr) {
            const SourceLocation* first = siteOf(name);
            Diagnostic diagnostic = makeDiagnostic(DiagnosticCode::ruleDefinedElsewhere, site,
                                                   message::ruleDefinedElsewhere(name, first ? first->file : ""));
            if (first != nullptr) diagnostic = withNote(std::move(diagnostic), message::firstDefinition(), *first);
            reporter_.report(std::move(diagnostic));
            excluded.insert(name);
        }
    }
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
    return true;
}

bool GrammarChecker::isBroken(std::string_view name) const {
    return broken_.count(name) != 0;
}

const SourceLocation* GrammarChecker::siteOf(std::string_view name) const {
    const auto found = rules_.find(name);
    return found == rules_.end() ? nullptr : &found->second.site;
}

void GrammarChecker::checkCalls() {
    // Calls of rules that are not there: reported unless the rule failed to load.
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

    // Cycles: the strongly connected components of the call graph (Tarjan's
    // algorithm with an explicit stack), one report per component, at its
    // rule defined first.
    std::vector<std::string> names;
    std::map<std::string, std::size_t, std::less<>> indexOf;
    for (const auto& [name, info] : rules_) {
        indexOf.emplace(name, names.size());
        names.push_back(name);
    }
    std::vector<std::vector<std::size_t>> callees(names.size());
    for (std::size_t v = 0; v < names.size(); ++v) {
        for (const CheckedRule::Call& call : rules_.find(names[v])->second.calls) {
            if (const auto exact = indexOf.find(call.name); exact != indexOf.end()) {
                callees[v].push_back(exact->second);
                continue;
            }
            const GFSA* graph = paradigms_.graphNamed(call.name); // written in another normal form
            for (const auto& [name, g] : paradigms_.graphs)
                if (&g == graph && indexOf.count(name) != 0) callees[v].push_back(indexOf.find(name)->second);
        }
    }
    constexpr std::size_t unvisited = static_cast<std::size_t>(-1);
    std::vector<std::size_t> order(names.size(), unvisited);
    std::vector<std::size_t> low(names.size(), 0);
    std::vector<bool> onStack(names.size(), false);
    std::vector<std::size_t> stack;
    std::vector<std::vector<std::size_t>> cycles;
    std::size_t counter = 0;
    for (std::size_t root = 0; root < names.size(); ++root) {
        if (order[root] != unvisited) continue;
        std::vector<std::pair<std::size_t, std::size_t>> frames{{root, 0}};
        order[root] = low[root] = counter++;
        stack.push_back(root);
        onStack[root] = true;
        while (!frames.empty()) {
            auto& [v, next] = frames.back();
            if (next < callees[v].size()) {
                const std::size_t w = callees[v][next++];
                if (order[w] == unvisited) {
                    order[w] = low[w] = counter++;
                    stack.push_back(w);
                    onStack[w] = true;
                    frames.emplace_back(w, 0);
                } else if (onStack[w]) {
                    low[v] = std::min(low[v], order[w]);
                }
                continue;
            }
            const std::size_t done = v;
            frames.pop_back();
            if (!frames.empty()) low[frames.back().first] = std::min(low[frames.back().first], low[done]);
            if (low[done] != order[done]) continue;
            std::vector<std::size_t> component;
            std::size_t w = 0;
            do {
                w = stack.back();
                stack.pop_back();
                onStack[w] = false;
                component.push_back(w);
            } while (w != done);
            const bool selfCall = std::find(callees[done].begin(), callees[done].end(), done) != callees[done].end();
            if (component.size() > 1 || selfCall) cycles.push_back(std::move(component));
        }
    }
    for (const std::vector<std::size_t>& component : cycles) {
        const auto first = std::min_element(component.begin(), component.end(), [&](std::size_t a, std::size_t b) {
            return isEarlier(rules_.find(names[a])->second.site, rules_.find(names[b])->second.site);
        });
        // A shortest way back to the first rule, by breadth-first search within the component.
        std::map<std::size_t, std::size_t> cameFrom;
        std::vector<std::size_t> queue{*first};
        std::optional<std::size_t> closing;
        for (std::size_t q = 0; q < queue.size() && !closing; ++q) {
            for (const std::size_t w : callees[queue[q]]) {
                if (std::find(component.begin(), component.end(), w) == component.end()) continue;
                if (w == *first) {
                    closing = queue[q];
                    break;
                }
                if (cameFrom.emplace(w, queue[q]).second) queue.push_back(w);
            }
        }
        std::vector<std::string> cycle{names[*first]};
        for (std::size_t v = closing.value_or(*first); v != *first; v = cameFrom[v])
            cycle.insert(cycle.begin() + 1, names[v]);
        cycle.push_back(names[*first]);
        reporter_.report(makeDiagnostic(DiagnosticCode::recursiveRule, rules_.find(names[*first])->second.site,
                                        message::recursiveRule(names[*first], cycle)));
        for (const std::size_t v : component) broken_.insert(names[v]);
    }

    // Every rule that calls a broken rule fails with it.
    for (bool changed = true; changed;) {
        changed = false;
        for (std::size_t v = 0; v < names.size(); ++v) {
            if (broken_.count(names[v]) != 0) continue;
            for (const std::size_t w : callees[v]) {
                if (broken_.count(names[w]) != 0) {
                    broken_.insert(names[v]);
                    changed = true;
                    break;
                }
            }
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
