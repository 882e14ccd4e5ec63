// Exports suffixEditOf and the reverse commands of suffix edits.

#include "SuffixEdit.h"

#include <cstdint>

#include "TextServices.h"
#include "Tokenizers.h"

namespace lexpand {

namespace {

constexpr std::string_view emptyCommand = "<E>";

// Appends the merged deletions of `count` typed characters: "<Bk>", or
// nothing for none.
void appendDeletions(std::string& out, std::size_t count) {
    if (count > 0) Morphology::appendOperatorText(out, "B", static_cast<std::int64_t>(count));
}

} // namespace

bool isSafeInReverseList(std::string_view text) {
    std::size_t position = 0;
    while (position < text.size()) {
        const char32_t scalar = decodeScalar(text, position);
        if (Tokenizer::opensLongToken(scalar) || isWhiteSpaceOrNewline(scalar)) return false;
    }
    return true;
}

std::optional<SuffixEdit> suffixEditOf(const std::vector<Morphology::Operator>& command) {
    constexpr std::int64_t deletionLimit = std::int64_t{1} << 30;
    SuffixEdit edit;
    std::vector<Morphology::Operator> typing;
    for (const Morphology::Operator& op : command) {
        if (op.parameter == 0) {
            typing.push_back(op);
        } else if (!typing.empty()) {
            return std::nullopt; // an operator after typing
        } else if (op.type == "B" && op.parameter >= 1 && op.parameter < deletionLimit) {
            edit.deletions += static_cast<std::size_t>(op.parameter);
            if (edit.deletions >= static_cast<std::size_t>(deletionLimit)) return std::nullopt;
        } else if (!(op.type == "E" && op.parameter == 1)) {
            return std::nullopt;
        }
    }
    if (!typing.empty()) {
        // Typing at the end inserts the same characters whatever precedes them.
        std::optional<Morphology::EditResult> typed = Morphology::applyParsedCommand("", typing);
        if (!typed) return std::nullopt;
        edit.typed = std::move(typed->resultingWordForm);
        edit.typedCount = typing.size();
    }
    edit.typedSuitsDerivation = isOneCharacterPerScalar(edit.typed) && isSafeInReverseList(edit.typed);
    edit.typedIsPlain = holdsNoneOf(edit.typed, ",\"\\");
    appendDeletions(edit.typedReverse, edit.typedCount);
    return edit;
}

std::array<std::string_view, 2> reverseOfSuffixEdit(const SuffixEdit& edit, std::string_view deleted) {
    if (edit.typedReverse.empty() && deleted.empty()) return {emptyCommand, std::string_view()};
    return {edit.typedReverse, deleted};
}

void appendReverseOfSuffixEdit(std::string& out, const SuffixEdit& edit, std::string_view deleted) {
    for (const std::string_view piece : reverseOfSuffixEdit(edit, deleted)) out += piece;
}

void appendReverseOfDerivedSuffixEdits(std::string& out, const SuffixEdit& inflection,
                                       std::string_view inflectionDeleted, const SuffixEdit& derivation,
                                       std::string_view derivationDeleted) {
    const std::size_t begin = out.size();
    if (inflectionDeleted.empty()) {
        appendDeletions(out, inflection.typedCount + derivation.typedCount);
    } else {
        appendDeletions(out, inflection.typedCount);
        out += inflectionDeleted;
        appendDeletions(out, derivation.typedCount);
    }
    out += derivationDeleted;
    if (out.size() == begin) out += emptyCommand;
}

void findTailStarts(std::string_view text, std::size_t most, std::vector<std::size_t>& starts) {
    starts.clear();
    starts.push_back(text.size());
    std::size_t position = text.size();
    while (starts.size() <= most && position > 0) {
        do --position;
        while (position > 0 && (static_cast<unsigned char>(text[position]) & 0xC0) == 0x80);
        starts.push_back(position);
    }
}

bool suitsSuffixEdits(std::string_view lemma) {
    return lemma.find('<') == std::string_view::npos && isOneCharacterPerScalar(lemma);
}

} // namespace lexpand
