// Exports ReverseCommand: lemmas restored from word forms by the editor, with
// the suffix-edit shortcut where it gives the same result.

#include "ReverseCommand.h"

namespace lexpand {

std::optional<ReverseCommand> ReverseCommand::prepare(std::string_view command) {
    std::optional<std::vector<Morphology::Operator>> operators = Morphology::parseCommand(command);
    if (!operators) return std::nullopt;
    ReverseCommand prepared;
    prepared.suffixEdit_ = suffixEditOf(*operators);
    prepared.operators_ = std::move(*operators);
    return prepared;
}

bool ReverseCommand::appendLemma(std::string& out, std::string_view form, bool formSuitsSuffixEdits) const {
    if (suffixEdit_ && formSuitsSuffixEdits) {
        // Every scalar of the form is a character: the editor deletes the
        // last scalars, and fails when there are fewer than it deletes.
        std::size_t cut = form.size();
        for (std::size_t deleted = 0; deleted < suffixEdit_->deletions; ++deleted) {
            if (cut == 0) return false;
            do --cut;
            while (cut > 0 && (static_cast<unsigned char>(form[cut]) & 0xC0) == 0x80);
        }
        out.append(form.substr(0, cut));
        out += suffixEdit_->typed;
        return true;
    }
    std::optional<Morphology::EditResult> edited = Morphology::applyParsedCommand(form, operators_);
    if (!edited) return false;
    out += edited->resultingWordForm;
    return true;
}

} // namespace lexpand
