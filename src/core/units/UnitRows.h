// The units of measure and the currency, kept as five rows of the text table
// (Programma "PARAM"), one value per language column.
#pragma once

#include "base/SqlDatabase.h"

#include <QString>

namespace paramcor::units {

// Adds the five rows with the metric defaults to the text database at `DB` when
// it has no PARAM row at all. Database failures reach the caller as
// TextDatabaseError; rows stored before a failure stay.
void ControllaValori(const QString& DB);
// The same on a database already open.
void addMissingRows(SqlDatabase& db);

}  // namespace paramcor::units
