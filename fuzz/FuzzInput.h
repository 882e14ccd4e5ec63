// Helpers shared by the fuzz targets: cutting one fuzz input into parts, and
// the budget that keeps path exploration within one input's time and memory.

#ifndef LEXPAND_FUZZ_FUZZINPUT_H
#define LEXPAND_FUZZ_FUZZINPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "ALU.h"
#include "GFSA.h"
#include "MGFSA.h"
#include "Paradigms.h"
#include "TextualGrammar.h"

namespace lexpand::fuzz {

inline std::string_view asText(const std::uint8_t* data, std::size_t size) {
    return std::string_view(reinterpret_cast<const char*>(data), size);
}

// `text` cut at each `separator` byte into at most `maximalParts` parts (the
// last part keeps any further separators); always at least one part.
inline std::vector<std::string_view> splitInput(std::string_view text, char separator, std::size_t maximalParts) {
    std::vector<std::string_view> parts;
    while (parts.size() + 1 < maximalParts) {
        const std::size_t at = text.find(separator);
        if (at == std::string_view::npos) break;
        parts.push_back(text.substr(0, at));
        text.remove_prefix(at + 1);
    }
    parts.push_back(text);
    return parts;
}

// Each "&" may double the automaton of an expression, up to the compiler's
// limit of about two million states, which takes many seconds to build under
// the sanitizers; inputs with more of them than this are skipped.
inline bool compilesQuickly(std::string_view text) {
    return std::count(text.begin(), text.end(), '&') <= 8;
}

// Exploring a grammar costs the total length of its paths, which can grow
// exponentially with the size of its text (rules that call each other twice,
// alternatives in sequence): the engine bounds the call depth and the number
// of paths, not the work before it reaches those bounds. Grammars whose path
// count may exceed this, recursive grammars among them, are compiled but not
// explored, so that a single input stays far below the fuzzer's time and
// memory limits. (The call depth limit is covered by the unit and end-to-end
// tests.)
inline constexpr std::uint64_t explorationBudget = 20'000;

namespace detail {

// Upper bounds of the number of paths of each graph and of their length in
// labels, calls multiplied out, each state taken at most twice on a path (the
// repetition limit of one), saturating at explorationBudget.
class PathBound {
public:
    struct Bound {
        std::uint64_t count = 0;
        std::uint64_t length = 0;
    };

    explicit PathBound(const MGFSA& grammar) : grammar_(grammar) {}

    Bound of(const std::string& graphName) {
        if (const auto known = bounds_.find(graphName); known != bounds_.end()) return known->second;
        // A recursive call is bounded only by the call depth, and the paths
        // found before that depth is reached multiply at every level.
        if (active_.count(graphName) != 0) return Bound{explorationBudget, explorationBudget};
        const auto graph = grammar_.graphs.find(graphName);
        if (graph == grammar_.graphs.end()) return Bound{1, 1};
        active_.insert(graphName);
        const Bound bound = boundPaths(graph->second);
        active_.erase(graphName);
        bounds_[graphName] = bound;
        return bound;
    }

private:
    static std::uint64_t times(std::uint64_t a, std::uint64_t b) {
        if (a != 0 && b > explorationBudget / a) return explorationBudget;
        return std::min(a * b, explorationBudget);
    }
    static std::uint64_t plus(std::uint64_t a, std::uint64_t b) { return std::min(a + b, explorationBudget); }

    Bound boundPaths(const GFSA& graph) {
        const Bound saturated{explorationBudget, explorationBudget};
        if (graph.states.empty()) return Bound{};
        struct Frame {
            std::size_t state;
            std::size_t nextTransition;
            Bound path; // paths to this state and their length
        };
        std::vector<int> visits(graph.states.size(), 0);
        std::vector<Frame> stack{{0, 0, Bound{1, 0}}};
        visits[0] = 1;
        Bound total;
        std::uint64_t steps = 0;
        while (!stack.empty()) {
            Frame& frame = stack.back();
            const GFSA::State& state = graph.states[frame.state];
            if (frame.nextTransition == 0 && state.isTerminal) {
                total.count = plus(total.count, frame.path.count);
                total.length = std::max(total.length, frame.path.length);
            }
            if (total.count >= explorationBudget || ++steps > 4 * explorationBudget) return saturated;
            if (frame.nextTransition == state.outGoingTransitions.size()) {
                --visits[frame.state];
                stack.pop_back();
                continue;
            }
            const GFSA::Transition& transition = state.outGoingTransitions[frame.nextTransition++];
            const std::int64_t destination = transition.destinationStateIndex;
            if (destination < 0 || static_cast<std::size_t>(destination) >= graph.states.size()) continue;
            if (visits[static_cast<std::size_t>(destination)] >= 2) continue;
            Bound step{1, 1};
            if (transition.labelIndex >= 0 &&
                static_cast<std::size_t>(transition.labelIndex) < grammar_.alphabet.array.size()) {
                const std::string& input =
                    grammar_.alphabet.array[static_cast<std::size_t>(transition.labelIndex)].input;
                if (!input.empty() && input.front() == ':') step = of(input.substr(1));
            }
            if (step.count == 0) continue;
            const Bound path{times(frame.path.count, step.count), plus(frame.path.length, step.length)};
            ++visits[static_cast<std::size_t>(destination)];
            stack.push_back(Frame{static_cast<std::size_t>(destination), 0, path});
        }
        return total;
    }

    const MGFSA& grammar_;
    std::map<std::string, Bound> bounds_;
    std::set<std::string> active_;
};

inline bool withinBudget(const PathBound::Bound& paths) {
    return paths.count < explorationBudget && paths.length < explorationBudget &&
           paths.count * paths.length < 10 * explorationBudget;
}

} // namespace detail

// True when every graph of `grammar` may be explored within the budget.
inline bool withinExplorationBudget(const MGFSA& grammar) {
    detail::PathBound bound(grammar);
    return std::all_of(grammar.graphs.begin(), grammar.graphs.end(),
                       [&](const auto& graph) { return detail::withinBudget(bound.of(graph.first)); });
}

// The same for a grammar text, compiled at `level`; true when it does not
// compile (nothing will be explored).
inline bool withinExplorationBudget(std::string_view grammarText, LinguisticLevel level) {
    const std::optional<MGFSA> grammar = textualGrammarToMgfsa(grammarText, level);
    return !grammar || withinExplorationBudget(*grammar);
}

// True when the "FLX=" values of the entry lines `lines` may be explored
// within the budget over the paradigms of `grammar`. Such a value is an
// expression over the paradigms, explored as the graph "_Main" (which it may
// call): a few stars, alternatives or calls in a row multiply its paths up to
// the engine's path limit, which is valid but far beyond the time of one input.
inline bool entryValuesWithinExplorationBudget(const std::vector<std::string_view>& lines, MGFSA grammar) {
    for (const std::string_view line : lines) {
        const std::optional<ALU> entry = ALU::init(line, nullptr);
        if (!entry) continue;
        for (const std::string& value : entry->flxParadigms) {
            std::optional<GFSA> graph = expression2Gfsa(inflectionalExpression(value), LinguisticLevel::syntax);
            if (!graph) continue;
            grammar.addGraph("_Main", std::move(*graph));
            if (!detail::withinBudget(detail::PathBound(grammar).of("_Main"))) return false;
        }
    }
    return true;
}

} // namespace lexpand::fuzz

#endif // LEXPAND_FUZZ_FUZZINPUT_H
