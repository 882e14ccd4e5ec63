// Form lines: the printed lines of the forms of dictionary entries.
//
// A form's line is its word form, ",", then its category and sorted
// properties, one of which is "_LEX=\"...\"" with the reverse command that
// leads back to the lemma. Entries of one shape (the same text after the
// lemma: category and properties) run through the same paradigm paths, so
// their lines differ only in the word form and in that reverse command. The
// expander assembles each path's line once per shape, with assembleFormLine
// and a placeholder word form and reverse command, and completes it per
// entry. An entry whose lemma or forms could make the assembly differ (a comma
// or a line terminator in a word form, a quote or a backslash in a reverse
// command, an item that mentions "_LEX"), or that has too many forms to keep
// a shape of, is expanded form by form instead (forEachCheckedForm): each of
// its forms that fits a template is completed from the template of its
// category and path properties, each other one assembled whole with
// assembleFormLine. Every way prints the same bytes.

#ifndef LEXPAND_ENGINE_FORMLINES_H
#define LEXPAND_ENGINE_FORMLINES_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "ALU.h"
#include "LineSink.h"
#include "MGFSA.h"

namespace lexpand {

// Expands entry lines one after the other. Holds the explored paradigms and
// the assembled shapes (at most 32 MB of them), which expanders of other
// threads may share; the definitions and the grammar must outlive them all and
// must not change while they live.
class EntryLineExpander {
public:
    // `options` bound the exploration of each paradigm.
    EntryLineExpander(const PropertiesDefinitions& propertiesDefinitions, const MGFSA& paradigms,
                      const ExploreOptions& options = {});
    // An expander for another thread that shares the caches of `sharing`: the
    // paradigms explored and the shapes assembled by one serve all. The
    // caches are safe to share; each expander is used by one thread at a time.
    enum class SharingCaches { with };
    EntryLineExpander(const EntryLineExpander& sharing, SharingCaches);
    EntryLineExpander(const EntryLineExpander&) = delete; // holds caches tied to one grammar
    EntryLineExpander& operator=(const EntryLineExpander&) = delete;
    ~EntryLineExpander();

    // Sends to `sink` what the entry line `line` prints: the line itself when
    // the entry has no inflectional paradigm, then one canonical line per
    // consistent form, in paradigm and path order. Answers how many form
    // lines it sent; absent when `line` is not an entry or a form cannot be
    // generated (the lines sent before the failing form stay sent). Cost:
    // linear in the lines sent, once the entry's shape is assembled.
    std::optional<std::int64_t> expand(std::string_view line, LineSink& sink);

    // How many entries went each way: completing the lines of their shape, or
    // form by form; and how many forms of the latter were completed from a
    // template rather than assembled whole.
    struct Counts {
        std::int64_t assembled = 0;
        std::int64_t formByForm = 0;
        std::int64_t formsFromTemplates = 0;
    };
    Counts counts() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_FORMLINES_H
