// Exports checkAutomaton: a depth-first walk over a compact dictionary's
// automaton that proves it safe to read before any lookup.

#include "AutomatonCheck.h"

#include <algorithm>
#include <vector>

#include "CompactDictionaryFormat.h"

namespace lexpand {
namespace {

using detail::DecodedArc;

struct StateSummary {
    bool isFinal = false;
    bool onPath = true; // still being walked: an arc back to it closes a cycle
    std::uint64_t forms = 0;
    std::uint64_t pairs = 0;
    std::uint64_t longest = 0;
};

struct Frame {
    std::uint32_t offset = 0;
    std::uint32_t arcsBegin = 0;
    std::uint32_t summary = 0; // index into the summaries
    std::size_t position = 0;  // the next arc to read
    bool arcsLeft = true;
    std::size_t labelsBegin = 0; // where this state's labels begin in the label stack
};

std::uint64_t saturatingAdd(std::uint64_t a, std::uint64_t b) {
    return a > UINT64_MAX - b ? UINT64_MAX : a + b;
}

// Adds what `child` leads to into what `parent` leads to, one arc further.
void addChild(StateSummary& parent, const StateSummary& child) {
    parent.forms = saturatingAdd(parent.forms, child.forms);
    parent.pairs = saturatingAdd(parent.pairs, child.pairs);
    parent.longest = std::max(parent.longest, child.longest + 1);
}

using ListLength = std::function<std::optional<std::uint32_t>(std::uint32_t)>;
using StateVisitor = std::function<void(std::uint32_t, std::uint32_t, std::uint32_t)>;

// The depth-first walk of one call of checkAutomaton, without recursion: the
// path of states being walked, a summary per state met, and the labels of
// the arcs read from each state on the path. Each step either reads one arc
// or finishes one state; a step that finds the automaton bad writes why in
// `problem` and answers false.
class AutomatonWalk {
public:
    AutomatonWalk(std::string_view automaton, std::uint32_t symbolCount, const ListLength& listLength,
                  const StateVisitor& onState, std::string& problem)
        : automaton_(automaton), symbolCount_(symbolCount), listLength_(listLength), onState_(onState),
          problem_(problem), summaryOf_(automaton.size(), unseen) {}

    // Walks every state reachable from `root`; the counts, or nothing when
    // the automaton is bad.
    std::optional<AutomatonCounts> run(std::uint32_t root) {
        if (!enter(root, false)) return std::nullopt;
        while (!path_.empty()) {
            const bool good = path_.back().arcsLeft ? readArc() : finishState();
            if (!good) return std::nullopt;
        }
        const StateSummary& rootSummary = summaries_.front();
        counts_.forms = rootSummary.forms;
        counts_.pairs = rootSummary.pairs;
        counts_.longestForm = rootSummary.longest;
        return counts_;
    }

private:
    static constexpr std::uint32_t unseen = UINT32_MAX;

    bool fail(const char* why) {
        problem_ = why;
        return false;
    }

    // Enters the state at `offset` (not yet seen), reading its list of
    // analyses when it is final.
    bool enter(std::uint32_t offset, bool isFinal) {
        if (offset >= automaton_.size()) return fail("an arc leads outside the automaton");
        Frame frame;
        frame.offset = offset;
        frame.summary = static_cast<std::uint32_t>(summaries_.size());
        frame.position = offset;
        frame.labelsBegin = labels_.size();
        StateSummary summary;
        summary.isFinal = isFinal;
        if (isFinal) {
            const std::optional<std::uint32_t> head = detail::readVarint(automaton_, frame.position);
            const std::optional<std::uint32_t> length = head ? listLength_(*head / 2) : std::nullopt;
            if (!length) return fail("a final state names no valid list of analyses");
            summary.forms = 1;
            summary.pairs = *length;
            frame.arcsLeft = (*head & 1) != 0;
        }
        frame.arcsBegin = static_cast<std::uint32_t>(frame.position);
        summaryOf_[offset] = frame.summary;
        summaries_.push_back(summary);
        path_.push_back(frame);
        ++counts_.states;
        return true;
    }

    // Leaves the state on top of the path, whose arcs are all read: its
    // labels must be distinct; what it leads to adds to its parent's.
    bool finishState() {
        const Frame& frame = path_.back();
        const auto begin = labels_.begin() + static_cast<std::ptrdiff_t>(frame.labelsBegin);
        std::sort(begin, labels_.end());
        if (std::adjacent_find(begin, labels_.end()) != labels_.end())
            return fail("a state has two arcs with the same label");
        onState_(frame.offset, frame.arcsBegin, static_cast<std::uint32_t>(labels_.end() - begin));
        labels_.erase(begin, labels_.end());
        StateSummary& done = summaries_[frame.summary];
        done.onPath = false;
        path_.pop_back();
        if (!path_.empty()) addChild(summaries_[path_.back().summary], done);
        return true;
    }

    // Reads the next arc of the state on top of the path, and enters its
    // target when it is new.
    bool readArc() {
        Frame& frame = path_.back();
        DecodedArc arc;
        if (!detail::decodeArc(automaton_, frame.position, arc))
            return fail("an arc runs past the end of the automaton or is not an arc");
        if (arc.symbol >= symbolCount_) return fail("an arc has a label outside the symbol table");
        ++counts_.arcs;
        labels_.push_back(arc.symbol);
        frame.arcsLeft = !arc.last;
        if (frame.arcsLeft && frame.position >= automaton_.size())
            return fail("the arcs of a state run past the end of the automaton");
        if (arc.target >= automaton_.size() || summaryOf_[arc.target] == unseen)
            return enter(arc.target, arc.targetFinal);
        return meetSeenTarget(frame, arc);
    }

    // An arc of `frame`'s state into a state met before: it must be finished
    // and reached as final or not as before.
    bool meetSeenTarget(const Frame& frame, const DecodedArc& arc) {
        const StateSummary& target = summaries_[summaryOf_[arc.target]];
        if (target.onPath) return fail("the automaton has a cycle");
        if (target.isFinal != arc.targetFinal) return fail("a state is reached both as final and as not final");
        addChild(summaries_[frame.summary], target);
        return true;
    }

    std::string_view automaton_;
    std::uint32_t symbolCount_;
    const ListLength& listLength_;
    const StateVisitor& onState_;
    std::string& problem_;
    AutomatonCounts counts_;
    std::vector<std::uint32_t> summaryOf_; // state offset -> index
    std::vector<StateSummary> summaries_;
    std::vector<Frame> path_;
    std::vector<std::uint32_t> labels_;
};

} // namespace

std::optional<AutomatonCounts> checkAutomaton(std::string_view automaton, std::uint32_t root, std::uint32_t symbolCount,
                                              const ListLength& listLength, const StateVisitor& onState,
                                              std::string& problem) {
    if (automaton.empty()) return AutomatonCounts{}; // a dictionary without forms
    return AutomatonWalk(automaton, symbolCount, listLength, onState, problem).run(root);
}

} // namespace lexpand
