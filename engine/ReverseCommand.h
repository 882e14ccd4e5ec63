// A reverse command (the `_LEX` property of a form) prepared once, to restore
// the lemmas of many word forms with the engine's editor.

#ifndef LEXPAND_ENGINE_REVERSECOMMAND_H
#define LEXPAND_ENGINE_REVERSECOMMAND_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Morphology.h"
#include "SuffixEdit.h"

namespace lexpand {

class ReverseCommand {
public:
    // Tokenizes and parses `command` once. Absent when the editor would
    // refuse it on every word form (a token that does not parse).
    static std::optional<ReverseCommand> prepare(std::string_view command);

    // Appends to `out` the lemma that the command gives from `form`: the
    // word form of Morphology::applySuffixCommandToWordForm(form, command).
    // False, `out` unchanged, when the editor refuses. `formSuitsSuffixEdits`
    // must be suitsSuffixEdits(form); a caller that knows it cheaply saves
    // the test. Cost: linear in the form for the commands that only delete
    // and type at the end of a form that suits them, the editor's otherwise.
    bool appendLemma(std::string& out, std::string_view form, bool formSuitsSuffixEdits) const;

    // True when the command only deletes and types at the end of a form.
    bool isSuffixEdit() const { return suffixEdit_.has_value(); }
    // The characters typed at the end (with isSuffixEdit), and how many
    // characters are deleted before.
    const std::string& typed() const { return suffixEdit_->typed; }
    std::size_t deletions() const { return suffixEdit_->deletions; }

private:
    std::vector<Morphology::Operator> operators_;
    std::optional<SuffixEdit> suffixEdit_;
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_REVERSECOMMAND_H
