// Form records: the lines that lexpand prints for an entry, read back into
// their parts with the engine's entry parsing, the lemma restored by the
// engine's editor; and the Python class lexpand.Form that carries them.

#ifndef LEXPAND_PYTHON_FORMRECORDS_H
#define LEXPAND_PYTHON_FORMRECORDS_H

#include <pybind11/pybind11.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "ALU.h"

namespace lexpand::python {

// One line printed for an entry, in parts.
struct FormRecord {
    std::string form;     // the word form as the line writes it (a comma keeps its backslash)
    std::string lemma;    // the form edited by the reverse command
    std::string category; // the category
    // Every property item of the line but the "_LEX" that the expansion
    // added, in the line's order: the lexical properties, "FLX=" and "DRV="
    // items, the morphological ones.
    std::vector<std::string> properties;
    std::string reverseCommand; // the command of "_LEX", from the form to the lemma
    std::string line;           // the line exactly as lexpand prints it
    // True for an entry without inflectional paradigm, which lexpand prints as
    // written: its form is its lemma, its reverse command "<E>", and every
    // item of the line is a property.
    bool echoed = false;
};

// The "_LEX" items that the entry `entry` carries itself (rarely any).
std::vector<std::string> lexItemsOf(const ALU& entry);

// The record of `line`, printed by lexpand for an entry that carries the
// "_LEX" items `entryLexItems` itself, with the definitions `definitions`.
// The reverse command is the "_LEX" item that the expansion added. Absent
// when the line is not an entry, or a form line has no "_LEX" item or one
// whose command does not apply to its form. Cost: linear in the line, times
// the logarithm of its items. Safe without the GIL.
std::optional<FormRecord> formRecordOf(std::string line, bool echoed, const std::vector<std::string>& entryLexItems,
                                       const PropertiesDefinitions& definitions);

// Adds to `module` the record type lexpand.`name`: a named tuple of
// `fields`, documented by `doc`.
void addRecordType(pybind11::module_& module, const char* name, std::initializer_list<const char*> fields,
                   const char* doc);

// Creates the class lexpand.Form (a named tuple of the fields of FormRecord)
// in `module`.
void bindFormRecords(pybind11::module_& module);

// The class lexpand.Form of this module. The GIL must be held.
pybind11::object formClass();

// The lexpand.Form of `record`, `form` being formClass(). The GIL must be held.
pybind11::object toPython(const FormRecord& record, pybind11::handle form);

} // namespace lexpand::python

#endif // LEXPAND_PYTHON_FORMRECORDS_H
