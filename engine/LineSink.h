// LineSink: where expanded lines go. The engine never prints; a program
// passes a sink that writes where it wants.

#ifndef LEXPAND_ENGINE_LINESINK_H
#define LEXPAND_ENGINE_LINESINK_H

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

namespace lexpand {

class LineSink {
public:
    virtual ~LineSink() = default;
    // Receives one line, without its line feed.
    virtual void printLine(std::string_view line) = 0;

    // Receives one line made of `pieces` put together. By default,
    // printLine of them joined; a sink that copies lines anyway copies the
    // pieces instead.
    virtual void printJoined(std::initializer_list<std::string_view> pieces) {
        std::string line;
        for (const std::string_view piece : pieces) line.append(piece);
        printLine(line);
    }

    // Receives whole lines at once, each ended by a line feed ("\n" alone
    // separates them: a line holds none). By default, printLine for each.
    virtual void printLines(std::string_view lines) {
        while (!lines.empty()) {
            const std::size_t end = lines.find('\n');
            printLine(lines.substr(0, end));
            if (end == std::string_view::npos) return;
            lines.remove_prefix(end + 1);
        }
    }
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_LINESINK_H
