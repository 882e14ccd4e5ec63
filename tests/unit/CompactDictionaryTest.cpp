// Compact dictionaries: the automaton builder is minimal on random word sets;
// random lexicons read back exactly (lookups, analysis order, the walk over
// every form); every damaged copy of a file is refused or stays safe to read.

#include "CompactDictionary.h"
#include "AcyclicAutomatonBuilder.h"
#include "CompactDictionaryBuilder.h"
#include "CompactDictionaryFormat.h"
#include "FormLineReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

namespace lexpand {
namespace {

const std::vector<std::string> pieces = {"a", "b", "c", "é", "e\xCC\x81", "к", "ё", " ", "-", "z", "<"};

std::string randomWord(std::mt19937& random, std::size_t most) {
    std::string word;
    const std::size_t length = 1 + random() % most;
    for (std::size_t i = 0; i < length; ++i) word += pieces[random() % pieces.size()];
    return word;
}

// The states of the minimal automaton: one per distinct right language
// (suffix and value pairs) of the prefixes of the words.
std::size_t minimalStateCount(const std::map<std::string, std::uint32_t>& words) {
    std::map<std::u32string, std::set<std::pair<std::u32string, std::uint32_t>>> languages;
    for (const auto& [word, value] : words) {
        std::u32string scalars;
        for (std::size_t p = 0; p < word.size();) scalars.push_back(decodeScalar(word, p));
        for (std::size_t cut = 0; cut <= scalars.size(); ++cut)
            languages[scalars.substr(0, cut)].emplace(scalars.substr(cut), value);
    }
    std::set<std::set<std::pair<std::u32string, std::uint32_t>>> distinct;
    for (const auto& [prefix, language] : languages) distinct.insert(language);
    return distinct.size();
}

TEST(AcyclicAutomatonBuilder, MinimalOnRandomWordSets) {
    std::mt19937 random(11);
    for (int round = 0; round < 200; ++round) {
        std::map<std::string, std::uint32_t> words;
        const std::size_t count = 1 + random() % 30;
        for (std::size_t i = 0; i < count; ++i) words[randomWord(random, 5)] = random() % 3;
        AcyclicAutomatonBuilder builder;
        for (const auto& [word, value] : words) ASSERT_TRUE(builder.add(word, value));
        EXPECT_FALSE(builder.add(words.begin()->first, 0)); // not in ascending order
        const AcyclicAutomaton automaton = builder.finish();
        EXPECT_EQ(automaton.states.size(), minimalStateCount(words)) << "round " << round;
    }
}

// Random pairs whose command the editor applies: some forms with several
// analyses, some pairs twice; and each form's analyses in first-added order.
struct Lexicon {
    std::vector<std::tuple<std::string, std::string, std::string>> pairs; // form, command, properties
    std::map<std::string, std::vector<std::pair<std::string, std::string>>> analysesOf;
};

Lexicon randomLexicon(std::mt19937& random, std::size_t pairs) {
    const std::vector<std::string> commands = {"<E>", "<B>", "<B2>ab", "s", "<L><C>", "<PW>s"};
    Lexicon lexicon;
    for (std::size_t i = 0; i < pairs; ++i) {
        const std::string form = randomWord(random, 6);
        const std::string command = commands[random() % commands.size()];
        if (!Morphology::applySuffixCommandToWordForm(form, command)) continue;
        const std::pair<std::string, std::string> analysis(command, ",N+Nb=" + std::to_string(random() % 4));
        lexicon.pairs.emplace_back(form, analysis.first, analysis.second);
        std::vector<std::pair<std::string, std::string>>& analyses = lexicon.analysesOf[form];
        if (std::find(analyses.begin(), analyses.end(), analysis) == analyses.end()) analyses.push_back(analysis);
    }
    return lexicon;
}

std::string buildBytes(const Lexicon& lexicon) {
    CompactDictionaryBuilder builder;
    for (const auto& [form, command, properties] : lexicon.pairs)
        EXPECT_FALSE(builder.add(form, command, properties)) << form << " " << command;
    std::string problem;
    return builder.build(problem).value_or("");
}

TEST(CompactDictionary, RandomLexiconsReadBackExactly) {
    std::mt19937 random(5);
    for (int round = 0; round < 40; ++round) {
        const Lexicon lexicon = randomLexicon(random, 1 + random() % 80);
        if (lexicon.pairs.empty()) continue;
        const std::string bytes = buildBytes(lexicon);
        const CompactDictionaryOpening opening = CompactDictionary::fromBytes(bytes);
        ASSERT_TRUE(opening.dictionary) << opening.problem;
        const CompactDictionary& dictionary = *opening.dictionary;
        EXPECT_EQ(dictionary.info().forms, lexicon.analysesOf.size());

        std::vector<std::string> forms;
        for (const auto& [form, analyses] : lexicon.analysesOf) {
            forms.push_back(form);
            const std::vector<CompactDictionary::Analysis> found = dictionary.lookup(form);
            ASSERT_EQ(found.size(), analyses.size()) << form;
            for (std::size_t i = 0; i < found.size(); ++i) {
                const auto edited = Morphology::applySuffixCommandToWordForm(form, analyses[i].first);
                EXPECT_EQ(found[i].lemma, edited->resultingWordForm) << form << " " << analyses[i].first;
                EXPECT_EQ(found[i].properties, analyses[i].second) << form;
            }
            EXPECT_TRUE(dictionary.lookup(form + "q").empty());
        }
        std::vector<std::string> walked;
        dictionary.walk("", [&](std::string_view text, const CompactDictionary::Position& at) {
            if (at.isFinal) walked.emplace_back(text);
            return CompactDictionary::Walk::descend;
        });
        EXPECT_EQ(walked, forms); // every form once, ascending
    }
}

TEST(CompactDictionaryBuilder, RefusesPairsTheEditorCannotUndo) {
    CompactDictionaryBuilder builder;
    EXPECT_TRUE(builder.add("ab", "<B3>", ",N"));
    EXPECT_TRUE(builder.add("ab", "<X>", ",N"));
    EXPECT_TRUE(builder.add("", "<E>", ",N"));
    EXPECT_FALSE(builder.add("ab", "<B2>", ",N"));
}

TEST(FormLineReader, FormsAndAnalysesOfLines) {
    struct Row {
        std::string line, form, command, properties; // form empty: refused
    };
    const std::vector<Row> rows = {
        {"tables,N+_LEX=\"<B>\"+FLX=NOUN+Nb=p", "tables", "<B>", ",N+FLX=NOUN+Nb=p"},
        {"feet,N+Conc+_LEX=\"<L><B2>oo<R>\"+FLX=NOUN_FOOT", "feet", "<L><B2>oo<R>", ",N+Conc+FLX=NOUN_FOOT"},
        {"a\\,b,N+_LEX=\"<E>\"", "a\\,b", "<E>", ",N"},
        {"ok,ADV+b+a", "ok", "<E>", ",ADV+b+a"}, // echoed: its own lemma, as written
        {"x,N+Gloss=\"a+_LEX\"+_LEX=\"<B>\"", "x", "<B>", ",N+Gloss=\"a+_LEX\""},
        {"x,N+_LEX=\"<B>\"+_LEX=\"<E>\"", "", "", ""},
        {"*** Cannot inflect/derive dictionary", "", "", ""},
        {"x,N+Gloss=\"open", "", "", ""},
    };
    FormLineReader reader;
    for (const Row& row : rows) {
        const FormLineReading reading = reader.read(row.line);
        if (row.form.empty()) {
            EXPECT_FALSE(reading.line) << row.line;
            EXPECT_FALSE(reading.problem.empty()) << row.line;
            continue;
        }
        ASSERT_TRUE(reading.line) << row.line << ": " << reading.problem;
        EXPECT_EQ(reading.line->form, row.form);
        EXPECT_EQ(reading.line->analysis->reverseCommand, row.command);
        EXPECT_EQ(reading.line->analysis->properties, row.properties);
    }
}

// Every truncation and every flipped bit is refused; a damaged file whose
// checksum is made right again is refused or read without fault (the
// sanitizers watch the reads).
TEST(CompactDictionary, DamagedFilesAreRefused) {
    std::mt19937 random(3);
    const std::string bytes = buildBytes(randomLexicon(random, 30));
    ASSERT_TRUE(CompactDictionary::fromBytes(bytes).dictionary);
    for (std::size_t size = 0; size < bytes.size(); ++size)
        EXPECT_FALSE(CompactDictionary::fromBytes(std::string_view(bytes).substr(0, size)).dictionary) << size;
    for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
        std::string damaged = bytes;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        EXPECT_FALSE(CompactDictionary::fromBytes(damaged).dictionary) << bit;
    }
    std::string newer = bytes;
    detail::putU32(newer, detail::versionAt, 2);
    EXPECT_NE(CompactDictionary::fromBytes(newer).problem.find("version 2"), std::string::npos);

    int opened = 0;
    for (int round = 0; round < 3000; ++round) {
        std::string damaged = bytes;
        const std::size_t place = detail::lxdHeaderSize + random() % (bytes.size() - detail::lxdHeaderSize);
        damaged[place] = static_cast<char>(random());
        detail::putU32(damaged, detail::checksumAt, detail::checksumOf(damaged, detail::checksumAt));
        const CompactDictionaryOpening opening = CompactDictionary::fromBytes(damaged);
        if (!opening.dictionary) continue;
        ++opened;
        opening.dictionary->walk("", [&](std::string_view text, const CompactDictionary::Position& at) {
            if (at.isFinal) opening.dictionary->lookup(text);
            return CompactDictionary::Walk::descend;
        });
    }
    EXPECT_GT(opened, 0); // some damage leaves another valid dictionary
}

} // namespace
} // namespace lexpand
