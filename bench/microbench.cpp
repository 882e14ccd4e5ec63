// lexpand_microbench: Google Benchmark timings of the engine steps that an
// expansion repeats per entry or per form (the editor, the entry parser, the
// assembly of properties, the exploration of a paradigm) and of the steps it
// runs once per grammar (compiling and determinizing 2,000 rules). Only the
// public engine interface is used, so the timings stay comparable while the
// internals change.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ALU.h"
#include "Alphabet.h"
#include "EntryForms.h"
#include "MGFSA.h"
#include "Morphology.h"
#include "TextualGrammar.h"

namespace lexpand {
namespace {

// Stops the run when a fixture that every timing depends on cannot be built:
// a benchmark of a failing call would time the failure path.
template <typename T> T require(std::optional<T> value, std::string_view what) {
    if (!value) {
        std::cerr << "lexpand_microbench: cannot build " << what << "\n";
        std::exit(1);
    }
    return std::move(*value);
}

// ---- The editor ------------------------------------------------------------

struct CommandCase {
    std::string_view wordForm;
    std::string_view command;
};

// Commands as real paradigms write them: plain suffixes, deletions followed by
// a suffix (Russian adjective and noun endings), cursor moves inside the word,
// doubling, case changes, multi-word entries and letters with combining marks.
constexpr CommandCase commandCases[] = {
    {"table", "s"},
    {"city", "<B>ies"},
    {"stop", "<D>ed"},
    {"foot", "<L><B2>ee<R>"},
    {"teach", "<B4>aught"},
    {"Paris", "<LW><C>"},
    {"\xD1\x81\xD0\xB8\xD0\xBD\xD1\x8F\xD1\x8F", "<B2>\xD0\xB8\xD0\xB9"}, // синяя -> синий
    {"\xD0\xBA\xD1\x80\xD0\xB0\xD1\x81\xD0\xBD\xD1\x8B\xD0\xB9", "<B2>\xD0\xBE\xD0\xB3\xD0\xBE"}, // красный -> красного
    {"\xD1\x81\xD1\x82\xD0\xBE\xD0\xBB", "<L2><S2>\xD1\x8B"},                                     // стол -> сты
    {"\xD0\xBA\xD0\xBD\xD0\xB8\xD0\xB3\xD0\xB0", "<B>\xD0\xB0\xD0\xBC\xD0\xB8"}, // книга -> книгами
    {"attorney general", "<PW>s"},
    {"pomme de terre", "<PW>s"},
    {"pomme de terre", "<L9><N>x"},
    {"pomme de terre", "<LW><N2>x"},
    {"cafe\xCC\x81", "<B>s"},
    {"cafe\xCC\x81", "<L><C>"},
    {"\xD0\xB4\xD0\xBE\xCC\x81\xD0\xBC", "\xD0\xB0"}, // до́м -> до́ма
    {"re\xCC\x81sume\xCC\x81", "<B>e\xCC\x81s"},
};

// The one-step editor: tokenizes, parses and applies each command.
void BM_ApplySuffixCommandToWordForm(benchmark::State& state) {
    for (const CommandCase& row : commandCases)
        require(Morphology::applySuffixCommandToWordForm(row.wordForm, row.command), "an edit of the command table");
    for (auto _ : state) {
        for (const CommandCase& row : commandCases) {
            auto result = Morphology::applySuffixCommandToWordForm(row.wordForm, row.command);
            benchmark::DoNotOptimize(result);
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * std::size(commandCases));
}
BENCHMARK(BM_ApplySuffixCommandToWordForm);

// The two-step editor as the expansion uses it: commands parsed once, applied
// per form.
void BM_ApplyParsedCommand(benchmark::State& state) {
    std::vector<std::vector<Morphology::Operator>> parsed;
    for (const CommandCase& row : commandCases)
        parsed.push_back(require(Morphology::parseCommand(row.command), "a parsed command"));
    for (auto _ : state) {
        for (std::size_t i = 0; i < parsed.size(); ++i) {
            auto result = Morphology::applyParsedCommand(commandCases[i].wordForm, parsed[i]);
            benchmark::DoNotOptimize(result);
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * std::size(commandCases));
}
BENCHMARK(BM_ApplyParsedCommand);

// ---- Entries and properties -------------------------------------------------

constexpr std::string_view englishDefinitions = "N_Nb = s | p ;\n"
                                                "N_Gender = m | f | n ;\n"
                                                "V_Tense = INF | PR3S | ING | PT | PP ;\n"
                                                "V_Valency = Tr | Intr ;\n"
                                                "ADJ_Degree = POS | COMP | SUP ;\n"
                                                "MORPHOLOGICALPROPERTIES = Nb | Tense | Degree ;\n"
                                                "EXCLUSIVEPROPERTIES = Nb | Tense | Degree | Gender ;\n";

// A .def of 50 properties over three categories, as large lexicons have.
std::string largeDefinitions() {
    std::string text = std::string(englishDefinitions);
    for (int i = 0; i < 45; ++i) { // 5 + 45 properties
        const std::string name = std::string("Prop").append(std::to_string(i));
        text.append(i % 3 == 0 ? "N_" : i % 3 == 1 ? "V_" : "ADJ_").append(name).append(" = ");
        text.append(name).append("a | ").append(name).append("b | ").append(name).append("c ;\n");
    }
    return text;
}

constexpr std::string_view entryLines[] = {
    "table,N+Conc+FLX=NOUN",
    "wife,N+Hum+f+FLX=NOUN_FE",
    "attorney general,N+Hum+FLX=NOUN_FIRST",
    "teach,V+Tr+FLX=VERB_TEACH+DRV=ER:NOUN",
    "kind,ADJ+FLX=ADJ+DRV=LY:+DRV=NESS:NOUN_ES+DRV=UN",
    "sheep,N+Conc+s+p+FLX=NOUN_SAME",
    "caf\xC3\xA9,N+Conc+FLX=NOUN+Gender=m",
    "\xD1\x81\xD0\xB8\xD0\xBD\xD0\xB8\xD0\xB9,W+FLX=F12", // синий, as the Hunspell conversion writes it
    "to\\,do,N+FLX=NOUN",
    "the,DET",
};

void BM_AluInit(benchmark::State& state) {
    const PropertiesDefinitions definitions =
        require(PropertiesDefinitions::init(englishDefinitions), "the properties definitions");
    for (const std::string_view line : entryLines) require(ALU::init(line, &definitions), "an entry");
    for (auto _ : state) {
        for (const std::string_view line : entryLines) {
            auto alu = ALU::init(line, &definitions);
            benchmark::DoNotOptimize(alu);
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * std::size(entryLines));
}
BENCHMARK(BM_AluInit);

// The assembly of one form's category and properties, with the small English
// definitions (range 0) and with 50 properties (range 1). The rows mirror what
// the expansion passes: sorted properties with "_LEX=" and "FLX=", one row with
// contradictory exclusive values.
void BM_AddCategoryAndAllProperties(benchmark::State& state) {
    const std::string text = state.range(0) == 0 ? std::string(englishDefinitions) : largeDefinitions();
    const PropertiesDefinitions definitions = require(PropertiesDefinitions::init(text), "the properties definitions");
    struct Row {
        std::string category;
        std::vector<std::string> morphological;
        std::vector<std::string> inflectional;
    };
    const std::vector<Row> rows = {
        {"N", {}, {"Conc", "FLX=NOUN", "_LEX=\"<B>\"", "p"}},
        {"N", {"Gender=f"}, {"FLX=NOUN_FE", "Hum", "_LEX=\"<B3>fe\"", "p"}},
        {"V", {}, {"FLX=VERB_SING", "Valency=Tr", "_LEX=\"<L2><B>i<R2>\"", "PT"}},
        {"N", {}, {"Agent", "DRV=ER:NOUN", "FLX=VERB_TEACH", "InitialCategory=V", "_LEX=\"<B3>\"", "p"}},
        {"ADJ", {}, {"DRV=UN", "FLX=ADJ", "Negative", "_LEX=\"<B2><L4><B2><R4>\"", "COMP"}},
        {"N", {"Nb=s"}, {"FLX=NOUN_SAME", "_LEX=\"<E>\"", "p"}}, // inconsistent: dropped
    };
    for (const Row& row : rows)
        require(
            Morphology::addCategoryAndAllProperties(row.category, &row.morphological, row.inflectional, definitions),
            "an assembly of properties");
    for (auto _ : state) {
        for (const Row& row : rows) {
            auto result = Morphology::addCategoryAndAllProperties(row.category, &row.morphological, row.inflectional,
                                                                  definitions);
            benchmark::DoNotOptimize(result);
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * rows.size());
}
BENCHMARK(BM_AddCategoryAndAllProperties)->Arg(0)->Arg(1)->ArgName("large_def");

// ---- Paradigms -----------------------------------------------------------------

// Paradigms that call shared paradigms up to three levels deep, with a
// derivation that changes the category and a multi-word paradigm.
constexpr std::string_view paradigmGrammar =
    "NB = <E>/s | s/p ;\n"
    "LOC2 = u/Loc2 ;\n"
    "CASES = <E>/Nom | a/Gen | u/Dat | om/Ins | e/Loc | :LOC2 ;\n"
    "NOUN_CASES = :CASES | <B>i/p+Nom | <B>ov/p+Gen | <B>am/p+Dat | <B>ami/p+Ins | <B>ax/p+Loc ;\n"
    "NOUN_FULL = :NOUN_CASES | <B2>\xD0\xB8\xD0\xB9/Dim | <L><B>o<R>/Irr ;\n"
    "VERB_BASE = <E>/INF | s/PR3S | ing/ING ;\n"
    "VERB = :VERB_BASE | ed/PT | ed/PP ;\n"
    "VERB_DOUBLE = :VERB_BASE | <D>ed/PT | <D>ed/PP ;\n"
    "ER = er/N+Agent+InitialCategory=V ;\n"
    "MW = <E>/s | <PW>s/p | <PW>s<N><RW>s/p+Both ;\n";

MGFSA determinizedGrammar(std::string_view text) {
    MGFSA grammar = require(textualGrammarToMgfsa(text, LinguisticLevel::orthographic), "a grammar");
    grammar.determinize();
    return grammar;
}

// Exploring one paradigm and preparing its paths (what the expansion caches
// per paradigm value): one without calls (NB), one call (VERB), and calls
// nested three deep (NOUN_FULL -> NOUN_CASES -> CASES -> LOC2).
void BM_ExploreParadigm(benchmark::State& state) {
    static const char* const names[] = {"NB", "VERB", "NOUN_FULL"};
    const std::string name = names[state.range(0)];
    const MGFSA grammar = determinizedGrammar(paradigmGrammar);
    require(exploreParadigm(name, grammar), "the paths of " + name);
    for (auto _ : state) {
        auto paths = exploreParadigm(name, grammar);
        benchmark::DoNotOptimize(paths);
    }
    state.SetLabel(name);
}
BENCHMARK(BM_ExploreParadigm)->DenseRange(0, 2);

// The whole per-entry step of the expansion once the paths are cached:
// inflection, derivation then inflection, and a multi-word entry.
void BM_InflectAndDeriveCached(benchmark::State& state) {
    const MGFSA grammar = determinizedGrammar(paradigmGrammar);
    const std::vector<ALU> entries = {
        require(ALU::init("stol,N+Conc+FLX=NOUN_FULL", nullptr), "an entry"),
        require(ALU::init("walk,V+FLX=VERB+DRV=ER:NB", nullptr), "an entry"),
        require(ALU::init("stop,V+FLX=VERB_DOUBLE", nullptr), "an entry"),
        require(ALU::init("attorney general,N+Hum+FLX=MW", nullptr), "an entry"),
    };
    ParadigmCache cache(grammar);
    const auto formsOf = [&](const ALU& entry) {
        const std::optional<EntryParadigms> paradigms = cache.paradigmsOf(entry);
        return paradigms ? inflectAndDerive(entry, *paradigms) : std::nullopt;
    };
    std::int64_t forms = 0;
    for (const ALU& entry : entries) forms += require(formsOf(entry), "forms").wordForms.size();
    for (auto _ : state) {
        for (const ALU& entry : entries) {
            auto result = formsOf(entry);
            benchmark::DoNotOptimize(result);
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * forms);
}
BENCHMARK(BM_InflectAndDeriveCached);

// ---- Grammars ------------------------------------------------------------------

// A grammar of `ruleCount` rules shaped like a converted Hunspell affix file:
// suffix rules (a deletion, a suffix and a property per path) and paradigms
// that are unions of calls to them.
std::string generatedGrammar(int ruleCount) {
    static const char* const endings[] = {"\xD0\xB0",         "\xD1\x8B",         "\xD1\x83",
                                          "\xD0\xBE\xD0\xB9", "\xD0\xB5",         "\xD0\xB0\xD0\xBC\xD0\xB8",
                                          "\xD0\xB8\xD0\xB9", "\xD0\xB0\xD1\x8F", "\xD0\xBE\xD0\xB3\xD0\xBE"};
    constexpr int endingCount = static_cast<int>(std::size(endings));
    std::string text;
    const int suffixRules = ruleCount * 3 / 4;
    for (int i = 0; i < suffixRules; ++i) {
        // Appended piece by piece: GCC 12 reports a false -Wrestrict on
        // `"literal" + std::string` (GCC bug 105329).
        text.append("S_").append(std::to_string(i)).append(" =");
        const int paths = 3 + i % 6;
        for (int p = 0; p < paths; ++p) {
            text.append(p == 0 ? " <B" : " | <B").append(std::to_string(1 + (i + p) % 3)).append(">");
            text.append(endings[(i * 7 + p) % endingCount]).append("/Sfx=").append(std::to_string(i % 40));
        }
        text.append(" ;\n");
    }
    for (int i = suffixRules; i < ruleCount; ++i) {
        text.append("F").append(std::to_string(i)).append(" = <E>");
        for (int c = 0; c < 4; ++c) text.append(" | :S_").append(std::to_string((i * 13 + c * 101) % suffixRules));
        text.append(" ;\n");
    }
    return text;
}

constexpr int grammarRuleCount = 2000;

void BM_TextualGrammarToMgfsa(benchmark::State& state) {
    const std::string text = generatedGrammar(grammarRuleCount);
    require(textualGrammarToMgfsa(text, LinguisticLevel::orthographic), "the generated grammar");
    for (auto _ : state) {
        auto grammar = textualGrammarToMgfsa(text, LinguisticLevel::orthographic);
        benchmark::DoNotOptimize(grammar);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * grammarRuleCount);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_TextualGrammarToMgfsa)->Unit(benchmark::kMillisecond);

// Determinizing every graph of the compiled grammar; the copy that each
// iteration works on is made outside the timing.
void BM_Determinize(benchmark::State& state) {
    const MGFSA compiled =
        require(textualGrammarToMgfsa(generatedGrammar(grammarRuleCount), LinguisticLevel::orthographic),
                "the generated grammar");
    for (auto _ : state) {
        state.PauseTiming();
        MGFSA grammar = compiled;
        state.ResumeTiming();
        grammar.determinize();
        benchmark::DoNotOptimize(grammar);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * grammarRuleCount);
}
BENCHMARK(BM_Determinize)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace lexpand

BENCHMARK_MAIN();
