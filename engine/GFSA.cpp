// Exports GFSA, its states and transitions, the construction operations and determinization.

#include "GFSA.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include "StrongComponents.h"

namespace lexpand {

namespace {

// ---- Transition order ----------------------------------------------------------

// The UTF-8 bytes of a transition's text form, built on the stack. UTF-8
// byte order is code point order, so comparing these buffers byte-wise is
// comparing the text forms by code point.
struct TransitionTextForm {
    char bytes[48];
    std::size_t size = 0;

    explicit TransitionTextForm(const GFSA::Transition& transition) {
        char* const end = bytes + sizeof bytes;
        char* cursor = std::to_chars(bytes, end, transition.labelIndex).ptr;
        std::memcpy(cursor, "\xE2\x86\x92", 3); // U+2192 RIGHTWARDS ARROW
        cursor += 3;
        cursor = std::to_chars(cursor, end, transition.destinationStateIndex).ptr;
        size = static_cast<std::size_t>(cursor - bytes);
    }

    std::string_view view() const { return std::string_view(bytes, size); }
};

constexpr std::string_view arrow = "\xE2\x86\x92";

void appendInteger(std::string& text, std::int64_t value) {
    char buffer[24];
    const char* const end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
    text.append(buffer, static_cast<std::size_t>(end - buffer));
}

std::size_t mix(std::size_t seed, std::uint64_t value) {
    // The 64-bit finalizer of MurmurHash3, folded into the running seed.
    value ^= value >> 33;
    value *= 0xff51afd7ed558ccdULL;
    value ^= value >> 33;
    value *= 0xc4ceb9fe1a85ec53ULL;
    value ^= value >> 33;
    return seed ^ (static_cast<std::size_t>(value) + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2));
}

// ---- Construction helpers ------------------------------------------------------

// States 0 (initial) and 1 (the only terminal state), and a fresh alphabet;
// room is made for `operandStates` more states.
GFSA skeleton(std::size_t operandStates = 0) {
    GFSA result;
    result.states.reserve(2 + operandStates);
    result.states.resize(2);
    result.states[1].isTerminal = true;
    result.alphabet.emplace();
    return result;
}

void addEpsilon(GFSA& gfsa, std::int64_t from, std::int64_t to) {
    gfsa.states[static_cast<std::size_t>(from)].addTransition({0, to});
}

// Puts the epsilon transition at the end of the list, without ordering.
void appendEpsilon(GFSA& gfsa, std::int64_t from, std::int64_t to) {
    gfsa.states[static_cast<std::size_t>(from)].outGoingTransitions.push_back({0, to});
}

std::int64_t stateCount(const GFSA& gfsa) {
    return static_cast<std::int64_t>(gfsa.states.size());
}

// ---- Determinization -----------------------------------------------------------

// The working state of one determinization. Closures use a visit mark per
// source state, stamped with a generation number so that it never needs
// clearing: each closure costs the size of what it reaches.
struct SubsetConstruction {
    const GFSA& source;
    std::vector<std::uint64_t> visitedAt;
    std::uint64_t generation = 0;
    std::vector<std::int64_t> stack;

    explicit SubsetConstruction(const GFSA& gfsa) : source(gfsa), visitedAt(gfsa.states.size(), 0) {}

    bool isState(std::int64_t index) const {
        return index >= 0 && static_cast<std::size_t>(index) < source.states.size();
    }

    // The epsilon closure of `seeds` (any order, duplicates allowed), sorted.
    StateSet closure(const std::vector<std::int64_t>& seeds) {
        ++generation;
        StateSet result;
        stack.clear();
        for (const std::int64_t seed : seeds) visit(seed, result);
        while (!stack.empty()) {
            const std::int64_t state = stack.back();
            stack.pop_back();
            for (const GFSA::Transition& transition :
                 source.states[static_cast<std::size_t>(state)].outGoingTransitions)
                if (transition.labelIndex == 0) visit(transition.destinationStateIndex, result);
        }
        std::sort(result.begin(), result.end());
        return result;
    }

    void visit(std::int64_t state, StateSet& result) {
        if (!isState(state)) return;
        std::uint64_t& mark = visitedAt[static_cast<std::size_t>(state)];
        if (mark == generation) return;
        mark = generation;
        result.push_back(state);
        stack.push_back(state);
    }
};

// The strongly connected components of the epsilon graph of `source`: for
// each state, the smallest state of its component.
std::vector<std::uint32_t> epsilonComponents(const GFSA& source) {
    const auto count = static_cast<std::uint32_t>(source.states.size());
    std::vector<std::uint32_t> component(count, 0);
    const auto edgeCount = [&](std::uint32_t state) { return source.states[state].outGoingTransitions.size(); };
    const auto edge = [&](std::uint32_t state, std::size_t i) -> std::optional<std::uint32_t> {
        const GFSA::Transition& transition = source.states[state].outGoingTransitions[i];
        if (transition.labelIndex != 0 || transition.destinationStateIndex < 0 ||
            transition.destinationStateIndex >= static_cast<std::int64_t>(count))
            return std::nullopt;
        return static_cast<std::uint32_t>(transition.destinationStateIndex);
    };
    forEachStrongComponent(count, edgeCount, edge, [&](std::span<const std::uint32_t> members) {
        const std::uint32_t smallest = *std::min_element(members.begin(), members.end());
        for (const std::uint32_t member : members) component[member] = smallest;
    });
    return component;
}

// One determinization. A new state stands for an epsilon-closed set of
// source states, but what is stored of it is its kernel (the states that the
// labelled transition that found it reached), in a canonical form: two
// kernels get the same form exactly when their closures are equal. The
// closure itself is never stored, and is walked once per distinct content.
//
// A source state is plain when it is not terminal, reads no label and has at
// most one epsilon transition: all that its closure adds is its successor's
// closure. Chains of plain states are crossed in one leap, and the closure of
// a set is read from the states its leaps land on (`leaps`). Every state of
// a closure that reads a label or is terminal is reached that way, so the
// transitions and the terminal flag of a new state depend on its leaps alone;
// a set whose leaps are one state s takes them from the first set found with
// that same leap.
//
// Canonical kernels: the closure of a kernel is the union of the closures of
// its members. A member without an incoming epsilon transition is reached
// from no other member, and is the only member of its strongly connected
// component of the epsilon graph; so a kernel without members entered by an
// epsilon transition is already canonical. Otherwise every member is replaced
// by the smallest state of its component, and members whose component another
// member reaches are dropped: what is left generates the closure and is
// determined by it.
class Determinization {
public:
    Determinization(const GFSA& source, const DeterminizeOptions& options)
        : source_(source), options_(options), stateCount_(source.states.size()) {
        leap_.assign(stateCount_, unknown);
        epsilonEntered_.assign(stateCount_, false);
        firstWithLeap_.assign(stateCount_, noState);
        visitedAt_.assign(stateCount_, 0);
        for (const GFSA::State& state : source.states)
            for (const GFSA::Transition& transition : state.outGoingTransitions)
                if (transition.labelIndex == 0 && isState(transition.destinationStateIndex))
                    epsilonEntered_[static_cast<std::size_t>(transition.destinationStateIndex)] = true;
        for (std::size_t state = 0; state < stateCount_; ++state) computeLeap(state);
        keyBegin_.push_back(0);
        slots_.resize(64);
    }

    std::optional<GFSA> run() {
        result_.alphabet = source_.alphabet;
        if (stateCount_ == 0) return std::move(result_);
        kernel_.assign(1, 0);
        if (!numberOfKernel()) return std::nullopt;
        for (std::size_t current = 0; current < result_.states.size(); ++current)
            if (!process(current)) return std::nullopt;
        return std::move(result_);
    }

private:
    static constexpr std::int64_t noState = -1;
    static constexpr std::int64_t unknown = -2;
    static constexpr std::int64_t onChain = -3;

    // A slot of the open-addressing table of kernels: a new state number
    // and the hash of its kernel.
    struct Slot {
        std::size_t hash = 0;
        std::uint32_t number = noNumber;
    };
    static constexpr std::uint32_t noNumber = std::numeric_limits<std::uint32_t>::max();

    bool isState(std::int64_t index) const { return index >= 0 && static_cast<std::size_t>(index) < stateCount_; }

    const GFSA::State& stateAt(std::int64_t index) const { return source_.states[static_cast<std::size_t>(index)]; }

    std::span<const std::uint32_t> keyOf(std::uint32_t number) const {
        return std::span<const std::uint32_t>(keyStates_)
            .subspan(keyBegin_[number], keyBegin_[number + 1] - keyBegin_[number]);
    }

    // The only epsilon successor of a plain state (noState for none or an
    // invalid one); absent when the state is not plain.
    std::optional<std::int64_t> plainSuccessor(std::int64_t index) const {
        const GFSA::State& state = stateAt(index);
        if (state.isTerminal) return std::nullopt;
        std::int64_t successor = noState;
        bool seen = false;
        for (const GFSA::Transition& transition : state.outGoingTransitions) {
            if (transition.labelIndex != 0 || seen) return std::nullopt;
            seen = true;
            successor = isState(transition.destinationStateIndex) ? transition.destinationStateIndex : noState;
        }
        return successor;
    }

    // Fills leap_ along the chain of plain states that starts at `start`.
    void computeLeap(std::size_t start) {
        if (leap_[start] != unknown) return;
        chain_.clear();
        std::int64_t state = static_cast<std::int64_t>(start);
        std::int64_t landing = noState;
        while (true) {
            if (!isState(state)) break; // landing stays noState
            const std::int64_t known = leap_[static_cast<std::size_t>(state)];
            if (known == onChain) break; // a cycle of plain states
            if (known != unknown) {
                landing = known;
                break;
            }
            const std::optional<std::int64_t> successor = plainSuccessor(state);
            if (!successor) {
                landing = state;
                break;
            }
            leap_[static_cast<std::size_t>(state)] = onChain;
            chain_.push_back(state);
            state = *successor;
        }
        if (landing == state && isState(state)) leap_[static_cast<std::size_t>(state)] = state;
        for (const std::int64_t link : chain_) leap_[static_cast<std::size_t>(link)] = landing;
    }

    // Strongly connected components of the epsilon graph, each named by its
    // smallest state. Computed once, when first needed. Out of line: inlined,
    // it would push canonicalize, which runs for every kernel, out of line.
    [[gnu::noinline]] void computeComponents() {
        if (component_.empty()) component_ = epsilonComponents(source_);
    }

    // Puts kernel_ (sorted, without repeats) in its canonical form.
    void canonicalize() {
        if (std::none_of(kernel_.begin(), kernel_.end(), [&](std::uint32_t state) { return epsilonEntered_[state]; }))
            return;
        computeComponents();
        for (std::uint32_t& state : kernel_) state = component_[state];
        std::sort(kernel_.begin(), kernel_.end());
        kernel_.erase(std::unique(kernel_.begin(), kernel_.end()), kernel_.end());
        if (kernel_.size() < 2) return;

        // Walk the whole closure; a member is reached by another when an
        // epsilon transition enters its component from outside.
        ++generation_;
        const std::uint64_t walk = generation_;
        memberAt_.resize(stateCount_, 0);
        reachedAt_.resize(stateCount_, 0);
        stack_.clear();
        for (const std::uint32_t member : kernel_) {
            memberAt_[member] = walk;
            visitedAt_[member] = walk;
            stack_.push_back(member);
        }
        while (!stack_.empty()) {
            const std::int64_t state = stack_.back();
            stack_.pop_back();
            const std::uint32_t from = component_[static_cast<std::size_t>(state)];
            for (const GFSA::Transition& transition : stateAt(state).outGoingTransitions) {
                if (transition.labelIndex != 0 || !isState(transition.destinationStateIndex)) continue;
                const auto next = static_cast<std::size_t>(transition.destinationStateIndex);
                const std::uint32_t to = component_[next];
                if (to != from && memberAt_[to] == walk) reachedAt_[to] = walk;
                if (visitedAt_[next] == walk) continue;
                visitedAt_[next] = walk;
                stack_.push_back(transition.destinationStateIndex);
            }
        }
        std::erase_if(kernel_, [&](std::uint32_t member) { return reachedAt_[member] == walk; });
    }

    // The slot of the kernel kernel_ in slots_: the slot that holds it, or
    // the empty slot where it belongs.
    Slot& slotOfKernel(std::size_t hash) {
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t index = hash & mask;; index = (index + 1) & mask) {
            Slot& slot = slots_[index];
            if (slot.number == noNumber) return slot;
            if (slot.hash != hash) continue;
            const std::span<const std::uint32_t> key = keyOf(slot.number);
            if (std::equal(key.begin(), key.end(), kernel_.begin(), kernel_.end())) return slot;
        }
    }

    // Doubles the table, at most half full afterwards.
    void growSlots() {
        std::vector<Slot> old(slots_.size() * 2);
        old.swap(slots_);
        const std::size_t mask = slots_.size() - 1;
        for (const Slot& slot : old) {
            if (slot.number == noNumber) continue;
            std::size_t index = slot.hash & mask;
            while (slots_[index].number != noNumber) index = (index + 1) & mask;
            slots_[index] = slot;
        }
    }

    // The number of the new state whose kernel is kernel_ (sorted, without
    // repeats), made when there is none; absent past the bounds.
    std::optional<std::int64_t> numberOfKernel() {
        const std::size_t kernelSize = kernel_.size();
        canonicalize();
        std::size_t hash = kernel_.size();
        for (const std::uint32_t state : kernel_) hash = mix(hash, state);
        hash = mix(0, hash); // the table probes with the low bits
        if (const Slot& found = slotOfKernel(hash); found.number != noNumber) return found.number;

        kernelStateNumbers_ += kernelSize;
        if (result_.states.size() + 1 > options_.maxStates || kernelStateNumbers_ > options_.maxKernelStateNumbers)
            return std::nullopt;
        const auto number = static_cast<std::uint32_t>(result_.states.size());
        keyStates_.insert(keyStates_.end(), kernel_.begin(), kernel_.end());
        keyBegin_.push_back(keyStates_.size());
        result_.states.emplace_back();
        if (2 * (result_.states.size() + 1) > slots_.size()) growSlots();
        slotOfKernel(hash) = Slot{hash, number};
        return static_cast<std::int64_t>(number);
    }

    // Gives new state `current` its terminal flag and its transitions, in
    // ascending order of label indices, numbering the sets they lead to.
    bool process(std::size_t current) {
        collectLeaps(current);
        if (takesTransitionsOfSameLeap(current)) return true;
        result_.states[current].isTerminal = collectLeaving();
        return addTransitions(current);
    }

    // Fills leaps_ with where the members of `current`'s kernel leap to,
    // sorted, without repeats.
    void collectLeaps(std::size_t current) {
        leaps_.clear();
        for (const std::uint32_t state : keyOf(static_cast<std::uint32_t>(current))) {
            const std::int64_t landing = leap_[state];
            if (landing != noState) leaps_.push_back(landing);
        }
        std::sort(leaps_.begin(), leaps_.end());
        leaps_.erase(std::unique(leaps_.begin(), leaps_.end()), leaps_.end());
    }

    // When the leaps of `current` are one state s, gives it the flag and
    // transitions of the first new state whose leaps are s alone and answers
    // true; records `current` as that state when it is the first.
    bool takesTransitionsOfSameLeap(std::size_t current) {
        if (leaps_.size() != 1) return false;
        std::int64_t& first = firstWithLeap_[static_cast<std::size_t>(leaps_.front())];
        if (first == noState) {
            first = static_cast<std::int64_t>(current);
            return false;
        }
        const GFSA::State copied = result_.states[static_cast<std::size_t>(first)];
        result_.states[current] = copied;
        return true;
    }

    // Walks the closure from leaps_, landing to landing, putting in leaving_
    // every labelled transition met; true when a state met is terminal.
    bool collectLeaving() {
        ++generation_;
        bool terminal = false;
        leaving_.clear();
        stack_.clear();
        for (const std::int64_t landing : leaps_) {
            visitedAt_[static_cast<std::size_t>(landing)] = generation_;
            stack_.push_back(landing);
        }
        while (!stack_.empty()) {
            const GFSA::State& state = stateAt(stack_.back());
            stack_.pop_back();
            terminal = terminal || state.isTerminal;
            for (const GFSA::Transition& transition : state.outGoingTransitions) {
                if (transition.labelIndex != 0)
                    leaving_.push_back(transition);
                else
                    visitLanding(transition.destinationStateIndex);
            }
        }
        return terminal;
    }

    // Pushes where an epsilon transition into `destination` leaps to, when
    // the walk has not been there.
    void visitLanding(std::int64_t destination) {
        if (!isState(destination)) return;
        const std::int64_t landing = leap_[static_cast<std::size_t>(destination)];
        if (landing == noState || visitedAt_[static_cast<std::size_t>(landing)] == generation_) return;
        visitedAt_[static_cast<std::size_t>(landing)] = generation_;
        stack_.push_back(landing);
    }

    // Gives `current` one transition per label of leaving_, to the new state
    // of the kernel of that label's destinations; false past the bounds.
    bool addTransitions(std::size_t current) {
        std::sort(leaving_.begin(), leaving_.end(),
                  [](const GFSA::Transition& a, const GFSA::Transition& b) { return a.labelIndex < b.labelIndex; });
        for (std::size_t begin = 0; begin < leaving_.size();) {
            const std::int64_t label = leaving_[begin].labelIndex;
            const std::size_t end = kernelOfLabel(begin);
            const std::optional<std::int64_t> destination = numberOfKernel();
            if (!destination) return false;
            result_.states[current].outGoingTransitions.push_back({label, *destination});
            begin = end;
        }
        return true;
    }

    // Puts in kernel_ the destinations of the transitions of leaving_ from
    // `begin` on that have its label, sorted, without repeats; the end of
    // those transitions.
    std::size_t kernelOfLabel(std::size_t begin) {
        const std::int64_t label = leaving_[begin].labelIndex;
        kernel_.clear();
        std::size_t end = begin;
        for (; end < leaving_.size() && leaving_[end].labelIndex == label; ++end)
            if (isState(leaving_[end].destinationStateIndex))
                kernel_.push_back(static_cast<std::uint32_t>(leaving_[end].destinationStateIndex));
        std::sort(kernel_.begin(), kernel_.end());
        kernel_.erase(std::unique(kernel_.begin(), kernel_.end()), kernel_.end());
        return end;
    }

    const GFSA& source_;
    const DeterminizeOptions options_;
    const std::size_t stateCount_;

    std::vector<std::int64_t> leap_;          // per source state, see above
    std::vector<bool> epsilonEntered_;        // per source state
    std::vector<std::uint32_t> component_;    // per source state; empty until needed
    std::vector<std::int64_t> firstWithLeap_; // per source state: the first new state whose leaps are it alone

    // Canonical kernels of the new states, one after the other: new state k
    // has keyStates_[keyBegin_[k] .. keyBegin_[k + 1]).
    std::vector<std::uint32_t> keyStates_;
    std::vector<std::size_t> keyBegin_;
    std::vector<Slot> slots_; // a power of two, at most half full
    std::size_t kernelStateNumbers_ = 0;

    // Scratch, reused: marks stamped with a generation never need clearing.
    std::vector<std::uint64_t> visitedAt_;
    std::vector<std::uint64_t> memberAt_;
    std::vector<std::uint64_t> reachedAt_;
    std::uint64_t generation_ = 0;
    std::vector<std::int64_t> stack_;
    std::vector<std::int64_t> chain_;
    std::vector<std::int64_t> leaps_;
    std::vector<std::uint32_t> kernel_;
    std::vector<GFSA::Transition> leaving_;

    GFSA result_;
};

} // namespace

// ---- Transitions and states ------------------------------------------------------

std::string GFSA::Transition::description() const {
    return std::string(TransitionTextForm(*this).view());
}

bool operator==(const GFSA::Transition& a, const GFSA::Transition& b) {
    return a.labelIndex == b.labelIndex && a.destinationStateIndex == b.destinationStateIndex;
}

bool operator<(const GFSA::Transition& a, const GFSA::Transition& b) {
    return TransitionTextForm(a).view() < TransitionTextForm(b).view();
}

std::size_t StateSetHash::operator()(const StateSet& stateSet) const {
    std::size_t seed = stateSet.size();
    for (const std::int64_t state : stateSet) seed = mix(seed, static_cast<std::uint64_t>(state));
    return seed;
}

void GFSA::State::addTransition(const Transition& transition) {
    std::vector<Transition>& list = outGoingTransitions;
    // The ends first: copying appends in order almost always.
    if (list.empty() || list.back() < transition) {
        list.push_back(transition);
        return;
    }
    if (list.back() == transition || list.front() == transition) return;
    if (transition < list.front()) {
        list.insert(list.begin(), transition);
        return;
    }
    // Now list[low] < transition < list[high].
    std::size_t low = 0;
    std::size_t high = list.size() - 1;
    while (high - low > 1) {
        const std::size_t mid = (low + high) / 2;
        if (list[mid] == transition) return;
        if (transition < list[mid])
            high = mid;
        else
            low = mid;
    }
    list.insert(list.begin() + static_cast<std::ptrdiff_t>(high), transition);
}

std::string GFSA::State::description() const {
    std::string text = isTerminal ? "T " : ": ";
    for (const Transition& transition : outGoingTransitions) text.append(transition.description()).append(" ");
    return text;
}

// ---- The automaton ---------------------------------------------------------------

// Without an alphabet on either side, label indices are copied unchanged.
std::int64_t GFSA::addGFSA(const GFSA& g) {
    const std::int64_t offset = stateCount(*this);
    const bool reintern = alphabet.has_value() && g.alphabet.has_value();
    // g's label index -> this alphabet's index, filled in the order the copy
    // meets the labels, so new labels are numbered in that order.
    std::vector<std::int64_t> indexMap(reintern ? g.alphabet->array.size() : 0, -1);
    const auto mapLabel = [&](std::int64_t labelIndex) {
        if (!reintern || labelIndex < 0 || static_cast<std::size_t>(labelIndex) >= indexMap.size()) return labelIndex;
        std::int64_t& mapped = indexMap[static_cast<std::size_t>(labelIndex)];
        if (mapped < 0) mapped = alphabet->addLabel(g.alphabet->array[static_cast<std::size_t>(labelIndex)]);
        return mapped;
    };

    states.reserve(states.size() + g.states.size());
    for (const State& state : g.states) {
        State& copy = states.emplace_back();
        copy.outGoingTransitions.reserve(state.outGoingTransitions.size());
        for (const Transition& transition : state.outGoingTransitions)
            copy.addTransition({mapLabel(transition.labelIndex), transition.destinationStateIndex + offset});
    }
    return offset;
}

// A label index outside the alphabet is written as the bare number.
std::string GFSA::description() const {
    std::string text = "GFSA has ";
    appendInteger(text, stateCount(*this));
    text.append(" states");
    if (alphabet.has_value()) {
        text.append("; alphabet has ");
        appendInteger(text, static_cast<std::int64_t>(alphabet->array.size()));
        text.append(" letters:\n").append(alphabet->description());
    }
    text.append("\n");

    std::size_t transitionCount = 0;
    std::vector<Transition> sorted;
    for (std::size_t index = 0; index < states.size(); ++index) {
        const State& state = states[index];
        char number[32];
        std::snprintf(number, sizeof number, "%5lld", static_cast<long long>(index));
        text.append(number).append(state.isTerminal ? "T " : ": ");
        transitionCount += state.outGoingTransitions.size();
        if (!alphabet.has_value()) {
            for (const Transition& transition : state.outGoingTransitions)
                text.append(transition.description()).append(" ");
        } else {
            sorted = state.outGoingTransitions;
            std::sort(sorted.begin(), sorted.end());
            for (const Transition& transition : sorted) {
                const std::int64_t label = transition.labelIndex;
                if (label >= 0 && static_cast<std::size_t>(label) < alphabet->array.size())
                    text.append(alphabet->array[static_cast<std::size_t>(label)].description());
                else
                    appendInteger(text, label);
                text.append(arrow);
                appendInteger(text, transition.destinationStateIndex);
                text.append(" ");
            }
        }
        text.append("\n");
    }
    text.append("Number of transitions: ");
    appendInteger(text, static_cast<std::int64_t>(transitionCount));
    text.append("\n");
    return text;
}

// ---- Construction operations -----------------------------------------------------

GFSA GFSA::init(const Label& label) {
    GFSA result = skeleton();
    const std::int64_t index = result.alphabet->addLabel(label);
    result.states[0].addTransition({index, 1});
    return result;
}

GFSA GFSA::outputOperation(const GFSA& g, std::string_view outputString) {
    GFSA result = skeleton(g.states.size());
    const std::int64_t offset = result.addGFSA(g);
    // An input of "<E>" is always accepted, whatever the output.
    const std::int64_t output = result.alphabet->addLabel(Label::init("<E>", outputString).value_or(EPSILON));
    result.states[0].addTransition({output, offset});
    appendEpsilon(result, offset + 1, 1);
    return result;
}

GFSA GFSA::kleeneOperation(const GFSA& g) {
    GFSA result = skeleton(g.states.size());
    const std::int64_t offset = result.addGFSA(g);
    addEpsilon(result, 0, offset);
    addEpsilon(result, 0, 1);
    appendEpsilon(result, offset + 1, 0);
    return result;
}

GFSA GFSA::concatenation(const GFSA& gfsa1, const GFSA& gfsa2) {
    GFSA result = skeleton(gfsa1.states.size() + gfsa2.states.size());
    const std::int64_t offset1 = result.addGFSA(gfsa1);
    const std::int64_t offset2 = result.addGFSA(gfsa2);
    addEpsilon(result, 0, offset1);
    for (std::size_t i = 0; i < gfsa1.states.size(); ++i)
        if (gfsa1.states[i].isTerminal) appendEpsilon(result, offset1 + static_cast<std::int64_t>(i), offset2);
    for (std::size_t j = 0; j < gfsa2.states.size(); ++j)
        if (gfsa2.states[j].isTerminal) addEpsilon(result, offset2 + static_cast<std::int64_t>(j), 1);
    return result;
}

GFSA GFSA::disjunction(const GFSA& gfsa1, const GFSA& gfsa2) {
    GFSA result = skeleton(gfsa1.states.size() + gfsa2.states.size());
    const std::int64_t offset1 = result.addGFSA(gfsa1);
    const std::int64_t offset2 = result.addGFSA(gfsa2);
    addEpsilon(result, 0, offset1);
    addEpsilon(result, 0, offset2);
    addEpsilon(result, offset1 + 1, 1);
    addEpsilon(result, offset2 + 1, 1);
    return result;
}

GFSA GFSA::collocation(const GFSA& gfsa1, const GFSA& gfsa2) {
    GFSA result = skeleton(2 * (gfsa1.states.size() + gfsa2.states.size()) + 4);
    const std::int64_t first1 = result.addGFSA(gfsa1);
    const std::int64_t first2 = result.addGFSA(gfsa2);
    const std::int64_t second2 = result.addGFSA(gfsa2);
    const std::int64_t second1 = result.addGFSA(gfsa1);

    // Any number of "<ANY>", none included.
    const GFSA gap = GFSA::init(Label::init("<ANY>", "").value_or(EPSILON));
    const std::int64_t gap1 = result.addGFSA(gap);
    addEpsilon(result, gap1, gap1 + 1);
    addEpsilon(result, gap1 + 1, gap1);
    const std::int64_t gap2 = result.addGFSA(gap);
    addEpsilon(result, gap2, gap2 + 1);
    addEpsilon(result, gap2 + 1, gap2);

    addEpsilon(result, 0, first1);
    addEpsilon(result, first1 + 1, gap1);
    addEpsilon(result, gap1 + 1, first2);
    addEpsilon(result, first2 + 1, 1);

    addEpsilon(result, 0, second2);
    addEpsilon(result, second2 + 1, gap2);
    addEpsilon(result, gap2 + 1, second1);
    addEpsilon(result, second1 + 1, 1);
    return result;
}

// ---- Determinization ---------------------------------------------------------------

StateSet GFSA::closureForEpsilon(const StateSet& stateSet) const {
    SubsetConstruction construction(*this);
    return construction.closure(stateSet);
}

std::vector<std::int64_t> GFSA::computeUsedAlphabetIndices(const StateSet& stateSet) const {
    std::vector<std::int64_t> indices;
    for (const std::int64_t state : stateSet) {
        if (state < 0 || static_cast<std::size_t>(state) >= states.size()) continue;
        for (const Transition& transition : states[static_cast<std::size_t>(state)].outGoingTransitions)
            indices.push_back(transition.labelIndex);
    }
    std::sort(indices.begin(), indices.end());
    indices.erase(std::unique(indices.begin(), indices.end()), indices.end());
    return indices;
}

StateSet GFSA::closureForLabelIndex(const StateSet& stateSet, std::int64_t labelIndex) const {
    SubsetConstruction construction(*this);
    std::vector<std::int64_t> reached;
    for (const std::int64_t state : construction.closure(stateSet))
        for (const Transition& transition : states[static_cast<std::size_t>(state)].outGoingTransitions)
            if (transition.labelIndex == labelIndex) reached.push_back(transition.destinationStateIndex);
    return construction.closure(reached);
}

void GFSA::setAllTerminalStates(const std::unordered_map<StateSet, std::int64_t, StateSetHash>& stateSets,
                                const GFSA& considering) {
    for (const auto& [stateSet, newState] : stateSets) {
        if (newState < 0 || static_cast<std::size_t>(newState) >= states.size()) continue;
        bool terminal = false;
        for (const std::int64_t state : stateSet)
            if (state >= 0 && static_cast<std::size_t>(state) < considering.states.size() &&
                considering.states[static_cast<std::size_t>(state)].isTerminal) {
                terminal = true;
                break;
            }
        states[static_cast<std::size_t>(newState)].isTerminal = terminal;
    }
}

std::optional<GFSA> GFSA::determinize(const DeterminizeOptions& options) const {
    if (states.size() >= (std::size_t{1} << 32)) return std::nullopt;
    Determinization determinization(*this, options);
    return determinization.run();
}

} // namespace lexpand
