// The check of a compact dictionary's automaton section before any lookup:
// every state and arc reachable from the root must decode inside the
// section, and the states must form an acyclic automaton.

#ifndef LEXPAND_ENGINE_AUTOMATONCHECK_H
#define LEXPAND_ENGINE_AUTOMATONCHECK_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace lexpand {

// What the check counts, to be compared with the counts a header announces.
struct AutomatonCounts {
    std::uint64_t states = 0;
    std::uint64_t arcs = 0;
    std::uint64_t forms = 0;       // paths from the root to a final state
    std::uint64_t pairs = 0;       // the same, each weighted by its list's length
    std::uint64_t longestForm = 0; // arcs of the longest path
};

// Checks the states reachable from `root` in `automaton`: each arc decodes
// inside the section with a symbol below `symbolCount`; labels are distinct
// within a state; no path comes back to a state it passed; no state is
// reached both as final and not final; and each final state names a list
// that `listLength` accepts (it answers the list's length, or nothing for a
// bad list). Calls onState(offset, offset of its first arc, arc count) once
// per state. Answers the
// counts, or nothing with the reason in `problem`. Cost: linear in the
// reachable states and arcs; memory: four bytes per byte of the section, and
// the longest path (no recursion).
std::optional<AutomatonCounts>
checkAutomaton(std::string_view automaton, std::uint32_t root, std::uint32_t symbolCount,
               const std::function<std::optional<std::uint32_t>(std::uint32_t)>& listLength,
               const std::function<void(std::uint32_t, std::uint32_t, std::uint32_t)>& onState, std::string& problem);

} // namespace lexpand

#endif // LEXPAND_ENGINE_AUTOMATONCHECK_H
