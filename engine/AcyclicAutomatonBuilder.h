// The minimal deterministic acyclic automaton of a set of words, each word
// carrying a value on its final state, built incrementally from the words in
// ascending order: only the path of the last word stays open, and every state
// left behind is replaced by an equivalent one already built, or kept as new.

#ifndef LEXPAND_ENGINE_ACYCLICAUTOMATONBUILDER_H
#define LEXPAND_ENGINE_ACYCLICAUTOMATONBUILDER_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lexpand {

// A built automaton. Two states are never equivalent: no two have the same
// value and the same arcs (label and target), so the automaton is minimal
// among those that give each word its value.
struct AcyclicAutomaton {
    static constexpr std::uint32_t notFinal = UINT32_MAX;

    struct Arc {
        char32_t label = 0; // a Unicode scalar
        std::uint32_t target = 0;
    };
    struct State {
        std::uint32_t firstArc = 0; // into arcs
        std::uint32_t arcCount = 0; // arcs in ascending order of label
        std::uint32_t value = notFinal;
    };

    std::vector<State> states; // targets come before the states that reach them
    std::vector<Arc> arcs;
    std::uint32_t root = 0;
};

class AcyclicAutomatonBuilder {
public:
    AcyclicAutomatonBuilder();

    // Adds `word` (UTF-8, well-formed) with `value` (not notFinal). False,
    // and nothing added, when `word` is empty or not greater in byte order
    // (code-point order) than the word added before. Cost: the scalars of
    // `word`, plus the states of the previous word's path that it leaves.
    bool add(std::string_view word, std::uint32_t value);

    // The automaton of every word added; the builder is left empty.
    AcyclicAutomaton finish();

private:
    struct OpenState {
        char32_t label = 0; // the label of the arc that reaches it
        std::uint32_t value = AcyclicAutomaton::notFinal;
        std::vector<AcyclicAutomaton::Arc> arcs;
    };

    // Closes the open states deeper than `depth`, each replaced by an
    // equivalent built state or built as new, and adds its arc to its parent.
    void closeDeeperThan(std::size_t depth);
    std::uint32_t registerState(const OpenState& open);
    std::uint64_t hashOf(std::uint32_t value, const AcyclicAutomaton::Arc* arcs, std::size_t count) const;
    bool sameState(std::uint32_t state, const OpenState& open) const;
    void growTable();

    AcyclicAutomaton automaton_;
    std::vector<OpenState> path_; // path_[0] is the root; path_[d] is depth d
    std::size_t pathLength_ = 0;  // scalars of the last word
    std::string previousWord_;
    std::u32string scalars_;           // the scalars of the word being added
    std::vector<std::uint32_t> table_; // open addressing: state + 1, 0 for empty
    std::size_t tableUsed_ = 0;
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_ACYCLICAUTOMATONBUILDER_H
