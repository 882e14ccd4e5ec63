// Exports printProgramMessage, printCommandLineRefusal and refusedOption.

#include "ProgramMessages.h"

#include <getopt.h>

#include <cstdio>

namespace lexpand {

void printProgramMessage(std::string_view program, std::string_view message) {
    std::fflush(stdout);
    std::fprintf(stderr, "%.*s: %.*s\n", static_cast<int>(program.size()), program.data(),
                 static_cast<int>(message.size()), message.data());
}

void printCommandLineRefusal(std::string_view program, std::string_view message) {
    printProgramMessage(program, message);
    std::fprintf(stderr, "Try '%.*s --help' for more information.\n", static_cast<int>(program.size()), program.data());
}

std::string refusedOption(char** argv) {
    const std::string_view last = argv[optind - 1];
    if (last.starts_with("--")) return std::string(last);
    return std::string("-") + static_cast<char>(optopt);
}

} // namespace lexpand
