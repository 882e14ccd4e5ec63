// Exports findSpelling and TextWords: the words of a text as a compact
// dictionary is searched for them.

#include "WordLookup.h"

namespace lexpand {

std::optional<FoundSpelling> findSpelling(const CompactDictionary& dictionary, std::string_view word) {
    std::optional<CompactDictionary::Position> at = dictionary.find(word);
    if (at && at->isFinal) return FoundSpelling{*at, {}};
    // A word already in lower case is also in lower case from its first letter.
    std::string allLower = toLowerCase(word);
    if (allLower == word) return std::nullopt;
    std::string firstLower = lowerCaseFirstCharacter(word);
    if (firstLower != word && (at = dictionary.find(firstLower)) && at->isFinal)
        return FoundSpelling{*at, std::move(firstLower)};
    if (allLower != firstLower && (at = dictionary.find(allLower)) && at->isFinal)
        return FoundSpelling{*at, std::move(allLower)};
    return std::nullopt;
}

void TextWords::wordsOf(std::string_view line, std::vector<std::string_view>& words) {
    words.clear();
    segmenter_.segment(line, segments_);
    for (std::size_t i = 0; i < segments_.size();) {
        if (!segments_[i].isWord) {
            ++i;
            continue;
        }
        std::size_t longest = i;
        CompactDictionary::Position at = dictionary_.start();
        for (std::size_t j = i; j < segments_.size(); ++j) {
            const TextSegment& segment = segments_[j];
            const std::optional<CompactDictionary::Position> next =
                dictionary_.advance(at, line.substr(segment.begin, segment.end - segment.begin));
            if (!next) break;
            at = *next;
            if (segment.isWord && at.isFinal) longest = j;
        }
        words.push_back(line.substr(segments_[i].begin, segments_[longest].end - segments_[i].begin));
        i = longest + 1;
    }
}

} // namespace lexpand
