// Strongly connected components of a directed graph: Tarjan's algorithm,
// with an explicit stack instead of recursion, so that no graph can exhaust
// the process stack. Determinization names the epsilon loops of an automaton
// with it, and the grammar checker finds the cycles of calls between rules.

#ifndef LEXPAND_ENGINE_STRONGCOMPONENTS_H
#define LEXPAND_ENGINE_STRONGCOMPONENTS_H

#include <algorithm>
#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace lexpand {

// Calls onComponent(members) once for each strongly connected component of
// the graph of `vertexCount` vertices, in the order in which the search
// closes them: a component comes after every component it reaches. The
// edges of vertex v are edge(v, 0), ..., edge(v, edgeCount(v) - 1), each
// the vertex it leads to or absent for an edge to leave out. `members` holds
// the component's vertices in the order they were discovered, and is valid
// during the call only. Cost: linear in the vertices and edges.
template <typename Vertex, typename EdgeCount, typename Edge, typename OnComponent>
void forEachStrongComponent(Vertex vertexCount, const EdgeCount& edgeCount, const Edge& edge,
                            const OnComponent& onComponent) {
    constexpr Vertex unvisited = std::numeric_limits<Vertex>::max();
    std::vector<Vertex> order(vertexCount, unvisited); // discovery number
    std::vector<Vertex> low(vertexCount, 0);           // lowest discovery number reachable on the stack
    std::vector<bool> onStack(vertexCount, false);
    std::vector<Vertex> members;                      // discovered, not yet in a closed component
    std::vector<std::pair<Vertex, std::size_t>> path; // vertex, next edge to look at
    Vertex counter = 0;
    const auto discover = [&](Vertex v) {
        order[v] = low[v] = counter++;
        members.push_back(v);
        onStack[v] = true;
        path.emplace_back(v, 0);
    };
    for (Vertex root = 0; root < vertexCount; ++root) {
        if (order[root] != unvisited) continue;
        discover(root);
        while (!path.empty()) {
            auto& [v, next] = path.back();
            if (next < edgeCount(v)) {
                const std::optional<Vertex> w = edge(v, next++);
                if (!w) continue;
                if (order[*w] == unvisited)
                    discover(*w);
                else if (onStack[*w])
                    low[v] = std::min(low[v], order[*w]);
                continue;
            }
            const Vertex done = v;
            path.pop_back();
            if (!path.empty()) low[path.back().first] = std::min(low[path.back().first], low[done]);
            if (low[done] != order[done]) continue;
            const auto first = std::find(members.begin(), members.end(), done);
            for (auto member = first; member != members.end(); ++member) onStack[*member] = false;
            onComponent(std::span<const Vertex>(&*first, static_cast<std::size_t>(members.end() - first)));
            members.erase(first, members.end());
        }
    }
}

} // namespace lexpand

#endif // LEXPAND_ENGINE_STRONGCOMPONENTS_H
