// The automaton section of a compact dictionary: an acyclic automaton laid
// out and written in the arc encoding of CompactDictionaryFormat.h.

#ifndef LEXPAND_ENGINE_AUTOMATONENCODING_H
#define LEXPAND_ENGINE_AUTOMATONENCODING_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "AcyclicAutomatonBuilder.h"

namespace lexpand {

struct EncodedAutomaton {
    std::string bytes;
    std::uint32_t root = 0; // offset of the root state in bytes
};

// Writes `automaton` with each label replaced by its symbol number
// (`symbolOf`, which must hold every label) and each final value v by the
// list offset `listOffsetOf[v]`. States with many arcs into them come first,
// where their offsets are short; each state is followed, where it can be, by
// the target of its last arc, which then needs no offset. The other arcs come
// in decreasing order of the forms they lead to, so that a lookup's scan ends
// early. Cost: O(A log A) for A arcs, times the few passes that fix the
// width of every offset.
EncodedAutomaton encodeAutomaton(const AcyclicAutomaton& automaton,
                                 const std::unordered_map<char32_t, std::uint32_t>& symbolOf,
                                 const std::vector<std::uint32_t>& listOffsetOf);

} // namespace lexpand

#endif // LEXPAND_ENGINE_AUTOMATONENCODING_H
