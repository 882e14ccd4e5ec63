// Suffix edits: the commands that only delete characters at the end of a
// word form and then type, applied without the editor.
//
// Such a command is the common case of an inflection path ("<B2>ий", "s",
// "<E>"). On a word form whose characters are known, its result is the word
// form without its last characters followed by the typed text, and its
// reverse command follows from the counts alone; the functions below give
// exactly what Morphology::applySuffixCommandToWordForm gives.

#ifndef LEXPAND_ENGINE_SUFFIXEDIT_H
#define LEXPAND_ENGINE_SUFFIXEDIT_H

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Morphology.h"

namespace lexpand {

struct SuffixEdit {
    std::size_t deletions = 0; // characters removed from the end
    std::string typed;         // the characters typed after them
    std::size_t typedCount = 0;
    // `typed` is one character per scalar and safe in a reverse list (see
    // isSafeInReverseList): a derived word form that ends with it can be
    // inflected by another suffix edit.
    bool typedSuitsDerivation = false;
    // `typed` holds no comma, double quote, backslash or line terminator: in
    // a word form or a reverse command it is read back as it is.
    bool typedIsPlain = false;
    // What takes the typed characters back: "<Bk>" for k of them ("<B>" for
    // one, nothing for none).
    std::string typedReverse;
};

// The suffix edit that `command` is: any number of "<Bn>" (n >= 1) and
// "<E>", then any number of typed characters. Absent for any other command.
std::optional<SuffixEdit> suffixEditOf(const std::vector<Morphology::Operator>& command);

// True when every character of `text`, written in a reverse list between
// operators, reads back as the one-character token it was: none is white
// space or a character that opens a quoted string, a variable, an output, a
// call, an operator or an escape.
bool isSafeInReverseList(std::string_view text);

// True when every scalar of `lemma` is a character of its own and none is
// "<" (a deleted "<" makes the editor's reverse list unreadable): the
// lemma's last characters are then its last scalars.
bool suitsSuffixEdits(std::string_view lemma);

// Where the last scalars of the well-formed `text` begin: starts[k] is the
// offset of the k-th scalar from the end (starts[0] is the size), for k up to
// `most` or the number of scalars. Replaces the content of `starts`.
void findTailStarts(std::string_view text, std::size_t most, std::vector<std::size_t>& starts);

// The reverse command of `edit` applied to a word form whose last
// `edit.deletions` characters were `deleted`, in two pieces: "<Bk>" for the k
// characters typed ("<B>" for one, nothing for none), then `deleted`; or
// "<E>" when both are empty. The views are into `edit` and `deleted`.
std::array<std::string_view, 2> reverseOfSuffixEdit(const SuffixEdit& edit, std::string_view deleted);

// The same, appended to `out` as one text.
void appendReverseOfSuffixEdit(std::string& out, const SuffixEdit& edit, std::string_view deleted);

// Appends the reverse command of a derived word form inflected by a second
// suffix edit: the inflection's reverse list, then the derivation's,
// simplified, when every deleted character is safe in a reverse list. The
// simplification then only merges the two "<B>" when no character separates
// them, and drops "<E>".
void appendReverseOfDerivedSuffixEdits(std::string& out, const SuffixEdit& inflection,
                                       std::string_view inflectionDeleted, const SuffixEdit& derivation,
                                       std::string_view derivationDeleted);

} // namespace lexpand

#endif // LEXPAND_ENGINE_SUFFIXEDIT_H
