// Exports the MGFSA operations: addGraph, mergeWith, determinize, explore
// and countOccurencesOf.

#include "MGFSA.h"

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <utility>

#include "TextServices.h"

namespace lexpand {

namespace {

using GraphTable = std::map<std::string, GFSA>;

// The graph whose name is canonically equivalent to `name`; `nonNfcNames`
// maps the NFC form of each name of `graphs` that is not in NFC to that
// name. Names are kept as written, and no two names of `graphs` are
// equivalent; two NFC names are equivalent only when they are byte-equal.
// Cost: one or two look-ups, and the NFC form of a name not in NFC.
template <typename Table>
auto findGraph(Table& graphs, const NfcIndex& nonNfcNames, std::string_view name) -> decltype(graphs.begin()) {
    const auto exact = graphs.find(std::string(name));
    if (exact != graphs.end()) return exact;
    std::string normalized;
    if (!isNFC(name)) {
        normalized = toNFC(name);
        const auto nfcName = graphs.find(normalized);
        if (nfcName != graphs.end()) return nfcName;
    }
    const auto indexed = nonNfcNames.find(normalized.empty() ? std::string(name) : normalized);
    if (indexed == nonNfcNames.end()) return graphs.end();
    return graphs.find(indexed->second);
}

// ---- Exploration ----------------------------------------------------------------

// A path item's stack is split into its last entry (the state) and an
// interned id of the entries before it (the call context, 0 for none), so
// that equal stacks have equal (context, state) pairs.
struct ContextKey {
    std::int64_t parent;
    std::int64_t state;
    bool operator==(const ContextKey& other) const = default;
};

// Mixes two 64-bit values into one hash.
std::size_t hashPair(std::uint64_t first, std::uint64_t second) {
    const std::uint64_t h = (first * 0x9E3779B97F4A7C15ULL) ^ second;
    return static_cast<std::size_t>(h ^ (h >> 31));
}

struct ContextKeyHash {
    std::size_t operator()(const ContextKey& key) const {
        return hashPair(static_cast<std::uint64_t>(key.parent), static_cast<std::uint64_t>(key.state));
    }
};

// A graph entered in one call context. The items of a path with the same
// graph and the same stack share the frame and the state.
struct FrameKey {
    const GFSA* graph;
    std::int64_t context;
    bool operator==(const FrameKey& other) const = default;
};

struct FrameKeyHash {
    std::size_t operator()(const FrameKey& key) const {
        return hashPair(reinterpret_cast<std::uintptr_t>(key.graph), static_cast<std::uint64_t>(key.context));
    }
};

// For one frame: per state of its graph, the number of items of the current
// path in that state.
using StateCounts = std::vector<std::int64_t>;

constexpr std::size_t noStep = std::numeric_limits<std::size_t>::max();

// One item of the current path, with the cursor over its transitions.
struct Step {
    const GFSA* graph;
    StateCounts* counts; // occurrences in this step's frame
    std::int64_t state;
    std::int64_t context;           // interned stack without its last entry
    std::size_t depth;              // number of stack entries
    std::size_t frameStart;         // the step that entered this graph invocation
    std::size_t caller = noStep;    // on a frame's first step: the calling step (noStep otherwise)
    std::int64_t returnState = 0;   // on a frame's first step: the caller's state after the return
    std::size_t inputLength = 0;    // length of the input text before this step
    std::size_t outputCount = 0;    // number of outputs before this step
    std::size_t nextTransition = 0; // next outgoing transition to follow
    bool entered = false;           // the terminal test of this step is done
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

namespace {

// Stores `gfsa` under the name, replacing the graph of an equivalent name,
// and keeps `nonNfcNames` the index of the names of `graphs` not in NFC.
void storeGraph(GraphTable& graphs, NfcIndex& nonNfcNames, const std::string& graphName, GFSA gfsa) {
    const auto existing = findGraph(graphs, nonNfcNames, graphName);
    if (existing != graphs.end()) {
        if (existing->first == graphName) {
            existing->second = std::move(gfsa);
            return;
        }
        // The name written otherwise: the new text is kept.
        if (!isNFC(existing->first)) nonNfcNames.erase(toNFC(existing->first));
        graphs.erase(existing);
    }
    graphs.emplace(graphName, std::move(gfsa));
    if (!isNFC(graphName)) nonNfcNames.emplace(toNFC(graphName), graphName);
}

// Adds every label of `labels` to `alphabet`, in order; answers the index in
// `alphabet` of each.
std::vector<std::int64_t> addLabels(Alphabet& alphabet, const Alphabet& labels) {
    std::vector<std::int64_t> sharedIndex;
    sharedIndex.reserve(labels.array.size());
    for (const Label& label : labels.array) sharedIndex.push_back(alphabet.addLabel(label));
    return sharedIndex;
}

// A graph of `states` with their label indices rewritten through
// `sharedIndex`, without an alphabet of its own.
GFSA relabelled(std::vector<GFSA::State> states, const std::vector<std::int64_t>& sharedIndex) {
    for (GFSA::State& state : states) {
        for (GFSA::Transition& transition : state.outGoingTransitions) {
            const auto i = static_cast<std::size_t>(transition.labelIndex);
            if (transition.labelIndex >= 0 && i < sharedIndex.size()) transition.labelIndex = sharedIndex[i];
        }
    }
    GFSA graph;
    graph.states = std::move(states);
    return graph;
}

} // namespace

void MGFSA::addGraph(const std::string& graphName, GFSA gfsa) {
    if (!gfsa.alphabet) {
        // Without an alphabet of its own, its label indices are taken as shared ones.
        storeGraph(graphs, nonNfcNames_, graphName, std::move(gfsa));
        return;
    }
    const Alphabet labels = std::move(*gfsa.alphabet);
    addGraph(graphName, std::move(gfsa), labels);
}

void MGFSA::addGraph(const std::string& graphName, GFSA gfsa, const Alphabet& labels) {
    storeGraph(graphs, nonNfcNames_, graphName, relabelled(std::move(gfsa.states), addLabels(alphabet, labels)));
}

bool MGFSA::mergeWith(const MGFSA& other) {
    if (other.linguisticLevel != linguisticLevel) return false;
    // Adding the other alphabet's labels once, before the first graph, leaves
    // this alphabet as adding them again with each graph would.
    std::vector<std::int64_t> sharedIndex;
    bool labelsAdded = false;
    for (const auto& [name, graph] : other.graphs) {
        if (findGraph(graphs, nonNfcNames_, name) != graphs.end()) return false;
        if (!labelsAdded) {
            sharedIndex = addLabels(alphabet, other.alphabet);
            labelsAdded = true;
        }
        storeGraph(graphs, nonNfcNames_, name, relabelled(graph.states, sharedIndex));
    }
    return true;
}

bool MGFSA::determinize() {
    std::vector<GFSA> determinized;
    determinized.reserve(graphs.size());
    for (const auto& [name, graph] : graphs) {
        if (graph.states.empty()) {
            determinized.emplace_back();
            continue;
        }
        std::optional<GFSA> result = graph.determinize();
        if (!result) return false;
        determinized.push_back(std::move(*result));
    }
    auto next = determinized.begin();
    for (auto& [name, graph] : graphs) {
        if (!graph.states.empty()) graph = std::move(*next);
        ++next;
    }
    return true;
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
// The repetition test needs, for a transition, the number of items of the
// current path with the current graph and the stack it would lead to. Items
// share a graph and a stack exactly when they share a frame (graph and call
// context) and a state, so every frame keeps a count per state, kept up to
// date by every push and pop; a transition costs one array access, and only
// a call looks up a map. The input text and the outputs of the current path
// are kept as stacks too, so recording a path costs only the copy of its result.
//
// An exploration that finds many paths first only counts them past a
// threshold, and is run again to record them once it is known to succeed:
// one that passes the path limit, or meets a missing graph or the call depth
// limit late, is then found absent without holding millions of paths (up to
// gigabytes) in memory. Ordinary paradigms stay below the threshold and are
// explored once.

std::optional<ExplorationResult> MGFSA::explore(const std::string& graphName, LinguisticLevel level,
                                                int repetitionLimit) const {
    struct Exploration {
        Exploration(const MGFSA& explored, bool joinsWithSpaces, std::int64_t repetitions, std::size_t recordedAtMost)
            : grammar(explored), joinWithSpaces(joinsWithSpaces), limit(repetitions), recordingLimit(recordedAtMost) {}

        const MGFSA& grammar;
        const bool joinWithSpaces;
        const std::int64_t limit;
        // Past this many recorded paths, the result is dropped and the paths
        // are only counted: `complete` is then false.
        const std::size_t recordingLimit;
        bool complete = true;
        std::vector<Step> path;
        // Node-based maps: the addresses of their values stay valid.
        std::unordered_map<FrameKey, StateCounts, FrameKeyHash> frames;
        std::unordered_map<ContextKey, std::int64_t, ContextKeyHash> contexts;
        // By label index, for labels whose input begins with ":".
        struct Call {
            bool isCall;       // the first character is ":" itself
            const GFSA* graph; // the called graph; nullptr when missing
        };
        std::unordered_map<std::int64_t, Call> calls;
        std::string input;
        std::vector<const std::string*> outputs;
        std::size_t pathsFound = 0;
        ExplorationResult result;

        StateCounts* countsOf(const GFSA& graph, std::int64_t context) {
            const auto [it, added] = frames.try_emplace(FrameKey{&graph, context});
            if (added) it->second.assign(graph.states.size(), 0);
            return &it->second;
        }

        std::int64_t contextOf(std::int64_t parent, std::int64_t state) {
            const auto [it, added] =
                contexts.try_emplace(ContextKey{parent, state}, static_cast<std::int64_t>(contexts.size()) + 1);
            return it->second;
        }

        // What a label whose input begins with ":" does, decided once per exploration.
        const Call& callOf(std::int64_t labelId, std::string_view labelInput) {
            const auto [it, added] = calls.try_emplace(labelId, Call{false, nullptr});
            if (added) {
                if (const std::optional<std::string_view> name = calledName(labelInput)) {
                    it->second.isCall = true;
                    const auto found = findGraph(grammar.graphs, grammar.nonNfcNames_, *name);
                    if (found != grammar.graphs.end()) it->second.graph = &found->second;
                }
            }
            return it->second;
        }

        // Appends a step that read the label `labelId`.
        void push(Step step, std::int64_t labelId) {
            step.inputLength = input.size();
            step.outputCount = outputs.size();
            const Label& label = grammar.alphabet.array[static_cast<std::size_t>(labelId)];
            if (label.input != "<E>") {
                if (joinWithSpaces && !input.empty() && input.back() != ' ') input.push_back(' ');
                input += label.input;
            }
            if (!label.output.empty()) outputs.push_back(&label.output);
            ++(*step.counts)[static_cast<std::size_t>(step.state)];
            path.push_back(step);
        }

        void pop() {
            const Step& step = path.back();
            input.resize(step.inputLength);
            outputs.resize(step.outputCount);
            --(*step.counts)[static_cast<std::size_t>(step.state)];
            path.pop_back();
        }

        void record() {
            if (!complete) return;
            if (result.input.size() == recordingLimit) {
                complete = false;
                result = ExplorationResult();
                return;
            }
            result.input.emplace_back(trimWhiteSpaceAndNewlines(input));
            std::vector<std::string>& pathOutputs = result.output.emplace_back();
            pathOutputs.reserve(outputs.size());
            for (const std::string* output : outputs) pathOutputs.push_back(*output);
        }

        // False when the exploration is absent. A graph without states, or a
        // transition whose label or destination is not valid, makes it absent too.
        bool run(const GFSA& start) {
            if (start.states.empty()) return false;
            push(Step{.graph = &start,
                      .counts = countsOf(start, 0),
                      .state = 0,
                      .context = 0,
                      .depth = 1,
                      .frameStart = 0},
                 0);
            while (!path.empty()) {
                const std::size_t index = path.size() - 1;
                Step& step = path.back();
                const GFSA::State& state = step.graph->states[static_cast<std::size_t>(step.state)];
                if (!step.entered) {
                    step.entered = true;
                    if (state.isTerminal) {
                        if (++pathsFound > maximalPathCount) return false;
                        const Step& frame = path[step.frameStart];
                        if (frame.caller == noStep) {
                            record();
                        } else {
                            // A completed path of a called graph: go on after the return.
                            const Step& caller = path[frame.caller];
                            push(Step{.graph = caller.graph,
                                      .counts = caller.counts,
                                      .state = frame.returnState,
                                      .context = caller.context,
                                      .depth = caller.depth,
                                      .frameStart = caller.frameStart},
                                 0);
                            continue;
                        }
                    }
                }
                if (step.nextTransition == state.outGoingTransitions.size()) {
                    pop();
                    continue;
                }
                const GFSA::Transition transition = state.outGoingTransitions[step.nextTransition++];
                const std::int64_t destination = transition.destinationStateIndex;
                if (destination < 0 || static_cast<std::size_t>(destination) >= step.counts->size()) return false;
                if ((*step.counts)[static_cast<std::size_t>(destination)] > limit) continue;
                if (transition.labelIndex < 0 ||
                    static_cast<std::size_t>(transition.labelIndex) >= grammar.alphabet.array.size())
                    return false;
                const Label& label = grammar.alphabet.array[static_cast<std::size_t>(transition.labelIndex)];
                const bool colon = !label.input.empty() && label.input.front() == ':';
                const Call* call = colon ? &callOf(transition.labelIndex, label.input) : nullptr;
                if (call && call->isCall) {
                    if (step.depth + 1 > maximalCallDepth) return false;
                    const GFSA* called = call->graph;
                    if (!called || called->states.empty()) return false;
                    const std::int64_t context = contextOf(step.context, step.state);
                    push(Step{.graph = called,
                              .counts = countsOf(*called, context),
                              .state = 0,
                              .context = context,
                              .depth = step.depth + 1,
                              .frameStart = path.size(),
                              .caller = index,
                              .returnState = destination},
                         0);
                } else {
                    push(Step{.graph = step.graph,
                              .counts = step.counts,
                              .state = destination,
                              .context = step.context,
                              .depth = step.depth,
                              .frameStart = step.frameStart},
                         transition.labelIndex);
                }
            }
            return true;
        }
    };

    const auto start = findGraph(graphs, nonNfcNames_, graphName);
    if (start == graphs.end()) return std::nullopt;
    const bool joinWithSpaces = level == LinguisticLevel::syntax;
    constexpr std::size_t pathsRecordedBeforeSuccess = std::size_t{1} << 16;
    Exploration exploration(*this, joinWithSpaces, repetitionLimit, pathsRecordedBeforeSuccess);
    if (!exploration.run(start->second)) return std::nullopt;
    if (exploration.complete) return std::move(exploration.result);
    // The exploration succeeds: run it again, recording every path.
    Exploration recording(*this, joinWithSpaces, repetitionLimit, maximalPathCount + 1);
    if (!recording.run(start->second)) return std::nullopt;
    return std::move(recording.result);
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
