// Definitions check: the properties-definitions file read rule by rule, with
// every rule that cannot be compiled, named or enumerated reported, and the
// definitions made of the rules that can.

#ifndef LEXPAND_ENGINE_DEFINITIONSCHECK_H
#define LEXPAND_ENGINE_DEFINITIONSCHECK_H

#include <optional>
#include <string>

#include "ALU.h"
#include "Diagnostics.h"
#include "MGFSA.h"

namespace lexpand {

struct CheckedDefinitions {
    // Absent when the file cannot be read; else the definitions of the rules
    // that work, which are lexpand's own when `complete`.
    std::optional<PropertiesDefinitions> definitions;
    bool complete = false; // every rule works: lexpand would accept the file
};

// Checks the properties-definitions file at `path` and reports every rule
// that lexpand would refuse it for: a malformed rule, a rule that does not
// compile, a name that is neither a keyword nor a category and a property,
// a rule that cannot be enumerated within `options` (an undefined rule
// called, a rule that calls itself). Cost: compiling the file, and
// enumerating each rule twice.
CheckedDefinitions checkDefinitions(const std::string& path, Reporter& reporter, const ExploreOptions& options = {});

} // namespace lexpand

#endif // LEXPAND_ENGINE_DEFINITIONSCHECK_H
