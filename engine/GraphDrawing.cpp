// Exports graphToDot: the DOT text of one graph of an MGFSA.

#include "GraphDrawing.h"

#include <cstddef>
#include <cstdint>
#include <vector>

#include "TextServices.h"

namespace lexpand {
namespace {

// Calls stand out in one colour; the clusters of expanded calls are filled
// with a light shade of it.
constexpr std::string_view callColour = "\"#1f5fbf\"";
constexpr std::string_view clusterFill = "\"#eef3fb\"";

// `text` as a DOT quoted string: a backslash and a double quote are escaped,
// a line feed becomes a line break of the label.
std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (c == '\n') {
            result += "\\n";
        } else {
            result += c;
        }
    }
    result += '"';
    return result;
}

// The graph named `name`, or null: the byte-equal name first, then a
// canonically equivalent one.
const GFSA* findGraph(const MGFSA& grammar, std::string_view name) {
    const auto exact = grammar.graphs.find(std::string(name));
    if (exact != grammar.graphs.end()) return &exact->second;
    for (const auto& [stored, graph] : grammar.graphs) {
        if (canonicallyEqual(stored, name)) return &graph;
    }
    return nullptr;
}

// The name that a label with this input calls, as exploration reads it: all
// of the input after a leading ":"; absent for a label that calls nothing.
std::optional<std::string_view> calledName(const Label& label) {
    if (label.input.empty() || label.input.front() != ':') return std::nullopt;
    return std::string_view(label.input).substr(1);
}

// A call transition drawn as a cluster: the `transition`-th transition of
// state `state` calls `graph`, drawn as cluster number `cluster`.
struct ExpandedCall {
    std::size_t state = 0;
    std::size_t transition = 0;
    std::string_view name;
    const GFSA* graph = nullptr;
    std::size_t cluster = 0;
};

class DotWriter {
public:
    explicit DotWriter(const MGFSA& grammar) : grammar_(grammar) {}

    std::string draw(std::string_view name, const GFSA& graph, bool expandCalls) {
        const std::vector<ExpandedCall> calls = expandCalls ? expandedCalls(graph) : std::vector<ExpandedCall>{};
        text_ = "digraph " + quoted(name) + " {\n";
        text_ += "    graph [rankdir=LR, label=" + quoted(name) + ", labelloc=t, fontname=\"Helvetica\"];\n";
        text_ += "    node [shape=circle, fontname=\"Helvetica\"];\n";
        text_ += "    edge [fontname=\"Helvetica\"];\n";
        text_ += "    start [shape=point];\n";
        if (!graph.states.empty()) text_ += "    start -> q0;\n";
        writeStates(graph, "q", "    ");
        for (const ExpandedCall& call : calls) writeCluster(call);
        writeTransitions(graph, "q", "    ", calls);
        text_ += "}\n";
        return std::move(text_);
    }

private:
    // The call transitions of `graph` whose called graph exists, numbered
    // from 1 in state and transition order.
    std::vector<ExpandedCall> expandedCalls(const GFSA& graph) const {
        std::vector<ExpandedCall> calls;
        for (std::size_t s = 0; s < graph.states.size(); ++s) {
            const auto& transitions = graph.states[s].outGoingTransitions;
            for (std::size_t t = 0; t < transitions.size(); ++t) {
                const std::optional<std::string_view> name = calledName(labelOf(transitions[t]));
                if (!name) continue;
                const GFSA* called = findGraph(grammar_, *name);
                if (called != nullptr) calls.push_back({s, t, *name, called, calls.size() + 1});
            }
        }
        return calls;
    }

    const Label& labelOf(const GFSA::Transition& transition) const {
        return grammar_.alphabet.array[static_cast<std::size_t>(transition.labelIndex)];
    }

    void writeStates(const GFSA& graph, std::string_view prefix, std::string_view indent) {
        for (std::size_t s = 0; s < graph.states.size(); ++s) {
            text_ +=
                std::string(indent) + std::string(prefix) + std::to_string(s) + " [label=\"" + std::to_string(s) + "\"";
            if (graph.states[s].isTerminal) text_ += ", shape=doublecircle";
            text_ += "];\n";
        }
    }

    // One edge per transition; the transitions listed in `calls` become the
    // edges into and out of their clusters.
    void writeTransitions(const GFSA& graph, std::string_view prefix, std::string_view indent,
                          const std::vector<ExpandedCall>& calls) {
        std::size_t nextCall = 0;
        for (std::size_t s = 0; s < graph.states.size(); ++s) {
            const auto& transitions = graph.states[s].outGoingTransitions;
            for (std::size_t t = 0; t < transitions.size(); ++t) {
                const Label& label = labelOf(transitions[t]);
                const std::string from = std::string(indent) + std::string(prefix) + std::to_string(s);
                const std::string to = std::string(prefix) + std::to_string(transitions[t].destinationStateIndex);
                if (nextCall < calls.size() && calls[nextCall].state == s && calls[nextCall].transition == t) {
                    writeCallAndReturns(calls[nextCall++], from, to, label);
                    continue;
                }
                text_ += from + " -> " + to + " [label=" + quoted(label.description());
                if (calledName(label)) {
                    text_ +=
                        ", style=bold, color=" + std::string(callColour) + ", fontcolor=" + std::string(callColour);
                }
                text_ += "];\n";
            }
        }
    }

    void writeCallAndReturns(const ExpandedCall& call, const std::string& from, const std::string& to,
                             const Label& label) {
        const std::string prefix = clusterPrefix(call);
        const std::string style = "style=dashed, color=" + std::string(callColour);
        text_ += from + " -> " + prefix + "0 [label=" + quoted(label.description()) + ", " + style +
                 ", fontcolor=" + std::string(callColour) + "];\n";
        for (std::size_t s = 0; s < call.graph->states.size(); ++s) {
            if (!call.graph->states[s].isTerminal) continue;
            text_ += "    " + prefix + std::to_string(s) + " -> " + to + " [" + style + "];\n";
        }
    }

    // Built by appending: GCC 12 reports a false -Wrestrict on "c" + text.
    static std::string clusterPrefix(const ExpandedCall& call) {
        std::string prefix = "c";
        prefix += std::to_string(call.cluster);
        prefix += "_q";
        return prefix;
    }

    void writeCluster(const ExpandedCall& call) {
        text_ += "    subgraph cluster_" + std::to_string(call.cluster) + " {\n";
        text_ += "        graph [label=" + quoted(call.name) +
                 ", style=\"rounded,filled\", color=" + std::string(callColour) +
                 ", fillcolor=" + std::string(clusterFill) + ", fontcolor=" + std::string(callColour) + "];\n";
        writeStates(*call.graph, clusterPrefix(call), "        ");
        writeTransitions(*call.graph, clusterPrefix(call), "        ", {});
        text_ += "    }\n";
    }

    const MGFSA& grammar_;
    std::string text_;
};

} // namespace

std::optional<std::string> graphToDot(const MGFSA& grammar, std::string_view graphName, bool expandCalls) {
    const GFSA* graph = findGraph(grammar, graphName);
    if (graph == nullptr) return std::nullopt;
    return DotWriter(grammar).draw(graphName, *graph, expandCalls);
}

} // namespace lexpand
