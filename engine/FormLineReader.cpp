// Exports FormLineReader: lexpand's output lines as word forms and analyses.

#include "FormLineReader.h"

#include <vector>

#include "ALU.h"

namespace lexpand {
namespace {

constexpr std::string_view lexItemPrefix = "_LEX=\"";
constexpr std::string_view ownLemmaCommand = "<E>";

bool isLexItem(std::string_view item) {
    return item.size() > lexItemPrefix.size() && item.starts_with(lexItemPrefix) && item.back() == '"';
}

// The analysis of a line whose text after the word form is `rest`, with the
// category and properties that the entry syntax finds in it.
// Absent, with `problem` set, when the line is refused.
std::unique_ptr<FormAnalysis> analyse(const LexemeView& views, std::string_view rest, std::string& problem) {
    const std::optional<std::vector<std::string>> items = splitProperties(views.properties, false);
    if (!items) {
        problem = "its properties do not split into items";
        return nullptr;
    }
    const std::string* lexItem = nullptr;
    for (const std::string& item : *items) {
        if (!isLexItem(item)) continue;
        if (lexItem != nullptr) {
            problem = "it holds more than one _LEX item";
            return nullptr;
        }
        lexItem = &item;
    }
    auto analysis = std::make_unique<FormAnalysis>();
    if (lexItem == nullptr) {
        analysis->reverseCommand = ownLemmaCommand;
        analysis->properties = rest;
    } else {
        analysis->reverseCommand = lexItem->substr(lexItemPrefix.size(), lexItem->size() - lexItemPrefix.size() - 1);
        analysis->properties.reserve(rest.size());
        analysis->properties += ',';
        analysis->properties += views.category;
        for (const std::string& item : *items) {
            if (&item == lexItem) continue;
            analysis->properties += '+';
            analysis->properties += item;
        }
    }
    return analysis;
}

} // namespace

FormLineReading FormLineReader::read(std::string_view line) {
    const std::optional<LexemeView> views = parseLexemeView(line);
    if (!views) return FormLineReading{std::nullopt, "it is not an entry line"};
    const std::size_t restBegin = static_cast<std::size_t>(views->entry.data() - line.data()) + views->entry.size();
    const std::string_view rest = line.substr(restBegin);
    auto found = byRest_.find(rest);
    if (found == byRest_.end()) {
        Cached cached;
        cached.analysis = analyse(*views, rest, cached.problem);
        found = byRest_.emplace(std::string(rest), std::move(cached)).first;
    }
    const Cached& cached = found->second;
    if (!cached.analysis) return FormLineReading{std::nullopt, cached.problem};
    return FormLineReading{FormAndAnalysis{views->entry, cached.analysis.get()}, std::string()};
}

} // namespace lexpand
