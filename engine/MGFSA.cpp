// Exports the MGFSA operations: addGraph, mergeWith, determinize, explore
// and countOccurencesOf.

#include "MGFSA.h"

#include <limits>
#include <unordered_map>
#include <utility>

#include "TextServices.h"

namespace lexpand {

namespace {

using GraphTable = std::map<std::string, GFSA>;

// The graph whose name is canonically equivalent to `name`. Names are kept as
// written; two NFC names are equivalent only when they are byte-equal, so the
// scan compares canonically only where one side is not NFC.
template <typename Table>
auto findGraph(Table& graphs, std::string_view name) -> decltype(graphs.begin()) {
    const auto exact = graphs.find(std::string(name));
    if (exact != graphs.end()) return exact;
    const bool nameIsNFC = isNFC(name);
    for (auto it = graphs.begin(); it != graphs.end(); ++it) {
        if (nameIsNFC && isNFC(it->first)) continue;
        if (canonicallyEqual(it->first, name)) return it;
    }
    return graphs.end();
}

// ---- Exploration ----------------------------------------------------------------

// A (graph, stack) configuration. The stack is split into its last entry (the
// state) and an interned id of the entries before it (the call context).
struct Configuration {
    const GFSA* graph;
    std::int64_t context;
    std::int64_t state;
    bool operator==(const Configuration& other) const = default;
};

struct ConfigurationHash {
    std::size_t operator()(const Configuration& c) const {
        std::uint64_t h = reinterpret_cast<std::uintptr_t>(c.graph);
        h = (h ^ static_cast<std::uint64_t>(c.context)) * 0x9E3779B97F4A7C15ULL;
        h = (h ^ static_cast<std::uint64_t>(c.state)) * 0xBF58476D1CE4E5B9ULL;
        return static_cast<std::size_t>(h ^ (h >> 31));
    }
};

struct ContextKey {
    std::int64_t parent;
    std::int64_t state;
    bool operator==(const ContextKey& other) const = default;
};

struct ContextKeyHash {
    std::size_t operator()(const ContextKey& k) const {
        const std::uint64_t h = (static_cast<std::uint64_t>(k.parent) * 0x9E3779B97F4A7C15ULL) ^
                                static_cast<std::uint64_t>(k.state);
        return static_cast<std::size_t>(h ^ (h >> 29));
    }
};

constexpr std::size_t noStep = std::numeric_limits<std::size_t>::max();

// One item of the current path, with the cursor over its transitions.
struct Step {
    const GFSA* graph;
    std::int64_t state;
    std::int64_t context;       // interned stack without its last entry (0: empty)
    std::size_t depth;          // number of stack entries
    std::size_t frameStart;     // the step that entered this graph invocation
    std::size_t caller = noStep;  // on a frame's first step: the calling step (noStep otherwise)
    std::int64_t returnState = 0; // on a frame's first step: the caller's state after the return
    std::size_t inputLength = 0; // length of the input text before this step
    std::size_t outputCount = 0; // number of outputs before this step
    std::size_t nextTransition = 0; // next outgoing transition to follow
    bool entered = false;           // the terminal test of this step is done

    Configuration configuration() const { return {graph, context, state}; }
};

// Whether a label input is a call: its first character (grapheme cluster) is ":".
// The rest of the input is then the called name.
std::optional<std::string_view> calledName(std::string_view input) {
    if (input.empty() || input.front() != ':') return std::nullopt;
    // A following ASCII character always starts a new cluster.
    if (input.size() > 1 && static_cast<unsigned char>(input[1]) >= 0x80) {
        const std::vector<std::string_view> clusters = graphemeClusterViews(input);
        if (clusters.front() != ":") return std::nullopt;
    }
    return input.substr(1);
}

} // namespace

// ---- Graph table ------------------------------------------------------------------

void MGFSA::addGraph(const std::string& graphName, GFSA gfsa) {
    if (!gfsa.alphabet) {
        // Without an alphabet of its own, the labels are taken to be shared ones.
        addGraph(graphName, std::move(gfsa), alphabet);
        return;
    }
    const Alphabet labels = std::move(*gfsa.alphabet);
    addGraph(graphName, std::move(gfsa), labels);
}

void MGFSA::addGraph(const std::string& graphName, GFSA gfsa, const Alphabet& labels) {
    std::vector<std::int64_t> sharedIndex;
    sharedIndex.reserve(labels.array.size());
    for (const Label& label : labels.array) sharedIndex.push_back(alphabet.addLabel(label));
    for (GFSA::State& state : gfsa.states) {
        for (GFSA::Transition& transition : state.outGoingTransitions) {
            const auto i = static_cast<std::size_t>(transition.labelIndex);
            if (transition.labelIndex >= 0 && i < sharedIndex.size()) transition.labelIndex = sharedIndex[i];
        }
    }
    gfsa.alphabet.reset();
    const auto existing = findGraph(graphs, graphName);
    if (existing != graphs.end()) {
        if (existing->first == graphName) {
            existing->second = std::move(gfsa);
            return;
        }
        graphs.erase(existing); // an equivalent name written otherwise: the new text wins
    }
    graphs.emplace(graphName, std::move(gfsa));
}

bool MGFSA::mergeWith(const MGFSA& other) {
    if (other.linguisticLevel != linguisticLevel) return false;
    for (const auto& [name, graph] : other.graphs) {
        if (findGraph(graphs, name) != graphs.end()) return false;
        addGraph(name, graph, other.alphabet);
    }
    return true;
}

void MGFSA::determinize() {
    for (auto& [name, graph] : graphs) {
        if (!graph.states.empty()) graph = graph.determinize();
    }
}

// ---- Exploration ------------------------------------------------------------------
//
// Depth-first over one path held in place: a step is pushed when a transition
// is followed and popped when its transitions are exhausted. A call pushes
// the called graph's initial step; whenever a step of a called graph is
// terminal, the path so far is one of the called graph's completed paths, and
// the return step into the caller is pushed at once, so everything after the
// return is explored before the called graph goes on. This gives the same
// paths in the same order as first collecting all completed paths of the
// called graph and then continuing each of them in turn, without storing them.
//
// The repetition test counts the configurations of the current path in a map
// kept up to date by every push and pop, and the input text and the outputs
// of the current path are kept as stacks too, so recording a path costs only
// the copy of its result.

std::optional<ExplorationResult> MGFSA::explore(const std::string& graphName, LinguisticLevel linguisticLevel,
                                                int repetitionLimit) const {
    struct Exploration {
        Exploration(const MGFSA& grammar, bool joinWithSpaces, std::int64_t limit)
            : grammar(grammar), joinWithSpaces(joinWithSpaces), limit(limit) {}

        const MGFSA& grammar;
        const bool joinWithSpaces;
        const std::int64_t limit;
        std::vector<Step> path;
        std::unordered_map<Configuration, std::int64_t, ConfigurationHash> occurrences;
        std::unordered_map<ContextKey, std::int64_t, ContextKeyHash> contexts;
        std::unordered_map<std::int64_t, const GFSA*> callees; // by label index; nullptr: missing
        std::string input;
        std::vector<const std::string*> outputs;
        std::size_t pathsFound = 0;
        ExplorationResult result;

        // Pushes a step that read the label `labelId` (valid in the alphabet).
        void push(Step step, std::int64_t labelId) {
            step.inputLength = input.size();
            step.outputCount = outputs.size();
            step.nextTransition = 0;
            step.entered = false;
            const Label& label = grammar.alphabet.array[static_cast<std::size_t>(labelId)];
            if (label.input != "<E>") {
                if (joinWithSpaces && !input.empty() && input.back() != ' ') input.push_back(' ');
                input += label.input;
            }
            if (!label.output.empty()) outputs.push_back(&label.output);
            ++occurrences[step.configuration()];
            path.push_back(step);
        }

        void pop() {
            const Step& step = path.back();
            input.resize(step.inputLength);
            outputs.resize(step.outputCount);
            const auto it = occurrences.find(step.configuration());
            if (--it->second == 0) occurrences.erase(it);
            path.pop_back();
        }

        std::int64_t occurrencesOf(const Configuration& configuration) const {
            const auto it = occurrences.find(configuration);
            return it == occurrences.end() ? 0 : it->second;
        }

        std::int64_t contextOf(std::int64_t parent, std::int64_t state) {
            const auto [it, added] =
                contexts.try_emplace(ContextKey{parent, state}, static_cast<std::int64_t>(contexts.size()) + 1);
            return it->second;
        }

        // The graph called by the label, resolved once per exploration.
        const GFSA* callee(std::int64_t labelId, std::string_view name) {
            const auto [it, added] = callees.try_emplace(labelId, nullptr);
            if (added) {
                const auto found = findGraph(grammar.graphs, name);
                if (found != grammar.graphs.end()) it->second = &found->second;
            }
            return it->second;
        }

        void record() {
            result.input.emplace_back(trimWhiteSpaceAndNewlines(input));
            std::vector<std::string>& pathOutputs = result.output.emplace_back();
            pathOutputs.reserve(outputs.size());
            for (const std::string* output : outputs) pathOutputs.push_back(*output);
        }

        // False when the exploration is absent.
        bool run(const GFSA& start) {
            push(Step{.graph = &start, .state = 0, .context = 0, .depth = 1, .frameStart = 0}, 0);
            while (!path.empty()) {
                const std::size_t index = path.size() - 1;
                Step& step = path.back();
                const GFSA& graph = *step.graph;
                // A state index outside the graph has no transitions and does not accept.
                const bool valid = step.state >= 0 && static_cast<std::size_t>(step.state) < graph.states.size();
                if (!step.entered) {
                    step.entered = true;
                    if (valid && graph.states[static_cast<std::size_t>(step.state)].isTerminal) {
                        if (++pathsFound > maximalPathCount) return false;
                        const Step& frame = path[step.frameStart];
                        if (frame.caller == noStep) {
                            record();
                        } else {
                            const Step& caller = path[frame.caller];
                            push(Step{.graph = caller.graph,
                                      .state = frame.returnState,
                                      .context = caller.context,
                                      .depth = caller.depth,
                                      .frameStart = caller.frameStart},
                                 0);
                            continue;
                        }
                    }
                }
                const std::vector<GFSA::Transition>* transitions =
                    valid ? &graph.states[static_cast<std::size_t>(step.state)].outGoingTransitions : nullptr;
                if (!transitions || step.nextTransition == transitions->size()) {
                    pop();
                    continue;
                }
                const GFSA::Transition transition = (*transitions)[step.nextTransition++];
                const Configuration next{step.graph, step.context, transition.destinationStateIndex};
                if (occurrencesOf(next) > limit) continue;
                if (transition.labelIndex < 0 ||
                    static_cast<std::size_t>(transition.labelIndex) >= grammar.alphabet.array.size())
                    return false;
                const Label& label = grammar.alphabet.array[static_cast<std::size_t>(transition.labelIndex)];
                if (const std::optional<std::string_view> name = calledName(label.input)) {
                    if (step.depth + 1 > maximalCallDepth) return false;
                    const GFSA* called = callee(transition.labelIndex, *name);
                    if (!called) return false;
                    const Step callStep{.graph = called,
                                        .state = 0,
                                        .context = contextOf(step.context, step.state),
                                        .depth = step.depth + 1,
                                        .frameStart = path.size(),
                                        .caller = index,
                                        .returnState = transition.destinationStateIndex};
                    push(callStep, 0);
                } else {
                    const Step nextStep{.graph = step.graph,
                                        .state = transition.destinationStateIndex,
                                        .context = step.context,
                                        .depth = step.depth,
                                        .frameStart = step.frameStart};
                    push(nextStep, transition.labelIndex);
                }
            }
            return true;
        }
    };

    const auto start = findGraph(graphs, graphName);
    if (start == graphs.end()) return std::nullopt;
    Exploration exploration(*this, linguisticLevel == LinguisticLevel::syntax, repetitionLimit);
    if (!exploration.run(start->second)) return std::nullopt;
    return std::move(exploration.result);
}

std::int64_t MGFSA::countOccurencesOf(const std::string& graphName, const std::vector<std::int64_t>& stackOfStateIds,
                                      const std::vector<PathItem>& path) {
    std::int64_t count = 0;
    for (const PathItem& item : path) {
        if (item.stackOfStateIds == stackOfStateIds &&
            (item.graphName == graphName || canonicallyEqual(item.graphName, graphName)))
            ++count;
    }
    return count;
}

} // namespace lexpand
