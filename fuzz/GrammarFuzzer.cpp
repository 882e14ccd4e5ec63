// Fuzz target for the grammar compiler: a grammar text is compiled
// (textualGrammarToMgfsa), determinized, and every graph explored, each step
// within the budgets of one input. The first byte picks the level: 'S'
// syntax, 'P' properties definitions, anything else orthographic (the level
// of morphological grammars).
//
// When no graph has a loop, exploring before and after determinization must
// find the same set of paths: determinization keeps the label sequences, and
// without loops the repetition limit plays no part. An exploration that
// passes the budget of paths or steps proves nothing: the two automata need
// different numbers of steps, and count a path repeated by alternatives once
// or several times.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Exploration.h"
#include "FuzzInput.h"
#include "MGFSA.h"
#include "Paradigms.h"
#include "TextualGrammar.h"

namespace {

constexpr std::size_t maximalInputSize = 1024;

using PathSet = std::set<std::pair<std::string, std::vector<std::string>>>;

struct Explored {
    std::optional<PathSet> paths; // absent when the exploration failed
    bool pastBudget = false;      // it failed on the budget of paths or steps
};

Explored pathsOf(const lexpand::MGFSA& grammar, const std::string& graphName, lexpand::LinguisticLevel level) {
    const std::optional<lexpand::ExplorationResult> explored =
        grammar.explore(graphName, level, 1, lexpand::fuzz::exploreBudget);
    if (!explored) {
        // Explored again to learn why it failed.
        lexpand::ExplorationFailure failure;
        const lexpand::ExplorationEnd end = lexpand::explorePaths(
            grammar, graphName, level, 1, lexpand::fuzz::exploreBudget, [](const auto&) { return true; }, &failure);
        if (end != lexpand::ExplorationEnd::failed) __builtin_trap(); // explore and explorePaths disagree
        using Kind = lexpand::ExplorationFailure::Kind;
        return Explored{std::nullopt, failure.kind == Kind::pathLimit || failure.kind == Kind::stepLimit};
    }
    if (explored->input.size() != explored->output.size()) __builtin_trap();
    PathSet paths;
    for (std::size_t i = 0; i < explored->input.size(); ++i) paths.emplace(explored->input[i], explored->output[i]);
    return Explored{std::move(paths), false};
}

// True when the graph has a cycle of transitions (calls are not followed).
bool hasLoop(const lexpand::GFSA& graph) {
    enum class Mark { unvisited, onStack, done };
    std::vector<Mark> marks(graph.states.size(), Mark::unvisited);
    for (std::size_t root = 0; root < graph.states.size(); ++root) {
        if (marks[root] != Mark::unvisited) continue;
        // Iterative depth-first search: (state, next transition to look at).
        std::vector<std::pair<std::size_t, std::size_t>> stack{{root, 0}};
        marks[root] = Mark::onStack;
        while (!stack.empty()) {
            auto& [state, next] = stack.back();
            const auto& transitions = graph.states[state].outGoingTransitions;
            if (next == transitions.size()) {
                marks[state] = Mark::done;
                stack.pop_back();
                continue;
            }
            const std::int64_t destination = transitions[next++].destinationStateIndex;
            if (destination < 0 || static_cast<std::size_t>(destination) >= graph.states.size()) continue;
            const auto target = static_cast<std::size_t>(destination);
            if (marks[target] == Mark::onStack) return true;
            if (marks[target] == Mark::unvisited) {
                marks[target] = Mark::onStack;
                stack.emplace_back(target, 0);
            }
        }
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0 || size > maximalInputSize) return 0;
    lexpand::LinguisticLevel level = lexpand::LinguisticLevel::orthographic;
    if (data[0] == 'S') level = lexpand::LinguisticLevel::syntax;
    if (data[0] == 'P') level = lexpand::LinguisticLevel::propertyDefinition;
    const std::string_view text = lexpand::fuzz::asText(data + 1, size - 1);

    const std::optional<lexpand::MGFSA> compiled =
        lexpand::textualGrammarToMgfsa(text, level, lexpand::fuzz::compileBudget);
    if (!compiled) return 0;
    lexpand::MGFSA determinized = *compiled;
    if (!determinized.determinize(lexpand::fuzz::determinizeBudget)) return 0;
    if (determinized.graphs.size() != compiled->graphs.size()) __builtin_trap();

    // Properties definitions are enumerated at level syntax; the other levels
    // are explored at their own level.
    const lexpand::LinguisticLevel exploredLevel =
        level == lexpand::LinguisticLevel::propertyDefinition ? lexpand::LinguisticLevel::syntax : level;
    bool anyLoop = false;
    for (const auto& [name, graph] : compiled->graphs) anyLoop = anyLoop || hasLoop(graph);

    for (const auto& [name, graph] : determinized.graphs) {
        const Explored after = pathsOf(determinized, name, exploredLevel);
        if (!anyLoop && !after.pastBudget) {
            const Explored before = pathsOf(*compiled, name, exploredLevel);
            if (!before.pastBudget && before.paths != after.paths) __builtin_trap();
        }
        if (level == lexpand::LinguisticLevel::orthographic) {
            (void)lexpand::exploreParadigm(name, determinized, lexpand::fuzz::exploreBudget);
        }
    }
    return 0;
}
