// LineSink: where expanded lines go. The engine never prints; a program
// passes a sink that writes where it wants.

#ifndef LEXPAND_ENGINE_LINESINK_H
#define LEXPAND_ENGINE_LINESINK_H

#include <string_view>

namespace lexpand {

class LineSink {
public:
    virtual ~LineSink() = default;
    // Receives one line, without its line feed.
    virtual void printLine(std::string_view line) = 0;
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_LINESINK_H
