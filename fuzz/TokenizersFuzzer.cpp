// Fuzz target for the three tokenizers: any byte string is tokenized without
// a crash, every token is non-empty, and the orthographic tokens are the
// syntactic ones cut into smaller pieces.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Tokenizers.h"

namespace {

constexpr std::size_t maximalInputSize = 4096;

std::string joined(const lexpand::TokenList& tokens) {
    std::string text;
    for (const std::string& token : tokens) text += token;
    return text;
}

bool allNonEmpty(const lexpand::TokenList& tokens) {
    for (const std::string& token : tokens) {
        if (token.empty()) return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > maximalInputSize) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data), size);

    const std::optional<lexpand::TokenList> syntactic = lexpand::Tokenizer::textualSyntacticGrammar(text);
    const std::optional<lexpand::TokenList> orthographic = lexpand::Tokenizer::textualOrthographicGrammar(text);
    const lexpand::TokenList properties = lexpand::Tokenizer::textualPropertiesDefinitionsGrammar(text);

    if (syntactic.has_value() != orthographic.has_value()) __builtin_trap();
    if (!allNonEmpty(properties)) __builtin_trap();
    if (syntactic) {
        if (!allNonEmpty(*syntactic) || !allNonEmpty(*orthographic)) __builtin_trap();
        // The orthographic tokenizer only splits syntactic tokens further.
        if (joined(*syntactic) != joined(*orthographic)) __builtin_trap();
        if (orthographic->size() < syntactic->size()) __builtin_trap();
    }
    return 0;
}
