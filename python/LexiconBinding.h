// Lexicon binding: lexpand.Lexicon, the grammars and properties definitions
// of lexpand loaded once through the engine's Lexicon, which expands entry
// lines and whole dictionary files into lexpand.Form records; and
// lexpand.DictionaryForms, the iterator over the forms of a dictionary file.

#ifndef LEXPAND_PYTHON_LEXICONBINDING_H
#define LEXPAND_PYTHON_LEXICONBINDING_H

#include <pybind11/pybind11.h>

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "DictionaryLines.h"
#include "FormRecords.h"
#include "Lexicon.h"

namespace lexpand::python {

// A loaded lexicon, shared by the threads of the interpreter: expansions run
// one at a time (the engine's expander is for one thread), while the GIL is
// released.
class LexiconHandle {
public:
    // Loads `files` in lexpand's order (Lexicon::load). Throws LoadFailure
    // with lexpand's line when a step fails. Cost: that of Lexicon::load.
    explicit LexiconHandle(LexiconFiles files);
    LexiconHandle(const LexiconHandle&) = delete;
    LexiconHandle& operator=(const LexiconHandle&) = delete;

    // The records of every line that lexpand prints for the entry line
    // `line`, in order. Throws EntryFailure when the entry fails; then none of
    // its records is given. Cost: that of the entry's paradigms, and linear in
    // its lines. Call it without the GIL.
    std::vector<FormRecord> expand(const std::string& line);

    const Lexicon& lexicon() const { return lexicon_; }

private:
    Lexicon lexicon_;
    std::mutex expansion_; // held while lexicon_ expands
};

// The records of a dictionary file, entry by entry, holding only one block of
// the file and the records of one entry. It expands what lexpand expands for
// that dictionary, with the grammars of its lexicon (the "#use" lines of the
// file name grammars that are loaded with the lexicon, or not at all).
class DictionaryForms {
public:
    // Opens the dictionary at `path`; throws LoadFailure when it does not
    // exist. `lexicon` must outlive the iterator.
    DictionaryForms(LexiconHandle& lexicon, std::string path);

    // True when the next record is already made: next() neither reads nor
    // expands, and may run with the GIL held.
    bool hasReadyRecord();

    // The next record; absent at the end, and after a failure. Throws
    // EntryFailure when an entry fails (the records of the entries before it
    // were given) and LoadFailure when the file cannot be read. Call it
    // without the GIL unless hasReadyRecord(). Cost: that of expand for each
    // entry read.
    std::optional<FormRecord> next();

private:
    LexiconHandle& lexicon_;
    std::string path_;
    std::mutex reading_; // held by next(): an iterator may be shared by threads
    DictionaryLines lines_;
    std::vector<FormRecord> records_; // of the last entry expanded
    std::size_t nextRecord_ = 0;
    bool ended_ = false;
};

// Creates lexpand.Lexicon and lexpand.DictionaryForms in `module`. The class
// of Lexicon is returned, for the binding of further methods.
pybind11::class_<LexiconHandle> bindLexicon(pybind11::module_& module);

} // namespace lexpand::python

#endif // LEXPAND_PYTHON_LEXICONBINDING_H
