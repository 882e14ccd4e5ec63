// The builder of a compact dictionary: (word form, analysis) pairs in, the
// bytes of a ".lxd" file out (see CompactDictionary for reading it).

#ifndef LEXPAND_ENGINE_COMPACTDICTIONARYBUILDER_H
#define LEXPAND_ENGINE_COMPACTDICTIONARYBUILDER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ReverseCommand.h"
#include "TextServices.h"

namespace lexpand {

class CompactDictionaryBuilder {
public:
    CompactDictionaryBuilder() = default;
    CompactDictionaryBuilder(const CompactDictionaryBuilder&) = delete; // holds every form added: large
    CompactDictionaryBuilder& operator=(const CompactDictionaryBuilder&) = delete;

    // Adds the pair of `form` and the analysis (`reverseCommand`,
    // `properties`). Pairs come in any order; a pair added twice counts
    // once; the analyses of one form keep the order in which they were
    // first added. Answers why the pair is refused, or nothing: a form that
    // is empty, not UTF-8 or holds a line feed, or a reverse command that
    // the editor does not apply to the form. Cost: linear in the form, plus
    // a hash lookup of the analysis (and the editor for unusual commands).
    std::optional<std::string> add(std::string_view form, std::string_view reverseCommand, std::string_view properties);

    std::uint64_t pairsAdded() const { return pairs_.size(); }

    // The bytes of the dictionary file of every pair added. Absent, with the
    // reason in `problem`, when the dictionary would exceed the limits of
    // the format (sections of 4 GB, 2^32 analyses). Cost: sorting the pairs,
    // O(P log P) comparisons of forms, then linear in the forms; memory: the
    // forms added and the automaton. The builder may be used only once.
    std::optional<std::string> build(std::string& problem);

private:
    struct Pair {
        std::uint64_t formOffset; // into forms_
        std::uint32_t formSize;
        std::uint32_t analysis;
    };
    struct Analysis {
        std::string reverseCommand;
        std::string properties;
        std::optional<ReverseCommand> prepared;
    };

    std::string forms_; // every form added, one after the other
    std::vector<Pair> pairs_;
    std::vector<Analysis> analyses_;
    std::unordered_map<std::string, std::uint32_t, TextHash, std::equal_to<>> analysisIds_;
    std::string key_;   // scratch: the key of an analysis
    std::string lemma_; // scratch: a restored lemma
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_COMPACTDICTIONARYBUILDER_H
