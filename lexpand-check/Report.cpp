// Exports CollectedReport, textReport and sarifReport: the diagnostics of a
// check as a compiler writes them, or as a SARIF 2.1.0 log.

#include "Report.h"

#include <algorithm>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

#include "TextServices.h"

namespace lexpand {

namespace {

// The severity a diagnostic is written with: a warning is an error under --werror.
Severity shownSeverity(const Diagnostic& diagnostic, const ReportOptions& options) {
    if (diagnostic.severity == Severity::warning && options.warningsAreErrors) return Severity::error;
    return diagnostic.severity;
}

// ---- Text ------------------------------------------------------------------

// GCC's colors: bold locations, bold red errors, bold magenta warnings, bold
// cyan notes, a bold green caret.
constexpr std::string_view bold = "\x1b[1m";
constexpr std::string_view reset = "\x1b[m";

std::string_view colorOf(Severity severity) {
    switch (severity) {
    case Severity::error:
        return "\x1b[1;31m";
    case Severity::warning:
        return "\x1b[1;35m";
    case Severity::note:
        return "\x1b[1;36m";
    }
    return bold;
}

// The lines of the files that diagnostics name, read once each.
class SourceLines {
public:
    // Line `line` (from 1) of `file`, without its end; absent when the file
    // cannot be read or is shorter.
    std::optional<std::string_view> line(const std::string& file, std::size_t line) {
        auto found = files_.find(file);
        if (found == files_.end()) found = files_.emplace(file, load(file)).first;
        const Loaded& loaded = found->second;
        if (!loaded.text || line == 0 || line > loaded.lines.size()) return std::nullopt;
        return loaded.lines[line - 1];
    }

private:
    struct Loaded {
        std::unique_ptr<std::string> text;
        std::vector<std::string_view> lines;
    };

    // Lines end as SourceText counts them: "\n", "\r\n" or a lone "\r".
    static Loaded load(const std::string& file) {
        Loaded loaded;
        std::optional<std::string> text = readUtf8File(file);
        if (!text) return loaded;
        loaded.text = std::make_unique<std::string>(std::move(*text));
        const std::string_view all = *loaded.text;
        std::size_t begin = 0;
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (all[i] != '\n' && all[i] != '\r') continue;
            loaded.lines.push_back(all.substr(begin, i - begin));
            if (all[i] == '\r' && i + 1 < all.size() && all[i + 1] == '\n') ++i;
            begin = i + 1;
        }
        if (begin < all.size()) loaded.lines.push_back(all.substr(begin));
        return loaded;
    }

    std::map<std::string, Loaded> files_;
};

class TextWriter {
public:
    TextWriter(const TextStyle& style, const ReportOptions& options, const std::string& programName)
        : style_(style), options_(options), programName_(programName) {}

    void diagnostic(const Diagnostic& diagnostic) {
        const Severity severity = shownSeverity(diagnostic, options_);
        std::string suffix;
        if (diagnostic.severity == Severity::warning) {
            const std::string_view name = kindOf(diagnostic.code).name;
            suffix =
                options_.warningsAreErrors ? " [-Werror=" + std::string(name) + "]" : " [-W" + std::string(name) + "]";
        }
        line(diagnostic.location, severity, diagnostic.message, suffix);
        for (const RelatedNote& note : diagnostic.notes) line(note.location, Severity::note, note.message, {});
    }

    void closing(std::size_t errors, std::size_t warnings, bool stoppedEarly) {
        if (stoppedEarly) {
            out_ += programName_ + ": stopped after " + std::to_string(errors) + (errors == 1 ? " error" : " errors") +
                    " (--max-errors)\n";
        }
        out_ += std::to_string(errors) + (errors == 1 ? " error, " : " errors, ") + std::to_string(warnings) +
                (warnings == 1 ? " warning\n" : " warnings\n");
    }

    std::string take() { return std::move(out_); }

private:
    void paint(std::string_view color, std::string_view text) {
        if (style_.color) out_.append(color);
        out_.append(text);
        if (style_.color) out_.append(reset);
    }

    void line(const SourceLocation& location, Severity severity, const std::string& text, const std::string& suffix) {
        std::string where = location.file.empty() ? programName_ : location.file;
        if (!location.file.empty() && location.line > 0) {
            where.append(":").append(std::to_string(location.line));
            if (location.column > 0) where.append(":").append(std::to_string(location.column));
        }
        paint(bold, where + ":");
        out_ += ' ';
        paint(colorOf(severity), std::string(severityName(severity)) + ":");
        out_ += ' ';
        out_ += text;
        if (!suffix.empty()) {
            out_ += ' ';
            paint(colorOf(severity), suffix.substr(1));
        }
        out_ += '\n';
        if (style_.sourceLines) source(location);
    }

    // " 8812 | text of the line" and a caret under the column, as GCC writes them.
    void source(const SourceLocation& location) {
        if (location.file.empty() || location.line == 0) return;
        const std::optional<std::string_view> text = sources_.line(location.file, location.line);
        if (!text) return;
        std::string number = std::to_string(location.line);
        if (number.size() < 5) number.insert(0, 5 - number.size(), ' ');
        out_ += number + " | ";
        out_.append(*text);
        out_ += '\n';
        if (location.column == 0) return;
        out_ += std::string(number.size(), ' ') + " | ";
        // The characters before the column, as spaces (tabs kept, so that the caret lines up).
        std::size_t column = 1;
        for (std::size_t i = 0; i < text->size() && column < location.column; ++i) {
            const auto byte = static_cast<unsigned char>((*text)[i]);
            if ((byte & 0xC0) == 0x80) continue;
            out_ += byte == '\t' ? '\t' : ' ';
            ++column;
        }
        paint("\x1b[1;32m", "^");
        out_ += '\n';
    }

    const TextStyle style_;
    const ReportOptions options_;
    const std::string programName_;
    SourceLines sources_;
    std::string out_;
};

// ---- SARIF -----------------------------------------------------------------------

using Json = nlohmann::ordered_json;

constexpr std::string_view sarifSchema =
    "https://docs.oasis-open.org/sarif/sarif/v2.1.0/errata01/os/schemas/sarif-schema-2.1.0.json";
constexpr std::string_view sourceRoot = "%SRCROOT%";

// `path` with every byte outside the unreserved characters and "/" written
// as "%XX", so that it is a valid URI reference.
std::string percentEncoded(std::string_view path) {
    constexpr std::string_view hex = "0123456789ABCDEF";
    std::string encoded;
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        const bool unreserved = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                                (byte >= '0' && byte <= '9') || c == '-' || c == '.' || c == '_' || c == '~' ||
                                c == '/';
        if (unreserved) {
            encoded += c;
        } else {
            encoded += '%';
            encoded += hex[byte >> 4];
            encoded += hex[byte & 0xF];
        }
    }
    return encoded;
}

Json artifactLocation(const std::string& file) {
    if (file.starts_with('/')) return Json{{"uri", "file://" + percentEncoded(file)}};
    return Json{{"uri", percentEncoded(file)}, {"uriBaseId", sourceRoot}};
}

Json location(const SourceLocation& where) {
    Json physical{{"artifactLocation", artifactLocation(where.file)}};
    if (where.line > 0) {
        Json region{{"startLine", where.line}};
        if (where.column > 0) region["startColumn"] = where.column;
        physical["region"] = std::move(region);
    }
    return Json{{"physicalLocation", std::move(physical)}};
}

Json rules() {
    Json list = Json::array();
    for (const DiagnosticKind& kind : diagnosticKinds()) {
        list.push_back(Json{{"id", kind.name},
                            {"shortDescription", {{"text", kind.summary}}},
                            {"defaultConfiguration", {{"level", severityName(kind.severity)}}}});
    }
    return list;
}

} // namespace

bool CollectedReport::report(Diagnostic diagnostic) {
    if (stopped_) return false;
    const Severity severity = shownSeverity(diagnostic, options_);
    if (severity == Severity::error) ++errors_;
    if (severity == Severity::warning) ++warnings_;
    if (!options_.quiet) diagnostics_.push_back(std::move(diagnostic));
    const std::size_t limit = options_.quiet ? 1 : options_.maxErrors;
    if (limit != 0 && errors_ >= limit) stopped_ = true;
    return !stopped_;
}

std::vector<Diagnostic> CollectedReport::sorted() const {
    std::vector<Diagnostic> diagnostics = diagnostics_;
    sortForReport(diagnostics);
    return diagnostics;
}

std::string textReport(const CollectedReport& report, const TextStyle& style, const ReportOptions& options,
                       const std::string& programName) {
    TextWriter writer(style, options, programName);
    for (const Diagnostic& diagnostic : report.sorted()) writer.diagnostic(diagnostic);
    writer.closing(report.errors(), report.warnings(), report.stoppedEarly());
    return writer.take();
}

std::string sarifReport(const CollectedReport& report, const ReportOptions& options, const std::string& toolVersion,
                        const std::string& currentDirectory) {
    Json results = Json::array();
    for (const Diagnostic& diagnostic : report.sorted()) {
        Json result{{"ruleId", kindOf(diagnostic.code).name},
                    {"ruleIndex", static_cast<std::size_t>(diagnostic.code)},
                    {"level", severityName(shownSeverity(diagnostic, options))},
                    {"message", {{"text", diagnostic.message}}}};
        if (!diagnostic.location.file.empty()) result["locations"] = Json::array({location(diagnostic.location)});
        if (!diagnostic.notes.empty()) {
            Json related = Json::array();
            for (std::size_t i = 0; i < diagnostic.notes.size(); ++i) {
                Json note = location(diagnostic.notes[i].location);
                note["id"] = i;
                note["message"] = Json{{"text", diagnostic.notes[i].message}};
                related.push_back(std::move(note));
            }
            result["relatedLocations"] = std::move(related);
        }
        results.push_back(std::move(result));
    }
    std::string root = currentDirectory;
    if (!root.ends_with('/')) root += '/';
    Json run{{"tool",
              {{"driver",
                {{"name", "lexpand-check"},
                 {"version", toolVersion},
                 {"semanticVersion", toolVersion},
                 {"rules", rules()}}}}},
             {"originalUriBaseIds", {{sourceRoot, {{"uri", "file://" + percentEncoded(root)}}}}},
             {"columnKind", "unicodeCodePoints"},
             {"results", std::move(results)}};
    const Json log{{"$schema", sarifSchema}, {"version", "2.1.0"}, {"runs", Json::array({std::move(run)})}};
    return log.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace lexpand
