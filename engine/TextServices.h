// Text services: the one place where lexpand meets ICU.
//
// Text is UTF-8 in std::string everywhere else; these functions decode it,
// cut it into user-perceived characters (extended grapheme clusters), classify
// characters, compare strings by canonical equivalence and map case. Every
// function has an ASCII fast path that gives the same result as ICU would.
// Nothing here throws or prints.

#ifndef LEXPAND_ENGINE_TEXTSERVICES_H
#define LEXPAND_ENGINE_TEXTSERVICES_H

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lexpand {

// ---- Decoding -------------------------------------------------------------

// True when `text` is well-formed UTF-8 (no overlong forms, no surrogates,
// nothing above U+10FFFF). NUL bytes are well-formed.
bool isValidUtf8(std::string_view text);

// True when every byte of `text` is below 0x80.
bool isAscii(std::string_view text);

// Decodes the scalar that starts at `position` and advances `position` past it.
// On a malformed sequence it returns U+FFFD and advances by one byte, so a loop
// over any byte string always terminates. Precondition: position < text.size().
char32_t decodeScalar(std::string_view text, std::size_t& position);

// The first scalar of `text`, or U+0000 when `text` is empty.
char32_t firstScalar(std::string_view text);

// Appends the UTF-8 encoding of `scalar` to `out`.
void appendScalar(std::string& out, char32_t scalar);

// ---- Characters (extended grapheme clusters) ------------------------------
//
// Text is well-formed UTF-8 here: it is checked once where it enters the
// engine (files by readUtf8File, other text at the public operations that
// take it). Malformed bytes never make these functions read out of bounds or
// crash, but how they are grouped into characters is not specified.

// The extended grapheme clusters of `text`, in order; empty for empty text.
// "\r\n" is one cluster, and so is a letter with its combining marks.
std::vector<std::string> graphemeClusters(std::string_view text);

// The same clusters as views into `text` (valid while `text` lives).
std::vector<std::string_view> graphemeClusterViews(std::string_view text);

// The number of extended grapheme clusters of `text`.
std::size_t graphemeCount(std::string_view text);

// True when each scalar of `text` is a character of its own: no combining mark, joiner, prepended or paired
// scalar, and no "\r\n". (A sufficient test, not a necessary one.)
bool isOneCharacterPerScalar(std::string_view text);

// ---- Character classes (tested on one scalar) -----------------------------

// Letters: general categories L* and M*.
bool isLetter(char32_t scalar);
// Lower case: general category Ll.
bool isLowercase(char32_t scalar);
// Upper case: general categories Lu and Lt.
bool isUppercase(char32_t scalar);
// White space and new lines: general category Z, U+0009 to U+000D and U+0085.
// (This is also exactly the Unicode White_Space set.)
bool isWhiteSpaceOrNewline(char32_t scalar);
// New lines: U+000A to U+000D, U+0085, U+2028 and U+2029.
bool isNewline(char32_t scalar);
// Blanks: general category Zs and the tab U+0009.
bool isBlank(char32_t scalar);

// The ASCII capitals "A" to "Z", the letters of a category.
constexpr bool isAsciiCapital(char byte) {
    return byte >= 'A' && byte <= 'Z';
}

// Class tests on a character (a grapheme cluster): they test its first scalar.
bool isLetterCharacter(std::string_view character);
bool isLowercaseCharacter(std::string_view character);
bool isUppercaseCharacter(std::string_view character);

// ---- Lines and trimming ---------------------------------------------------

// Splits `text` at every new-line scalar (see isNewline). Every separator ends
// a piece, so "a\r\nb" gives "a", "", "b". Empty pieces are kept; a text that
// ends with a separator does not give a final empty piece; an empty text gives
// no piece. The pieces are views into `text`.
std::vector<std::string_view> splitAtNewlines(std::string_view text);

// True for the bytes that may begin a new-line scalar.
constexpr bool mayBeginNewline(unsigned char byte) {
    return (byte >= 0x0A && byte <= 0x0D) || byte == 0xC2 || byte == 0xE2;
}

// The length in bytes of the new-line scalar that starts at `position`, or 0.
std::size_t newlineLengthAt(std::string_view text, std::size_t position);

// Calls visit(piece) for each piece of splitAtNewlines(text), in order,
// without building the list.
template <typename Visit> void forEachLineOf(std::string_view text, Visit&& visit) {
    std::size_t pieceBegin = 0;
    for (std::size_t position = 0; position < text.size(); ++position) {
        if (!mayBeginNewline(static_cast<unsigned char>(text[position]))) continue;
        const std::size_t length = newlineLengthAt(text, position);
        if (length == 0) continue;
        visit(text.substr(pieceBegin, position - pieceBegin));
        position += length - 1;
        pieceBegin = position + 1;
    }
    if (pieceBegin < text.size()) visit(text.substr(pieceBegin));
}

// True when `text` holds no new-line scalar and none of the ASCII bytes of
// `bytes`. Cost: one pass.
bool holdsNoneOf(std::string_view text, std::string_view bytes);

// The first piece that splitAtNewlines would give (all of `text` when it holds
// no separator).
std::string_view firstLine(std::string_view text);

// True when a piece of splitAtNewlines(text) begins at byte `position`: the
// start of the text, or right after a separator.
bool startsLine(std::string_view text, std::size_t position);

// Removes the scalars for which `inClass` is true from both ends of `text`.
std::string_view trim(std::string_view text, bool (*inClass)(char32_t));

// trim() with isWhiteSpaceOrNewline.
std::string_view trimWhiteSpaceAndNewlines(std::string_view text);

// trim() with isBlank.
std::string_view trimBlanks(std::string_view text);

// ---- Canonical equivalence and order --------------------------------------

// The NFC form of `text`. Text is kept as written everywhere; this form is
// only for comparing. Malformed UTF-8 is returned unchanged.
std::string toNFC(std::string_view text);

// True when `text` is already in NFC (always true for ASCII).
bool isNFC(std::string_view text);

// True when the two texts are canonically equivalent (equal NFC forms).
bool canonicallyEqual(std::string_view a, std::string_view b);

// Three-way comparison of the NFC forms by code point (byte order of their
// UTF-8): negative when a < b, 0 when canonically equivalent, positive otherwise.
int compareCanonical(std::string_view a, std::string_view b);

// Strict weak order for sorting by compareCanonical.
struct CanonicalLess {
    bool operator()(std::string_view a, std::string_view b) const { return compareCanonical(a, b) < 0; }
};

// Hash of texts that also takes views, for maps searched without copying a key.
struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

// ---- Case ----------------------------------------------------------------

// Switches the case of one character (a grapheme cluster): a lower-case
// character becomes the first character of its full title-case mapping, an
// upper-case one the first character of its full lower-case mapping, and any
// other character is returned unchanged. "ß" gives "S"; combining marks that
// follow the first scalar are kept.
std::string switchCase(std::string_view character);

// ---- Case of whole texts -------------------------------------------------------

// `text` with every character in lower case (full Unicode mapping, no
// language's special rules). Malformed UTF-8 comes back unchanged. Linear.
std::string toLowerCase(std::string_view text);

// `text` with its first character (grapheme cluster) in lower case and the
// rest as written.
std::string lowerCaseFirstCharacter(std::string_view text);

// ---- Words -------------------------------------------------------------------

// A piece of text between two word boundaries: byte offsets, and whether it
// is a word (letters, digits, kana or ideographs) rather than spaces or
// punctuation.
struct TextSegment {
    std::size_t begin = 0;
    std::size_t end = 0;
    bool isWord = false;
};

// Cuts text at the word boundaries of Unicode's default rules. Each object
// holds its own break iterator: one object per thread.
class WordSegmenter {
public:
    WordSegmenter();
    WordSegmenter(const WordSegmenter&) = delete; // owns an ICU iterator
    WordSegmenter& operator=(const WordSegmenter&) = delete;
    ~WordSegmenter();

    // Replaces `segments` with the segments of `text`, in order, covering it
    // whole. Malformed UTF-8, or an iterator ICU could not create, gives one
    // segment that is a word. Linear in the text.
    void segment(std::string_view text, std::vector<TextSegment>& segments);

private:
    struct Iterator;
    std::unique_ptr<Iterator> iterator_;
};

// ---- Files ---------------------------------------------------------------

// The whole content of the file at `path`, with a leading UTF-8 byte-order
// mark removed; absent when the path does not exist or holds a NUL byte, when
// the file cannot be read (a directory), or when it does not hold well-formed
// UTF-8. The content is checked as it is read, block by block: reading stops
// at the first block with a malformed sequence, so an endless source of
// invalid bytes fails at once. Memory: the content (an endless source of
// well-formed text is read until memory runs out).
std::optional<std::string> readUtf8File(const std::string& path);

} // namespace lexpand

#endif // LEXPAND_ENGINE_TEXTSERVICES_H
