// Reads lexpand's output on standard input and prints, for each form line,
// what lexpand-lookup must print for its form: the form, a tab, then the line
// with its lemma (the reverse command applied by the editor) in place of the
// form and without its `_LEX` item. An echoed entry is its own lemma. Kept
// apart from the dictionary's code: plain text search, the editor called
// directly.

#include <iostream>
#include <optional>
#include <string>

#include "Morphology.h"

int main() {
    std::string line;
    int status = 0;
    while (std::getline(std::cin, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::size_t comma = 0;
        while (comma < line.size() && (line[comma] != ',' || (comma > 0 && line[comma - 1] == '\\'))) ++comma;
        const std::string form = line.substr(0, comma);
        const std::size_t lex = line.find("+_LEX=\"", comma);
        if (lex == std::string::npos) {
            std::cout << form << '\t' << line << '\n';
            continue;
        }
        const std::size_t end =
            line.find("\"+", lex + 7) != std::string::npos ? line.find("\"+", lex + 7) : line.size() - 1;
        const std::string command = line.substr(lex + 7, end - lex - 7);
        const auto lemma = lexpand::Morphology::applySuffixCommandToWordForm(form, command);
        if (!lemma) {
            std::cerr << "the editor refuses " << command << " on " << form << '\n';
            status = 1;
            continue;
        }
        std::cout << form << '\t' << lemma->resultingWordForm << line.substr(comma, lex - comma) << line.substr(end + 1)
                  << '\n';
    }
    return status;
}
