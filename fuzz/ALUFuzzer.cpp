// Fuzz target for entry lines: ALU::init and ALU::description, without and
// with properties definitions. The canonical text of an entry is itself an
// entry, and parsing it again gives the same canonical text (the driver
// prints every form this way), except where normalisation is not idempotent
// by definition: "x,N++" keeps one empty item, printed as a final "+" that no
// longer is one, and an item written with an empty name ("==m", "=FLX=A")
// prints as its value alone, which is read again differently (the bare
// value "m", the paradigm "A").

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ALU.h"
#include "FuzzInput.h"

namespace {

constexpr std::size_t maximalInputSize = 2048;

// Definitions with morphological, exclusive and lexical properties, a value
// listed under two properties, and a property name holding "_".
constexpr const char* definitionsText = "N_Nb = s | p ;\n"
                                        "N_Gender = m | f | n ;\n"
                                        "N_Type = Conc | Abst | Hum ;\n"
                                        "V_Tense = PR | PT | PP | INF ;\n"
                                        "V_Valency = Tr | Intr ;\n"
                                        "V_Sub_Kind = x | p ;\n"
                                        "ADJ_Degree = POS | COMP | SUP ;\n"
                                        "MORPHOLOGICALPROPERTIES = Nb | Gender | Tense | Degree ;\n"
                                        "EXCLUSIVEPROPERTIES = Nb | Tense ;\n";

const lexpand::PropertiesDefinitions& definitions() {
    static const lexpand::PropertiesDefinitions parsed = *lexpand::PropertiesDefinitions::init(definitionsText);
    return parsed;
}

void checkCanonicalText(std::string_view line, const lexpand::PropertiesDefinitions* propertiesDefinitions) {
    const std::optional<lexpand::ALU> entry = lexpand::ALU::init(line, propertiesDefinitions);
    if (!entry) return;
    for (const auto* items :
         {&entry->lexicalProperties, &entry->morphologicalProperties, &entry->flxParadigms, &entry->drvParadigms}) {
        for (const std::string& item : *items) {
            if (item.empty()) return;
        }
    }
    const std::optional<lexpand::Lexeme> lexeme = lexpand::parseLexeme(line);
    const std::optional<std::vector<std::string>> written =
        lexeme ? lexpand::splitProperties(lexeme->properties, false) : std::nullopt;
    if (!written) __builtin_trap(); // ALU::init accepted the line
    for (const std::string& item : *written) {
        if (!item.empty() && item.front() == '=') return;
    }
    const std::string text = entry->description();
    const std::optional<lexpand::ALU> again = lexpand::ALU::init(text, propertiesDefinitions);
    if (!again || again->description() != text) __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > maximalInputSize) return 0;
    const std::string_view line = lexpand::fuzz::asText(data, size);
    checkCanonicalText(line, nullptr);
    checkCanonicalText(line, &definitions());
    return 0;
}
