// The bash completion of paramcor, written from the command table at build time.
#pragma once

#include <QString>

namespace paramcor::tool {

// The whole script: a function _paramcor and its "complete" line.
QString bashCompletion();

}  // namespace paramcor::tool
