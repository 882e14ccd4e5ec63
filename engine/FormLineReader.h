// Lines of lexpand's output read back as (word form, analysis) pairs, the
// input of a compact dictionary.
//
// A form line is an entry line whose properties hold one item `_LEX="..."`:
// its word form is the entry, its analysis the reverse command between the
// quotes together with the rest of the line from the comma on, that item
// left out. A line without such an item (an entry that lexpand echoes) is a
// form that is its own lemma: its reverse command is "<E>" and its analysis
// the rest of the line as written.

#ifndef LEXPAND_ENGINE_FORMLINEREADER_H
#define LEXPAND_ENGINE_FORMLINEREADER_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "TextServices.h"

namespace lexpand {

struct FormAnalysis {
    std::string reverseCommand; // leads from the form to its lemma
    std::string properties;     // "," + category + "+" items, as printed, without "_LEX"
};

struct FormAndAnalysis {
    std::string_view form;                  // a view into the line read
    const FormAnalysis* analysis = nullptr; // owned by the reader, alive as long as it is
};

struct FormLineReading {
    std::optional<FormAndAnalysis> line;
    std::string problem; // why the line is not a form line; empty on success
};

// Reads form lines one by one. Lines with the same text after their word
// form are parsed once: their analyses are the same object.
class FormLineReader {
public:
    // True for a line that is no form: empty, or beginning with "#" (the
    // summary line and comments).
    static bool isSkipped(std::string_view line) { return line.empty() || line.front() == '#'; }

    // The form and analysis of `line`. The problem is set, and the line
    // absent, when `line` is not an entry (see parseLexemeView), when its
    // properties do not split, or when more than one item is a "_LEX"
    // item. Cost: linear in the line, plus one hash lookup.
    FormLineReading read(std::string_view line);

private:
    struct Cached {
        std::unique_ptr<FormAnalysis> analysis; // null when the rest is refused
        std::string problem;
    };
    std::unordered_map<std::string, Cached, TextHash, std::equal_to<>> byRest_;
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_FORMLINEREADER_H
