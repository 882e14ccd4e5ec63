// Tests of loadDictionary (the significant lines of a dictionary file) and
// of the expansion of a dictionary on several threads.

#include "DictionaryExpansion.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>

#include "FormByForm.h"
#include "TextualGrammar.h"

namespace lexpand {
namespace {

TEST(LoadDictionary, KeepsEntriesAndGrammarReferences) {
    const std::filesystem::path path = std::filesystem::temp_directory_path() / "lexpand-dictionary-test.dic";
    const struct {
        std::string content;
        std::optional<std::vector<std::string>> lines;
    } rows[] = {
        {"# a comment\n\n   \n", std::vector<std::string>{}},
        {"a,N\r\nb,N\r\n", std::vector<std::string>{"a,N", "b,N"}},
        {"   # indented\n#no space\n x,N \n", std::vector<std::string>{" x,N "}},
        {"#use A.pdg\n  #use B.pdg\n#use\tC.pdg\n#use \n", std::vector<std::string>{"#use A.pdg", "  #use B.pdg"}},
        {"a,N\vb,N\fc,N\xC2\x85"
         "d,N\xE2\x80\xA8"
         "e,N\xE2\x80\xA9"
         "f,N",
         std::vector<std::string>{"a,N", "b,N", "c,N", "d,N", "e,N", "f,N"}},
    };
    for (const auto& row : rows) {
        std::ofstream(path, std::ios::binary) << row.content;
        EXPECT_EQ(loadDictionary(path.string()), row.lines) << row.content;
    }
    std::filesystem::remove(path);
    EXPECT_EQ(loadDictionary(path.string()), std::nullopt);
}

// A dictionary of `entries` lines over the grammar of FormByForm.h: entries
// that expand, echoed entries, forms left out as inconsistent, comments and
// blank lines, and now and then an entry that fails.
std::string randomDictionary(std::mt19937& random, int entries) {
    static const char* const lines[] = {"table,N+FLX=SG",
                                        "city,N+FLX=PL2",
                                        "ok,ADV",
                                        "kind,ADJ+DRV=NESS:SG",
                                        "box,N+FLX=EXCL",
                                        "# a comment",
                                        "",
                                        "two words,N+FLX=WORDS",
                                        "e\xCC\x81t\xC3\xA9,N+FLX=CASE",
                                        "a\\,b,N+FLX=SG",
                                        "x,N+FLX=CALLS",
                                        "#use X.pdg"};
    std::string text;
    for (int i = 0; i < entries; ++i) {
        text += random() % 400 == 0 ? "x,N+FLX=MISSING" : lines[random() % std::size(lines)];
        text += random() % 7 == 0 ? "\r\n" : "\n";
    }
    return text;
}

// Whatever the threads, chunks, blocks and latency, the sink receives what one thread
// sends: the same lines, the same count, and on a failing entry the lines
// before it and none after it.
TEST(ExpandDictionaryText, EveryThreadCountPrintsWhatOneThreadPrints) {
    std::optional<MGFSA> grammar = textualGrammarToMgfsa(formbyform::paradigms, LinguisticLevel::orthographic);
    ASSERT_TRUE(grammar.has_value());
    grammar->determinize();
    const std::optional<PropertiesDefinitions> definitions = PropertiesDefinitions::init(formbyform::definitions);
    ASSERT_TRUE(definitions.has_value());
    std::mt19937 random(2026);
    for (int round = 0; round < 12; ++round) {
        const std::string text = randomDictionary(random, 1 + static_cast<int>(random() % 900));
        ExpansionOptions one;
        one.threads = 1;
        formbyform::Lines expected;
        const std::optional<std::int64_t> expectedCount =
            expandDictionaryText(text, *definitions, *grammar, expected, one);
        for (const unsigned threads : {2u, 3u}) {
            ExpansionOptions options;
            options.threads = threads;
            options.chunkBytes = 1 + random() % 2000;
            options.chunksInFlight = 1 + random() % 4;
            options.blockBytes = 1 + random() % 300;
            options.blocksPerChunk = 1 + random() % 3;
            // A writer that asks for the lines of finished entries at once.
            if (random() % 2 == 0) options.linesLatency = std::chrono::milliseconds(0);
            formbyform::Lines lines;
            const std::optional<std::int64_t> count =
                expandDictionaryText(text, *definitions, *grammar, lines, options);
            ASSERT_EQ(count, expectedCount) << "round " << round << ", threads " << threads;
            ASSERT_EQ(lines.lines, expected.lines) << "round " << round << ", threads " << threads;
        }
    }
}

} // namespace
} // namespace lexpand
