// Fuzz target for the properties definitions: any text is compiled and every
// rule enumerated without a crash, within the budgets of one input; a
// definitions record that comes out is then used to parse and normalise a few
// entries.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "ALU.h"
#include "FuzzInput.h"

namespace {

constexpr std::size_t maximalInputSize = 2048;

// Entries whose properties exercise every way a definition is looked up:
// bare values, named values, paradigms and unknown names.
constexpr const char* sampleEntries[] = {
    "table,N+FLX=NOUN+Conc+s+m",
    "walk,V+Tr+FLX=VERB+DRV=ER:NOUN+Tense=PR+PR",
    "a\\,b,A+Nb=p+p+x=y+_LEX=\"<B>\"",
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > maximalInputSize) return 0;
    const std::string_view text = lexpand::fuzz::asText(data, size);
    const std::optional<lexpand::PropertiesDefinitions> definitions =
        lexpand::PropertiesDefinitions::init(text, lexpand::fuzz::exploreBudget, lexpand::fuzz::compileBudget);
    if (!definitions) return 0;
    for (const auto& [category, properties] : definitions->categoryProperties) {
        // A category is the part of a rule name before its first "_".
        if (category.find('_') != std::string::npos) __builtin_trap();
    }
    for (const char* line : sampleEntries) {
        const std::optional<lexpand::ALU> entry = lexpand::ALU::init(line, &*definitions);
        if (entry) (void)entry->description();
    }
    return 0;
}
