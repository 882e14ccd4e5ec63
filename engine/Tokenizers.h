// The three tokenizers of the grammar language.
//
// Every text of the grammar language is cut into a flat list of non-empty token
// strings before it is compiled: rule bodies and paradigm expressions, the
// commands of the morphological editor, the rules of the properties file.

#ifndef LEXPAND_ENGINE_TOKENIZERS_H
#define LEXPAND_ENGINE_TOKENIZERS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lexpand {

using TokenList = std::vector<std::string>;

class Tokenizer {
public:
    Tokenizer() = delete; // a namespace of stateless functions

    // Tokens of an expression of the syntax level, read one scalar at a time.
    // Absent exactly when a backslash is followed by a character that is not one
    // of the nine special characters " $ ( ) * / < \ |. Cost: one pass.
    static std::optional<TokenList> textualSyntacticGrammar(std::string_view text);

    // Where the syntactic tokenizer fails on `text`: the offset of the
    // character that a backslash protects but may not; absent when it does
    // not fail. Cost: one pass.
    static std::optional<std::size_t> badEscapeOffset(std::string_view text);

    // The syntactic tokens, with every token whose first character is a letter
    // split into its characters (extended grapheme clusters). Absent exactly
    // when the syntactic tokenizer is absent; empty for empty or white text.
    static std::optional<TokenList> textualOrthographicGrammar(std::string_view text);

    // True for the scalars that, read between tokens, open a token of several
    // characters: a quoted string, a variable, an output, a call, an operator
    // or an escape (" $ / : < \). Every other scalar but white space reads as a
    // token of its own or as part of a word.
    static bool opensLongToken(char32_t scalar);

    // The orthographic tokens of an ASCII text that holds no character opening
    // a long token, as one string of one byte per token: the syntactic
    // tokenizer cuts such a text at white space, makes a token of each other
    // non-letter and of each run of letters, and the runs are split into
    // characters, so each byte but white space is a token of its own. Absent
    // for any other text. Most morphological commands take this lane (a
    // paradigm path's command is parsed for every form), so that neither a
    // token list nor a string per token is made for them. Cost: one pass.
    static std::optional<std::string> plainAsciiTokenBytes(std::string_view text);

    // Tokens of a properties-definitions expression: words separated by white
    // space, "(", ")" and "|" alone, ":Name" references. Never fails.
    static TokenList textualPropertiesDefinitionsGrammar(std::string_view text);
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_TOKENIZERS_H
