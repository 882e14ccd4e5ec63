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

} // namespace

std::optional<AutomatonCounts>
checkAutomaton(std::string_view automaton, std::uint32_t root, std::uint32_t symbolCount,
               const std::function<std::optional<std::uint32_t>(std::uint32_t)>& listLength,
               const std::function<void(std::uint32_t, std::uint32_t, std::uint32_t)>& onState, std::string& problem) {
    AutomatonCounts counts;
    if (automaton.empty()) return counts; // a dictionary without forms
    constexpr std::uint32_t unseen = UINT32_MAX;
    std::vector<std::uint32_t> summaryOf(automaton.size(), unseen); // state offset -> index
    std::vector<StateSummary> summaries;
    std::vector<Frame> path;
    std::vector<std::uint32_t> labels;

    // Enters the state at `offset` (not yet seen); false when it is bad.
    const auto enter = [&](std::uint32_t offset, bool isFinal) {
        if (offset >= automaton.size()) {
            problem = "an arc leads outside the automaton";
            return false;
        }
        Frame frame;
        frame.offset = offset;
        frame.summary = static_cast<std::uint32_t>(summaries.size());
        frame.position = offset;
        frame.labelsBegin = labels.size();
        StateSummary summary;
        summary.isFinal = isFinal;
        if (isFinal) {
            const std::optional<std::uint32_t> head = detail::readVarint(automaton, frame.position);
            const std::optional<std::uint32_t> length = head ? listLength(*head / 2) : std::nullopt;
            if (!length) {
                problem = "a final state names no valid list of analyses";
                return false;
            }
            summary.forms = 1;
            summary.pairs = *length;
            frame.arcsLeft = (*head & 1) != 0;
        }
        frame.arcsBegin = static_cast<std::uint32_t>(frame.position);
        summaryOf[offset] = frame.summary;
        summaries.push_back(summary);
        path.push_back(frame);
        ++counts.states;
        return true;
    };

    if (!enter(root, false)) return std::nullopt;
    while (!path.empty()) {
        Frame& frame = path.back();
        if (!frame.arcsLeft) {
            // Done with this state: its labels must be distinct.
            const auto begin = labels.begin() + static_cast<std::ptrdiff_t>(frame.labelsBegin);
            std::sort(begin, labels.end());
            if (std::adjacent_find(begin, labels.end()) != labels.end()) {
                problem = "a state has two arcs with the same label";
                return std::nullopt;
            }
            onState(frame.offset, frame.arcsBegin, static_cast<std::uint32_t>(labels.end() - begin));
            labels.erase(begin, labels.end());
            StateSummary& done = summaries[frame.summary];
            done.onPath = false;
            path.pop_back();
            if (!path.empty()) {
                StateSummary& parent = summaries[path.back().summary];
                parent.forms = saturatingAdd(parent.forms, done.forms);
                parent.pairs = saturatingAdd(parent.pairs, done.pairs);
                parent.longest = std::max(parent.longest, done.longest + 1);
            }
            continue;
        }
        DecodedArc arc;
        if (!detail::decodeArc(automaton, frame.position, arc)) {
            problem = "an arc runs past the end of the automaton or is not an arc";
            return std::nullopt;
        }
        if (arc.symbol >= symbolCount) {
            problem = "an arc has a label outside the symbol table";
            return std::nullopt;
        }
        ++counts.arcs;
        labels.push_back(arc.symbol);
        frame.arcsLeft = !arc.last;
        if (frame.arcsLeft && frame.position >= automaton.size()) {
            problem = "the arcs of a state run past the end of the automaton";
            return std::nullopt;
        }
        if (arc.target >= automaton.size() || summaryOf[arc.target] == unseen) {
            if (!enter(arc.target, arc.targetFinal)) return std::nullopt;
            continue;
        }
        const StateSummary& target = summaries[summaryOf[arc.target]];
        if (target.onPath) {
            problem = "the automaton has a cycle";
            return std::nullopt;
        }
        if (target.isFinal != arc.targetFinal) {
            problem = "a state is reached both as final and as not final";
            return std::nullopt;
        }
        StateSummary& current = summaries[frame.summary];
        current.forms = saturatingAdd(current.forms, target.forms);
        current.pairs = saturatingAdd(current.pairs, target.pairs);
        current.longest = std::max(current.longest, target.longest + 1);
    }
    const StateSummary& rootSummary = summaries.front();
    counts.forms = rootSummary.forms;
    counts.pairs = rootSummary.pairs;
    counts.longestForm = rootSummary.longest;
    return counts;
}

} // namespace lexpand
