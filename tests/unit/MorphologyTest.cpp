// Tests of the morphological operators and of the editor that applies a
// command to a word form and records the command that undoes it.

#include "Morphology.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

namespace lexpand {
namespace {

using Edit = std::optional<std::pair<std::string, std::string>>;

Edit edit(std::string_view wordForm, std::string_view command) {
    const std::optional<Morphology::EditResult> result = Morphology::applySuffixCommandToWordForm(wordForm, command);
    if (!result) return std::nullopt;
    return std::pair(result->resultingWordForm, result->reverseCommand);
}

std::string show(const Edit& result) {
    return result ? "(" + result->first + ", " + result->second + ")" : "(absent)";
}

TEST(Morphology, ParseOperator) {
    using Parsed = std::optional<std::pair<std::string, std::int64_t>>;
    const struct {
        std::string token;
        Parsed parsed;
    } rows[] = {
        {"abc", Parsed({"abc", 0})},
        {"<B>", Parsed({"B", 1})},
        {"<BW>", Parsed({"B", -1})},
        {"<L12>", Parsed({"L", 12})},
        {"<B+3>", Parsed({"B", 3})},
        {"<L-2>", Parsed({"L", -2})},
        {"<B9223372036854775807>", Parsed({"B", 9223372036854775807})},
        {"<e\xCC\x81"
         "3>",
         Parsed({"e\xCC\x81", 3})}, // a type is one character, marks included
        {"<\xCC\x81"
         "B>",
         Parsed({"<\xCC\x81"
                 "B>",
                 0})}, // "<" with a mark is not "<"
        {"<B", std::nullopt},
        {"<>", std::nullopt},
        {"<Bx>", std::nullopt},
        {"<Bw>", std::nullopt},
        {"<B+-1>", std::nullopt},
        {"<B->", std::nullopt},
        {"<B99999999999999999999>", std::nullopt},
        {"<B>\xCC\x81", std::nullopt},
    };
    for (const auto& row : rows) {
        const std::optional<Morphology::Operator> op = Morphology::parseMorphologicalOperator(row.token);
        const Parsed parsed = op ? Parsed({op->type, op->parameter}) : std::nullopt;
        EXPECT_EQ(parsed, row.parsed) << "token: " << row.token;
    }
}

TEST(Morphology, AppendCommand) {
    const struct {
        std::string op;
        std::int64_t parameter;
        std::vector<std::string> appended;
    } rows[] = {
        {"B", 1, {"<B>"}}, {"B", 0, {"B"}}, {"B", -1, {"<BW>"}}, {"S", 3, {"<S3>"}},
        {"E", 1, {}},      {"E", 0, {"E"}}, {"E", -1, {}},       {"L", -7, {"<L-7>"}},
    };
    for (const auto& row : rows) {
        std::vector<std::string> commands = {"x"};
        Morphology::appendCommand(commands, row.op, row.parameter);
        commands.erase(commands.begin());
        EXPECT_EQ(commands, row.appended) << "pair: " << row.op << ", " << row.parameter;
    }
}

TEST(Morphology, SimplifySuffixCommand) {
    using List = std::vector<std::string>;
    const struct {
        List tokens;
        std::optional<List> simplified;
    } rows[] = {
        {{"<B>", "<B>", "e", "<L>", "<R>", "s"}, List{"<B2>", "e", "s"}},
        {{"<E>", "<E>"}, List{"<E>"}},
        {{"<L1>"}, List{"<L1>"}},         // fewer than two tokens: unchanged
        {{"<B>", "B"}, List{"<B>", "B"}}, // plain capitals are characters, not operators
        {{"E", "<E>", "x"}, List{"E", "x"}},
        {{"<B>", "<E>", "<B2>"}, List{"<B3>"}}, // "<E>" does not keep operators apart
        {{"<R>", "<L>"}, List{"<E>"}},
        {{"<R2>", "<L>"}, List{"<R2>", "<L>"}},
        {{"x", "<R>", "<L>", "y", "z"}, List{"x", "y", "z"}},
        {{"<R2>", "<L>", "<R>", "<L2>"}, List{"<R2>", "<L2>"}}, // one pass only
        {{"<L1>", "<L>", "<R2>"}, List{"<E>"}},
        {{"<B>", "<BW>"}, List{"<BW>"}},
        {{"<B", "x"}, std::nullopt},
        {{"<L9223372036854775807>", "<L>"}, std::nullopt}, // the merged count would overflow
    };
    for (const auto& row : rows) {
        std::string input;
        for (const std::string& token : row.tokens) input += token + " ";
        EXPECT_EQ(Morphology::simplifySuffixCommand(row.tokens), row.simplified) << "tokens: " << input;
    }
}

// Each row: word form, command, expected (result, reverse command), and
// whether the reverse command must give the word form back.
TEST(Morphology, ApplyCommand) {
    const struct {
        std::string wordForm;
        std::string command;
        Edit expected;
    } rows[] = {
        {"table", "<B>s", Edit({"tabls", "<B>e"})},
        {"stop", "<D>ed", Edit({"stopped", "<B3>"})},
        {"pomme de terre", "<PW>s", Edit({"pommes de terre", "<P2><B>"})},
        {"Paris", "<LW><C>", Edit({"paris", "<L5><C><R5>"})},
        {"table", "", Edit({"table", "<E>"})},
        {"", "<NW>", Edit({"", "<E>"})},
        {"tabl", "<B0>", Edit({"tablB", "<B>"})},
        {"ab-c", "<L2><C>", Edit({"ab-c", "<P><C><R2>"})},
        {"cafe\xCC\x81", "<B>", Edit({"caf", "e\xCC\x81"})},
        {"\xD1\x81\xD1\x82\xD0\xBE\xD0\xBB", "<L2><S2>\xD1\x8B",
         Edit({"\xD1\x81\xD1\x82\xD1\x8B", "<B>\xD0\xBE\xD0\xBB"})},
        {"pomme de terre", "<LW><N2>x", Edit({"pomme de xterre", "<L5><B><L9><R14>"})},
        {"pomme de terre", "<L9><N>x", Edit({"pomme de xterre", "<L5><B><L4><R9>"})},
        {"pomme de terre", "<P>s", Edit({"pomme des terre", "<P><B>"})},
        {"pomme de terre", "<P2>x", Edit({"pommex de terre", "<P2><B>"})},
        {"abc", "<L2><NW>x", Edit({"abcx", "<B>"})},
        // More characters typed in the middle than the editor first makes room for.
        {"abc", "<L>" + std::string(100, 'x') + "<L50>" + std::string(100, 'y'),
         Edit({"ab" + std::string(50, 'x') + std::string(100, 'y') + std::string(50, 'x') + "c",
               "<L51><B100><R50><B100><R>"})},
        // Steps that by design cannot be undone (the random test below
        // checks that every other command is undone by its reverse).
        {"abcd", "<L2><BW>", Edit({"", "ab<R2>"})},               // "c", "d" are lost
        {"ab", "<LW><D>", Edit({"ab", "<L2><B><R2>"})},           // nothing to duplicate at 0
        {"a", "<L><LW>", Edit({"a", "<L><R2>"})},                 // "<LW>" at 0 records "<R>"
        {"ab", "<RW>", Edit({"ab", "<L>"})},                      // "<RW>" at the end records "<L>"
        {"ab", "<N>", Edit({"ab", "<L1>"})},                      // "<N>" at the end records "<L1>"
        {"Paris", "<LW><C><C>", Edit({"Paris", "<L5><C2><R5>"})}, // two "<C>" merge
        {"\xC3\x9F", "<L><C>", Edit({"S", "<L><C><R>"})},         // ß
        {"a<", "<B>", Edit({"a", "<"})},
        {"a<", "<B>x", std::nullopt}, // a removed "<" cannot be simplified
        // Failures.
        {"a", "<B2>", std::nullopt},
        {"ab", "<R>", std::nullopt},
        {"ab", "<X>", std::nullopt},
        {"ab", "<E2>", std::nullopt},
        {"ab", "<CW>", std::nullopt},
        {"ab", "<D3>", std::nullopt},
        {"ab", "<L><SW>", std::nullopt},
        {"ab", "<B-2>", std::nullopt},
        {"a b", "<P>", std::nullopt},
        {"ab", "<P>", std::nullopt},
        {"12", "<PW>", std::nullopt},
        {"", "<N>", std::nullopt},
        {"table", "\\a", std::nullopt},
        {"table", "<B9223372036854775807>", std::nullopt},
        {"table", "<R9223372036854775807>", std::nullopt},
        {"table", "<N9223372036854775807>", Edit({"table", "<L1>"})},
        {"ab\xFF", "s", std::nullopt},
        {"ab", "s\xFF", std::nullopt},
    };
    for (const auto& row : rows) {
        const Edit result = edit(row.wordForm, row.command);
        EXPECT_EQ(result, row.expected) << "word form: " << row.wordForm << ", command: " << row.command
                                        << "\n got: " << show(result);
    }
}

// The characters of the random word forms: (character, after "<C>", letter).
// Each case switch gives the character back when applied again.
const struct {
    std::string text;
    std::string cased;
    bool letter;
} kCharacters[] = {
    {"a", "A", true},
    {"B", "b", true},
    {"E", "e", true},
    {"L", "l", true},                 // capitals named like operators
    {"\xC3\xA9", "\xC3\x89", true},   // é
    {"e\xCC\x81", "E\xCC\x81", true}, // e + combining acute
    {"\xD0\xB6", "\xD0\x96", true},
    {"\xD0\x94", "\xD0\xB4", true}, // ж, Д
    {"\xC7\x85", "\xC7\x86", true}, // ǅ (title case)
    {"1", "1", false},
    {"-", "-", false},
    {" ", " ", false}, // the space stays last
};

// Random commands over random word forms, built beside a model of the word
// form and cursor so that the expected result is known. The generator leaves
// out the steps that are undoable by design only in part: "<BW>" with
// characters after the cursor, "<D>" at the start, "<C>" twice in a row (the
// two merge into "<C2>"), "<LW>" at the start and "<RW>" at the end (they
// record a move of one), deleting white space (the tokenizer drops it), word
// moves (the positioning token only finds ends of words), and a final cursor
// with non-letters after it.
TEST(Morphology, ReverseCommandGivesTheWordFormBack) {
    const std::size_t alphabetSize = std::size(kCharacters);
    std::mt19937 random(1789);
    const auto pick = [&](std::size_t bound) { return static_cast<std::size_t>(random() % bound); };
    std::map<std::string, bool> letters;
    std::map<std::string, std::string> switched;
    for (const auto& character : kCharacters) {
        letters[character.text] = letters[character.cased] = character.letter;
        switched[character.text] = character.cased;
        switched[character.cased] = character.text;
    }
    int applied = 0;
    for (int round = 0; round < 20000; ++round) {
        std::vector<std::string> model(pick(7));
        for (std::string& character : model) character = kCharacters[pick(alphabetSize)].text;
        const std::vector<std::string> original = model;
        const auto isLetter = [&](const std::string& text) { return letters.at(text); };
        const auto at = [&](std::size_t index) { return model.begin() + static_cast<std::ptrdiff_t>(index); };
        const auto deletable = [&](std::size_t from, std::size_t to) {
            return std::find(at(from), at(to), " ") == at(to);
        };
        std::size_t cursor = model.size();
        std::string command;
        bool fails = false;
        bool lastWasCaseSwitch = false;
        for (std::size_t steps = pick(6); steps > 0 && !fails; --steps) {
            const std::size_t n = 1 + pick(3);
            const std::string count = n == 1 ? "" : std::to_string(n);
            const std::size_t length = model.size();
            bool caseSwitch = false;
            switch (pick(12)) {
            case 0:
            case 1: {
                const std::string& typed = kCharacters[pick(alphabetSize - 1)].text; // never the space
                model.insert(at(cursor++), typed);
                command += typed;
                break;
            }
            case 2:
                if (n > cursor) {
                    fails = true;
                } else {
                    if (!deletable(cursor - n, cursor)) continue;
                    model.erase(at(cursor - n), at(cursor));
                    cursor -= n;
                }
                command += "<B" + count + ">";
                break;
            case 3:
                if (n > length - cursor) {
                    fails = true;
                } else {
                    if (!deletable(cursor, cursor + n)) continue;
                    model.erase(at(cursor), at(cursor + n));
                }
                command += "<S" + count + ">";
                break;
            case 4:
                if (cursor != length || !deletable(0, length)) continue;
                model.clear();
                cursor = 0;
                command += "<BW>";
                break;
            case 5:
                if (lastWasCaseSwitch) continue;
                if (cursor == length)
                    fails = true;
                else
                    model[cursor] = switched.at(model[cursor]);
                command += "<C>";
                caseSwitch = true;
                break;
            case 6:
                if (cursor == 0) continue;
                model.insert(at(cursor), model[cursor - 1]);
                ++cursor;
                command += "<D>";
                break;
            case 7:
                if (n > cursor)
                    fails = true;
                else
                    cursor -= n;
                command += "<L" + count + ">";
                break;
            case 8:
                if (n > length - cursor)
                    fails = true;
                else
                    cursor += n;
                command += "<R" + count + ">";
                break;
            case 9:
                if (cursor == 0) continue;
                cursor = 0;
                command += "<LW>";
                break;
            case 10:
                if (cursor == length) continue;
                cursor = length;
                command += random() % 2 ? "<RW>" : "<NW>";
                break;
            default:
                command += "<E>";
                caseSwitch = lastWasCaseSwitch;
                break;
            }
            lastWasCaseSwitch = caseSwitch;
        }
        if (!fails && cursor < model.size() && !std::all_of(at(cursor), model.end(), isLetter)) command += "<RW>";

        std::string wordForm;
        for (const std::string& character : original) wordForm += character;
        std::string expected;
        for (const std::string& character : model) expected += character;
        const Edit result = edit(wordForm, command);
        if (fails) {
            EXPECT_FALSE(result) << "word form: " << wordForm << ", command: " << command;
            continue;
        }
        ASSERT_TRUE(result) << "word form: " << wordForm << ", command: " << command;
        EXPECT_EQ(result->first, expected) << "word form: " << wordForm << ", command: " << command;
        const Edit back = edit(result->first, result->second);
        EXPECT_EQ(back ? back->first : "(absent)", wordForm)
            << "word form: " << wordForm << ", command: " << command << ", reverse: " << result->second;
        ++applied;
    }
    EXPECT_GT(applied, 10000);
}

} // namespace
} // namespace lexpand
