// Failure reasons: why an entry line or a command fails, in the words the
// Python exceptions carry. This is the one place that words them: when the
// engine's diagnostics give the precise reason of a failure, these functions
// answer it instead.

#ifndef LEXPAND_PYTHON_FAILUREREASONS_H
#define LEXPAND_PYTHON_FAILUREREASONS_H

#include <string>
#include <string_view>

#include "Lexicon.h"

namespace lexpand::python {

// Why `lexicon` cannot expand the entry line `line`, which it has just
// refused. Cost: parsing the line once.
std::string entryFailureReason(const Lexicon& lexicon, std::string_view line);

// Why the editor cannot apply `command` to `word`, which it has just refused.
std::string commandFailureReason(std::string_view word, std::string_view command);

} // namespace lexpand::python

#endif // LEXPAND_PYTHON_FAILUREREASONS_H
