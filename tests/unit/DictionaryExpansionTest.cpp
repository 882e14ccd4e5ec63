// Tests of loadDictionary: the significant lines of a dictionary file.

#include "DictionaryExpansion.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

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

} // namespace
} // namespace lexpand
