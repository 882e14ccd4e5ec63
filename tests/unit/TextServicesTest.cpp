// Tests of the text services: clusters, classes, lines, trimming, canonical
// equivalence, case switching and file reading.

#include "TextServices.h"

#include <gtest/gtest.h>
#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>

namespace lexpand {
namespace {

// Clusters as ICU's character break iterator gives them, on UTF-16.
std::vector<std::string> icuClusters(const std::string& text) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> iterator(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    const icu::UnicodeString utf16 = icu::UnicodeString::fromUTF8(text);
    iterator->setText(utf16);
    std::vector<std::string> clusters;
    std::int32_t begin = iterator->first();
    for (std::int32_t end = iterator->next(); end != icu::BreakIterator::DONE; end = iterator->next()) {
        std::string cluster;
        utf16.tempSubStringBetween(begin, end).toUTF8String(cluster);
        clusters.push_back(cluster);
        begin = end;
    }
    return clusters;
}

TEST(TextServices, GraphemeClusters) {
    const struct {
        std::string text;
        std::vector<std::string> clusters;
    } rows[] = {
        {"", {}},
        {"a\r\nb\n\r", {"a", "\r\n", "b", "\n", "\r"}},
        {"e\xCC\x81t\xC3\xA9", {"e\xCC\x81", "t", "\xC3\xA9"}}, // e + U+0301, t, é
        {"a\xFF"
         "b",
         {"a", "\xFF", "b"}}, // malformed byte alone
    };
    for (const auto& row : rows) {
        EXPECT_EQ(graphemeClusters(row.text), row.clusters) << "text: " << row.text;
        EXPECT_EQ(graphemeCount(row.text), row.clusters.size()) << "text: " << row.text;
    }
}

TEST(TextServices, ClustersAgreeWithIcuOnRandomText) {
    // Pieces that exercise the fast path and every way out of it.
    const std::vector<std::string> pieces = {"a",
                                             "Z",
                                             " ",
                                             "-",
                                             "\r",
                                             "\n",
                                             "\t",
                                             "\xC3\xA9",
                                             "\xD0\xB9",
                                             "\xD0\xB8\xCC\x86",
                                             "\xCC\x81",
                                             "\xE2\x80\x8D",
                                             "\xE1\x84\x80",
                                             "\xE1\x85\xA1",
                                             "\xF0\x9F\x98\x80",
                                             "\xF0\x9F\x87\xAB",
                                             "\xE0\xA4\x95",
                                             "\xE0\xA5\x8D",
                                             "\xE0\xA4\xBE",
                                             "\xCE\xB1",
                                             "\xC3\x9F",
                                             "\xE2\x80\xA8"};
    std::mt19937 random(20261122);
    for (int trial = 0; trial < 3000; ++trial) {
        std::string text;
        const int length = static_cast<int>(random() % 8);
        for (int i = 0; i < length; ++i) text += pieces[random() % pieces.size()];
        ASSERT_EQ(graphemeClusters(text), icuClusters(text)) << "text: " << text;
    }
}

// Whether ICU's decoder reads `text` through without an ill-formed sequence.
bool icuFindsWellFormed(const std::string& text) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<std::int32_t>(text.size());
    for (std::int32_t i = 0; i < length;) {
        UChar32 c;
        U8_NEXT(bytes, i, length, c);
        if (c < 0) return false;
    }
    return true;
}

TEST(TextServices, Utf8CheckAgreesWithIcuOnRandomText) {
    // Runs of two-byte sequences, which are checked several at a time, with
    // one byte replaced so that every position of a run gets each way of
    // being ill-formed (overlong lead, lone continuation, lead of another
    // length, missing continuation).
    const std::string replacements = "\xC0\xC1\xC2\xDF\xE0\xF0\x80\xBF\xFF"
                                     "a";
    std::mt19937 random(20261123);
    for (int trial = 0; trial < 20000; ++trial) {
        std::string text;
        const int runs = static_cast<int>(random() % 4);
        for (int run = 0; run < runs; ++run) {
            text += std::string(random() % 3, 'a');
            for (int i = static_cast<int>(random() % 12); i > 0; --i) text += random() % 2 ? "\xD0\xB9" : "\xC3\xA9";
        }
        if (!text.empty() && random() % 4 != 0)
            text[random() % text.size()] = replacements[random() % replacements.size()];
        ASSERT_EQ(isValidUtf8(text), icuFindsWellFormed(text)) << "text: " << text;
    }
}

TEST(TextServices, CharacterClasses) {
    EXPECT_TRUE(isLetter(0x0301)); // a combining mark counts as a letter
    EXPECT_TRUE(isLetter(0x0436)); // ж
    EXPECT_FALSE(isLetter(U'1'));
    EXPECT_TRUE(isLowercase(0x00DF)); // ß
    EXPECT_FALSE(isLowercase(U'A'));
    EXPECT_TRUE(isUppercase(0x01C5)); // ǅ, title case
    EXPECT_TRUE(isWhiteSpaceOrNewline(0x00A0));
    EXPECT_TRUE(isWhiteSpaceOrNewline(0x2029));
    EXPECT_FALSE(isWhiteSpaceOrNewline(0x001F));
    EXPECT_TRUE(isBlank(0x3000));
    EXPECT_FALSE(isBlank(U'\n'));
    EXPECT_TRUE(isNewline(0x2028));
}

TEST(TextServices, SplitAtNewlines) {
    const struct {
        std::string text;
        std::vector<std::string_view> pieces;
    } rows[] = {
        {"", {}},
        {"a\nb\n", {"a", "b"}},
        {"a\r\nb", {"a", "", "b"}},
        {"a\vb\fc\xC2\x85"
         "d\xE2\x80\xA8"
         "e\xE2\x80\xA9"
         "f",
         {"a", "b", "c", "d", "e", "f"}},
        {"\n\nx", {"", "", "x"}},
    };
    for (const auto& row : rows) EXPECT_EQ(splitAtNewlines(row.text), row.pieces) << "text: " << row.text;
}

TEST(TextServices, Trim) {
    EXPECT_EQ(trimWhiteSpaceAndNewlines(" \t a b \r\n"), "a b");
    EXPECT_EQ(trimWhiteSpaceAndNewlines("\xC2\xA0x\xE3\x80\x80"), "x");
    EXPECT_EQ(trimWhiteSpaceAndNewlines(" \n "), "");
    EXPECT_EQ(trimBlanks("\t x \n"), "x \n");
}

TEST(TextServices, CanonicalEquivalenceAndOrder) {
    const std::string composed = "caf\xC3\xA9";    // café, é precomposed
    const std::string decomposed = "cafe\xCC\x81"; // café, e + U+0301
    EXPECT_TRUE(canonicallyEqual(composed, decomposed));
    EXPECT_EQ(compareCanonical(composed, decomposed), 0);
    EXPECT_EQ(toNFC(decomposed), composed);
    EXPECT_FALSE(canonicallyEqual("a", "b"));
    EXPECT_LT(compareCanonical("Z", "a"), 0);
    EXPECT_LT(compareCanonical("+", "0"), 0);
    EXPECT_LT(compareCanonical("_", "a"), 0);
    EXPECT_GT(compareCanonical(decomposed, "cafe"), 0);
    EXPECT_TRUE(isNFC(composed));
    EXPECT_FALSE(isNFC(decomposed));
}

TEST(TextServices, SwitchCase) {
    const struct {
        std::string character, expected;
    } rows[] = {
        {"a", "A"},
        {"1", "1"},
        {"\xC3\x9F", "S"},          // ß: title case "Ss", first character kept
        {"\xC4\xB1", "I"},          // dotless ı
        {"\xC7\x86", "\xC7\x85"},   // ǆ -> ǅ
        {"\xC7\x85", "\xC7\x86"},   // ǅ -> ǆ
        {"e\xCC\x81", "E\xCC\x81"}, // marks after the first scalar stay
        {"\xC4\xB0", "i\xCC\x87"},  // İ -> i + combining dot above
    };
    for (const auto& row : rows) EXPECT_EQ(switchCase(row.character), row.expected) << "character: " << row.character;
}

TEST(TextServices, ReadUtf8File) {
    const std::filesystem::path directory = std::filesystem::temp_directory_path() / "lexpand-text-services-test";
    std::filesystem::create_directories(directory);
    const auto write = [&](const std::string& name, const std::string& content) {
        std::ofstream(directory / name, std::ios::binary) << content;
        return (directory / name).string();
    };
    EXPECT_EQ(readUtf8File(write("plain", "a\nb")), "a\nb");
    EXPECT_EQ(readUtf8File(write("bom", "\xEF\xBB\xBFx")), "x");
    EXPECT_EQ(readUtf8File(write("nul", std::string("a\0b", 3))), std::string("a\0b", 3));
    EXPECT_EQ(readUtf8File(write("empty", "")), "");
    EXPECT_EQ(readUtf8File(write("invalid", "a\xC3(")), std::nullopt);
    EXPECT_EQ(readUtf8File(write("surrogate", "\xED\xA0\x80")), std::nullopt);
    EXPECT_EQ(readUtf8File(write("overlong", "\xC0\xAF")), std::nullopt);
    EXPECT_EQ(readUtf8File((directory / "missing").string()), std::nullopt);
    EXPECT_EQ(readUtf8File(directory.string()), std::nullopt);
    // The content is checked block by block (64 KiB): a character may straddle
    // two blocks, a malformed byte fails wherever it is, even the last one.
    for (const std::size_t before : {65533, 65534, 65535, 65536, 200000}) {
        const std::string text = std::string(before, 'a') + "\xF0\x9F\x98\x80" + std::string(10, 'b');
        EXPECT_EQ(readUtf8File(write("straddling", text)), text) << before;
        EXPECT_EQ(readUtf8File(write("malformed", std::string(before, 'a') + "\xF0\x9F\x98")), std::nullopt) << before;
        EXPECT_EQ(readUtf8File(write("malformed", std::string(before, 'a') + "\xFF" + std::string(before, 'a'))),
                  std::nullopt)
            << before;
    }
    // A path holding a NUL names no file, even when the text before it does.
    EXPECT_EQ(readUtf8File(write("a", "x")), "x");
    EXPECT_EQ(readUtf8File((directory / "a").string() + std::string(1, '\0') + "b"), std::nullopt);
    // An endless source of malformed bytes fails within its first blocks.
    if (std::filesystem::exists("/dev/urandom")) {
        EXPECT_EQ(readUtf8File("/dev/urandom"), std::nullopt);
    }
    std::filesystem::remove_all(directory);
}

} // namespace
} // namespace lexpand
