// Word lookup: how the words of a text are found in a compact dictionary. A
// word not found as written is looked up with its first letter in lower case,
// then all in lower case; running text is cut at Unicode's word boundaries,
// and a run of words that is a form as written (a multi-word entry) is taken
// whole, the longest first. lexpand-lookup and the Python analyser both look
// words up this way, so that they give the same analyses.

#ifndef LEXPAND_ENGINE_WORDLOOKUP_H
#define LEXPAND_ENGINE_WORDLOOKUP_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CompactDictionary.h"
#include "TextServices.h"

namespace lexpand {

// A word found: where its spelling ends (a final position), and the spelling
// in lower case that was found, empty when the word was found as written.
struct FoundSpelling {
    CompactDictionary::Position at;
    std::string lowered;
};

// The spelling under which `dictionary` holds `word`: as written, else with
// its first character in lower case, else all in lower case. Absent when it
// holds none of them. Cost: up to three lookups; the case mappings, linear in
// the word, only when it is not found as written.
std::optional<FoundSpelling> findSpelling(const CompactDictionary& dictionary, std::string_view word);

// Cuts lines of running text into the words to look up. Not for several
// threads at once (it owns a word iterator); the dictionary must outlive it.
class TextWords {
public:
    explicit TextWords(const CompactDictionary& dictionary) : dictionary_(dictionary) {}

    // Replaces `words` with the words of `line`, in order, as views into it:
    // each word segment, or the longest run of segments from a word to a
    // word that the dictionary holds as one form. Spaces and punctuation
    // outside such runs are left out. Cost: linear in the line, plus the
    // lookups of the runs, each as long as the dictionary's forms continue.
    void wordsOf(std::string_view line, std::vector<std::string_view>& words);

private:
    const CompactDictionary& dictionary_;
    WordSegmenter segmenter_;
    std::vector<TextSegment> segments_;
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_WORDLOOKUP_H
