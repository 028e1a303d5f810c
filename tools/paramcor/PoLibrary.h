// libgettextpo, loaded when a command first reads or writes a PO file. Linked, it
// and libunistring were loaded and bound at every start of paramcor: a tenth of a
// short command's time, for the two commands that use it. paramcor defines the
// library's functions it calls, each handing the call to the real one.
#pragma once

#include <QString>

namespace paramcor::tool::po {

// Why the library cannot be loaded; empty once it is. Until it is, its functions do
// nothing and return null.
QString libraryProblem();

}  // namespace paramcor::tool::po
