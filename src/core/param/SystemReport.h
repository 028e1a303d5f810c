// The system information report filled with what the Parametri object knows: the
// facts the report cannot find on the machine by itself.
#pragma once

#include "info/SystemInformation.h"

namespace paramcor {

class Parametri;

info::SystemInformation systemInformation(Parametri& owner, const QString& program = {}, const QString& version = {});

}  // namespace paramcor
