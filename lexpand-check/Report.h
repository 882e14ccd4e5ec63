// Report: the diagnostics of a check, collected, sorted and written as a
// compiler writes them (file:line:column: severity: message) or as a SARIF
// 2.1.0 log.

#ifndef LEXPAND_CHECK_REPORT_H
#define LEXPAND_CHECK_REPORT_H

#include <cstddef>
#include <string>
#include <vector>

#include "Diagnostics.h"

namespace lexpand {

struct ReportOptions {
    bool warningsAreErrors = false; // --werror
    std::size_t maxErrors = 0;      // 0: no limit
    bool quiet = false;             // nothing is written: the first error ends the check
};

// Collects what the checker finds. Asks the checker to stop once it holds
// maxErrors errors (one when quiet). A warning counts as an error under
// --werror, and is then written as one.
class CollectedReport final : public DiagnosticSink {
public:
    explicit CollectedReport(const ReportOptions& options) : options_(options) {}

    bool report(Diagnostic diagnostic) override;

    // The diagnostics sorted by file (code-point order of the names, the
    // problems of no file first), then line and column, then in the order
    // they were found.
    std::vector<Diagnostic> sorted() const;

    std::size_t errors() const { return errors_; }
    std::size_t warnings() const { return warnings_; }
    bool stoppedEarly() const { return stopped_; }

private:
    ReportOptions options_;
    std::vector<Diagnostic> diagnostics_;
    std::size_t errors_ = 0;
    std::size_t warnings_ = 0;
    bool stopped_ = false;
};

// How the text report looks.
struct TextStyle {
    bool color = false;       // ANSI colors, as GCC colors its diagnostics
    bool sourceLines = false; // each problem's line and a caret under its column
};

// The text report: one line per diagnostic (notes after theirs), then the
// closing count ("2 errors, 1 warning").
std::string textReport(const CollectedReport& report, const TextStyle& style, const ReportOptions& options,
                       const std::string& programName);

// The SARIF 2.1.0 log of the report, as JSON text. Relative paths are
// written relative to the base "%SRCROOT%", which is `currentDirectory`.
std::string sarifReport(const CollectedReport& report, const ReportOptions& options, const std::string& toolVersion,
                        const std::string& currentDirectory);

} // namespace lexpand

#endif // LEXPAND_CHECK_REPORT_H
