// The printed lines of the forms of dictionary entries.
//
// A form's line is its word form, ",", then its category and sorted
// properties, one of which is "_LEX=\"...\"" with the reverse command that
// leads back to the lemma. Entries of one shape (the same text after the
// lemma: category and properties) run through the same paradigm paths, so
// their lines differ only in the word form and in that reverse command. The
// expander assembles the rest of each line once per shape and path, and
// completes it per entry; an entry whose lemma or forms could make the
// assembly differ (a comma or a line terminator in a word form, a quote or a
// backslash in a reverse command, an item that mentions "_LEX") is assembled
// form by form instead. Both ways print the same bytes.

#ifndef LEXPAND_ENGINE_FORMLINES_H
#define LEXPAND_ENGINE_FORMLINES_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "ALU.h"
#include "MGFSA.h"

namespace lexpand {

// Where expanded lines go; the engine never prints itself.
class LineSink {
public:
    virtual ~LineSink() = default;
    // Receives one line, without its line feed.
    virtual void printLine(std::string_view line) = 0;
};

// Expands entry lines one after the other. Holds the explored paradigms and
// the assembled shapes; the definitions and the grammar must outlive it and
// must not change while it lives.
class EntryLineExpander {
public:
    EntryLineExpander(const PropertiesDefinitions& propertiesDefinitions, const MGFSA& paradigms);
    EntryLineExpander(const EntryLineExpander&) = delete; // holds caches tied to one grammar
    EntryLineExpander& operator=(const EntryLineExpander&) = delete;
    ~EntryLineExpander();

    // Sends to `sink` what the entry line `line` prints: the line itself when
    // the entry has no inflectional paradigm, then one canonical line per
    // consistent form, in paradigm and path order. Answers how many form
    // lines it sent; absent when `line` is not an entry or a form cannot be
    // generated (the lines sent before the failing form stay sent).
    std::optional<std::int64_t> expand(std::string_view line, LineSink& sink);

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_FORMLINES_H
