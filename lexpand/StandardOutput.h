// StandardOutput: the one channel of lexpand to standard output.

#ifndef LEXPAND_STANDARDOUTPUT_H
#define LEXPAND_STANDARDOUTPUT_H

#include <initializer_list>
#include <string_view>

#include "LineSink.h"

namespace lexpand {

// Every line of the process goes through one StandardOutput, in order. Lines
// are collected in a fixed buffer of 1 MiB, written in big blocks and never
// in part: a line longer than the buffer is written on its own, whole.
//
// - A write that is interrupted is retried; a non-blocking output that is
//   full is waited for (poll), never dropped.
// - A write that fails (a closed output, a full disk, a broken pipe while
//   SIGPIPE is ignored) ends the output. The lines of the expansion go
//   through expansionLines(), and a failure there ends the process at once
//   with status 7. The other lines (messages, usage, summary) are the run's
//   report: a failure while printing them ends the process at finish(), with
//   the run's status, or 7 when that status is 0. SIGPIPE keeps its usual
//   effect.
// - On SIGINT, SIGTERM or SIGHUP (unless the process was started with the
//   signal ignored), every complete line printed so far is written, then the
//   process ends by that signal, with its usual status.
//
// The buffer has static storage, since the signal handlers write it: one
// StandardOutput per process. Printing never allocates memory.
class StandardOutput final : public LineSink {
public:
    // Installs the signal handlers. A standard output that is closed is
    // replaced by a descriptor that cannot be written, so that every write
    // fails rather than reaching a file opened later.
    StandardOutput();
    StandardOutput(const StandardOutput&) = delete; // one channel per process
    StandardOutput& operator=(const StandardOutput&) = delete;

    // Prints one line of the report (the line and a line feed).
    void printLine(std::string_view line) override;
    // The same for the line made of `first` followed by `second`.
    void printLine(std::string_view first, std::string_view second);

    // The sink of the expansion's lines: a failed write ends the process at
    // once with status 7.
    LineSink& expansionLines() { return expansion_; }

    // Writes every line still buffered; answers the status to end the process
    // with: `status`, or 7 when the output could not be written and `status`
    // is 0.
    int finish(int status);

private:
    class ExpansionLines final : public LineSink {
    public:
        explicit ExpansionLines(StandardOutput& output) : output_(output) {}
        void printLine(std::string_view line) override;
        void printJoined(std::initializer_list<std::string_view> pieces) override;
        void printLines(std::string_view lines) override;

    private:
        StandardOutput& output_;
    };

    // Appends the pieces and a line feed; false when the output failed.
    bool append(std::string_view first, std::string_view second);
    // Appends the pieces of one line and a line feed; false when the output failed.
    bool appendJoined(std::initializer_list<std::string_view> pieces);
    // Appends whole lines, each ended by a line feed; false when the output failed.
    bool appendLines(std::string_view lines);

    bool failed_ = false;
    ExpansionLines expansion_{*this};
};

// The status of a process whose standard output cannot be written.
inline constexpr int statusOutputFailed = 7;

} // namespace lexpand

#endif // LEXPAND_STANDARDOUTPUT_H
