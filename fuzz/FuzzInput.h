// Helpers shared by the fuzz targets: cutting one fuzz input into parts, and
// the budgets that the targets pass to the engine so that each input stays
// far below the fuzzer's time and memory limits.

#ifndef LEXPAND_FUZZ_FUZZINPUT_H
#define LEXPAND_FUZZ_FUZZINPUT_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "GFSA.h"
#include "GrammarFiles.h"
#include "MGFSA.h"
#include "TextualGrammar.h"

namespace lexpand::fuzz {

inline std::string_view asText(const std::uint8_t* data, std::size_t size) {
    return std::string_view(reinterpret_cast<const char*>(data), size);
}

// `text` cut at each `separator` byte into at most `maximalParts` parts (the
// last part keeps any further separators); always at least one part.
inline std::vector<std::string_view> splitInput(std::string_view text, char separator, std::size_t maximalParts) {
    std::vector<std::string_view> parts;
    while (parts.size() + 1 < maximalParts) {
        const std::size_t at = text.find(separator);
        if (at == std::string_view::npos) break;
        parts.push_back(text.substr(0, at));
        text.remove_prefix(at + 1);
    }
    parts.push_back(text);
    return parts;
}

// The budgets of one input. An operation that would pass one fails as it does
// past lexpand's own limits, so a runaway input (chains of "&", rules whose
// paths multiply at every call, recursion) is an ordinary failure here. The
// call depth keeps lexpand's limit, since each level costs steps.
inline constexpr CompileOptions compileBudget{.maxStates = 20'000};
inline constexpr DeterminizeOptions determinizeBudget{.maxStates = 20'000, .maxKernelStateNumbers = 1'000'000};
inline constexpr GrammarOptions grammarBudget{.compile = compileBudget, .determinize = determinizeBudget};
inline constexpr ExploreOptions exploreBudget{.maxPaths = 20'000, .maxSteps = 300'000};

} // namespace lexpand::fuzz

#endif // LEXPAND_FUZZ_FUZZINPUT_H
