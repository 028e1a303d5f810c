// Merging a newly delivered text database into the user's own.
#pragma once

#include "base/SqlDatabase.h"

namespace paramcor::texts {

struct MergeCounts {
    int added = 0;     // new rows
    int replaced = 0;  // rows found by their key, whose wording was new
    int updated = 0;   // rows sharing a wording that took the new translations
};

// Merges every row of `delivered` into `user`, in one transaction. Rows the user
// corrected keep their wording; a delivered wording updates every row that has it.
MergeCounts mergeTexts(SqlDatabase& user, SqlDatabase& delivered);

}  // namespace paramcor::texts
