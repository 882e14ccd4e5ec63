// Exports explorePaths, calledName and MGFSA::explore: every path of a graph
// through the graphs it calls.
//
// Depth-first over one path held in place: a step is pushed when a transition
// is followed and popped when its transitions are exhausted. A call pushes the
// called graph's initial step; whenever a step of a called graph is terminal,
// the path so far is one of the called graph's completed paths, and the
// return step into the caller is pushed at once, so everything after the
// return is explored before the called graph goes on. This gives the same
// paths in the same order as first collecting all completed paths of the
// called graph and then continuing each of them in turn, without storing them.
//
// The repetition test needs, for a transition, the number of items of the
// current path with the current graph and the stack it would lead to. Items
// share a graph and a stack exactly when they share a frame (graph and call
// context) and a state, so every frame keeps a count per state, kept up to
// date by every push and pop; a transition costs one array access, and only a
// call looks up a map. The input text and the outputs of the current path are
// kept as stacks too, so visiting a path costs nothing more.

#include "Exploration.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "TextServices.h"

namespace lexpand {

namespace {

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

// The exploration of one graph: its working state lives here, for one call.
class PathExplorer {
public:
    PathExplorer(const MGFSA& grammar, LinguisticLevel level, int repetitionLimit, const ExploreOptions& options,
                 const PathVisitor& visit, ExplorationFailure* failure)
        : grammar_(grammar), joinWithSpaces_(level == LinguisticLevel::syntax), limit_(repetitionLimit),
          options_(options), visit_(visit), failure_(failure) {}

    ExplorationEnd run(const GFSA& start);

private:
    // What a label whose input begins with ":" does, decided once per exploration.
    struct Call {
        bool isCall;       // the first character is ":" itself
        const GFSA* graph; // the called graph; nullptr when missing
    };

    StateCounts* countsOf(const GFSA& graph, std::int64_t context);
    std::int64_t contextOf(std::int64_t parent, std::int64_t state);
    const Call& callOf(std::int64_t labelId, std::string_view labelInput);
    void push(Step step, std::int64_t labelId);
    void pop();
    std::optional<ExplorationEnd> arrive(std::size_t index);
    std::optional<ExplorationEnd> follow(std::size_t index, const GFSA::Transition& transition);
    ExplorationEnd fail(ExplorationFailure::Kind kind, std::string_view graphName = {});

    const MGFSA& grammar_;
    const bool joinWithSpaces_;
    const std::int64_t limit_;
    const ExploreOptions options_;
    const PathVisitor& visit_;
    ExplorationFailure* const failure_; // null: the reason is not wanted
    std::vector<Step> path_;
    // Node-based maps: the addresses of their values stay valid.
    std::unordered_map<FrameKey, StateCounts, FrameKeyHash> frames_;
    std::unordered_map<ContextKey, std::int64_t, ContextKeyHash> contexts_;
    std::unordered_map<std::int64_t, Call> calls_; // by label index
    std::string input_;
    std::vector<const std::string*> outputs_;
    std::vector<const GFSA*> graphs_; // the graphs entered by the steps of path_, in order
    std::size_t pathsFound_ = 0;
    std::size_t steps_ = 0;
};

StateCounts* PathExplorer::countsOf(const GFSA& graph, std::int64_t context) {
    const auto [it, added] = frames_.try_emplace(FrameKey{&graph, context});
    if (added) it->second.assign(graph.states.size(), 0);
    return &it->second;
}

std::int64_t PathExplorer::contextOf(std::int64_t parent, std::int64_t state) {
    const auto [it, added] =
        contexts_.try_emplace(ContextKey{parent, state}, static_cast<std::int64_t>(contexts_.size()) + 1);
    return it->second;
}

const PathExplorer::Call& PathExplorer::callOf(std::int64_t labelId, std::string_view labelInput) {
    const auto [it, added] = calls_.try_emplace(labelId, Call{false, nullptr});
    if (added) {
        if (const std::optional<std::string_view> name = calledName(labelInput)) {
            it->second.isCall = true;
            it->second.graph = grammar_.graphNamed(*name);
        }
    }
    return it->second;
}

// Appends a step that read the label `labelId`.
void PathExplorer::push(Step step, std::int64_t labelId) {
    step.inputLength = input_.size();
    step.outputCount = outputs_.size();
    const Label& label = grammar_.alphabet.array[static_cast<std::size_t>(labelId)];
    if (label.input != "<E>") {
        if (joinWithSpaces_ && !input_.empty() && input_.back() != ' ') input_.push_back(' ');
        input_ += label.input;
    }
    if (!label.output.empty()) outputs_.push_back(&label.output);
    ++(*step.counts)[static_cast<std::size_t>(step.state)];
    if (step.frameStart == path_.size()) graphs_.push_back(step.graph); // a graph entered
    path_.push_back(step);
}

void PathExplorer::pop() {
    const Step& step = path_.back();
    if (step.frameStart == path_.size() - 1) graphs_.pop_back();
    input_.resize(step.inputLength);
    outputs_.resize(step.outputCount);
    --(*step.counts)[static_cast<std::size_t>(step.state)];
    path_.pop_back();
}

// The terminal test of the step at `index`, made once when the step is first
// on top: a completed path of the start graph is visited, one of a called
// graph returns into its caller. Answers how the exploration ends, if it does.
std::optional<ExplorationEnd> PathExplorer::arrive(std::size_t index) {
    Step& step = path_[index];
    step.entered = true;
    if (!step.graph->states[static_cast<std::size_t>(step.state)].isTerminal) return std::nullopt;
    if (++pathsFound_ > options_.maxPaths) return fail(ExplorationFailure::Kind::pathLimit);
    const Step& frame = path_[step.frameStart];
    if (frame.caller == noStep) {
        // Reading a path costs its length: it counts as that many steps.
        steps_ += path_.size();
        if (steps_ > options_.maxSteps) return fail(ExplorationFailure::Kind::stepLimit);
        if (!visit_(FoundPath{input_, outputs_, graphs_})) return ExplorationEnd::stopped;
        return std::nullopt;
    }
    const Step& caller = path_[frame.caller];
    push(Step{.graph = caller.graph,
              .counts = caller.counts,
              .state = frame.returnState,
              .context = caller.context,
              .depth = caller.depth,
              .frameStart = caller.frameStart},
         0);
    return std::nullopt;
}

// Follows `transition` from the step at `index`: a call enters the called
// graph, any other label moves within the graph. A transition whose label or
// destination is not valid ends the exploration as failed.
std::optional<ExplorationEnd> PathExplorer::follow(std::size_t index, const GFSA::Transition& transition) {
    const Step& step = path_[index];
    const std::int64_t destination = transition.destinationStateIndex;
    if (destination < 0 || static_cast<std::size_t>(destination) >= step.counts->size())
        return fail(ExplorationFailure::Kind::malformed);
    if ((*step.counts)[static_cast<std::size_t>(destination)] > limit_) return std::nullopt;
    if (transition.labelIndex < 0 || static_cast<std::size_t>(transition.labelIndex) >= grammar_.alphabet.array.size())
        return fail(ExplorationFailure::Kind::malformed);
    const Label& label = grammar_.alphabet.array[static_cast<std::size_t>(transition.labelIndex)];
    const bool colon = !label.input.empty() && label.input.front() == ':';
    const Call* call = colon ? &callOf(transition.labelIndex, label.input) : nullptr;
    if (call == nullptr || !call->isCall) {
        push(Step{.graph = step.graph,
                  .counts = step.counts,
                  .state = destination,
                  .context = step.context,
                  .depth = step.depth,
                  .frameStart = step.frameStart},
             transition.labelIndex);
        return std::nullopt;
    }
    if (step.depth + 1 > options_.maxCallDepth)
        return fail(ExplorationFailure::Kind::callDepth, std::string_view(label.input).substr(1));
    const GFSA* called = call->graph;
    if (called == nullptr || called->states.empty())
        return fail(ExplorationFailure::Kind::missingGraph, std::string_view(label.input).substr(1));
    const std::int64_t context = contextOf(step.context, step.state);
    push(Step{.graph = called,
              .counts = countsOf(*called, context),
              .state = 0,
              .context = context,
              .depth = step.depth + 1,
              .frameStart = path_.size(),
              .caller = index,
              .returnState = destination},
         0);
    return std::nullopt;
}

// Records why the exploration fails, when the caller asked: the kind, the
// name concerned and the graphs entered on the current path (their names
// found by address, which is only paid on failure).
ExplorationEnd PathExplorer::fail(ExplorationFailure::Kind kind, std::string_view graphName) {
    if (failure_ == nullptr) return ExplorationEnd::failed;
    failure_->kind = kind;
    failure_->graphName = std::string(graphName);
    failure_->calls.clear();
    for (std::size_t i = 0; i < path_.size(); ++i) {
        if (path_[i].frameStart != i) continue;
        for (const auto& [name, graph] : grammar_.graphs) {
            if (&graph == path_[i].graph) failure_->calls.push_back(name);
        }
    }
    return ExplorationEnd::failed;
}

ExplorationEnd PathExplorer::run(const GFSA& start) {
    if (start.states.empty()) return ExplorationEnd::failed;
    push(Step{.graph = &start, .counts = countsOf(start, 0), .state = 0, .context = 0, .depth = 1, .frameStart = 0}, 0);
    while (!path_.empty()) {
        const std::size_t index = path_.size() - 1;
        if (!path_[index].entered) {
            if (const std::optional<ExplorationEnd> end = arrive(index)) return *end;
            if (path_.size() - 1 != index) continue; // a return step was pushed
        }
        Step& step = path_[index];
        const GFSA::State& state = step.graph->states[static_cast<std::size_t>(step.state)];
        if (step.nextTransition == state.outGoingTransitions.size()) {
            pop();
            continue;
        }
        const GFSA::Transition transition = state.outGoingTransitions[step.nextTransition++];
        if (++steps_ > options_.maxSteps) return fail(ExplorationFailure::Kind::stepLimit);
        if (const std::optional<ExplorationEnd> end = follow(index, transition)) return *end;
    }
    return ExplorationEnd::finished;
}

} // namespace

std::optional<std::string_view> calledName(std::string_view input) {
    if (input.empty() || input.front() != ':') return std::nullopt;
    // A following ASCII character always starts a new cluster.
    if (input.size() > 1 && static_cast<unsigned char>(input[1]) >= 0x80) {
        const std::vector<std::string_view> clusters = graphemeClusterViews(input);
        if (clusters.front() != ":") return std::nullopt;
    }
    return input.substr(1);
}

ExplorationEnd explorePaths(const MGFSA& grammar, const std::string& graphName, LinguisticLevel linguisticLevel,
                            int repetitionLimit, const ExploreOptions& options, const PathVisitor& visit,
                            ExplorationFailure* failure) {
    const GFSA* start = grammar.graphNamed(graphName);
    if (start == nullptr || start->states.empty()) {
        if (failure != nullptr) *failure = ExplorationFailure{ExplorationFailure::Kind::missingGraph, graphName, {}};
        return ExplorationEnd::failed;
    }
    return PathExplorer(grammar, linguisticLevel, repetitionLimit, options, visit, failure).run(*start);
}

// An exploration that finds many paths first only counts them past a
// threshold, and is run again to record them once it is known to succeed: one
// that passes the path limit, or meets a missing graph or the call depth limit
// late, is then found absent without holding millions of paths (up to
// gigabytes) in memory. Ordinary paradigms stay below the threshold and are
// explored once.
std::optional<ExplorationResult> MGFSA::explore(const std::string& graphName, LinguisticLevel level,
                                                int repetitionLimit, const ExploreOptions& options) const {
    constexpr std::size_t pathsRecordedBeforeSuccess = std::size_t{1} << 16;
    ExplorationResult result;
    bool complete = true;
    const auto record = [&](std::size_t recordingLimit) {
        return [&, recordingLimit](const FoundPath& path) {
            if (!complete) return true;
            if (result.input.size() == recordingLimit) {
                complete = false;
                result = ExplorationResult();
                return true;
            }
            result.input.emplace_back(trimWhiteSpaceAndNewlines(path.input));
            std::vector<std::string>& outputs = result.output.emplace_back();
            outputs.reserve(path.outputs.size());
            for (const std::string* output : path.outputs) outputs.push_back(*output);
            return true;
        };
    };
    if (explorePaths(*this, graphName, level, repetitionLimit, options, record(pathsRecordedBeforeSuccess)) !=
        ExplorationEnd::finished)
        return std::nullopt;
    if (complete) return result;
    // The exploration succeeds: run it again, recording every path.
    complete = true;
    if (explorePaths(*this, graphName, level, repetitionLimit, options, record(options.maxPaths + 1)) !=
        ExplorationEnd::finished)
        return std::nullopt;
    return result;
}

} // namespace lexpand
