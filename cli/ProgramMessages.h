// How the companion programs speak on standard error, as GNU tools do:
// "PROGRAM: message" lines, the hint that follows a refused command line, and
// the option that getopt_long refused, as the user typed it.

#ifndef LEXPAND_CLI_PROGRAMMESSAGES_H
#define LEXPAND_CLI_PROGRAMMESSAGES_H

#include <string>
#include <string_view>

namespace lexpand {

// Writes "PROGRAM: MESSAGE" and a line feed on standard error, standard
// output flushed first, so that a terminal shows both in the order they
// happened.
void printProgramMessage(std::string_view program, std::string_view message);

// printProgramMessage, then "Try 'PROGRAM --help' for more information."
void printCommandLineRefusal(std::string_view program, std::string_view message);

// The option getopt_long has just refused, as typed: a long option whole, a
// short one (possibly within a group such as "-hx") as "-x".
std::string refusedOption(char** argv);

} // namespace lexpand

#endif // LEXPAND_CLI_PROGRAMMESSAGES_H
