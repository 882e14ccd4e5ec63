// What the entry-line expander must print, assembled form by form from the
// engine's public steps, and a grammar and definitions that hold every kind
// of command: the reference of the unit test and of the fuzz target of
// EntryLineExpander.

#ifndef LEXPAND_TESTS_SUPPORT_FORMBYFORM_H
#define LEXPAND_TESTS_SUPPORT_FORMBYFORM_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ALU.h"
#include "EntryForms.h"
#include "FormLines.h"
#include "Morphology.h"

namespace lexpand::formbyform {

// Suffix edits, cursor moves, word moves, case switches, typed quotes and
// white space, calls, exclusive properties and derivations.
inline constexpr const char* paradigms = R"(
SG     = <E>/Nb=s | s/p ;
PL2    = <E>/s | <B2>en/p+Irr | <B>ies/p ;
TYPED  = <E>/s | ab/p | <B><B>c/p | <E><B>é/s ;
MARK   = <E>/s | <B>é/p | ́/s ;
CUT3   = <B3>/s | <B3>xyz/p ;
MOVES  = <E>/s | <L><B>ee<R>/p | <L2><D><R2>/p ;
CASE   = <E>/s | <LW><C><RW>/p ;
WORDS  = <E>/s | <PW>s/p | <P><B>/p ;
SPECIAL = <E>/s | \"/p | \</p | a b/p ;
CALLS  = :SG | :PL2 ;
EXCL   = <E>/s | s/p+s | s/Nb=p+Nb=s ;
NESS   = ness/N+Abs | <B>ity/N+Abs+p ;
ABLE   = able/ADJ ;
AGAIN  = re<B>/V+Iter ;
TYPEDD = <B2>\//N ;
)";

inline constexpr const char* definitions = R"(
N_Nb = s | p ;
N_Gender = m | f ;
N_Other = s ;
ADJ_Degree = POS | CMP ;
V_Tense = PR | PT ;
MORPHOLOGICALPROPERTIES = Nb | Tense | Degree ;
EXCLUSIVEPROPERTIES = Nb | Gender | Tense ;
)";

// Collects the printed lines.
class Lines final : public LineSink {
public:
    void printLine(std::string_view line) override { lines.emplace_back(line); }
    std::vector<std::string> lines;
};

// What one entry line prints, assembled form by form from the public steps:
// the entry parsed, every form generated, each form's properties assembled,
// the assembled line parsed again and written canonically.
inline std::optional<std::int64_t> expandFormByForm(std::string_view line,
                                                    const PropertiesDefinitions& propertiesDefinitions,
                                                    ParadigmCache& cache, LineSink& sink) {
    const std::optional<ALU> entry = ALU::init(line, &propertiesDefinitions);
    if (!entry) return std::nullopt;
    if (entry->flxParadigms.empty()) sink.printLine(line);
    const std::optional<EntryParadigms> explored = cache.paradigmsOf(*entry);
    if (!explored) return std::nullopt;
    const std::optional<EntryForms> forms = inflectAndDerive(*entry, *explored);
    if (!forms) return std::nullopt;
    std::int64_t count = 0;
    for (std::size_t i = 0; i < forms->wordForms.size(); ++i) {
        const std::optional<std::string> assembled = Morphology::addCategoryAndAllProperties(
            forms->categories[i], &entry->morphologicalProperties, forms->properties[i], propertiesDefinitions);
        if (!assembled) return std::nullopt;
        if (*assembled == "*INCONSISTENT*") continue;
        const std::optional<ALU> form = ALU::init(forms->wordForms[i] + "," + *assembled, &propertiesDefinitions);
        if (!form) return std::nullopt;
        sink.printLine(form->description());
        ++count;
    }
    return count;
}

} // namespace lexpand::formbyform

#endif // LEXPAND_TESTS_SUPPORT_FORMBYFORM_H
