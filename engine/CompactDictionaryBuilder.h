// The builder of a compact dictionary: (word form, analysis) pairs in, the
// bytes of a ".lxd" file out (see CompactDictionary for reading it); the
// pairs of lexpand's form lines, and the file written whole or not at all.

#ifndef LEXPAND_ENGINE_COMPACTDICTIONARYBUILDER_H
#define LEXPAND_ENGINE_COMPACTDICTIONARYBUILDER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "FormLineReader.h"
#include "ReverseCommand.h"
#include "TextServices.h"

namespace lexpand {

class CompactDictionaryBuilder {
public:
    CompactDictionaryBuilder() = default;
    CompactDictionaryBuilder(const CompactDictionaryBuilder&) = delete; // holds every form added: large
    CompactDictionaryBuilder& operator=(const CompactDictionaryBuilder&) = delete;

    // The number of the analysis (`reverseCommand`, `properties`), the same
    // for the same texts. Absent, with the reason in `problem`, when a text
    // is not UTF-8 or there are 2^32 analyses already. Cost: a hash lookup.
    std::optional<std::uint32_t> analysisId(std::string_view reverseCommand, std::string_view properties,
                                            std::string& problem);

    // Adds the pair of `form` and the analysis numbered `analysis`. Pairs
    // come in any order; a pair added twice counts once; the analyses of one
    // form keep the order in which they were first added. Answers why the
    // pair is refused, or nothing: a form that is empty, not UTF-8 or holds a
    // line feed, or a reverse command that the editor does not apply to the
    // form. Cost: linear in the form (the editor's for unusual commands).
    std::optional<std::string> add(std::string_view form, std::uint32_t analysis);

    // The same in one call.
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
        std::uint64_t prefix;     // the form's first 8 bytes, big-endian, zeros after its end
        std::uint64_t formOffset; // into forms_
        std::uint32_t formSize;
        std::uint32_t analysis;
    };
    struct Analysis {
        std::string reverseCommand;
        std::string properties;
        std::optional<ReverseCommand> prepared;
    };

    struct Grouping;
    struct AnalysisSections;

    // suitsSuffixEdits(form), known for most scalars without ICU.
    bool formSuitsSuffixEdits(std::string_view form);

    // The steps of build. formOf: the form of a pair. sortPairs: the pairs
    // by form, then in the order added. analysesOfForm: fills `list` with
    // the distinct analyses of the pairs from `begin` on that share its
    // form, in order, and answers the end of those pairs. groupPairs: the
    // sorted pairs grouped by form into lists, with the automaton of the
    // forms; empties pairs_ and forms_. encodeAnalyses: the strings and
    // analyses sections, analyses in the order of `analysisRank`; absent,
    // with the reason in `problem`, past the format's limit.
    std::string_view formOf(const Pair& pair) const;
    void sortPairs();
    std::size_t analysesOfForm(std::size_t begin, std::vector<std::uint32_t>& list) const;
    Grouping groupPairs();
    std::optional<AnalysisSections> encodeAnalyses(const std::vector<std::uint32_t>& analysisRank,
                                                   std::string& problem) const;

    std::string forms_; // every form added, one after the other
    std::vector<Pair> pairs_;
    std::vector<Analysis> analyses_;
    std::unordered_map<std::string, std::uint32_t, TextHash, std::equal_to<>> analysisIds_;
    std::string key_;   // scratch: the key of an analysis
    std::string lemma_; // scratch: a restored lemma
    // Whether each scalar below 0x800 suits suffix edits: 0 not known yet,
    // 1 yes, 2 no (the others are tested each time).
    std::vector<std::uint8_t> scalarSuits_ = std::vector<std::uint8_t>(0x800, 0);
};

// Lines as lexpand prints them, added to a builder: each form line read back
// (FormLineReader) and its pair added, the analysis of the lines that share
// their text after the word form numbered once.
class FormLinePairs {
public:
    explicit FormLinePairs(CompactDictionaryBuilder& builder) : builder_(builder) {}

    // Adds the pair of `line`; a line that is no form (FormLineReader::
    // isSkipped) adds nothing. Answers why the line is refused, or nothing.
    // Cost: that of reading the line and of adding the pair.
    std::optional<std::string> add(std::string_view line);

private:
    CompactDictionaryBuilder& builder_;
    FormLineReader reader_;
    std::unordered_map<const FormAnalysis*, std::uint32_t> analysisIds_;
};

// Writes `bytes`, a built dictionary, to `path` through a temporary file
// beside it ("PATH.part"), so that a failure leaves no half-written
// dictionary. Answers why it cannot be written, or nothing.
std::optional<std::string> writeDictionaryFile(const std::string& path, const std::string& bytes);

} // namespace lexpand

#endif // LEXPAND_ENGINE_COMPACTDICTIONARYBUILDER_H
