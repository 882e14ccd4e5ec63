// Fuzz target for the entry-line expander: every entry line of the input
// (lines separated by "\n") must print through EntryLineExpander exactly what
// the form-by-form assembly prints, and fail on the same lines. The grammar
// and the definitions are fixed and hold every kind of command; the entry
// lines are the fuzzed part.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "FormByForm.h"
#include "FuzzInput.h"
#include "TextServices.h"
#include "TextualGrammar.h"

namespace {

constexpr std::size_t maximalInputSize = 4096;

struct Fixture {
    lexpand::MGFSA grammar;
    lexpand::PropertiesDefinitions definitions;
};

const Fixture& fixture() {
    static const Fixture built = [] {
        std::optional<lexpand::MGFSA> grammar =
            lexpand::textualGrammarToMgfsa(lexpand::formbyform::paradigms, lexpand::LinguisticLevel::orthographic);
        std::optional<lexpand::PropertiesDefinitions> definitions =
            lexpand::PropertiesDefinitions::init(lexpand::formbyform::definitions);
        if (!grammar || !definitions) __builtin_trap();
        grammar->determinize();
        return Fixture{std::move(*grammar), std::move(*definitions)};
    }();
    return built;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > maximalInputSize) return 0;
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    if (!lexpand::isValidUtf8(input)) return 0; // dictionary files are checked before they are read
    std::vector<std::string_view> lines;
    for (std::size_t begin = 0; begin <= input.size();) {
        const std::size_t end = std::min(input.find('\n', begin), input.size());
        const std::string_view line = input.substr(begin, end - begin);
        begin = end + 1;
        if (!line.empty() && line.front() != '#') lines.push_back(line);
    }
    const Fixture& fixed = fixture();
    // One expander of each kind for the whole input, so that shapes are
    // reused; both explore each paradigm within the same budget, so both
    // fail on the same entries.
    lexpand::EntryLineExpander expander(fixed.definitions, fixed.grammar, lexpand::fuzz::exploreBudget);
    lexpand::ParadigmCache reference(fixed.grammar, lexpand::fuzz::exploreBudget);
    for (const std::string_view line : lines) {
        lexpand::formbyform::Lines fast;
        lexpand::formbyform::Lines expected;
        const std::optional<std::int64_t> sent = expander.expand(line, fast);
        const std::optional<std::int64_t> expectedSent =
            lexpand::formbyform::expandFormByForm(line, fixed.definitions, reference, expected);
        if (sent != expectedSent || fast.lines != expected.lines) __builtin_trap();
    }
    return 0;
}
