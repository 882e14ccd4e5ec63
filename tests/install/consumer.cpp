// A program outside the project that uses the installed engine: prints the
// lines that one entry expands to, with a grammar and properties definitions.
// Usage: consumer GRAMMAR.pdg DEFINITIONS.def ENTRY

#include <lexpand/ALU.h>
#include <lexpand/FormLines.h>
#include <lexpand/MGFSA.h>
#include <lexpand/TextServices.h>
#include <lexpand/TextualGrammar.h>

#include <iostream>
#include <optional>
#include <string>
#include <string_view>

namespace {

class StandardOutput final : public lexpand::LineSink {
public:
    void printLine(std::string_view line) override { std::cout << line << '\n'; }
};

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    const std::optional<std::string> grammarText = lexpand::loadGrammar(argv[1]);
    std::optional<lexpand::MGFSA> grammar;
    if (grammarText) grammar = lexpand::textualGrammarToMgfsa(*grammarText, lexpand::LinguisticLevel::orthographic);
    const std::optional<std::string> definitionsText = lexpand::readUtf8File(argv[2]);
    std::optional<lexpand::PropertiesDefinitions> definitions;
    if (definitionsText) definitions = lexpand::PropertiesDefinitions::init(*definitionsText);
    if (!grammar || !definitions) return 1;
    grammar->determinize();
    StandardOutput output;
    lexpand::EntryLineExpander expander(*definitions, *grammar);
    return expander.expand(argv[3], output) ? 0 : 1;
}
