// Exports AcyclicAutomatonBuilder: incremental construction of the minimal
// acyclic automaton of sorted words with values.

#include "AcyclicAutomatonBuilder.h"

#include <algorithm>
#include <utility>

#include "TextServices.h"

namespace lexpand {
namespace {

constexpr std::size_t initialTableSize = 1024; // a power of two

std::uint64_t mix(std::uint64_t hash, std::uint64_t value) {
    hash ^= value + 0x9E3779B97F4A7C15ull + (hash << 6) + (hash >> 2);
    return hash * 0xFF51AFD7ED558CCDull;
}

} // namespace

AcyclicAutomatonBuilder::AcyclicAutomatonBuilder() : path_(1), table_(initialTableSize, 0) {}

bool AcyclicAutomatonBuilder::add(std::string_view word, std::uint32_t value) {
    if (word.empty() || value == AcyclicAutomaton::notFinal) return false;
    if (!previousWord_.empty() && word <= std::string_view(previousWord_)) return false;
    scalars_.clear();
    for (std::size_t position = 0; position < word.size();) scalars_.push_back(decodeScalar(word, position));

    std::size_t common = 0;
    while (common < scalars_.size() && common < pathLength_ && path_[common + 1].label == scalars_[common]) ++common;
    closeDeeperThan(common);
    if (path_.size() < scalars_.size() + 1) path_.resize(scalars_.size() + 1);
    for (std::size_t depth = common + 1; depth <= scalars_.size(); ++depth) {
        OpenState& state = path_[depth];
        state.label = scalars_[depth - 1];
        state.value = AcyclicAutomaton::notFinal;
        state.arcs.clear();
    }
    path_[scalars_.size()].value = value;
    pathLength_ = scalars_.size();
    previousWord_.assign(word);
    return true;
}

AcyclicAutomaton AcyclicAutomatonBuilder::finish() {
    closeDeeperThan(0);
    automaton_.root = registerState(path_[0]);
    AcyclicAutomaton built = std::move(automaton_);
    *this = AcyclicAutomatonBuilder();
    return built;
}

void AcyclicAutomatonBuilder::closeDeeperThan(std::size_t depth) {
    for (std::size_t d = pathLength_; d > depth; --d) {
        const std::uint32_t state = registerState(path_[d]);
        path_[d - 1].arcs.push_back(AcyclicAutomaton::Arc{path_[d].label, state});
    }
    pathLength_ = std::min(pathLength_, depth);
}

std::uint64_t AcyclicAutomatonBuilder::hashOf(std::uint32_t value, const AcyclicAutomaton::Arc* arcs,
                                              std::size_t count) const {
    std::uint64_t hash = mix(0, value);
    for (std::size_t i = 0; i < count; ++i)
        hash = mix(hash, (static_cast<std::uint64_t>(arcs[i].label) << 32) | arcs[i].target);
    return hash ^ (hash >> 29);
}

bool AcyclicAutomatonBuilder::sameState(std::uint32_t state, const OpenState& open) const {
    const AcyclicAutomaton::State& built = automaton_.states[state];
    if (built.value != open.value || built.arcCount != open.arcs.size()) return false;
    const AcyclicAutomaton::Arc* arcs = automaton_.arcs.data() + built.firstArc;
    for (std::size_t i = 0; i < open.arcs.size(); ++i) {
        if (arcs[i].label != open.arcs[i].label || arcs[i].target != open.arcs[i].target) return false;
    }
    return true;
}

std::uint32_t AcyclicAutomatonBuilder::registerState(const OpenState& open) {
    const std::size_t mask = table_.size() - 1;
    std::size_t slot = hashOf(open.value, open.arcs.data(), open.arcs.size()) & mask;
    for (; table_[slot] != 0; slot = (slot + 1) & mask) {
        if (sameState(table_[slot] - 1, open)) return table_[slot] - 1;
    }
    const auto state = static_cast<std::uint32_t>(automaton_.states.size());
    automaton_.states.push_back(AcyclicAutomaton::State{static_cast<std::uint32_t>(automaton_.arcs.size()),
                                                        static_cast<std::uint32_t>(open.arcs.size()), open.value});
    automaton_.arcs.insert(automaton_.arcs.end(), open.arcs.begin(), open.arcs.end());
    table_[slot] = state + 1;
    if (++tableUsed_ * 2 > table_.size()) growTable();
    return state;
}

void AcyclicAutomatonBuilder::growTable() {
    std::vector<std::uint32_t> larger(table_.size() * 2, 0);
    const std::size_t mask = larger.size() - 1;
    for (const std::uint32_t entry : table_) {
        if (entry == 0) continue;
        const AcyclicAutomaton::State& state = automaton_.states[entry - 1];
        std::size_t slot = hashOf(state.value, automaton_.arcs.data() + state.firstArc, state.arcCount) & mask;
        while (larger[slot] != 0) slot = (slot + 1) & mask;
        larger[slot] = entry;
    }
    table_ = std::move(larger);
}

} // namespace lexpand
